#pragma once

#include <QByteArray>
#include <vector>

// Server side of the GDB remote serial protocol's framing: "$payload#cc", '+'/'-' acknowledgements and
// the 0x03 interrupt byte.
namespace Sim {

// Sum of the payload bytes modulo 256.
unsigned char RspChecksum(const QByteArray& payload);
// "$payload#cc" with a lowercase checksum.
QByteArray RspFrame(const QByteArray& payload);

struct RspEvent {
    enum Kind { Ack, Nack, Interrupt, Packet, BadPacket };
    Kind kind;
    QByteArray payload; // Packet only; '}' escapes already undone
};

// Splits the incoming byte stream into events. Bytes outside a packet other than '+', '-' and 0x03 are
// line noise and dropped, so one stray byte cannot wedge the connection.
class RspParser {
public:
    // Appends the events completed by these bytes.
    void Feed(const char* data, int size, std::vector<RspEvent>& events);

private:
    enum class State { Idle, Payload, Escape, Check1, Check2 };
    State m_state = State::Idle;
    QByteArray m_payload;
    unsigned char m_sum = 0;
    int m_check = 0;
};

} // namespace Sim
