#pragma once

#include <arpa/inet.h>
#include <cstdint>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

// A loopback port held by a bound socket for as long as the object lives. A listening one stays busy
// for anyone else who wants to listen there; a non-listening one refuses every connection.
class HeldPort {
public:
    enum Mode { Listening, Refusing };
    explicit HeldPort(Mode mode) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (::bind(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
            (mode == Refusing || ::listen(m_fd, 1) == 0) &&
            ::getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
            m_port = ntohs(address.sin_port);
    }
    ~HeldPort() { ::close(m_fd); }
    HeldPort(const HeldPort&) = delete;
    HeldPort& operator=(const HeldPort&) = delete;

    // 0 when no port could be held.
    std::uint16_t port() const { return m_port; }

private:
    int m_fd = ::socket(AF_INET, SOCK_STREAM, 0);
    std::uint16_t m_port = 0;
};
