// The sampling engine: the GDB remote protocol against a loopback server, the session's commands and
// decoding, memory writes, the frame ring and display drain, and whole runs against broken servers.
#include "Acquisition.h"
#include "ColumnReduce.h"
#include "CommonCfg.h"
#include "FakeGdbServer.h"
#include "FrameQueue.h"
#include "FrameRecorder.h"
#include "GdbTransport.h"
#include "GetData.h"
#include "HssSession.h"
#include "MemoryWrite.h"
#include "PollPlan.h"
#include "PollSession.h"
#include "RingStats.h"
#include "Row.h"
#include "SampleValue.h"
#include "Trigger.h"
#include "WatchList.h"

#include <QDir>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>
#include <sys/resource.h>
#include <thread>

// Cases that push a million frames and more, for the ring's arithmetic: the plain and ASan trees run them;
// under TSan they would only cost the test command a third of a minute.
#define SKIP_UNDER_TSAN()                                                                                    \
    if (qEnvironmentVariableIsSet("TIDEWATCH_TSAN"))                                                         \
    QSKIP("a million frames and more: the plain and ASan trees run this")

namespace {

using Payload = std::unique_ptr<char, decltype(&std::free)>;

// Blank-separated pieces with percent escapes ("%01"), as bytes; "x*N" repeats the piece N times.
QByteArray Bytes(const QString& text) {
    QByteArray out;
    for (const QString& part : text.split(' ', Qt::SkipEmptyParts)) {
        const int star = part.lastIndexOf('*');
        const QByteArray piece = QByteArray::fromPercentEncoding(part.left(star < 0 ? -1 : star).toLatin1());
        out += star < 0 ? piece : piece.repeated(part.mid(star + 1).toInt());
    }
    return out;
}

// A handler that answers every command with fixed raw bytes after the given acknowledgement.
FakeGdbServer::Handler rawAnswer(const QByteArray& bytes, const QByteArray& ack = "+", bool close = false) {
    return [=](const std::string&, FakeGdbServer::Reply& r) {
        r.ack = ack.toStdString();
        r.chunks = {bytes.toStdString()};
        r.close = close;
        return true;
    };
}

std::vector<SampleFrame> drainQueue() {
    std::vector<SampleFrame> frames;
    SampleFrame f;
    while (FrameQueue::instance().popForDisplay(f, 0) == 1)
        frames.push_back(f);
    return frames;
}

HssConfig configOf(const QStringList& sizes, uint32_t base = 0x20000000u, uint32_t step = 0x10u) {
    HssConfig c;
    c.period = 20;
    c.count = uint32_t(sizes.size());
    for (int i = 0; i < sizes.size(); ++i) {
        c.address[i] = base + step * uint32_t(i);
        c.size[i] = sizes[i].toUInt();
    }
    c.queue = &FrameQueue::instance();
    return c;
}

SampleFrame frameAt(uint64_t time, uint64_t value) {
    SampleFrame f{};
    f.time = time;
    f.count = 1;
    f.value[0] = value;
    return f;
}

void fill(uint32_t n) {
    FrameQueue& q = FrameQueue::instance();
    for (uint32_t i = 0; i < n; ++i)
        q.push(frameAt(i, i));
}

// n variables at 0x20000000 + 0x10 i: int, char, float, short and double in turn.
QVector<VarParser::VarDes> vars(int n) {
    QVector<VarParser::VarDes> list;
    for (int i = 0; i < n; ++i)
        list.append({QString("v%1").arg(i), QString::number(0x20000000 + 0x10 * i, 16), "global",
                     QStringList{"int", "char", "float", "short", "double"}[i % 5],
                     QVector<int>{4, 1, 4, 2, 8}[i % 5], 0, 0, false, false, QString()});
    return list;
}

// Threads of this process; a stop leaves none of the sampling engine's behind. Compared as "no more than
// before": a thread of the fake server or of Qt may end meanwhile.
int threadCount() {
    return int(QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
}

// Ends whatever a test left running and closes the connection.
void endSampling() {
    if (samplingRunning())
        stopSampling();
    gdbClose();
}

// The process-wide sampling state (connection, session counters, watch list, configuration) as at start.
void resetSamplingState() {
    endSampling();
    hssBeginSession();
    watchList() = WatchList();
    HssSettings& s = hssSettings();
    s.period = 20;
    s.reserved30 = 30;
    s.displayDepth.store(500000);
    s.reserved = 0;
    CommonCfg::ResetForTests();
}

} // namespace

class SamplingTest : public QObject {
    Q_OBJECT
    std::unique_ptr<FakeGdbServer> m_server;

    void connectTo(FakeGdbServer::Handler handler = {}) {
        m_server = std::make_unique<FakeGdbServer>();
        m_server->setHandler(std::move(handler));
        QCOMPARE(gdbConnect("127.0.0.1", m_server->port()), 0);
    }
    QStringList commands() const {
        QStringList list;
        for (const std::string& c : m_server->commands())
            list << QString::fromStdString(c);
        return list;
    }

private slots:
    void initTestCase() { QCOMPARE(FrameQueue::instance().init(), 0); }
    void init() {
        resetSamplingState();
        FrameQueue::instance().init();
        watchList().count = 1; // the drain reads one int
        watchList().typeCode[0] = kCodeSigned;
    }
    void cleanup() {
        endSampling();
        m_server.reset();
    }

    void framing_data() {
        Row::Column(); // command | wire bytes
        QTest::newRow("empty") << " | $#00";
        QTest::newRow("stop") << "qSeggerHSS:Stop | $qSeggerHSS:Stop#9c";
        QTest::newRow("read") << "qSeggerHSS:Read:00002710 | $qSeggerHSS:Read:00002710#36";
        QTest::newRow("letter digits") << "m0,4 | $m0,4#fd";
    }
    void framing() {
        const QStringList f = Row::Fields();
        connectTo();
        QCOMPARE(gdbSendPacket(f[0].trimmed().toLatin1().constData()), 0);
        QVERIFY(m_server->waitForCommand(f[0].trimmed().toStdString(), 2000));
        QCOMPARE(QString::fromStdString(m_server->rawReceived()), f[1]);
    }

    // The acknowledgement (escaped bytes; empty: none) | result of the send
    void acknowledgement_data() {
        Row::Column();
        QTest::newRow("plus") << "+ | 0";
        QTest::newRow("minus is not retried") << "- | -1";
        QTest::newRow("break bytes are ignored") << "%03%03+ | 0";
        QTest::newRow("stray byte before plus") << "x+ | 0";
        QTest::newRow("no answer before the deadline") << " | -1";
    }
    void acknowledgement() {
        const QStringList f = Row::Fields();
        const QByteArray ack = Bytes(f[0]);
        connectTo(rawAnswer("", ack));
        QElapsedTimer clock;
        clock.start();
        {
            GdbDeadline deadline(300);
            QCOMPARE(gdbSendPacket("qC"), f[1].toInt());
        }
        QVERIFY(clock.elapsed() < 1000);
        QCOMPARE(m_server->countCommands("qC"), 1); // sent once, never again
        QCOMPARE(gdbInStep(), !ack.isEmpty());
    }

    // Bytes sent (escaped) | closed after | payloads successive reads return ("<null>": none) |
    // left in the receive buffer | in step afterwards | pieces of this many bytes
    void replyStream_data() {
        Row::Column();
        QTest::newRow("leading acks skipped") << "+++$OK#9a | 0 | OK |  | 1 | 4";
        QTest::newRow("two packets in one receive") << "$first#00$second#00 | 0 | first second |  | 1 | 4";
        QTest::newRow("raw bytes after the reply stay") << "$OK,2#00%01%02%03 | 0 | OK,2 | %01%02%03 | 1 | 0";
        QTest::newRow("closed before a packet") << "$OK | 1 | <null> | $OK | 0 | 4";
        QTest::newRow("stray byte fills the buffer") << "x y*5000 | 0 | <null> | x y*4095 | 0 | 1000";
    }
    void replyStream() {
        const QStringList f = Row::Fields();
        m_server = std::make_unique<FakeGdbServer>();
        m_server->setSplit(f[5].toUInt()); // pieces of 4: a "#" can come before its checksum
        m_server->setPieceGapUs(300);
        m_server->setHandler(rawAnswer(Bytes(f[0]), "+", f[1] == "1"));
        QCOMPARE(gdbConnect("127.0.0.1", m_server->port()), 0);
        QCOMPARE(gdbSendPacket("qC"), 0);
        const QStringList payloads = f[2].split(' ');
        for (const QString& expected : payloads) {
            Payload reply(gdbReadReply(), &std::free);
            QCOMPARE(reply ? QString(reply.get()) : QString("<null>"), expected);
        }
        const QByteArray left = Bytes(f[3]);
        if (left.isEmpty()) // every packet taken is answered with exactly one "+"
            QTRY_COMPARE(m_server->acksReceived(), payloads.size());
        QTRY_COMPARE(QByteArray(gdbRecvBuffer(), int(gdbRecvFill())), left);
        QCOMPARE(gdbInStep(), f[4] == "1");
    }

    // qSupported reply ("<silent>": the server says nothing) | stop reply | result | packet size
    void handshake_data() {
        Row::Column();
        QTest::newRow("hexadecimal") << "PacketSize=4000;qXfer:features:read+ | OK | 0 | 16384";
        QTest::newRow("openocd's size") << "PacketSize=3fff | ok | 0 | 16383";
        QTest::newRow("blanks skipped") << "swbreak+;PacketSize= \t1200 | OK | 0 | 4608";
        QTest::newRow("too long saturates") << "PacketSize=123456789 | OK | 0 | 4294967295";
        QTest::newRow("absent") << "swbreak+ | OK | 0 | 65536";
        QTest::newRow("stop refused") << "PacketSize=4000 | E01 | -1 | 16384";
        QTest::newRow("no high-speed sampling: empty stop reply") << "PacketSize=fff |  | 0 | 4095";
        QTest::newRow("silent server") << "<silent> | OK | -1 | 65536";
    }
    void handshake() {
        const QStringList f = Row::Fields();
        const bool silent = f[0] == "<silent>";
        const std::string stop = FakeGdbServer::frame(f[1].trimmed().toStdString());
        m_server = std::make_unique<FakeGdbServer>();
        m_server->setQSupportedReply(f[0].toStdString());
        m_server->setHandler([=](const std::string& c, FakeGdbServer::Reply& r) {
            r.silent = silent;
            if (c == "qSeggerHSS:Stop")
                r.chunks = {stop};
            return silent || c == "qSeggerHSS:Stop";
        });
        QCOMPARE(gdbConnect("127.0.0.1", m_server->port()), 0);
        QElapsedTimer clock;
        clock.start();
        {
            GdbDeadline deadline(500);
            QCOMPARE(gdbHandshake(), f[2].toInt());
        }
        QVERIFY(clock.elapsed() < 1500);
        QCOMPARE(gdbPacketSize(), f[3].toUInt());
        if (!silent)
            QCOMPARE(commands(), (QStringList{"qSupported:vContSupported", "qSeggerHSS:Stop"}));
    }

    void refusesWithoutConnection() {
        const quint16 freePort = FakeGdbServer().port();
        char byte = 0;
        QCOMPARE((QVector<int>{gdbConnect(nullptr, 3333), gdbConnect("127.0.0.1", freePort),
                               gdbSendRaw("x", 1), gdbRecvRaw(&byte, 1), gdbSendPacket("qC")}),
                 QVector<int>(5, -1));
        QCOMPARE(gdbClose(), 0);
        connectTo();
        QCOMPARE((QVector<int>{gdbSendRaw(nullptr, 1), gdbSendRaw("x", 0), gdbRecvRaw(&byte, 0)}),
                 QVector<int>(3, -1));
    }

    void newConnectionStartsClean() {
        // The first connection dies with half a reply and raw bytes in the buffer.
        connectTo(rawAnswer(QByteArray("$OK,5#00\x01\x02", 10), "+", true));
        QCOMPARE(gdbSendPacket("qC"), 0);
        Payload reply(gdbReadReply(), &std::free);
        QTRY_VERIFY(gdbRecvFill() > 0 || !gdbInStep());
        gdbShutdown();
        QCOMPARE(gdbClose(), 0);
        connectTo();
        QCOMPARE(gdbRecvFill(), 0u);
        QVERIFY(gdbInStep());
        GdbDeadline deadline(2000);
        QCOMPARE(gdbHandshake(), 0);
    }

    // Variable sizes (address 0x8000abc0 + 4 i) | the start command
    void startCommand_data() {
        Row::Column();
        QTest::newRow("none") << " | qSeggerHSS:Start:1,14,0";
        QTest::newRow("two") << "4 2 | qSeggerHSS:Start:1,14,2,000000008000abc0,4,0,000000008000abc4,2,0";
        QString sizes, expected = "qSeggerHSS:Start:1,14,22";
        for (uint i = 0; i < 34; ++i) {
            sizes += i % 2 ? " 4" : " 8";
            expected += QString(",%1,%2,0").arg(0x8000abc0u + 4 * i, 16, 16, QChar('0')).arg(i % 2 ? 4 : 8);
        }
        QTest::newRow("thirty-four") << sizes + " | " + expected;
    }
    void startCommand() {
        const QStringList f = Row::Fields();
        const HssConfig c = configOf(f[0].split(' ', Qt::SkipEmptyParts), 0x8000abc0u, 4);
        std::vector<char> buffer(hssStartCommandLength(c));
        QVERIFY(hssFormatStart(c, buffer.data(), buffer.size()));
        QCOMPARE(QString(buffer.data()), f[1]);
        QVERIFY(f[1].size() < 750);
    }

    // Read reply | result | sample count
    void readReply_data() {
        Row::Column();
        QTest::newRow("plain") << "OK,00000010 | 0 | 16";
        QTest::newRow("lowercase ok") << "ok,A | 0 | 10";
        QTest::newRow("blank and 0x") << "OK, 0x1f | 0 | 31";
        QTest::newRow("capital X is not a prefix") << "OK,0X1f | 0 | 0";
        QTest::newRow("zero") << "OK,0 | 0 | 0";
        QTest::newRow("no digits") << "OK, | 0 | 0";
        QTest::newRow("above the limit") << "OK,2711 | 0 | 10001";
        QTest::newRow("too long for 32 bits") << "OK,100000001 | 0 | 4294967295";
        QTest::newRow("error reply") << "E01 | -10 | ";
    }
    void readReply() {
        const QStringList f = Row::Fields();
        uint32_t n = 12345;
        QCOMPARE(hssParseReadReply(f[0].toLatin1().constData(), &n), f[1].toInt());
        if (f[1] == "0")
            QCOMPARE(n, f[2].toUInt());
    }

    void emptyReadsEndTheSession() {
        // 3 empties, one "OK,0" (not the exact empty text: resets), then empties for ever.
        uint32_t n = 0;
        int reads = 0, rc = 0;
        while (rc == 0 && reads < 40)
            rc = hssParseReadReply(reads++ == 3 ? "OK,0" : "OK,00000000", &n);
        QCOMPARE(rc, 4);
        QCOMPARE(reads, 4 + 15); // the reset at read 4, then the first empty counts as one
        hssBeginSession();       // a new session starts counting from zero
        QCOMPARE(hssParseReadReply("OK,00000000", &n), 0);
        QCOMPARE(hssEmptyReadCounter(), 1);
    }

    // Time stamps | frame times
    void decodeTimeAndSizes_data() {
        Row::Column();
        QTest::newRow("steady") << "100 120 140 | 0 20 40";
        QTest::newRow("wrap is one short") << "4294967280 16 | 0 31";
        QTest::newRow("wrap then steady") << "4294967295 0 5 | 0 0 5";
        QTest::newRow("equal stamps") << "7 7 | 0 0";
    }
    void decodeTimeAndSizes() {
        const QStringList f = Row::Fields(), stamps = f[0].split(' '), times = f[1].split(' ');
        // Sizes 1, 8, 2, 3, 4: each slot holds its variable's bytes; 3 bytes take their room, read 0.
        const HssConfig c = configOf({"1", "8", "2", "3", "4"});
        QByteArray data;
        for (const QString& s : stamps) {
            const uint32_t stamp = s.toUInt();
            data += QByteArray(reinterpret_cast<const char*>(&stamp), 4);
            data += QByteArray::fromHex("ff1122334455667788efbe0102030000c03f"); // 1.5f last
        }
        QCOMPARE(decodeSamples(4 + 1 + 8 + 2 + 3 + 4, reinterpret_cast<const uint8_t*>(data.constData()), c,
                               uint32_t(stamps.size())),
                 0);
        const std::vector<SampleFrame> frames = drainQueue();
        QCOMPARE(int(frames.size()), stamps.size());
        for (int i = 0; i < stamps.size(); ++i) {
            QCOMPARE(qulonglong(frames[i].time), times[i].toULongLong());
            QCOMPARE(frames[i].count, 5);
            QCOMPARE(QVector<uint64_t>(frames[i].value, frames[i].value + 5),
                     (QVector<uint64_t>{0xFF, 0x8877665544332211, 0xBEEF, 0, 0x3fc00000})); // zero-extended
        }
        QCOMPARE(hssSampleCounter(), quint64(stamps.size()));
    }

    // The command whose answer ends the session | the answer | end code | reads sent
    void sessionEnds_data() {
        Row::Column();
        QTest::newRow("start refused") << "qSeggerHSS:Start: | E03 | -1 | 0";
        QTest::newRow("supported refused") << "qSeggerHSS:Supported |  | -1 | 0";
        QTest::newRow("read refused") << "qSeggerHSS:Read: | E02 | -10 | 1";
        QTest::newRow("more samples than asked for") << "qSeggerHSS:Read: | OK,2711 | 3 | 1";
    }
    void sessionEnds() {
        const QStringList f = Row::Fields();
        connectTo(FakeGdbServer::answering(f[0].toStdString(), f[1].trimmed().toStdString()));
        const HssConfig c = configOf({"4"});
        auto session = std::async(std::launch::async, [&] { return hssSession(c); });
        QCOMPARE(session.wait_for(std::chrono::seconds(10)), std::future_status::ready);
        QCOMPARE(session.get(), f[2].toInt());
        QVERIFY(drainQueue().empty());
        QCOMPARE(m_server->countCommands("qSeggerHSS:Read:00002710"), f[3].toInt());
        // A count above the limit leaves bytes nobody can place: the stream is given up.
        QCOMPARE(gdbInStep(), f[2] != "3");
    }

    // A typed value for a variable of a type, size and encoding (empty: by its name), written at
    // 0x20000010: the exact "M" packet, or the reason it is refused and nothing goes out.
    void writeRows_data() {
        for (const char* column : {"type", "size", "encoding", "text", "packet", "refusal"})
            column == QString("size") ? QTest::addColumn<int>(column) : QTest::addColumn<QString>(column);
        const auto row = [](const char* name, QString type, int size, QString encoding, QString text,
                            QString packet, QString refusal) {
            QTest::newRow(name) << type << size << encoding << text << packet << refusal;
        };
        const QString range = "outside the range %1 to %2";
        row("float takes decimals", "float", 4, "float", "0.75", "M20000010,4:0000403f", "");
        row("float 3 is 3.0", "float", 4, "float", "3", "M20000010,4:00004040", "");
        row("float exponent", "float", 4, "float", "-1e-3", "M20000010,4:6f1283ba", "");
        row("float nan", "float", 4, "float", " nan ", "M20000010,4:0000c07f", "");
        row("float too large", "float", 4, "float", "1e39", "", range.arg("-3.4028235e+38", "3.4028235e+38"));
        row("float too small is 0", "float", 4, "float", "1e-50", "M20000010,4:00000000", "");
        row("double", "double", 8, "float", "0.1", "M20000010,8:9a9999999999b93f", "");
        row("double hex is no number", "double", 8, "float", "0x10", "", "not a number");
        row("char 200, one byte", "char", 1, "unsigned", "200", "M20000010,1:c8", "");
        row("char is unsigned", "char", 1, "", "-1", "", range.arg(0).arg(255));
        row("signed char -7", "signed char", 1, "signed", "-7", "M20000010,1:f9", "");
        row("short -7, two bytes", "short", 2, "", "-7", "M20000010,2:f9ff", "");
        row("short 0xffff is -1", "short", 2, "", "0xffff", "M20000010,2:ffff", "");
        row("short 0x10000", "short", 2, "", "0x10000", "", "more hexadecimal digits than 2 bytes hold");
        row("short 32768", "short", 2, "", "32768", "", range.arg(-32768).arg(32767));
        row("int 7.9", "int", 4, "signed", "7.9", "", "not a whole number");
        row("int 1e3", "int", 4, "signed", "1e3", "", "not a whole number");
        row("int text", "int", 4, "signed", "ten", "", "not a number");
        row("int +5", "int", 4, "signed", "+5", "M20000010,4:05000000", "");
        row("int64 lowest", "int64_t", 8, "", "-9223372036854775808", "M20000010,8:0000000000000080", "");
        row("uint64 top", "uint64_t", 8, "", "18446744073709551615", "M20000010,8:ffffffffffffffff", "");
        row("uint64 beyond", "uint64_t", 8, "", "18446744073709551616", "", range.arg(0).arg(UINT64_MAX));
        row("enum by name", "enum mode", 1, "", "-2", "M20000010,1:fe", "");
    }
    void writeRows() {
        QFETCH(QString, type);
        QFETCH(int, size);
        QFETCH(QString, encoding);
        QFETCH(QString, text);
        QFETCH(QString, packet);
        QFETCH(QString, refusal);
        connectTo(FakeGdbServer::answering("M", "OK"));
        QString said;
        const int rc = writeEditedValue(0x20000010, typeCodeOf(type, encoding, size), text, said);
        QCOMPARE(said, refusal);
        QCOMPARE(rc, refusal.isEmpty() ? 0 : kWriteRefused);
        // Exactly one framed packet on the wire and the acknowledgement of its reply, or nothing.
        if (!packet.isEmpty())
            QTRY_COMPARE(QString::fromStdString(m_server->rawReceived()),
                         QString::fromStdString(FakeGdbServer::frame(packet.toStdString()) + "+"));
        QCOMPARE(m_server->countCommands("M"), packet.isEmpty() ? 0 : 1);
    }

    void writeFailures() {
        connectTo(FakeGdbServer::answering("M", "E01"));
        QString refusal;
        const int rc = writeEditedValue(0x20000000, kCodeSigned, "1", refusal); // the server refuses
        QVERIFY(rc != 0 && rc != kWriteRefused && refusal.isEmpty());
        WriteRequest request;
        request.count = 1;
        for (uint32_t size : {0u, 3u, 16u, 1200u}) {
            request.size[0] = size;
            QCOMPARE(writeMemory(request), -1);
        }
        QCOMPARE(m_server->countCommands("M"), 1);
    }

    // Frames pushed | skip | values taken
    void popWithSkip_data() {
        Row::Column();
        QTest::newRow("empty ring") << "0 | 0 | ";
        QTest::newRow("every frame") << "4 | 0 | 0 1 2 3";
        QTest::newRow("every third") << "9 | 2 | 2 5 8";
        QTest::newRow("skip past the end takes the newest") << "5 | 9 | 4";
        QTest::newRow("skip equal to size takes the newest") << "3 | 3 | 2";
    }
    void popWithSkip() {
        const QStringList f = Row::Fields();
        fill(f[0].toUInt());
        QStringList got;
        SampleFrame frame;
        while (FrameQueue::instance().popForDisplay(frame, f[1].toUInt()) == 1)
            got << QString::number(frame.value[0]);
        QCOMPARE(got.join(' '), f[2]);
    }

    void overwriteKeepsNewest999999() {
        SKIP_UNDER_TSAN();
        FrameQueue& q = FrameQueue::instance();
        fill(kQueueCapacity);
        QCOMPARE(q.historySize(), kQueueCapacity - 1);
        QCOMPARE(q.displaySize(), kQueueCapacity - 1);
        QCOMPARE(q.writeIndex(), 0u);
        QCOMPARE(q.historyRead(), 1u);
        QCOMPARE(q.overwrittenUnread(), quint64(1));
        SampleFrame f;
        QCOMPARE(q.popForDisplay(f, 0), 1);
        QCOMPARE(f.value[0], 1u); // frame 0 was overwritten
        fill(10);                 // ten more: the oldest keep moving
        QCOMPARE(q.historySize(), kQueueCapacity - 1);
        QCOMPARE(q.historyRead(), 11u);
    }

    // Trigger detection on frames of one int; frame i has time 10 i us and sequence number just below
    // the ring's wrap plus i. Captures lists the trigger sample of each completed capture.
    void trigger_data() {
        using V = QVector<double>;
        using I = QVector<int>;
        QTest::addColumn<QString>("mode");
        QTest::addColumn<QString>("edge");
        QTest::addColumn<double>("level");
        QTest::addColumn<double>("hysteresis");
        QTest::addColumn<double>("scale");
        QTest::addColumn<int>("pre");
        QTest::addColumn<int>("post");
        QTest::addColumn<int>("rearmAt");
        QTest::addColumn<V>("samples");
        QTest::addColumn<I>("captures");
        QTest::addColumn<int>("state");
        const int off = 0, armed = 1, triggered = 2, autoRun = 3, done = 4;
        // clang-format off
        QTest::newRow("rising") << "Normal" << "rising" << 5.0 << 0.0 << 1.0 << 0 << 0 << -1 << V{0, 10, 0, 10} << I{1, 3} << triggered;
        QTest::newRow("falling") << "normal" << "Falling" << 5.0 << 0.0 << 1.0 << 0 << 0 << -1 << V{0, 10, 0, 10} << I{2} << triggered;
        QTest::newRow("either") << "Normal" << "either" << 5.0 << 0.0 << 1.0 << 0 << 0 << -1 << V{0, 10, 0, 10} << I{1, 2, 3} << triggered;
        QTest::newRow("at the level counts once") << "Normal" << "either" << 5.0 << 0.0 << 1.0 << 0 << 0 << -1 << V{0, 5, 5, 0} << I{1} << triggered;
        QTest::newRow("level in displayed units") << "Normal" << "rising" << 3.0 << 0.0 << 0.5 << 0 << 0 << -1 << V{0, 4, 0, 8} << I{3} << triggered;
        QTest::newRow("jitter within hysteresis") << "Normal" << "rising" << 5.0 << 2.0 << 1.0 << 0 << 0 << -1 << V{0, 10, 4, 10, 0, 10} << I{1, 5} << triggered;
        QTest::newRow("no trigger yet") << "Normal" << "rising" << 50.0 << 0.0 << 1.0 << 0 << 0 << -1 << V{0, 10, 0} << I{} << armed;
        QTest::newRow("pre-trigger part first") << "Normal" << "rising" << 5.0 << 0.0 << 1.0 << 3 << 0 << -1 << V{0, 0, 10, 0, 10} << I{4} << triggered;
        QTest::newRow("post part holds off") << "Normal" << "rising" << 5.0 << 0.0 << 1.0 << 0 << 2 << -1 << V{0, 10, 0, 10, 0, 10, 0, 0} << I{1, 5} << triggered;
        QTest::newRow("post part not in") << "Normal" << "rising" << 5.0 << 0.0 << 1.0 << 0 << 2 << -1 << V{0, 10, 0} << I{} << triggered;
        QTest::newRow("single") << "Single" << "rising" << 5.0 << 0.0 << 1.0 << 0 << 0 << -1 << V{0, 10, 0, 10} << I{1} << done;
        QTest::newRow("single re-armed") << "Single" << "rising" << 5.0 << 0.0 << 1.0 << 0 << 0 << 2 << V{0, 10, 0, 10} << I{1, 3} << done;
        QTest::newRow("auto runs free") << "Auto" << "rising" << 5.0 << 0.0 << 1.0 << 0 << 0 << -1 << V{0, 0, 0, 0, 0} << I{} << autoRun;
        QTest::newRow("auto triggered") << "Auto" << "rising" << 5.0 << 0.0 << 1.0 << 0 << 0 << -1 << V{0, 0, 0, 0, 10} << I{4} << triggered;
        QTest::newRow("off") << "Off" << "rising" << 5.0 << 0.0 << 1.0 << 0 << 0 << -1 << V{0, 10} << I{} << off;
        // clang-format on
    }
    void trigger() {
        QFETCH(QString, mode);
        QFETCH(QString, edge);
        QFETCH(QVector<double>, samples);
        QFETCH(int, rearmAt);
        TriggerSettings s;
        QVERIFY(ParseTriggerMode(mode, s.mode) && ParseTriggerEdge(edge, s.edge));
        QFETCH(double, level);
        QFETCH(double, hysteresis);
        QFETCH(double, scale);
        QFETCH(int, pre);
        QFETCH(int, post);
        s.level = level;
        s.hysteresis = hysteresis;
        s.scale = scale;
        s.pre = pre;
        s.post = post;
        s.autoAfterUs = 30;
        TriggerDetector d;
        d.configure(s);
        const uint64_t base = kQueueCapacity - 2;
        QVector<int> captures;
        for (int i = 0; i < samples.size(); ++i) {
            if (i == rearmAt)
                d.rearm();
            if (d.feed(frameAt(10 * i, uint64_t(int64_t(samples[i]))), base + i))
                captures << int(d.triggerSeq() - base);
        }
        QTEST(captures, "captures");
        QTEST(int(d.state()), "state");
    }

    // A trigger just after the ring's wrap: its pre-trigger part lies before the wrap and still reads
    // back from the ring by sequence number, until the ring overwrites it.
    void triggerWindowAcrossWrap() {
        SKIP_UNDER_TSAN();
        FrameQueue& q = FrameQueue::instance();
        TriggerSettings s;
        s.mode = TriggerMode::Single;
        s.level = 5;
        s.pre = 5;
        s.post = 3;
        TriggerDetector d;
        d.configure(s);
        const uint64_t at = kQueueCapacity + 2;
        for (uint64_t seq = 0; d.state() != TriggerDetector::State::Done && seq < at + 10; ++seq) {
            const SampleFrame f = frameAt(seq, seq >= at ? 10 : seq % 5);
            q.push(f);
            d.feed(f, q.pushed() - 1);
        }
        QCOMPARE(d.triggerSeq(), at);
        QCOMPARE(q.pushed(), at + 4);
        QCOMPARE(TriggerDetector::RingIndex(d.triggerSeq() - s.pre), kQueueCapacity - 3);
        SampleFrame f;
        QCOMPARE(q.frameBySeq(at - 5, f), 1);
        QCOMPARE(f.time, at - 5);
        QCOMPARE(q.frameBySeq(at + 3, f), 1);
        QCOMPARE(f.value[0], 10u);
        QCOMPARE(q.frameBySeq(6, f), 0);      // overwritten
        QCOMPARE(q.frameBySeq(at + 4, f), 0); // not yet pushed
        QVERIFY(TriggerDetector::Held(7, at + 4) && !TriggerDetector::Held(6, at + 4));
    }

    // Frames pushed (frame i: time 10 i, value i) | chart span | scale, offset | frames | min, max, mean,
    // peak-to-peak as displayed
    void ringStats_data() {
        QTest::addColumn<uint>("pushed");
        QTest::addColumn<qint64>("left");
        QTest::addColumn<qint64>("right");
        QTest::addColumn<double>("scale");
        QTest::addColumn<double>("offset");
        QTest::addColumn<int>("count");
        QTest::addColumn<QVector<double>>("stats");
        using V = QVector<double>;
        // clang-format off
        QTest::newRow("both ends included") << 100u << qint64(20) << qint64(50) << 1.0 << 0.0 << 4 << V{2, 5, 3.5, 3};
        QTest::newRow("between frames") << 100u << qint64(15) << qint64(55) << 1.0 << 0.0 << 4 << V{2, 5, 3.5, 3};
        QTest::newRow("scaled and offset") << 100u << qint64(20) << qint64(50) << 2.0 << 1.0 << 4 << V{5, 11, 8, 6};
        QTest::newRow("past the newest") << 100u << qint64(2000) << qint64(3000) << 1.0 << 0.0 << 0 << V{0, 0, 0, 0};
        QTest::newRow("across the wrap") << kQueueCapacity + 10 << qint64(9999900) << qint64(10000050) << 1.0 << 0.0 << 16 << V{999990, 1000005, 999997.5, 15};
        QTest::newRow("oldest overwritten") << kQueueCapacity + 10 << qint64(0) << qint64(150) << 1.0 << 0.0 << 5 << V{11, 15, 13, 4};
        // clang-format on
    }
    void ringStats() {
        SKIP_UNDER_TSAN();
        QFETCH(uint, pushed);
        QFETCH(qint64, left);
        QFETCH(qint64, right);
        QFETCH(double, scale);
        QFETCH(double, offset);
        for (uint i = 0; i < pushed; ++i)
            FrameQueue::instance().push(frameAt(10 * i, i));
        const RowStats r =
            RingStats::Compute(FrameQueue::instance(), left, right, {{0, kCodeSigned, scale, offset}})
                .value(0);
        QTEST(int(r.count), "count");
        QTEST((QVector<double>{r.min, r.max, r.mean, r.peakToPeak}), "stats");
    }

    // Frames kept | display depth | points drawn | first value | stride
    void drainDecimation_data() {
        Row::Column();
        QTest::newRow("shallow: every frame") << "3000 | 500000 | 3000 | 0 | 1";
        QTest::newRow("deep history: every 21st") << "200000 | 500000 | 9524 | 20 | 21";
        QTest::newRow("depth below history: last depth frames") << "50000 | 20000 | 6667 | 30002 | 3";
        QTest::newRow("tiny depth") << "100 | 10 | 10 | 90 | 1";
    }
    void drainDecimation() {
        const QStringList f = Row::Fields();
        fill(f[0].toUInt());
        hssSettings().displayDepth.store(f[1].toUInt());
        QVector<QVector<QPointF>> data(1);
        GetData::Drain(data, true);
        QCOMPARE(data[0].size(), f[2].toInt());
        QCOMPARE(uint(data[0][0].y()), f[3].toUInt());
        if (data[0].size() > 2)
            QCOMPARE(uint(data[0][1].y() - data[0][0].y()), f[4].toUInt());
        // While running, a tick without new frames emits nothing; once stopped it re-emits the span.
        QVector<QVector<QPointF>> idle(1), again(1);
        GetData::Drain(idle, true);
        QCOMPARE(idle[0].size(), 0);
        GetData::Drain(again, false);
        QCOMPARE(again[0].size(), data[0].size());
        QCOMPARE(again[0][0], data[0][0]);
    }

    void drainRepositionsWhenDisplayIsShort() {
        SKIP_UNDER_TSAN();
        FrameQueue& q = FrameQueue::instance();
        fill(kQueueCapacity + 500); // wrapped: history is full
        SampleFrame f;
        for (int i = 0; i < 999000; ++i)
            q.popForDisplay(f, 0); // display cursor far ahead: 999 frames left to show
        hssSettings().displayDepth.store(5000);
        QVector<QVector<QPointF>> data(1);
        GetData::Drain(data, true);
        QCOMPARE(data[0].size(), 5000);
        QCOMPARE(uint(data[0].last().y()), kQueueCapacity + 499);
    }

    // Frames (x = 0, 1, ... µs, at 900 µs a screen) | the plot's pixel columns | run flag | the grid the
    // chart would reduce by: left edge and column width (0: the points stay as drained)
    void thinLive_data() {
        QTest::addColumn<int>("frames");
        QTest::addColumn<double>("columns");
        QTest::addColumn<int>("runFlag");
        QTest::addColumn<double>("left");
        QTest::addColumn<double>("width");
        QTest::newRow("the newest screen") << 2000 << 90.0 << 0 << 1100.0 << 10.0;
        QTest::newRow("less than a screen: from the first") << 600 << 90.0 << 0 << 0.0 << 600 / 90.0;
        QTest::newRow("fractional columns (a scaled screen)") << 2000 << 89.5 << 0 << 1100.0 << 900 / 89.5;
        QTest::newRow("scrolled away: the chart's own range") << 2000 << 90.0 << 1 << 0.0 << 0.0;
        QTest::newRow("no plot drawn yet") << 2000 << 0.0 << 0 << 0.0 << 0.0;
        QTest::newRow("two a column and four more, or fewer") << 184 << 90.0 << 0 << 0.0 << 0.0;
    }
    void thinLive() {
        QFETCH(int, frames);
        QFETCH(double, columns);
        QFETCH(int, runFlag);
        QFETCH(double, left);
        QFETCH(double, width);
        CommonCfg::SetZoomIndex(3); // 100 µs a division, 9 divisions
        CommonCfg::SetRunFlag(runFlag);
        hssSettings().displayColumns.store(columns);
        QVector<QPointF> points;
        for (int i = 0; i < frames; ++i)
            points << QPointF(i, (i * 37) % 11);
        QVector<QVector<QPointF>> data{points, {}};
        GetData::ThinLive(data);
        QCOMPARE(data[0], width > 0 ? ColumnReduce::Reduce(points, left, width) : points);
        QVERIFY(data[1].isEmpty());
        CommonCfg::SetRunFlag(0);
        hssSettings().displayColumns.store(0);
    }

    // What a tick emits is what a drain thinned afterwards would be: the fused drain finds the columns
    // once for all variables. Frames kept | display depth | plot columns | run flag | a frame short of a
    // variable
    void drainThinned_data() {
        QTest::addColumn<uint>("frames");
        QTest::addColumn<uint>("depth");
        QTest::addColumn<double>("columns");
        QTest::addColumn<int>("runFlag");
        QTest::addColumn<bool>("ragged");
        QTest::newRow("deep: every 21st, thinned") << 200000u << 500000u << 90.0 << 0 << false;
        QTest::newRow("few frames: as drained") << 150u << 500000u << 90.0 << 0 << false;
        QTest::newRow("scrolled away: as drained") << 200000u << 500000u << 90.0 << 1 << false;
        QTest::newRow("short frames: each variable alone") << 200000u << 500000u << 90.0 << 0 << true;
        QTest::newRow("wrapped ring, fractional columns")
            << kQueueCapacity + 500 << 20000u << 33.5 << 0 << false;
    }
    void drainThinned() {
        QFETCH(uint, frames);
        QFETCH(uint, depth);
        QFETCH(double, columns);
        QFETCH(int, runFlag);
        QFETCH(bool, ragged);
        SKIP_UNDER_TSAN();
        CommonCfg::SetZoomIndex(12);
        CommonCfg::SetRunFlag(runFlag);
        hssSettings().displayColumns.store(columns);
        hssSettings().displayDepth.store(depth);
        watchList().count = 2;
        watchList().typeCode[1] = kCodeFloat;
        FrameQueue& q = FrameQueue::instance();
        for (uint32_t i = 0; i < frames; ++i) {
            SampleFrame f = frameAt(3ull * i, (i * 37) % 11);
            const float wave = 100 + std::sin(i * 0.001f) * 50; // never 0, what a missing value would read
            std::memcpy(&f.value[1], &wave, sizeof wave);
            f.count = ragged && i >= frames - 5000 && i < frames - 4900 ? 1 : 2;
            q.push(f);
        }
        QVector<QVector<QPointF>> expected(2);
        GetData::Drain(expected, false);
        QCOMPARE(expected[1].size() < expected[0].size(), ragged); // short frames among those drawn
        GetData::ThinLive(expected);
        QVector<QVector<QPointF>> got(2);
        GetData::DrainThinned(got, false);
        QCOMPARE(got, expected);
        CommonCfg::SetRunFlag(0);
        hssSettings().displayColumns.store(0);
    }

    void pointTime() {
        // x is the whole time, past 2^32 us too; y the value by its type.
        const QPointF p = GetData::PointOf(frameAt(6442450944ull, 0xfffffffe), 0, kCodeSigned);
        QCOMPARE(p, QPointF(6442450944.0, -2.0));
    }

    // Frames in the ring before the recording starts (frame i: time 3e9 + 10 i, values i and 3 i), frames
    // pushed while it runs | frame limit | file size limit in bytes | frames written, lost | error
    void recorder_data() {
        QTest::addColumn<uint>("before");
        QTest::addColumn<uint>("during");
        QTest::addColumn<quint64>("limit");
        QTest::addColumn<quint64>("fileLimit");
        QTest::addColumn<quint64>("written");
        QTest::addColumn<quint64>("lost");
        QTest::addColumn<QString>("error");
        using N = quint64;
        // clang-format off
        QTest::newRow("as they come") << 0u << 5000u << N(0) << N(0) << N(5000) << N(0) << "";
        QTest::newRow("across the ring's wrap") << 0u << kQueueCapacity + 10 << N(0) << N(0) << N(kQueueCapacity + 10) << N(0) << "";
        QTest::newRow("overwritten before taken: lost") << kQueueCapacity + 200000 << 0u << N(0) << N(0) << N(kQueueCapacity - 1) << N(200001) << "";
        QTest::newRow("limit") << 0u << 1000u << N(300) << N(0) << N(300) << N(0) << "";
        QTest::newRow("write error ends it") << 0u << 1000u << N(0) << N(9) << N(0) << N(0) << "File too large";
        // clang-format on
    }
    void recorder() {
        QFETCH(uint, before);
        QFETCH(uint, during);
        if (before + during > kQueueCapacity)
            SKIP_UNDER_TSAN(); // the recorder's thread meets the pushes in the small rows as well
        QFETCH(quint64, fileLimit);
        FrameQueue& q = FrameQueue::instance();
        watchList().count = 2;
        watchList().typeCode[1] = kCodeSigned;
        SampleFrame f{};
        f.count = 2;
        const auto push = [&](uint n) {
            for (uint i = 0; i < n; ++i) {
                const uint64_t seq = q.pushed();
                f.time = 3000000000ull + 10 * seq;
                f.value[0] = seq;
                f.value[1] = 3 * seq;
                q.push(f);
            }
        };
        push(before);
        QTemporaryDir dir;
        FrameRecorder::Plan plan{{"b", "a"}, {1, 0}, q.generation(), 0, 0};
        QFETCH(quint64, limit);
        plan.limit = limit;
        const rlimit unlimited{RLIM_INFINITY, RLIM_INFINITY}, small{fileLimit, RLIM_INFINITY};
        std::signal(SIGXFSZ, SIG_IGN); // a write past the limit fails with EFBIG instead
        QVERIFY(setrlimit(RLIMIT_FSIZE, fileLimit > 0 ? &small : &unlimited) == 0);
        FrameRecorder recorder;
        QString error;
        QVERIFY2(recorder.Start(dir.filePath("rec.csv"), plan, &error), qPrintable(error));
        // Pushed as fast as a reader can, pausing only while the recorder is half a ring behind.
        for (uint done = 0; done < during; done += std::min(during - done, 50000u)) {
            QTRY_VERIFY(recorder.Written() + kQueueCapacity / 2 > q.pushed() - before || recorder.Failed() ||
                        recorder.Full());
            push(std::min(during - done, 50000u));
        }
        recorder.Stop();
        setrlimit(RLIMIT_FSIZE, &unlimited);
        QTEST(quint64(recorder.Written()), "written");
        QTEST(quint64(recorder.Lost()), "lost");
        QTEST(recorder.Error(), "error");
        // The file: the header, then every frame from the first one kept, line for line.
        QFile file(dir.filePath("rec.csv"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readLine(), QByteArray("time,b,a\n"));
        char line[64], expected[64];
        unsigned long long seq = recorder.Lost();
        for (; file.readLine(line, sizeof line) > 0; ++seq) {
            std::snprintf(expected, sizeof expected, "%llu,%llu,%llu\n", 3000000000ull + 10 * seq, 3 * seq,
                          seq);
            if (std::strcmp(line, expected) != 0)
                QFAIL(qPrintable(QString("frame %1: %2").arg(seq).arg(line)));
        }
        QCOMPARE(quint64(seq - recorder.Lost()), quint64(recorder.Written()));
        QCOMPARE(quint64(file.size()), recorder.Bytes());
    }

    // Server ("none": nothing listens; "silent": accepts, says nothing) | variables | address of the first |
    // start failure | connections made
    void startRefused_data() {
        Row::Column();
        QTest::newRow("empty selection") << "fine | 0 | 20000000 | 0 | 0";
        QTest::newRow("address above 32 bits") << "fine | 2 | 100000000 | 0 | 0";
        QTest::newRow("no server") << "none | 1 | 20000000 | 2 | 0";
        QTest::newRow("silent server") << "silent | 1 | 20000000 | 2 | 1";
    }

    void startRefused() {
        const QStringList f = Row::Fields();
        auto fake = std::make_unique<FakeGdbServer>();
        const bool silent = f[0] == "silent";
        fake->setHandler([silent](const std::string&, FakeGdbServer::Reply& r) { return r.silent = silent; });
        setSamplingTarget("127.0.0.1", fake->port());
        if (f[0] == "none")
            fake.reset();
        QVector<VarParser::VarDes> list = vars(f[1].toInt());
        if (!list.isEmpty())
            list[0].address = f[2];
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(startSampling(list), -1);
        QVERIFY(clock.elapsed() < 2500); // a silent server holds the start for at most two seconds
        QCOMPARE(samplingStartFailure(), f[3].toInt());
        QVERIFY(!samplingRunning());
        if (fake)
            QCOMPARE(fake->connections(), f[4].toInt());
    }

    void watchListFromDescriptors() {
        FakeGdbServer server;
        setSamplingTarget("127.0.0.1", server.port());
        QVector<VarParser::VarDes> list = vars(5);
        list[4].address = "0x80000000"; // all 32 bits count
        CommonCfg::SetInterval(50);
        QCOMPARE(startSampling(list), 0);
        const WatchList& w = watchList();
        QCOMPARE(w.count, 5);
        QCOMPARE(QVector<uint32_t>(w.address, w.address + 5),
                 (QVector<uint32_t>{0x20000000, 0x20000010, 0x20000020, 0x20000030, 0x80000000}));
        // int, char, float, short (sign-extended from 16 bits), double
        QCOMPARE(QVector<int>(w.typeCode, w.typeCode + 5), (QVector<int>{1, 0, 2, 6, 3}));
        QCOMPARE(w.size[4], 8u);
        QCOMPARE(w.scale[2], 1.0f);
        QCOMPARE(w.name[3], QString("v3"));
        QVERIFY(server.waitForCommand("qSeggerHSS:Start:1,32,5,", 5000));
        QCOMPARE(stopSampling(), 0);
    }

    void stopStartCycles() {
        FakeGdbServer server;
        server.setSamplesPerRead(200);
        server.setSplit(97); // read replies arrive in pieces with pauses
        server.setPieceGapUs(200);
        setSamplingTarget("127.0.0.1", server.port());
        const int threads = threadCount();
        QRandomGenerator rng(20261123);
        for (int cycle = 0; cycle < 50; ++cycle) {
            QCOMPARE(startSampling(vars(2)), 0);
            QTRY_VERIFY2(samplingSessionBegun() && FrameQueue::instance().historySize() > 0,
                         qPrintable(QString("no frame in cycle %1").arg(cycle)));
            // Stop at a random moment: between reads, mid-reply or mid raw data.
            std::this_thread::sleep_for(std::chrono::microseconds(rng.bounded(15000)));
            QElapsedTimer clock;
            clock.start();
            QCOMPARE(stopSampling(), 0);
            QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
            QVERIFY(!samplingEnded());
        }
        QTRY_VERIFY(threadCount() <= threads); // a joined thread leaves /proc a moment later
    }

    // Addresses | sizes | the server's PacketSize | the reads of one poll: hexadecimal address + length
    void pollPlan_data() {
        using U = QVector<uint>;
        QTest::addColumn<U>("addresses");
        QTest::addColumn<U>("sizes");
        QTest::addColumn<uint>("packetSize");
        QTest::addColumn<QString>("ranges");
        QTest::newRow("one") << U{0x100} << U{4} << 0x4000u << "100+4";
        QTest::newRow("contiguous") << U{0x100, 0x104, 0x108} << U{4, 4, 2} << 0x4000u << "100+10";
        QTest::newRow("gap of 64 merged") << U{0x100, 0x144} << U{4, 1} << 0x4000u << "100+69";
        QTest::newRow("gap of 65 apart") << U{0x100, 0x145} << U{4, 1} << 0x4000u << "100+4 145+1";
        QTest::newRow("unordered, overlap") << U{0x110, 0x102, 0x100} << U{4, 1, 4} << 0x4000u << "100+20";
        QTest::newRow("reply bounds a range") << U{0, 8, 0x10, 0x18} << U{8, 8, 8, 8} << 0x40u << "0+24 18+8";
        QTest::newRow("longer than a reply, alone") << U{0x100, 0x128} << U{40, 4} << 0x20u << "100+40 128+4";
        QTest::newRow("ends past 4 GiB") << U{0xfffffff0, 0xfffffffc} << U{4, 8} << 0x4000u << "fffffff0+20";
    }
    void pollPlan() {
        QFETCH(QVector<uint>, addresses);
        QFETCH(QVector<uint>, sizes);
        QFETCH(uint, packetSize);
        QStringList got;
        for (const PollRange& r : planPollReads(addresses.data(), sizes.data(), uint32_t(addresses.size()),
                                                pollMaxRangeBytes(packetSize)))
            got << QString("%1+%2").arg(r.address, 0, 16).arg(r.length);
        QTEST(got.join(' '), "ranges");
        QCOMPARE(pollMaxRangeBytes(0x3fff), 2046u); // the receive buffer bounds openocd's reads
    }

    // An m reply | its bytes in hexadecimal ("-": not a memory read)
    void memoryReply_data() {
        QTest::addColumn<QString>("reply");
        QTest::addColumn<QString>("bytes");
        QTest::newRow("plain, either case") << QString("00fFa5") << "00ffa5";
        QTest::newRow("runs") << QString("0* a*!b") << "0000aaaaab";
        QTest::newRow("error") << QString("E01") << "-";
        QTest::newRow("run of nothing") << QString("*!00") << "-";
        QTest::newRow("count below three") << QString("0*\x1f") << "-";
        QTest::newRow("count above 97") << QString::fromLatin1("0*\xfc") << "-";
        QTest::newRow("not hexadecimal") << QString("OK") << "-";
    }
    void memoryReply() {
        QFETCH(QString, reply);
        std::string bytes;
        const bool ok = decodeMemoryReply(reply.toLatin1().constData(), bytes);
        QTEST(ok ? QString(QByteArray::fromStdString(bytes).toHex()) : "-", "bytes");
    }

    // A server without high-speed sampling is polled: frames keep coming with rising host-clock stamps, a
    // write lands between two back-to-back polls, Stop returns within a second and sends no stop packet.
    void pollingSession() {
        FakeGdbServer server;
        server.setHandler(FakeGdbServer::answering("qSeggerHSS:", ""));
        setSamplingTarget("127.0.0.1", server.port());
        CommonCfg::SetInterval(10);                // shorter than a round trip: polls back to back
        QVector<VarParser::VarDes> list = vars(3); // int at 20000000, char at 20000010: one read
        list[2].address = "20000400";              // a float far away: a second read
        QCOMPARE(startSampling(list), 0);
        QTRY_VERIFY(FrameQueue::instance().historySize() >= 20);
        QCOMPARE(samplingWay(), SamplingWay::Poll);
        QString refusal;
        QCOMPARE(writeEditedValue(0x20000000, kCodeSigned, "77", refusal), 0);
        std::vector<SampleFrame> frames;
        const auto written = [&frames] {
            for (const SampleFrame& f : drainQueue())
                frames.push_back(f);
            return !frames.empty() && frames.back().value[0] == 77;
        };
        QTRY_VERIFY(written());
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(stopSampling(), 0);
        QVERIFY(clock.elapsed() < 1000);
        QCOMPARE(QVector<uint64_t>(frames[0].value, frames[0].value + 3),
                 (QVector<uint64_t>{0x03020100, 0x10, 0x03020100}));
        for (size_t i = 1; i < frames.size(); ++i)
            QVERIFY(frames[i].time > frames[i - 1].time);
        QStringList sent;
        for (const std::string& c : server.commands())
            sent << QString::fromStdString(c);
        const int write = sent.indexOf("M20000000,4:4d000000");
        QCOMPARE(sent.mid(write - 2, 4),
                 (QStringList{"m20000000,11", "m20000400,4", sent.value(write), "m20000000,11"}));
        QCOMPARE(server.countCommands("qSeggerHSS:Stop"), 2); // the handshake's and the session's
    }

    // Fault | the session's end code (0: still running at the stop) | sampled by polling
    void faults_data() {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("code");
        QTest::addColumn<bool>("polled");
        for (bool polled : {false, true}) {
            const char* way = polled ? "polled, " : "";
            QTest::addRow("%ssilent mid-reply", way) << "hang-mid-data" << 0 << polled;
            QTest::addRow("%scloses mid-reply", way) << "close-mid-data" << 3 << polled;
            QTest::addRow("%sstray bytes", way) << "stray" << 3 << polled;
            QTest::addRow("%smore than asked for", way) << "huge" << 3 << polled;
            QTest::addRow("%sE01 to a write, sampling goes on", way) << "error-write" << 0 << polled;
            QTest::addRow("%sno answer to a write", way) << "deaf-write" << 3 << polled;
            QTest::addRow("%ssilent to the stop packet", way) << "deaf-stop" << 0 << polled;
        }
        QTest::newRow("15 empty reads, then a new session") << "empty" << 4 << false;
        QTest::newRow("polled, memory read refused") << "refused" << kEndUnreadable << true;
    }

    void faults() {
        QFETCH(QString, fault);
        QFETCH(int, code);
        QFETCH(bool, polled);
        FakeGdbServer server;
        setSamplingTarget("127.0.0.1", server.port());
        CommonCfg::SetMode(polled ? SamplingMode::Poll : SamplingMode::Auto);
        auto reads = std::make_shared<std::atomic<int>>(0);
        server.setSamplesPerRead(fault == "empty" ? 0 : 100);
        server.setHandler([fault, reads, polled](const std::string& c, FakeGdbServer::Reply& r) {
            const bool read = c.rfind(polled ? "m" : "qSeggerHSS:Read:", 0) == 0;
            const bool broken = read && ++*reads > 3;
            if (broken && fault.endsWith("mid-data")) {
                // 100 records of 9 bytes announced, 50 bytes sent; or half a memory read's reply.
                r.chunks = {polled ? "$00010203" : FakeGdbServer::frame("OK,00000064"),
                            std::string(50, '\0')};
                r.hangAfter = fault == "hang-mid-data";
                r.close = fault == "close-mid-data";
                return true;
            }
            if (broken && fault == "stray")
                r.chunks = {"x" + std::string(5000, 'y')};
            else if (broken && fault == "huge")
                r.chunks = {FakeGdbServer::frame(polled ? std::string(100, '0') : "OK,2711")};
            else if (broken && fault == "refused" && c != "m20000000,4") // the merged read and v1's
                r.chunks = {FakeGdbServer::frame("E01")};
            else if (c[0] == 'M' && fault == "error-write")
                r.chunks = {FakeGdbServer::frame("E01")};
            else if (c[0] == 'M' && fault == "deaf-write")
                r.silent = true;
            else if (c == "qSeggerHSS:Stop" && fault == "deaf-stop" && *reads > 0)
                r.silent = true;
            else
                return false;
            return true;
        });
        const int threads = threadCount();
        QCOMPARE(startSampling(vars(2)), 0);
        QTRY_VERIFY_WITH_TIMEOUT(*reads >= 4, 5000);
        if (fault.endsWith("-write")) {
            QElapsedTimer clock;
            clock.start();
            QString refusal;
            QVERIFY(writeEditedValue(0x20000000, kCodeSigned, "5", refusal) != 0);
            QVERIFY(clock.elapsed() < 2500);
            const int readsAtWrite = *reads;
            if (code == 0) // sampling goes on after a refused write
                QTRY_VERIFY_WITH_TIMEOUT(*reads >= readsAtWrite + 3, 5000);
        }
        if (code != 0)
            QTRY_VERIFY_WITH_TIMEOUT(samplingEnded(), 5000);
        QCOMPARE(samplingEnded() ? samplingResult() : 0, code);
        QCOMPARE(samplingWay(), polled ? SamplingWay::Poll : SamplingWay::Hss);
        if (fault == "refused") // the merged read failed, then v1 on its own
            QVERIFY2(samplingEndText().startsWith("the server could not read variable 'v1' at 0x20000010"),
                     qPrintable(samplingEndText()));
        QElapsedTimer clock;
        clock.start();
        stopSampling();
        QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
        QVERIFY(!samplingRunning());
        QTRY_VERIFY(threadCount() <= threads); // a joined thread leaves /proc a moment later
        // The next session starts clean: no old bytes, no old empty-read count.
        server.setHandler({});
        server.setSamplesPerRead(100);
        QCOMPARE(startSampling(vars(2)), 0);
        QTRY_VERIFY_WITH_TIMEOUT(samplingSessionBegun() && FrameQueue::instance().historySize() > 0, 1000);
        QCOMPARE(stopSampling(), 0);
    }

    void fpsChangeTakesEffect() {
        CommonCfg::SetFps(1);
        watchList() = WatchList();
        GetData worker;
        QSignalSpy spy(&worker, &GetData::DataSignal);
        connect(&worker, &GetData::DataSignal, &worker, [&worker] { worker.BatchTaken(); });
        worker.start();
        QVERIFY(spy.wait(3000)); // first tick after a second
        CommonCfg::SetFps(60);
        QVERIFY(spy.wait(3000)); // the tick that notices the change
        // Ten further ticks within five seconds: at the old rate they would take ten.
        QTRY_VERIFY_WITH_TIMEOUT(spy.size() >= 12, 5000);
        worker.Stop();
    }
};

QTEST_GUILESS_MAIN(SamplingTest)
#include "tst_sampling.moc"
