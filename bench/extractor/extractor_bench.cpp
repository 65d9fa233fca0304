// Generates a C program with thousands of globals, builds it with debug information, and times
// readelf_variables against `gdb-multiarch -batch -ex "info variables"` on the same ELF file.
//   extractor_bench [--globals N] [--files N] [--runs N]
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <cstdio>

namespace {

const int DeadlineMs = 600000;

// Each block of five globals has an int, a float, a struct with a nested array, an array of
// structs and a file-level static, plus a function with a static of its own, so every expansion
// path is exercised. The blocks are spread over `files` source files, as in a real firmware.
QVector<QByteArray> GenerateSources(int globals, int files) {
    const int blocks = std::max(1, globals / 5);
    QVector<QByteArray> sources(files);
    for (int f = 0; f < files; ++f) {
        QTextStream out(&sources[f]);
        out << "#include <stdint.h>\n"
               "typedef enum { ST_IDLE, ST_RUN } state_t;\n"
               "struct channel { uint16_t raw; float scaled; int8_t hist[4]; state_t state; };\n"
               "struct pair { int32_t a; uint8_t b; };\n";
        for (int i = f; i < blocks; i += files) {
            out << "volatile uint32_t counter_" << i << " = " << i << ";\n"
                << "float gain_" << i << " = 1.0f;\n"
                << "struct channel channel_" << i << ";\n"
                << "struct pair pairs_" << i << "[3];\n"
                << "static int16_t local_" << i << ";\n"
                << "int touch_" << i << "(void) { static int hits; hits++; local_" << i
                << "++; return hits + local_" << i << "; }\n";
        }
        if (f == 0) {
            out << "int main(void) { return 0; }\n";
        }
        out.flush();
    }
    return sources;
}

bool RunOnce(const QString& program, const QStringList& args, const QString& dir, qint64* ns) {
    QProcess process;
    process.setWorkingDirectory(dir);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QElapsedTimer timer;
    timer.start();
    process.start(program, args);
    if (!process.waitForFinished(DeadlineMs)) {
        std::fprintf(stderr, "%s did not finish\n", qPrintable(program));
        process.kill();
        process.waitForFinished();
        return false;
    }
    *ns = timer.nsecsElapsed();
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        std::fprintf(stderr, "%s failed with exit code %d\n", qPrintable(program), process.exitCode());
        return false;
    }
    return true;
}

struct Timing {
    double medianMs = -1;
    double bestMs = -1;
};

Timing Summarise(QVector<qint64> times) {
    std::sort(times.begin(), times.end());
    return {double(times[times.size() / 2]) / 1e6, double(times.first()) / 1e6};
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Times readelf_variables against gdb-multiarch."));
    parser.addHelpOption();
    QCommandLineOption globalsOption(QStringLiteral("globals"), QStringLiteral("Globals to generate."),
                                     QStringLiteral("n"), QStringLiteral("5000"));
    QCommandLineOption runsOption(QStringLiteral("runs"), QStringLiteral("Timed runs of each tool."),
                                  QStringLiteral("n"), QStringLiteral("11"));
    QCommandLineOption extractorOption(QStringLiteral("extractor"), QStringLiteral("Extractor to time."),
                                       QStringLiteral("path"), QStringLiteral(EXTRACTOR_PATH));
    QCommandLineOption filesOption(QStringLiteral("files"),
                                   QStringLiteral("Source files of the second, firmware-like build."),
                                   QStringLiteral("n"), QStringLiteral("50"));
    parser.addOptions({globalsOption, filesOption, runsOption, extractorOption});
    parser.process(app);
    const int globals = parser.value(globalsOption).toInt();
    const int runs = std::max(1, parser.value(runsOption).toInt());
    std::setvbuf(stdout, nullptr, _IOLBF, 0);

    QTemporaryDir dir;
    if (!dir.isValid()) {
        return 1;
    }
    const QString extractor = parser.value(extractorOption);
    // One source file is the hardest case for the extractor relative to the debugger; many files is
    // what a firmware looks like.
    for (const int files : {1, parser.value(filesOption).toInt()}) {
        const QString folder = dir.filePath(QStringLiteral("files%1").arg(files));
        QDir().mkpath(folder);
        QStringList compile = {QStringLiteral("-g"), QStringLiteral("-O0")};
        const QVector<QByteArray> sources = GenerateSources(globals, std::max(1, files));
        for (int f = 0; f < sources.size(); ++f) {
            const QString source = folder + QStringLiteral("/unit%1.c").arg(f);
            QFile file(source);
            if (!file.open(QIODevice::WriteOnly) || file.write(sources[f]) < 0) {
                return 1;
            }
            compile << source;
        }
        const QString elf = folder + QStringLiteral("/big.elf");
        compile << QStringLiteral("-o") << elf;
        qint64 ns = 0;
        if (!RunOnce(QStringLiteral("gcc"), compile, folder, &ns)) {
            return 1;
        }
        // One untimed run each so that both start from a warm file cache.
        RunOnce(extractor, {elf}, folder, &ns);
        const QStringList gdbArgs = {QStringLiteral("-nx"), QStringLiteral("-batch"), QStringLiteral("-ex"),
                                     QStringLiteral("info variables"), elf};
        RunOnce(QStringLiteral("gdb-multiarch"), gdbArgs, folder, &ns);

        std::printf("\n%d globals in %d source files: ELF %lld bytes, elf.json %lld bytes\n", globals,
                    int(sources.size()), static_cast<long long>(QFileInfo(elf).size()),
                    static_cast<long long>(QFileInfo(folder + QStringLiteral("/elf.json")).size()));
        // Runs alternate between the two tools so that a busy moment on the machine hits both.
        QVector<qint64> oursNs;
        QVector<qint64> gdbNs;
        for (int i = 0; i < runs; ++i) {
            if (!RunOnce(extractor, {elf}, folder, &ns)) {
                return 1;
            }
            oursNs.append(ns);
            if (!RunOnce(QStringLiteral("gdb-multiarch"), gdbArgs, folder, &ns)) {
                return 1;
            }
            gdbNs.append(ns);
        }
        const Timing ours = Summarise(oursNs);
        const Timing gdb = Summarise(gdbNs);
        std::printf("  readelf_variables:             median %8.1f ms, best %8.1f ms over %d runs\n",
                    ours.medianMs, ours.bestMs, runs);
        std::printf("  gdb-multiarch info variables:  median %8.1f ms, best %8.1f ms over %d runs\n",
                    gdb.medianMs, gdb.bestMs, runs);
        std::printf("  ratio (gdb / readelf_variables): %.1fx by median, %.1fx by best\n",
                    gdb.medianMs / ours.medianMs, gdb.bestMs / ours.bestMs);
    }
    return 0;
}
