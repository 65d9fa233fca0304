// Polling against tidewatch-sim --no-hss (a server without high-speed sampling, QEMU running the demo
// firmware): the bare "m" round-trip rate, polled frames per second for 1, 8 and 34 four-byte variables
// laid out contiguously and scattered over 4 KiB, the step error of the frame stamps against the asked
// interval, and the CPU this process and the server spend.
//   bench_poll [seconds=3] [interval_us=1000]
#include "Acquisition.h"
#include "CommonCfg.h"
#include "FrameQueue.h"
#include "GdbTransport.h"
#include "SimChild.h"

#include "BenchArguments.h"

#include <QCoreApplication>
#include <QFile>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr uint32_t kBase = 0x20000000; // the demo firmware's data window

// CPU seconds of this process, and of the server process from /proc.
double ownCpu() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}
double serverCpu(qint64 pid) {
    QFile stat(QString("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = stat.readAll().split(')').value(1).split(' ');
    // After the name: state is field 1, utime 12 and stime 13.
    return (fields.value(12).toDouble() + fields.value(13).toDouble()) / double(sysconf(_SC_CLK_TCK));
}

struct Cpu {
    double own, server;
    Clock::time_point at;
    explicit Cpu(qint64 pid) : own(ownCpu()), server(serverCpu(pid)), at(Clock::now()) {}
    // Percent of one core since construction: this process, the server.
    std::pair<double, double> Since(qint64 pid) const {
        const double wall = std::chrono::duration<double>(Clock::now() - at).count();
        return {100 * (ownCpu() - own) / wall, 100 * (serverCpu(pid) - server) / wall};
    }
};

double bareRateHere(uint16_t port, double seconds);

// Round trips per second of "m20000000,4" on a thread of its own, as the poller has.
double bareRate(uint16_t port, double seconds) {
    double rate = 0;
    std::thread([&] { rate = bareRateHere(port, seconds); }).join();
    return rate;
}

double bareRateHere(uint16_t port, double seconds) {
    if (gdbConnect("127.0.0.1", port) != 0 || gdbHandshake() != 0)
        return 0;
    uint64_t n = 0;
    const Clock::time_point end =
        Clock::now() + std::chrono::microseconds(static_cast<int64_t>(seconds * 1e6));
    while (Clock::now() < end) {
        if (gdbSendPacket("m20000000,4") != 0)
            return 0;
        std::free(gdbReadReply());
        ++n;
    }
    gdbClose();
    return n / seconds;
}

// Polls `count` ints spaced `stride` bytes apart for `seconds`; the frame times kept in the ring.
std::vector<uint64_t> poll(uint16_t port, int count, uint32_t stride, int intervalUs, double seconds,
                           qint64 pid, std::pair<double, double>* cpu) {
    QVector<VarParser::VarDes> vars;
    for (int i = 0; i < count; ++i)
        vars.append({QString("v%1").arg(i), QString::number(kBase + uint32_t(i) * stride, 16), "global",
                     "int", 4, 0, 0, false, false, QString()});
    setSamplingTarget("127.0.0.1", port);
    CommonCfg::SetMode(SamplingMode::Poll);
    CommonCfg::SetInterval(intervalUs);
    std::vector<uint64_t> times;
    if (startSampling(vars) != 0)
        return times;
    // The CPU of polling alone: not the frame ring's clearing before the session begins.
    while (!samplingSessionBegun())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const Cpu run(pid);
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    *cpu = run.Since(pid);
    stopSampling();
    if (samplingEnded())
        std::fprintf(stderr, "bench_poll: the session ended with code %d\n", samplingResult());
    FrameQueue& queue = FrameQueue::instance();
    SampleFrame frame;
    for (uint32_t i = 0; i < queue.historySize() && queue.frameAt(i, frame) == 1; ++i)
        times.push_back(frame.time);
    return times;
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + long(values.size() / 2), values.end());
    return values[values.size() / 2];
}

double rateOf(const std::vector<uint64_t>& times) {
    return times.size() < 2 ? 0 : (times.size() - 1) * 1e6 / double(times.back() - times.front());
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const std::vector<double> args = BenchArguments(
        app, "Polling through tidewatch-sim --no-hss: rates, stamp steps and CPU.",
        {{"seconds", "seconds per run", 3}, {"interval_us", "interval for the step error", 1000}});
    const double seconds = args[0];
    const int intervalUs = static_cast<int>(args[1]);

    Sim::SimChild sim;
    if (!sim.Start(QStringLiteral(TIDEWATCH_SIM_BIN), {QStringLiteral(TIDEWATCH_DEMO_ELF), "--no-hss"})) {
        std::fprintf(stderr, "bench_poll: the simulator did not start:\n%s\n", sim.Output().constData());
        return 1;
    }
    const qint64 pid = sim.Pid();
    // The machine may be shared: bare round trips and polled runs alternate in short slices, and each figure
    // is the median over the slices (the share of bare, slice by slice).
    constexpr int kSlices = 5;
    const double slice = seconds / kSlices;
    std::printf(
        "%.1f s each, in %d alternating slices; polled as fast as the link answers (interval 10 us)\n",
        seconds, kSlices);
    // CPU per exchange depends least on what else the machine runs: bench's microseconds per bare round
    // trip against its microseconds per polled frame.
    std::printf("%-16s %10s %10s %8s %14s %15s %s\n", "variables", "bare m/s", "frames/s", "of bare",
                "cpu us/trip", "cpu us/frame", "cpu % while polling: bench, server");
    double ratio8 = 0;
    std::vector<double> bareAll;
    for (int count : {1, 8, 34}) {
        for (bool scattered : {false, true}) {
            // Scattered: spread evenly over 4 KiB, so no two share a read once more than 64 bytes apart.
            const uint32_t stride = scattered ? 4096 / uint32_t(count) & ~3u : 4;
            std::vector<double> bare, polled, share, perTrip, perFrame;
            double own = 0, server = 0;
            for (int i = 0; i < kSlices; ++i) {
                const Cpu bareCpu(pid);
                bare.push_back(bareRate(sim.Port(), slice));
                perTrip.push_back(bareCpu.Since(pid).first * 1e4 / bare.back());
                std::pair<double, double> cpu;
                polled.push_back(rateOf(poll(sim.Port(), count, stride, 10, slice, pid, &cpu)));
                own += cpu.first / kSlices;
                server += cpu.second / kSlices;
                share.push_back(polled.back() / bare.back());
                perFrame.push_back(cpu.first * 1e4 / polled.back());
            }
            bareAll.insert(bareAll.end(), bare.begin(), bare.end());
            std::printf("%2d %-13s %10.0f %10.0f %7.0f%% %14.1f %15.1f %5.1f %5.1f\n", count,
                        scattered ? "scattered" : "contiguous", median(bare), median(polled),
                        100 * median(share), median(perTrip), median(perFrame), own, server);
            if (count == 8 && !scattered)
                ratio8 = median(share);
        }
    }
    std::printf("bare m round trips (4 bytes), median of all slices: %.0f /s\n", median(bareAll));
    std::printf("goal: 8 contiguous at >= 80 %% of the bare rate: %.0f %%, %s\n", 100 * ratio8,
                ratio8 >= 0.8 ? "met" : "NOT met");

    std::pair<double, double> cpu;
    const std::vector<uint64_t> times = poll(sim.Port(), 8, 4, intervalUs, seconds, pid, &cpu);
    std::vector<double> errors;
    for (size_t i = 1; i < times.size(); ++i)
        errors.push_back(std::abs(double(times[i] - times[i - 1]) - intervalUs));
    std::sort(errors.begin(), errors.end());
    if (errors.empty())
        return 1;
    std::printf("8 contiguous at %d us: %.0f frames/s, step error median %.0f us, p99 %.0f us, max %.0f us   "
                "cpu: bench %5.1f %%, server %5.1f %%\n",
                intervalUs, rateOf(times), errors[errors.size() / 2], errors[errors.size() * 99 / 100],
                errors.back(), cpu.first, cpu.second);
    return sim.Stop() == 0 ? 0 : 1;
}
