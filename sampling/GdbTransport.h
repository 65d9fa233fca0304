#pragma once

#include "GdbMutex.h"

#include <cstdint>

// GDB remote serial protocol over one TCP connection per process. Replies are taken out of a
// process-wide 4096-byte receive buffer; raw bytes a server sends after a reply packet (sample data)
// stay there for the caller.

constexpr uint32_t kGdbBufferSize = 4096;

int gdbConnect(const char* host, uint16_t port);
int gdbClose();
int gdbSendRaw(const char* buffer, uint16_t length);
int gdbRecvRaw(char* buffer, uint16_t capacity);
// Sends "$command#cc" and waits for the server's "+"; 0 when acknowledged, -1 otherwise.
int gdbSendPacket(const char* command);
// Payload of the next reply packet, malloc'ed and NUL-terminated (the caller frees it); answered
// with "+". Null when the copy failed, or when the connection is dead or out of step.
char* gdbReadReply();
int gdbHandshake();

GdbMutex& gdbMutex();
char* gdbRecvBuffer();
uint32_t& gdbRecvFill();
uint32_t gdbPacketSize();

// A receive deadline, in milliseconds from now, after which every blocking receive fails; used by
// the stop path so that a silent server cannot hold it up. 0 disarms it.
void gdbSetReceiveDeadline(int ms);
// True once a receive found the connection closed or broken.
bool gdbConnectionLost();

// Forgets the connection state and empties the buffers (for tests).
void gdbResetForTests();
