#include "SoakRun.h"

#include "FrameQueue.h"
#include "RecordedCsv.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace Soak {

QStringList Variables() {
    return {CounterName(),
            QStringLiteral("loop_counter"),
            QStringLiteral("sine_wave"),
            QStringLiteral("follower"),
            QStringLiteral("motor.rpm"),
            QStringLiteral("temperature")};
}

QString DemoElf() {
    return QStringLiteral(TIDEWATCH_DEMO_ELF);
}
QString SimProgram() {
    return QStringLiteral(TIDEWATCH_SIM_BIN);
}
QString CaptureProgram() {
    return QStringLiteral(TIDEWATCH_CAPTURE_BIN);
}

SimFigures ParseSimOutput(const QByteArray& output) {
    static const QRegularExpression line(
        QStringLiteral("sampling stopped: (\\d+) samples taken, (\\d+) dropped \\(buffer full\\), (\\d+) "
                       "slots missed, (\\d+) sent"));
    SimFigures sim;
    // The last session's line: a run has one.
    QRegularExpressionMatchIterator it = line.globalMatch(QString::fromLocal8Bit(output));
    while (it.hasNext()) {
        const QRegularExpressionMatch m = it.next();
        sim.found = true;
        sim.taken = m.captured(1).toULongLong();
        sim.dropped = m.captured(2).toULongLong();
        sim.missed = m.captured(3).toULongLong();
        sim.sent = m.captured(4).toULongLong();
    }
    return sim;
}

double ResidentMb(qint64 pid) {
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
    return -1;
}

double CpuSeconds(qint64 pid) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    // After the command's closing parenthesis: state is field 3, utime and stime fields 14 and 15.
    const QByteArray text = stat.readAll();
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 13)
        return -1;
    return (fields[11].toDouble() + fields[12].toDouble()) / double(sysconf(_SC_CLK_TCK));
}

double LoadAverage() {
    QFile loadavg(QStringLiteral("/proc/loadavg"));
    bool ok = false;
    const double load =
        loadavg.open(QIODevice::ReadOnly) ? loadavg.readAll().split(' ').value(0).toDouble(&ok) : -1;
    return ok ? load : -1;
}

double FpsOf(const QString& label) {
    bool ok = false;
    const double fps = label.section(QLatin1Char(' '), 1, 1).toDouble(&ok);
    return label.startsWith(QLatin1String("FPS: ")) && ok ? fps : -1;
}

bool ListDemoVariables(const QString& dir, QString* error) {
    QProcess extractor;
    extractor.setWorkingDirectory(dir);
    extractor.setProcessChannelMode(QProcess::MergedChannels);
    extractor.start(QStringLiteral(TIDEWATCH_EXTRACTOR_BIN), {DemoElf()});
    if (!extractor.waitForFinished(30000) || extractor.exitCode() != 0 ||
        !QFileInfo::exists(QDir(dir).filePath(QStringLiteral("elf.json")))) {
        *error = QStringLiteral("the extractor failed: %1").arg(QString::fromLocal8Bit(extractor.readAll()));
        return false;
    }
    return true;
}

namespace {

QString Clock(double seconds) {
    const qint64 s = qRound64(seconds);
    return QStringLiteral("%1:%2").arg(s / 60).arg(s % 60, 2, 10, QLatin1Char('0'));
}

QString Mb(double mb) {
    return mb < 0 ? QStringLiteral("?") : QStringLiteral("%1 MB").arg(mb, 0, 'f', 1);
}

void Line(const char* what, const QString& text) {
    std::printf("  %-17s %s\n", what, qPrintable(text));
}

} // namespace

void PrintProgressHeading(bool window) {
    std::printf("  %6s %12s %12s %10s %5s %5s%s\n", "time", "received", "recorded", "VmRSS", "CPU", "load",
                window ? "  display: FPS label mean (lowest), curve paints/s, CPU a batch" : "");
    std::fflush(stdout);
}

void PrintProgress(const Progress& p, bool window) {
    std::printf("  %6s %12s %12llu %10s %4.0f%% %5.2f", qPrintable(Clock(p.seconds)),
                p.received == Progress::Unknown ? "-" : qPrintable(QString::number(p.received)),
                static_cast<unsigned long long>(p.recorded), qPrintable(Mb(p.residentMb)), p.cpuPercent,
                p.load);
    if (window)
        std::printf("  %.1f (%.0f), %.1f, %.1f ms", p.fpsMean, p.fpsLowest, p.paintsPerSecond,
                    p.cpuMsPerBatch);
    std::printf("\n");
    std::fflush(stdout);
}

int PrintReport(const Options& options, const RunFigures& run) {
    std::printf("%s: figures\n", qPrintable(run.title));
    if (!run.failure.isEmpty())
        Line("did not complete", run.failure);
    const double interval = options.intervalUs;
    Line("frames expected", QStringLiteral("%1 (%2 s sampled at %3 us)")
                                .arg(qRound64(run.seconds * 1e6 / interval))
                                .arg(run.seconds, 0, 'f', 1)
                                .arg(options.intervalUs));
    const SimFigures& sim = run.sim;
    if (sim.found)
        Line("simulator",
             QStringLiteral("%1 sampled, %2 slots missed (its thread woke late), %3 dropped (its "
                            "buffer was full), %4 sent")
                 .arg(sim.taken)
                 .arg(sim.missed)
                 .arg(sim.dropped)
                 .arg(sim.sent));
    else
        Line("simulator", QStringLiteral("no account of its session"));
    Line("received", QStringLiteral("%1 (%2)").arg(run.received).arg(run.receivedHow));

    RecordedCsv csv(options.intervalUs, CounterName());
    QString error;
    if (run.file.isEmpty() || !csv.Read(run.file, &error)) {
        Line("recorded",
             QStringLiteral("unreadable: %1").arg(run.file.isEmpty() ? QStringLiteral("no file") : error));
        return 1;
    }
    const CsvFigures& f = csv.Figures();
    Line("recorded",
         QStringLiteral("%1 lines in %2 (%3 s of frames; the recorder: %4 written, %5 lost)%6%7")
             .arg(f.frames)
             .arg(run.file)
             .arg(f.seconds, 0, 'f', 1)
             .arg(run.recorderWritten)
             .arg(run.recorderLost)
             .arg(f.cutLine ? QStringLiteral("; the last line is cut") : QString())
             .arg(f.unreadable > 0 ? QStringLiteral("; %1 lines unreadable").arg(f.unreadable) : QString()));
    // Between the simulator's sampler and the file: what its buffer dropped, and what it sent that is not in
    // the file.
    const qint64 missing = sim.found ? qint64(sim.dropped) + qint64(sim.sent) - qint64(f.frames) : -1;
    Line(
        "lost",
        sim.found
            ? QStringLiteral("%1 between the simulator and the file (dropped + sent - recorded)").arg(missing)
            : QStringLiteral("unknown (no account from the simulator)"));
    Line("counter gaps", QStringLiteral("%1 steps of %2 over %3 us (largest %4 us): %5 with the time column "
                                        "jumping too (slots missing from the file), %6 with a regular time "
                                        "step (the firmware did not run in between); %7 steps backward")
                             .arg(f.counterGaps)
                             .arg(CounterName())
                             .arg(options.intervalUs * 3 / 2)
                             .arg(f.longestGap)
                             .arg(f.gapsWithTimeJump)
                             .arg(f.counterGaps - f.gapsWithTimeJump)
                             .arg(f.counterBackward));
    Line("time column",
         QStringLiteral("%1 jumps passing over %2 slots (longest step %3 us), %4 steps of 0 or "
                        "backward")
             .arg(f.timeJumps)
             .arg(f.slotsPassed)
             .arg(f.longestTimeStep)
             .arg(f.timeBackward));

    bool memoryOk = true;
    QString memory = QStringLiteral("start %1").arg(Mb(run.residentStart));
    if (run.residentFilled >= 0) {
        const double growth = run.residentEnd - run.residentFilled;
        memoryOk = growth <= 10.0;
        memory += QStringLiteral(", after the ring filled %1 (at %2), end %3: %4%5 MB since the fill (goal: "
                                 "within 10 MB)")
                      .arg(Mb(run.residentFilled), Clock(run.filledAt), Mb(run.residentEnd))
                      .arg(growth >= 0 ? "+" : "")
                      .arg(growth, 0, 'f', 1);
    } else {
        memory += QStringLiteral(", end %1; the ring did not fill (%2 frames take %3 s)")
                      .arg(Mb(run.residentEnd))
                      .arg(kQueueCapacity)
                      .arg(kQueueCapacity * interval / 1e6, 0, 'f', 0);
    }
    Line("memory (VmRSS)", memory);
    if (run.cpuPercent >= 0)
        Line("CPU", QStringLiteral("%1 % of one core over the run").arg(run.cpuPercent, 0, 'f', 0));

    bool steady = true;
    if (run.window) {
        // The first line includes the start; the others should agree.
        QVector<double> means, costs;
        double lowest = -1;
        for (const Progress& p : run.progress)
            if (p.fpsMean >= 0) {
                means << p.fpsMean;
                costs << p.cpuMsPerBatch;
                lowest = lowest < 0 ? p.fpsLowest : std::min(lowest, p.fpsLowest);
            }
        if (means.size() > 1) {
            means.removeFirst();
            costs.removeFirst();
        }
        if (means.isEmpty()) {
            Line("display rate", QStringLiteral("no \"FPS\" label seen"));
            steady = false;
        } else {
            QVector<double> sorted = means;
            std::sort(sorted.begin(), sorted.end());
            const double median = sorted[sorted.size() / 2];
            steady = sorted.first() >= 0.8 * median;
            Line("display rate",
                 QStringLiteral("\"FPS\" label %1 to %2 on average between progress lines, median "
                                "%3, lowest single reading %4%5")
                     .arg(sorted.first(), 0, 'f', 1)
                     .arg(sorted.last(), 0, 'f', 1)
                     .arg(median, 0, 'f', 1)
                     .arg(lowest)
                     .arg(steady ? QStringLiteral(": steady")
                                 : QStringLiteral(": NOT steady (an average under 80 % of the median)")));
            // A rate that falls while the cost of a batch stays is the machine's doing, not the display's.
            std::sort(costs.begin(), costs.end());
            Line("display cost", QStringLiteral("%1 to %2 ms of the process's CPU per batch drawn")
                                     .arg(costs.first(), 0, 'f', 1)
                                     .arg(costs.last(), 0, 'f', 1));
        }
    }
    const bool lostNone = missing == 0 && run.recorderLost == 0 && f.frames == run.recorderWritten &&
                          !f.cutLine && f.unreadable == 0;
    Line("goals", QStringLiteral("0 lost: %1; memory within 10 MB of the fill: %2%3")
                      .arg(lostNone ? "yes" : "NO")
                      .arg(run.residentFilled < 0 ? "not measured"
                           : memoryOk             ? "yes"
                                                  : "NO")
                      .arg(run.window ? QStringLiteral("; display steady: %1").arg(steady ? "yes" : "NO")
                                      : QString()));
    std::fflush(stdout);
    return lostNone && memoryOk && steady && run.failure.isEmpty() ? 0 : 1;
}

} // namespace Soak

void Soak::RunFigures::NoteResident(double resident, uint64_t frames, double seconds) {
    if (residentStart < 0 && frames > 0)
        residentStart = resident;
    if (residentFilled < 0 && frames >= kQueueCapacity) {
        residentFilled = resident;
        filledAt = seconds;
    }
    residentEnd = resident;
}
