#pragma once

// The reader thread is ended by deferred cancellation. It runs with cancellation disabled and opens
// it only at these points: after each decoded batch and between the short slices of every wait
// (receive, channel mutex, pause). Being cancelled only here, never from inside a blocking system
// call, keeps the unwinding predictable; the slices keep a stop prompt.
void cancellationPoint();
// Pauses for `ms` milliseconds in slices, with a cancellation point between them.
void cancellableSleepMs(int ms);
