#pragma once

#include "FrameQueue.h"

#include <QString>
#include <cstdint>

// A request to write target memory: entries of address, type code, byte count and a value whose
// low bytes are written little-endian, first byte first.
struct WriteRequest {
    uint32_t count = 0;
    uint32_t address[kMaxVars] = {};
    int32_t typeCode[kMaxVars] = {};
    uint32_t size[kMaxVars] = {};
    uint64_t value[kMaxVars] = {};
};

// Builds the one-entry request for a value typed for a variable of this type code (SampleValue.h):
// exactly the variable's bytes, in its own type (ValueText.h). False with the reason in `refusal`
// when the text is no value of that type.
bool makeEditRequest(uint32_t address, int32_t typeCode, const QString& text, WriteRequest& request,
                     QString& refusal);
// Sends the request as "M" packets of at most 512 bytes each, one exchange under the channel mutex
// per chunk, so a write lands between two sample reads. 0 on success, else an error code; -1 for an
// entry whose size is not 1, 2, 4 or 8 bytes.
int writeMemory(const WriteRequest& request);
// The edit entry: convert and write. A refused text writes nothing, sets `refusal` and gives
// kWriteRefused.
constexpr int kWriteRefused = -2;
int writeEditedValue(uint32_t address, int32_t typeCode, const QString& text, QString& refusal);
