#pragma once

#include <QByteArray>
#include <cstdint>
#include <vector>

// Arguments of the high-speed-sampling packets:
//   qSeggerHSS:Start:<flags>,<period us>,<count>{,<16-digit address>,<size>,<flags>}   (all hex)
//   qSeggerHSS:Read:<max samples, 8 hex digits>
namespace Sim {

struct HssBlock {
    std::uint64_t address = 0;
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
};

struct HssStart {
    std::uint32_t flags = 0;
    std::uint32_t periodUs = 0;
    std::vector<HssBlock> blocks;

    // Bytes of one sample record: 32-bit time stamp, then each block's bytes.
    std::size_t RecordSize() const;
};

// Most blocks and bytes per block one session accepts.
constexpr std::size_t MaxHssBlocks = 64;
constexpr std::uint32_t MaxHssBlockSize = 256;

// Parses the text after "qSeggerHSS:Start:". False on malformed text, a zero period, a block count that
// does not match the blocks, or a block of size 0 or above MaxHssBlockSize.
bool ParseHssStart(const QByteArray& arguments, HssStart* start);
// Parses the text after "qSeggerHSS:Read:"; false unless it is a hexadecimal number.
bool ParseHssRead(const QByteArray& arguments, std::uint32_t* maxSamples);

} // namespace Sim

namespace Sim {
// The Start packet as a client sends it: "qSeggerHSS:Start:%x,%x,%x" then ",%016x,%x,%x" per block.
QByteArray FormatHssStart(const HssStart& start);
} // namespace Sim
