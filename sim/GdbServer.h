#pragma once

#include "LoopbackListener.h"

#include "FaultPlan.h"

#include <QString>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

// Listens on 127.0.0.1 and gives every client its own thread and session, so a debugger and the
// sampling program can be attached at the same time.
namespace Sim {

class SharedRam;

class GdbServer {
public:
    GdbServer(SharedRam& ram, std::uint64_t entry, const FaultPlan& faults);
    ~GdbServer();
    GdbServer(const GdbServer&) = delete;
    GdbServer& operator=(const GdbServer&) = delete;

    // Binds and listens; port 0 picks a free one. On failure error says why.
    bool Listen(std::uint16_t port, QString* error) { return m_listener.Listen(port, error); }
    std::uint16_t Port() const { return m_listener.Port(); }
    // Accepts clients on a thread of its own until Stop.
    void Start();
    // Closes the listener and every connection, and joins all threads.
    void Stop();

private:
    struct Connection {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> done;
    };
    void AcceptLoop();
    void ReapFinished();

    SharedRam& m_ram;
    const std::uint64_t m_entry;
    const FaultPlan m_faults;
    LoopbackListener m_listener;
    std::thread m_acceptThread;
    std::mutex m_mutex;
    std::vector<Connection> m_connections;
    int m_nextClientId = 1;
};

} // namespace Sim
