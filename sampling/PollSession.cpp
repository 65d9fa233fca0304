#include "PollSession.h"

#include "Console.h"
#include "GdbTransport.h"
#include "PollPlan.h"
#include "SampleValue.h"
#include "StopRequest.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

std::atomic<uint64_t> g_frames{0};
std::atomic<int> g_failedVariable{-1};
std::string g_failedReply;

enum class Read { Ok, Refused, Lost };

int hexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// One "m" exchange for the range into `out`. Refused: an error or empty reply, or fewer bytes than
// asked (the server may stop at unreadable memory). Anything else is not an answer to this request.
Read readRange(const PollRange& range, uint8_t* out, std::string& answer) {
    char command[32];
    std::snprintf(command, sizeof command, "m%x,%x", range.address, range.length);
    if (gdbSendPacket(command) != 0)
        return Read::Lost;
    std::unique_ptr<char, decltype(&std::free)> reply(gdbReadReply(), &std::free);
    if (!reply)
        return Read::Lost;
    const char* text = reply.get();
    std::string bytes;
    const bool hex = decodeMemoryReply(text, bytes);
    if (hex && bytes.size() == range.length) {
        std::memcpy(out, bytes.data(), bytes.size());
        return Read::Ok;
    }
    if (text[0] == '\0' || text[0] == 'E' || (hex && bytes.size() < range.length)) {
        answer = text;
        return Read::Refused;
    }
    consolePrint("LOG>>the reply to %s is no memory read of that length\n", command);
    gdbMarkOutOfStep();
    return Read::Lost;
}

// Replaces the range at `at` by one range per variable.
void split(std::vector<PollRange>& ranges, size_t at, const uint32_t* address, const uint32_t* size) {
    const std::vector<uint32_t> members = ranges[at].members;
    ranges.erase(ranges.begin() + static_cast<long>(at));
    for (size_t k = 0; k < members.size(); ++k) {
        const uint32_t i = members[k];
        ranges.insert(ranges.begin() + static_cast<long>(at + k), PollRange{address[i], size[i], {i}});
    }
}

// Sleeps until `when`; false as soon as a stop is requested.
bool waitUntil(Clock::time_point when) {
    for (;;) {
        if (stopRequested())
            return false;
        const Clock::duration left = when - Clock::now();
        if (left <= Clock::duration::zero())
            return true;
        std::this_thread::sleep_for(std::min<Clock::duration>(left, std::chrono::milliseconds(20)));
    }
}

// Back-to-back polls would take the channel again before a waiting value write wakes up.
void letWritersIn() {
    const Clock::time_point until = Clock::now() + std::chrono::milliseconds(5);
    while (gdbMutex().waiters() > 0 && Clock::now() < until)
        std::this_thread::yield();
}

} // namespace

bool decodeMemoryReply(const char* reply, std::string& bytes) {
    std::string hex;
    hex.reserve(std::strlen(reply));
    for (const char* p = reply; *p != '\0'; ++p) {
        if (*p != '*') {
            hex.push_back(*p);
            continue;
        }
        // Printable counts only: ' ' (3 more) to '~' (97 more).
        const int count = static_cast<unsigned char>(p[1]);
        if (hex.empty() || count < ' ' || count > '~')
            return false;
        hex.append(static_cast<size_t>(count - 29), hex.back());
        ++p;
    }
    if (hex.size() % 2 != 0)
        return false;
    bytes.clear();
    for (size_t i = 0; i < hex.size(); i += 2) {
        const int high = hexValue(hex[i]), low = hexValue(hex[i + 1]);
        if (high < 0 || low < 0)
            return false;
        bytes.push_back(static_cast<char>(high * 16 + low));
    }
    return true;
}

int pollSession(const HssConfig& config) {
    g_failedVariable.store(-1);
    g_failedReply.clear();
    if (config.queue == nullptr)
        return -1;
    std::vector<PollRange> ranges =
        planPollReads(config.address, config.size, config.count, pollMaxRangeBytes(gdbPacketSize()));
    uint32_t longest = 0;
    for (const PollRange& range : ranges)
        longest = std::max(longest, range.length);
    std::vector<uint8_t> data(longest);
    const std::chrono::microseconds period(config.period);
    Clock::time_point first, next = Clock::now();
    bool started = false;
    SampleFrame frame;
    for (;;) {
        if (stopRequested())
            return 0;
        std::unique_lock<GdbMutex> channel(gdbMutex(), std::defer_lock);
        if (!lockUnlessStopped(channel))
            return 0;
        // A value write that timed out leaves its reply somewhere in the stream.
        if (!gdbInStep())
            return 3;
        const Clock::time_point stamp = Clock::now();
        std::memset(&frame, 0, sizeof frame);
        for (size_t r = 0; r < ranges.size();) {
            std::string answer;
            const Read got = readRange(ranges[r], data.data(), answer);
            if (got == Read::Lost)
                return 3;
            if (got == Read::Refused && ranges[r].members.size() > 1) {
                // The gap may hold memory the server cannot read: each variable on its own from now on.
                consolePrint("LOG>>read of %u bytes at 0x%x refused (%s); reading its variables one by one\n",
                             ranges[r].length, ranges[r].address, answer.c_str());
                split(ranges, r, config.address, config.size);
                continue;
            }
            if (got == Read::Refused) {
                g_failedReply = answer;
                g_failedVariable.store(static_cast<int>(ranges[r].members[0]));
                return kEndUnreadable;
            }
            for (uint32_t i : ranges[r].members)
                frame.value[i] = slotFromBytes(data.data() + (config.address[i] - ranges[r].address),
                                               static_cast<int>(config.size[i]));
            ++r;
        }
        channel.unlock();
        if (!started) {
            first = stamp;
            started = true;
        }
        frame.time = static_cast<uint64_t>(
            std::chrono::duration_cast<std::chrono::microseconds>(stamp - first).count());
        frame.count = static_cast<int32_t>(config.count);
        if (config.queue->push(frame) != 0)
            return -1;
        g_frames.fetch_add(1);
        letWritersIn();
        // Behind the interval: poll as fast as the link answers, without catching up in a burst.
        next += period;
        const Clock::time_point now = Clock::now();
        if (next < now)
            next = now;
        else if (!waitUntil(next))
            return 0;
    }
}

int pollFailedVariable() {
    return g_failedVariable.load();
}

std::string pollFailedReply() {
    return g_failedReply;
}

uint64_t pollFrames() {
    return g_frames.load();
}
