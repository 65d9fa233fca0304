#include "MemoryWrite.h"

#include "Console.h"
#include "GdbTransport.h"
#include "NoCase.h"
#include "SampleValue.h"
#include "ValueText.h"

#include <chrono>
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

} // namespace

bool makeEditRequest(uint32_t address, int32_t typeCode, const QString& text, WriteRequest& request,
                     QString& refusal) {
    request = WriteRequest();
    refusal = parseTypedValue(text, typeCode, request.value[0]);
    if (!refusal.isEmpty())
        return false;
    request.count = 1;
    request.address[0] = address;
    request.typeCode[0] = typeCode;
    request.size[0] = static_cast<uint32_t>(sizeOfCode(typeCode));
    return true;
}

int writeMemory(const WriteRequest& request) {
    static const char hex[] = "0123456789abcdef";
    for (uint32_t e = 0; e < request.count && e < static_cast<uint32_t>(kMaxVars); ++e) {
        // The value holds eight bytes: a packet announcing any other length than a variable's 1, 2, 4
        // or 8 would disagree with its data.
        const uint32_t size = request.size[e];
        if (size != 1 && size != 2 && size != 4 && size != 8)
            return reportFailure(-1);
        uint32_t remaining = size;
        uint32_t address = request.address[e];
        uint8_t bytes[8];
        for (int b = 0; b < 8; ++b)
            bytes[b] = static_cast<uint8_t>(request.value[e] >> (8 * b));
        while (remaining > 0) {
            const uint32_t chunk = remaining < 512 ? remaining : 512;
            char packet[256];
            std::memset(packet, 0, sizeof packet);
            const int len = std::snprintf(packet, 255, "M%x,%x:", address, chunk);
            if (len < 0 || len > 255)
                return reportFailure(-1);
            size_t at = static_cast<size_t>(len);
            const uint32_t done = size - remaining;
            for (uint32_t b = 0; b < chunk && done + b < sizeof bytes && at + 2 < sizeof packet; ++b) {
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

int writeEditedValue(uint32_t address, int32_t typeCode, const QString& text, QString& refusal) {
    WriteRequest request;
    if (!makeEditRequest(address, typeCode, text, request, refusal))
        return kWriteRefused;
    return writeMemory(request);
}
