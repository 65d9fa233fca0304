// Framing, request parsing, the sample ring, the fault list and the memory map of the simulated target.
#include "FaultPlan.h"
#include "HssRequest.h"
#include "RspFraming.h"
#include "SampleRing.h"
#include "TargetMemoryMap.h"

#include <QtTest>

using namespace Sim;

class TestSimProtocol : public QObject {
    Q_OBJECT
    static QByteArray Parse(const QList<QByteArray>& reads) {
        RspParser parser;
        std::vector<RspEvent> out;
        for (const QByteArray& bytes : reads)
            parser.Feed(bytes.constData(), bytes.size(), out);
        QByteArray text;
        for (const RspEvent& event : out)
            text += QList<QByteArray>{"ack", "nack", "break", "packet(" + event.payload + ")", "bad"}.value(
                        event.kind) +
                    " ";
        return text.trimmed();
    }

private slots:
    void frameBytes_data() {
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QByteArray>("frame");
        QTest::newRow("empty") << QByteArray() << QByteArray("$#00");
        QTest::newRow("stop") << QByteArray("qSeggerHSS:Stop") << QByteArray("$qSeggerHSS:Stop#9c");
        QTest::newRow("wraps past 256") << QByteArray("zzzz") << QByteArray("$zzzz#e8");
    }
    void frameBytes() {
        QFETCH(QByteArray, payload);
        QFETCH(QByteArray, frame);
        QCOMPARE(RspFrame(payload), frame);
        QCOMPARE(Parse({frame}), "packet(" + payload + ")");
    }

    void parserEvents_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("events");
        QTest::newRow("uppercase checksum") << QByteArray("$zzzz#E8") << QByteArray("packet(zzzz)");
        QTest::newRow("acks around") << QByteArray("+$g#67+") << QByteArray("ack packet(g) ack");
        QTest::newRow("nack, interrupt") << QByteArray("-\x03") << QByteArray("nack break");
        QTest::newRow("bad checksum") << QByteArray("$g#68") << QByteArray("bad");
        QTest::newRow("checksum not hex") << QByteArray("$g#6z$g#67") << QByteArray("bad packet(g)");
        QTest::newRow("line noise skipped") << QByteArray("\r\nxx$?#3f") << QByteArray("packet(?)");
        QTest::newRow("escape undone") << QByteArray("$X}\x03#d8") << QByteArray("packet(X#)");
    }
    void parserEvents() {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, events);
        QCOMPARE(Parse({bytes}), events);
        for (int cut = 0; cut <= bytes.size(); ++cut) // any split over two reads gives the same
            QCOMPARE(Parse({bytes.left(cut), bytes.mid(cut)}), events);
    }

    void hssStart_data() {
        QTest::addColumn<QByteArray>("arguments");
        QTest::addColumn<int>("recordSize"); // -1: refused
        QTest::newRow("two blocks") << QByteArray("1,14,2,0000000020000010,4,0,0000000020000014,2,0") << 10;
        QTest::newRow("no blocks") << QByteArray("1,14,0") << 4;
        QTest::newRow("8-byte block") << QByteArray("1,a,1,0000000080002508,8,0") << 12;
        QTest::newRow("count says more") << QByteArray("1,14,2,0000000020000010,4,0") << -1;
        QTest::newRow("count says fewer") << QByteArray("1,14,0,0000000020000010,4,0") << -1;
        QTest::newRow("zero period") << QByteArray("1,0,0") << -1;
        QTest::newRow("zero size") << QByteArray("1,14,1,0000000020000010,0,0") << -1;
        QTest::newRow("huge size") << QByteArray("1,14,1,0000000020000010,1000,0") << -1;
        QTest::newRow("0x prefix") << QByteArray("1,0x14,0") << -1;
        QTest::newRow("empty field") << QByteArray("1,,0") << -1;
        QTest::newRow("too few fields") << QByteArray("1,14") << -1;
    }
    void hssStart() {
        QFETCH(QByteArray, arguments);
        QFETCH(int, recordSize);
        HssStart start;
        QCOMPARE(ParseHssStart(arguments, &start), recordSize > 0);
        if (recordSize > 0) {
            QCOMPARE(int(start.RecordSize()), recordSize);
            QCOMPARE(FormatHssStart(start), "qSeggerHSS:Start:" + arguments);
        }
    }

    void hssRead_data() {
        QTest::addColumn<QByteArray>("arguments");
        QTest::addColumn<qint64>("count"); // -1: refused
        QTest::newRow("client's request") << QByteArray("00002710") << qint64(10000);
        QTest::newRow("short form") << QByteArray("a") << qint64(10);
        QTest::newRow("empty") << QByteArray() << qint64(-1);
        QTest::newRow("garbage") << QByteArray("xyz") << qint64(-1);
        QTest::newRow("too large") << QByteArray("100000000") << qint64(-1);
    }
    void hssRead() {
        QFETCH(QByteArray, arguments);
        QFETCH(qint64, count);
        std::uint32_t max = 0;
        QCOMPARE(ParseHssRead(arguments, &max), count >= 0);
        QCOMPARE(qint64(max), qMax(count, qint64(0)));
    }

    // Rounds of pushes and takes on a ring of 1-byte records; record i holds i.
    void ring_data() {
        QTest::addColumn<int>("capacity");
        QTest::addColumn<QList<int>>("rounds"); // pushes, then the most to take, per round
        QTest::addColumn<QByteArray>("taken");  // all records taken, in hex
        QTest::addColumn<int>("dropped");
        QTest::newRow("order kept across the wrap")
            << 4 << QList<int>{3, 2, 3, 10, 3, 2} << QByteArray("0001020304050607") << 0;
        QTest::newRow("full: the newest are dropped") << 3 << QList<int>{5, 100} << QByteArray("000102") << 2;
        QTest::newRow("room again after a take") << 2 << QList<int>{3, 1, 2, 9} << QByteArray("000103") << 2;
    }
    void ring() {
        QFETCH(int, capacity);
        QFETCH(QList<int>, rounds);
        QFETCH(QByteArray, taken);
        QFETCH(int, dropped);
        SampleRing ring(1, capacity);
        unsigned char next = 0;
        QByteArray out;
        for (int i = 0; i < rounds.size(); i += 2) {
            for (int n = 0; n < rounds[i]; ++n, ++next)
                ring.Push(&next);
            ring.Take(rounds[i + 1], out);
        }
        QCOMPARE(out.toHex(), taken);
        QCOMPARE(ring.Dropped(), std::uint64_t(dropped));
    }

    void faultPlan_data() {
        QTest::addColumn<QStringList>("values");
        QTest::addColumn<QString>("summary"); // empty: refused
        QTest::newRow("none") << QStringList() << "hss=1 empty=0 close=-1 silent=-1 nack=0 error=0";
        QTest::newRow("no-hss") << QStringList{"no-hss"} << "hss=0 empty=0 close=-1 silent=-1 nack=0 error=0";
        QTest::newRow("counts") << QStringList{"close-after-reads=3", "silent-after-reads=0"}
                                << "hss=1 empty=0 close=3 silent=0 nack=0 error=0";
        QTest::newRow("writes") << QStringList{"nack-writes", "error-writes", "empty-reads"}
                                << "hss=1 empty=1 close=-1 silent=-1 nack=1 error=1";
        QTest::newRow("unknown") << QStringList{"explode"} << "";
        QTest::newRow("count missing") << QStringList{"close-after-reads"} << "";
        QTest::newRow("negative count") << QStringList{"close-after-reads=-1"} << "";
        QTest::newRow("count not a number") << QStringList{"silent-after-reads=x"} << "";
    }
    void faultPlan() {
        QFETCH(QStringList, values);
        QFETCH(QString, summary);
        FaultPlan plan;
        QString error;
        QCOMPARE(FaultPlan::Parse(values, &plan, &error), !summary.isEmpty());
        if (summary.isEmpty()) {
            QVERIFY(error.contains(values.first()));
            return;
        }
        QCOMPARE(QString("hss=%1 empty=%2 close=%3 silent=%4 nack=%5 error=%6")
                     .arg(!plan.noHss)
                     .arg(plan.emptyReads)
                     .arg(plan.closeAfterReads)
                     .arg(plan.silentAfterReads)
                     .arg(plan.nackWrites)
                     .arg(plan.errorWrites),
                 summary);
        for (const QString& value : values)
            QVERIFY(FaultPlan::Help().contains(value.section('=', 0, 0)));
    }

    void memoryMap_data() {
        QTest::addColumn<qulonglong>("ramSize");
        QTest::addColumn<qulonglong>("address");
        QTest::addColumn<qulonglong>("length");
        QTest::addColumn<qlonglong>("offset"); // -1: not mapped
        const qulonglong ram = 128u * 1024u * 1024u;
        QTest::newRow("RAM start") << ram << 0x80000000ull << 4ull << 0ll;
        QTest::newRow("RAM last byte") << ram << 0x87ffffffull << 1ull << 0x7ffffffll;
        QTest::newRow("RAM end crossed") << ram << 0x87fffffeull << 4ull << -1ll;
        QTest::newRow("below RAM") << ram << 0x7ffffffcull << 4ull << -1ll;
        QTest::newRow("a global in the window") << ram << 0x2000003cull << 4ull << 0x40003cll;
        QTest::newRow("window last byte") << ram << 0x203fffffull << 1ull << 0x7fffffll;
        QTest::newRow("window end crossed") << ram << 0x203ffffeull << 4ull << -1ll;
        QTest::newRow("into the window from below") << ram << 0x1ffffffeull << 4ull << -1ll;
        QTest::newRow("timer") << ram << 0x0200bff8ull << 8ull << -1ll;
        QTest::newRow("length wraps") << ram << 0x80000010ull << 0xfffffffffffffff8ull << -1ll;
        QTest::newRow("address wraps") << ram << 0xfffffffffffffffcull << 8ull << -1ll;
        QTest::newRow("small RAM, window unbacked") << 0x100000ull << 0x20000000ull << 4ull << -1ll;
        QTest::newRow("window half backed") << 0x500000ull << 0x200ffffcull << 4ull << 0x4ffffcll;
        QTest::newRow("window past the backing") << 0x500000ull << 0x200ffffeull << 4ull << -1ll;
    }
    void memoryMap() {
        QFETCH(qulonglong, ramSize);
        QFETCH(qulonglong, address);
        QFETCH(qulonglong, length);
        QFETCH(qlonglong, offset);
        std::uint64_t actual = 0xdead; // untouched on refusal
        QCOMPARE(TargetMemoryMap(ramSize).ToOffset(address, length, &actual), offset >= 0);
        QCOMPARE(qlonglong(actual), offset >= 0 ? offset : 0xdead);
    }
};

QTEST_APPLESS_MAIN(TestSimProtocol)
#include "tst_simprotocol.moc"
