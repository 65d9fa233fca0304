#pragma once

#include <cstdint>

// Where a target address lies in the shared RAM file. This mirrors the demo firmware's Sv32 page table
// (examples/demo-firmware/start.S), so the host sees memory as the firmware does:
//   physical RAM   0x80000000 .. 0x80000000 + size   -> offset address - 0x80000000
//   data window    0x20000000 .. 0x20400000 (4 MiB)   -> offset 0x400000 + (address - 0x20000000)
// The data window is where microcontrollers of this family keep their RAM; the firmware links its globals
// there. A range must lie wholly inside one window and inside the file; anything else is not memory.
namespace Sim {

class TargetMemoryMap {
public:
    static constexpr std::uint64_t RamBase = 0x80000000u;
    static constexpr std::uint64_t DataWindow = 0x20000000u;
    static constexpr std::uint64_t DataWindowSize = 0x400000u;
    static constexpr std::uint64_t DataWindowOffset = 0x400000u; // physical 0x80400000

    explicit TargetMemoryMap(std::uint64_t ramSize) : m_ramSize(ramSize) {}

    // The file offset of [address, address + length), or false when the range is not all memory.
    bool ToOffset(std::uint64_t address, std::uint64_t length, std::uint64_t* offset) const;

private:
    std::uint64_t m_ramSize;
};

} // namespace Sim
