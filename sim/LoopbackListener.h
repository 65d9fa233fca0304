#pragma once

#include <QString>
#include <cstdint>

namespace Sim {

// A listening TCP socket on 127.0.0.1:port (0 picks a free port, written to *bound); -1, with error
// saying why, when the port is taken or no socket can be made.
int ListenOnLoopback(std::uint16_t port, std::uint16_t* bound, QString* error);

} // namespace Sim
