#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// A scriptable GDB server on loopback for protocol tests: one connection at a time, each packet acknowledged
// and answered from a handler, else like a target with high-speed sampling that answers Start/Read/Stop
// and streams generated sample records after each read reply, and with 64 KiB of memory at kMemoryBase
// for m and M (byte i holds i & 0xff until written; reads elsewhere answer E01).
class FakeGdbServer {
public:
    struct Reply {
        std::string ack = "+";           // sent first; empty sends none
        std::vector<std::string> chunks; // sent in order, each in its own send call
        bool close = false;              // close the connection after sending
        bool silent = false;             // send nothing at all from now on
        bool hangAfter = false;          // send the chunks, then nothing more
    };
    using Handler = std::function<bool(const std::string& command, Reply& reply)>;
    // Produces the bytes of one sample's variables (not the time stamp) for sample number `index`.
    using SampleSource =
        std::function<void(uint64_t index, const std::vector<uint32_t>& sizes, std::string& out)>;

    static constexpr uint32_t kMemoryBase = 0x20000000;

    FakeGdbServer();
    ~FakeGdbServer();

    uint16_t port() const { return m_port; }

    // Runs before the built-in behaviour; returning true means the handler has filled the reply.
    void setHandler(Handler handler) {
        locked([&] { m_handler = std::move(handler); });
    }
    void setSampleSource(SampleSource source) {
        locked([&] { m_source = std::move(source); });
    }
    // Samples announced by each read (at most what the client asks for); 0 answers "OK,00000000".
    void setSamplesPerRead(uint32_t n) { m_samplesPerRead = n; }
    // Time stamp of sample i is firstStamp + i * stampStep (32-bit, wrapping).
    void setStamps(uint32_t first, uint32_t step) {
        m_firstStamp = first;
        m_stampStep = step;
    }
    // Every sample record and reply packet goes out in chunks of this many bytes (0: one send).
    void setSplit(size_t bytes) { m_split = bytes; }
    // Pause between two pieces of a split reply, in microseconds.
    void setPieceGapUs(int us) { m_gapUs = us; }
    void setQSupportedReply(const std::string& reply) { m_qSupported = reply; }

    std::vector<std::string> commands() const {
        return locked([&] { return m_commands; });
    }
    std::string rawReceived() const {
        return locked([&] { return m_raw; });
    }
    // Waits until a command starting with `prefix` has arrived; false after the deadline.
    bool waitForCommand(const std::string& prefix, int timeoutMs) const;
    int countCommands(const std::string& prefix) const;
    int connections() const { return m_connections.load(); }
    int acksReceived() const { return m_acks.load(); }

    static std::string frame(const std::string& payload);
    // A handler that answers every command starting with `prefix` with the framed `payload`.
    static Handler answering(const std::string& prefix, const std::string& payload);

private:
    template <class F> auto locked(F f) const -> decltype(f()) {
        std::lock_guard<std::mutex> lock(m_mutex);
        return f();
    }
    void serve();
    void handleConnection(int fd);
    // False when the reply closed the connection.
    bool answer(int fd, const std::string& command);
    void builtIn(const std::string& command, Reply& reply);
    void sendAll(int fd, const std::string& bytes);

    int m_listen = -1;
    uint16_t m_port = 0;
    std::thread m_thread;
    std::atomic<bool> m_quit{false};
    std::atomic<int> m_client{-1};

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_cv;
    std::vector<std::string> m_commands;
    std::string m_raw;
    Handler m_handler;
    SampleSource m_source;

    std::string m_memory;
    std::vector<uint32_t> m_sizes;
    bool m_sampling = false;
    uint64_t m_nextSample = 0;
    std::atomic<uint32_t> m_samplesPerRead{100};
    std::atomic<uint32_t> m_firstStamp{0};
    std::atomic<uint32_t> m_stampStep{20};
    std::atomic<size_t> m_split{0};
    std::atomic<int> m_gapUs{0};
    std::string m_qSupported = "PacketSize=4000;qXfer:features:read+";
    std::atomic<bool> m_silent{false};
    std::atomic<int> m_connections{0};
    std::atomic<int> m_acks{0};
};
