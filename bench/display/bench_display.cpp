// The display in a real window (run it under Xvfb): the chart widget with 16 curves fed by the real
// display worker at 60 ticks a second from a full 1,000,000-frame ring at the deepest time base,
// while a stand-in reader keeps adding frames. The ring's frames are spread over the whole visible
// span (9 divisions of 200 s, the most the 32-bit time base of the curves holds), so that every pixel
// column of the plot has samples: the most the column reduction has to keep. The same window with 16
// two-point curves is the ceiling of this chart on this machine, and a third case runs a trigger on every
// frame; the three take turns in half-second slices. Prints the batches each case takes in per second (what
// its "FPS: %0" label counts), `ratio: X.XX` (paints of the curves' layer per second, full / ceiling: the
// label counts batches taken in, not pictures drawn), and the time from a sample's arrival in the ring to
// the end of the first paint that draws it. Writes a picture of the full and the ceiling case. With
// --min-ratio R it fails (exit 1) when the ratio is below R: the test command's guard against a build that
// draws full curves far too slowly.
//   xvfb-run -a -s "-screen 0 1280x800x24" bench_display [--seconds S] [--out DIR] [--min-ratio R]
#include "ChartWidget.h"
#include "CommonCfg.h"
#include "DataSource.h"
#include "FrameQueue.h"
#include "FrameRate.h"
#include "GetData.h"
#include "TriggerWatch.h"
#include "VarChartView.h"
#include "WatchList.h"

#include <QApplication>
#include <QCheckBox>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QLabel>
#include <QScreen>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace {

constexpr int kVars = 16;
constexpr uint32_t kFrames = 1000000;
constexpr uint64_t kStepUs = 1800; // 1,000,000 frames over 9 x 200 s
constexpr uint64_t kFramesPerSecond = 1000000 / kStepUs;
constexpr uint64_t kMaxFed = 64 * kFramesPerSecond;

QElapsedTimer g_clock;
// Arrival time in the ring (ns on g_clock) of frame kFrames + k; written before the frame is pushed.
std::vector<qint64> g_arrival(kMaxFed, 0);

// Frame number i: 16 variables of mixed types, all moving, with noise so each pixel column holds a
// real spread of values.
void MakeFrame(uint64_t i, SampleFrame& frame) {
    frame.count = kVars;
    frame.time = kStepUs * i;
    for (int v = 0; v < kVars; ++v) {
        const float wave =
            std::sin(i * 0.0002f + v) * 100.0f + static_cast<float>((i * 2654435761u >> 20) % 7);
        uint32_t word = static_cast<uint32_t>(static_cast<int32_t>(wave) + 200);
        if (watchList().typeCode[v] == 2)
            std::memcpy(&word, &wave, sizeof wave);
        frame.value[v] = word;
    }
}

void FillRing() {
    FrameQueue& queue = FrameQueue::instance();
    queue.init();
    WatchList& watch = watchList();
    watch.count = kVars;
    for (int v = 0; v < kVars; ++v) {
        watch.address[v] = 0x20000000 + 4 * v;
        watch.name[v] = QString("v%1").arg(v);
        watch.typeCode[v] = v % 2 ? 2 : 1;
        watch.size[v] = 4;
        watch.scale[v] = 1.0f;
        watch.offset[v] = static_cast<float>(40 * v - 300);
    }
    SampleFrame frame{};
    for (uint32_t i = 0; i < kFrames; ++i) {
        MakeFrame(i, frame);
        queue.push(frame);
    }
}

// Fake table rows: colour cell with "rgb", a ticked show box and a name, as the chart reads them.
struct Rows {
    std::vector<std::unique_ptr<QLabel>> colors;
    std::vector<std::unique_ptr<QCheckBox>> shows;
    std::vector<VarParser::VarDes> vars;
    std::vector<VarTableWidget::LineItem> items;
    QList<VarTableWidget::LineItem*> list;
    Rows() {
        vars.resize(kVars);
        items.resize(kVars);
        for (int v = 0; v < kVars; ++v) {
            colors.emplace_back(new QLabel);
            colors.back()->setProperty("rgb", CommonCfg::Palette().at(v).rgb());
            shows.emplace_back(new QCheckBox);
            shows.back()->setChecked(true);
            // The watch list's variable, so that the row finds its slot.
            vars[v].name = QString("v%1").arg(v);
            vars[v].address = QString::number(0x20000000 + 4 * v, 16);
            vars[v].type = v % 2 ? "float" : "int";
            vars[v].size = 4;
            items[v].colorLabel = colors.back().get();
            items[v].showChkBox = shows.back().get();
            items[v].varDes = &vars[v];
            list << &items[v];
        }
    }
};

// The three cases take turns in short slices of one acquisition, so that a slow spell of the machine
// weighs on each alike and the ratio compares like with like.
enum Case { kFull, kCeiling, kTrigger, kCases };

struct Result {
    double batchesPerSecond = 0; // taken in by the data source: what the "FPS: %0" label counts
    double paintsPerSecond = 0;
    double cpuMsPerPaint = 0; // every thread of the process, the software rasterizer's included
    double guiCpuMsPerPaint = 0; // the GUI thread's alone: what bounds the paints a second
    QVector<double> latencies;
    QVector<double> toReceived; // arrival to the batch reaching the GUI thread
    QVector<double> displayMs;  // Display with the replaces
    QVector<double> toEmitted;  // arrival to the worker's emit of the batch
    QVector<double> paintMs;    // the window's repaints
    // Sums over the measured parts of the case's slices.
    double ms = 0;
    double cpuMs = 0;
    double guiCpuMs = 0;
    int paints = 0;
    int batches = 0;
};

// CPU time of the whole process so far: unlike paints per second, its share per paint hardly depends on
// what else the machine runs.
double CpuMs() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
}

// CPU time of the calling thread so far.
double ThreadCpuMs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

double Quantile(QVector<double> v, double q) {
    if (v.isEmpty())
        return 0;
    std::sort(v.begin(), v.end());
    return v[std::min<int>(v.size() - 1, static_cast<int>(q * (v.size() - 1) + 0.5))];
}

// Paints of the chart view: each ends the wait of the newest batch handed to the data source.
class PaintWatch : public QObject {
public:
    QWidget* view = nullptr;
    qint64 pendingArrival = -1;
    QVector<double>* latencies = nullptr;
    int glPaints = 0;                   // paints of the OpenGL layer that draws the curves
    QVector<double>* paintMs = nullptr; // the window's repaints on the GUI thread
    bool eventFilter(QObject* object, QEvent* event) override {
        // A window repaints in one update request; a zero timer runs once it is over.
        if (event->type() == QEvent::UpdateRequest && object->isWidgetType() &&
            static_cast<QWidget*>(object)->isWindow()) {
            const qint64 start = g_clock.nsecsElapsed();
            QTimer::singleShot(0, this, [this, start] {
                if (paintMs != nullptr)
                    paintMs->append((g_clock.nsecsElapsed() - start) / 1e6);
            });
        }
        auto* widget = qobject_cast<QWidget*>(object);
        if (event->type() == QEvent::Paint && widget != nullptr && widget->inherits("QOpenGLWidget"))
            ++glPaints;
        if (event->type() == QEvent::Paint && widget != nullptr && pendingArrival >= 0 &&
            (widget == view || view->isAncestorOf(widget))) {
            const qint64 arrival = pendingArrival;
            pendingArrival = -1;
            // A zero timer runs once this paint has finished.
            QTimer::singleShot(0, this, [this, arrival] {
                if (latencies != nullptr)
                    latencies->append((g_clock.nsecsElapsed() - arrival) / 1e6);
            });
        }
        return false;
    }
};

void SavePicture(QWidget& window, const QString& dir, const QString& name) {
    QCoreApplication::processEvents();
    const QPixmap shot = window.screen()->grabWindow(window.winId());
    const QString path = QDir(dir).filePath(name + ".png");
    QDir().mkpath(dir);
    if (shot.save(path, "PNG"))
        std::printf("picture: %s\n", qPrintable(QDir::toNativeSeparators(path)));
}

// Runs the cases in turns, each for `seconds` in all after a warm-up, and writes their pictures to `out`.
void RunCases(ChartWidget& chart, PaintWatch& watch, int seconds, const QString& out,
              Result (&results)[kCases]) {
    DataSource* source = chart.GetDataSource();
    GetData* worker = source->Worker();
    std::atomic<int> current{kFull};
    bool measuring = false;
    QObject::disconnect(worker, &GetData::DataSignal, source, nullptr);
    const QMetaObject::Connection feed = QObject::connect(
        worker, &GetData::DataSignal, source,
        [&](QVector<QVector<QPointF>> data, QVector<QVector<float>> math) {
            Result& result = results[current.load()];
            const qint64 received = g_clock.nsecsElapsed();
            if (current.load() == kCeiling)
                for (QVector<QPointF>& points : data)
                    if (points.size() > 2)
                        points = {points.first(), points.last()};
            if (!data.isEmpty() && !data[0].isEmpty()) {
                const qint64 frame =
                    static_cast<qint64>(data[0].last().x()) / static_cast<qint64>(kStepUs) - kFrames;
                if (frame >= 0 && frame < static_cast<qint64>(kMaxFed) && g_arrival[frame] > 0) {
                    watch.pendingArrival = g_arrival[frame];
                    if (measuring)
                        result.toReceived << (received - g_arrival[frame]) / 1e6;
                }
            }
            source->Display(data, math);
            if (measuring) {
                result.displayMs << (g_clock.nsecsElapsed() - received) / 1e6;
                ++result.batches;
            }
        },
        Qt::QueuedConnection);
    // On the worker's thread, as it emits: how much of the way is the worker's drain.
    std::atomic<bool> measuringEmits{false};
    const QMetaObject::Connection emitted = QObject::connect(
        worker, &GetData::DataSignal, worker,
        [&](const QVector<QVector<QPointF>>& data, const QVector<QVector<float>>&) {
            if (!measuringEmits.load() || data.isEmpty() || data[0].isEmpty())
                return;
            const qint64 frame =
                static_cast<qint64>(data[0].last().x()) / static_cast<qint64>(kStepUs) - kFrames;
            if (frame >= 0 && frame < static_cast<qint64>(kMaxFed) && g_arrival[frame] > 0)
                results[current.load()].toEmitted << (g_clock.nsecsElapsed() - g_arrival[frame]) / 1e6;
        },
        Qt::DirectConnection);

    std::atomic<bool> feeding{true};
    std::thread feeder([&] {
        const qint64 start = g_clock.nsecsElapsed();
        uint64_t next = kFrames;
        SampleFrame frame{};
        while (feeding.load()) {
            const uint64_t due =
                kFrames + static_cast<uint64_t>(g_clock.nsecsElapsed() - start) / (kStepUs * 1000);
            for (; next < due && next - kFrames < kMaxFed; ++next) {
                MakeFrame(next, frame);
                g_arrival[next - kFrames] = g_clock.nsecsElapsed();
                FrameQueue::instance().push(frame);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });

    // A trigger on curve 0 that never fires, in Auto: every arriving frame is looked at on the worker
    // thread and the display runs free, so its case shows what detection costs the full curves.
    TriggerSettings trigger;
    trigger.mode = TriggerMode::Auto;
    trigger.typeCode = watchList().typeCode[0];
    trigger.level = 1e300;
    const auto select = [&](int which) {
        current.store(which);
        TriggerWatch::Instance().Configure(which == kTrigger ? trigger : TriggerSettings());
        if (which == kTrigger)
            TriggerWatch::Instance().Restart();
    };
    const auto wait = [](int ms) {
        QEventLoop loop;
        QTimer::singleShot(ms, &loop, &QEventLoop::quit);
        loop.exec();
    };
    // Each slice settles for a batch or two of its case before it is measured.
    constexpr int kSliceMs = 500;
    constexpr int kSettleMs = 100;
    const auto slice = [&](int which) {
        select(which);
        wait(kSettleMs);
        Result& result = results[which];
        watch.latencies = &result.latencies;
        watch.paintMs = &result.paintMs;
        const int paints = watch.glPaints;
        const double cpu = CpuMs();
        const double guiCpu = ThreadCpuMs();
        QElapsedTimer ran;
        ran.start();
        measuring = true;
        measuringEmits.store(true);
        wait(kSliceMs - kSettleMs);
        measuringEmits.store(false);
        measuring = false;
        watch.latencies = nullptr;
        watch.paintMs = nullptr;
        result.ms += ran.nsecsElapsed() / 1e6;
        result.cpuMs += CpuMs() - cpu;
        result.guiCpuMs += ThreadCpuMs() - guiCpu;
        result.paints += watch.glPaints - paints;
    };

    FrameRate::ResetForTests();
    source->StartAcquisition();
    select(kFull);
    wait(1000); // warm-up
    const int rounds = std::max(1, static_cast<int>(std::ceil(seconds * 1000.0 / (kSliceMs - kSettleMs))));
    for (int round = 0; round < rounds; ++round)
        for (int which = 0; which < kCases; ++which)
            slice(which);
    // The pictures, live, each after a slice of its own.
    select(kFull);
    wait(kSliceMs);
    SavePicture(chart, out, "bench_display_full");
    select(kCeiling);
    wait(kSliceMs);
    SavePicture(chart, out, "bench_display_ceiling");

    source->StopAcquisition();
    TriggerWatch::Instance().Configure(TriggerSettings());
    feeding.store(false);
    feeder.join();
    QObject::disconnect(feed);
    QObject::disconnect(emitted);
    QCoreApplication::processEvents(); // batches still on their way
    QObject::connect(worker, &GetData::DataSignal, source, &DataSource::Display, Qt::QueuedConnection);
    for (Result& result : results) {
        const double measured = result.ms / 1000;
        result.paintsPerSecond = measured > 0 ? result.paints / measured : 0;
        result.batchesPerSecond = measured > 0 ? result.batches / measured : 0;
        result.cpuMsPerPaint = result.cpuMs / std::max(1, result.paints);
        result.guiCpuMsPerPaint = result.guiCpuMs / std::max(1, result.paints);
    }
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({"seconds", "Seconds of each case after one of warm-up (default 5).", "S", "5"});
    parser.addOption({"out", "Folder for the pictures (default: the working folder).", "DIR", "."});
    parser.addOption({"min-ratio", "Fail when the paint ratio is below R (default 0: never).", "R", "0"});
    parser.process(app);
    const int seconds = std::max(1, parser.value("seconds").toInt());
    g_clock.start();

    FillRing();
    CommonCfg::SetZoomIndex(22); // "200s/Div": the whole ring is in view
    CommonCfg::SetFps(60);
    CommonCfg::SetRunFlag(0);
    CommonCfg::SetChartRefresh(true);

    ChartWidget chart;
    QObject::connect(chart.View(), &VarChartView::WidthChanged, &chart, &ChartWidget::ResizeWidth);
    Rows rows;
    chart.ReInitChartShow(rows.list);
    chart.setWindowTitle("Tidewatch display bench");
    // Below 1000 pixels the time axis has its fewest ticks: 9 divisions.
    chart.resize(990, 700);
    chart.show();
    chart.View()->SetZoomIndex(22);
    chart.InitXRange();
    chart.ResizeWidth(chart.View()->width());
    PaintWatch watch;
    watch.view = chart.View();
    app.installEventFilter(&watch);
    QEventLoop settle;
    QTimer::singleShot(300, &settle, &QEventLoop::quit);
    settle.exec();

    Result results[kCases];
    RunCases(chart, watch, seconds, parser.value("out"), results);
    const Result& full = results[kFull];
    const Result& ceiling = results[kCeiling];
    const Result& triggered = results[kTrigger];

    const double tick = 1000.0 / 60;
    std::printf("platform: %s, window %dx%d, %d curves, target 60 fps; the cases take turns in half-second "
                "slices, %d s each\n",
                qPrintable(app.platformName()), chart.width(), chart.height(), kVars, seconds);
    std::printf("batches taken in per second (what the \"FPS: %%0\" label counts): full %.1f, ceiling %.1f\n",
                full.batchesPerSecond, ceiling.batchesPerSecond);
    std::printf(
        "paints of the curves' OpenGL layer per second: full ring at 200s/Div (about 10000 points per "
        "curve) %.1f, two-point curves (ceiling) %.1f\n",
        full.paintsPerSecond, ceiling.paintsPerSecond);
    std::printf("CPU per paint (all threads): full %.1f ms, ceiling %.1f ms, trigger %.1f ms\n",
                full.cpuMsPerPaint, ceiling.cpuMsPerPaint, triggered.cpuMsPerPaint);
    std::printf("CPU per paint on the GUI thread: full %.1f ms, ceiling %.1f ms, trigger %.1f ms\n",
                full.guiCpuMsPerPaint, ceiling.guiCpuMsPerPaint, triggered.guiCpuMsPerPaint);
    const double ratio = ceiling.paintsPerSecond > 0 ? full.paintsPerSecond / ceiling.paintsPerSecond : 0.0;
    std::printf("ratio: %.2f\n", ratio);
    std::printf("a repaint of the window on the GUI thread: full median %.1f ms, p90 %.1f ms; ceiling median "
                "%.1f ms, p90 %.1f ms\n",
                Quantile(full.paintMs, 0.5), Quantile(full.paintMs, 0.9), Quantile(ceiling.paintMs, 0.5),
                Quantile(ceiling.paintMs, 0.9));
    std::printf("arrival to drawn, full ring: median %.1f ms, p90 %.1f ms, max %.1f ms (%.2f / %.2f ticks "
                "of %.1f ms)\n",
                Quantile(full.latencies, 0.5), Quantile(full.latencies, 0.9), Quantile(full.latencies, 1.0),
                Quantile(full.latencies, 0.5) / tick, Quantile(full.latencies, 0.9) / tick, tick);
    std::printf("  of which arrival to the worker's emit: median %.1f ms, p90 %.1f ms; to the GUI thread: "
                "median %.1f "
                "ms; Display with the replaces: median %.1f ms, p90 %.1f ms\n",
                Quantile(full.toEmitted, 0.5), Quantile(full.toEmitted, 0.9), Quantile(full.toReceived, 0.5),
                Quantile(full.displayMs, 0.5), Quantile(full.displayMs, 0.9));
    std::printf("arrival to drawn, ceiling:   median %.1f ms, p90 %.1f ms\n",
                Quantile(ceiling.latencies, 0.5), Quantile(ceiling.latencies, 0.9));
    const double triggerRatio =
        ceiling.paintsPerSecond > 0 ? triggered.paintsPerSecond / ceiling.paintsPerSecond : 0.0;
    std::printf(
        "trigger in Auto on every frame: paints %.1f/s, ratio: %.2f, arrival to drawn median %.1f ms, "
        "p90 %.1f ms (%.2f ticks)\n",
        triggered.paintsPerSecond, triggerRatio, Quantile(triggered.latencies, 0.5),
        Quantile(triggered.latencies, 0.9), Quantile(triggered.latencies, 0.9) / tick);
    const double minRatio = parser.value("min-ratio").toDouble();
    if (ratio < minRatio) {
        std::printf("FAIL: full curves painted at %.2f of the two-point rate, below %.2f\n", ratio, minRatio);
        return 1;
    }
    return 0;
}
