#pragma once

// A stop request for the reader thread. Stopping is an ordinary return path: the reader's loops look
// at the request between exchanges, while waiting for the channel and in their pauses; a receive
// blocked on the socket is woken by shutting the socket down (gdbShutdown).

#include "GdbMutex.h"

#include <mutex>

void requestStop();
void clearStopRequest();
bool stopRequested();
// Pauses for `ms` milliseconds in short slices; false as soon as a stop was requested.
bool pauseUnlessStopped(int ms);
// Takes the channel lock, looking every 50 ms whether a stop was requested; false, without the lock,
// once one was.
bool lockUnlessStopped(std::unique_lock<GdbMutex>& channel);
