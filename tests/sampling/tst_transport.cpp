// Packet framing, acknowledgements, reply reassembly and the handshake, against a real loopback server.
#include "FakeGdbServer.h"
#include "GdbTransport.h"

#include <QElapsedTimer>
#include <QtTest>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct Payload {
    explicit Payload(char* p) : text(p) {}
    ~Payload() { std::free(text); }
    char* text;
};

// A handler that answers one command with fixed raw bytes (after the usual "+").
FakeGdbServer::Handler rawAnswer(const std::string& command, const std::string& bytes,
                                 const std::string& ack = "+") {
    return [=](const std::string& c, FakeGdbServer::Reply& r) {
        if (c != command)
            return false;
        r.ack = ack;
        r.chunks = {bytes};
        return true;
    };
}

} // namespace

class TransportTest : public QObject {
    Q_OBJECT
private slots:
    void init() { gdbResetForTests(); }
    void cleanup() { gdbResetForTests(); }

    void framesCommandsWithLowercaseChecksum_data();
    void framesCommandsWithLowercaseChecksum();
    void acknowledgement_data();
    void acknowledgement();
    void skipsLeadingAcksAndAnswersWithOne();
    void twoPacketsInOneReceive();
    void waitsForSecondChecksumCharacter();
    void bytesAfterReplyStayInBuffer();
    void handshakePacketSize_data();
    void handshakePacketSize();
    void handshakeFailsWhenStopRefused();
    void connectFailureIsReported();
    void rawCallsRefuseWithoutConnection();
    void closedConnectionEndsReplyRead();
    void strayByteFillingBufferEndsReplyRead();
    void receiveDeadlineBoundsSilentServer();
};

void TransportTest::framesCommandsWithLowercaseChecksum_data() {
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("wire");
    QTest::newRow("empty") << QByteArray("") << QByteArray("$#00");
    QTest::newRow("stop") << QByteArray("qSeggerHSS:Stop") << QByteArray("$qSeggerHSS:Stop#9c");
    QTest::newRow("read") << QByteArray("qSeggerHSS:Read:00002710")
                          << QByteArray("$qSeggerHSS:Read:00002710#36");
    QTest::newRow("letter digits") << QByteArray("m0,4") << QByteArray("$m0,4#fd");
}

void TransportTest::framesCommandsWithLowercaseChecksum() {
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
}

void TransportTest::acknowledgement() {
    QFETCH(QByteArray, ack);
    QFETCH(int, result);
    FakeGdbServer server;
    server.setHandler([&](const std::string&, FakeGdbServer::Reply& r) {
        r.ack = ack.toStdString();
        return true;
    });
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QCOMPARE(gdbSendPacket("qC"), result);
    QCOMPARE(server.countCommands("qC"), 1); // sent once, never again
}

void TransportTest::skipsLeadingAcksAndAnswersWithOne() {
    FakeGdbServer server;
    server.setHandler(rawAnswer("qC", "+++$OK#9a"));
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QCOMPARE(gdbSendPacket("qC"), 0);
    Payload reply(gdbReadReply());
    QVERIFY(reply.text);
    QCOMPARE(QByteArray(reply.text), QByteArray("OK"));
    QTRY_COMPARE(server.acksReceived(), 1);
    QCOMPARE(gdbRecvFill(), 0u);
}

void TransportTest::twoPacketsInOneReceive() {
    FakeGdbServer server;
    server.setHandler(rawAnswer("qC", FakeGdbServer::frame("first") + FakeGdbServer::frame("second")));
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QCOMPARE(gdbSendPacket("qC"), 0);
    Payload one(gdbReadReply());
    QCOMPARE(QByteArray(one.text), QByteArray("first"));
    // The second packet waits at the head of the buffer.
    QTRY_VERIFY(gdbRecvFill() > 0);
    QCOMPARE(gdbRecvBuffer()[0], '$');
    Payload two(gdbReadReply());
    QCOMPARE(QByteArray(two.text), QByteArray("second"));
}

void TransportTest::waitsForSecondChecksumCharacter() {
    FakeGdbServer server;
    server.setHandler(rawAnswer("qC", "a"));
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    // The packet has arrived up to its first checksum character; the second comes with the answer.
    std::memcpy(gdbRecvBuffer(), "$OK#9", 5);
    gdbRecvFill() = 5;
    QCOMPARE(gdbSendPacket("qC"), 0);
    Payload reply(gdbReadReply());
    QCOMPARE(QByteArray(reply.text), QByteArray("OK"));
    QCOMPARE(gdbRecvFill(), 0u);
}

void TransportTest::bytesAfterReplyStayInBuffer() {
    FakeGdbServer server;
    server.setHandler(rawAnswer("qC", FakeGdbServer::frame("OK,2") + std::string("\x01\x02\x03", 3)));
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QCOMPARE(gdbSendPacket("qC"), 0);
    Payload reply(gdbReadReply());
    QCOMPARE(QByteArray(reply.text), QByteArray("OK,2"));
    QCOMPARE(gdbRecvFill(), 3u);
    QCOMPARE(QByteArray(gdbRecvBuffer(), 3), QByteArray("\x01\x02\x03", 3));
}

void TransportTest::handshakePacketSize_data() {
    QTest::addColumn<QString>("supported");
    QTest::addColumn<uint>("size");
    QTest::newRow("decimal") << "PacketSize=4000;qXfer:features:read+" << 4000u;
    QTest::newRow("hex digits read as decimal") << "PacketSize=3fff" << 3u;
    QTest::newRow("blanks skipped") << "swbreak+;PacketSize= \t1200" << 1200u;
    QTest::newRow("absent") << "swbreak+" << 65536u;
}

void TransportTest::handshakePacketSize() {
    QFETCH(QString, supported);
    QFETCH(uint, size);
    FakeGdbServer server;
    server.setQSupportedReply(supported.toStdString());
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QCOMPARE(gdbHandshake(), 0);
    QCOMPARE(gdbPacketSize(), size);
    const auto commands = server.commands();
    QCOMPARE(commands.size(), size_t(2));
    QCOMPARE(QString::fromStdString(commands[0]), QString("qSupported:vContSupported"));
    QCOMPARE(QString::fromStdString(commands[1]), QString("qSeggerHSS:Stop"));
}

void TransportTest::handshakeFailsWhenStopRefused() {
    FakeGdbServer server;
    server.setHandler(rawAnswer("qSeggerHSS:Stop", FakeGdbServer::frame("")));
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QCOMPARE(gdbHandshake(), -1);
}

void TransportTest::connectFailureIsReported() {
    quint16 freePort;
    {
        FakeGdbServer probe;
        freePort = probe.port();
    }
    QCOMPARE(gdbConnect(nullptr, 3333), -1);
    QCOMPARE(gdbConnect("127.0.0.1", freePort), -1);
    QCOMPARE(gdbClose(), 0);
}

void TransportTest::rawCallsRefuseWithoutConnection() {
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

void TransportTest::closedConnectionEndsReplyRead() {
    FakeGdbServer server;
    server.setHandler([](const std::string&, FakeGdbServer::Reply& r) {
        r.close = true;
        return true;
    });
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QCOMPARE(gdbSendPacket("qC"), 0);
    QElapsedTimer clock;
    clock.start();
    QVERIFY(gdbReadReply() == nullptr);
    QVERIFY(gdbConnectionLost());
    QVERIFY(clock.elapsed() < 1000);
}

void TransportTest::strayByteFillingBufferEndsReplyRead() {
    FakeGdbServer server;
    server.setHandler(rawAnswer("qC", "x" + std::string(5000, 'y')));
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    QCOMPARE(gdbSendPacket("qC"), 0);
    QVERIFY(gdbReadReply() == nullptr);
    QCOMPARE(gdbRecvFill(), kGdbBufferSize);
}

void TransportTest::receiveDeadlineBoundsSilentServer() {
    FakeGdbServer server;
    server.setHandler([](const std::string&, FakeGdbServer::Reply& r) {
        r.silent = true;
        return true;
    });
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    gdbSetReceiveDeadline(200);
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(gdbSendPacket("qC"), -1);
    gdbSetReceiveDeadline(0);
    QVERIFY(clock.elapsed() < 1000);
}

QTEST_GUILESS_MAIN(TransportTest)
#include "tst_transport.moc"
