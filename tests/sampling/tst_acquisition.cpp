// Start and stop of a sampling run, stopping against broken servers, and the display worker's frame rate.
#include "Acquisition.h"
#include "CommonCfg.h"
#include "FakeGdbServer.h"
#include "GdbTransport.h"
#include "GetData.h"
#include "HssSession.h"
#include "MemoryWrite.h"
#include "Row.h"
#include "SamplingTestKit.h"
#include "WatchList.h"

#include <QDir>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QtTest>
#include <memory>
#include <thread>

namespace {

QVector<VarParser::VarDes> vars(int n) {
    QVector<VarParser::VarDes> list;
    const char* types[] = {"int", "char", "float", "short", "double"};
    const int sizes[] = {4, 1, 4, 2, 8};
    for (int i = 0; i < n; ++i) {
        VarParser::VarDes v;
        v.name = QString("v%1").arg(i);
        v.address = QString::number(0x20000000 + 0x10 * i, 16);
        v.type = types[i % 5];
        v.size = sizes[i % 5];
        list << v;
    }
    return list;
}

// Threads of this process; a stop leaves none of the sampling engine's behind.
int threadCount() {
    return int(QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
}

} // namespace

class AcquisitionTest : public QObject {
    Q_OBJECT
private slots:
    void init() { resetSamplingState(); }
    void cleanup() { endSampling(); }

    void startRefused_data();
    void startRefused();
    void watchListFromDescriptors();
    void stopStartCycles();
    void faults_data();
    void faults();
    void fpsChangeTakesEffect();
};

// Server ("none": nothing listens; "silent": accepts, says nothing) | variables | address of the first |
// start failure | connections made
void AcquisitionTest::startRefused_data() {
    Row::Column();
    QTest::newRow("empty selection") << "fine | 0 | 20000000 | 0 | 0";
    QTest::newRow("address above 32 bits") << "fine | 2 | 100000000 | 0 | 0";
    QTest::newRow("no server") << "none | 1 | 20000000 | 2 | 0";
    QTest::newRow("silent server") << "silent | 1 | 20000000 | 2 | 1";
}

void AcquisitionTest::startRefused() {
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

void AcquisitionTest::watchListFromDescriptors() {
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

void AcquisitionTest::stopStartCycles() {
    FakeGdbServer server;
    server.setSamplesPerRead(200);
    server.setSplit(97); // read replies arrive in pieces with pauses
    server.setPieceGapUs(200);
    setSamplingTarget("127.0.0.1", server.port());
    const int threads = threadCount();
    QRandomGenerator rng(20261123);
    for (int cycle = 0; cycle < 50; ++cycle) {
        QCOMPARE(startSampling(vars(2)), 0);
        QTRY_VERIFY2_WITH_TIMEOUT(samplingSessionBegun() && FrameQueue::instance().historySize() > 0,
                                  qPrintable(QString("no frame in cycle %1").arg(cycle)), 1000);
        // Stop at a random moment: between reads, mid-reply or mid raw data.
        std::this_thread::sleep_for(std::chrono::microseconds(rng.bounded(15000)));
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(stopSampling(), 0);
        QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
        QVERIFY(!samplingEnded());
    }
    QCOMPARE(threadCount(), threads);
}

// Fault | the session's end code (0: still running at the stop)
void AcquisitionTest::faults_data() {
    Row::Column();
    QTest::newRow("silent mid-reply") << "hang-mid-data | 0";
    QTest::newRow("closes mid raw data") << "close-mid-data | 3";
    QTest::newRow("stray bytes") << "stray | 3";
    QTest::newRow("count above 10000") << "huge | 3";
    QTest::newRow("E01 to a write, sampling goes on") << "error-write | 0";
    QTest::newRow("no answer to a write") << "deaf-write | 3";
    QTest::newRow("silent to the stop packet") << "deaf-stop | 0";
    QTest::newRow("15 empty reads, then a new session") << "empty | 4";
}

void AcquisitionTest::faults() {
    const QString fault = Row::Fields()[0];
    const int code = Row::Fields()[1].toInt();
    FakeGdbServer server;
    setSamplingTarget("127.0.0.1", server.port());
    auto reads = std::make_shared<std::atomic<int>>(0);
    server.setSamplesPerRead(fault == "empty" ? 0 : 100);
    server.setHandler([fault, reads](const std::string& c, FakeGdbServer::Reply& r) {
        const bool read = c.rfind("qSeggerHSS:Read:", 0) == 0;
        const bool broken = read && ++*reads > 3;
        if (broken && fault.endsWith("mid-data")) {
            // 100 records of 9 bytes announced, 50 bytes sent.
            r.chunks = {FakeGdbServer::frame("OK,00000064"), std::string(50, '\0')};
            r.hangAfter = fault == "hang-mid-data";
            r.close = fault == "close-mid-data";
            return true;
        }
        if (broken && fault == "stray")
            r.chunks = {"x" + std::string(5000, 'y')};
        else if (broken && fault == "huge")
            r.chunks = {FakeGdbServer::frame("OK,2711")};
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
        QVERIFY(writeEditedValue(0x20000000, "int", "5") != 0);
        QVERIFY(clock.elapsed() < 2500);
        const int readsAtWrite = *reads;
        if (code == 0) // sampling goes on after a refused write
            QTRY_VERIFY_WITH_TIMEOUT(*reads >= readsAtWrite + 3, 5000);
    }
    if (code != 0)
        QTRY_VERIFY_WITH_TIMEOUT(samplingEnded(), 5000);
    QCOMPARE(samplingEnded() ? samplingResult() : 0, code);
    QElapsedTimer clock;
    clock.start();
    stopSampling();
    QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(!samplingRunning());
    QCOMPARE(threadCount(), threads);
    // The next session starts clean: no old bytes, no old empty-read count.
    server.setHandler({});
    server.setSamplesPerRead(100);
    QCOMPARE(startSampling(vars(2)), 0);
    QTRY_VERIFY_WITH_TIMEOUT(samplingSessionBegun() && FrameQueue::instance().historySize() > 0, 1000);
    QCOMPARE(stopSampling(), 0);
}

void AcquisitionTest::fpsChangeTakesEffect() {
    CommonCfg::SetFps(1);
    watchList() = WatchList();
    GetData worker;
    QSignalSpy spy(&worker, &GetData::DataSignal);
    worker.start();
    QVERIFY(spy.wait(3000)); // first tick after a second
    CommonCfg::SetFps(60);
    QVERIFY(spy.wait(3000)); // the tick that notices the change
    // Ten further ticks within five seconds: at the old rate they would take ten.
    QTRY_VERIFY_WITH_TIMEOUT(spy.size() >= 12, 5000);
    worker.Stop();
}

QTEST_GUILESS_MAIN(AcquisitionTest)
#include "tst_acquisition.moc"
