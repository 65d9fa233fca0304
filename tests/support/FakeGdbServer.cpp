#include "FakeGdbServer.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

std::string hex2(unsigned v) {
    static const char digits[] = "0123456789abcdef";
    return {digits[(v >> 4) & 0xf], digits[v & 0xf]};
}

uint32_t parseHex(const std::string& s, size_t& at) {
    uint32_t v = 0;
    while (at < s.size() && std::isxdigit(static_cast<unsigned char>(s[at]))) {
        const char c = s[at++];
        v = v * 16 + static_cast<uint32_t>(std::isdigit(static_cast<unsigned char>(c))
                                               ? c - '0'
                                               : (std::tolower(c) - 'a' + 10));
    }
    return v;
}

bool startsWith(const std::string& s, const std::string& prefix) {
    return s.compare(0, prefix.size(), prefix) == 0;
}

} // namespace

FakeGdbServer::FakeGdbServer() {
    m_listen = ::socket(AF_INET, SOCK_STREAM, 0);
    int one = 1;
    setsockopt(m_listen, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = 0;
    ::bind(m_listen, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::listen(m_listen, 4);
    socklen_t len = sizeof address;
    getsockname(m_listen, reinterpret_cast<sockaddr*>(&address), &len);
    m_port = ntohs(address.sin_port);
    m_source = [](uint64_t index, const std::vector<uint32_t>& sizes, std::string& out) {
        // Variable v of sample i holds i + v, little-endian, in its size.
        for (size_t v = 0; v < sizes.size(); ++v) {
            const uint64_t value = index + v;
            for (uint32_t b = 0; b < sizes[v]; ++b)
                out.push_back(static_cast<char>(b < 8 ? (value >> (8 * b)) & 0xff : 0));
        }
    };
    m_thread = std::thread([this] { serve(); });
}

FakeGdbServer::~FakeGdbServer() {
    m_quit.store(true);
    ::shutdown(m_listen, SHUT_RDWR);
    const int client = m_client.load();
    if (client >= 0)
        ::shutdown(client, SHUT_RDWR);
    m_thread.join();
    ::close(m_listen);
}

void FakeGdbServer::setHandler(Handler handler) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_handler = std::move(handler);
}

void FakeGdbServer::setSampleSource(SampleSource source) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_source = std::move(source);
}

std::vector<std::string> FakeGdbServer::commands() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_commands;
}

bool FakeGdbServer::waitForCommand(const std::string& prefix, int timeoutMs) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cv.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
        for (const std::string& c : m_commands)
            if (startsWith(c, prefix))
                return true;
        return false;
    });
}

int FakeGdbServer::countCommands(const std::string& prefix) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    int n = 0;
    for (const std::string& c : m_commands)
        n += startsWith(c, prefix) ? 1 : 0;
    return n;
}

std::string FakeGdbServer::rawReceived() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_raw;
}

std::map<uint32_t, uint8_t> FakeGdbServer::memory() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_memory;
}

std::string FakeGdbServer::frame(const std::string& payload) {
    unsigned sum = 0;
    for (unsigned char c : payload)
        sum += c;
    return "$" + payload + "#" + hex2(sum & 0xff);
}

FakeGdbServer::Handler FakeGdbServer::answering(const std::string& prefix, const std::string& payload) {
    return [prefix, payload](const std::string& command, Reply& reply) {
        if (!startsWith(command, prefix))
            return false;
        reply.chunks = {frame(payload)};
        return true;
    };
}

void FakeGdbServer::sendAll(int fd, const std::string& bytes) {
    const size_t split = m_split.load();
    size_t at = 0;
    while (at < bytes.size()) {
        size_t n = bytes.size() - at;
        if (split > 0 && n > split)
            n = split;
        const ssize_t sent = ::send(fd, bytes.data() + at, n, MSG_NOSIGNAL);
        if (sent <= 0)
            return;
        at += static_cast<size_t>(sent);
        if (split > 0 && m_gapUs.load() > 0 && at < bytes.size())
            std::this_thread::sleep_for(std::chrono::microseconds(m_gapUs.load()));
    }
}

void FakeGdbServer::serve() {
    while (!m_quit.load()) {
        pollfd p{m_listen, POLLIN, 0};
        if (::poll(&p, 1, 100) <= 0)
            continue;
        const int fd = ::accept(m_listen, nullptr, nullptr);
        if (fd < 0)
            continue;
        int one = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        m_connections.fetch_add(1);
        m_silent.store(false); // a new connection finds the server talking again
        m_client.store(fd);
        handleConnection(fd);
        m_client.store(-1);
        ::close(fd);
    }
}

void FakeGdbServer::handleConnection(int fd) {
    std::string pending;
    char buffer[65536];
    while (!m_quit.load()) {
        pollfd p{fd, POLLIN, 0};
        const int ready = ::poll(&p, 1, 100);
        if (ready == 0)
            continue;
        const ssize_t got = ::recv(fd, buffer, sizeof buffer, 0);
        if (got <= 0)
            return;
        pending.append(buffer, static_cast<size_t>(got));
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_raw.append(buffer, static_cast<size_t>(got));
        }
        for (;;) {
            size_t at = 0;
            while (at < pending.size() && pending[at] != '$') {
                if (pending[at] == '+')
                    m_acks.fetch_add(1);
                ++at;
            }
            pending.erase(0, at);
            const size_t hash = pending.find('#');
            if (pending.empty() || hash == std::string::npos || pending.size() < hash + 3)
                break;
            const std::string command = pending.substr(1, hash - 1);
            pending.erase(0, hash + 3);
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_commands.push_back(command);
            }
            m_cv.notify_all();
            bool closeNow = false;
            if (!m_silent.load())
                answer(fd, command, closeNow);
            if (closeNow)
                return;
        }
    }
}

void FakeGdbServer::answer(int fd, const std::string& command, bool& closeNow) {
    Reply reply;
    Handler handler;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        handler = m_handler;
    }
    if (!(handler && handler(command, reply)))
        builtIn(command, reply);
    if (reply.silent) {
        m_silent.store(true);
        return;
    }
    std::string out = reply.ack;
    for (const std::string& chunk : reply.chunks) {
        if (m_split.load() == 0) {
            out += chunk;
        } else {
            sendAll(fd, out);
            out.clear();
            sendAll(fd, chunk);
        }
    }
    if (!out.empty())
        sendAll(fd, out);
    if (reply.hangAfter)
        m_silent.store(true);
    if (reply.close) {
        ::shutdown(fd, SHUT_RDWR);
        closeNow = true;
    }
}

bool FakeGdbServer::builtIn(const std::string& command, Reply& reply) {
    if (startsWith(command, "qSupported")) {
        reply.chunks.push_back(frame(m_qSupported));
    } else if (command == "qSeggerHSS:Stop") {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_sampling = false;
        reply.chunks.push_back(frame("OK"));
    } else if (command == "qSeggerHSS:Supported") {
        reply.chunks.push_back(frame("OK"));
    } else if (startsWith(command, "qSeggerHSS:Start:")) {
        size_t at = std::strlen("qSeggerHSS:Start:");
        parseHex(command, at); // flags
        ++at;
        parseHex(command, at); // period
        ++at;
        const uint32_t count = parseHex(command, at);
        std::vector<uint32_t> sizes;
        for (uint32_t i = 0; i < count && at < command.size(); ++i) {
            ++at;
            parseHex(command, at); // address
            ++at;
            sizes.push_back(parseHex(command, at));
            ++at;
            parseHex(command, at); // flags
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        m_sizes = sizes;
        m_sampling = true;
        m_nextSample = 0;
        reply.chunks.push_back(frame("OK"));
    } else if (startsWith(command, "qSeggerHSS:Read:")) {
        const uint32_t served = m_reads.fetch_add(1);
        if (m_silentAfterReads.load() >= 0 && static_cast<int>(served) >= m_silentAfterReads.load()) {
            reply.silent = true;
            return true;
        }
        if (m_closeAfterReads.load() >= 0 && static_cast<int>(served) >= m_closeAfterReads.load()) {
            reply.ack.clear();
            reply.close = true;
            return true;
        }
        size_t at = std::strlen("qSeggerHSS:Read:");
        const uint32_t asked = parseHex(command, at);
        std::lock_guard<std::mutex> lock(m_mutex);
        uint32_t n = m_sampling ? std::min(asked, m_samplesPerRead.load()) : 0;
        char head[32];
        std::snprintf(head, sizeof head, "OK,%08x", n);
        std::string data;
        for (uint32_t i = 0; i < n; ++i) {
            const uint64_t index = m_nextSample++;
            const uint32_t stamp = m_firstStamp.load() + static_cast<uint32_t>(index) * m_stampStep.load();
            for (int b = 0; b < 4; ++b)
                data.push_back(static_cast<char>((stamp >> (8 * b)) & 0xff));
            m_source(index, m_sizes, data);
        }
        reply.chunks.push_back(frame(head));
        if (!data.empty())
            reply.chunks.push_back(data);
    } else if (startsWith(command, "M")) {
        size_t at = 1;
        const uint32_t address = parseHex(command, at);
        ++at;
        const uint32_t length = parseHex(command, at);
        ++at;
        std::lock_guard<std::mutex> lock(m_mutex);
        for (uint32_t i = 0; i < length && at + 1 < command.size(); ++i, at += 2) {
            size_t p = 0;
            const std::string pair = command.substr(at, 2);
            m_memory[address + i] = static_cast<uint8_t>(parseHex(pair, p));
        }
        reply.chunks.push_back(frame("OK"));
    } else {
        reply.chunks.push_back(frame(""));
    }
    return true;
}
