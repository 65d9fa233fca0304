#pragma once

// One client's socket: reads packets, acknowledges them, hands them to its session and sends what the
// session answers. Blocking, on the connection's own thread.
namespace Sim {

class GdbSession;

// Serves until the client leaves, the session closes the connection, or wakeFd becomes readable (the
// server is shutting down). Does not close fd.
void ServeClient(int fd, int wakeFd, GdbSession& session);

} // namespace Sim
