// Framing, request parsing, the sample ring and the fault list of the simulated target.
#include "FaultPlan.h"
#include "HssRequest.h"
#include "Row.h"
#include "RspFraming.h"
#include "SampleRing.h"

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
        Row::Column(); // bytes (percent escapes) | events
        QTest::newRow("empty packet") << "$#00 | packet()";
        QTest::newRow("stop") << "$qSeggerHSS:Stop#9c | packet(qSeggerHSS:Stop)";
        QTest::newRow("checksum wraps past 256") << "$zzzz#e8 | packet(zzzz)";
        QTest::newRow("uppercase checksum") << "$zzzz#E8 | packet(zzzz)";
        QTest::newRow("acks around") << "+$g#67+ | ack packet(g) ack";
        QTest::newRow("nack, interrupt") << "-%03 | nack break";
        QTest::newRow("bad checksum") << "$g#68 | bad";
        QTest::newRow("checksum not hex") << "$g#6z$g#67 | bad packet(g)";
        QTest::newRow("line noise skipped") << "%0D%0Axx$?#3f | packet(?)";
        QTest::newRow("escape undone") << "$X}%03#d8 | packet(X#)";
    }
    void framing() {
        const QByteArray bytes = QByteArray::fromPercentEncoding(Row::Fields()[0].toLatin1());
        const QByteArray events = Row::Fields()[1].toLatin1();
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

    // Ring capacity (1-byte records, record i holds i) | pushes, then the most to take, per round |
    // all records taken, in hex | records dropped
    void ring_data() {
        Row::Column();
        QTest::newRow("order kept across the wrap") << "4 | 3 2 3 10 3 2 | 0001020304050607 | 0";
        QTest::newRow("full: the newest are dropped") << "3 | 5 100 | 000102 | 2";
        QTest::newRow("room again after a take") << "2 | 3 1 2 9 | 000103 | 2";
    }
    void ring() {
        const QStringList f = Row::Fields(), rounds = f[1].split(' ');
        SampleRing ring(1, f[0].toInt());
        unsigned char next = 0;
        QByteArray out;
        for (int i = 0; i < rounds.size(); i += 2) {
            for (int n = 0; n < rounds[i].toInt(); ++n, ++next)
                ring.Push(&next);
            ring.Take(rounds[i + 1].toInt(), out);
        }
        QCOMPARE(out.toHex(), f[2].toLatin1());
        QCOMPARE(ring.Dropped(), f[3].toULongLong());
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
};

QTEST_APPLESS_MAIN(TestSimProtocol)
#include "tst_simprotocol.moc"
