// The capture run: tidewatch-capture writing every frame of the demo firmware to a file, as a user runs it,
// watched from outside: the lines of its file and its resident memory.
#include "FileFollower.h"
#include "FrameQueue.h"
#include "SimChild.h"
#include "SoakRun.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <cstdio>

namespace Soak {

int RunCapture(const Options& options) {
    RunFigures run;
    run.title = QStringLiteral("capture run");
    const QDir out(options.outDir);
    QString error;
    if (!ListDemoVariables(options.outDir, &error)) {
        std::fprintf(stderr, "bench_soak: %s\n", qPrintable(error));
        return 2;
    }
    Sim::SimChild sim;
    if (!sim.Start(SimProgram(), {DemoElf()})) {
        std::fprintf(stderr, "bench_soak: the simulator did not start:\n%s\n", sim.Output().constData());
        return 2;
    }
    run.file = out.filePath(QStringLiteral("capture.csv"));
    QFile::remove(run.file);
    const QStringList arguments =
        QStringList{QStringLiteral("--port"),     QString::number(sim.Port()),
                    QStringLiteral("--symbols"),  out.filePath(QStringLiteral("elf.json")),
                    QStringLiteral("--interval"), QString::number(options.intervalUs),
                    QStringLiteral("--duration"), QString::number(options.seconds),
                    QStringLiteral("--output"),   run.file} +
        Variables();
    std::printf("%s: tidewatch-capture %s\n", qPrintable(run.title), qPrintable(arguments.join(' ')));
    PrintProgressHeading(false);

    QProcess capture;
    capture.setStandardOutputFile(QProcess::nullDevice());
    capture.start(CaptureProgram(), arguments);
    if (!capture.waitForStarted(10000)) {
        std::fprintf(stderr, "bench_soak: tidewatch-capture did not start\n");
        return 2;
    }
    const qint64 pid = capture.processId();
    FileFollower follower(run.file);
    QElapsedTimer clock;
    clock.start();
    double nextLine = options.everySeconds;
    double lineBefore = 0, cpuBefore = 0;
    // The tool ends by itself after --duration; a minute more is a hang.
    while (!capture.waitForFinished(250) && capture.state() != QProcess::NotRunning) {
        const double seconds = clock.elapsed() / 1000.0;
        if (seconds > options.seconds + 60) {
            run.failure = QStringLiteral("tidewatch-capture did not end; killed");
            capture.kill();
            capture.waitForFinished(5000);
            break;
        }
        const double resident = ResidentMb(pid);
        const double cpu = CpuSeconds(pid);
        const uint64_t lines = follower.Lines();
        if (resident < 0 || seconds >= options.seconds)
            continue; // ending: the figures of the run are taken
        run.NoteResident(resident, lines, seconds);
        run.cpuPercent = 100 * cpu / seconds;
        if (seconds >= nextLine) {
            Progress p;
            p.seconds = seconds;
            p.recorded = lines;
            p.residentMb = resident;
            p.cpuPercent = 100 * (cpu - cpuBefore) / (seconds - lineBefore);
            p.load = LoadAverage();
            cpuBefore = cpu;
            lineBefore = seconds;
            run.progress << p;
            PrintProgress(p, false);
            nextLine += options.everySeconds;
        }
    }
    const QString messages = QString::fromLocal8Bit(capture.readAllStandardError());
    static const QRegularExpression summary(QStringLiteral(
        "tidewatch-capture: (\\d+) frames in ([\\d.]+) s[^\\n]*?(?:, (\\d+) frames lost)?\\n"));
    const QRegularExpressionMatch m = summary.match(messages);
    if (!m.hasMatch() && run.failure.isEmpty())
        run.failure = QStringLiteral("no summary from tidewatch-capture: %1").arg(messages.trimmed());
    else if (capture.exitStatus() != QProcess::NormalExit || capture.exitCode() != 0)
        run.failure = QStringLiteral("tidewatch-capture ended with %1: %2")
                          .arg(capture.exitCode())
                          .arg(messages.trimmed());
    run.recorderWritten = m.captured(1).toULongLong();
    run.seconds = m.captured(2).toDouble();
    run.recorderLost = m.captured(3).toULongLong();
    run.received = run.recorderWritten + run.recorderLost;
    run.receivedHow = QStringLiteral("the tool's count: its frames written and lost");
    sim.Stop();
    run.sim = ParseSimOutput(sim.Output());
    return PrintReport(options, run);
}

} // namespace Soak
