#include "Acquisition.h"

#include "CommonCfg.h"
#include "Console.h"
#include "GdbTransport.h"
#include "HssSession.h"
#include "PollSession.h"
#include "SampleValue.h"
#include "SessionEnd.h"
#include "StopRequest.h"
#include "WatchList.h"

#include <QByteArray>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <pthread.h>

namespace {

QByteArray g_host = "127.0.0.1";
uint16_t g_port = 3333;
pthread_t g_reader;
bool g_readerStarted = false;
std::atomic<int> g_samplingResult{0};
std::atomic<bool> g_ended{false};
std::atomic<bool> g_sessionBegun{false};
std::atomic<uint64_t> g_generation{0};
int g_startFailure = 0;
SamplingMode g_mode = SamplingMode::Auto; // set before the reader starts, read by it
std::atomic<SamplingWay> g_way{SamplingWay::None};

// The reader signals its own end so that stop can join with a deadline.
std::mutex g_exitMutex;
std::condition_variable g_exitCv;
bool g_readerExited = false;

// Stop waits this long for the reader to finish the exchange in flight, then wakes it by shutting
// the socket down; the stop packet gets what is left of the budget, so stop stays under a second.
constexpr int kStopBudgetMs = 900;
constexpr int kReaderGraceMs = 400;
// The GUI thread never waits longer on a server that accepted the connection and says nothing.
constexpr int kHandshakeDeadlineMs = 2000;

struct ExitNotice {
    ~ExitNotice() {
        std::lock_guard<std::mutex> lock(g_exitMutex);
        g_readerExited = true;
        g_exitCv.notify_all();
    }
};

bool waitReaderExit(std::chrono::milliseconds limit) {
    std::unique_lock<std::mutex> lock(g_exitMutex);
    return g_exitCv.wait_for(lock, limit, [] { return g_readerExited; });
}

} // namespace

void setSamplingTarget(const QString& host, uint16_t port) {
    g_host = host.toLatin1();
    g_port = port;
}

void* readerThreadMain(void*) {
    ExitNotice notice;

    const WatchList& list = watchList();
    const HssSettings& settings = hssSettings();
    HssConfig config;
    config.reserved = settings.reserved;
    config.startField = 1;
    config.period = settings.period;
    config.count = static_cast<uint32_t>(list.count);
    for (int i = 0; i < list.count; ++i) {
        config.address[i] = static_cast<uint32_t>(list.address[i]);
        config.size[i] = list.size[i];
    }
    config.queue = &FrameQueue::instance();
    config.queue->init();
    g_sessionBegun.store(true);

    int code = 0;
    bool refused = false;
    if (g_mode != SamplingMode::Poll) {
        g_way.store(SamplingWay::Hss);
        code = hssSession(config, g_mode == SamplingMode::Auto ? &refused : nullptr);
    }
    if (g_mode == SamplingMode::Poll || (refused && !stopRequested())) {
        if (refused)
            consolePrint("LOG>>the server has no high-speed sampling; sampling by polling\n");
        g_way.store(SamplingWay::Poll);
        code = pollSession(config);
    }
    // A session cut short by a stop has no end code of its own.
    if (!stopRequested()) {
        g_samplingResult.store(code);
        g_ended.store(true);
    }
    return nullptr;
}

int startSampling(const QVector<VarParser::VarDes>& vars) {
    g_startFailure = 0;
    if (vars.isEmpty()) {
        consolePrint("error\n");
        return -1;
    }
    // A variable whose address does not read as 32 bits would be sampled somewhere else.
    const int count = vars.size() < kMaxVars ? vars.size() : kMaxVars;
    uint32_t addresses[kMaxVars] = {};
    for (int i = 0; i < count; ++i) {
        if (!parseAddress(vars[i].address, addresses[i])) {
            consolePrint("LOG>>variable '%s' has the address '%s', which is not a 32-bit hexadecimal "
                         "address; nothing is sampled\n",
                         qPrintable(vars[i].name), qPrintable(vars[i].address));
            return -1;
        }
        const QString why = unsampledReason(valueKindOf(vars[i].type, vars[i].encoding), vars[i].size);
        if (!why.isEmpty()) {
            consolePrint("LOG>>variable '%s': %s; nothing is sampled\n", qPrintable(vars[i].name),
                         qPrintable(why));
            return -1;
        }
    }
    bool connected;
    {
        GdbDeadline deadline(kHandshakeDeadlineMs);
        connected = gdbConnect(g_host.constData(), g_port) == 0 && gdbHandshake() == 0;
    }
    if (!connected) {
        gdbClose();
        g_startFailure = 2;
        return -1;
    }

    HssSettings& settings = hssSettings();
    settings.reserved30 = 30;
    settings.period = static_cast<uint32_t>(CommonCfg::Interval());
    const int depth = CommonCfg::CurrentStepValue();
    if (depth > 0)
        settings.displayDepth.store(static_cast<uint32_t>(depth));

    WatchList& list = watchList();
    list = WatchList();
    for (int i = 0; i < count; ++i) {
        const VarParser::VarDes& v = vars[i];
        list.address[i] = addresses[i];
        list.size[i] = static_cast<uint32_t>(v.size);
        list.typeCode[i] = typeCodeOf(v);
        list.name[i] = v.name;
        list.offset[i] = 0.0f;
        list.scale[i] = 1.0f;
    }
    list.count = count;

    g_mode = CommonCfg::Mode();
    g_way.store(SamplingWay::None);
    g_samplingResult.store(0);
    g_ended.store(false);
    g_sessionBegun.store(false);
    {
        std::lock_guard<std::mutex> lock(g_exitMutex);
        g_readerExited = false;
    }
    clearStopRequest();
    // Only the reader thread sets the ring up, once per session.
    g_generation.store(FrameQueue::instance().generation() + 1);
    const int rc = pthread_create(&g_reader, nullptr, &readerThreadMain, nullptr);
    if (rc != 0) {
        gdbClose();
        return consolePrint("ReadGDB pthread_create is error %d", rc);
    }
    g_readerStarted = true;
    return 0;
}

int stopSampling() {
    const auto begin = std::chrono::steady_clock::now();
    if (g_readerStarted) {
        requestStop();
        if (!waitReaderExit(std::chrono::milliseconds(kReaderGraceMs))) {
            // Waiting on a server that does not finish its reply: give up the connection.
            consolePrint("LOG>>the server did not finish its reply; closing the connection\n");
            gdbShutdown();
            waitReaderExit(std::chrono::milliseconds(kStopBudgetMs - kReaderGraceMs));
        }
        // Every wait of the reader ends on the stop request or the shut-down socket.
        pthread_join(g_reader, nullptr);
        g_readerStarted = false;
    }
    // The server's sampling is ended only on a stream still in step; otherwise the close ends it.
    // Polling leaves nothing running on the server.
    if (gdbInStep() && g_way.load() != SamplingWay::Poll) {
        const auto spent =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin)
                .count();
        GdbDeadline deadline(spent < kStopBudgetMs - 100 ? static_cast<int>(kStopBudgetMs - spent) : 100);
        hssStop();
    }
    return gdbClose();
}

bool samplingRunning() {
    return g_readerStarted;
}

int samplingStartFailure() {
    return g_startFailure;
}

int samplingResult() {
    return g_samplingResult.load();
}

bool samplingEnded() {
    return g_ended.load();
}

bool samplingSessionBegun() {
    return g_sessionBegun.load();
}

uint64_t samplingGeneration() {
    return g_generation.load();
}

SamplingWay samplingWay() {
    return g_way.load();
}

QString samplingEndText() {
    const int code = samplingResult();
    const int failed = pollFailedVariable();
    const WatchList& list = watchList();
    if (code == kEndUnreadable && failed >= 0 && failed < list.count)
        return unreadableDescription(list.name[failed], list.address[failed],
                                     QString::fromStdString(pollFailedReply()));
    return sessionEndDescription(code);
}
