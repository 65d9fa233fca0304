#pragma once

// A stop request for the reader thread. Stopping is an ordinary return path: the reader's loops look
// at the request between exchanges, while waiting for the channel and in their pauses; a receive
// blocked on the socket is woken by shutting the socket down (gdbShutdown).

void requestStop();
void clearStopRequest();
bool stopRequested();
// Pauses for `ms` milliseconds in short slices; false as soon as a stop was requested.
bool pauseUnlessStopped(int ms);
