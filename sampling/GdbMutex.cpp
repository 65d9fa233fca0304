#include "GdbMutex.h"

#include "Cancellation.h"

#include <cerrno>
#include <ctime>

namespace {
std::atomic<int> g_nextThreadId{0};
int threadId() {
    thread_local const int id = ++g_nextThreadId;
    return id;
}
} // namespace

GdbMutex::GdbMutex() {
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m_mutex, &attr);
    pthread_mutexattr_destroy(&attr);
}

GdbMutex::~GdbMutex() {
    pthread_mutex_destroy(&m_mutex);
}

int GdbMutex::lock() {
    for (;;) {
        timespec until;
        clock_gettime(CLOCK_REALTIME, &until);
        until.tv_nsec += 50 * 1000 * 1000;
        if (until.tv_nsec >= 1000000000L) {
            until.tv_sec += 1;
            until.tv_nsec -= 1000000000L;
        }
        const int rc = pthread_mutex_timedlock(&m_mutex, &until);
        if (rc == 0) {
            m_owner.store(threadId());
            ++m_count;
            return 0;
        }
        if (rc != ETIMEDOUT)
            return -1;
        // A reader waiting for a writer that never lets go must still be stoppable.
        cancellationPoint();
    }
}

int GdbMutex::unlock() {
    if (depth() == 0)
        return -1;
    if (--m_count == 0)
        m_owner.store(0);
    pthread_mutex_unlock(&m_mutex);
    return 0;
}

int GdbMutex::depth() const {
    return m_owner.load() == threadId() ? m_count : 0;
}

void GdbMutex::releaseAll() {
    while (depth() > 0)
        unlock();
}
