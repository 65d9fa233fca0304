// Soak: tidewatch-sim with the demo firmware sampled for minutes to hours, once through tidewatch-capture
// --output and once through the main window with Record on (under Xvfb), reporting frames expected, received
// and recorded, gaps in the firmware's own clock, resident memory and the display rate.
//   bench_soak [--minutes M | --seconds S] [--interval-us N] [--only capture|window] [--out DIR] [--every S]
#include "SoakRun.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDateTime>
#include <QDir>
#include <QFont>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

const char* const kWindowRun = "--window-run";

[[noreturn]] void Refuse(const QString& text) {
    std::fprintf(stderr, "bench_soak: %s\n", qPrintable(text));
    std::exit(2);
}

double Positive(const QCommandLineParser& parser, const QString& name) {
    bool ok = false;
    const double value = parser.value(name).toDouble(&ok);
    if (!ok || value <= 0)
        Refuse(QStringLiteral("--%1 must be a positive number, not '%2'").arg(name, parser.value(name)));
    return value;
}

Soak::Options Parse(const QCoreApplication& app) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Samples the demo firmware in tidewatch-sim for a long time, through tidewatch-capture --output and "
        "through the main window with Record on (under xvfb-run when it is installed), and reports for each "
        "run the frames expected, received and recorded, the gaps in the firmware's own clock (uptime_us), "
        "the resident memory at the start, after the frame ring filled and at the end, and the window's "
        "display rate over time. Exit code 0 when every goal was met (nothing lost between the simulator "
        "and the file, memory within 10 MB of its value after the fill, a steady display), 1 otherwise, 2 "
        "when a run could not be started."));
    parser.addHelpOption();
    parser.addOptions({
        {QStringLiteral("minutes"), QStringLiteral("Minutes each run samples (default 10)."),
         QStringLiteral("M")},
        {QStringLiteral("seconds"), QStringLiteral("Seconds each run samples, instead of --minutes."),
         QStringLiteral("S")},
        {QStringLiteral("interval-us"), QStringLiteral("Sampling interval in microseconds (default 10)."),
         QStringLiteral("N"), QStringLiteral("10")},
        {QStringLiteral("only"), QStringLiteral("Only the run through 'capture' or 'window'."),
         QStringLiteral("run")},
        {QStringLiteral("out"),
         QStringLiteral("Folder for the recordings and the debug log (default: a new soak-DATE-TIME here). "
                        "The files stay: about 2 GB an hour at 100 us."),
         QStringLiteral("DIR")},
        {QStringLiteral("every"), QStringLiteral("Seconds between progress lines (default 60)."),
         QStringLiteral("S"), QStringLiteral("60")},
    });
    QCommandLineOption windowRun(QString::fromLatin1(kWindowRun + 2));
    windowRun.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(windowRun);
    parser.process(app);
    if (!parser.positionalArguments().isEmpty())
        Refuse(QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().first()));

    Soak::Options options;
    if (parser.isSet(QStringLiteral("seconds")))
        options.seconds = Positive(parser, QStringLiteral("seconds"));
    else if (parser.isSet(QStringLiteral("minutes")))
        options.seconds = 60 * Positive(parser, QStringLiteral("minutes"));
    const double interval = Positive(parser, QStringLiteral("interval-us"));
    if (interval != static_cast<int>(interval) || interval < 10 || interval > 1000000)
        Refuse(QStringLiteral("--interval-us must be a whole number from 10 to 1000000"));
    options.intervalUs = static_cast<int>(interval);
    options.everySeconds = Positive(parser, QStringLiteral("every"));
    const QString only = parser.value(QStringLiteral("only"));
    if (!only.isEmpty() && only != QLatin1String("capture") && only != QLatin1String("window"))
        Refuse(QStringLiteral("--only takes 'capture' or 'window', not '%1'").arg(only));
    options.capture = only != QLatin1String("window") && !parser.isSet(windowRun);
    options.window = only != QLatin1String("capture");
    options.outDir = parser.value(QStringLiteral("out"));
    if (options.outDir.isEmpty())
        options.outDir = QDir::current().filePath(QStringLiteral("soak-%1").arg(
            QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"))));
    if (!QDir().mkpath(options.outDir))
        Refuse(QStringLiteral("cannot make the folder %1").arg(options.outDir));
    options.outDir = QDir(options.outDir).absolutePath();
    return options;
}

// The window run in a process of its own, so that its memory is the window's alone: under xvfb-run where
// it is installed, on the current display otherwise.
int StartWindowRun(const Soak::Options& options) {
    QStringList arguments{QString::fromLatin1(kWindowRun),
                          QStringLiteral("--seconds"),
                          QString::number(options.seconds),
                          QStringLiteral("--interval-us"),
                          QString::number(options.intervalUs),
                          QStringLiteral("--every"),
                          QString::number(options.everySeconds),
                          QStringLiteral("--out"),
                          options.outDir};
    QString program = QCoreApplication::applicationFilePath();
    const QString xvfb = QStandardPaths::findExecutable(QStringLiteral("xvfb-run"));
    if (!xvfb.isEmpty()) {
        arguments = QStringList{QStringLiteral("-a"), QStringLiteral("-s"),
                                QStringLiteral("-screen 0 1280x800x24"), program} +
                    arguments;
        program = xvfb;
    }
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedChannels);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!environment.contains(QStringLiteral("QT_QPA_PLATFORM")))
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    // Qt wants a private runtime folder and warns without one (as under a bare xvfb-run).
    QTemporaryDir runtime;
    if (!environment.contains(QStringLiteral("XDG_RUNTIME_DIR")) && runtime.isValid())
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime.path());
    child.setProcessEnvironment(environment);
    child.start(program, arguments);
    if (!child.waitForFinished(-1) || child.exitStatus() != QProcess::NormalExit) {
        std::fprintf(stderr, "bench_soak: the window run ended abnormally\n");
        return 2;
    }
    return child.exitCode();
}

} // namespace

int main(int argc, char* argv[]) {
    // Only the window run needs a GUI application (and a display).
    const bool windowRun =
        std::any_of(argv + 1, argv + argc, [](const char* a) { return std::strcmp(a, kWindowRun) == 0; });
    std::unique_ptr<QCoreApplication> app(windowRun ? new QApplication(argc, argv)
                                                    : new QCoreApplication(argc, argv));
    QCoreApplication::setApplicationName(QStringLiteral("bench_soak"));
    const Soak::Options options = Parse(*app);
    if (windowRun) {
        QFont font(QStringLiteral("Microsoft YaHei")); // as the program sets it
        font.setPixelSize(12);
        QApplication::setFont(font);
        return Soak::RunWindow(options);
    }
    std::printf("bench_soak: %g s a run at %d us; files in %s\n", options.seconds, options.intervalUs,
                qPrintable(options.outDir));
    std::fflush(stdout);
    int result = 0;
    if (options.capture)
        result = std::max(result, Soak::RunCapture(options));
    if (options.window)
        result = std::max(result, StartWindowRun(options));
    return result;
}
