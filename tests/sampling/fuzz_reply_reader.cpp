// The reply reader fed a byte stream in pieces; the first byte sets the piece size.
#include "GdbTransport.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const size_t piece = data[0] % 32 + 1;
    char buffer[kGdbBufferSize];
    uint32_t fill = 0;
    for (size_t at = 1; at < size;) {
        const size_t n = std::min({piece, size - at, static_cast<size_t>(kGdbBufferSize - fill)});
        if (n == 0)
            break; // full with no packet at the head: the reader gives up on the stream here
        std::memcpy(buffer + fill, data + at, n);
        fill += static_cast<uint32_t>(n);
        at += n;
        char* payload = nullptr;
        while (gdbTakeReply(buffer, fill, &payload)) {
            if (payload == nullptr || std::strchr(payload, '#') != nullptr)
                std::abort(); // a payload ends at its packet's first "#"
            std::free(payload);
        }
        if (fill > kGdbBufferSize || (fill > 0 && buffer[0] == '+'))
            std::abort(); // leading acknowledgements are always dropped
    }
    return 0;
}
