// Ingest throughput: a loopback server streams full 10000-sample replies of 34 four-byte variables as
// fast as it can; this measures frames per second through transport + decode + ring, and the CPU
// this process spends per million frames. The server runs in a child process so its cost is not ours.
#include "Acquisition.h"
#include "HssSession.h"

#include "BenchArguments.h"
#include "FakeGdbServer.h"

#include <QCoreApplication>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

double cpuSeconds() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// Forks the loopback server (full replies, 10 µs stamps); its port, or 0 when that failed.
uint16_t startServer(pid_t* child) {
    int ports[2];
    if (pipe(ports) != 0)
        return 0;
    *child = fork();
    if (*child == 0) {
        FakeGdbServer server;
        server.setSamplesPerRead(10000);
        server.setStamps(0, 10);
        const uint16_t port = server.port();
        if (write(ports[1], &port, sizeof port) != sizeof port)
            _exit(1);
        pause(); // until the benchmark ends it
        _exit(0);
    }
    uint16_t port = 0;
    if (*child < 0 || read(ports[0], &port, sizeof port) != sizeof port)
        port = 0;
    close(ports[0]);
    close(ports[1]);
    return port;
}

} // namespace

int main(int argc, char** argv) {
    pid_t child = -1;
    const uint16_t port = startServer(&child); // before any thread exists
    QCoreApplication app(argc, argv);
    const double seconds = BenchArguments(
        app, "Ingest throughput of 34 variables from a loopback server streaming full replies.",
        {{"seconds", "seconds to measure", 5}})[0];
    if (port == 0) {
        std::fprintf(stderr, "bench_ingest: the loopback server did not start\n");
        return 1;
    }

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
        kill(child, SIGTERM);
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
    kill(child, SIGTERM);
    waitpid(child, nullptr, 0);

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
