#include "LoopbackListener.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Sim {

int ListenOnLoopback(std::uint16_t port, std::uint16_t* bound, QString* error) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        *error =
            QStringLiteral("cannot create a socket: %1").arg(QString::fromLocal8Bit(std::strerror(errno)));
        return -1;
    }
    const int on = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on); // restart at once after a stop
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || ::listen(fd, 8) != 0) {
        *error = errno == EADDRINUSE ? QStringLiteral("port %1 is already in use").arg(port)
                                     : QStringLiteral("cannot listen on 127.0.0.1:%1: %2")
                                           .arg(port)
                                           .arg(QString::fromLocal8Bit(std::strerror(errno)));
        ::close(fd);
        return -1;
    }
    socklen_t length = sizeof address;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    *bound = ntohs(address.sin_port);
    return fd;
}

LoopbackListener::LoopbackListener() : m_wakeFd(::eventfd(0, EFD_CLOEXEC)) {}

LoopbackListener::~LoopbackListener() {
    CloseListening();
    if (m_wakeFd >= 0)
        ::close(m_wakeFd);
}

bool LoopbackListener::Listen(std::uint16_t port, QString* error) {
    if (m_wakeFd < 0) {
        *error = QStringLiteral("cannot create an event descriptor");
        return false;
    }
    m_listenFd = ListenOnLoopback(port, &m_port, error);
    return m_listenFd >= 0;
}

void LoopbackListener::Wake() {
    const std::uint64_t one = 1;
    if (m_wakeFd >= 0 && ::write(m_wakeFd, &one, sizeof one) < 0)
        std::perror("tidewatch-sim: eventfd");
}

void LoopbackListener::CloseListening() {
    if (m_listenFd >= 0) {
        ::close(m_listenFd);
        m_listenFd = -1;
    }
}

} // namespace Sim
