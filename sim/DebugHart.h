#pragma once

#include <cstdint>

// What the debug module needs of the hart behind it and of the system bus beside it. Register numbers are
// those of the access-register command: 0x0000..0x0fff CSRs, 0x1000..0x101f GPRs, 0x1020..0x103f FPRs.
namespace Sim {

class DebugHart {
public:
    enum class State { Running, Halted, Unavailable };

    virtual ~DebugHart() = default;

    // Not const: a hart may have stopped by itself (at a breakpoint) since it was last asked.
    virtual State CurrentState() = 0;
    // Each returns false when the emulator did not do it.
    virtual bool Halt() = 0;
    // Runs on, or executes one instruction when the hart's own step bit says so.
    virtual bool Resume() = 0;
    // Keeps the whole system in reset (the hart unavailable) until ReleaseReset.
    virtual bool HoldReset() = 0;
    // Resets the system; the hart then runs, or stays halted before its first instruction.
    virtual bool ReleaseReset(bool halt) = 0;

    // The register's width in bits; 0 when the hart has no such register.
    virtual unsigned RegisterBits(std::uint32_t regno) const = 0;
    virtual bool ReadRegister(std::uint32_t regno, std::uint64_t* value) = 0;
    virtual bool WriteRegister(std::uint32_t regno, std::uint64_t value) = 0;

    // One aligned access of 1, 2 or 4 bytes, little-endian; false for an address with nothing behind it.
    virtual bool ReadMemory(std::uint64_t address, unsigned bytes, std::uint32_t* value) = 0;
    virtual bool WriteMemory(std::uint64_t address, unsigned bytes, std::uint32_t value) = 0;
};

} // namespace Sim
