#include "QemuHart.h"

#include "SharedRam.h"

#include <QDeadlineTimer>
#include <QRegularExpression>
#include <QXmlStreamReader>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Sim {

namespace {

constexpr int ReplyTimeoutMs = 3000;
constexpr std::uint32_t FirstGpr = 0x1000, FirstFpr = 0x1020, LastFpr = 0x103f;
constexpr std::uint32_t Dcsr = 0x7b0, Dpc = 0x7b1;
constexpr int PcNumber = 32, DcsrNumber = -2;
// dcsr: xdebugver 4 (external debug support as in 0.13); the bits a debugger sets: ebreakm, ebreaks,
// ebreaku, stepie, stopcount, stoptime, mprven, step.
constexpr std::uint32_t DebugVersion = 4u << 28, DcsrWritable = 0xbe14u, DcsrStep = 1u << 2;
enum Cause : std::uint32_t { CauseEbreak = 1, CauseHaltRequest = 3, CauseStep = 4 };
constexpr std::uint32_t Ebreak = 0x00100073u, CompressedEbreak = 0x9002u;

QByteArray LittleEndianHex(std::uint64_t value, unsigned bytes) {
    QByteArray raw(static_cast<int>(bytes), '\0');
    for (unsigned i = 0; i < bytes; ++i)
        raw[static_cast<int>(i)] = static_cast<char>(value >> (8 * i));
    return raw.toHex();
}

bool FromLittleEndianHex(const QByteArray& hex, std::uint64_t* value) {
    const QByteArray raw = QByteArray::fromHex(hex);
    if (raw.isEmpty() || raw.size() > 8 || raw.size() * 2 != hex.size())
        return false;
    *value = 0;
    for (int i = raw.size() - 1; i >= 0; --i)
        *value = (*value << 8) | static_cast<unsigned char>(raw[i]);
    return true;
}

bool IsStopReply(const QByteArray& packet) {
    return packet.startsWith('T') || packet.startsWith('S');
}

} // namespace

QemuHart::QemuHart(SharedRam& ram) : m_ram(ram) {}

QemuHart::~QemuHart() {
    if (m_fd >= 0)
        ::close(m_fd);
}

bool QemuHart::Lost() {
    if (m_fd >= 0) {
        std::fprintf(stderr, "tidewatch-sim: lost the emulator's debug connection\n");
        ::close(m_fd);
        m_fd = -1;
    }
    return false;
}

bool QemuHart::Send(const QByteArray& bytes) {
    for (qsizetype done = 0; done < bytes.size();) {
        const ssize_t sent =
            ::send(m_fd, bytes.constData() + done, static_cast<size_t>(bytes.size() - done), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent <= 0)
            return Lost();
        done += sent;
    }
    return true;
}

bool QemuHart::Receive(int timeoutMs) {
    pollfd fd{m_fd, POLLIN, 0};
    int ready = 0;
    while (m_fd >= 0 && (ready = ::poll(&fd, 1, timeoutMs)) < 0 && errno == EINTR) {
    }
    if (ready <= 0)
        return false;
    char buffer[16384];
    const ssize_t received = ::recv(m_fd, buffer, sizeof buffer, 0);
    if (received <= 0)
        return Lost();
    std::vector<RspEvent> events;
    m_parser.Feed(buffer, static_cast<int>(received), events);
    for (const RspEvent& event : events) {
        if (event.kind == RspEvent::Packet) {
            m_packets.push_back(event.payload);
            Send("+");
        }
    }
    return true;
}

bool QemuHart::NextPacket(QByteArray* packet) {
    const QDeadlineTimer deadline(ReplyTimeoutMs);
    while (m_packets.empty()) {
        if (m_fd < 0)
            return false;
        if (!Receive(static_cast<int>(deadline.remainingTime())) && deadline.hasExpired())
            return Lost(); // a stub that stops answering is as good as gone
    }
    *packet = m_packets.front();
    m_packets.pop_front();
    return true;
}

bool QemuHart::Command(const QByteArray& payload, QByteArray* reply) {
    if (m_fd < 0 || !Send(RspFrame(payload)))
        return false;
    for (;;) {
        if (!NextPacket(reply))
            return false;
        // Skipped: a stop the stub announced on its own (it does on connect), and monitor output.
        if (!IsStopReply(*reply) && !(reply->startsWith('O') && *reply != "OK"))
            return true;
    }
}

bool QemuHart::WaitForStop() {
    QByteArray packet;
    while (NextPacket(&packet)) {
        if (IsStopReply(packet))
            return true;
    }
    return false;
}

bool QemuHart::Stop() {
    TakeOwnStop();
    if (!m_halted && !m_inReset && !(Send(QByteArray(1, '\x03')) && WaitForStop()))
        return false;
    m_halted = true;
    return true;
}

void QemuHart::TakeOwnStop() {
    if (m_halted || m_fd < 0)
        return;
    Receive(0);
    if (!m_packets.empty() && IsStopReply(m_packets.front())) {
        m_packets.pop_front();
        m_halted = true; // only the debugger's breakpoints stop the emulator by themselves
        m_cause = CauseEbreak;
    }
}

// Runs access with the emulator stopped, stopping it for that time if the hart runs.
template <typename Access> bool QemuHart::Stopped(Access access) {
    if (m_inReset)
        return false;
    if (m_halted)
        return access();
    if (!Stop())
        return false;
    const bool done = access();
    m_halted = false;
    return Send(RspFrame("c")) && done;
}

void QemuHart::TrackBreakpoint(std::uint64_t address, unsigned bytes, std::uint32_t value) {
    const bool ebreak = (bytes == 4 && value == Ebreak) || (bytes == 2 && value == CompressedEbreak);
    if (ebreak == (m_breakpoints.count(address) != 0))
        return;
    const QByteArray packet = (ebreak ? "Z0," : "z0,") + QByteArray::number(qulonglong(address), 16) + ',' +
                              QByteArray::number(bytes);
    QByteArray reply;
    if (!Stopped([&] { return Command(packet, &reply) && reply == "OK"; }))
        return;
    if (ebreak)
        m_breakpoints.insert(address);
    else
        m_breakpoints.erase(address);
}

bool QemuHart::Connect(const QString& socketPath, QString* error) {
    m_fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray path = socketPath.toLocal8Bit();
    std::strncpy(address.sun_path, path.constData(), sizeof address.sun_path - 1);
    if (m_fd < 0 || ::connect(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        *error = QStringLiteral("cannot connect to the emulator's debug socket %1: %2")
                     .arg(socketPath, QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    QByteArray reply;
    m_halted = true; // connecting paused the emulator
    if (!Command("qSupported", &reply) || !Command("Qqemu.PhyMemMode:1", &reply) || reply != "OK" ||
        !LoadRegisterLayout(error))
        return false;
    m_halted = false;
    return Send(RspFrame("c"));
}

bool QemuHart::ReadFeature(const QString& annex, QByteArray* xml) {
    xml->clear();
    for (;;) {
        QByteArray reply;
        if (!Command(
                QStringLiteral("qXfer:features:read:%1:%2,fff").arg(annex).arg(xml->size(), 0, 16).toLatin1(),
                &reply) ||
            reply.isEmpty() || (reply[0] != 'm' && reply[0] != 'l'))
            return false;
        xml->append(reply.mid(1));
        if (reply[0] == 'l')
            return true;
    }
}

bool QemuHart::LoadRegisterLayout(QString* error) {
    QByteArray target;
    QStringList features; // the xi:include elements (their prefix is never declared, so no XML reader)
    if (ReadFeature(QStringLiteral("target.xml"), &target)) {
        static const QRegularExpression include(QStringLiteral("<xi:include href=\"([^\"]+)\""));
        for (auto it = include.globalMatch(QString::fromUtf8(target)); it.hasNext();)
            features << it.next().captured(1);
    }
    // Unnumbered registers follow the one before, across the features in their order.
    std::map<QString, int> numbers;
    int next = 0;
    for (const QString& feature : features) {
        QByteArray xml;
        if (!ReadFeature(feature, &xml))
            break;
        for (QXmlStreamReader reader(xml); !reader.atEnd();) {
            if (reader.readNext() != QXmlStreamReader::StartElement || reader.name() != QLatin1String("reg"))
                continue;
            const QXmlStreamAttributes attributes = reader.attributes();
            if (attributes.hasAttribute(QStringLiteral("regnum")))
                next = attributes.value(QStringLiteral("regnum")).toInt();
            numbers[attributes.value(QStringLiteral("name")).toString()] = next;
            m_bits[next++] = attributes.value(QStringLiteral("bitsize")).toUInt();
        }
    }
    const auto number = [&numbers](const char* name) {
        const auto it = numbers.find(QLatin1String(name));
        return it == numbers.end() ? -1 : it->second;
    };
    m_firstFpr = number("ft0");
    m_priv = number("priv");
    m_csrBase = number("mstatus") - 0x300;
    if (number("pc") != PcNumber || m_bits[PcNumber] != 32 || m_priv < 0 || m_csrBase < 0) {
        *error = QStringLiteral("the emulator's debug stub does not describe an RV32 hart as expected");
        return false;
    }
    return true;
}

int QemuHart::StubNumber(std::uint32_t regno) const {
    if (regno >= FirstGpr && regno < FirstFpr)
        return static_cast<int>(regno - FirstGpr);
    if (regno >= FirstFpr && regno <= LastFpr)
        return m_firstFpr < 0 ? -1 : m_firstFpr + static_cast<int>(regno - FirstFpr);
    if (regno == Dcsr)
        return DcsrNumber;
    if (regno == Dpc)
        return PcNumber;
    if (regno >= 0x7a0 && regno <= 0x7bf) // triggers and dscratch: a hardware breakpoint could not stop here
        return -1;
    const int number = m_csrBase + static_cast<int>(regno);
    return regno < FirstGpr && m_bits.count(number) ? number : -1;
}

DebugHart::State QemuHart::CurrentState() {
    TakeOwnStop();
    if (m_fd < 0 || m_inReset)
        return State::Unavailable;
    return m_halted ? State::Halted : State::Running;
}

bool QemuHart::Halt() {
    TakeOwnStop();
    if (m_halted && !m_inReset)
        return true;
    if (m_inReset || !Stop())
        return false;
    m_cause = CauseHaltRequest;
    return true;
}

bool QemuHart::Resume() {
    if (!m_halted || m_inReset)
        return false;
    if (m_dcsr & DcsrStep) {
        if (!Send(RspFrame("s")) || !WaitForStop())
            return false;
        m_cause = CauseStep;
        return true;
    }
    m_halted = false;
    return Send(RspFrame("c"));
}

bool QemuHart::HoldReset() {
    if (!Stop())
        return false;
    m_inReset = true;
    return true;
}

bool QemuHart::ReleaseReset(bool halt) {
    QByteArray reply;
    if (!Stop() || !Command("qRcmd," + QByteArray("system_reset").toHex(), &reply) || reply != "OK")
        return false;
    m_inReset = false;
    m_dcsr = 0;
    if (halt) {
        m_cause = CauseHaltRequest;
        return true;
    }
    m_halted = false;
    return Send(RspFrame("c"));
}

unsigned QemuHart::RegisterBits(std::uint32_t regno) const {
    const int number = StubNumber(regno);
    if (number == DcsrNumber)
        return 32;
    const auto it = m_bits.find(number);
    return it == m_bits.end() ? 0 : it->second;
}

bool QemuHart::ReadStub(int number, std::uint64_t* value) {
    QByteArray reply;
    return Command("p" + QByteArray::number(number, 16), &reply) && FromLittleEndianHex(reply, value);
}

bool QemuHart::WriteStub(int number, std::uint64_t value) {
    QByteArray reply;
    return Command("P" + QByteArray::number(number, 16) + '=' + LittleEndianHex(value, m_bits[number] / 8),
                   &reply) &&
           reply == "OK";
}

bool QemuHart::ReadRegister(std::uint32_t regno, std::uint64_t* value) {
    const int number = StubNumber(regno);
    if (RegisterBits(regno) == 0)
        return false;
    if (number != DcsrNumber)
        return Stopped([&] { return ReadStub(number, value); });
    std::uint64_t privilege = 0;
    if (!Stopped([&] { return ReadStub(m_priv, &privilege); }))
        return false;
    *value = DebugVersion | m_dcsr | (m_cause << 6) | (privilege & 3u);
    return true;
}

bool QemuHart::WriteRegister(std::uint32_t regno, std::uint64_t value) {
    const int number = StubNumber(regno);
    if (number == DcsrNumber) {
        m_dcsr = static_cast<std::uint32_t>(value) & DcsrWritable;
        std::uint64_t privilege = 0;
        return ReadStub(m_priv, &privilege) &&
               ((privilege & 3u) == (value & 3u) || WriteStub(m_priv, value & 3u));
    }
    return RegisterBits(regno) != 0 && WriteStub(number, value);
}

bool QemuHart::ReadMemory(std::uint64_t address, unsigned bytes, std::uint32_t* value) {
    unsigned char raw[4] = {};
    std::uint64_t wide = 0;
    QByteArray reply;
    if (m_ram.Read(address, raw, bytes)) {
        for (unsigned i = bytes; i-- > 0;)
            wide = (wide << 8) | raw[i];
    } else if (!Stopped([&] {
                   return Command("m" + QByteArray::number(qulonglong(address), 16) + ',' +
                                      QByteArray::number(bytes),
                                  &reply) &&
                          reply.size() == int(2 * bytes) && FromLittleEndianHex(reply, &wide);
               })) {
        return false;
    }
    *value = static_cast<std::uint32_t>(wide);
    return true;
}

bool QemuHart::WriteMemory(std::uint64_t address, unsigned bytes, std::uint32_t value) {
    unsigned char raw[4];
    for (unsigned i = 0; i < 4; ++i)
        raw[i] = static_cast<unsigned char>(value >> (8 * i));
    QByteArray reply;
    if (!m_ram.Write(address, raw, bytes) && !Stopped([&] {
            return Command("M" + QByteArray::number(qulonglong(address), 16) + ',' +
                               QByteArray::number(bytes) + ':' + LittleEndianHex(value, bytes),
                           &reply) &&
                   reply == "OK";
        }))
        return false;
    TrackBreakpoint(address, bytes, value);
    return true;
}

} // namespace Sim
