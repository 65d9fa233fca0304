// A read reply and its raw samples: the reply text up to the first NUL, one byte for the number of
// variables, one size byte per variable, then the sample bytes. The text also goes through the memory
// read reply decoder of polling.
#include "HssSession.h"
#include "PollSession.h"

#include <algorithm>

#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool ready = FrameQueue::instance().init() == 0;
    if (!ready)
        std::abort();
    const uint8_t* end = data + size;
    const uint8_t* p = data;
    while (p < end && *p != 0)
        ++p;
    const std::string reply(reinterpret_cast<const char*>(data), static_cast<size_t>(p - data));
    std::string bytes;
    if (decodeMemoryReply(reply.c_str(), bytes) && bytes.size() * 2 > reply.size() * 64)
        std::abort(); // a run adds at most 97 copies of one character
    uint32_t n = 0;
    if (hssParseReadReply(reply.c_str(), &n) != 0 || p == end)
        return 0;
    ++p;
    HssConfig config;
    config.queue = &FrameQueue::instance();
    config.count = p < end ? *p++ % (kMaxVars + 1) : 0;
    uint32_t blockSize = 4;
    for (uint32_t i = 0; i < config.count; ++i) {
        config.size[i] = p < end ? *p++ % 9 : 4; // 8 bytes and odd sizes take room but read as 0
        config.typeCode[i] = static_cast<int32_t>(i % 4);
        blockSize += config.size[i];
    }
    const size_t available = static_cast<size_t>(end - p) / blockSize;
    const uint32_t samples = static_cast<uint32_t>(std::min<size_t>({n, available, kHssMaxSamplesPerRead}));
    if (decodeSamples(blockSize, p, config, samples) != 0)
        std::abort();
    return 0;
}
