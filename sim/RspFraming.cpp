#include "RspFraming.h"

namespace Sim {

namespace {
int HexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}
} // namespace

unsigned char RspChecksum(const QByteArray& payload) {
    unsigned char sum = 0;
    for (char c : payload)
        sum = static_cast<unsigned char>(sum + static_cast<unsigned char>(c));
    return sum;
}

QByteArray RspFrame(const QByteArray& payload) {
    static const char digits[] = "0123456789abcdef";
    const unsigned char sum = RspChecksum(payload);
    QByteArray frame;
    frame.reserve(payload.size() + 4);
    frame.append('$').append(payload).append('#');
    frame.append(digits[sum >> 4]).append(digits[sum & 0xf]);
    return frame;
}

void RspParser::Feed(const char* data, int size, std::vector<RspEvent>& events) {
    for (int i = 0; i < size; ++i) {
        const char c = data[i];
        const auto u = static_cast<unsigned char>(c);
        switch (m_state) {
        case State::Idle:
            if (c == '$') {
                m_payload.clear();
                m_sum = 0;
                m_state = State::Payload;
            } else if (c == '+') {
                events.push_back({RspEvent::Ack, {}});
            } else if (c == '-') {
                events.push_back({RspEvent::Nack, {}});
            } else if (u == 0x03) {
                events.push_back({RspEvent::Interrupt, {}});
            }
            break;
        case State::Payload:
            if (c == '#') {
                m_state = State::Check1;
                break;
            }
            m_sum = static_cast<unsigned char>(m_sum + u);
            if (c == '}')
                m_state = State::Escape;
            else
                m_payload.append(c);
            break;
        case State::Escape:
            m_sum = static_cast<unsigned char>(m_sum + u);
            m_payload.append(static_cast<char>(u ^ 0x20));
            m_state = State::Payload;
            break;
        case State::Check1:
            m_check = HexValue(c) << 4;
            if (HexValue(c) < 0)
                m_check = -1000;
            m_state = State::Check2;
            break;
        case State::Check2: {
            const int low = HexValue(c);
            const bool ok = low >= 0 && m_check >= 0 && (m_check | low) == m_sum;
            events.push_back({ok ? RspEvent::Packet : RspEvent::BadPacket, ok ? m_payload : QByteArray()});
            m_state = State::Idle;
            break;
        }
        }
    }
}

} // namespace Sim
