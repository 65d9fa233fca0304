#pragma once

#include <cstdint>
#include <vector>

// Which memory reads one poll makes: the watched variables grouped into contiguous address ranges.
// Reading a few unused bytes costs less than another round trip, so variables at most kPollMaxGap
// bytes apart share one read, as long as its reply fits what the server and the reader can carry.
constexpr uint32_t kPollMaxGap = 64;

struct PollRange {
    uint32_t address = 0;
    uint32_t length = 0;
    std::vector<uint32_t> members; // watch-list indices, in address order
};

// The most bytes one read may ask for: its reply ("$", two hexadecimal digits a byte, "#" and the
// checksum) must fit the server's PacketSize and the receive buffer.
uint32_t pollMaxRangeBytes(uint32_t packetSize);

// Ranges in address order. Overlapping variables share a range; a variable longer than `maxRange`
// still gets one of its own.
std::vector<PollRange> planPollReads(const uint32_t* address, const uint32_t* size, uint32_t count,
                                     uint32_t maxRange);
