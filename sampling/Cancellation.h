#pragma once

// Cancellation of the reader thread, deferred: a stop request takes effect only at the engine's own
// cancellation points — after each decoded batch and between the short slices of every wait
// (receive, channel mutex, pause) — where the reader unwinds, releasing what it holds, back to its
// entry function. The slices keep a stop prompt even against a silent server.

// The unwinding that a cancellation point starts in the cancellable thread.
struct ThreadCancelled {};

// Marks the calling thread as the one that stop requests are for.
void markCancellableThread();
void requestCancellation();
void clearCancellation();
// Throws ThreadCancelled in the cancellable thread once a stop was requested; nothing elsewhere.
void cancellationPoint();
// Pauses for `ms` milliseconds in slices, with a cancellation point between them.
void cancellableSleepMs(int ms);
