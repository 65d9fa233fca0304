// End to end: tidewatch-capture sampling 1 and 34 of the demo firmware's globals through tidewatch-sim,
// as a user runs it. Prints each run's summary line and its frames per second.
//   bench_simcapture [interval_us=10] [seconds=5]
#include "SimChild.h"

#include "BenchArguments.h"

#include <QCoreApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <cstdio>

namespace {

// The demo's globals, repeated in turn to make up count variables.
QStringList Variables(int count) {
    const QStringList names = {
        QStringLiteral("loop_counter"), QStringLiteral("sine_wave"),     QStringLiteral("amplitude"),
        QStringLiteral("follower"),     QStringLiteral("temperature"),   QStringLiteral("status_bits"),
        QStringLiteral("motor.rpm"),    QStringLiteral("motor.current"), QStringLiteral("samples[0]"),
        QStringLiteral("samples[1]"),   QStringLiteral("samples[2]"),    QStringLiteral("samples[3]")};
    QStringList variables;
    for (int i = 0; i < count; ++i)
        variables << names[i % names.size()];
    return variables;
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const std::vector<double> args = BenchArguments(
        app, "Frames per second of tidewatch-capture through tidewatch-sim, for 1 and 34 variables.",
        {{"interval_us", "sampling interval in microseconds", 10}, {"seconds", "seconds per run", 5}});
    const QString interval = QString::number(static_cast<int>(args[0]));
    const QString seconds = QString::number(args[1]);

    QTemporaryDir dir;
    QProcess extractor;
    extractor.setWorkingDirectory(dir.path());
    extractor.setProcessChannelMode(QProcess::MergedChannels);
    extractor.start(QStringLiteral(TIDEWATCH_EXTRACTOR_BIN), {QStringLiteral(TIDEWATCH_DEMO_ELF)});
    if (!extractor.waitForFinished(30000) || extractor.exitCode() != 0) {
        std::fprintf(stderr, "bench_simcapture: the extractor failed:\n%s\n",
                     extractor.readAll().constData());
        return 1;
    }
    Sim::SimChild sim;
    if (!sim.Start(QStringLiteral(TIDEWATCH_SIM_BIN), {})) {
        std::fprintf(stderr, "bench_simcapture: the simulator did not start:\n%s\n",
                     sim.Output().constData());
        return 1;
    }
    std::printf("tidewatch-capture --interval %s --duration %s through tidewatch-sim\n", qPrintable(interval),
                qPrintable(seconds));
    static const QRegularExpression summary(QStringLiteral("tidewatch-capture: \\d+ frames in .*"));
    static const QRegularExpression rate(QStringLiteral("\\((\\d+) frames/s\\)"));
    for (int count : {1, 34}) {
        QProcess capture;
        capture.setStandardOutputFile(dir.filePath(QStringLiteral("capture.csv")));
        capture.start(QStringLiteral(TIDEWATCH_CAPTURE_BIN),
                      QStringList{QStringLiteral("--port"), QString::number(sim.Port()),
                                  QStringLiteral("--symbols"), dir.filePath(QStringLiteral("elf.json")),
                                  QStringLiteral("--interval"), interval, QStringLiteral("--duration"),
                                  seconds} +
                          Variables(count));
        if (!capture.waitForFinished(static_cast<int>(args[1] * 1000) + 30000)) {
            std::fprintf(stderr, "bench_simcapture: the capture did not end\n");
            capture.kill();
            capture.waitForFinished(5000);
            return 1;
        }
        const QString messages = QString::fromLocal8Bit(capture.readAllStandardError());
        const QString line = summary.match(messages).captured(0);
        std::printf("%2d vars: %6s frames/s  exit %d  | %s\n", count,
                    qPrintable(rate.match(line).captured(1)), capture.exitCode(), qPrintable(line));
    }
    return sim.Stop() == 0 ? 0 : 1;
}
