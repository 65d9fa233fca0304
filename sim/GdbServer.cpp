#include "GdbServer.h"

#include "ClientConnection.h"
#include "GdbSession.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Sim {

GdbServer::GdbServer(SharedRam& ram, std::uint64_t entry, const FaultPlan& faults)
    : m_ram(ram), m_entry(entry), m_faults(faults) {
    m_wakeFd = ::eventfd(0, EFD_CLOEXEC);
}

GdbServer::~GdbServer() {
    Stop();
    if (m_wakeFd >= 0)
        ::close(m_wakeFd);
}

bool GdbServer::Listen(std::uint16_t port, QString* error) {
    m_listenFd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_listenFd < 0 || m_wakeFd < 0) {
        *error =
            QStringLiteral("cannot create a socket: %1").arg(QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    const int on = 1;
    ::setsockopt(m_listenFd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on); // restart at once after a stop
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(m_listenFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_listenFd, 8) != 0) {
        *error = errno == EADDRINUSE ? QStringLiteral("port %1 is already in use").arg(port)
                                     : QStringLiteral("cannot listen on 127.0.0.1:%1: %2")
                                           .arg(port)
                                           .arg(QString::fromLocal8Bit(std::strerror(errno)));
        ::close(m_listenFd);
        m_listenFd = -1;
        return false;
    }
    socklen_t length = sizeof address;
    ::getsockname(m_listenFd, reinterpret_cast<sockaddr*>(&address), &length);
    m_port = ntohs(address.sin_port);
    return true;
}

void GdbServer::Start() {
    if (m_listenFd >= 0 && !m_acceptThread.joinable())
        m_acceptThread = std::thread([this] { AcceptLoop(); });
}

void GdbServer::Stop() {
    if (m_wakeFd >= 0) {
        const std::uint64_t one = 1;
        if (::write(m_wakeFd, &one, sizeof one) < 0)
            std::perror("tidewatch-sim: eventfd");
    }
    if (m_acceptThread.joinable())
        m_acceptThread.join();
    std::vector<Connection> connections;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        connections.swap(m_connections);
    }
    for (Connection& connection : connections)
        connection.thread.join();
    if (m_listenFd >= 0) {
        ::close(m_listenFd);
        m_listenFd = -1;
    }
}

void GdbServer::ReapFinished() {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (auto it = m_connections.begin(); it != m_connections.end();) {
        if (it->done->load()) {
            it->thread.join();
            it = m_connections.erase(it);
        } else {
            ++it;
        }
    }
}

void GdbServer::AcceptLoop() {
    pollfd fds[2] = {{m_listenFd, POLLIN, 0}, {m_wakeFd, POLLIN, 0}};
    for (;;) {
        if (::poll(fds, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (fds[1].revents & POLLIN)
            return;
        const int fd = ::accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0)
            continue;
        const int on = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on); // replies are small and awaited
        ReapFinished();
        const int id = m_nextClientId++;
        auto done = std::make_shared<std::atomic<bool>>(false);
        std::fprintf(stderr, "tidewatch-sim: client %d connected\n", id);
        std::thread thread([this, fd, id, done] {
            {
                GdbSession session(m_ram, m_entry, m_faults, id);
                ServeClient(fd, m_wakeFd, session);
            }
            ::close(fd);
            std::fprintf(stderr, "tidewatch-sim: client %d disconnected\n", id);
            done->store(true);
        });
        std::lock_guard<std::mutex> lock(m_mutex);
        m_connections.push_back({std::move(thread), std::move(done)});
    }
}

} // namespace Sim
