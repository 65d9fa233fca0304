#pragma once

#include "GdbMutex.h"

#include <cstdint>
#include <mutex>

// GDB remote serial protocol over one TCP connection per process. Replies are taken out of a
// process-wide 4096-byte receive buffer; raw bytes a server sends after a reply packet (sample data)
// stay there for the caller.

constexpr uint32_t kGdbBufferSize = 4096;

// Opens the connection with an empty receive buffer and fresh state (no delayed small packets).
int gdbConnect(const char* host, uint16_t port);
int gdbClose();
int gdbSendRaw(const char* buffer, uint16_t length);
// One receive; -1 when it failed, the peer closed, or the calling thread's deadline passed.
int gdbRecvRaw(char* buffer, uint16_t capacity);
// Sends "$command#cc" and waits for the server's "+"; 0 when acknowledged, -1 otherwise.
int gdbSendPacket(const char* command);
// Payload of the next reply packet, malloc'ed and NUL-terminated (the caller frees it); answered
// with "+". Null when the copy failed, or when the connection is dead or out of step.
char* gdbReadReply();
// The reply reader's step over a receive buffer, without I/O: drops a leading run of "+" and, when a
// whole packet is at the head, takes it out and returns true with its payload (null only when the
// copy failed). False when more bytes are needed; a stray byte at the head is never skipped.
bool gdbTakeReply(char* buffer, uint32_t& fill, char** payload);
// qSupported (keeps the server's PacketSize, read as hexadecimal) and a stop of any high-speed
// sampling a previous run left open; 0 when the stop is answered "OK" or, by a server without
// high-speed sampling, with an empty reply.
int gdbHandshake();

// Serialises every exchange on the channel (reader thread and value writes). Taken with scoped
// locks only, so no path can leave it held.
GdbMutex& gdbMutex();
char* gdbRecvBuffer();
uint32_t& gdbRecvFill();
// The server's PacketSize (65536 when it names none).
uint32_t gdbPacketSize();

// Wakes every receive blocked on the connection; nothing can be exchanged on it afterwards.
void gdbShutdown();
// False once a receive failed or timed out, or the stream fell out of step: what arrives next can
// no longer be read as a reply, so the connection is only good for closing.
bool gdbInStep();
void gdbMarkOutOfStep();

// Bounds every receive of the calling thread while it lives: once `ms` have passed, receives fail
// and the stream counts as out of step. Keeps the GUI thread from waiting on a silent server.
class GdbDeadline {
public:
    explicit GdbDeadline(int ms);
    ~GdbDeadline();
    GdbDeadline(const GdbDeadline&) = delete;
    GdbDeadline& operator=(const GdbDeadline&) = delete;
    // Milliseconds left, at least 0.
    int remainingMs() const;

private:
    int64_t m_until;
    int64_t m_previous;
};
