#pragma once

#include "FrameQueue.h"

#include <QString>
#include <cstdint>

// A request to write target memory: entries of address, kind, byte count and a 32-bit value word
// whose bytes are written as they lie in memory (little-endian), first byte first.
struct WriteRequest {
    uint32_t count = 0;
    uint32_t address[kMaxVars] = {};
    int32_t typeCode[kMaxVars] = {};
    uint32_t size[kMaxVars] = {};
    uint32_t value[kMaxVars] = {};
};

// Builds the one-entry request for an edited value. A "float" variable gets the text read as a
// base-10 integer; every other type gets it read as a float and truncated toward zero, clamped to
// the signed 32-bit range (NaN gives 0). Always 4 bytes.
WriteRequest makeEditRequest(uint32_t address, const QString& typeName, const QString& text);
// Sends the request as "M" packets of at most 512 bytes each, one exchange under the channel mutex
// per chunk, so a write lands between two sample reads. 0 on success, else an error code; -1 for an
// entry whose size is not 1, 2 or 4 bytes.
int writeMemory(const WriteRequest& request);
// The edit entry: convert and write.
int writeEditedValue(uint32_t address, const QString& typeName, const QString& text);
