#include "FakeGdbServer.h"

#include "RspFraming.h"

#include <QList>
#include <algorithm>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

bool startsWith(const std::string& s, const std::string& prefix) {
    return s.compare(0, prefix.size(), prefix) == 0;
}

std::vector<uint64_t> hexFields(const std::string& text) {
    std::vector<uint64_t> fields;
    for (const QByteArray& field : QByteArray::fromStdString(text).split(','))
        fields.push_back(field.toULongLong(nullptr, 16));
    return fields;
}

} // namespace

FakeGdbServer::FakeGdbServer() {
    m_listen = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(m_listen, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::listen(m_listen, 4);
    socklen_t len = sizeof address;
    getsockname(m_listen, reinterpret_cast<sockaddr*>(&address), &len);
    m_port = ntohs(address.sin_port);
    // Variable v of sample i holds i + v, little-endian, in its size.
    m_source = [](uint64_t index, const std::vector<uint32_t>& sizes, std::string& out) {
        for (size_t v = 0; v < sizes.size(); ++v)
            for (uint32_t b = 0; b < sizes[v]; ++b)
                out.push_back(static_cast<char>(b < 8 ? ((index + v) >> (8 * b)) & 0xff : 0));
    };
    for (int i = 0; i < 0x10000; ++i)
        m_memory.push_back(static_cast<char>(i));
    m_thread = std::thread([this] { serve(); });
}

FakeGdbServer::~FakeGdbServer() {
    m_quit.store(true);
    ::shutdown(m_listen, SHUT_RDWR);
    ::shutdown(m_client.load(), SHUT_RDWR); // fails harmlessly on -1, no client
    m_thread.join();
    ::close(m_listen);
}

bool FakeGdbServer::waitForCommand(const std::string& prefix, int timeoutMs) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_cv.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
        return std::any_of(m_commands.begin(), m_commands.end(),
                           [&](const std::string& c) { return startsWith(c, prefix); });
    });
}

int FakeGdbServer::countCommands(const std::string& prefix) const {
    const std::vector<std::string> all = commands();
    return int(
        std::count_if(all.begin(), all.end(), [&](const std::string& c) { return startsWith(c, prefix); }));
}

std::string FakeGdbServer::frame(const std::string& payload) {
    return Sim::RspFrame(QByteArray::fromStdString(payload)).toStdString();
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
    for (size_t at = 0; at < bytes.size();) {
        const size_t n = split > 0 ? std::min(split, bytes.size() - at) : bytes.size() - at;
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
    Sim::RspParser parser;
    std::vector<Sim::RspEvent> events;
    char buffer[65536];
    while (!m_quit.load()) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 100) == 0)
            continue;
        const ssize_t got = ::recv(fd, buffer, sizeof buffer, 0);
        if (got <= 0)
            return;
        locked([&] { m_raw.append(buffer, static_cast<size_t>(got)); });
        events.clear();
        parser.Feed(buffer, static_cast<int>(got), events);
        for (const Sim::RspEvent& event : events) {
            m_acks.fetch_add(event.kind == Sim::RspEvent::Ack);
            if (event.kind != Sim::RspEvent::Packet)
                continue;
            const std::string command = event.payload.toStdString();
            locked([&] { m_commands.push_back(command); });
            m_cv.notify_all();
            if (!m_silent.load() && !answer(fd, command))
                return;
        }
    }
}

bool FakeGdbServer::answer(int fd, const std::string& command) {
    Reply reply;
    const Handler handler = locked([&] { return m_handler; });
    if (!(handler && handler(command, reply)))
        builtIn(command, reply);
    m_silent.store(reply.silent || reply.hangAfter);
    if (reply.silent)
        return true;
    sendAll(fd, reply.ack);
    for (const std::string& chunk : reply.chunks)
        sendAll(fd, chunk);
    if (reply.close)
        ::shutdown(fd, SHUT_RDWR);
    return !reply.close;
}

void FakeGdbServer::builtIn(const std::string& command, Reply& reply) {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::string payload;
    if (startsWith(command, "qSupported")) {
        payload = m_qSupported;
    } else if (command[0] == 'm' || command[0] == 'M') {
        const size_t colon = command.find(':');
        const std::vector<uint64_t> f = hexFields(command.substr(1, colon - 1));
        const uint64_t at = f[0] - kMemoryBase, n = f.size() > 1 ? f[1] : 0;
        const bool inside = f[0] >= kMemoryBase && at + n <= m_memory.size();
        const QByteArray data = QByteArray::fromHex(QByteArray::fromStdString(command.substr(colon + 1)));
        if (command[0] == 'M' && inside && uint64_t(data.size()) == n)
            m_memory.replace(at, n, data.toStdString());
        const QByteArray read = QByteArray::fromStdString(m_memory.substr(inside ? at : 0, n)).toHex();
        payload = command[0] == 'M' ? "OK" : inside ? read.toStdString() : "E01";
    } else if (command == "qSeggerHSS:Stop" || command == "qSeggerHSS:Supported") {
        m_sampling = m_sampling && command != "qSeggerHSS:Stop";
        payload = "OK";
    } else if (startsWith(command, "qSeggerHSS:Start:")) {
        // start field, period, count, then address, size and flags of each variable
        const std::vector<uint64_t> f = hexFields(command.substr(17));
        m_sizes.clear();
        for (size_t i = 4; i < f.size() && m_sizes.size() < (f.size() > 2 ? f[2] : 0); i += 3)
            m_sizes.push_back(static_cast<uint32_t>(f[i]));
        m_sampling = true;
        m_nextSample = 0;
        payload = "OK";
    } else if (startsWith(command, "qSeggerHSS:Read:")) {
        const uint32_t asked = static_cast<uint32_t>(hexFields(command.substr(16)).at(0));
        const uint32_t n = m_sampling ? std::min(asked, m_samplesPerRead.load()) : 0;
        payload = "OK," + QByteArray::number(n, 16).rightJustified(8, '0').toStdString();
        std::string data;
        for (uint32_t i = 0; i < n; ++i, ++m_nextSample) {
            const uint32_t stamp =
                m_firstStamp.load() + static_cast<uint32_t>(m_nextSample) * m_stampStep.load();
            for (int b = 0; b < 4; ++b)
                data.push_back(static_cast<char>((stamp >> (8 * b)) & 0xff));
            m_source(m_nextSample, m_sizes, data);
        }
        reply.chunks.push_back(frame(payload));
        if (!data.empty())
            reply.chunks.push_back(data);
        return;
    }
    reply.chunks.push_back(frame(payload));
}
