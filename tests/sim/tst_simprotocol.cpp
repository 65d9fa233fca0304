// Framing, request parsing, the sample ring, the fault list and the memory map of the simulated target.
#include "FaultPlan.h"
#include "HssRequest.h"
#include "RspFraming.h"
#include "SampleRing.h"
#include "TargetMemoryMap.h"

#include <QtTest>

using namespace Sim;

Q_DECLARE_METATYPE(std::vector<Sim::RspEvent>)

namespace {
QByteArray Describe(const std::vector<RspEvent>& events) {
    QByteArray text;
    for (const RspEvent& event : events) {
        switch (event.kind) {
        case RspEvent::Ack:
            text += "ack ";
            break;
        case RspEvent::Nack:
            text += "nack ";
            break;
        case RspEvent::Interrupt:
            text += "break ";
            break;
        case RspEvent::Packet:
            text += "packet(" + event.payload + ") ";
            break;
        case RspEvent::BadPacket:
            text += "bad ";
            break;
        }
    }
    return text.trimmed();
}
} // namespace

class TestSimProtocol : public QObject {
    Q_OBJECT
private slots:
    void frameBytes_data();
    void frameBytes();
    void parserEvents_data();
    void parserEvents();
    void parserSurvivesAnySplit();
    void hssStart_data();
    void hssStart();
    void hssStartRoundTrip();
    void hssRead_data();
    void hssRead();
    void ringKeepsOrderAcrossWrap();
    void ringDropsWhenFull();
    void faultPlan_data();
    void faultPlan();
    void memoryMap_data();
    void memoryMap();
};

void TestSimProtocol::frameBytes_data() {
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("empty") << QByteArray() << QByteArray("$#00");
    QTest::newRow("OK") << QByteArray("OK") << QByteArray("$OK#9a");
    QTest::newRow("stop") << QByteArray("qSeggerHSS:Stop") << QByteArray("$qSeggerHSS:Stop#9c");
    QTest::newRow("read count") << QByteArray("OK,2710") << QByteArray("$OK,2710#90");
    QTest::newRow("wraps past 256") << QByteArray("zzzz") << QByteArray("$zzzz#e8");
}

void TestSimProtocol::frameBytes() {
    QFETCH(QByteArray, payload);
    QFETCH(QByteArray, frame);
    QCOMPARE(RspFrame(payload), frame);
}

void TestSimProtocol::parserEvents_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("events");
    QTest::newRow("one packet") << QByteArray("$m80000000,4#55") << QByteArray("packet(m80000000,4)");
    QTest::newRow("uppercase checksum") << QByteArray("$zzzz#E8") << QByteArray("packet(zzzz)");
    QTest::newRow("acks around") << QByteArray("+$g#67+") << QByteArray("ack packet(g) ack");
    QTest::newRow("nack") << QByteArray("-") << QByteArray("nack");
    QTest::newRow("interrupt") << QByteArray("\x03") << QByteArray("break");
    QTest::newRow("bad checksum") << QByteArray("$g#68") << QByteArray("bad");
    QTest::newRow("checksum not hex") << QByteArray("$g#6z$g#67") << QByteArray("bad packet(g)");
    QTest::newRow("line noise skipped") << QByteArray("\r\nxx$?#3f") << QByteArray("packet(?)");
    QTest::newRow("escape undone") << QByteArray("$X}\x03#d8") << QByteArray("packet(X#)");
    QTest::newRow("two in one read") << QByteArray("$g#67$?#3f") << QByteArray("packet(g) packet(?)");
    QTest::newRow("empty packet") << QByteArray("$#00") << QByteArray("packet()");
}

void TestSimProtocol::parserEvents() {
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, events);
    RspParser parser;
    std::vector<RspEvent> out;
    parser.Feed(bytes.constData(), bytes.size(), out);
    QCOMPARE(Describe(out), events);
}

void TestSimProtocol::parserSurvivesAnySplit() {
    const QByteArray stream = "+$qSupported:vContSupported#41$qSeggerHSS:Read:00002710#36+";
    for (int cut = 0; cut <= stream.size(); ++cut) {
        RspParser parser;
        std::vector<RspEvent> out;
        parser.Feed(stream.constData(), cut, out);
        parser.Feed(stream.constData() + cut, stream.size() - cut, out);
        QCOMPARE(Describe(out),
                 QByteArray("ack packet(qSupported:vContSupported) packet(qSeggerHSS:Read:00002710) ack"));
    }
}

void TestSimProtocol::hssStart_data() {
    QTest::addColumn<QByteArray>("arguments");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<uint>("period");
    QTest::addColumn<int>("blocks");
    QTest::addColumn<int>("recordSize");
    QTest::newRow("two blocks") << QByteArray("1,14,2,0000000020000010,4,0,0000000020000014,2,0") << true
                                << 20u << 2 << 10;
    QTest::newRow("no blocks") << QByteArray("1,14,0") << true << 20u << 0 << 4;
    QTest::newRow("8-byte block") << QByteArray("1,a,1,0000000080002508,8,0") << true << 10u << 1 << 12;
    QTest::newRow("count says more") << QByteArray("1,14,2,0000000020000010,4,0") << false << 0u << 0 << 0;
    QTest::newRow("count says fewer") << QByteArray("1,14,0,0000000020000010,4,0") << false << 0u << 0 << 0;
    QTest::newRow("zero period") << QByteArray("1,0,0") << false << 0u << 0 << 0;
    QTest::newRow("zero size") << QByteArray("1,14,1,0000000020000010,0,0") << false << 0u << 0 << 0;
    QTest::newRow("huge size") << QByteArray("1,14,1,0000000020000010,1000,0") << false << 0u << 0 << 0;
    QTest::newRow("not hex") << QByteArray("1,1g,0") << false << 0u << 0 << 0;
    QTest::newRow("0x prefix") << QByteArray("1,0x14,0") << false << 0u << 0 << 0;
    QTest::newRow("empty field") << QByteArray("1,,0") << false << 0u << 0 << 0;
    QTest::newRow("too few fields") << QByteArray("1,14") << false << 0u << 0 << 0;
}

void TestSimProtocol::hssStart() {
    QFETCH(QByteArray, arguments);
    QFETCH(bool, valid);
    HssStart start;
    QCOMPARE(ParseHssStart(arguments, &start), valid);
    if (!valid)
        return;
    QFETCH(uint, period);
    QFETCH(int, blocks);
    QFETCH(int, recordSize);
    QCOMPARE(start.periodUs, period);
    QCOMPARE(static_cast<int>(start.blocks.size()), blocks);
    QCOMPARE(static_cast<int>(start.RecordSize()), recordSize);
}

void TestSimProtocol::hssStartRoundTrip() {
    HssStart start;
    start.flags = 1;
    start.periodUs = 20;
    start.blocks = {{0x20000010, 4, 0}, {0x20000014, 2, 0}};
    const QByteArray text = FormatHssStart(start);
    QCOMPARE(text, QByteArray("qSeggerHSS:Start:1,14,2,0000000020000010,4,0,0000000020000014,2,0"));
    HssStart parsed;
    QVERIFY(ParseHssStart(text.mid(17), &parsed));
    QCOMPARE(parsed.blocks.at(1).address, std::uint64_t(0x20000014));
    QCOMPARE(parsed.blocks.at(1).size, 2u);
}

void TestSimProtocol::hssRead_data() {
    QTest::addColumn<QByteArray>("arguments");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<uint>("count");
    QTest::newRow("client's request") << QByteArray("00002710") << true << 10000u;
    QTest::newRow("short form") << QByteArray("a") << true << 10u;
    QTest::newRow("empty") << QByteArray() << false << 0u;
    QTest::newRow("garbage") << QByteArray("xyz") << false << 0u;
    QTest::newRow("too large") << QByteArray("100000000") << false << 0u;
}

void TestSimProtocol::hssRead() {
    QFETCH(QByteArray, arguments);
    QFETCH(bool, valid);
    QFETCH(uint, count);
    std::uint32_t max = 0;
    QCOMPARE(ParseHssRead(arguments, &max), valid);
    if (valid)
        QCOMPARE(max, count);
}

void TestSimProtocol::ringKeepsOrderAcrossWrap() {
    SampleRing ring(2, 4);
    unsigned char record[2];
    QByteArray out;
    for (int round = 0; round < 5; ++round) {
        for (int i = 0; i < 3; ++i) {
            record[0] = static_cast<unsigned char>(round);
            record[1] = static_cast<unsigned char>(i);
            QVERIFY(ring.Push(record));
        }
        out.clear();
        QCOMPARE(ring.Take(2, out), std::size_t(2));
        QCOMPARE(out, QByteArray::fromHex(QByteArray::number(round).rightJustified(2, '0') + "00" +
                                          QByteArray::number(round).rightJustified(2, '0') + "01"));
        out.clear();
        QCOMPARE(ring.Take(10, out), std::size_t(1));
        QCOMPARE(static_cast<int>(out.at(1)), 2);
    }
    QCOMPARE(ring.Dropped(), std::uint64_t(0));
}

void TestSimProtocol::ringDropsWhenFull() {
    SampleRing ring(1, 3);
    for (unsigned char i = 0; i < 5; ++i)
        QCOMPARE(ring.Push(&i), i < 3);
    QCOMPARE(ring.Dropped(), std::uint64_t(2));
    QByteArray out;
    QCOMPARE(ring.Take(100, out), std::size_t(3));
    QCOMPARE(out, QByteArray::fromHex("000102")); // the oldest are kept, the newest dropped
}

void TestSimProtocol::faultPlan_data() {
    QTest::addColumn<QStringList>("values");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QString>("summary");
    QTest::newRow("none") << QStringList() << true << "hss=1 empty=0 close=-1 silent=-1 nack=0 error=0";
    QTest::newRow("no-hss") << QStringList{"no-hss"} << true
                            << "hss=0 empty=0 close=-1 silent=-1 nack=0 error=0";
    QTest::newRow("counts") << QStringList{"close-after-reads=3", "silent-after-reads=0"} << true
                            << "hss=1 empty=0 close=3 silent=0 nack=0 error=0";
    QTest::newRow("writes") << QStringList{"nack-writes", "error-writes", "empty-reads"} << true
                            << "hss=1 empty=1 close=-1 silent=-1 nack=1 error=1";
    QTest::newRow("unknown") << QStringList{"explode"} << false << "";
    QTest::newRow("count missing") << QStringList{"close-after-reads"} << false << "";
    QTest::newRow("negative count") << QStringList{"close-after-reads=-1"} << false << "";
    QTest::newRow("count not a number") << QStringList{"silent-after-reads=x"} << false << "";
}

void TestSimProtocol::faultPlan() {
    QFETCH(QStringList, values);
    QFETCH(bool, valid);
    QFETCH(QString, summary);
    FaultPlan plan;
    QString error;
    QCOMPARE(FaultPlan::Parse(values, &plan, &error), valid);
    if (!valid) {
        QVERIFY(error.contains(values.first()));
        return;
    }
    QCOMPARE(QStringLiteral("hss=%1 empty=%2 close=%3 silent=%4 nack=%5 error=%6")
                 .arg(!plan.noHss)
                 .arg(plan.emptyReads)
                 .arg(plan.closeAfterReads)
                 .arg(plan.silentAfterReads)
                 .arg(plan.nackWrites)
                 .arg(plan.errorWrites),
             summary);
    for (const QString& value : values)
        QVERIFY(FaultPlan::Help().contains(value.section(QLatin1Char('='), 0, 0)));
}

void TestSimProtocol::memoryMap_data() {
    QTest::addColumn<qulonglong>("ramSize");
    QTest::addColumn<qulonglong>("address");
    QTest::addColumn<qulonglong>("length");
    QTest::addColumn<bool>("mapped");
    QTest::addColumn<qulonglong>("offset");
    const qulonglong ram = 128u * 1024u * 1024u;
    QTest::newRow("RAM start") << ram << 0x80000000ull << 4ull << true << 0ull;
    QTest::newRow("RAM last byte") << ram << 0x87ffffffull << 1ull << true << 0x7ffffffull;
    QTest::newRow("RAM end crossed") << ram << 0x87fffffeull << 4ull << false << 0ull;
    QTest::newRow("below RAM") << ram << 0x7ffffffcull << 4ull << false << 0ull;
    QTest::newRow("window start") << ram << 0x20000000ull << 4ull << true << 0x400000ull;
    QTest::newRow("a global") << ram << 0x2000003cull << 4ull << true << 0x40003cull;
    QTest::newRow("window last byte") << ram << 0x203fffffull << 1ull << true << 0x7fffffull;
    QTest::newRow("window end crossed") << ram << 0x203ffffeull << 4ull << false << 0ull;
    QTest::newRow("past the window") << ram << 0x20400000ull << 1ull << false << 0ull;
    QTest::newRow("into the window from below") << ram << 0x1ffffffeull << 4ull << false << 0ull;
    QTest::newRow("timer") << ram << 0x0200bff8ull << 8ull << false << 0ull;
    QTest::newRow("null") << ram << 0ull << 4ull << false << 0ull;
    QTest::newRow("length wraps") << ram << 0x80000010ull << 0xfffffffffffffff8ull << false << 0ull;
    QTest::newRow("address wraps") << ram << 0xfffffffffffffffcull << 8ull << false << 0ull;
    QTest::newRow("small RAM, window unbacked") << 0x100000ull << 0x20000000ull << 4ull << false << 0ull;
    QTest::newRow("small RAM, physical") << 0x100000ull << 0x800ffffcull << 4ull << true << 0xffffcull;
    QTest::newRow("window half backed") << 0x500000ull << 0x200ffffcull << 4ull << true << 0x4ffffcull;
    QTest::newRow("window past the backing") << 0x500000ull << 0x200ffffeull << 4ull << false << 0ull;
}

void TestSimProtocol::memoryMap() {
    QFETCH(qulonglong, ramSize);
    QFETCH(qulonglong, address);
    QFETCH(qulonglong, length);
    QFETCH(bool, mapped);
    QFETCH(qulonglong, offset);
    std::uint64_t actual = 0xdead;
    QCOMPARE(TargetMemoryMap(ramSize).ToOffset(address, length, &actual), mapped);
    if (mapped)
        QCOMPARE(static_cast<qulonglong>(actual), offset);
    else
        QCOMPARE(actual, std::uint64_t{0xdead}); // untouched on refusal
}

QTEST_APPLESS_MAIN(TestSimProtocol)
#include "tst_simprotocol.moc"
