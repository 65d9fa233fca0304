#pragma once

#include "FaultPlan.h"
#include "TargetDescription.h"

#include <QByteArray>
#include <array>
#include <cstdint>
#include <memory>
#include <vector>

// What one client connection sees: the command set a debugger needs to attach to a running target, and
// the high-speed-sampling packets. Transport-free: it turns a packet's payload into what to send back.
namespace Sim {

class HssSampler;
class SharedRam;

struct RspResponse {
    enum class Ack { Plus, Minus, None };
    enum class After { Stay, Close, Silence };
    Ack ack = Ack::Plus;
    std::vector<QByteArray> packets; // payloads, framed when sent, in this order
    QByteArray raw;                  // sent right after the packets, without framing
    After after = After::Stay;
};

class GdbSession {
public:
    GdbSession(SharedRam& ram, std::uint64_t entry, const FaultPlan& faults, int clientId);
    ~GdbSession();
    GdbSession(const GdbSession&) = delete;
    GdbSession& operator=(const GdbSession&) = delete;

    RspResponse Handle(const QByteArray& payload);
    // The client's 0x03 while it waits for the target to stop.
    RspResponse Interrupt();

    // Samples one Read may hand out at most, whatever the client asks for.
    static constexpr std::uint32_t MaxSamplesPerRead = 0x10000;

private:
    QByteArray Hss(const QByteArray& command, RspResponse& response);
    QByteArray HssStartCommand(const QByteArray& arguments);
    QByteArray HssReadCommand(const QByteArray& arguments, RspResponse& response);
    void StopSampling();
    QByteArray ReadMemory(const QByteArray& arguments) const;
    QByteArray WriteMemory(const QByteArray& arguments, RspResponse& response);
    QByteArray MonitorCommand(const QByteArray& hexText, RspResponse& response);
    QByteArray Registers() const;
    QByteArray ReadRegister(const QByteArray& arguments) const;
    QByteArray WriteRegister(const QByteArray& arguments);
    QByteArray Features(const QByteArray& arguments) const;

    SharedRam& m_ram;
    const FaultPlan m_faults;
    const int m_clientId;
    std::array<std::uint32_t, RegisterCount> m_registers{};
    std::unique_ptr<HssSampler> m_sampler;
    std::uint64_t m_readsAnswered = 0;
    std::uint64_t m_droppedReported = 0;
    // Records handed to the client in read replies this sampling session.
    std::uint64_t m_sent = 0;
    bool m_running = false; // after 'c': a stop reply is owed on interrupt
};

} // namespace Sim
