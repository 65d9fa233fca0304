#include "Cancellation.h"

#include <atomic>
#include <time.h>

namespace {
std::atomic<bool> g_requested{false};
thread_local bool t_cancellable = false;
} // namespace

void markCancellableThread() {
    t_cancellable = true;
}

void requestCancellation() {
    g_requested.store(true);
}

void clearCancellation() {
    g_requested.store(false);
}

void cancellationPoint() {
    if (t_cancellable && g_requested.load())
        throw ThreadCancelled();
}

void cancellableSleepMs(int ms) {
    while (ms > 0) {
        const int slice = ms < 20 ? ms : 20;
        timespec t{0, slice * 1000000L};
        nanosleep(&t, nullptr);
        ms -= slice;
        cancellationPoint();
    }
}
