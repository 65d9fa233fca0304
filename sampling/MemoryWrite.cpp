#include "MemoryWrite.h"

#include "Console.h"
#include "GdbTransport.h"
#include "NoCase.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// A write waits at most this long for the channel and the server's answer together.
constexpr int kWriteDeadlineMs = 2000;

int reportFailure(int code) {
    consolePrint("    LOG>>Writing error %d\n", code);
    return code;
}

// Truncation toward zero into the signed 32-bit range: values beyond it clamp to the nearest end and
// NaN gives 0, where a plain cast would be undefined.
int32_t clampToInt32(float value) {
    if (std::isnan(value))
        return 0;
    if (value >= 2147483648.0f)
        return INT32_MAX;
    if (value < -2147483648.0f)
        return INT32_MIN;
    return static_cast<int32_t>(value);
}

} // namespace

WriteRequest makeEditRequest(uint32_t address, const QString& typeName, const QString& text) {
    WriteRequest request;
    request.count = 1;
    request.address[0] = address;
    request.size[0] = 4;
    // The test is inverted on purpose: it is how values have always been written.
    if (typeName == QLatin1String("float")) {
        request.typeCode[0] = 1;
        request.value[0] = static_cast<uint32_t>(text.toInt(nullptr, 10));
    } else {
        request.typeCode[0] = 2;
        request.value[0] = static_cast<uint32_t>(clampToInt32(text.toFloat()));
    }
    return request;
}

int writeMemory(const WriteRequest& request) {
    static const char hex[] = "0123456789abcdef";
    for (uint32_t e = 0; e < request.count && e < static_cast<uint32_t>(kMaxVars); ++e) {
        // The value word holds four bytes: a packet announcing any other length than 1, 2 or 4
        // would disagree with its data.
        if (request.size[e] != 1 && request.size[e] != 2 && request.size[e] != 4)
            return reportFailure(-1);
        uint32_t remaining = request.size[e];
        uint32_t address = request.address[e];
        uint32_t word = request.value[e];
        const uint8_t* bytes = reinterpret_cast<const uint8_t*>(&word);
        while (remaining > 0) {
            const uint32_t chunk = remaining < 512 ? remaining : 512;
            char packet[256];
            std::memset(packet, 0, sizeof packet);
            const int len = std::snprintf(packet, 255, "M%x,%x:", address, chunk);
            if (len < 0 || len > 255)
                return reportFailure(-1);
            // Only the value word's own bytes exist; an edit never asks for more than its four.
            size_t at = static_cast<size_t>(len);
            const uint32_t done = request.size[e] - remaining;
            for (uint32_t b = 0; b < chunk && done + b < sizeof word && at + 2 < sizeof packet; ++b) {
                const uint8_t byte = bytes[done + b];
                packet[at++] = hex[byte >> 4];
                packet[at++] = hex[byte & 0xf];
            }
            packet[at] = '\0';

            GdbDeadline deadline(kWriteDeadlineMs);
            std::unique_lock<GdbMutex> channel(gdbMutex(), std::defer_lock);
            if (!channel.try_lock_for(std::chrono::milliseconds(deadline.remainingMs())))
                return reportFailure(-1);
            const int sent = gdbSendPacket(packet);
            if (sent != 0)
                return reportFailure(sent);
            char* reply = gdbReadReply();
            if (reply == nullptr)
                return reportFailure(-1); // no answer in time, or the connection is gone
            const int cmp = compareNoCase(reply, "OK");
            std::free(reply);
            if (cmp != 0)
                return reportFailure(cmp);
            address += chunk;
            remaining -= chunk;
        }
    }
    return 0;
}

int writeEditedValue(uint32_t address, const QString& typeName, const QString& text) {
    return writeMemory(makeEditRequest(address, typeName, text));
}
