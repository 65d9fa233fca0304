// The data source on the GUI thread: the arithmetic of a batch, the Y range, the series refresh,
// the X range, the frame-rate label, the scaling lookup and the table's refresh hook.
#include "CommonCfg.h"
#include "DataSource.h"
#include "DisplayMath.h"
#include "FrameQueue.h"
#include "FrameRate.h"
#include "WatchList.h"

#include <QLabel>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QtCharts/QLineSeries>
#include <QtTest>
#include <cstring>

using QtCharts::QAbstractSeries;
using QtCharts::QLineSeries;

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
QVector<QVector<QPointF>> batchOf(const QVector<double>& values) {
    QVector<QPointF> points;
    for (int i = 0; i < values.size(); ++i)
        points.append(QPointF(i, values[i]));
    return {points};
}

bool sameBits(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Stands in for the variable table: counts refreshes and reads what the data source offers.
class TableProbe : public QWidget {
    Q_OBJECT
public:
    explicit TableProbe(DataSource* source) : m_source(source) {}
    int calls = 0;
    QVector<QVector<QPointF>> seen;
    QVector<QVector<float>> seenMath;
public slots:
    void UpdateVarValue() {
        ++calls;
        seen = m_source->Points();
        seenMath = m_source->MathValues();
    }

private:
    DataSource* m_source;
};

} // namespace

class DataSourceTest : public QObject {
    Q_OBJECT
private slots:
    void init() {
        CommonCfg::ResetForTests();
        watchList() = WatchList();
        FrameRate::ResetForTests();
    }

    void startState();
    void scaledPoint_data();
    void scaledPoint();
    void extremesPerVariableAndOverall();
    void yRangeHysteresis_data();
    void yRangeHysteresis();
    void updateCyclesIndex();
    void updateIgnoresBadInput_data();
    void updateIgnoresBadInput();
    void updateAllSeriesReplacesEachSeries();
    void xRangeShowsNewestStep_data();
    void xRangeShowsNewestStep();
    void chartRefreshOffKeepsCurves();
    void frameRateFormula_data();
    void frameRateFormula();
    void fpsLabelAfterOneSecond();
    void scalingLookup_data();
    void scalingLookup();
    void lastScalingRedrawsOnlyWhenStopped_data();
    void lastScalingRedrawsOnlyWhenStopped();
    void tableRefreshedAfterEachBatch();
    void varListAndTimes();
    void xBeginRounds_data();
    void xBeginRounds();
};

void DataSourceTest::startState() {
    DataSource source;
    QCOMPARE(source.GetFirstDataTime(), std::numeric_limits<qint64>::min());
    QCOMPARE(source.YMax(), 1.17549435e-38f);
    QCOMPARE(source.YMax(), std::numeric_limits<float>::min());
    QCOMPARE(source.YMin(), std::numeric_limits<float>::max());
    QCOMPARE(source.UpdateIndex(), -1);
    QVERIFY(source.IsStopped());
    QVERIFY(source.Points().isEmpty());
    QVERIFY(source.FpsLabel() == nullptr);
}

void DataSourceTest::scaledPoint_data() {
    QTest::addColumn<int>("typeCode");
    QTest::addColumn<float>("scale");
    QTest::addColumn<float>("offset");
    QTest::addColumn<QPointF>("raw");
    QTest::addColumn<QPointF>("drawn");
    QTest::newRow("int 3 x 0.5 truncates") << 1 << 0.5f << 0.0f << QPointF(0, 3) << QPointF(0, 1);
    QTest::newRow("float 3 x 0.5 keeps the fraction")
        << 2 << 0.5f << 0.0f << QPointF(0, 3) << QPointF(0, 1.5);
    QTest::newRow("int -3 x 0.5 toward zero") << 1 << 0.5f << 0.0f << QPointF(0, -3) << QPointF(0, -1);
    QTest::newRow("char -7 x 0.25 toward zero") << 0 << 0.25f << 0.0f << QPointF(0, -7) << QPointF(0, -1);
    QTest::newRow("product before offset") << 1 << 2.0f << 1.0f << QPointF(0, 3) << QPointF(0, 7);
    QTest::newRow("int offset after a fractional product")
        << 1 << 0.1f << -10.0f << QPointF(0, 7) << QPointF(0, -9);
    QTest::newRow("unsigned char pattern stays positive")
        << 0 << 1.0f << -300.0f << QPointF(0, 255) << QPointF(0, -45);
    QTest::newRow("other floating type scaled") << 3 << 2.0f << 0.5f << QPointF(0, 1.25) << QPointF(0, 3.0);
    QTest::newRow("float result narrowed to single")
        << 2 << 0.1f << 0.0f << QPointF(0, 1) << QPointF(0, double(0.1f));
    QTest::newRow("scaled int beyond 32 bits")
        << 1 << 4.0f << 0.0f << QPointF(0, 2e9) << QPointF(0, -2147483648.0);
    QTest::newRow("time truncated") << 2 << 1.0f << 0.0f << QPointF(12.9, 1) << QPointF(12, 1);
    QTest::newRow("negative time toward zero") << 2 << 1.0f << 0.0f << QPointF(-7.5, 1) << QPointF(-7, 1);
    QTest::newRow("time beyond 32 bits") << 2 << 1.0f << 0.0f << QPointF(3e9, 1) << QPointF(-2147483648.0, 1);
}

void DataSourceTest::scaledPoint() {
    QFETCH(int, typeCode);
    QFETCH(float, scale);
    QFETCH(float, offset);
    QFETCH(QPointF, raw);
    QFETCH(QPointF, drawn);
    watch(0, typeCode, scale, offset);
    DataSource source;
    source.Display({{raw}}, {{}});
    const auto points = source.Points();
    QCOMPARE(points.size(), 1);
    QCOMPARE(points[0].size(), 1);
    const QPointF p = points[0][0];
    QVERIFY2(sameBits(p.x(), drawn.x()) && sameBits(p.y(), drawn.y()),
             qPrintable(QString("(%1, %2)").arg(p.x(), 0, 'g', 17).arg(p.y(), 0, 'g', 17)));
    QCOMPARE(source.MathValues()[0], (QVector<float>{float(drawn.y()), float(drawn.y())}));
}

void DataSourceTest::extremesPerVariableAndOverall() {
    watch(0, 1);
    watch(1, 2, 0.5f);
    watch(2, 1);
    DataSource source;
    QSignalSpy yRange(&source, &DataSource::SetYRange);
    const QVector<QVector<QPointF>> batch{
        {QPointF(0, 4), QPointF(1, -2), QPointF(2, 9), QPointF(3, 4)},
        {QPointF(0, -30), QPointF(1, 1)},
        {},
    };
    source.Display(batch, QVector<QVector<float>>(3));
    const auto math = source.MathValues();
    QCOMPARE(math.size(), 3);
    QCOMPARE(math[0], (QVector<float>{-2, 9}));
    QCOMPARE(math[1], (QVector<float>{-15, 0.5}));
    QVERIFY(math[2].isEmpty());
    QCOMPARE(source.YMin(), -15.0f);
    QCOMPARE(source.YMax(), 9.0f);
    QCOMPARE(yRange.size(), 1);
    QCOMPARE(yRange[0][0].toDouble(), -15.5);
    QCOMPARE(yRange[0][1].toDouble(), 9.5);
}

void DataSourceTest::yRangeHysteresis_data() {
    // Each batch is {min, max} of one float variable, shown in turn.
    QTest::addColumn<QVector<QVector<double>>>("batches");
    QTest::addColumn<float>("yMin");
    QTest::addColumn<float>("yMax");
    const float tiny = DisplayMath::kYMaxStart;
    QTest::newRow("all negative within 2 keeps the tiny start")
        << QVector<QVector<double>>{{-1.5, -0.5}} << -1.5f << tiny;
    QTest::newRow("all negative up to zero keeps the tiny start")
        << QVector<QVector<double>>{{-2, 0}} << -2.0f << tiny;
    QTest::newRow("a drop below -2 moves the maximum")
        << QVector<QVector<double>>{{-3, -2.5}} << -3.0f << -2.5f;
    QTest::newRow("widens at once") << QVector<QVector<double>>{{0, 10}, {-1, 11}} << -1.0f << 11.0f;
    QTest::newRow("max 1.5 lower is ignored") << QVector<QVector<double>>{{0, 10}, {0, 8.5}} << 0.0f << 10.0f;
    QTest::newRow("max exactly 2 lower is ignored")
        << QVector<QVector<double>>{{0, 10}, {0, 8}} << 0.0f << 10.0f;
    QTest::newRow("max 2.5 lower narrows") << QVector<QVector<double>>{{0, 10}, {0, 7.5}} << 0.0f << 7.5f;
    QTest::newRow("min 1.5 higher is ignored")
        << QVector<QVector<double>>{{0, 10}, {1.5, 10}} << 0.0f << 10.0f;
    QTest::newRow("min 2.5 higher narrows") << QVector<QVector<double>>{{0, 10}, {2.5, 10}} << 2.5f << 10.0f;
    QTest::newRow("small steps do not add up")
        << QVector<QVector<double>>{{0, 10}, {0, 8.5}, {0, 8.5}, {0, 8.5}} << 0.0f << 10.0f;
}

void DataSourceTest::yRangeHysteresis() {
    QFETCH(QVector<QVector<double>>, batches);
    QFETCH(float, yMin);
    QFETCH(float, yMax);
    watch(0, 2);
    DataSource source;
    for (const QVector<double>& b : batches)
        source.Display(batchOf(b), {{}});
    QCOMPARE(source.YMin(), yMin);
    QCOMPARE(source.YMax(), yMax);
}

void DataSourceTest::updateCyclesIndex() {
    watch(0, 1);
    DataSource source;
    source.Display(batchOf({1, 2, 3}), {{}});
    QLineSeries series;
    QList<int> seen;
    for (int i = 0; i < 7; ++i) {
        source.Update(&series, 0);
        seen << source.UpdateIndex();
    }
    QCOMPARE(seen, (QList<int>{0, 1, 2, 0, 1, 2, 0}));
    QCOMPARE(series.pointsVector(), source.Points()[0]);
}

void DataSourceTest::updateIgnoresBadInput_data() {
    QTest::addColumn<bool>("nullSeries");
    QTest::addColumn<int>("index");
    QTest::newRow("null series") << true << 0;
    QTest::newRow("index below range") << false << -1;
    QTest::newRow("index past the points") << false << 2;
    QTest::newRow("empty point vector") << false << 1;
}

void DataSourceTest::updateIgnoresBadInput() {
    QFETCH(bool, nullSeries);
    QFETCH(int, index);
    watch(0, 1);
    watch(1, 1);
    DataSource source;
    source.Display({{QPointF(0, 5)}, {}}, QVector<QVector<float>>(2));
    QLineSeries series;
    series.append(9, 9);
    source.Update(nullSeries ? nullptr : &series, index);
    QCOMPARE(series.pointsVector(), (QVector<QPointF>{QPointF(9, 9)}));
    QCOMPARE(source.UpdateIndex(), -1);
}

void DataSourceTest::updateAllSeriesReplacesEachSeries() {
    watch(0, 1);
    watch(1, 2);
    DataSource source;
    QLineSeries a;
    QLineSeries b;
    auto* gone = new QLineSeries;
    source.SetSeries({&a, &b, gone});
    delete gone; // a series the chart dropped is skipped
    source.Display({{QPointF(0, 1), QPointF(1, 2)}, {QPointF(0, 5)}}, QVector<QVector<float>>(2));
    QCOMPARE(a.pointsVector(), (QVector<QPointF>{QPointF(0, 1), QPointF(1, 2)}));
    QCOMPARE(b.pointsVector(), (QVector<QPointF>{QPointF(0, 5)}));
    // Only series 0 advances the rolling index.
    QCOMPARE(source.UpdateIndex(), 0);
    // Index 1 has one point, which is not more than the index 1 reached next: back to 0.
    source.UpdateAllSeries();
    QCOMPARE(source.UpdateIndex(), 0);
}

void DataSourceTest::xRangeShowsNewestStep_data() {
    QTest::addColumn<int>("zoomIndex");
    QTest::addColumn<int>("divisions");
    QTest::addColumn<int>("runFlag");
    QTest::addColumn<QVector<double>>("times");
    QTest::addColumn<bool>("emitted");
    QTest::addColumn<double>("left");
    QTest::addColumn<double>("right");
    // Zoom 0 is 10 us per division.
    QTest::newRow("span inside the step")
        << 0 << 9 << 0 << QVector<double>{20, 40, 60} << true << 20.0 << 61.0;
    QTest::newRow("span longer than the step")
        << 0 << 9 << 0 << QVector<double>{0, 100, 200} << true << 111.0 << 201.0;
    QTest::newRow("span equal to the step") << 0 << 9 << 0 << QVector<double>{0, 89} << true << 0.0 << 90.0;
    QTest::newRow("divisions from the chart width")
        << 3 << 14 << 0 << QVector<double>{0, 5000} << true << 3601.0 << 5001.0;
    QTest::newRow("deepest time base")
        << 22 << 19 << 0 << QVector<double>{0, 1e6} << true << 0.0 << 1000001.0;
    QTest::newRow("stopped: no X range") << 0 << 9 << 1 << QVector<double>{0, 100} << false << 0.0 << 0.0;
}

void DataSourceTest::xRangeShowsNewestStep() {
    QFETCH(int, zoomIndex);
    QFETCH(int, divisions);
    QFETCH(int, runFlag);
    QFETCH(QVector<double>, times);
    QFETCH(bool, emitted);
    CommonCfg::SetZoomIndex(zoomIndex);
    CommonCfg::SetChartDivisions(divisions);
    CommonCfg::SetRunFlag(runFlag);
    watch(0, 1);
    DataSource source;
    QLineSeries series;
    source.SetSeries({&series});
    QSignalSpy xRange(&source, &DataSource::SetXRange);
    QVector<QPointF> points;
    for (double t : times)
        points.append(QPointF(t, 1));
    source.Display({points}, {{}});
    QCOMPARE(xRange.size(), emitted ? 1 : 0);
    if (emitted) {
        QFETCH(double, left);
        QFETCH(double, right);
        QCOMPARE(xRange[0][0].toDouble(), left);
        QCOMPARE(xRange[0][1].toDouble(), right);
    }
}

void DataSourceTest::chartRefreshOffKeepsCurves() {
    CommonCfg::SetRunFlag(0);
    CommonCfg::SetChartRefresh(false);
    watch(0, 1);
    DataSource source;
    QLineSeries series;
    source.SetSeries({&series});
    QSignalSpy xRange(&source, &DataSource::SetXRange);
    QSignalSpy yRange(&source, &DataSource::SetYRange);
    source.Display(batchOf({1, 2}), {{}});
    QCOMPARE(series.count(), 0);
    QCOMPARE(xRange.size(), 0);
    QCOMPARE(yRange.size(), 0);
    // The batch is still taken in.
    QCOMPARE(source.Points()[0].size(), 2);
    QCOMPARE(source.YMax(), 2.0f);
}

void DataSourceTest::frameRateFormula_data() {
    QTest::addColumn<qint64>("frames");
    QTest::addColumn<qint64>("elapsed");
    QTest::addColumn<QString>("text");
    QTest::newRow("15 in one second") << qint64(15) << qint64(1000) << "FPS: 15";
    QTest::newRow("integer division") << qint64(31) << qint64(1999) << "FPS: 15";
    QTest::newRow("just under one") << qint64(1) << qint64(1001) << "FPS: 0";
    QTest::newRow("sixty") << qint64(121) << qint64(2000) << "FPS: 60";
    QTest::newRow("three digits") << qint64(250) << qint64(1000) << "FPS: 250";
}

void DataSourceTest::frameRateFormula() {
    QFETCH(qint64, frames);
    QFETCH(qint64, elapsed);
    QFETCH(QString, text);
    QCOMPARE(FrameRate::LabelText(FrameRate::Rate(frames, elapsed)), text);
}

void DataSourceTest::fpsLabelAfterOneSecond() {
    DataSource source;
    // Without a label the meter keeps counting past the second.
    QElapsedTimer clock;
    clock.start();
    int calls = 0;
    while (clock.elapsed() < 1100) {
        source.UpdateAllSeries();
        ++calls;
        QTest::qWait(20);
    }
    QCOMPARE(FrameRate::PendingFrames(), qint64(calls));

    FrameRate::ResetForTests();
    QLabel label;
    source.SetFpsLabel(&label);
    clock.restart();
    calls = 0;
    while (label.text().isEmpty() && clock.elapsed() < 3000) {
        source.UpdateAllSeries();
        ++calls;
        if (label.text().isEmpty())
            QVERIFY(clock.elapsed() < 1500);
        QTest::qWait(20);
    }
    QVERIFY(clock.elapsed() >= 1000);
    const QRegularExpressionMatch m = QRegularExpression("^FPS: (\\d+)$").match(label.text());
    QVERIFY2(m.hasMatch(), qPrintable(label.text()));
    // Every call fell within the measured span: calls x 1000 / elapsed, the meter's clock starting
    // a little later than this one.
    const int rate = m.captured(1).toInt();
    QVERIFY2(
        rate <= calls && rate >= calls * 1000 / clock.elapsed(),
        qPrintable(QString("%1 after %2 calls in %3 ms").arg(label.text()).arg(calls).arg(clock.elapsed())));
    QCOMPARE(FrameRate::PendingFrames(), qint64(0));
    QCOMPARE(label.size(), label.sizeHint());
}

void DataSourceTest::scalingLookup_data() {
    QTest::addColumn<uint>("address");
    QTest::addColumn<int>("index");
    QTest::newRow("first variable") << 0x20000000u << 0;
    QTest::newRow("middle variable") << 0x20000010u << 1;
    QTest::newRow("duplicate address: the last one") << 0x20000020u << 3;
    QTest::newRow("unknown address falls back to variable 0") << 0x30000000u << 0;
    QTest::newRow("address zero unknown") << 0u << 0;
}

void DataSourceTest::scalingLookup() {
    QFETCH(uint, address);
    QFETCH(int, index);
    const int32_t addresses[] = {0x20000000, 0x20000010, 0x20000020, 0x20000020};
    for (int i = 0; i < 4; ++i)
        watch(i, 1, 1.0f, 0.0f, addresses[i]);
    DataSource source;
    source.SetYResolutionAndOffset(address, -7, 0.25);
    for (int i = 0; i < 4; ++i) {
        QCOMPARE(watchList().scale[i], i == index ? 0.25f : 1.0f);
        QCOMPARE(watchList().offset[i], i == index ? -7.0f : 0.0f);
    }
}

void DataSourceTest::lastScalingRedrawsOnlyWhenStopped_data() {
    QTest::addColumn<int>("runFlag");
    QTest::addColumn<bool>("started");
    QTest::addColumn<bool>("applied");
    QTest::newRow("stopped after a run: stored and redrawn") << 1 << true << true;
    QTest::newRow("sampling: nothing stored") << 0 << true << false;
    QTest::newRow("never started: nothing stored") << 1 << false << false;
}

void DataSourceTest::lastScalingRedrawsOnlyWhenStopped() {
    QFETCH(int, runFlag);
    QFETCH(bool, started);
    QFETCH(bool, applied);
    // The queue keeps three frames of one int variable from the last run.
    FrameQueue& queue = FrameQueue::instance();
    queue.init();
    for (int i = 0; i < 3; ++i) {
        SampleFrame f{};
        f.time = 10 * i;
        f.count = 1;
        f.typeCode[0] = 1;
        f.value[0] = 4 + i;
        queue.push(f);
    }
    watch(0, 1, 1.0f, 0.0f, 0x20000004);
    CommonCfg::SetRunFlag(runFlag);
    DataSource source;
    QLineSeries series;
    source.SetSeries({&series});
    source.SetStopped(!started);
    source.SetLastDataYResolutionAndOffset(0x20000004, 100, 2.0);
    QCOMPARE(watchList().scale[0], applied ? 2.0f : 1.0f);
    QCOMPARE(watchList().offset[0], applied ? 100.0f : 0.0f);
    if (applied)
        QCOMPARE(series.pointsVector(),
                 (QVector<QPointF>{QPointF(0, 108), QPointF(10, 110), QPointF(20, 112)}));
    else
        QCOMPARE(series.count(), 0);
}

void DataSourceTest::tableRefreshedAfterEachBatch() {
    watch(0, 1, 2.0f);
    DataSource source;
    TableProbe table(&source);
    source.Display(batchOf({1}), {{}}); // no table registered yet
    CommonCfg::SetVarTable(&table);
    source.Display(batchOf({1, 5, 3}), {{}});
    QCOMPARE(table.calls, 1);
    QCOMPARE(table.seen[0].last().y(), 6.0);
    QCOMPARE(table.seenMath[0], (QVector<float>{2, 10}));
    CommonCfg::SetChartRefresh(false);
    source.Display(batchOf({4}), {{}});
    QCOMPARE(table.calls, 2);
    QCOMPARE(table.seen[0].last().y(), 8.0);
}

void DataSourceTest::varListAndTimes() {
    watch(0, 1, 1.0f, 0.0f, 0x20000100);
    watch(1, 2, 1.0f, 0.0f, 0x20000200);
    DataSource source;
    source.Display({{QPointF(40, 1), QPointF(60, 1)}, {QPointF(40, 1), QPointF(60, 1)}},
                   QVector<QVector<float>>(2));
    QCOMPARE(source.GetVarList(), (QVector<quint32>{0x20000100u, 0x20000200u}));
    QCOMPARE(source.GetFirstDataTime(), qint64(40));
    QCOMPARE(source.GetLastDataTime(), qint64(60));
    source.Display({{QPointF(80, 1)}, {QPointF(80, 1)}}, QVector<QVector<float>>(2));
    QCOMPARE(source.GetFirstDataTime(), qint64(40));
    QCOMPARE(source.GetLastDataTime(), qint64(80));
}

void DataSourceTest::xBeginRounds_data() {
    QTest::addColumn<double>("begin");
    QTest::addColumn<int>("emitted");
    QTest::newRow("down") << 1234.4 << 1234;
    QTest::newRow("half up") << 1234.5 << 1235;
    QTest::newRow("negative half") << -2.5 << -2;
    QTest::newRow("negative") << -2.6 << -3;
}

void DataSourceTest::xBeginRounds() {
    QFETCH(double, begin);
    QFETCH(int, emitted);
    DataSource source;
    QSignalSpy spy(&source, &DataSource::SetXBegin);
    source.EmitXBegin(begin);
    QCOMPARE(spy.size(), 1);
    QCOMPARE(spy[0][0].toInt(), emitted);
}

QTEST_MAIN(DataSourceTest)
#include "tst_datasource.moc"
