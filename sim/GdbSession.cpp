#include "GdbSession.h"

#include "HssRequest.h"
#include "HssSampler.h"
#include "SharedRam.h"
#include "TargetDescription.h"

#include <QList>
#include <algorithm>
#include <cctype>
#include <cstdio>

namespace Sim {

namespace {

constexpr std::uint64_t MaxMemoryTransfer = 0x2000; // bytes per m/M packet, within PacketSize

const QByteArray Ok = "OK";
const QByteArray ErrorReply = "E01";

bool IsHex(const QByteArray& text) {
    for (char c : text) {
        if (!std::isxdigit(static_cast<unsigned char>(c)))
            return false;
    }
    return true;
}

bool ParseHexNumber(const QByteArray& text, std::uint64_t* value) {
    if (text.isEmpty() || text.size() > 16 || !IsHex(text))
        return false;
    *value = text.toULongLong(nullptr, 16);
    return true;
}

// "addr,length" as in the m and M packets.
bool ParseRange(const QByteArray& text, std::uint64_t* address, std::uint64_t* length) {
    const int comma = text.indexOf(',');
    return comma > 0 && ParseHexNumber(text.left(comma), address) &&
           ParseHexNumber(text.mid(comma + 1), length);
}

QByteArray LittleEndianHex(std::uint32_t value) {
    QByteArray bytes(4, '\0');
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<char>(value >> (8 * i));
    return bytes.toHex();
}

} // namespace

GdbSession::GdbSession(SharedRam& ram, std::uint64_t entry, const FaultPlan& faults, int clientId)
    : m_ram(ram), m_faults(faults), m_clientId(clientId) {
    m_registers[PcRegister] = static_cast<std::uint32_t>(entry);
}

GdbSession::~GdbSession() {
    StopSampling();
}

RspResponse GdbSession::Handle(const QByteArray& payload) {
    RspResponse response;
    QByteArray reply; // empty reply: "not supported"
    const char command = payload.isEmpty() ? '\0' : payload.at(0);
    const QByteArray arguments = payload.mid(1);
    if (payload.startsWith("qSeggerHSS:")) {
        reply = Hss(payload.mid(11), response);
    } else if (payload.startsWith("qSupported")) {
        reply = "PacketSize=4000;qXfer:features:read+";
    } else if (payload.startsWith("qXfer:features:read:")) {
        reply = Features(payload.mid(20));
    } else if (payload == "qAttached") {
        reply = "1"; // attached to a running target, not started by the server
    } else if (payload.startsWith("qRcmd,")) {
        reply = MonitorCommand(payload.mid(6), response);
    } else if (payload.startsWith("qSymbol")) {
        reply = Ok;
    } else if (command == '?') {
        reply = "S05";
    } else if (command == 'g') {
        reply = Registers();
    } else if (command == 'G' || command == 'H') {
        reply = Ok;
    } else if (command == 'p') {
        reply = ReadRegister(arguments);
    } else if (command == 'P') {
        reply = WriteRegister(arguments);
    } else if (command == 'm') {
        reply = ReadMemory(arguments);
    } else if (command == 'M') {
        reply = WriteMemory(arguments, response);
    } else if (command == 'c' || payload.startsWith("vCont;c")) {
        m_running = true; // the firmware already runs; a stop reply is owed when the client interrupts
        return response;
    } else if (command == 's') {
        reply = "S05"; // a step completes at once; the firmware never paused
    } else if (command == 'D') {
        response.after = RspResponse::After::Close;
        reply = Ok;
    } else if (command == 'k') {
        response.after = RspResponse::After::Close;
        return response;
    }
    if (response.ack == RspResponse::Ack::Plus && response.after != RspResponse::After::Silence)
        response.packets.push_back(reply);
    return response;
}

RspResponse GdbSession::Interrupt() {
    RspResponse response;
    response.ack = RspResponse::Ack::None;
    if (m_running) {
        m_running = false;
        response.packets.push_back("S02");
    }
    return response;
}

QByteArray GdbSession::Hss(const QByteArray& command, RspResponse& response) {
    if (m_faults.noHss)
        return {};
    if (command == "Supported")
        return Ok;
    if (command == "Stop") {
        StopSampling();
        return Ok;
    }
    if (command.startsWith("Start:"))
        return HssStartCommand(command.mid(6));
    if (command.startsWith("Read:"))
        return HssReadCommand(command.mid(5), response);
    return {};
}

QByteArray GdbSession::HssStartCommand(const QByteArray& arguments) {
    HssStart start;
    if (!ParseHssStart(arguments, &start))
        return ErrorReply;
    for (const HssBlock& block : start.blocks) {
        if (!m_ram.Contains(block.address, block.size))
            return "E02";
    }
    StopSampling();
    m_sampler = std::make_unique<HssSampler>(m_ram, std::move(start));
    m_sampler->Start();
    m_droppedReported = 0;
    m_sent = 0;
    return Ok;
}

QByteArray GdbSession::HssReadCommand(const QByteArray& arguments, RspResponse& response) {
    std::uint32_t maxSamples = 0;
    if (!ParseHssRead(arguments, &maxSamples))
        return ErrorReply;
    const auto readLimitReached = [this](int limit) {
        return limit >= 0 && m_readsAnswered >= static_cast<std::uint64_t>(limit);
    };
    if (readLimitReached(m_faults.closeAfterReads)) {
        response.ack = RspResponse::Ack::None;
        response.after = RspResponse::After::Close;
        return {};
    }
    if (readLimitReached(m_faults.silentAfterReads)) {
        response.ack = RspResponse::Ack::None;
        response.after = RspResponse::After::Silence;
        return {};
    }
    ++m_readsAnswered;
    if (m_faults.emptyReads)
        return "OK,00000000";
    if (!m_sampler)
        return ErrorReply; // no session: a read before Start, or after Stop
    const std::size_t taken = m_sampler->Ring().Take(std::min(maxSamples, MaxSamplesPerRead), response.raw);
    m_sent += taken;
    const std::uint64_t dropped = m_sampler->Ring().Dropped();
    if (dropped > m_droppedReported) {
        std::fprintf(stderr, "tidewatch-sim: client %d: sample buffer full, %llu samples dropped so far\n",
                     m_clientId, static_cast<unsigned long long>(dropped));
        m_droppedReported = dropped;
    }
    return "OK," + QByteArray::number(static_cast<qulonglong>(taken), 16);
}

void GdbSession::StopSampling() {
    if (!m_sampler)
        return;
    m_sampler->Stop();
    std::fprintf(
        stderr,
        "tidewatch-sim: client %d: sampling stopped: %llu samples taken, %llu dropped (buffer full), "
        "%llu slots missed, %llu sent\n",
        m_clientId, static_cast<unsigned long long>(m_sampler->Taken()),
        static_cast<unsigned long long>(m_sampler->Ring().Dropped()),
        static_cast<unsigned long long>(m_sampler->Missed()), static_cast<unsigned long long>(m_sent));
    m_sampler.reset();
}

QByteArray GdbSession::ReadMemory(const QByteArray& arguments) const {
    std::uint64_t address = 0, length = 0;
    if (!ParseRange(arguments, &address, &length) || length > MaxMemoryTransfer)
        return ErrorReply;
    QByteArray bytes(static_cast<int>(length), '\0');
    if (!m_ram.Read(address, bytes.data(), length))
        return ErrorReply;
    return bytes.toHex();
}

QByteArray GdbSession::WriteMemory(const QByteArray& arguments, RspResponse& response) {
    if (m_faults.nackWrites) {
        response.ack = RspResponse::Ack::Minus;
        return {};
    }
    if (m_faults.errorWrites)
        return ErrorReply;
    const int colon = arguments.indexOf(':');
    std::uint64_t address = 0, length = 0;
    if (colon < 0 || !ParseRange(arguments.left(colon), &address, &length) || length > MaxMemoryTransfer)
        return ErrorReply;
    const QByteArray hex = arguments.mid(colon + 1);
    if (static_cast<std::uint64_t>(hex.size()) != 2 * length || !IsHex(hex))
        return ErrorReply;
    const QByteArray bytes = QByteArray::fromHex(hex);
    return m_ram.Write(address, bytes.constData(), length) ? Ok : ErrorReply;
}

QByteArray GdbSession::MonitorCommand(const QByteArray& hexText, RspResponse& response) {
    if (!IsHex(hexText))
        return ErrorReply;
    const QByteArray text = QByteArray::fromHex(hexText).trimmed();
    QByteArray output;
    if (text == "reset" || text.startsWith("reset ") || text == "halt" || text == "go" || text == "resume") {
        output = "tidewatch-sim: '" + text + "' accepted; the simulated target keeps running\n";
    } else if (text == "hss") {
        if (m_sampler) {
            output = "sampling every " + QByteArray::number(m_sampler->Request().periodUs) + " us, " +
                     QByteArray::number(static_cast<qulonglong>(m_sampler->Request().blocks.size())) +
                     " blocks, " + QByteArray::number(static_cast<qulonglong>(m_sampler->Taken())) +
                     " taken, " + QByteArray::number(static_cast<qulonglong>(m_sampler->Ring().Count())) +
                     " buffered, " +
                     QByteArray::number(static_cast<qulonglong>(m_sampler->Ring().Dropped())) + " dropped, " +
                     QByteArray::number(static_cast<qulonglong>(m_sampler->Missed())) + " slots missed\n";
        } else {
            output = "no sampling session\n";
        }
    } else {
        output =
            "tidewatch-sim: unknown monitor command '" + text + "' (known: reset, halt, go, resume, hss)\n";
    }
    response.packets.push_back("O" + output.toHex());
    return Ok;
}

QByteArray GdbSession::Registers() const {
    QByteArray hex;
    for (std::uint32_t value : m_registers)
        hex += LittleEndianHex(value);
    return hex;
}

QByteArray GdbSession::ReadRegister(const QByteArray& arguments) const {
    std::uint64_t index = 0;
    if (!ParseHexNumber(arguments, &index) || index >= m_registers.size())
        return ErrorReply;
    return LittleEndianHex(m_registers[index]);
}

QByteArray GdbSession::WriteRegister(const QByteArray& arguments) {
    const int equals = arguments.indexOf('=');
    std::uint64_t index = 0;
    const QByteArray hex = arguments.mid(equals + 1);
    if (equals < 0 || !ParseHexNumber(arguments.left(equals), &index) || index >= m_registers.size() ||
        hex.size() != 8 || !IsHex(hex))
        return ErrorReply;
    const QByteArray bytes = QByteArray::fromHex(hex);
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i)
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
    m_registers[index] = value; // remembered for the debugger only; the running hart is not touched
    return Ok;
}

QByteArray GdbSession::Features(const QByteArray& arguments) const {
    // "target.xml:offset,length"
    const int colon = arguments.indexOf(':');
    std::uint64_t offset = 0, length = 0;
    if (colon < 0 || arguments.left(colon) != "target.xml")
        return "E00";
    if (!ParseRange(arguments.mid(colon + 1), &offset, &length))
        return "E01";
    const QByteArray& xml = TargetXml();
    if (offset >= static_cast<std::uint64_t>(xml.size()))
        return "l";
    const QByteArray chunk =
        xml.mid(static_cast<int>(offset), static_cast<int>(std::min<std::uint64_t>(length, 0x3000)));
    const bool last =
        offset + static_cast<std::uint64_t>(chunk.size()) >= static_cast<std::uint64_t>(xml.size());
    return (last ? "l" : "m") + chunk;
}

} // namespace Sim
