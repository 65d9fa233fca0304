#pragma once

// Socket headers and the few calls whose spelling differs between Windows and Linux.
#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
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

// Sends small packets at once instead of waiting for the peer's delayed acknowledgement.
inline bool SetNoDelay(int handle) {
    int on = 1;
#ifdef _WIN32
    return ::setsockopt(static_cast<SOCKET>(handle), IPPROTO_TCP, TCP_NODELAY,
                        reinterpret_cast<const char*>(&on), sizeof on) == 0;
#else
    return ::setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0;
#endif
}

// Ends both directions; a receive blocked on the socket in another thread returns at once.
inline int ShutdownSocket(int handle) {
#ifdef _WIN32
    return ::shutdown(static_cast<SOCKET>(handle), SD_BOTH);
#else
    return ::shutdown(handle, SHUT_RDWR);
#endif
}

// Connects within the time: a host that neither accepts nor refuses (a filtered port, an address that
// does not answer) costs at most `timeoutMs`. 0 when connected, -1 otherwise. The socket stays blocking.
inline int ConnectWithin(int handle, const sockaddr* address, int length, int timeoutMs) {
#ifdef _WIN32
    const SOCKET s = static_cast<SOCKET>(handle);
    u_long on = 1, off = 0;
    if (::ioctlsocket(s, FIONBIO, &on) != 0)
        return -1;
    int rc = ::connect(s, address, length);
    if (rc != 0 && ::WSAGetLastError() == WSAEWOULDBLOCK) {
        WSAPOLLFD p{s, POLLWRNORM, 0};
        int error = 0, size = sizeof error;
        rc = ::WSAPoll(&p, 1, timeoutMs) == 1 &&
                     ::getsockopt(s, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size) == 0 &&
                     error == 0
                 ? 0
                 : -1;
    }
    ::ioctlsocket(s, FIONBIO, &off);
    return rc == 0 ? 0 : -1;
#else
    const int flags = ::fcntl(handle, F_GETFL);
    if (flags < 0 || ::fcntl(handle, F_SETFL, flags | O_NONBLOCK) != 0)
        return -1;
    int rc = ::connect(handle, address, static_cast<socklen_t>(length));
    if (rc != 0 && errno == EINPROGRESS) {
        pollfd p{handle, POLLOUT, 0};
        int error = 0;
        socklen_t size = sizeof error;
        rc = ::poll(&p, 1, timeoutMs) == 1 &&
                     ::getsockopt(handle, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0
                 ? 0
                 : -1;
    }
    ::fcntl(handle, F_SETFL, flags);
    return rc == 0 ? 0 : -1;
#endif
}

// Waits until the socket is readable (or closed): 1 ready, 0 timed out, -1 error.
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
