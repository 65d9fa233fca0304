// Starts tidewatch-sim on the demo firmware and measures, for 1 and 34 sampled variables, the sustained
// sampling rate and the spread of successive time-stamp differences around the requested period.
//   bench_sim [period_us=10] [seconds=3]
#include "ElfImage.h"
#include "HssRequest.h"
#include "RspClient.h"
#include "SharedRam.h"
#include "SimChild.h"

#include "BenchArguments.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

using namespace Sim;

namespace {

std::uint32_t Le32(const QByteArray& bytes, qsizetype at) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i)
        value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes.at(at + i))) << (8 * i);
    return value;
}

struct Figures {
    std::uint64_t samples = 0;
    double seconds = 0;
    double mean = 0, stddev = 0, p50 = 0, p99 = 0, max = 0;
    QByteArray monitor;
};

bool Measure(std::uint16_t port, const std::vector<std::uint64_t>& addresses, std::uint32_t periodUs,
             double seconds, Figures* figures) {
    RspClient client;
    QByteArray reply;
    if (!client.Connect(port) || !client.Command("qSupported:vContSupported", &reply) ||
        !client.Command("qSeggerHSS:Stop", &reply)) {
        std::fprintf(stderr, "bench_sim: %s\n", qPrintable(client.LastError()));
        return false;
    }
    HssStart start;
    start.flags = 1;
    start.periodUs = periodUs;
    for (std::uint64_t address : addresses)
        start.blocks.push_back({address, 4, 0});
    const std::size_t size = start.RecordSize();
    if (!client.Command(FormatHssStart(start), &reply) || reply != "OK") {
        std::fprintf(stderr, "bench_sim: start refused: %s\n", reply.constData());
        return false;
    }
    std::vector<std::uint32_t> stamps;
    QElapsedTimer clock;
    clock.start();
    while (clock.nsecsElapsed() < static_cast<qint64>(seconds * 1e9)) {
        QByteArray records;
        std::uint32_t n = 0;
        if (!client.HssRead(0x2710, size, &records, &n)) {
            std::fprintf(stderr, "bench_sim: read failed: %s\n", qPrintable(client.LastError()));
            return false;
        }
        for (std::uint32_t i = 0; i < n; ++i)
            stamps.push_back(Le32(records, static_cast<qsizetype>(i * size)));
        // Paced like the sampling client: a short pause after a batch, a long one after an empty read.
        QThread::usleep(n > 0 ? 1000 : 100000);
    }
    if (client.Command("qRcmd," + QByteArray("hss").toHex(), &reply) && reply.startsWith('O'))
        figures->monitor = QByteArray::fromHex(reply.mid(1)).trimmed();
    client.ReadPacket(&reply);
    client.Command("qSeggerHSS:Stop", &reply);
    if (stamps.size() < 2)
        return false;

    std::vector<double> steps;
    for (std::size_t i = 1; i < stamps.size(); ++i)
        steps.push_back(static_cast<double>(stamps[i] - stamps[i - 1]));
    double sum = 0, squares = 0;
    for (double step : steps)
        sum += step;
    figures->mean = sum / static_cast<double>(steps.size());
    for (double step : steps)
        squares += (step - figures->mean) * (step - figures->mean);
    figures->stddev = std::sqrt(squares / static_cast<double>(steps.size()));
    std::sort(steps.begin(), steps.end());
    figures->p50 = steps[steps.size() / 2];
    figures->p99 = steps[std::min(steps.size() - 1, steps.size() * 99 / 100)];
    figures->max = steps.back();
    figures->samples = stamps.size();
    figures->seconds = static_cast<double>(stamps.back() - stamps.front()) / 1e6;
    return true;
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const std::vector<double> args = BenchArguments(
        app, "Sampling rate and time-stamp jitter of tidewatch-sim for 1 and 34 variables.",
        {{"period_us", "sampling period in microseconds", 10}, {"seconds", "seconds per run", 3}});
    const auto periodUs = static_cast<std::uint32_t>(args[0]);
    const double seconds = args[1];

    ElfImage elf;
    QString error;
    if (!elf.Load(QStringLiteral(TIDEWATCH_DEMO_ELF), SharedRam::Base, SharedRam::DefaultSize, &error)) {
        std::fprintf(stderr, "bench_sim: %s\n", qPrintable(error));
        return 1;
    }
    // The demo's 4-byte globals, repeated to make up 34 variables.
    const char* names[] = {"loop_counter", "sine_wave", "amplitude", "follower", "samples", "motor"};
    std::vector<std::uint64_t> all;
    for (int i = 0; all.size() < 34; ++i)
        all.push_back(elf.SymbolAddress(names[i % 6]) + 4 * static_cast<std::uint64_t>((i / 6) % 2));

    QElapsedTimer startup;
    startup.start();
    SimChild sim;
    if (!sim.Start(QStringLiteral(TIDEWATCH_SIM_BIN), {})) {
        std::fprintf(stderr, "bench_sim: the simulator did not start:\n%s\n", sim.Output().constData());
        return 1;
    }
    std::printf("tidewatch-sim start-up (to ready line): %lld ms\n",
                static_cast<long long>(startup.elapsed()));
    std::printf("period %u us, %.1f s per run, reads paced 1 ms apart\n", periodUs, seconds);
    std::printf("%5s %10s %12s %9s %9s %9s %9s %9s\n", "vars", "samples", "rate/s", "mean us", "stddev",
                "p50", "p99", "max");
    for (std::size_t count : {std::size_t(1), std::size_t(34)}) {
        Figures figures;
        const std::vector<std::uint64_t> addresses(all.begin(), all.begin() + static_cast<long>(count));
        if (!Measure(sim.Port(), addresses, periodUs, seconds, &figures))
            return 1;
        std::printf("%5zu %10llu %12.0f %9.2f %9.2f %9.0f %9.0f %9.0f\n", count,
                    static_cast<unsigned long long>(figures.samples),
                    static_cast<double>(figures.samples - 1) / figures.seconds, figures.mean, figures.stddev,
                    figures.p50, figures.p99, figures.max);
        std::printf("      server: %s\n", figures.monitor.constData());
    }
    return sim.Stop() == 0 ? 0 : 1;
}
