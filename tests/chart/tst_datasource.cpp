// The data source on the GUI thread: the arithmetic of a batch, the Y and X ranges, the series
// refresh, the frame-rate label on a test clock, the scaling lookup and the table's refresh hook.
#include "CommonCfg.h"
#include "CursorReadout.h"
#include "DataSource.h"
#include "DisplayMath.h"
#include "FrameQueue.h"
#include "FrameRate.h"
#include "Row.h"
#include "WatchList.h"

#include <QLabel>
#include <QSignalSpy>
#include <QtCharts/QLineSeries>
#include <QtTest>
#include <cstring>

using QtCharts::QLineSeries;
using Batch = QVector<QVector<QPointF>>;

namespace {

// One watched variable with its type code, scale and offset.
void watch(int index, int typeCode, float scale = 1.0f, float offset = 0.0f, int32_t address = 0) {
    WatchList& w = watchList();
    w.count = qMax(w.count, index + 1);
    w.typeCode[index] = typeCode;
    w.scale[index] = scale;
    w.offset[index] = offset;
    w.address[index] = address;
}

// A batch of one variable whose points carry the given values at times 0, 1, 2, ...
Batch batchOf(const QVector<double>& values) {
    QVector<QPointF> points;
    for (int i = 0; i < values.size(); ++i)
        points.append(QPointF(i, values[i]));
    return {points};
}

bool sameBits(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

} // namespace

class DataSourceTest : public QObject {
    Q_OBJECT
private slots:
    void init() {
        CommonCfg::ResetForTests();
        watchList() = WatchList();
        FrameRate::ResetForTests();
    }

    // Cursor times (B: -1 for none) | names | values at A and at B | readout
    void cursorReadout_data() {
        using V = QVector<double>;
        QTest::addColumn<qint64>("a");
        QTest::addColumn<qint64>("b");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<V>("atA");
        QTest::addColumn<V>("atB");
        QTest::addColumn<QString>("text");
        // clang-format off
        QTest::newRow("A only") << qint64(850) << qint64(-1) << QStringList{"x"} << V{1.5} << V{} << "t_A: 850 us\nx: 1.5";
        QTest::newRow("ms apart") << qint64(1000) << qint64(13500) << QStringList{"x", "y"} << V{1, -2} << V{4, 2.5} << "t_A: 1 ms\nt_B: 13.5 ms\nΔt: 12.5 ms\n1/Δt: 80 Hz\nx: 1 | 4 | Δ 3\ny: -2 | 2.5 | Δ 4.5";
        QTest::newRow("B before A") << qint64(3200000) << qint64(3199000) << QStringList{} << V{} << V{} << "t_A: 3.2 s\nt_B: 3.199 s\nΔt: -1 ms\n1/Δt: 1 kHz";
        QTest::newRow("same time") << qint64(20) << qint64(20) << QStringList{} << V{} << V{} << "t_A: 20 us\nt_B: 20 us\nΔt: 0 us\n1/Δt: -";
        QTest::newRow("hours") << qint64(10800400000) << qint64(-1) << QStringList{"x"} << V{1.5} << V{} << "t_A: 10800 s\nx: 1.5";
        // clang-format on
    }
    void cursorReadout() {
        QFETCH(qint64, a);
        QFETCH(qint64, b);
        QFETCH(QStringList, names);
        QFETCH(QVector<double>, atA);
        QFETCH(QVector<double>, atB);
        QTEST(CursorReadout::Text(a, b >= 0, b, names, atA, atB), "text");
    }

    // type code, scale, offset | raw time, value | drawn time, value (bit for bit)
    void scaledPoint_data() {
        Row::Column();
        QTest::newRow("int x 0.5 keeps the half") << "1 0.5 0 | 0 -3 | 0 -1.5";
        QTest::newRow("short in tenths keeps the fraction") << "6 0.1 0 | 0 335 | 0 33.5000004991889";
        QTest::newRow("float keeps the fraction") << "2 0.5 0 | 0 3 | 0 1.5";
        QTest::newRow("whole resolution: product before offset") << "1 2 1 | 0 3 | 0 7";
        QTest::newRow("unsigned char stays positive") << "0 1 -300 | 0 255 | 0 -45";
        QTest::newRow("double stays double") << "3 1 0 | 0 0.1 | 0 0.1";
        QTest::newRow("int64 beyond 32 bits") << "8 1 0 | 0 -5e9 | 0 -5000000000";
        QTest::newRow("float narrowed to single") << "2 0.1 0 | 0 1 | 0 0.10000000149011612";
        QTest::newRow("int beyond 32 bits") << "1 4 0 | 0 2e9 | 0 -2147483648";
        QTest::newRow("time truncated") << "2 1 0 | 12.9 1 | 12 1";
        QTest::newRow("time beyond 32 bits") << "2 1 0 | 3e9 1 | 3000000000 1";
    }
    void scaledPoint() {
        const QStringList f = Row::Fields();
        const QStringList w = f[0].split(' '), raw = f[1].split(' '), drawn = f[2].split(' ');
        watch(0, w[0].toInt(), w[1].toFloat(), w[2].toFloat());
        DataSource source;
        source.Display({{QPointF(raw[0].toDouble(), raw[1].toDouble())}}, {{}});
        QCOMPARE(source.Points()[0].size(), 1);
        const QPointF p = source.Points()[0][0];
        QVERIFY2(sameBits(p.x(), drawn[0].toDouble()) && sameBits(p.y(), drawn[1].toDouble()),
                 qPrintable(QString("(%1, %2)").arg(p.x(), 0, 'g', 17).arg(p.y(), 0, 'g', 17)));
        QCOMPARE(source.MathValues()[0], (QVector<float>{drawn[1].toFloat(), drawn[1].toFloat()}));
    }
    // One batch of three variables: the extremes of each and of all, the Y range, one replace per
    // series (a series the chart dropped is skipped) and the rolling index.
    void batchOfSeveralVariables() {
        watch(0, 1);
        watch(1, 2, 0.5f);
        watch(2, 1);
        DataSource source;
        QSignalSpy yRange(&source, &DataSource::SetYRange);
        QLineSeries a, b;
        auto* gone = new QLineSeries;
        source.SetSeries({&a, &b, gone});
        delete gone;
        source.Display({{QPointF(0, 4), QPointF(1, -2), QPointF(2, 9), QPointF(3, 4)},
                        {QPointF(0, -30), QPointF(1, 1)},
                        {}},
                       QVector<QVector<float>>(3));
        QCOMPARE(source.MathValues(), (QVector<QVector<float>>{{-2, 9}, {-15, 0.5}, {}}));
        QCOMPARE(QString("%1 %2").arg(source.YMin()).arg(source.YMax()), QString("-15 9"));
        QCOMPARE(yRange.size(), 1);
        QCOMPARE(yRange[0], (QVariantList{-15.5, 9.5}));
        QCOMPARE(a.count(), 4);
        QCOMPARE(b.pointsVector(), (QVector<QPointF>{QPointF(0, -15), QPointF(1, 0.5)}));
        // Only series 0 advances the rolling index; once it reaches b's two points it is back to 0.
        QStringList indices;
        for (int i = 0; i < 3; ++i, source.UpdateAllSeries())
            indices << QString::number(source.UpdateIndex());
        QCOMPARE(indices.join(' '), QString("0 1 0"));
    }
    // Show boxes of two rows of float variables ("-": rows never set) | batches shown in turn, each "min max"
    // of the first variable, then " / " and those of the second | Y range afterwards.
    void yRangeHysteresis_data() {
        Row::Column();
        QTest::newRow("the first batch sets both ends") << "- | -1.5 -0.5 | -1.5 -0.5";
        QTest::newRow("widens at once") << "- | 0 10, -1 11 | -1 11";
        QTest::newRow("max a tenth of the span lower is ignored") << "- | 0 10, 0 9 | 0 10";
        QTest::newRow("max more than a tenth lower narrows") << "- | 0 10, 0 8.75 | 0 8.75";
        QTest::newRow("min more than a tenth higher narrows") << "- | 0 10, 1.25 10 | 1.25 10";
        QTest::newRow("large values hold still") << "- | -1000 1000, -950 950 | -1000 1000";
        QTest::newRow("small values follow") << "- | 0 1, 0 0.5 | 0 0.5";
        QTest::newRow("small steps do not add up") << "- | 0 10, 0 9.5, 0 9.5, 0 9.5 | 0 10";
        QTest::newRow("a hidden curve sets nothing") << "1 0 | 0 1 / -1000 1000 | 0 1";
        QTest::newRow("both shown") << "1 1 | 0 1 / -1000 1000 | -1000 1000";
    }
    void yRangeHysteresis() {
        const QStringList f = Row::Fields();
        watch(0, 2);
        watch(1, 2);
        DataSource source;
        if (f[0] != "-")
            source.SetRows({{"", 0, 2, f[0].startsWith('1')}, {"", 0, 2, f[0].endsWith('1')}});
        for (const QString& batch : f[1].split(", ")) {
            Batch points;
            for (const QString& variable : batch.split(" / "))
                points << batchOf({variable.split(' ')[0].toDouble(), variable.split(' ')[1].toDouble()});
            source.Display(points, QVector<QVector<float>>(points.size()));
        }
        QCOMPARE(QString("%1 %2").arg(double(source.YMin()), 0, 'g', 9).arg(double(source.YMax()), 0, 'g', 9),
                 f[2]);
    }
    // Null series | series index | the rolling index after each of several calls
    void update_data() {
        Row::Column();
        QTest::newRow("cycles over the points") << "0 | 0 | 0 1 2 0 1 2 0";
        QTest::newRow("null series") << "1 | 0 | -1";
        QTest::newRow("index below range") << "0 | -1 | -1";
        QTest::newRow("empty point vector") << "0 | 1 | -1";
    }
    void update() {
        const QStringList f = Row::Fields(), seen = f[2].split(' ');
        const bool nullSeries = f[0] == "1";
        const int index = f[1].toInt();
        watch(0, 1);
        watch(1, 1);
        DataSource source;
        source.Display({{QPointF(0, 1), QPointF(1, 2), QPointF(2, 3)}, {}}, QVector<QVector<float>>(2));
        QLineSeries series;
        series.append(9, 9);
        QStringList actual;
        for (int i = 0; i < seen.size(); ++i) {
            source.Update(nullSeries ? nullptr : &series, index);
            actual << QString::number(source.UpdateIndex());
        }
        QCOMPARE(actual, seen);
        QCOMPARE(series.pointsVector(),
                 (seen.first() == "-1" ? QVector<QPointF>{QPointF(9, 9)} : source.Points()[0]));
    }
    // zoom index, divisions, run flag, chart refresh | times of the points | X range emitted
    void xRange_data() {
        Row::Column();
        // Zoom 0 is 10 us per division.
        QTest::newRow("span inside the step") << "0 9 0 1 | 20 40 60 | 20 61";
        QTest::newRow("span longer than the step") << "0 9 0 1 | 0 100 200 | 111 201";
        QTest::newRow("span equal to the step") << "0 9 0 1 | 0 89 | 0 90";
        QTest::newRow("divisions from the chart width") << "3 14 0 1 | 0 5000 | 3601 5001";
        QTest::newRow("20 ms per division") << "10 9 0 1 | 0 500000 | 320001 500001";
        QTest::newRow("deepest time base") << "22 19 0 1 | 0 1000000 | 0 1000001";
        QTest::newRow("stopped: no X range") << "0 9 1 1 | 0 100 | ";
        QTest::newRow("refresh off: curves kept") << "0 9 0 0 | 0 100 | ";
        QTest::newRow("past 35 minutes") << "0 9 0 1 | 3000000000 3000000050 | 3000000000 3000000051";
    }
    void xRange() {
        const QStringList f = Row::Fields();
        const QStringList c = f[0].split(' ');
        CommonCfg::SetZoomIndex(c[0].toInt());
        CommonCfg::SetChartDivisions(c[1].toInt());
        CommonCfg::SetRunFlag(c[2].toInt());
        CommonCfg::SetChartRefresh(c[3] == "1");
        watch(0, 1);
        DataSource source;
        QLineSeries series;
        source.SetSeries({&series});
        QStringList emitted;
        connect(&source, &DataSource::SetXRange, this, [&emitted](double l, double r) {
            emitted << QString("%1 %2").arg(l, 0, 'g', 10).arg(r, 0, 'g', 10);
        });
        QVector<QPointF> points;
        for (const QString& t : f[1].split(' '))
            points.append(QPointF(t.toDouble(), 1));
        source.Display({points}, {{}});
        QCOMPARE(emitted.join(','), f[2].trimmed());
        // With the refresh off the batch is still taken in, but the curve keeps what it had.
        QCOMPARE(series.count(), c[3] == "1" ? points.size() : 0);
        QCOMPARE(source.Points()[0].size(), points.size());
    }
    // The clock's reading in ms at each drawn batch | label shown ("none": no label set) | frames pending
    void fpsLabel_data() {
        Row::Column();
        QTest::newRow("11 frames in one second")
            << "0 100 200 300 400 500 600 700 800 900 1000 | FPS: 11 | 0";
        QTest::newRow("integer division") << "5000 5500 6999 | FPS: 1 | 0";
        QTest::newRow("under a second shows nothing") << "0 999 |  | 2";
        QTest::newRow("without a label it keeps counting") << "0 1500 3000 | none | 3";
        QTest::newRow("counts again after showing") << "0 1000 1500 | FPS: 2 | 1";
        QTest::newRow("three digits") << QString(250, 'x').replace("x", "0 ") + "1000 | FPS: 251 | 0";
    }
    void fpsLabel() {
        const QStringList f = Row::Fields();
        qint64 now = 0;
        FrameRate::SetClockForTests([&now] { return now; });
        DataSource source;
        QLabel label;
        if (f[1] != "none")
            source.SetFpsLabel(&label);
        for (const QString& t : f[0].split(' ')) {
            now = t.toLongLong();
            source.UpdateAllSeries();
        }
        QCOMPARE(label.text(), f[1] == "none" ? QString() : f[1].trimmed());
        QCOMPARE(FrameRate::PendingFrames(), f[2].toLongLong());
        QVERIFY(label.text().isEmpty() || label.size() == label.sizeHint());
    }
    // call, address | run flag, started | variable that takes offset -7 and scale 0.25 (-1: none)
    void scaling_data() {
        Row::Column();
        QTest::newRow("first variable") << "now 20000000 | 0 1 | 0";
        QTest::newRow("middle variable") << "now 20000010 | 0 1 | 1";
        QTest::newRow("duplicate address: the last one") << "now 20000020 | 0 1 | 3";
        QTest::newRow("unknown address falls back to variable 0") << "now 30000000 | 0 1 | 0";
        QTest::newRow("stopped after a run: stored and redrawn") << "last 20000010 | 1 1 | 1";
        QTest::newRow("sampling: nothing stored") << "last 20000010 | 0 1 | -1";
        QTest::newRow("never started: nothing stored") << "last 20000010 | 1 0 | -1";
    }
    void scaling() {
        const QStringList f = Row::Fields(), call = f[0].split(' '), state = f[1].split(' ');
        FrameQueue& queue = FrameQueue::instance(); // three frames of four int variables from the last run
        queue.init();
        for (int i = 0; i < 3; ++i) {
            SampleFrame frame{};
            frame.time = 10 * i;
            frame.count = 4;
            for (int v = 0; v < 4; ++v)
                frame.value[v] = 4 + i;
            queue.push(frame);
        }
        const int32_t addresses[] = {0x20000000, 0x20000010, 0x20000020, 0x20000020};
        for (int i = 0; i < 4; ++i)
            watch(i, 1, 1.0f, 0.0f, addresses[i]);
        CommonCfg::SetRunFlag(state[0].toInt());
        DataSource source;
        QLineSeries series[4];
        source.SetSeries({&series[0], &series[1], &series[2], &series[3]});
        source.SetStopped(state[1] == "0");
        if (call[0] == "now")
            source.SetYResolutionAndOffset(call[1].toUInt(nullptr, 16), -7, 0.25);
        else
            source.SetLastDataYResolutionAndOffset(call[1].toUInt(nullptr, 16), -7, 0.25);
        for (int i = 0; i < 4; ++i)
            QCOMPARE(QPointF(watchList().scale[i], watchList().offset[i]),
                     i == f[2].toInt() ? QPointF(0.25, -7) : QPointF(1, 0));
        // (4 + i) x 0.25 - 7: a fractional resolution keeps the fraction of the integer variable.
        const QVector<QPointF> redrawn{QPointF(0, -6), QPointF(10, -5.75), QPointF(20, -5.5)};
        QCOMPARE(series[1].pointsVector(), call[0] == "last" && f[2] == "1" ? redrawn : QVector<QPointF>());
    }
    // The table is told after each batch, the refresh flag off too, and reads the newest values then.
    void tableRefreshedAfterEachBatch() {
        watch(0, 1, 2.0f, 0.0f, 0x20000100);
        DataSource source;
        QStringList seen;
        connect(&source, &DataSource::VarValuesUpdated, this, [&] {
            seen << QString("%1 %2 %3")
                        .arg(source.Points()[0].last().y())
                        .arg(source.MathValues()[0].value(0))
                        .arg(source.MathValues()[0].value(1));
        });
        source.Display(batchOf({1, 5, 3}), {{}});
        CommonCfg::SetChartRefresh(false);
        source.Display({{QPointF(80, 4)}}, {{}});
        QCOMPARE(seen, (QStringList{"6 2 10", "8 8 8"}));
        QCOMPARE(source.GetVarList(), QVector<quint32>{0x20000100u});
        QCOMPARE(source.GetFirstDataTime(), qint64(0));
        QCOMPARE(source.GetLastDataTime(), qint64(80));
    }
    // Scroll start | emitted
    void xBeginRounds_data() {
        Row::Column();
        QTest::newRow("down") << "1234.4 | 1234";
        QTest::newRow("half up") << "1234.5 | 1235";
        QTest::newRow("negative") << "-2.6 | -3";
        QTest::newRow("beyond 32 bits") << "3000000000.4 | 3000000000";
    }
    void xBeginRounds() {
        DataSource source;
        QSignalSpy spy(&source, &DataSource::SetXBegin);
        source.EmitXBegin(Row::Fields()[0].toDouble());
        QCOMPARE(spy.size(), 1);
        QCOMPARE(spy[0][0].toLongLong(), Row::Fields()[1].toLongLong());
    }
};

QTEST_MAIN(DataSourceTest)
#include "tst_datasource.moc"
