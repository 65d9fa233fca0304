#pragma once

#include "HssSession.h"

#include <cstdint>
#include <string>

// Sampling by polling, for GDB servers without high-speed sampling: each poll sends one "m" read per
// range of the plan (PollPlan.h), all of them in one hold of the channel, so a value write lands
// between two polls. Polls follow the interval, or come back to back when a round trip takes longer.
// A frame is stamped with the host's monotonic clock in microseconds since the session's first poll,
// taken just before the poll's first read request goes out.

// End code of a session whose read of one variable's memory the server refused.
constexpr int kEndUnreadable = 256;

// Runs until a stop is requested (0) or an end: 3 the connection was lost or fell out of step,
// kEndUnreadable a variable could not be read (pollFailedVariable()), -1 the frame could not be kept.
int pollSession(const HssConfig& config);

// An "m" reply as bytes: runs of the protocol's run-length encoding expanded ("x*" and a count
// character c repeat x c - 29 more times), then hexadecimal pairs. False for anything else.
bool decodeMemoryReply(const char* reply, std::string& bytes);

// The one conversion of a polled variable's little-endian bytes into its frame slot.
void fillFrameSlot(SampleFrame& frame, uint32_t index, const uint8_t* bytes, uint32_t size, int32_t typeCode);

// Watch-list index of the variable whose read ended the last session, -1 when none; and what the
// server answered. Set by the reader thread before its session ends.
int pollFailedVariable();
std::string pollFailedReply();
// Frames polled since the process started; any thread may watch it for the rate.
uint64_t pollFrames();
