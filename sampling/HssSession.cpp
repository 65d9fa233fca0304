#include "HssSession.h"

#include "Console.h"
#include "GdbTransport.h"
#include "NoCase.h"
#include "SampleValue.h"
#include "StopRequest.h"

#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

uint64_t g_lastStamp = UINT64_MAX;
uint64_t g_accumulated = 0;
uint64_t g_sampleCounter = 0;
int g_emptyState = 0;
int g_emptyCounter = 0;
std::atomic<uint64_t> g_repliesRead{0};

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
using CBuffer = std::unique_ptr<char, FreeDeleter>;

size_t decimalDigits(uint32_t v) {
    size_t n = 1;
    while (v >= 10) {
        v /= 10;
        ++n;
    }
    return n;
}

// Sends a command and checks that the reply is "OK" without regard to case. An empty reply, a
// server's way of saying it does not know the command, also sets `empty`.
int exchangeOk(const char* command, bool* empty) {
    if (gdbSendPacket(command) != 0)
        return -1;
    CBuffer reply(gdbReadReply());
    if (!reply)
        return -1;
    *empty = reply.get()[0] == '\0';
    return compareNoCase(reply.get(), "OK") == 0 ? 0 : -1;
}

// Moves `needed` raw bytes from the stream into `out`, first what the receive buffer holds.
int takeRawBytes(uint8_t* out, size_t needed) {
    char* rx = gdbRecvBuffer();
    uint32_t& fill = gdbRecvFill();
    size_t have = 0;
    for (;;) {
        const size_t take = std::min<size_t>(fill, needed - have);
        std::memcpy(out + have, rx, take);
        std::memmove(rx, rx + take, fill - take);
        fill -= static_cast<uint32_t>(take);
        have += take;
        if (have == needed)
            return 0;
        const int got = gdbRecvRaw(rx, static_cast<uint16_t>(kGdbBufferSize));
        if (got < 0)
            return 3;
        fill = static_cast<uint32_t>(got);
    }
}

} // namespace

int hssStop() {
    if (gdbSendPacket("qSeggerHSS:Stop") != 0)
        return -1;
    CBuffer reply(gdbReadReply());
    if (!reply)
        return -1;
    return compareNoCase(reply.get(), "OK");
}

int hssReadOnce(uint32_t* count) {
    char command[256];
    std::memset(command, 0, sizeof command);
    const int len = std::snprintf(command, sizeof command, "qSeggerHSS:Read:%08x", kHssMaxSamplesPerRead);
    if (len > 256) {
        consolePrint("snprintf_s fail: qSeggerHSS:Read.\n");
        return 3;
    }
    if (gdbSendPacket(command) != 0)
        return 3;
    CBuffer reply(gdbReadReply());
    if (!reply)
        return 3; // the connection died or fell out of step: nothing more can be read
    g_repliesRead.fetch_add(1);
    return hssParseReadReply(reply.get(), count);
}

int hssParseReadReply(const char* text, uint32_t* count) {
    if (std::strcmp(text, "OK,00000000") == 0) {
        if (g_emptyState == 0) {
            ++g_emptyCounter;
            g_emptyState = 1;
        } else {
            ++g_emptyCounter;
            if (g_emptyCounter >= 15)
                return 4;
        }
    } else {
        g_emptyState = 0;
        g_emptyCounter = 0;
    }

    char head[257];
    size_t i = 0;
    while (text[i] != '\0' && text[i] != ',' && i < 256) {
        head[i] = text[i];
        ++i;
    }
    head[i] = '\0';
    const int cmp = compareNoCase(head, "OK");
    if (cmp != 0)
        return cmp;

    uint32_t n = 0;
    bool digits = false;
    const char* p = std::strchr(text, ',');
    if (p != nullptr) {
        ++p;
        while (*p == '\t' || *p == '\n' || *p == '\r' || *p == ' ')
            ++p;
        if (p[0] == '0' && p[1] == 'x')
            p += 2;
        for (;; ++p) {
            const char c = *p;
            uint32_t v;
            if (c >= '0' && c <= '9')
                v = static_cast<uint32_t>(c - '0');
            else if (c >= 'a' && c <= 'f')
                v = static_cast<uint32_t>(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                v = static_cast<uint32_t>(c - 'A' + 10);
            else
                break;
            // A count too long for 32 bits must not wrap into a small one that looks plausible.
            n = n > 0x0FFFFFFFu ? UINT32_MAX : n * 16 + v;
            digits = true;
        }
    }
    *count = digits ? n : 0;
    return 0;
}

size_t hssStartCommandLength(const HssConfig& config) {
    return 22 + decimalDigits(config.period) + decimalDigits(config.count) +
           21 * static_cast<size_t>(config.count);
}

bool hssFormatStart(const HssConfig& config, char* out, size_t capacity) {
    int len = std::snprintf(out, capacity, "qSeggerHSS:Start:%x,%x,%x", config.startField, config.period,
                            config.count);
    if (len < 0 || static_cast<size_t>(len) >= capacity) {
        consolePrint("snprintf_s fail: qSeggerHSS:Start.\n");
        return false;
    }
    size_t used = static_cast<size_t>(len);
    for (uint32_t i = 0; i < config.count; ++i) {
        len = std::snprintf(out + used, capacity - used, ",%016" PRIx64 ",%x,%x",
                            static_cast<uint64_t>(config.address[i]), config.size[i], 0u);
        if (len < 0 || static_cast<size_t>(len) >= capacity - used) {
            consolePrint("snprintf_s fail: pBlock.\n");
            return false;
        }
        used += static_cast<size_t>(len);
    }
    return true;
}

int decodeSamples(uint32_t blockSize, const uint8_t* data, const HssConfig& config, uint32_t n) {
    if (data == nullptr || config.queue == nullptr)
        return -1;
    SampleFrame frame;
    for (uint32_t s = 0; s < n; ++s) {
        const uint8_t* p = data + static_cast<size_t>(s) * blockSize;
        const uint32_t t = static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
                           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
        p += 4;
        std::memset(&frame, 0, sizeof frame);
        uint64_t step;
        if (g_lastStamp == UINT64_MAX)
            step = 0;
        else if (g_lastStamp > t)
            step = 0xFFFFFFFFull - g_lastStamp + t; // one short of the modular distance, as it always was
        else
            step = t - g_lastStamp;
        g_accumulated += step;
        g_lastStamp = t;
        frame.time = g_accumulated;
        for (uint32_t i = 0; i < config.count; ++i) {
            // Only variables of these sizes are sampled; anything else keeps its room and reads 0.
            const uint32_t size = config.size[i];
            if (size == 1 || size == 2 || size == 4 || size == 8)
                frame.value[i] = slotFromBytes(p, static_cast<int>(size));
            p += size;
        }
        frame.count = static_cast<int32_t>(config.count);
        if (config.queue->push(frame) != 0)
            return -1;
        ++g_sampleCounter;
    }
    return 0;
}

void hssBeginSession() {
    g_lastStamp = UINT64_MAX;
    g_sampleCounter = 0;
    g_accumulated = 0;
    g_emptyState = 0;
    g_emptyCounter = 0;
}

int hssSession(const HssConfig& config, bool* refused) {
    hssBeginSession();
    bool empty = false;
    if (refused != nullptr)
        *refused = false;
    // An empty reply to the stop, Supported or Start: the server has no high-speed sampling.
    const auto refusal = [&] {
        if (refused != nullptr)
            *refused = empty;
        return -1;
    };

    // A value write from the GUI thread must not slip in between the set-up exchanges either.
    std::unique_lock<GdbMutex> setup(gdbMutex());
    if (exchangeOk("qSeggerHSS:Stop", &empty) != 0)
        return refusal();

    uint32_t blockSize = 4;
    for (uint32_t i = 0; i < config.count; ++i)
        blockSize += config.size[i];

    if (exchangeOk("qSeggerHSS:Supported", &empty) != 0)
        return refusal();

    const size_t startLength = hssStartCommandLength(config);
    CBuffer start(static_cast<char*>(std::calloc(startLength, 1)));
    if (!start || !hssFormatStart(config, start.get(), startLength))
        return -1;
    if (exchangeOk(start.get(), &empty) != 0)
        return refusal();

    std::unique_ptr<uint8_t, FreeDeleter> samples(
        static_cast<uint8_t*>(std::calloc(static_cast<size_t>(blockSize) * kHssMaxSamplesPerRead, 1)));
    if (!samples)
        return -1;
    setup.unlock();

    for (;;) {
        // A stop lets the exchange in flight finish, so the stream stays in step for the stop packet.
        if (stopRequested())
            return 0;
        std::unique_lock<GdbMutex> channel(gdbMutex(), std::defer_lock);
        if (!lockUnlessStopped(channel))
            return 0;
        // A value write that timed out leaves its reply somewhere in the stream.
        if (!gdbInStep())
            return 3;
        uint32_t n = 0;
        const int rc = hssReadOnce(&n);
        if (rc != 0)
            return rc;
        if (n > kHssMaxSamplesPerRead) {
            // Its raw bytes cannot be taken out by a length we trust: the stream is lost.
            consolePrint("LOG>>read reply announced %u samples, more than the %u asked for\n", n,
                         kHssMaxSamplesPerRead);
            gdbMarkOutOfStep();
            return 3;
        }
        if (n == 0) {
            channel.unlock();
            if (!pauseUnlessStopped(100))
                return 0;
            continue;
        }
        const int taken = takeRawBytes(samples.get(), static_cast<size_t>(n) * blockSize);
        channel.unlock();
        if (taken != 0)
            return taken;
        const int decoded = decodeSamples(blockSize, samples.get(), config, n);
        if (decoded != 0)
            return decoded;
        pauseUnlessStopped(1);
    }
}

uint64_t hssSampleCounter() {
    return g_sampleCounter;
}

int hssEmptyReadCounter() {
    return g_emptyCounter;
}

uint64_t hssRepliesRead() {
    return g_repliesRead.load();
}
