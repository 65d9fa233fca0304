// The simulated target's server over real loopback TCP, on a RAM file that the test itself changes
// (no emulator): framing, memory commands in RAM and in the data window, sampling sessions, several
// clients and fault injection.
#include "FaultPlan.h"
#include "GdbServer.h"
#include "HssRequest.h"
#include "RspClient.h"
#include "RspFraming.h"
#include "SharedRam.h"
#include "TargetDescription.h"
#include "TargetMemoryMap.h"

#include <QtTest>
#include <memory>
#include <unistd.h>

using namespace Sim;

namespace {
constexpr std::size_t RamSize = 8 * 1024 * 1024;           // just enough to back the whole data window
constexpr std::uint64_t Counter = SharedRam::Base + 0x100; // a 4-byte "global" the test moves
constexpr std::uint64_t Flags = SharedRam::Base + 0x104;   // 1 byte
constexpr std::uint64_t Wide = SharedRam::Base + 0x108;    // 8 bytes
// A global as the firmware links it, at 0x20000010, and the same bytes seen in physical RAM.
constexpr std::uint64_t WindowWord = TargetMemoryMap::DataWindow + 0x10;
constexpr std::uint64_t WindowWordPhysical = SharedRam::Base + 0x400010;

std::uint32_t Le32(const QByteArray& bytes, int at) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i)
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes.at(at + i))) << (8 * i);
    return value;
}

void Store32(SharedRam& ram, std::uint64_t address, std::uint32_t value) {
    unsigned char bytes[4];
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<unsigned char>(value >> (8 * i));
    QVERIFY(ram.Write(address, bytes, 4));
}
} // namespace

class TestSimServer : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void commands_data();
    void commands();
    void badChecksumIsRefused();
    void nackMakesTheServerResend();
    void noiseBetweenPacketsIsIgnored();
    void sessionDeliversRecords();
    void sessionErrors_data();
    void sessionErrors();
    void twoClientsAtOnce();
    void continueThenInterrupt();
    void monitorCommandsAnswer();
    void detachAndKillClose();
    void targetDescriptionInChunks();
    void faultNoHss();
    void faultEmptyReads();
    void faultCloseAfterReads();
    void faultSilentAfterReads();
    void faultWrites_data();
    void faultWrites();

private:
    void StartServer(const QStringList& faults);
    void Connect(RspClient& client);
    QByteArray Ask(RspClient& client, const QByteArray& command);

    std::unique_ptr<SharedRam> m_ram;
    std::unique_ptr<GdbServer> m_server;
};

void TestSimServer::init() {
    static int serial = 0;
    m_ram = std::make_unique<SharedRam>();
    QString error;
    const QString path = QStringLiteral("/dev/shm/tst_simserver-%1-%2").arg(::getpid()).arg(++serial);
    QVERIFY2(m_ram->Create(path, RamSize, &error), qPrintable(error));
    m_ram->Unlink();
    Store32(*m_ram, Counter, 0x12345678);
    const unsigned char flags = 0xa5;
    QVERIFY(m_ram->Write(Flags, &flags, 1));
    const unsigned char wide[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    QVERIFY(m_ram->Write(Wide, wide, 8));
    Store32(*m_ram, WindowWordPhysical, 0x0badf00d);
    StartServer({});
}

void TestSimServer::cleanup() {
    m_server.reset();
    m_ram.reset();
}

void TestSimServer::StartServer(const QStringList& faults) {
    m_server.reset();
    FaultPlan plan;
    QString error;
    QVERIFY2(FaultPlan::Parse(faults, &plan, &error), qPrintable(error));
    m_server = std::make_unique<GdbServer>(*m_ram, SharedRam::Base, plan);
    QVERIFY2(m_server->Listen(0, &error), qPrintable(error));
    m_server->Start();
}

void TestSimServer::Connect(RspClient& client) {
    QVERIFY2(client.Connect(m_server->Port()), qPrintable(client.LastError()));
}

QByteArray TestSimServer::Ask(RspClient& client, const QByteArray& command) {
    QByteArray reply;
    if (!client.Command(command, &reply))
        return "<" + client.LastError().toLatin1() + ">";
    return reply;
}

void TestSimServer::commands_data() {
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("read a word") << QByteArray("m80000100,4") << QByteArray("78563412");
    QTest::newRow("read across globals") << QByteArray("m80000104,5") << QByteArray("a500000001");
    QTest::newRow("last byte of RAM") << QByteArray("m807fffff,1") << QByteArray("00");
    QTest::newRow("below RAM") << QByteArray("m7ffffffc,4") << QByteArray("E01");
    QTest::newRow("crossing the end") << QByteArray("m807ffffe,4") << QByteArray("E01");
    QTest::newRow("data window") << QByteArray("m20000010,4") << QByteArray("0df0ad0b");
    QTest::newRow("data window seen physically") << QByteArray("m80400010,4") << QByteArray("0df0ad0b");
    QTest::newRow("data window's last byte") << QByteArray("m203fffff,1") << QByteArray("00");
    QTest::newRow("past the data window") << QByteArray("m20400000,4") << QByteArray("E01");
    QTest::newRow("crossing the window's end") << QByteArray("m203ffffe,4") << QByteArray("E01");
    QTest::newRow("below the data window") << QByteArray("m1ffffffc,4") << QByteArray("E01");
    QTest::newRow("timer, not RAM") << QByteArray("m200bff8,8") << QByteArray("E01");
    QTest::newRow("malformed read") << QByteArray("m80000100") << QByteArray("E01");
    QTest::newRow("write") << QByteArray("M80000100,4:03000000") << QByteArray("OK");
    QTest::newRow("write into the data window") << QByteArray("M20000010,4:03000000") << QByteArray("OK");
    QTest::newRow("write outside") << QByteArray("M20400010,4:03000000") << QByteArray("E01");
    QTest::newRow("write short data") << QByteArray("M80000100,4:0300") << QByteArray("E01");
    QTest::newRow("write bad hex") << QByteArray("M80000100,2:zz00") << QByteArray("E01");
    QTest::newRow("attached") << QByteArray("qAttached") << QByteArray("1");
    QTest::newRow("halt reason") << QByteArray("?") << QByteArray("S05");
    QTest::newRow("thread select") << QByteArray("Hg0") << QByteArray("OK");
    QTest::newRow("register write") << QByteArray("P20=04000003") << QByteArray("OK");
    QTest::newRow("register out of range") << QByteArray("p44") << QByteArray("E01");
    QTest::newRow("pc") << QByteArray("p20") << QByteArray("00000080");
    QTest::newRow("no binary writes") << QByteArray("X80000100,0:") << QByteArray("");
    QTest::newRow("unknown") << QByteArray("vMustReplyEmpty") << QByteArray("");
    QTest::newRow("hss supported") << QByteArray("qSeggerHSS:Supported") << QByteArray("OK");
    QTest::newRow("hss stop idle") << QByteArray("qSeggerHSS:Stop") << QByteArray("OK");
}

void TestSimServer::commands() {
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, reply);
    RspClient client;
    Connect(client);
    QCOMPARE(Ask(client, command), reply);
    if (command == "M80000100,4:03000000") {
        std::uint32_t value = 0;
        QVERIFY(m_ram->Read(Counter, &value, 4));
        QCOMPARE(value, 3u);
    }
    if (command == "M20000010,4:03000000") {
        std::uint32_t value = 0;
        QVERIFY(m_ram->Read(WindowWordPhysical, &value, 4)); // landed where the firmware's page table says
        QCOMPARE(value, 3u);
    }
    const QByteArray supported = Ask(client, "qSupported:vContSupported");
    QVERIFY2(supported.contains("PacketSize="), supported.constData());
    QCOMPARE(Ask(client, "g").size(), RegisterCount * 8);
}

void TestSimServer::badChecksumIsRefused() {
    RspClient client;
    Connect(client);
    QVERIFY(client.SendRaw("$m80000100,4#00"));
    QByteArray answer;
    QVERIFY2(client.ReadExactly(1, &answer), qPrintable(client.LastError()));
    QCOMPARE(answer, QByteArray("-"));
    QCOMPARE(Ask(client, "m80000100,4"), QByteArray("78563412")); // the connection goes on
}

void TestSimServer::nackMakesTheServerResend() {
    RspClient client;
    Connect(client);
    QVERIFY(client.SendRaw(RspFrame("m80000100,2")));
    QByteArray bytes;
    QVERIFY(client.ReadExactly(9, &bytes));
    QCOMPARE(bytes, QByteArray("+$7856#da"));
    QVERIFY(client.SendRaw("-"));
    QVERIFY(client.ReadExactly(8, &bytes));
    QCOMPARE(bytes, QByteArray("$7856#da"));
}

void TestSimServer::noiseBetweenPacketsIsIgnored() {
    RspClient client;
    Connect(client);
    QVERIFY(client.SendRaw("\r\n++garbage"));
    QCOMPARE(Ask(client, "m80000104,1"), QByteArray("a5"));
}

void TestSimServer::sessionDeliversRecords() {
    RspClient client;
    Connect(client);
    HssStart start;
    start.flags = 1;
    start.periodUs = 500;
    start.blocks = {{Counter, 4, 0}, {Flags, 1, 0}, {Wide, 8, 0}, {WindowWord, 4, 0}};
    QCOMPARE(Ask(client, FormatHssStart(start)), QByteArray("OK"));
    const int recordSize = static_cast<int>(start.RecordSize());
    QCOMPARE(recordSize, 21);

    QByteArray all;
    std::uint32_t total = 0;
    bool changed = false;
    QDeadlineTimer deadline(10000);
    while (total < 200 && !deadline.hasExpired()) {
        QByteArray records;
        std::uint32_t n = 0;
        QVERIFY2(client.HssRead(0x2710, static_cast<std::size_t>(recordSize), &records, &n),
                 qPrintable(client.LastError()));
        all += records;
        total += n;
        if (!changed && total >= 50) {
            Store32(*m_ram, Counter, 0xcafe0001); // a host write shows up in later samples
            changed = true;
        }
    }
    QVERIFY2(total >= 200, qPrintable(QString::number(total)));
    std::uint32_t lastStamp = 0;
    int before = 0, after = 0;
    for (std::uint32_t i = 0; i < total; ++i) {
        const int at = static_cast<int>(i) * recordSize;
        const std::uint32_t stamp = Le32(all, at);
        QVERIFY2(i == 0 || stamp > lastStamp,
                 qPrintable(QStringLiteral("sample %1: %2 after %3").arg(i).arg(stamp).arg(lastStamp)));
        lastStamp = stamp;
        const std::uint32_t counter = Le32(all, at + 4);
        QVERIFY(counter == 0x12345678 || counter == 0xcafe0001);
        (counter == 0x12345678 ? before : after)++;
        QCOMPARE(static_cast<unsigned char>(all.at(at + 8)), static_cast<unsigned char>(0xa5));
        QCOMPARE(all.mid(at + 9, 8), QByteArray::fromHex("0102030405060708"));
        QCOMPARE(Le32(all, at + 17), 0x0badf00du);
    }
    QVERIFY(before >= 50);
    QVERIFY(after > 0);
    QVERIFY(Le32(all, (static_cast<int>(total) - 1) * recordSize + 4) == 0xcafe0001);
    QCOMPARE(Ask(client, "qSeggerHSS:Stop"), QByteArray("OK"));
}

void TestSimServer::sessionErrors_data() {
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("read without session") << QByteArray("qSeggerHSS:Read:00002710") << QByteArray("E01");
    QTest::newRow("block outside memory")
        << QByteArray("qSeggerHSS:Start:1,14,1,0000000020400010,4,0") << QByteArray("E02");
    QTest::newRow("block over the end")
        << QByteArray("qSeggerHSS:Start:1,14,1,00000000807ffffe,4,0") << QByteArray("E02");
    QTest::newRow("block over the window's end")
        << QByteArray("qSeggerHSS:Start:1,14,1,00000000203ffffe,4,0") << QByteArray("E02");
    QTest::newRow("second block outside")
        << QByteArray("qSeggerHSS:Start:1,14,2,0000000020000010,4,0,000000001ffffffc,4,0")
        << QByteArray("E02");
    QTest::newRow("malformed start") << QByteArray("qSeggerHSS:Start:1,14,2,0000000080000100,4,0")
                                     << QByteArray("E01");
    QTest::newRow("malformed read") << QByteArray("qSeggerHSS:Read:") << QByteArray("E01");
    QTest::newRow("unknown hss") << QByteArray("qSeggerHSS:Pause") << QByteArray("");
}

void TestSimServer::sessionErrors() {
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, reply);
    RspClient client;
    Connect(client);
    QCOMPARE(Ask(client, command), reply);
    // A failed start leaves no session behind, and Stop ends one for good.
    QCOMPARE(Ask(client, "qSeggerHSS:Read:00002710"), QByteArray("E01"));
    QCOMPARE(Ask(client, "qSeggerHSS:Start:1,64,1,0000000080000100,4,0"), QByteArray("OK"));
    QCOMPARE(Ask(client, "qSeggerHSS:Stop"), QByteArray("OK"));
    QCOMPARE(Ask(client, "qSeggerHSS:Read:00002710"), QByteArray("E01"));
}

void TestSimServer::twoClientsAtOnce() {
    RspClient sampler, debugger;
    Connect(sampler);
    Connect(debugger);
    QCOMPARE(Ask(sampler, "qSeggerHSS:Start:1,c8,1,0000000080000100,4,0"), QByteArray("OK"));
    QCOMPARE(Ask(debugger, "M80000100,4:efbeadde"), QByteArray("OK"));
    std::uint32_t seen = 0;
    QDeadlineTimer deadline(10000);
    while (seen != 0xdeadbeef && !deadline.hasExpired()) {
        QByteArray records;
        std::uint32_t n = 0;
        QVERIFY2(sampler.HssRead(0x2710, 8, &records, &n), qPrintable(sampler.LastError()));
        if (n > 0)
            seen = Le32(records, static_cast<int>(n - 1) * 8 + 4);
        QCOMPARE(Ask(debugger, "m80000104,1"), QByteArray("a5")); // the other client is served meanwhile
    }
    QCOMPARE(seen, 0xdeadbeefu);
    // The debugger has no session of its own.
    QCOMPARE(Ask(debugger, "qSeggerHSS:Read:00002710"), QByteArray("E01"));
}

void TestSimServer::continueThenInterrupt() {
    RspClient client;
    Connect(client);
    QVERIFY(client.SendRaw(RspFrame("c")));
    QByteArray ack;
    QVERIFY(client.ReadExactly(1, &ack));
    QCOMPARE(ack, QByteArray("+"));
    QVERIFY2(client.StaysSilent(200), "a stop reply came although nothing stopped");
    QVERIFY(client.SendRaw("\x03"));
    QByteArray reply;
    QVERIFY2(client.ReadPacket(&reply), qPrintable(client.LastError()));
    QCOMPARE(reply, QByteArray("S02"));
    QCOMPARE(Ask(client, "m80000104,1"), QByteArray("a5"));
}

void TestSimServer::monitorCommandsAnswer() {
    RspClient client;
    Connect(client);
    for (const QByteArray& command :
         {QByteArray("reset"), QByteArray("halt"), QByteArray("go"), QByteArray("hss")}) {
        QByteArray output;
        QVERIFY(client.Command("qRcmd," + command.toHex(), &output));
        QVERIFY2(output.startsWith('O'), output.constData());
        const QByteArray text = QByteArray::fromHex(output.mid(1));
        QVERIFY2(command == "hss" ? text.contains("no sampling session") : text.contains("keeps running"),
                 text.constData());
        QByteArray done;
        QVERIFY(client.ReadPacket(&done));
        QCOMPARE(done, QByteArray("OK"));
    }
}

void TestSimServer::detachAndKillClose() {
    RspClient detach;
    Connect(detach);
    QCOMPARE(Ask(detach, "D"), QByteArray("OK"));
    QVERIFY(detach.WaitClosed(5000));
    RspClient kill;
    Connect(kill);
    QVERIFY(kill.SendRaw(RspFrame("k")));
    QByteArray ack;
    QVERIFY(kill.ReadExactly(1, &ack));
    QCOMPARE(ack, QByteArray("+"));
    QVERIFY(kill.WaitClosed(5000));
}

void TestSimServer::targetDescriptionInChunks() {
    RspClient client;
    Connect(client);
    QByteArray xml;
    for (int guard = 0; guard < 100; ++guard) {
        const QByteArray part =
            Ask(client, "qXfer:features:read:target.xml:" + QByteArray::number(xml.size(), 16) + ",100");
        QVERIFY2(part.startsWith('m') || part.startsWith('l'), part.constData());
        xml += part.mid(1);
        if (part.startsWith('l'))
            break;
    }
    QCOMPARE(xml, TargetXml());
    QVERIFY(xml.contains("<architecture>riscv:rv32</architecture>"));
    QCOMPARE(Ask(client, "qXfer:features:read:other.xml:0,100"), QByteArray("E00"));
}

void TestSimServer::faultNoHss() {
    StartServer({"no-hss"});
    RspClient client;
    Connect(client);
    for (const QByteArray& command :
         {QByteArray("qSeggerHSS:Supported"), QByteArray("qSeggerHSS:Start:1,14,1,0000000080000100,4,0"),
          QByteArray("qSeggerHSS:Read:00002710"), QByteArray("qSeggerHSS:Stop")})
        QCOMPARE(Ask(client, command), QByteArray(""));
    QCOMPARE(Ask(client, "m80000104,1"), QByteArray("a5"));
}

void TestSimServer::faultEmptyReads() {
    StartServer({"empty-reads"});
    RspClient client;
    Connect(client);
    QCOMPARE(Ask(client, "qSeggerHSS:Start:1,a,1,0000000080000100,4,0"), QByteArray("OK"));
    for (int i = 0; i < 16; ++i)
        QCOMPARE(Ask(client, "qSeggerHSS:Read:00002710"), QByteArray("OK,00000000"));
}

void TestSimServer::faultCloseAfterReads() {
    StartServer({"close-after-reads=2"});
    RspClient client;
    Connect(client);
    QCOMPARE(Ask(client, "qSeggerHSS:Start:1,64,1,0000000080000100,4,0"), QByteArray("OK"));
    for (int i = 0; i < 2; ++i) {
        QByteArray records;
        std::uint32_t n = 0;
        QVERIFY2(client.HssRead(0x2710, 8, &records, &n), qPrintable(client.LastError()));
    }
    QCOMPARE(Ask(client, "m80000104,1"), QByteArray("a5")); // other packets do not count
    QVERIFY(client.SendRaw(RspFrame("qSeggerHSS:Read:00002710")));
    QVERIFY(client.WaitClosed(5000));
    // The count is per connection.
    RspClient next;
    Connect(next);
    QCOMPARE(Ask(next, "qSeggerHSS:Start:1,64,1,0000000080000100,4,0"), QByteArray("OK"));
    QVERIFY(Ask(next, "qSeggerHSS:Read:00002710").startsWith("OK,"));
}

void TestSimServer::faultSilentAfterReads() {
    StartServer({"silent-after-reads=1"});
    RspClient client;
    Connect(client);
    QCOMPARE(Ask(client, "qSeggerHSS:Start:1,64,1,0000000080000100,4,0"), QByteArray("OK"));
    QByteArray records;
    std::uint32_t n = 0;
    QVERIFY2(client.HssRead(0x2710, 8, &records, &n), qPrintable(client.LastError()));
    QVERIFY(client.SendRaw(RspFrame("qSeggerHSS:Read:00002710")));
    QVERIFY2(client.StaysSilent(300), "the read was answered");
    QVERIFY(client.SendRaw(RspFrame("m80000104,1")));
    QVERIFY2(client.StaysSilent(300), "a later packet was answered");
}

void TestSimServer::faultWrites_data() {
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("nack-writes") << "nack-writes" << QByteArray("-");
    QTest::newRow("error-writes") << "error-writes" << QByteArray("+$E01#a6");
}

void TestSimServer::faultWrites() {
    QFETCH(QString, fault);
    QFETCH(QByteArray, answer);
    StartServer({fault});
    RspClient client;
    Connect(client);
    QVERIFY(client.SendRaw(RspFrame("M80000100,4:03000000")));
    QByteArray bytes;
    QVERIFY2(client.ReadExactly(answer.size(), &bytes), qPrintable(client.LastError()));
    QCOMPARE(bytes, answer);
    if (answer.size() > 1)
        QVERIFY(client.SendRaw("+"));
    std::uint32_t value = 0;
    QVERIFY(m_ram->Read(Counter, &value, 4));
    QCOMPARE(value, 0x12345678u); // nothing was written
    QCOMPARE(Ask(client, "m80000100,4"), QByteArray("78563412"));
}

QTEST_GUILESS_MAIN(TestSimServer)
#include "tst_simserver.moc"
