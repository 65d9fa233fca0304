#include "GdbTransport.h"

#include "Console.h"
#include "NoCase.h"
#include "Platform.h"
#include "PlatformSocket.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

std::atomic<int> g_socket{-1};
char g_tx[kGdbBufferSize];
char g_rx[kGdbBufferSize];
uint32_t g_rxFill = 0;
uint32_t g_packetSize = 65536;
std::atomic<bool> g_inStep{false};
constexpr int kConnectLimitMs = 3000;
// Absolute deadline in steady milliseconds for the calling thread's receives; 0 means none.
thread_local int64_t t_deadlineMs = 0;

int64_t nowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

char hexDigit(unsigned v) {
    return static_cast<char>(v < 10 ? '0' + v : 'a' + (v - 10));
}

// One receive into the free part of the buffer from index `at`; false when it failed.
bool receiveInto(uint32_t at) {
    const int got = gdbRecvRaw(g_rx + at, static_cast<uint16_t>(kGdbBufferSize - at));
    if (got < 0)
        return false;
    g_rxFill += static_cast<uint32_t>(got);
    return true;
}

} // namespace

int gdbConnect(const char* host, uint16_t port) {
    if (host == nullptr)
        return -1;
    sockaddr_in address;
    std::memset(&address, 0, sizeof address);
    if (!Platform::StartSockets()) {
        consolePrint("    LOG>>Load WinSock Failed ! \r\n");
        return -1;
    }
    const int handle = static_cast<int>(::socket(AF_INET, SOCK_STREAM, 0));
    if (handle < 0) {
        consolePrint("    LOG>>socket fail ! \r\n");
        return -1;
    }
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = inet_addr(host);
    // Bounded by the calling thread's deadline, else by a few seconds: Start never hangs on a server host
    // that does not answer.
    const int limitMs =
        t_deadlineMs != 0 ? static_cast<int>(std::max<int64_t>(t_deadlineMs - nowMs(), 0)) : kConnectLimitMs;
    if (Platform::ConnectWithin(handle, reinterpret_cast<sockaddr*>(&address), sizeof address, limitMs) !=
        0) {
        consolePrint("connect fail !\r\n");
        Platform::CloseSocket(handle);
        consolePrint("LOG>>_Connect failed.\n");
        return -1;
    }
    Platform::SetNoDelay(handle);
    // Whatever an earlier connection left unread belongs to it, not to this one.
    g_rxFill = 0;
    g_packetSize = 65536;
    g_socket.store(handle);
    g_inStep.store(true);
    return 0;
}

int gdbClose() {
    const int handle = g_socket.load();
    if (handle < 1)
        return 0;
    const int rc = Platform::CloseSocket(handle);
    if (rc == 0) {
        g_socket.store(-1);
        g_inStep.store(false);
    }
    return rc;
}

int gdbSendRaw(const char* buffer, uint16_t length) {
    const int handle = g_socket.load();
    if (handle < 1 || buffer == nullptr || length == 0)
        return -1;
    return Platform::SocketSend(handle, buffer, length) == length ? 0 : -1;
}

int gdbRecvRaw(char* buffer, uint16_t capacity) {
    const int handle = g_socket.load();
    if (handle < 1 || buffer == nullptr || capacity == 0)
        return -1;
    // Without a deadline this blocks until data or a close arrive; gdbShutdown wakes it.
    while (t_deadlineMs != 0) {
        const int64_t left = t_deadlineMs - nowMs();
        if (left <= 0) {
            // The reply may still come later and would be taken for the answer to something else.
            g_inStep.store(false);
            return -1;
        }
        const int ready = Platform::WaitReadable(handle, static_cast<int>(left));
        if (ready < 0) {
            g_inStep.store(false);
            return -1;
        }
        if (ready > 0)
            break;
    }
    const long got = Platform::SocketRecv(handle, buffer, capacity);
    if (got < 1) {
        g_inStep.store(false);
        return -1;
    }
    return static_cast<int>(got);
}

int gdbSendPacket(const char* command) {
    const size_t n = std::strlen(command);
    std::unique_ptr<char, decltype(&std::free)> block(nullptr, &std::free);
    if (n + 5 > kGdbBufferSize) {
        block.reset(static_cast<char*>(std::calloc(n + 5, 1)));
        if (!block)
            return -1;
    }
    unsigned sum = 0;
    for (size_t i = 0; i < n; ++i)
        sum += static_cast<unsigned char>(command[i]);
    sum &= 0xff;
    if (!block) {
        g_tx[0] = '$';
        std::memcpy(g_tx + 1, command, n);
        g_tx[n + 1] = '#';
        g_tx[n + 2] = hexDigit(sum >> 4);
        g_tx[n + 3] = hexDigit(sum & 0xf);
        g_tx[n + 4] = '\0';
    }
    // An over-long command goes out as the zero-filled block: no caller builds one.
    if (gdbSendRaw(block ? block.get() : g_tx, static_cast<uint16_t>(n + 4)) != 0)
        return -1;

    const int64_t deadline = nowMs() + 5000;
    for (;;) {
        char byte = 0;
        if (gdbRecvRaw(&byte, 1) < 0)
            return -1;
        if (byte == 0x03)
            continue;
        if (byte == '+')
            return 0;
        if (deadline - nowMs() < 0 || byte == '-')
            return -1;
    }
}

bool gdbTakeReply(char* buffer, uint32_t& fill, char** payload) {
    *payload = nullptr;
    uint32_t run = 0;
    while (run < fill && buffer[run] == '+')
        ++run;
    if (run > 0) {
        std::memmove(buffer, buffer + run, fill - run);
        fill -= run;
    }
    if (fill < 2 || buffer[0] != '$')
        return false;
    const void* hash = std::memchr(buffer + 1, '#', fill - 1);
    if (hash == nullptr)
        return false;
    const uint32_t k = static_cast<uint32_t>(static_cast<const char*>(hash) - buffer);
    if (fill - k - 1 < 2)
        return false; // the checksum has not all arrived
    *payload = static_cast<char*>(std::malloc(k));
    if (*payload == nullptr)
        return true;
    std::memcpy(*payload, buffer + 1, k - 1);
    (*payload)[k - 1] = '\0';
    fill -= k + 3;
    std::memmove(buffer, buffer + k + 3, fill);
    return true;
}

char* gdbReadReply() {
    for (;;) {
        char* payload = nullptr;
        if (gdbTakeReply(g_rx, g_rxFill, &payload)) {
            if (payload != nullptr) {
                const char ack = '+';
                gdbSendRaw(&ack, 1);
            }
            return payload;
        }
        // Not a complete packet yet. A stray byte at the head is never skipped; once it has filled
        // the buffer the stream is out of step and no reply can follow, so give up instead of spinning.
        if (g_rxFill == kGdbBufferSize) {
            consolePrint("LOG>>reply stream out of step\n");
            g_inStep.store(false);
            return nullptr;
        }
        if (!receiveInto(g_rxFill))
            return nullptr;
    }
}

int gdbHandshake() {
    if (gdbSendPacket("qSupported:vContSupported") != 0)
        return -1;
    char* reply = gdbReadReply();
    if (reply == nullptr)
        return -1;
    g_packetSize = 65536;
    if (const char* at = std::strstr(reply, "PacketSize=")) {
        at += std::strlen("PacketSize=");
        while (*at == '\t' || *at == '\n' || *at == '\r' || *at == ' ')
            ++at;
        // Hexadecimal, as the protocol has it (openocd's 3fff is 16383 bytes); memory reads are
        // sized by it. Too many digits saturate instead of wrapping into a small size.
        uint32_t size = 0;
        while (std::isxdigit(static_cast<unsigned char>(*at))) {
            const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(*at++)));
            const uint32_t digit = static_cast<uint32_t>(c <= '9' ? c - '0' : c - 'a' + 10);
            size = size > 0x0FFFFFFFu ? UINT32_MAX : size * 16 + digit;
        }
        g_packetSize = size;
    }
    std::free(reply);
    if (gdbSendPacket("qSeggerHSS:Stop") != 0)
        return -1;
    reply = gdbReadReply();
    if (reply == nullptr)
        return -1;
    // An empty reply is a server without high-speed sampling: it can still be polled.
    const int rc = reply[0] == '\0' || compareNoCase(reply, "OK") == 0 ? 0 : -1;
    std::free(reply);
    return rc;
}

GdbMutex& gdbMutex() {
    static GdbMutex mutex;
    return mutex;
}

char* gdbRecvBuffer() {
    return g_rx;
}

uint32_t& gdbRecvFill() {
    return g_rxFill;
}

uint32_t gdbPacketSize() {
    return g_packetSize;
}

void gdbShutdown() {
    const int handle = g_socket.load();
    g_inStep.store(false);
    if (handle >= 1)
        Platform::ShutdownSocket(handle);
}

bool gdbInStep() {
    return g_inStep.load();
}

void gdbMarkOutOfStep() {
    g_inStep.store(false);
}

GdbDeadline::GdbDeadline(int ms) : m_until(nowMs() + ms), m_previous(t_deadlineMs) {
    // A nested deadline never extends an outer one.
    if (m_previous != 0 && m_previous < m_until)
        m_until = m_previous;
    t_deadlineMs = m_until;
}

GdbDeadline::~GdbDeadline() {
    t_deadlineMs = m_previous;
}

int GdbDeadline::remainingMs() const {
    const int64_t left = m_until - nowMs();
    return left > 0 ? static_cast<int>(left) : 0;
}
