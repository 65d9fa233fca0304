#pragma once

#include <QString>
#include <cstdint>

namespace Sim {

// A listening TCP socket on 127.0.0.1:port (0 picks a free port, written to *bound); -1, with error
// saying why, when the port is taken or no socket can be made.
int ListenOnLoopback(std::uint16_t port, std::uint16_t* bound, QString* error);

// A server's listening socket on 127.0.0.1 and the event descriptor that wakes its threads from poll()
// when the server stops.
class LoopbackListener {
public:
    LoopbackListener();
    ~LoopbackListener();
    LoopbackListener(const LoopbackListener&) = delete;
    LoopbackListener& operator=(const LoopbackListener&) = delete;

    // False, with error saying why, when the port is taken or no socket or event descriptor can be made.
    bool Listen(std::uint16_t port, QString* error);
    bool IsListening() const { return m_listenFd >= 0; }
    std::uint16_t Port() const { return m_port; }
    int ListenFd() const { return m_listenFd; }
    int WakeFd() const { return m_wakeFd; }
    // Wakes every thread that polls WakeFd(); it stays readable from then on.
    void Wake();
    void CloseListening();

private:
    int m_listenFd = -1;
    int m_wakeFd = -1;
    std::uint16_t m_port = 0;
};

} // namespace Sim
