// Stock openocd on tidewatch-sim's JTAG port, as it serves a user's board (QEMU running the demo firmware):
// - attach: from openocd's start to its GDB port listening (it has examined the hart by then);
// - the firmware's longest stop while openocd examines the hart: loop_counter watched through the
//   simulator's own GDB port (served from the emulator's RAM, so it answers while the hart is halted),
//   against the longest stop in as long a stretch before openocd started (the emulator runs in bursts);
//   and, from openocd's own debug log (-d3, millisecond stamps), the time from the hart halted to it
//   running again, and how long the halt request took to take effect;
// - through openocd's GDB port: bare "m" round trips per second and polled frames per second for 1 and
//   8 contiguous variables, as fast as the link answers.
//   bench_openocd [attaches=5] [seconds=3]
#include "Acquisition.h"
#include "CommonCfg.h"
#include "FrameQueue.h"
#include "GdbTransport.h"
#include "SimChild.h"

#include "BenchArguments.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr uint32_t kBase = 0x20000000;      // the demo firmware's data window
const char* const kCounter = "m2000003c,4"; // loop_counter

double Ms(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

// openocd with the example config on the JTAG port, its GDB port chosen by the system.
struct Openocd {
    QProcess process;
    QByteArray said;
    uint16_t gdbPort = 0;

    // Starts it and waits until it serves GDB; false when it ends or 20 s pass first.
    bool Start(const QString& jtagPort, const QStringList& more = {}) {
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start("openocd", more + QStringList{"-f", TIDEWATCH_OPENOCD_CFG, "-c",
                                                    "remote_bitbang port " + jtagPort, "-c", "gdb_port 0",
                                                    "-c", "tcl_port disabled", "-c", "telnet_port disabled"});
        const QRegularExpression listening("Listening on port (\\d+) for gdb");
        QElapsedTimer clock;
        clock.start();
        while (!listening.match(said).hasMatch() && clock.elapsed() < 20000 &&
               process.waitForReadyRead(int(20000 - clock.elapsed())))
            said += process.readAll();
        gdbPort = uint16_t(listening.match(said).captured(1).toUInt());
        return gdbPort != 0;
    }
    ~Openocd() {
        process.terminate();
        process.waitForFinished(5000);
    }
};

// Reads loop_counter through the port until told to stop; the times its value changed.
void Watch(uint16_t port, const std::atomic<bool>& stop, std::vector<Clock::time_point>* changes) {
    if (gdbConnect("127.0.0.1", port) != 0 || gdbHandshake() != 0)
        return;
    std::string last;
    while (!stop) {
        if (gdbSendPacket(kCounter) != 0)
            break;
        char* reply = gdbReadReply();
        if (reply == nullptr)
            break;
        if (last != reply)
            changes->push_back(Clock::now());
        last = reply;
        std::free(reply);
    }
    gdbClose();
}

// The longest time the counter stood still within [from, to].
double LongestStop(const std::vector<Clock::time_point>& changes, Clock::time_point from,
                   Clock::time_point to) {
    double longest = 0;
    for (size_t i = 1; i < changes.size(); ++i)
        if (changes[i] > from && changes[i - 1] < to)
            longest = std::max(longest, Ms(std::max(changes[i - 1], from), std::min(changes[i], to)));
    return longest;
}

// From a debug log: the milliseconds of the first line holding `text` after line `from`, and its index.
std::pair<double, int> StampOf(const QList<QByteArray>& lines, const char* text, int from) {
    for (int i = from; i < lines.size(); ++i)
        if (lines[i].contains(text)) // "Debug: <line number> <milliseconds> file:line ..."
            return {lines[i].split(' ').value(2).toDouble(), i};
    return {-1, int(lines.size())};
}

double BareRate(uint16_t port, double seconds) {
    if (gdbConnect("127.0.0.1", port) != 0 || gdbHandshake() != 0)
        return 0;
    uint64_t n = 0;
    const Clock::time_point end = Clock::now() + std::chrono::microseconds(int64_t(seconds * 1e6));
    for (; Clock::now() < end; ++n) {
        if (gdbSendPacket(kCounter) != 0)
            return 0;
        std::free(gdbReadReply());
    }
    gdbClose();
    return n / seconds;
}

// Frames per second polling `count` contiguous ints as fast as the link answers.
double PolledRate(uint16_t port, int count, double seconds) {
    QVector<VarParser::VarDes> vars;
    for (int i = 0; i < count; ++i)
        vars.append({QString("v%1").arg(i), QString::number(kBase + 4u * uint32_t(i), 16), "global", "int", 4,
                     0, 0, false, false, QString()});
    setSamplingTarget("127.0.0.1", port);
    CommonCfg::SetMode(SamplingMode::Poll);
    CommonCfg::SetInterval(CommonCfg::MinInterval());
    if (startSampling(vars) != 0)
        return 0;
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    stopSampling();
    FrameQueue& queue = FrameQueue::instance();
    SampleFrame first, last;
    const uint32_t n = queue.historySize();
    if (n < 2 || queue.frameAt(0, first) != 1 || queue.frameAt(n - 1, last) != 1)
        return 0;
    return (n - 1) * 1e6 / double(last.time - first.time);
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const std::vector<double> args =
        BenchArguments(app, "Stock openocd on tidewatch-sim's JTAG port: attach, examination stop, rates.",
                       {{"attaches", "openocd starts to time", 5}, {"seconds", "seconds per rate", 3}});
    Sim::SimChild sim;
    if (!sim.Start(TIDEWATCH_SIM_BIN, {TIDEWATCH_DEMO_ELF, "--jtag-port", "0"})) {
        std::fprintf(stderr, "bench_openocd: the simulator did not start:\n%s\n", sim.Output().constData());
        return 1;
    }
    const QString jtag =
        QRegularExpression("JTAG \\(remote_bitbang\\) on 127.0.0.1:(\\d+)").match(sim.Output()).captured(1);

    std::vector<double> attach, stop, quiet;
    for (int run = 0; run < int(args[0]); ++run) {
        std::atomic<bool> done{false};
        std::vector<Clock::time_point> changes;
        std::thread watcher(Watch, sim.Port(), std::cref(done), &changes);
        std::this_thread::sleep_for(std::chrono::milliseconds(600));
        const Clock::time_point start = Clock::now();
        Openocd openocd;
        const bool up = openocd.Start(jtag);
        const Clock::time_point serving = Clock::now();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        done = true;
        watcher.join();
        if (!up) {
            std::fprintf(stderr, "bench_openocd: openocd did not serve GDB:\n%s\n", openocd.said.constData());
            return 1;
        }
        attach.push_back(Ms(start, serving));
        stop.push_back(LongestStop(changes, start, serving));
        quiet.push_back(LongestStop(changes, start - (serving - start), start));
        std::printf("attach %d: %6.1f ms to serve GDB; longest firmware stop %6.2f ms (%6.2f ms before)\n",
                    run, attach.back(), stop.back(), quiet.back());
    }
    std::printf("attach: median %.1f ms; longest firmware stop while examined: median %.2f ms, "
                "as long a stretch before openocd: median %.2f ms\n",
                Median(attach), Median(stop), Median(quiet));

    std::vector<double> halted, takes;
    for (int run = 0; run < int(args[0]); ++run) {
        Openocd logged;
        if (!logged.Start(jtag, {"-d3"}))
            return 1;
        const QList<QByteArray> lines = logged.said.split('\n');
        const auto request = StampOf(lines, "halting hart", 0);
        const auto stopped = StampOf(lines, "allhalted", request.second);
        const auto resume = StampOf(lines, "resuming hart", stopped.second);
        const auto running = StampOf(lines, "allrunning", resume.second);
        halted.push_back(running.first - stopped.first);
        takes.push_back(stopped.first - request.first);
    }
    std::printf("openocd's log (-d3): the hart halted for a median %.0f ms (max %.0f); the halt request took "
                "a median %.0f ms to take effect\n",
                Median(halted), *std::max_element(halted.begin(), halted.end()), Median(takes));

    Openocd openocd;
    if (!openocd.Start(jtag))
        return 1;
    const double seconds = args[1];
    const double bare = BareRate(openocd.gdbPort, seconds);
    const double one = PolledRate(openocd.gdbPort, 1, seconds);
    const double eight = PolledRate(openocd.gdbPort, 8, seconds);
    std::printf("through openocd, %.1f s each: bare m %.0f /s; polled frames/s: 1 variable %.0f (%.0f %%), "
                "8 contiguous %.0f (%.0f %%)\n",
                seconds, bare, one, 100 * one / bare, eight, 100 * eight / bare);
    return 0;
}
