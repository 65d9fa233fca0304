#include "RspClient.h"

#include "RspFraming.h"

#include <QDeadlineTimer>
#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Sim {

RspClient::~RspClient() {
    Close();
}

bool RspClient::Fail(const QString& error) {
    m_error = error;
    return false;
}

bool RspClient::Connect(std::uint16_t port, int timeoutMs) {
    Close();
    m_fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_fd < 0)
        return Fail(QStringLiteral("socket failed"));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // Loopback connects complete or fail at once; the time-out is for a full backlog.
    timeval timeout{timeoutMs / 1000, (timeoutMs % 1000) * 1000};
    ::setsockopt(m_fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    if (::connect(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        Close();
        return Fail(QStringLiteral("cannot connect to port %1").arg(port));
    }
    const int on = 1;
    ::setsockopt(m_fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return true;
}

void RspClient::Close() {
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    m_pending.clear();
}

bool RspClient::SendRaw(const QByteArray& bytes) {
    if (m_fd < 0)
        return Fail(QStringLiteral("not connected"));
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t sent =
            ::send(m_fd, bytes.constData() + done, static_cast<size_t>(bytes.size() - done), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return Fail(QStringLiteral("send failed"));
        done += sent;
    }
    return true;
}

bool RspClient::Fill(int timeoutMs) {
    if (m_fd < 0)
        return Fail(QStringLiteral("not connected"));
    pollfd fd{m_fd, POLLIN, 0};
    const int ready = ::poll(&fd, 1, timeoutMs);
    if (ready == 0)
        return Fail(QStringLiteral("timed out"));
    char buffer[65536];
    const ssize_t received = ready > 0 ? ::recv(m_fd, buffer, sizeof buffer, 0) : -1;
    if (received == 0)
        return Fail(QStringLiteral("connection closed"));
    if (received < 0)
        return errno == EINTR ? true : Fail(QStringLiteral("receive failed"));
    m_pending.append(buffer, static_cast<int>(received));
    return true;
}

bool RspClient::ReadExactly(int count, QByteArray* bytes, int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    while (m_pending.size() < count) {
        if (!Fill(static_cast<int>(deadline.remainingTime())))
            return false;
    }
    *bytes = m_pending.left(count);
    m_pending.remove(0, count);
    return true;
}

bool RspClient::ReadPacket(QByteArray* payload, int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        if (!m_pending.isEmpty() && m_pending.at(0) != '$')
            return Fail(QStringLiteral("unexpected byte 0x%1 before a packet")
                            .arg(static_cast<unsigned char>(m_pending.at(0)), 2, 16, QLatin1Char('0')));
        const int hash = m_pending.indexOf('#');
        if (hash > 0 && m_pending.size() >= hash + 3) {
            const QByteArray body = m_pending.mid(1, hash - 1);
            const QByteArray checksum = m_pending.mid(hash + 1, 2);
            m_pending.remove(0, hash + 3);
            if (checksum != RspFrame(body).right(2))
                return Fail(QStringLiteral("bad checksum %1 on '%2'")
                                .arg(QString::fromLatin1(checksum), QString::fromLatin1(body.left(80))));
            *payload = body;
            return SendRaw("+");
        }
        if (!Fill(static_cast<int>(deadline.remainingTime())))
            return false;
    }
}

bool RspClient::Command(const QByteArray& payload, QByteArray* reply, int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    if (!SendRaw(RspFrame(payload)))
        return false;
    QByteArray ack;
    if (!ReadExactly(1, &ack, static_cast<int>(deadline.remainingTime())))
        return false;
    if (ack != "+")
        return Fail(QStringLiteral("'%1' answered with '%2' instead of '+'")
                        .arg(QString::fromLatin1(payload.left(40)), QString::fromLatin1(ack)));
    return ReadPacket(reply, static_cast<int>(deadline.remainingTime()));
}

bool RspClient::WaitClosed(int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        if (!Fill(static_cast<int>(deadline.remainingTime())))
            return m_error == QLatin1String("connection closed") ||
                   m_error == QLatin1String("receive failed");
        m_pending.clear();
    }
    return false;
}

bool RspClient::StaysSilent(int timeoutMs) {
    if (!m_pending.isEmpty())
        return false;
    return !Fill(timeoutMs) && m_error == QLatin1String("timed out");
}

bool RspClient::HssRead(std::uint32_t maxSamples, std::size_t recordSize, QByteArray* records,
                        std::uint32_t* count, int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    QByteArray reply;
    if (!Command("qSeggerHSS:Read:" + QByteArray::number(maxSamples, 16).rightJustified(8, '0'), &reply,
                 timeoutMs))
        return false;
    if (!reply.startsWith("OK,"))
        return Fail(QStringLiteral("read answered '%1'").arg(QString::fromLatin1(reply)));
    bool ok = false;
    const uint n = reply.mid(3).toUInt(&ok, 16);
    if (!ok)
        return Fail(QStringLiteral("read answered '%1'").arg(QString::fromLatin1(reply)));
    *count = n;
    return ReadExactly(static_cast<int>(n * recordSize), records, static_cast<int>(deadline.remainingTime()));
}

} // namespace Sim
