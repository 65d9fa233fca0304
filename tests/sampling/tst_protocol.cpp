// The GDB remote protocol against a real loopback server: framing, acknowledgements, reply reassembly,
// the handshake, the sampling session's commands and decoding, and the memory write's packets.
#include "FakeGdbServer.h"
#include "GdbTransport.h"
#include "HssSession.h"
#include "MemoryWrite.h"
#include "Row.h"
#include "SamplingTestKit.h"

#include <QElapsedTimer>
#include <QtTest>
#include <cstdlib>
#include <future>
#include <memory>

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

HssConfig configOf(const QStringList& sizes, const QVector<int>& codes = {}, uint32_t base = 0x20000000u,
                   uint32_t step = 0x10u) {
    HssConfig c;
    c.period = 20;
    c.count = uint32_t(sizes.size());
    for (int i = 0; i < sizes.size(); ++i) {
        c.address[i] = base + step * uint32_t(i);
        c.size[i] = sizes[i].toUInt();
        c.typeCode[i] = i < codes.size() ? codes[i] : 1;
    }
    c.queue = &FrameQueue::instance();
    return c;
}

} // namespace

class ProtocolTest : public QObject {
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
        QTest::newRow("decimal") << "PacketSize=4000;qXfer:features:read+ | OK | 0 | 4000";
        QTest::newRow("hex digits read as decimal") << "PacketSize=3fff | ok | 0 | 3";
        QTest::newRow("blanks skipped") << "swbreak+;PacketSize= \t1200 | OK | 0 | 1200";
        QTest::newRow("absent") << "swbreak+ | OK | 0 | 65536";
        QTest::newRow("stop refused") << "PacketSize=4000 |  | -1 | 4000";
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
        quint16 freePort = FakeGdbServer().port();
        QCOMPARE(gdbConnect(nullptr, 3333), -1);
        QCOMPARE(gdbConnect("127.0.0.1", freePort), -1);
        QCOMPARE(gdbClose(), 0);
        char byte = 0;
        QCOMPARE(gdbSendRaw("x", 1), -1);
        QCOMPARE(gdbRecvRaw(&byte, 1), -1);
        QCOMPARE(gdbSendPacket("qC"), -1);
        connectTo();
        QCOMPARE(gdbSendRaw(nullptr, 1), -1);
        QCOMPARE(gdbSendRaw("x", 0), -1);
        QCOMPARE(gdbRecvRaw(&byte, 0), -1);
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
        const HssConfig c = configOf(f[0].split(' ', Qt::SkipEmptyParts), {}, 0x8000abc0u, 4);
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
        // Sizes 1, 8, 2, 4: the 8-byte one takes its room but reads as 0.
        const HssConfig c = configOf({"1", "8", "2", "4"}, {0, 3, 1, 2});
        QByteArray data;
        for (const QString& s : stamps) {
            const uint32_t stamp = s.toUInt();
            data += QByteArray(reinterpret_cast<const char*>(&stamp), 4);
            data += QByteArray::fromHex("ff1122334455667788efbe0000c03f"); // 1.5f last
        }
        QCOMPARE(decodeSamples(4 + 1 + 8 + 2 + 4, reinterpret_cast<const uint8_t*>(data.constData()), c,
                               uint32_t(stamps.size())),
                 0);
        const std::vector<SampleFrame> frames = drainQueue();
        QCOMPARE(int(frames.size()), stamps.size());
        for (int i = 0; i < stamps.size(); ++i) {
            QCOMPARE(qulonglong(frames[i].time), times[i].toULongLong());
            QCOMPARE(frames[i].count, 4);
            QCOMPARE(QVector<uint32_t>(frames[i].value, frames[i].value + 4),
                     (QVector<uint32_t>{0xFF, 0, 0xBEEF, 0x3fc00000})); // zero-extended
            QCOMPARE(QVector<int>(frames[i].typeCode, frames[i].typeCode + 4), (QVector<int>{0, 3, 1, 2}));
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

    // Address | type | typed text | packet | the server's answer
    void writePacket_data() {
        Row::Column();
        QTest::newRow("float takes an integer") << "20000010 | float | 2 | M20000010,4:02000000 | OK";
        QTest::newRow("float 2.5 does not parse") << "20000010 | float | 2.5 | M20000010,4:00000000 | OK";
        QTest::newRow("Float is not float") << "20000000 | Float | 1.5 | M20000000,4:01000000 | OK";
        QTest::newRow("int -1") << "20000000 | int | -1 | M20000000,4:ffffffff | OK";
        QTest::newRow("int 7.9 truncates") << "20000000 | int | 7.9 | M20000000,4:07000000 | OK";
        QTest::newRow("int -2.9 toward zero") << "20000000 | int | -2.9 | M20000000,4:feffffff | OK";
        QTest::newRow("char writes four bytes") << "20000001 | char | 65 | M20000001,4:41000000 | OK";
        QTest::newRow("short -1 writes four bytes") << "2000000a | short | -1 | M2000000a,4:ffffffff | OK";
        QTest::newRow("unknown type as float text")
            << "2000abcd | double | 300.75 | M2000abcd,4:2c010000 | OK";
        QTest::newRow("beyond the range clamps") << "20000000 | int | 1e12 | M20000000,4:ffffff7f | OK";
        QTest::newRow("below the range clamps") << "20000000 | int | -1e12 | M20000000,4:00000080 | OK";
        QTest::newRow("NaN gives 0") << "20000000 | int | nan | M20000000,4:00000000 | OK";
        QTest::newRow("address zero") << "0 | short | 1 | M0,4:01000000 | OK";
        QTest::newRow("high address") << "80001234 | int | 16 | M80001234,4:10000000 | OK";
        QTest::newRow("error reply") << "20000000 | int | 1 | M20000000,4:01000000 | E01";
    }
    void writePacket() {
        const QStringList f = Row::Fields();
        connectTo(FakeGdbServer::answering("M", f[4].toStdString()));
        QCOMPARE(writeEditedValue(f[0].toUInt(nullptr, 16), f[1], f[2]) != 0, f[4] != "OK");
        // Exactly one framed packet on the wire, then the acknowledgement of the reply.
        QTRY_COMPARE(QString::fromStdString(m_server->rawReceived()),
                     QString::fromStdString(FakeGdbServer::frame(f[3].toStdString()) + "+"));
    }

    void otherWriteSizesRefused() {
        connectTo();
        WriteRequest request;
        request.count = 1;
        for (uint32_t size : {0u, 3u, 8u, 1200u}) {
            request.size[0] = size;
            QCOMPARE(writeMemory(request), -1);
        }
        QCOMPARE(m_server->countCommands("M"), 0);
    }
};

QTEST_GUILESS_MAIN(ProtocolTest)
#include "tst_protocol.moc"
