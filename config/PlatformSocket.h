#pragma once

// Socket headers and the few calls whose spelling differs between Windows and Linux.
#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

namespace Platform {

// One send call that never raises SIGPIPE on a closed peer.
inline long SocketSend(int handle, const char* data, int length) {
#ifdef _WIN32
    return ::send(static_cast<SOCKET>(handle), data, length, 0);
#else
    return ::send(handle, data, static_cast<size_t>(length), MSG_NOSIGNAL);
#endif
}

inline long SocketRecv(int handle, char* data, int capacity) {
#ifdef _WIN32
    return ::recv(static_cast<SOCKET>(handle), data, capacity, 0);
#else
    return ::recv(handle, data, static_cast<size_t>(capacity), 0);
#endif
}

// Waits until the socket is readable (or closed): 1 ready, 0 timed out, -1 error.
// On Linux this is a thread cancellation point.
inline int WaitReadable(int handle, int timeoutMs) {
#ifdef _WIN32
    WSAPOLLFD p{static_cast<SOCKET>(handle), POLLRDNORM, 0};
    const int rc = WSAPoll(&p, 1, timeoutMs);
#else
    pollfd p{handle, POLLIN, 0};
    const int rc = ::poll(&p, 1, timeoutMs);
    if (rc < 0 && errno == EINTR)
        return 0;
#endif
    return rc < 0 ? -1 : (rc > 0 ? 1 : 0);
}

} // namespace Platform
