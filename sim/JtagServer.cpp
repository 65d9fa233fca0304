#include "JtagServer.h"

#include "LoopbackListener.h"

#include <cerrno>
#include <cstdio>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
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

JtagServer::JtagServer(DebugHart& hart) : m_dm(hart), m_dtm(m_dm) {}

JtagServer::~JtagServer() {
    Stop();
}

void JtagServer::Start() {
    if (m_listener.IsListening() && !m_thread.joinable())
        m_thread = std::thread([this] { Run(); });
}

void JtagServer::Stop() {
    m_listener.Wake();
    if (m_thread.joinable())
        m_thread.join();
    m_listener.CloseListening();
}

void JtagServer::Run() {
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
    pollfd fds[2] = {{fd, POLLIN, 0}, {m_listener.WakeFd(), POLLIN, 0}};
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
