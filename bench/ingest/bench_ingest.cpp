// Ingest throughput: a loopback server streams full 10000-sample replies of 34 four-byte variables as
// fast as it can; this measures frames per second through transport + decode + ring, and the CPU
// this process spends per million frames. The server runs as its own process so its cost is not ours.
#include "Acquisition.h"
#include "HssSession.h"

#include "BenchArguments.h"

#include <QCoreApplication>
#include <QProcess>
#include <chrono>
#include <cstdio>
#include <sys/resource.h>
#include <thread>

namespace {

double cpuSeconds() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const double seconds = BenchArguments(
        app, "Ingest throughput of 34 variables from a loopback server streaming full replies.",
        {{"seconds", "seconds to measure", 5}})[0];
    const QString server = QCoreApplication::applicationDirPath() + "/tidewatch-fakegdb";

    QProcess fake;
    fake.start(server, {"--samples-per-read", "10000", "--stamp-step", "10"});
    if (!fake.waitForStarted(5000) || !fake.waitForReadyRead(5000)) {
        std::fprintf(stderr, "bench_ingest: cannot start %s\n", qPrintable(server));
        return 1;
    }
    const QString ready = QString::fromUtf8(fake.readLine()).trimmed();
    const quint16 port = ready.section(':', -1).toUShort();

    QVector<VarParser::VarDes> vars;
    for (int i = 0; i < 34; ++i) {
        VarParser::VarDes v;
        v.name = QString("v%1").arg(i);
        v.address = QString::number(0x20000000 + 4 * i, 16);
        v.type = i % 2 ? "int" : "float";
        v.size = 4;
        vars << v;
    }
    setSamplingTarget("127.0.0.1", port);
    if (startSampling(vars) != 0) {
        std::fprintf(stderr, "bench_ingest: sampling did not start\n");
        return 1;
    }
    // Let the ring's first-use set-up pass before measuring.
    while (hssSampleCounter() == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));

    const uint64_t frames0 = hssSampleCounter();
    const double cpu0 = cpuSeconds();
    const auto t0 = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const uint64_t frames1 = hssSampleCounter();
    const double cpu1 = cpuSeconds();
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    stopSampling();
    fake.terminate();
    fake.waitForFinished(3000);

    const double frames = static_cast<double>(frames1 - frames0);
    const double rate = frames / wall;
    const double cpuPerMillion = (cpu1 - cpu0) / (frames / 1e6);
    // At the 10 µs interval the target produces 100,000 frames a second.
    const double coreAtTarget = cpuPerMillion * 0.1;
    std::printf("ingest: 34 x 4-byte variables, 10000-sample replies\n");
    std::printf("  frames/s              %.0f\n", rate);
    std::printf("  CPU s per 1M frames   %.3f\n", cpuPerMillion);
    std::printf("  core share at 100k/s  %.1f %%  (target: at most 25 %%)\n", coreAtTarget * 100);
    std::printf("  target 100000 frames/s: %s\n", rate >= 100000 && coreAtTarget <= 0.25 ? "met" : "NOT met");
    return 0;
}
