// The window run: the program's main window sampling the demo firmware with Record on, set up from code
// (catalogue, ticked variables, interval) and driven through its own actions: Record (its file dialog
// answered), Start, Stop. Watched from inside: the ring's count, the recorder's, the process's resident
// memory and the display's "FPS" label and curve paints.
#include "Acquisition.h"
#include "ChartWidget.h"
#include "CommonCfg.h"
#include "FrameQueue.h"
#include "MainWindow.h"
#include "RecordControl.h"
#include "SimChild.h"
#include "SoakRun.h"
#include "VarParser.h"
#include "VarTableWidget.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEvent>
#include <QEventLoop>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QTimer>
#include <QWindow>
#include <algorithm>
#include <cstdio>

namespace Soak {

namespace {

// Paints of the layer that draws the curves.
class PaintCounter : public QObject {
public:
    uint64_t paints = 0;
    bool eventFilter(QObject* object, QEvent* event) override {
        if (event->type() == QEvent::Paint && object->inherits("QOpenGLWidget"))
            ++paints;
        return false;
    }
};

// Answers the next file dialog with this name once it shows, as a user types it and presses Return.
void AnswerFileDialog(const QString& path) {
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [poll, path] {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            auto* dialog = qobject_cast<QFileDialog*>(widget);
            auto* name =
                dialog != nullptr ? dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit")) : nullptr;
            if (name == nullptr || !dialog->isVisible())
                continue;
            poll->deleteLater();
            name->setText(path);
            QMetaObject::invokeMethod(dialog, "accept", Qt::QueuedConnection);
            return;
        }
    });
    poll->start(50);
}

// Runs the event loop for up to `ms` or until `done` holds.
template <typename Done> bool Await(int ms, Done done) {
    QElapsedTimer clock;
    clock.start();
    while (!done()) {
        if (clock.elapsed() > ms)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    }
    return true;
}

} // namespace

int RunWindow(const Options& options) {
    RunFigures run;
    run.window = true;
    run.title = QStringLiteral("window run");
    QApplication::setAttribute(Qt::AA_DontUseNativeDialogs); // a dialog this program can answer
    CommonCfg::InitStartup(options.outDir);                  // the debug log beside the recordings
    QString error;
    if (!ListDemoVariables(options.outDir, &error)) {
        std::fprintf(stderr, "bench_soak: %s\n", qPrintable(error));
        return 2;
    }
    VarParser().Parse(QDir(options.outDir).filePath(QStringLiteral("elf.json")));
    for (VarParser::VarDes* des : VarParser::VarList())
        des->selected = Variables().contains(des->name);
    Sim::SimChild sim;
    if (!sim.Start(SimProgram(), {DemoElf()})) {
        std::fprintf(stderr, "bench_soak: the simulator did not start:\n%s\n", sim.Output().constData());
        return 2;
    }
    setSamplingTarget(QStringLiteral("127.0.0.1"), sim.Port());
    CommonCfg::SetInterval(options.intervalUs);

    auto* window = new MainWindow;
    window->resize(1280, 760);
    window->show();
    window->Table()->UpdateTableWithVariableList();
    if (window->Table()->LineItems().size() != Variables().size() || !Await(10000, [window] {
            return window->windowHandle() != nullptr && window->windowHandle()->isExposed();
        })) {
        std::fprintf(stderr, "bench_soak: the window did not come up with its %d rows\n",
                     static_cast<int>(Variables().size()));
        delete window;
        return 2;
    }
    AnswerFileDialog(QDir(options.outDir).filePath(QStringLiteral("window.csv")));
    RecordControl* record = window->Recording();
    record->Action()->trigger(); // asks for the name, in a dialog of its own
    if (record->ChosenFile().isEmpty() || !record->Action()->isChecked()) {
        std::fprintf(stderr, "bench_soak: Record did not take the file name\n");
        delete window;
        return 2;
    }
    std::printf("%s: the main window, %s every %d us for %g s, Record on (%s-*.csv)\n", qPrintable(run.title),
                qPrintable(Variables().join(' ')), options.intervalUs, options.seconds,
                qPrintable(QDir(options.outDir).filePath(QStringLiteral("window"))));
    PrintProgressHeading(true);

    PaintCounter paints;
    qApp->installEventFilter(&paints);
    const qint64 pid = QCoreApplication::applicationPid();
    FrameQueue& ring = FrameQueue::instance();
    const FrameRecorder& recorder = record->Recorder();
    QElapsedTimer clock;
    clock.start();
    window->StartAction()->trigger();
    double nextLine = options.everySeconds;
    uint64_t paintsBefore = 0;
    double lineBefore = 0, cpuBefore = CpuSeconds(pid);
    const double cpuAtStart = cpuBefore;
    double fpsSum = 0, fpsLowest = -1;
    int fpsReadings = 0;
    QEventLoop loop;
    QTimer monitor;
    QObject::connect(&monitor, &QTimer::timeout, [&] {
        const double seconds = clock.elapsed() / 1000.0;
        if (!window->StopAction()->isEnabled()) {
            run.failure = QStringLiteral("sampling stopped by itself: %1").arg(window->StatusLabel()->text());
            loop.quit();
            return;
        }
        const double resident = ResidentMb(pid);
        const double cpu = CpuSeconds(pid);
        const double fps = FpsOf(window->Chart()->FpsLabel()->text());
        if (fps >= 0) {
            fpsSum += fps;
            ++fpsReadings;
            fpsLowest = fpsLowest < 0 ? fps : std::min(fpsLowest, fps);
        }
        const uint64_t received = ring.generation() == samplingGeneration() ? ring.pushed() : 0;
        run.NoteResident(resident, received, seconds);
        run.cpuPercent = 100 * (cpu - cpuAtStart) / seconds;
        if (seconds >= nextLine) {
            Progress p;
            p.seconds = seconds;
            p.received = received;
            p.recorded = recorder.Written();
            p.residentMb = resident;
            p.cpuPercent = 100 * (cpu - cpuBefore) / (seconds - lineBefore);
            p.load = LoadAverage();
            p.fpsMean = fpsReadings > 0 ? fpsSum / fpsReadings : -1;
            if (p.fpsMean > 0)
                p.cpuMsPerBatch = 1000 * (cpu - cpuBefore) / (p.fpsMean * (seconds - lineBefore));
            p.fpsLowest = fpsLowest;
            p.paintsPerSecond = (paints.paints - paintsBefore) / (seconds - lineBefore);
            paintsBefore = paints.paints;
            cpuBefore = cpu;
            lineBefore = seconds;
            fpsSum = 0;
            fpsReadings = 0;
            fpsLowest = -1;
            run.progress << p;
            PrintProgress(p, true);
            nextLine += options.everySeconds;
        }
        if (seconds >= options.seconds)
            loop.quit();
    });
    monitor.start(250);
    loop.exec();
    monitor.stop();
    run.seconds = clock.elapsed() / 1000.0;
    const QString picture = QDir(options.outDir).filePath(QStringLiteral("window-end.png"));
    if (window->grab().save(picture))
        std::printf("  the window before Stop: %s\n", qPrintable(picture));
    if (window->StopAction()->isEnabled())
        window->StopAction()->trigger();
    qApp->removeEventFilter(&paints);
    run.received = ring.pushed();
    run.receivedHow = QStringLiteral("the ring's count of frames pushed");
    run.recorderWritten = recorder.Written();
    run.recorderLost = recorder.Lost();
    run.file = recorder.Path();
    if (recorder.Failed())
        run.failure = QStringLiteral("the recording failed: %1").arg(recorder.Error());
    delete window;
    sim.Stop();
    run.sim = ParseSimOutput(sim.Output());
    return PrintReport(options, run);
}

} // namespace Soak
