// tidewatch-capture: headless sampling of target variables into CSV.
#include "CaptureOptions.h"
#include "CaptureRun.h"
#include "Console.h"

#include <QCoreApplication>
#include <QFile>
#include <atomic>
#include <csignal>
#include <cstdio>

namespace {
std::atomic<bool> g_stop{false};
void onSignal(int) {
    g_stop.store(true);
}
} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList arguments = app.arguments();
    arguments.removeFirst();

    CaptureOptions options;
    QString error, help;
    if (!parseCaptureOptions(arguments, options, error, help)) {
        std::fprintf(stderr, "tidewatch-capture: %s\nTry 'tidewatch-capture --help'.\n", qPrintable(error));
        return 2;
    }
    if (!help.isEmpty()) {
        std::fputs(qPrintable(help), stdout);
        return 0;
    }

    std::FILE* out = stdout;
    if (!options.output.isEmpty()) {
        out = std::fopen(QFile::encodeName(options.output).constData(), "w");
        if (out == nullptr) {
            std::fprintf(stderr, "tidewatch-capture: cannot write '%s'\n", qPrintable(options.output));
            return 2;
        }
    }
    // Standard output may carry the CSV: the engine's console lines go to standard error.
    setConsoleStream(stderr);
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    const int rc = runCapture(options, out, stderr, g_stop);
    if (out != stdout)
        std::fclose(out);
    return rc;
}
