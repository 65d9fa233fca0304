#include "ClientConnection.h"

#include "GdbSession.h"
#include "RspFraming.h"

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>

namespace Sim {

namespace {

// Waits until fd is ready for events; false when the server is shutting down or on error.
bool WaitReady(int fd, short events, int wakeFd) {
    pollfd fds[2] = {{fd, events, 0}, {wakeFd, POLLIN, 0}};
    for (;;) {
        const int ready = ::poll(fds, 2, -1);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready < 0 || (fds[1].revents & POLLIN))
            return false;
        if (fds[0].revents)
            return true;
    }
}

bool SendAll(int fd, const QByteArray& data, int wakeFd) {
    const char* at = data.constData();
    qsizetype left = data.size();
    while (left > 0) {
        const ssize_t sent = ::send(fd, at, static_cast<size_t>(left), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent > 0) {
            at += sent;
            left -= sent;
        } else if (sent < 0 && errno == EINTR) {
            continue;
        } else if (sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            if (!WaitReady(fd, POLLOUT, wakeFd))
                return false;
        } else {
            return false;
        }
    }
    return true;
}

} // namespace

void ServeClient(int fd, int wakeFd, GdbSession& session) {
    RspParser parser;
    std::vector<RspEvent> events;
    QByteArray lastSent; // resent when the client answers '-'
    bool silent = false;
    char buffer[16384];
    for (;;) {
        if (!WaitReady(fd, POLLIN, wakeFd))
            return;
        const ssize_t received = ::recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
        if (received < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK))
            continue;
        if (received <= 0)
            return;
        if (silent)
            continue; // a silent target swallows everything until the client gives up
        events.clear();
        parser.Feed(buffer, static_cast<int>(received), events);
        for (const RspEvent& event : events) {
            QByteArray out;
            RspResponse response;
            switch (event.kind) {
            case RspEvent::Ack:
                continue;
            case RspEvent::Nack:
                if (!SendAll(fd, lastSent, wakeFd))
                    return;
                continue;
            case RspEvent::BadPacket:
                if (!SendAll(fd, "-", wakeFd))
                    return;
                continue;
            case RspEvent::Interrupt:
                response = session.Interrupt();
                break;
            case RspEvent::Packet:
                response = session.Handle(event.payload);
                break;
            }
            if (response.ack == RspResponse::Ack::Plus)
                out += '+';
            else if (response.ack == RspResponse::Ack::Minus)
                out += '-';
            QByteArray reply;
            for (const QByteArray& packet : response.packets)
                reply += RspFrame(packet);
            reply += response.raw;
            if (!reply.isEmpty())
                lastSent = reply;
            if (!SendAll(fd, out + reply, wakeFd))
                return;
            if (response.after == RspResponse::After::Close)
                return;
            if (response.after == RspResponse::After::Silence) {
                silent = true;
                break;
            }
        }
    }
}

} // namespace Sim
