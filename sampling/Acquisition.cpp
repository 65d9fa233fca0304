#include "Acquisition.h"

#include "Cancellation.h"
#include "CommonCfg.h"
#include "Console.h"
#include "GdbTransport.h"
#include "HssSession.h"
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
int g_startFailure = 0;

// The reader signals its own end so that stop can join with a deadline.
std::mutex g_exitMutex;
std::condition_variable g_exitCv;
bool g_readerExited = false;

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
    markCancellableThread();

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
        config.typeCode[i] = list.typeCode[i];
    }
    config.queue = &FrameQueue::instance();
    config.queue->init();
    g_sessionBegun.store(true);

    try {
        g_samplingResult.store(hssSession(config));
        g_ended.store(true);
    } catch (const ThreadCancelled&) {
        // Stopped from outside: the session has no end code of its own.
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
    }
    if (gdbConnect(g_host.constData(), g_port) != 0 || gdbHandshake() != 0) {
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

    g_samplingResult.store(0);
    g_ended.store(false);
    g_sessionBegun.store(false);
    {
        std::lock_guard<std::mutex> lock(g_exitMutex);
        g_readerExited = false;
    }
    clearCancellation();
    const int rc = pthread_create(&g_reader, nullptr, &readerThreadMain, nullptr);
    if (rc != 0) {
        const int printed = consolePrint("ReadGDB pthread_create is error %d", rc);
        return printed;
    }
    g_readerStarted = true;
    return 0;
}

int stopSampling() {
    bool cancelledInFlight = false;
    if (g_readerStarted) {
        requestCancellation();
        if (waitReaderExit(std::chrono::milliseconds(400))) {
            pthread_join(g_reader, nullptr);
        } else {
            // Stuck where no cancellation point comes: leave it to finish on its own.
            consolePrint("LOG>>reader thread did not stop in time\n");
            pthread_detach(g_reader);
        }
        g_readerStarted = false;
        cancelledInFlight = !g_ended.load();
    }
    // A reader cancelled in the middle of an exchange, or one that lost the stream, leaves half a
    // reply or half the sample data behind; nothing after it could be read in step. A reader
    // cancelled between exchanges left the buffer empty, so this drops nothing of value.
    const int result = g_samplingResult.load();
    if (cancelledInFlight || result == 3 || result == -1)
        gdbRecvFill() = 0;
    // The server gets a bounded time to answer the stop, so a silent one cannot hold us up.
    gdbSetReceiveDeadline(400);
    hssStop();
    gdbSetReceiveDeadline(0);
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
