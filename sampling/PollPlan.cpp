#include "PollPlan.h"

#include "GdbTransport.h"

#include <algorithm>
#include <numeric>

uint32_t pollMaxRangeBytes(uint32_t packetSize) {
    const uint32_t frame = std::min(packetSize, kGdbBufferSize);
    return frame > 4 ? (frame - 4) / 2 : 0;
}

std::vector<PollRange> planPollReads(const uint32_t* address, const uint32_t* size, uint32_t count,
                                     uint32_t maxRange) {
    std::vector<uint32_t> order(count);
    std::iota(order.begin(), order.end(), 0u);
    std::stable_sort(order.begin(), order.end(),
                     [&](uint32_t a, uint32_t b) { return address[a] < address[b]; });
    std::vector<PollRange> ranges;
    uint64_t end = 0; // 64 bits: a variable may end past 4 GiB
    for (uint32_t i : order) {
        const uint64_t first = address[i], last = first + size[i];
        if (!ranges.empty()) {
            PollRange& range = ranges.back();
            const uint64_t merged = std::max(end, last);
            if (first <= end + kPollMaxGap && merged - range.address <= maxRange) {
                end = merged;
                range.length = static_cast<uint32_t>(end - range.address);
                range.members.push_back(i);
                continue;
            }
        }
        ranges.push_back({address[i], size[i], {i}});
        end = last;
    }
    return ranges;
}
