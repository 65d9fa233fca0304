// The sampling session: start command, read replies, the empty-read rule, decoding and reassembly.
#include "FakeGdbServer.h"
#include "GdbTransport.h"
#include "HssSession.h"

#include <QtTest>
#include <future>

namespace {

std::vector<SampleFrame> drainQueue() {
    std::vector<SampleFrame> frames;
    SampleFrame f;
    while (FrameQueue::instance().popForDisplay(f, 0) == 1)
        frames.push_back(f);
    return frames;
}

HssConfig configOf(const std::vector<uint32_t>& sizes, const std::vector<int>& codes = {}) {
    HssConfig c;
    c.period = 20;
    c.count = static_cast<uint32_t>(sizes.size());
    for (size_t i = 0; i < sizes.size(); ++i) {
        c.address[i] = 0x20000000u + 0x10u * static_cast<uint32_t>(i);
        c.size[i] = sizes[i];
        c.typeCode[i] = i < codes.size() ? codes[i] : 1;
    }
    c.queue = &FrameQueue::instance();
    return c;
}

} // namespace

class SessionTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() { QCOMPARE(FrameQueue::instance().init(), 0); }
    void init() {
        hssBeginSession();
        FrameQueue::instance().init();
    }
    void cleanup() { gdbClose(); }

    void startCommand_data();
    void startCommand();
    void readReply_data();
    void readReply();
    void emptyReadsEndTheSession();
    void decodeTimeAndSizes_data();
    void decodeTimeAndSizes();
    void sessionEnds_data();
    void sessionEnds();
};

void SessionTest::startCommand_data() {
    QTest::addColumn<QVector<uint>>("addresses");
    QTest::addColumn<QVector<uint>>("sizes");
    QTest::addColumn<QString>("expected");
    QTest::newRow("none") << QVector<uint>{} << QVector<uint>{} << "qSeggerHSS:Start:1,14,0";
    QTest::newRow("two") << QVector<uint>{0x20000010, 0x20000014} << QVector<uint>{4, 2}
                         << "qSeggerHSS:Start:1,14,2,0000000020000010,4,0,0000000020000014,2,0";
    QVector<uint> addresses, sizes;
    QString expected = "qSeggerHSS:Start:1,14,22";
    for (uint i = 0; i < 34; ++i) {
        addresses << 0x8000abc0u + 4 * i;
        sizes << (i % 2 ? 4u : 8u);
        expected += QString(",%1,%2,0").arg(0x8000abc0u + 4 * i, 16, 16, QChar('0')).arg(i % 2 ? 4 : 8);
    }
    QTest::newRow("thirty-four") << addresses << sizes << expected;
}

void SessionTest::startCommand() {
    QFETCH(QVector<uint>, addresses);
    QFETCH(QVector<uint>, sizes);
    QFETCH(QString, expected);
    HssConfig c;
    c.period = 20;
    c.count = static_cast<uint32_t>(addresses.size());
    for (int i = 0; i < addresses.size(); ++i) {
        c.address[i] = addresses[i];
        c.size[i] = sizes[i];
    }
    std::vector<char> buffer(hssStartCommandLength(c));
    QVERIFY(hssFormatStart(c, buffer.data(), buffer.size()));
    QCOMPARE(QString(buffer.data()), expected);
    QVERIFY(expected.size() < 750);
}

void SessionTest::readReply_data() {
    QTest::addColumn<QString>("reply");
    QTest::addColumn<int>("result");
    QTest::addColumn<uint>("count");
    QTest::newRow("plain") << "OK,00000010" << 0 << 16u;
    QTest::newRow("lowercase ok") << "ok,A" << 0 << 10u;
    QTest::newRow("blank and 0x") << "OK, 0x1f" << 0 << 31u;
    QTest::newRow("capital X is not a prefix") << "OK,0X1f" << 0 << 0u;
    QTest::newRow("zero") << "OK,0" << 0 << 0u;
    QTest::newRow("no digits") << "OK," << 0 << 0u;
    QTest::newRow("above the limit") << "OK,2711" << 0 << 10001u;
    QTest::newRow("too long for 32 bits") << "OK,100000001" << 0 << 0xFFFFFFFFu;
    QTest::newRow("error reply") << "E01" << int('e' - 'o') << 0u;
}

void SessionTest::readReply() {
    QFETCH(QString, reply);
    QFETCH(int, result);
    QFETCH(uint, count);
    uint32_t n = 12345;
    QCOMPARE(hssParseReadReply(reply.toLatin1().constData(), &n), result);
    if (result == 0)
        QCOMPARE(n, count);
}

void SessionTest::emptyReadsEndTheSession() {
    // 3 empties, one "OK,0" (not the exact empty text: resets), then empties for ever.
    uint32_t n = 0;
    int reads = 0;
    int rc = 0;
    while (rc == 0 && reads < 40)
        rc = hssParseReadReply(reads++ == 3 ? "OK,0" : "OK,00000000", &n);
    QCOMPARE(rc, 4);
    QCOMPARE(reads, 4 + 15); // the reset at read 4, then the first empty counts as one
    // A new session starts counting from zero.
    hssBeginSession();
    QCOMPARE(hssParseReadReply("OK,00000000", &n), 0);
    QCOMPARE(hssEmptyReadCounter(), 1);
}

void SessionTest::decodeTimeAndSizes_data() {
    QTest::addColumn<QVector<uint>>("stamps");
    QTest::addColumn<QVector<qulonglong>>("times");
    QTest::newRow("steady") << QVector<uint>{100, 120, 140} << QVector<qulonglong>{0, 20, 40};
    QTest::newRow("wrap is one short") << QVector<uint>{0xFFFFFFF0u, 0x10u} << QVector<qulonglong>{0, 0x1F};
    QTest::newRow("wrap then steady")
        << QVector<uint>{0xFFFFFFFFu, 0x0u, 0x5u} << QVector<qulonglong>{0, 0, 5};
    QTest::newRow("equal stamps") << QVector<uint>{7, 7} << QVector<qulonglong>{0, 0};
}

void SessionTest::decodeTimeAndSizes() {
    QFETCH(QVector<uint>, stamps);
    QFETCH(QVector<qulonglong>, times);
    // Sizes 1, 8, 2, 4: the 8-byte one takes its room but reads as 0.
    const HssConfig c = configOf({1, 8, 2, 4}, {0, 3, 1, 2});
    const uint32_t block = 4 + 1 + 8 + 2 + 4;
    std::vector<uint8_t> data;
    for (uint s : stamps) {
        for (int b = 0; b < 4; ++b)
            data.push_back(static_cast<uint8_t>(s >> (8 * b)));
        data.push_back(0xFF);
        for (int b = 0; b < 8; ++b)
            data.push_back(static_cast<uint8_t>(0x11 * (b + 1)));
        data.push_back(0xEF);
        data.push_back(0xBE);
        const uint32_t f = 0x3fc00000; // 1.5f
        for (int b = 0; b < 4; ++b)
            data.push_back(static_cast<uint8_t>(f >> (8 * b)));
    }
    QCOMPARE(decodeSamples(block, data.data(), c, static_cast<uint32_t>(stamps.size())), 0);
    const std::vector<SampleFrame> frames = drainQueue();
    QCOMPARE(int(frames.size()), stamps.size());
    for (int i = 0; i < stamps.size(); ++i) {
        QCOMPARE(qulonglong(frames[i].time), times[i]);
        QCOMPARE(frames[i].count, 4);
        QCOMPARE(frames[i].value[0], 0xFFu); // zero-extended
        QCOMPARE(frames[i].value[1], 0u);
        QCOMPARE(frames[i].value[2], 0xBEEFu);
        QCOMPARE(frames[i].value[3], 0x3fc00000u);
        QCOMPARE(frames[i].typeCode[1], 3);
        QCOMPARE(frames[i].typeCode[3], 2);
    }
    QCOMPARE(hssSampleCounter(), quint64(stamps.size()));
}

void SessionTest::sessionEnds_data() {
    QTest::addColumn<QString>("command"); // the command whose answer ends the session
    QTest::addColumn<QString>("reply");
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("reads");
    QTest::newRow("start refused") << "qSeggerHSS:Start:"
                                   << "E03" << -1 << 0;
    QTest::newRow("supported refused") << "qSeggerHSS:Supported"
                                       << "" << -1 << 0;
    QTest::newRow("read refused") << "qSeggerHSS:Read:"
                                  << "E02" << int('e' - 'o') << 1;
    QTest::newRow("more samples than asked for") << "qSeggerHSS:Read:"
                                                 << "OK,2711" << 3 << 1;
}

void SessionTest::sessionEnds() {
    QFETCH(QString, command);
    QFETCH(QString, reply);
    QFETCH(int, code);
    QFETCH(int, reads);
    FakeGdbServer server;
    server.setHandler(FakeGdbServer::answering(command.toStdString(), reply.toStdString()));
    QCOMPARE(gdbConnect("127.0.0.1", server.port()), 0);
    const HssConfig c = configOf({4});
    auto session = std::async(std::launch::async, [&] { return hssSession(c); });
    QCOMPARE(session.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    QCOMPARE(session.get(), code);
    QVERIFY(drainQueue().empty());
    QCOMPARE(server.countCommands("qSeggerHSS:Read:00002710"), reads);
    // A count above the limit leaves bytes nobody can place: the stream is given up.
    QCOMPARE(gdbInStep(), code != 3);
}

QTEST_GUILESS_MAIN(SessionTest)
#include "tst_session.moc"
