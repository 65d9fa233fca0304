// Framing, request parsing, the sample ring, the fault list and the memory map of the simulated target.
#include "FaultPlan.h"
#include "HssRequest.h"
#include "Row.h"
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
    // Bytes received, split over two reads at every place, give the same events; a packet's frame is
    // what the server sends for its payload.
    void framing_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("events");
        QTest::newRow("empty packet") << QByteArray("$#00") << QByteArray("packet()");
        QTest::newRow("stop") << QByteArray("$qSeggerHSS:Stop#9c") << QByteArray("packet(qSeggerHSS:Stop)");
        QTest::newRow("checksum wraps past 256") << QByteArray("$zzzz#e8") << QByteArray("packet(zzzz)");
        QTest::newRow("uppercase checksum") << QByteArray("$zzzz#E8") << QByteArray("packet(zzzz)");
        QTest::newRow("acks around") << QByteArray("+$g#67+") << QByteArray("ack packet(g) ack");
        QTest::newRow("nack, interrupt") << QByteArray("-\x03") << QByteArray("nack break");
        QTest::newRow("bad checksum") << QByteArray("$g#68") << QByteArray("bad");
        QTest::newRow("checksum not hex") << QByteArray("$g#6z$g#67") << QByteArray("bad packet(g)");
        QTest::newRow("line noise skipped") << QByteArray("\r\nxx$?#3f") << QByteArray("packet(?)");
        QTest::newRow("escape undone") << QByteArray("$X}\x03#d8") << QByteArray("packet(X#)");
    }
    void framing() {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, events);
        for (int cut = 0; cut <= bytes.size(); ++cut)
            QCOMPARE(Parse({bytes.left(cut), bytes.mid(cut)}), events);
        if (events.startsWith("packet(") && events.count('(') == 1 && bytes.startsWith('$') &&
            !bytes.contains('E') && !bytes.contains('}'))
            QCOMPARE(RspFrame(events.mid(7).chopped(1)), bytes);
    }

    // Start and read requests' arguments | record size, or the most samples to read; -1: refused
    void hssRequest_data() {
        Row::Column();
        QTest::newRow("two blocks") << "Start:1,14,2,0000000020000010,4,0,0000000020000014,2,0 | 10";
        QTest::newRow("no blocks") << "Start:1,14,0 | 4";
        QTest::newRow("8-byte block") << "Start:1,a,1,0000000080002508,8,0 | 12";
        QTest::newRow("count says more") << "Start:1,14,2,0000000020000010,4,0 | -1";
        QTest::newRow("count says fewer") << "Start:1,14,0,0000000020000010,4,0 | -1";
        QTest::newRow("zero period") << "Start:1,0,0 | -1";
        QTest::newRow("zero size") << "Start:1,14,1,0000000020000010,0,0 | -1";
        QTest::newRow("huge size") << "Start:1,14,1,0000000020000010,1000,0 | -1";
        QTest::newRow("0x prefix") << "Start:1,0x14,0 | -1";
        QTest::newRow("empty field") << "Start:1,,0 | -1";
        QTest::newRow("too few fields") << "Start:1,14 | -1";
        QTest::newRow("client's read") << "Read:00002710 | 10000";
        QTest::newRow("short read") << "Read:a | 10";
        QTest::newRow("empty read") << "Read: | -1";
        QTest::newRow("garbage read") << "Read:xyz | -1";
        QTest::newRow("too large a read") << "Read:100000000 | -1";
    }
    void hssRequest() {
        const QStringList f = Row::Fields();
        const QByteArray arguments = f[0].section(':', 1).toLatin1();
        const int expected = f[1].toInt();
        HssStart start;
        std::uint32_t max = 0;
        if (f[0].startsWith("Read")) {
            QCOMPARE(ParseHssRead(arguments, &max), expected >= 0);
            QCOMPARE(int(max), qMax(expected, 0));
            return;
        }
        QCOMPARE(ParseHssStart(arguments, &start), expected > 0);
        if (expected > 0) {
            QCOMPARE(int(start.RecordSize()), expected);
            QCOMPARE(FormatHssStart(start), "qSeggerHSS:" + f[0].toLatin1());
        }
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

    // --fault values | what the plan holds, empty when refused
    void faultPlan_data() {
        Row::Column();
        QTest::newRow("none") << " | hss=1 empty=0 close=-1 silent=-1 nack=0 error=0";
        QTest::newRow("no-hss") << "no-hss | hss=0 empty=0 close=-1 silent=-1 nack=0 error=0";
        QTest::newRow("counts")
            << "close-after-reads=3 silent-after-reads=0 | hss=1 empty=0 close=3 silent=0 nack=0 error=0";
        QTest::newRow("writes")
            << "nack-writes error-writes empty-reads | hss=1 empty=1 close=-1 silent=-1 nack=1 error=1";
        QTest::newRow("unknown") << "explode | ";
        QTest::newRow("count missing") << "close-after-reads | ";
        QTest::newRow("negative count") << "close-after-reads=-1 | ";
        QTest::newRow("count not a number") << "silent-after-reads=x | ";
    }
    void faultPlan() {
        const QStringList f = Row::Fields(), values = f[0].split(' ', Qt::SkipEmptyParts);
        FaultPlan plan;
        QString error;
        QCOMPARE(FaultPlan::Parse(values, &plan, &error), !f[1].isEmpty());
        QCOMPARE(f[1].isEmpty() ? error.contains(values.first())
                                : FaultPlan::Help().contains(values.value(0).section('=', 0, 0)),
                 true);
        if (!f[1].isEmpty())
            QCOMPARE(QString("hss=%1 empty=%2 close=%3 silent=%4 nack=%5 error=%6")
                         .arg(!plan.noHss)
                         .arg(plan.emptyReads)
                         .arg(plan.closeAfterReads)
                         .arg(plan.silentAfterReads)
                         .arg(plan.nackWrites)
                         .arg(plan.errorWrites),
                     f[1]);
    }

    // RAM size | address | length | offset in the RAM file; -1: not mapped
    void memoryMap_data() {
        Row::Column();
        QTest::newRow("RAM start") << "8000000 | 80000000 | 4 | 0";
        QTest::newRow("RAM last byte") << "8000000 | 87ffffff | 1 | 7ffffff";
        QTest::newRow("RAM end crossed") << "8000000 | 87fffffe | 4 | -1";
        QTest::newRow("below RAM") << "8000000 | 7ffffffc | 4 | -1";
        QTest::newRow("a global in the window") << "8000000 | 2000003c | 4 | 40003c";
        QTest::newRow("window last byte") << "8000000 | 203fffff | 1 | 7fffff";
        QTest::newRow("window end crossed") << "8000000 | 203ffffe | 4 | -1";
        QTest::newRow("into the window from below") << "8000000 | 1ffffffe | 4 | -1";
        QTest::newRow("timer") << "8000000 | 0200bff8 | 8 | -1";
        QTest::newRow("length wraps") << "8000000 | 80000010 | fffffffffffffff8 | -1";
        QTest::newRow("address wraps") << "8000000 | fffffffffffffffc | 8 | -1";
        QTest::newRow("small RAM, window unbacked") << "100000 | 20000000 | 4 | -1";
        QTest::newRow("window half backed") << "500000 | 200ffffc | 4 | 4ffffc";
        QTest::newRow("window past the backing") << "500000 | 200ffffe | 4 | -1";
    }
    void memoryMap() {
        const QStringList f = Row::Fields();
        const qlonglong offset = f[3].toLongLong(nullptr, 16);
        std::uint64_t actual = 0xdead; // untouched on refusal
        QCOMPARE(TargetMemoryMap(f[0].toULongLong(nullptr, 16))
                     .ToOffset(f[1].toULongLong(nullptr, 16), f[2].toULongLong(nullptr, 16), &actual),
                 offset >= 0);
        QCOMPARE(qlonglong(actual), offset >= 0 ? offset : 0xdead);
    }
};

QTEST_APPLESS_MAIN(TestSimProtocol)
#include "tst_simprotocol.moc"
