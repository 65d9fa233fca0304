#include "TargetMemoryMap.h"

namespace Sim {

namespace {
// [address, address + length) inside [base, base + size), written so that nothing can overflow.
bool Inside(std::uint64_t address, std::uint64_t length, std::uint64_t base, std::uint64_t size) {
    return address >= base && address - base <= size && length <= size - (address - base);
}
} // namespace

bool TargetMemoryMap::ToOffset(std::uint64_t address, std::uint64_t length, std::uint64_t* offset) const {
    std::uint64_t candidate = 0;
    if (Inside(address, length, RamBase, m_ramSize))
        candidate = address - RamBase;
    else if (Inside(address, length, DataWindow, DataWindowSize))
        candidate = DataWindowOffset + (address - DataWindow);
    else
        return false;
    // A RAM smaller than the window's physical end leaves part of the window unbacked.
    if (!Inside(candidate, length, 0, m_ramSize))
        return false;
    *offset = candidate;
    return true;
}

} // namespace Sim
