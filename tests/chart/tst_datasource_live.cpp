// The data source against a loopback GDB server: sampled batches crossing from the worker thread into
// the curves.
#include "Acquisition.h"
#include "CommonCfg.h"
#include "DataSource.h"
#include "FakeGdbServer.h"
#include "GetData.h"
#include "HssSession.h"
#include "SamplingTestKit.h"
#include "WatchList.h"

#include <QSignalSpy>
#include <QtCharts/QLineSeries>
#include <QtTest>

using QtCharts::QLineSeries;

class DataSourceLiveTest : public QObject {
    Q_OBJECT
private slots:
    void init() { resetSamplingState(); }
    void cleanup() { endSampling(); }

    void batchesReachTheCurves() {
        FakeGdbServer server;
        setSamplingTarget("127.0.0.1", server.port());
        CommonCfg::SetFps(30);
        QVector<VarParser::VarDes> vars(2);
        vars[0] = {"counter", "20000000", "global", "int", 4, 0, 0, false, false, QString()};
        vars[1] = {"wave", "20000010", "global", "short", 2, 0, 0, false, false, QString()};
        // 500 ms per division: every tick shows all that was kept.
        CommonCfg::SetZoomIndex(14);
        CommonCfg::SetRunFlag(0);
        QCOMPARE(startSampling(vars), 0);

        DataSource source;
        QLineSeries first;
        QLineSeries second;
        source.SetSeries({&first, &second});
        QSignalSpy xRange(&source, &DataSource::SetXRange);
        // Scaling set before the first batch applies to every point drawn.
        source.SetYResolutionAndOffset(0x20000010, -1000, 0.5);
        source.StartAcquisition();
        QVERIFY(!source.IsStopped());
        QTRY_VERIFY_WITH_TIMEOUT(first.count() >= 500, 10000);
        QVERIFY(xRange.size() >= 1);
        source.StopAcquisition();
        QVERIFY(!source.Worker()->isRunning());
        CommonCfg::SetRunFlag(1);
        QCOMPARE(stopSampling(), 0);
        // The last tick may have found no new frames and delivered an empty batch; asking for the
        // stored data again draws everything the queue kept.
        source.UpdateDataByScroll();

        // Sample i holds i in variable 0 and i + 1 in variable 1, at 20 i microseconds.
        const auto points = source.Points();
        QCOMPARE(points.size(), 2);
        QCOMPARE(points[0].size(), points[1].size());
        for (int k = 0; k < points[0].size(); ++k) {
            const double i = points[0][k].y();
            QCOMPARE(points[0][k].x(), 20 * i);
            QCOMPARE(points[1][k].x(), points[0][k].x());
            // (i + 1) x 0.5 - 1000, truncated toward zero as the variable is an integer.
            QCOMPARE(points[1][k].y(), double(int((i + 1) * 0.5 - 1000)));
        }
        QCOMPARE(second.pointsVector(), points[1]);
    }
};

QTEST_MAIN(DataSourceLiveTest)
#include "tst_datasource_live.moc"
