#include "StopRequest.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace {
std::atomic<bool> g_stop{false};
}

void requestStop() {
    g_stop.store(true);
}

void clearStopRequest() {
    g_stop.store(false);
}

bool stopRequested() {
    return g_stop.load();
}

bool pauseUnlessStopped(int ms) {
    while (ms > 0) {
        if (stopRequested())
            return false;
        const int slice = ms < 20 ? ms : 20;
        std::this_thread::sleep_for(std::chrono::milliseconds(slice));
        ms -= slice;
    }
    return !stopRequested();
}

bool lockUnlessStopped(std::unique_lock<GdbMutex>& channel) {
    while (!channel.try_lock_for(std::chrono::milliseconds(50))) {
        if (stopRequested())
            return false;
    }
    return true;
}
