#pragma once

#include <cstdint>

// A debug module as RISC-V External Debug Support 0.13 describes it, for one RV32 hart:
// run control (halt, resume, reset through ndmreset), the access-register command, and system bus access
// with 8-, 16- and 32-bit accesses, auto-increment, read-on-address and read-on-data. No program buffer,
// no abstract memory access, no authentication. Everything completes at once, so busy never shows.
// Registers may be read while the hart runs (a debugger attached without halting sees where it was), but
// written only while it is halted.
namespace Sim {

class DebugHart;

class DebugModule {
public:
    // Debug module registers, by their address on the debug module interface.
    enum Register : std::uint32_t {
        Data0 = 0x04,
        Data1 = 0x05,
        DmControl = 0x10,
        DmStatus = 0x11,
        HartInfo = 0x12,
        HaltSum1 = 0x13,
        AbstractCs = 0x16,
        Command = 0x17,
        AbstractAuto = 0x18,
        SbCs = 0x38,
        SbAddress0 = 0x39,
        SbData0 = 0x3c,
        HaltSum0 = 0x40,
    };
    // abstractcs.cmderr and sbcs.sberror values.
    enum CommandError : unsigned {
        CmdNone = 0,
        CmdBusy = 1,
        CmdNotSupported = 2,
        CmdException = 3,
        CmdHaltResume = 4
    };
    enum BusError : unsigned { SbNone = 0, SbBadAddress = 2, SbAlignment = 3, SbSize = 4 };

    static constexpr unsigned AddressBits = 7;
    static constexpr unsigned DataCount = 2; // 64-bit registers (the doubles) need two words

    explicit DebugModule(DebugHart& hart);

    // One access from the transport module. Reads may have side effects (read-on-data).
    std::uint32_t Read(std::uint32_t address);
    void Write(std::uint32_t address, std::uint32_t value);

private:
    void Deactivate();
    void WriteControl(std::uint32_t value);
    std::uint32_t Status() const;
    void Execute(std::uint32_t command);
    std::uint32_t BusControl() const;
    void BusAccess(bool write);

    // Everything that dmactive = 0 sets back.
    struct State {
        bool active = false;
        bool ndmreset = false;
        bool haltRequest = false;
        bool resumeAck = false;
        bool haveReset = false;
        std::uint32_t data[DataCount] = {};
        unsigned cmdErr = CmdNone;
        std::uint32_t sbAddress = 0;
        std::uint32_t sbData = 0;
        unsigned sbAccess = 2; // 32-bit
        unsigned sbError = SbNone;
        bool sbReadOnAddr = false;
        bool sbAutoIncrement = false;
        bool sbReadOnData = false;
    };

    DebugHart& m_hart;
    State m_s;
};

} // namespace Sim
