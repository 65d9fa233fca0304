// Start and stop of a sampling run, the display worker's batches, and stopping against broken servers.
#include "Acquisition.h"
#include "CommonCfg.h"
#include "FakeGdbServer.h"
#include "GdbTransport.h"
#include "GetData.h"
#include "HssSession.h"
#include "SamplingTestKit.h"
#include "WatchList.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

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

} // namespace

class AcquisitionTest : public QObject {
    Q_OBJECT
private slots:
    void init() { resetSamplingState(); }
    void cleanup() { endSampling(); }

    void emptySelectionStartsNothing();
    void unreachableServerReportsSetupFailure();
    void watchListFromDescriptors();
    void startAndStopHealthy();
    void stopWithinDeadline_data();
    void stopWithinDeadline();
    void workerEmitsBatches();
    void fpsChangeTakesEffect();
};

void AcquisitionTest::emptySelectionStartsNothing() {
    FakeGdbServer server;
    setSamplingTarget("127.0.0.1", server.port());
    QCOMPARE(startSampling({}), -1);
    QCOMPARE(server.connections(), 0);
    QVERIFY(!samplingRunning());
}

void AcquisitionTest::unreachableServerReportsSetupFailure() {
    quint16 port;
    {
        FakeGdbServer gone;
        port = gone.port();
    }
    setSamplingTarget("127.0.0.1", port);
    QCOMPARE(startSampling(vars(1)), -1);
    QCOMPARE(samplingStartFailure(), 2);
    QCOMPARE(
        CommonCfg::ErrorText(samplingStartFailure()),
        QString("Setup GDBserver Fail! Please check the connection between the debugger and the PC ,and then "
                "restart Tidewatch!"));
    QVERIFY(!samplingRunning());
}

void AcquisitionTest::watchListFromDescriptors() {
    FakeGdbServer server;
    setSamplingTarget("127.0.0.1", server.port());
    QVector<VarParser::VarDes> list = vars(5);
    list[4].address = "0x80000000"; // above the signed range: reads as 0
    CommonCfg::SetInterval(50);
    QCOMPARE(startSampling(list), 0);
    const WatchList& w = watchList();
    QCOMPARE(w.count, 5);
    QCOMPARE(w.address[1], 0x20000010);
    QCOMPARE(w.address[4], 0);
    QCOMPARE(w.typeCode[0], 1);
    QCOMPARE(w.typeCode[1], 0);
    QCOMPARE(w.typeCode[2], 2);
    QCOMPARE(w.typeCode[3], 1);
    QCOMPARE(w.typeCode[4], 3);
    QCOMPARE(w.size[4], 8u);
    QCOMPARE(w.scale[2], 1.0f);
    QCOMPARE(w.name[3], QString("v3"));
    QVERIFY(server.waitForCommand("qSeggerHSS:Start:1,32,5,", 5000));
    QCOMPARE(stopSampling(), 0);
}

void AcquisitionTest::startAndStopHealthy() {
    FakeGdbServer server;
    setSamplingTarget("127.0.0.1", server.port());
    QCOMPARE(startSampling(vars(3)), 0);
    QTRY_VERIFY_WITH_TIMEOUT(FrameQueue::instance().historySize() >= 500, 10000);
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(stopSampling(), 0);
    QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
    const int reads = server.countCommands("qSeggerHSS:Read:");
    const auto commands = server.commands();
    QCOMPARE(QString::fromStdString(commands.back()), QString("qSeggerHSS:Stop"));
    QVERIFY(!samplingRunning());
    // Nothing is read after the stop.
    QCOMPARE(server.countCommands("qSeggerHSS:Read:"), reads);
    SampleFrame f;
    QCOMPARE(FrameQueue::instance().popForDisplay(f, 0), 1);
    QCOMPARE(f.count, 3);
}

void AcquisitionTest::stopWithinDeadline_data() {
    QTest::addColumn<QString>("fault");
    QTest::addColumn<bool>("endsByItself");
    QTest::newRow("server falls silent") << "silent" << false;
    QTest::newRow("server closes during a read") << "close" << true;
    QTest::newRow("stray byte at the head") << "stray" << true;
    QTest::newRow("announcement above the limit") << "huge" << false;
    QTest::newRow("silent to the stop packet") << "deaf-stop" << false;
}

void AcquisitionTest::stopWithinDeadline() {
    QFETCH(QString, fault);
    QFETCH(bool, endsByItself);
    FakeGdbServer server;
    setSamplingTarget("127.0.0.1", server.port());
    auto reads = std::make_shared<std::atomic<int>>(0);
    if (fault == "silent")
        server.setSilentAfterReads(3);
    if (fault == "close")
        server.setCloseAfterReads(3);
    server.setHandler([fault, reads](const std::string& c, FakeGdbServer::Reply& r) {
        const bool read = c.rfind("qSeggerHSS:Read:", 0) == 0;
        if (read && ++*reads > 3 && fault == "stray") {
            r.chunks = {"x" + std::string(5000, 'y')};
            return true;
        }
        if (read && *reads > 3 && fault == "huge") {
            r.chunks = {FakeGdbServer::frame("OK,2711")};
            return true;
        }
        if (c == "qSeggerHSS:Stop" && fault == "deaf-stop" && *reads > 0) {
            r.silent = true;
            return true;
        }
        return false;
    });
    QCOMPARE(startSampling(vars(2)), 0);
    QTRY_VERIFY_WITH_TIMEOUT(*reads >= 4 || server.readsServed() >= 4, 10000);
    if (endsByItself) {
        // The reader gives up on a dead stream instead of spinning on it.
        QTRY_VERIFY_WITH_TIMEOUT(samplingEnded(), 5000);
        QCOMPARE(samplingResult(), 3);
    }
    QElapsedTimer clock;
    clock.start();
    stopSampling();
    QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(!samplingRunning());
    // The channel is free again for this thread.
    QCOMPARE(gdbMutex().lock(), 0);
    gdbMutex().unlock();
}

void AcquisitionTest::workerEmitsBatches() {
    FakeGdbServer server;
    setSamplingTarget("127.0.0.1", server.port());
    CommonCfg::SetFps(30);
    QCOMPARE(startSampling(vars(3)), 0);
    GetData worker;
    QVector<QVector<QPointF>> data;
    QVector<QVector<float>> math;
    connect(&worker, &GetData::DataSignal, this,
            [&](const QVector<QVector<QPointF>>& d, const QVector<QVector<float>>& m) {
                if (!d.isEmpty() && !d[0].isEmpty()) {
                    data = d;
                    math = m;
                }
            });
    worker.start(QThread::TimeCriticalPriority);
    QTRY_VERIFY_WITH_TIMEOUT(!data.isEmpty(), 10000);
    worker.Stop();
    stopSampling();
    QCOMPARE(data.size(), 3);
    QVERIFY(!data[0].isEmpty());
    // Generator: variable v of sample i holds i + v; times advance by 20 per sample.
    const QPointF p = data[0].last();
    QCOMPARE(data[1].last().y(), double((int(p.y()) + 1) & 0xff));
    QCOMPARE(p.x(), 20.0 * p.y());
    QCOMPARE(math.size(), 3);
    QVERIFY(math[0].isEmpty());
}

void AcquisitionTest::fpsChangeTakesEffect() {
    CommonCfg::SetFps(1);
    resetWatchListForTests();
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
