#pragma once

#include "HssRequest.h"

#include <QByteArray>
#include <QString>
#include <cstdint>

// A small blocking client of the GDB remote protocol that is strict about the server's side of the
// framing: every wait has a deadline, every reply's checksum is checked. For tests, benchmarks and
// scripts that talk to a target directly.
namespace Sim {

class RspClient {
public:
    RspClient() = default;
    ~RspClient();
    RspClient(const RspClient&) = delete;
    RspClient& operator=(const RspClient&) = delete;

    bool Connect(std::uint16_t port, int timeoutMs = 5000);
    void Close();
    const QString& LastError() const { return m_error; }

    bool SendRaw(const QByteArray& bytes);
    // Exactly count bytes, taken from what already arrived first.
    bool ReadExactly(int count, QByteArray* bytes, int timeoutMs = 5000);
    // One reply packet "$...#cc" (nothing else may come first); checks the checksum and answers '+'.
    bool ReadPacket(QByteArray* payload, int timeoutMs = 5000);
    // Sends a packet, requires '+', then reads the reply packet.
    bool Command(const QByteArray& payload, QByteArray* reply, int timeoutMs = 5000);
    // True when the server closes the connection within the time.
    bool WaitClosed(int timeoutMs);
    // True when no byte at all arrives within the time.
    bool StaysSilent(int timeoutMs);

    // qSeggerHSS:Read with "OK,<n>" and the n raw records that follow; false on any other reply.
    bool HssRead(std::uint32_t maxSamples, std::size_t recordSize, QByteArray* records, std::uint32_t* count,
                 int timeoutMs = 5000);

private:
    bool Fill(int timeoutMs);
    bool Fail(const QString& error);

    int m_fd = -1;
    QByteArray m_pending; // received, not yet consumed
    QString m_error;
};

} // namespace Sim
