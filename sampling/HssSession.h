#pragma once

#include "FrameQueue.h"

#include <cstdint>

// What the reader thread hands to a sampling session.
struct HssConfig {
    uint32_t reserved = 0;
    uint32_t startField = 1;
    uint32_t period = 20;
    uint32_t count = 0;
    uint32_t address[kMaxVars] = {};
    uint32_t size[kMaxVars] = {};
    int32_t typeCode[kMaxVars] = {};
    FrameQueue* queue = nullptr;
};

constexpr uint32_t kHssMaxSamplesPerRead = 10000;

int hssStop();
// One read request, made with gdbMutex held. 0 and the announced count, or an error code. With a
// count of 1 or more the raw sample bytes wait in the stream; the caller takes them out before it
// lets go of the channel.
int hssReadOnce(uint32_t* count);
// The text of a read reply: the empty-read rule, the "OK" head and the announced count. 0 and the
// count, 4 at the fifteenth empty reply in a row, or the head's comparison value.
int hssParseReadReply(const char* reply, uint32_t* count);
// The whole session: returns its end code (-1, 3, 4 or a server's refusal), or 0 when a stop was
// requested. `refused`, when given, tells whether a -1 came from an empty reply to the stop,
// Supported or Start packet: a server without high-speed sampling.
int hssSession(const HssConfig& config, bool* refused = nullptr);
// Turns n raw samples of `blockSize` bytes each into frames pushed into the config's queue.
int decodeSamples(uint32_t blockSize, const uint8_t* data, const HssConfig& config, uint32_t n);
// The start command text for the configuration; empty when it would not fit its buffer.
bool hssFormatStart(const HssConfig& config, char* out, size_t capacity);
size_t hssStartCommandLength(const HssConfig& config);

// Puts the session variables to their start: no time stamp yet, every counter at zero.
void hssBeginSession();
// Session counters, process-wide.
uint64_t hssSampleCounter();
int hssEmptyReadCounter();
// Read replies received since the process started; any thread may watch it for progress.
uint64_t hssRepliesRead();
