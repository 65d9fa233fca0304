// Packet framing, acknowledgements, reply reassembly and the handshake, against a real loopback server.
#include "FakeGdbServer.h"
#include "GdbTransport.h"

#include <QElapsedTimer>
#include <QtTest>
#include <cstdlib>
#include <memory>

namespace {

using Payload = std::unique_ptr<char, decltype(&std::free)>;

Payload readReply() {
    return Payload(gdbReadReply(), &std::free);
}

// A handler that answers every command with fixed raw bytes after the given acknowledgement.
FakeGdbServer::Handler rawAnswer(const std::string& bytes, const std::string& ack = "+", bool close = false) {
    return [=](const std::string&, FakeGdbServer::Reply& r) {
        r.ack = ack;
        r.chunks = {bytes};
        r.close = close;
        return true;
    };
}

} // namespace

class TransportTest : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { gdbClose(); }

    void framing_data();
    void framing();
    void acknowledgement_data();
    void acknowledgement();
    void replyStream_data();
    void replyStream();
    void handshake_data();
    void handshake();
    void refusesWithoutConnection();
    void newConnectionStartsClean();
};

void TransportTest::framing_data() {
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("wire");
    QTest::newRow("empty") << QByteArray("") << QByteArray("$#00");
    QTest::newRow("stop") << QByteArray("qSeggerHSS:Stop") << QByteArray("$qSeggerHSS:Stop#9c");
    QTest::newRow("read") << QByteArray("qSeggerHSS:Read:00002710")
                          << QByteArray("$qSeggerHSS:Read:00002710#36");
    QTest::newRow("letter digits") << QByteArray("m0,4") << QByteArray("$m0,4#fd");
}

void TransportTest::framing() {
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, wire);
    FakeGdbServer server;
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QCOMPARE(gdbSendPacket(command.constData()), 0);
    QVERIFY(server.waitForCommand(command.toStdString(), 2000));
    QCOMPARE(QByteArray::fromStdString(server.rawReceived()), wire);
}

void TransportTest::acknowledgement_data() {
    QTest::addColumn<QByteArray>("ack");
    QTest::addColumn<int>("result");
    QTest::newRow("plus") << QByteArray("+") << 0;
    QTest::newRow("minus is not retried") << QByteArray("-") << -1;
    QTest::newRow("break bytes are ignored") << QByteArray("\x03\x03+") << 0;
    QTest::newRow("stray byte before plus") << QByteArray("x+") << 0;
    QTest::newRow("no answer before the deadline") << QByteArray() << -1;
}

void TransportTest::acknowledgement() {
    QFETCH(QByteArray, ack);
    QFETCH(int, result);
    FakeGdbServer server;
    server.setHandler(rawAnswer("", ack.toStdString()));
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QElapsedTimer clock;
    clock.start();
    {
        GdbDeadline deadline(300);
        QCOMPARE(gdbSendPacket("qC"), result);
    }
    QVERIFY(clock.elapsed() < 1000);
    QCOMPARE(server.countCommands("qC"), 1); // sent once, never again
    QCOMPARE(gdbInStep(), !ack.isEmpty());
}

void TransportTest::replyStream_data() {
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("close");
    QTest::addColumn<QStringList>("payloads"); // what successive reads return; "<null>" for none
    QTest::addColumn<QByteArray>("left");      // what stays in the receive buffer
    QTest::addColumn<bool>("inStep");
    QTest::addColumn<int>("split"); // the reply arrives in pieces of this many bytes
    QTest::newRow("leading acks skipped")
        << QByteArray("+++$OK#9a") << false << QStringList{"OK"} << QByteArray() << true << 4;
    QTest::newRow("two packets in one receive")
        << QByteArray("$first#00$second#00") << false << QStringList{"first", "second"} << QByteArray()
        << true << 4;
    QTest::newRow("raw bytes after the reply stay")
        << QByteArray("$OK,2#00\x01\x02\x03", 11) << false << QStringList{"OK,2"}
        << QByteArray("\x01\x02\x03", 3) << true << 0;
    QTest::newRow("closed before a packet")
        << QByteArray("$OK") << true << QStringList{"<null>"} << QByteArray("$OK") << false << 4;
    QTest::newRow("stray byte fills the buffer")
        << QByteArray("x") + QByteArray(5000, 'y') << false << QStringList{"<null>"}
        << QByteArray("x") + QByteArray(kGdbBufferSize - 1, 'y') << false << 1000;
}

void TransportTest::replyStream() {
    QFETCH(QByteArray, bytes);
    QFETCH(bool, close);
    QFETCH(QStringList, payloads);
    QFETCH(QByteArray, left);
    QFETCH(bool, inStep);
    QFETCH(int, split);
    FakeGdbServer server;
    server.setSplit(split); // pieces of 4: a "#" can come before its checksum
    server.setPieceGapUs(300);
    server.setHandler(rawAnswer(bytes.toStdString(), "+", close));
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QCOMPARE(gdbSendPacket("qC"), 0);
    for (const QString& expected : payloads) {
        Payload reply = readReply();
        QCOMPARE(reply ? QString(reply.get()) : QString("<null>"), expected);
    }
    if (left.isEmpty()) // every packet taken is answered with exactly one "+"
        QTRY_COMPARE(server.acksReceived(), payloads.size());
    QTRY_COMPARE(QByteArray(gdbRecvBuffer(), int(gdbRecvFill())), left);
    QCOMPARE(gdbInStep(), inStep);
}

void TransportTest::handshake_data() {
    QTest::addColumn<QString>("supported"); // "<silent>": the server accepts and says nothing
    QTest::addColumn<QString>("stopReply");
    QTest::addColumn<int>("result");
    QTest::addColumn<uint>("size");
    QTest::newRow("decimal") << "PacketSize=4000;qXfer:features:read+"
                             << "OK" << 0 << 4000u;
    QTest::newRow("hex digits read as decimal") << "PacketSize=3fff"
                                                << "ok" << 0 << 3u;
    QTest::newRow("blanks skipped") << "swbreak+;PacketSize= \t1200"
                                    << "OK" << 0 << 1200u;
    QTest::newRow("absent") << "swbreak+"
                            << "OK" << 0 << 65536u;
    QTest::newRow("stop refused") << "PacketSize=4000"
                                  << "" << -1 << 4000u;
    QTest::newRow("silent server") << "<silent>"
                                   << "OK" << -1 << 65536u;
}

void TransportTest::handshake() {
    QFETCH(QString, supported);
    QFETCH(QString, stopReply);
    QFETCH(int, result);
    QFETCH(uint, size);
    FakeGdbServer server;
    server.setQSupportedReply(supported.toStdString());
    server.setHandler([&](const std::string& c, FakeGdbServer::Reply& r) {
        r.silent = supported == "<silent>";
        if (c == "qSeggerHSS:Stop")
            r.chunks = {FakeGdbServer::frame(stopReply.toStdString())};
        return r.silent || c == "qSeggerHSS:Stop";
    });
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QElapsedTimer clock;
    clock.start();
    {
        GdbDeadline deadline(500);
        QCOMPARE(gdbHandshake(), result);
    }
    QVERIFY(clock.elapsed() < 1500);
    QCOMPARE(gdbPacketSize(), size);
    if (supported != "<silent>") {
        const auto commands = server.commands();
        QCOMPARE(commands.size(), size_t(2));
        QCOMPARE(QString::fromStdString(commands[0]), QString("qSupported:vContSupported"));
        QCOMPARE(QString::fromStdString(commands[1]), QString("qSeggerHSS:Stop"));
    }
}

void TransportTest::refusesWithoutConnection() {
    quint16 freePort;
    {
        FakeGdbServer probe;
        freePort = probe.port();
    }
    QCOMPARE(gdbConnect(nullptr, 3333), -1);
    QCOMPARE(gdbConnect("127.0.0.1", freePort), -1);
    QCOMPARE(gdbClose(), 0);
    char byte = 0;
    QCOMPARE(gdbSendRaw("x", 1), -1);
    QCOMPARE(gdbRecvRaw(&byte, 1), -1);
    QCOMPARE(gdbSendPacket("qC"), -1);
    FakeGdbServer server;
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QCOMPARE(gdbSendRaw(nullptr, 1), -1);
    QCOMPARE(gdbSendRaw("x", 0), -1);
    QCOMPARE(gdbRecvRaw(&byte, 0), -1);
}

void TransportTest::newConnectionStartsClean() {
    // The first connection dies with half a reply and raw bytes in the buffer.
    {
        FakeGdbServer server;
        server.setHandler(rawAnswer("$OK,5#00\x01\x02", "+", true));
        QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
        QCOMPARE(gdbSendPacket("qC"), 0);
        Payload reply = readReply();
        QTRY_VERIFY(gdbRecvFill() > 0 || !gdbInStep());
        gdbShutdown();
        QCOMPARE(gdbClose(), 0);
    }
    FakeGdbServer server;
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QCOMPARE(gdbRecvFill(), 0u);
    QVERIFY(gdbInStep());
    GdbDeadline deadline(2000);
    QCOMPARE(gdbHandshake(), 0);
}

QTEST_GUILESS_MAIN(TransportTest)
#include "tst_transport.moc"
