// One display tick end to end, without a window: the drain of a full ring at the deepest time base
// with 16 variables, the batch crossing from a worker thread, Display, and the replace into 16 line
// series of a chart. Prints milliseconds per tick (median, p90) and the share of each stage, then
// runs the real display worker at 60 ticks per second and reports what reached the chart.
//   bench_display [--ticks N] [--seconds S]
#include "CommonCfg.h"
#include "DataSource.h"
#include "FrameQueue.h"
#include "FrameRate.h"
#include "GetData.h"
#include "WatchList.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>
#include <QTimer>
#include <QtCharts/QChart>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>

using namespace QtCharts;

namespace {

constexpr int kVars = 16;
constexpr uint32_t kFrames = 1000000;
constexpr uint32_t kDeepestStep = 200000000; // "200s/Div", used as a frame count

double nowMs(const QElapsedTimer& clock) {
    return clock.nsecsElapsed() / 1e6;
}

// Frame number i of a session sampled every 20 us: 16 variables of mixed types, all moving.
void makeFrame(uint64_t i, SampleFrame& frame) {
    const WatchList& watch = watchList();
    frame.count = kVars;
    frame.time = 20ull * i;
    for (int v = 0; v < kVars; ++v) {
        frame.typeCode[v] = watch.typeCode[v];
        if (watch.typeCode[v] == 2) {
            const float f = std::sin(i * 0.001f + v);
            std::memcpy(&frame.value[v], &f, sizeof f);
        } else {
            frame.value[v] = (i + v) & (watch.typeCode[v] == 0 ? 0xff : 0xffff);
        }
    }
}

// Fills the ring as a long session would: 1,000,000 pushes leave 999,999 frames.
uint64_t fillQueue() {
    FrameQueue& queue = FrameQueue::instance();
    queue.init();
    WatchList& watch = watchList();
    watch.count = kVars;
    for (int v = 0; v < kVars; ++v) {
        watch.address[v] = 0x20000000 + 4 * v;
        watch.typeCode[v] = (v % 4 == 2) ? 2 : (v % 4 == 3 ? 0 : 1);
        watch.size[v] = watch.typeCode[v] == 0 ? 1 : 4;
        watch.scale[v] = v % 2 ? 0.5f : 1.0f;
        watch.offset[v] = static_cast<float>(v);
    }
    SampleFrame frame{};
    for (uint32_t i = 0; i < kFrames; ++i) {
        makeFrame(i, frame);
        queue.push(frame);
    }
    return kFrames;
}

// What the reader adds between two ticks at 60 per second when sampling every 20 us.
void pushFrames(uint64_t& next, int n) {
    SampleFrame frame{};
    for (int k = 0; k < n; ++k) {
        makeFrame(next++, frame);
        FrameQueue::instance().push(frame);
    }
}

// The worker side of the instrumented tick: drains on its own thread and sends the batch back.
class Drainer : public QObject {
    Q_OBJECT
public slots:
    void DrainOnce(double requestedMs) {
        const double start = nowMs(*clock);
        const int count = watchList().count;
        QVector<QVector<QPointF>> data(count);
        GetData::Drain(data, true);
        const double drained = nowMs(*clock);
        emit Drained(data, QVector<QVector<float>>(count), requestedMs, start, drained);
    }
signals:
    void Drained(QVector<QVector<QPointF>> data, QVector<QVector<float>> math, double requestedMs,
                 double startMs, double drainedMs);

public:
    const QElapsedTimer* clock = nullptr;
};

struct Stats {
    QVector<double> samples;
    double median() const { return at(0.5); }
    double p90() const { return at(0.9); }
    double at(double q) const {
        if (samples.isEmpty())
            return 0;
        QVector<double> s = samples;
        std::sort(s.begin(), s.end());
        return s[std::min<int>(s.size() - 1, static_cast<int>(std::floor(q * (s.size() - 1) + 0.5)))];
    }
};

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({"ticks", "Instrumented ticks to time (default 60).", "N", "60"});
    parser.addOption({"seconds", "Seconds to run the real worker at 60 fps (default 3).", "S", "3"});
    parser.addOption({"series",
                      "Where the series live: 'opengl' (in a chart, OpenGL drawing, as the chart widget "
                      "makes them; default), 'chart' (in a chart, raster drawing) or 'bare' (in no chart).",
                      "MODE", "opengl"});
    parser.process(app);
    const int ticks = std::max(1, parser.value("ticks").toInt());
    const int seconds = std::max(1, parser.value("seconds").toInt());
    const QString mode = parser.value("series");
    if (mode != "opengl" && mode != "chart" && mode != "bare") {
        std::fprintf(stderr, "--series takes opengl, chart or bare\n");
        return 2;
    }

    QElapsedTimer setup;
    setup.start();
    uint64_t next = fillQueue();
    std::printf("ring filled: %u frames kept of %d variables in %.0f ms\n",
                FrameQueue::instance().historySize(), kVars, setup.elapsed() * 1.0);
    hssSettings().displayDepth.store(kDeepestStep);
    CommonCfg::SetZoomIndex(22);
    CommonCfg::SetChartDivisions(19);
    CommonCfg::SetRunFlag(0);
    CommonCfg::SetChartRefresh(false); // Display and the replace are timed apart below

    QChart chart;
    auto* axisX = new QValueAxis;
    auto* axisY = new QValueAxis;
    chart.addAxis(axisX, Qt::AlignBottom);
    chart.addAxis(axisY, Qt::AlignLeft);
    QList<QAbstractSeries*> series;
    for (int v = 0; v < kVars; ++v) {
        auto* line = new QLineSeries(&chart);
        if (mode != "bare") {
            line->setUseOpenGL(mode == "opengl");
            chart.addSeries(line);
            line->attachAxis(axisX);
            line->attachAxis(axisY);
        }
        series << line;
    }
    DataSource source;
    source.SetSeries(series);
    QObject::connect(&source, &DataSource::SetXRange, axisX,
                     [axisX](double l, double r) { axisX->setRange(l, r); });
    QObject::connect(&source, &DataSource::SetYRange, axisY,
                     [axisY](double l, double r) { axisY->setRange(l, r); });

    QElapsedTimer clock;
    clock.start();
    QThread thread;
    Drainer drainer;
    drainer.clock = &clock;
    drainer.moveToThread(&thread);
    thread.start(QThread::TimeCriticalPriority);

    Stats drain, delivery, display, replace, total;
    int points = 0;
    QEventLoop loop;
    QObject::connect(
        &drainer, &Drainer::Drained, &app,
        [&](const QVector<QVector<QPointF>>& data, const QVector<QVector<float>>& math, double requested,
            double start, double drained) {
            const double received = nowMs(clock);
            source.Display(data, math);
            const double displayed = nowMs(clock);
            source.UpdateAllSeries();
            const double replaced = nowMs(clock);
            drain.samples << drained - start;
            delivery.samples << (start - requested) + (received - drained);
            display.samples << displayed - received;
            replace.samples << replaced - displayed;
            total.samples << replaced - requested;
            points = data.isEmpty() ? 0 : data[0].size();
            loop.quit();
        },
        Qt::QueuedConnection);
    for (int t = 0; t < ticks + 3; ++t) {
        pushFrames(next, 833); // not timed: the reader's share between two ticks
        QMetaObject::invokeMethod(&drainer, "DrainOnce", Qt::QueuedConnection, Q_ARG(double, nowMs(clock)));
        loop.exec();
        if (t == 2) { // the first ticks warm caches and allocators
            for (Stats* s : {&drain, &delivery, &display, &replace, &total})
                s->samples.clear();
        }
    }
    thread.quit();
    thread.wait();

    std::printf("\none tick, %d variables x %d points (skip step %u), %d ticks timed, series: %s\n", kVars,
                points, FrameQueue::instance().historySize() / 10000, ticks, qPrintable(mode));
    std::printf("  %-40s %9s %9s %7s\n", "stage", "median ms", "p90 ms", "share");
    const double sum = drain.median() + delivery.median() + display.median() + replace.median();
    auto row = [&](const char* name, const Stats& s) {
        std::printf("  %-40s %9.3f %9.3f %6.1f%%\n", name, s.median(), s.p90(), 100.0 * s.median() / sum);
    };
    row("GetData::Drain (worker thread)", drain);
    row("DataSignal delivery (queued, 2 hops)", delivery);
    row("Display: scaling, extremes, Y range", display);
    row("UpdateAllSeries: 16 x QLineSeries::replace", replace);
    std::printf("  %-40s %9.3f %9.3f\n", "total per tick", total.median(), total.p90());
    std::printf("  budget at 60 ticks/s: 16.7 ms; median uses %.0f%% of it (%.1f ms headroom)\n",
                100.0 * total.median() / 16.667, 16.667 - total.median());

    // The real worker at 60 fps with a reader stand-in: does the GUI thread keep up?
    CommonCfg::SetChartRefresh(true);
    CommonCfg::SetFps(60);
    FrameRate::ResetForTests();
    DataSource liveSource;
    liveSource.SetSeries(series);
    QObject::connect(&liveSource, &DataSource::SetXRange, axisX,
                     [axisX](double l, double r) { axisX->setRange(l, r); });
    QObject::connect(&liveSource, &DataSource::SetYRange, axisY,
                     [axisY](double l, double r) { axisY->setRange(l, r); });
    GetData* worker = liveSource.Worker();
    std::atomic<int> emitted{0};
    QObject::connect(
        worker, &GetData::DataSignal, worker, [&] { ++emitted; }, Qt::DirectConnection);
    // Display is timed between two receivers queued around it, in connection order.
    Stats live;
    int drawn = 0;
    double before = 0;
    const double end = nowMs(clock) + seconds * 1000.0;
    QObject::disconnect(worker, &GetData::DataSignal, &liveSource, nullptr);
    QObject::connect(
        worker, &GetData::DataSignal, &app, [&] { before = nowMs(clock); }, Qt::QueuedConnection);
    QObject::connect(worker, &GetData::DataSignal, &liveSource, &DataSource::Display, Qt::QueuedConnection);
    QObject::connect(
        worker, &GetData::DataSignal, &app,
        [&] {
            live.samples << nowMs(clock) - before;
            ++drawn;
            if (nowMs(clock) >= end)
                loop.quit();
        },
        Qt::QueuedConnection);
    // A stand-in reader keeps the ring moving at 50,000 frames a second, in 1 ms bursts.
    std::atomic<bool> feeding{true};
    std::thread feeder([&] {
        QElapsedTimer fed;
        fed.start();
        uint64_t due = 0;
        while (feeding.load()) {
            const uint64_t target = static_cast<uint64_t>(fed.nsecsElapsed() / 20000);
            if (target > due) {
                pushFrames(next, static_cast<int>(target - due));
                due = target;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    const double started = nowMs(clock);
    worker->start(QThread::TimeCriticalPriority);
    loop.exec();
    const double ran = nowMs(clock) - started;
    const int sent = emitted.load();
    worker->Stop();
    feeding.store(false);
    feeder.join();
    std::printf("\nreal GetData worker at 60 fps for %.1f s, reader stand-in at 50,000 frames/s:\n",
                ran / 1000);
    std::printf("  %d batches emitted (%.1f/s), %d drawn (%.1f/s), %d still queued at the end\n", sent,
                sent * 1000.0 / ran, drawn, drawn * 1000.0 / ran, sent - drawn);
    std::printf("  Display with 16 replaces on the GUI thread: median %.3f ms, p90 %.3f ms\n", live.median(),
                live.p90());
    return 0;
}

#include "bench_display.moc"
