#include "GdbMutex.h"

#include <ctime>

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

void GdbMutex::lock() {
    if (try_lock())
        return;
    ++m_waiters;
    pthread_mutex_lock(&m_mutex);
    --m_waiters;
}

bool GdbMutex::try_lock() {
    return pthread_mutex_trylock(&m_mutex) == 0;
}

void GdbMutex::unlock() {
    pthread_mutex_unlock(&m_mutex);
}

bool GdbMutex::try_lock_for(std::chrono::milliseconds limit) {
    if (try_lock())
        return true;
    timespec until;
    clock_gettime(CLOCK_REALTIME, &until);
    const long long ms = limit.count() > 0 ? limit.count() : 0;
    until.tv_sec += static_cast<time_t>(ms / 1000);
    until.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
    if (until.tv_nsec >= 1000000000L) {
        until.tv_sec += 1;
        until.tv_nsec -= 1000000000L;
    }
    ++m_waiters;
    const bool locked = pthread_mutex_timedlock(&m_mutex, &until) == 0;
    --m_waiters;
    return locked;
}
