#include "GdbServer.h"

#include "ClientConnection.h"
#include "GdbSession.h"
#include "LoopbackListener.h"

#include <cerrno>
#include <cstdio>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Sim {

GdbServer::GdbServer(SharedRam& ram, std::uint64_t entry, const FaultPlan& faults)
    : m_ram(ram), m_entry(entry), m_faults(faults) {}

GdbServer::~GdbServer() {
    Stop();
}

void GdbServer::Start() {
    if (m_listener.IsListening() && !m_acceptThread.joinable())
        m_acceptThread = std::thread([this] { AcceptLoop(); });
}

void GdbServer::Stop() {
    m_listener.Wake();
    if (m_acceptThread.joinable())
        m_acceptThread.join();
    std::vector<Connection> connections;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        connections.swap(m_connections);
    }
    for (Connection& connection : connections)
        connection.thread.join();
    m_listener.CloseListening();
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
    pollfd fds[2] = {{m_listener.ListenFd(), POLLIN, 0}, {m_listener.WakeFd(), POLLIN, 0}};
    for (;;) {
        if (::poll(fds, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (fds[1].revents & POLLIN)
            return;
        const int fd = ::accept4(m_listener.ListenFd(), nullptr, nullptr, SOCK_CLOEXEC);
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
                ServeClient(fd, m_listener.WakeFd(), session);
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
