#include "JtagServer.h"

#include "LoopbackListener.h"

#include <cerrno>
#include <cstdio>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Sim {

bool FeedBitbang(RiscvDtm& dtm, bool* tck, const char* data, int size, QByteArray* replies) {
    for (int i = 0; i < size; ++i) {
        const char c = data[i];
        if (c >= '0' && c <= '7') {
            const int pins = c - '0';
            const bool clock = pins & 4;
            if (clock && !*tck)
                dtm.Clock(pins & 2, pins & 1);
            *tck = clock;
        } else if (c == 'R') {
            replies->append(dtm.Tdo() ? '1' : '0');
        } else if (c == 't' || c == 'u') {
            dtm.Reset();
        } else if (c == 'c') {
            replies->append('0');
        } else if (c == 'Q') {
            return false;
        }
    }
    return true;
}

JtagServer::JtagServer(DebugHart& hart) : m_dm(hart), m_dtm(m_dm) {
    m_wakeFd = ::eventfd(0, EFD_CLOEXEC);
}

JtagServer::~JtagServer() {
    Stop();
    if (m_wakeFd >= 0)
        ::close(m_wakeFd);
}

bool JtagServer::Listen(std::uint16_t port, QString* error) {
    if (m_wakeFd < 0) {
        *error = QStringLiteral("cannot create an event descriptor");
        return false;
    }
    m_listenFd = ListenOnLoopback(port, &m_port, error);
    return m_listenFd >= 0;
}

void JtagServer::Start() {
    if (m_listenFd >= 0 && !m_thread.joinable())
        m_thread = std::thread([this] { Run(); });
}

void JtagServer::Stop() {
    if (m_wakeFd >= 0) {
        const std::uint64_t one = 1;
        if (::write(m_wakeFd, &one, sizeof one) < 0)
            std::perror("tidewatch-sim: eventfd");
    }
    if (m_thread.joinable())
        m_thread.join();
    if (m_listenFd >= 0) {
        ::close(m_listenFd);
        m_listenFd = -1;
    }
}

void JtagServer::Run() {
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
        std::fprintf(stderr, "tidewatch-sim: JTAG client connected\n");
        Serve(fd);
        ::close(fd);
        std::fprintf(stderr, "tidewatch-sim: JTAG client disconnected\n");
    }
}

void JtagServer::Serve(int fd) {
    const int on = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on); // every TDO sample is waited for
    m_dtm.Reset();
    bool tck = false;
    char buffer[65536];
    QByteArray replies;
    pollfd fds[2] = {{fd, POLLIN, 0}, {m_wakeFd, POLLIN, 0}};
    for (;;) {
        if (::poll(fds, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (fds[1].revents & POLLIN)
            return;
        const ssize_t received = ::recv(fd, buffer, sizeof buffer, 0);
        if (received < 0 && errno == EINTR)
            continue;
        if (received <= 0)
            return;
        replies.clear();
        const bool more = FeedBitbang(m_dtm, &tck, buffer, static_cast<int>(received), &replies);
        for (qsizetype done = 0; done < replies.size();) {
            const ssize_t sent = ::send(fd, replies.constData() + done,
                                        static_cast<size_t>(replies.size() - done), MSG_NOSIGNAL);
            if (sent < 0 && errno == EINTR)
                continue;
            if (sent <= 0)
                return;
            done += sent;
        }
        if (!more)
            return;
    }
}

} // namespace Sim
