#pragma once

// SIGINT and SIGTERM turned into a flag and a readable pipe, so that start-up loops and the event loop
// can both notice them and shut down cleanly.
namespace StopSignals {

// Installs the handlers (once per process); false if the pipe cannot be made.
bool Install();
// Readable once a stop signal arrived; -1 before Install.
int ReadFd();
bool Requested();
// Forgets a received signal (tests).
void Reset();

} // namespace StopSignals
