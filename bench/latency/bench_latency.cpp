// Latency against tidewatch-sim on the demo firmware: the round trip of one value write and of one
// read request, idle and while sampling runs, and the time from connect to the first frame.
//   bench_latency [rounds=200]
#include "SimChild.h"

#include "Acquisition.h"
#include "BenchArguments.h"
#include "FrameQueue.h"
#include "GdbTransport.h"
#include "HssSession.h"
#include "MemoryWrite.h"
#include "SampleValue.h"

#include <QCoreApplication>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// An unused word at the top of the demo firmware's data window, and its first global.
constexpr uint32_t kScratch = 0x203ffff0;
constexpr uint32_t kSampled = 0x20000000;

double msSince(Clock::time_point t) {
    return std::chrono::duration<double, std::milli>(Clock::now() - t).count();
}

void report(const char* what, std::vector<double> ms, int failed = 0) {
    if (ms.empty()) {
        std::printf("%-36s no figures (the exchange failed)\n", what);
        return;
    }
    std::sort(ms.begin(), ms.end());
    const auto at = [&](double q) { return ms[static_cast<size_t>(q * (ms.size() - 1))]; };
    std::printf("%-36s n=%-4zu median %8.3f ms  p90 %8.3f ms  max %8.3f ms  failed %d\n", what, ms.size(),
                at(0.5), at(0.9), ms.back(), failed);
}

QVector<VarParser::VarDes> sampledVariable() {
    VarParser::VarDes v;
    v.name = QStringLiteral("first");
    v.address = QString::number(kSampled, 16);
    v.type = QStringLiteral("int");
    v.size = 4;
    return {v};
}

// Timed value writes; a failed one is counted and left out of the figures.
std::vector<double> timedWrites(int rounds, int* failed) {
    std::vector<double> ms;
    for (int i = 0; i < rounds; ++i) {
        const Clock::time_point t = Clock::now();
        QString refusal;
        if (writeEditedValue(kScratch, kCodeSigned, QString::number(i), refusal) != 0)
            ++*failed;
        else
            ms.push_back(msSince(t));
    }
    return ms;
}

// Sends a command and reads its reply; false unless the reply is "OK".
bool exchangeOk(const char* command) {
    if (gdbSendPacket(command) != 0)
        return false;
    char* reply = gdbReadReply();
    const bool ok = reply != nullptr && (reply[0] == 'O' || reply[0] == 'o');
    std::free(reply);
    return ok;
}

// Read requests on an idle connection with sampling started once a second, so most replies are
// empty; the few samples that arrive are read off the stream. Empty when the exchange broke.
std::vector<double> timedReads(int rounds) {
    HssConfig config;
    config.period = 1000000;
    config.count = 1;
    config.address[0] = kSampled;
    config.size[0] = 4;
    char start[128];
    if (!exchangeOk("qSeggerHSS:Stop") || !exchangeOk("qSeggerHSS:Supported") ||
        !hssFormatStart(config, start, sizeof start) || !exchangeOk(start))
        return {};
    std::vector<double> ms;
    std::vector<char> sink(8 * kHssMaxSamplesPerRead);
    for (int i = 0; i < rounds; ++i) {
        const Clock::time_point t = Clock::now();
        uint32_t n = 0;
        if (hssReadOnce(&n) != 0)
            return {};
        ms.push_back(msSince(t));
        size_t left = static_cast<size_t>(n) * 8;
        while (left > 0) {
            const size_t take = std::min<size_t>(left, gdbRecvFill());
            std::copy(gdbRecvBuffer() + take, gdbRecvBuffer() + gdbRecvFill(), gdbRecvBuffer());
            gdbRecvFill() -= static_cast<uint32_t>(take);
            left -= take;
            if (left > 0) {
                const int got = gdbRecvRaw(gdbRecvBuffer(), kGdbBufferSize);
                if (got < 0)
                    return {};
                gdbRecvFill() = static_cast<uint32_t>(got);
            }
        }
    }
    exchangeOk("qSeggerHSS:Stop");
    return ms;
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const std::vector<double> args =
        BenchArguments(app, "Round trips of a value write and a read request, and connect to first frame.",
                       {{"rounds", "exchanges timed per figure", 200}});
    const int rounds = static_cast<int>(args[0]);

    Sim::SimChild sim;
    if (!sim.Start(QStringLiteral(TIDEWATCH_SIM_BIN), {})) {
        std::fprintf(stderr, "bench_latency: the simulator did not start:\n%s\n", sim.Output().constData());
        return 1;
    }
    setSamplingTarget(QStringLiteral("127.0.0.1"), sim.Port());

    if (gdbConnect("127.0.0.1", sim.Port()) != 0 || gdbHandshake() != 0) {
        std::fprintf(stderr, "bench_latency: no connection to the simulator\n");
        return 1;
    }
    int failedIdle = 0;
    const std::vector<double> idleWrites = timedWrites(rounds, &failedIdle);
    report("value write, idle", idleWrites, failedIdle);
    report("read request, idle", timedReads(rounds));
    gdbClose();

    std::vector<double> firstFrame, stops, busyWrites;
    int failedBusy = 0;
    for (int i = 0; i < 10; ++i) {
        const Clock::time_point t = Clock::now();
        if (startSampling(sampledVariable()) != 0)
            break;
        while (!(samplingSessionBegun() && FrameQueue::instance().historySize() > 0) && msSince(t) < 5000)
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        firstFrame.push_back(msSince(t));
        if (i == 9)
            busyWrites = timedWrites(rounds, &failedBusy);
        const Clock::time_point s = Clock::now();
        stopSampling();
        stops.push_back(msSince(s));
    }
    report("value write, while sampling", busyWrites, failedBusy);
    report("connect to first frame", firstFrame);
    report("stop", stops);
    return sim.Stop() == 0 ? 0 : 1;
}
