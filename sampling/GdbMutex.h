#pragma once

#include <atomic>
#include <chrono>
#include <pthread.h>

// The recursive mutex that serialises every request/reply exchange on the GDB server channel. It
// meets the timed-lockable requirements, so std::unique_lock scopes it; timed waits go through
// pthread_mutex_timedlock, which the thread sanitizer understands.
class GdbMutex {
public:
    GdbMutex();
    ~GdbMutex();
    GdbMutex(const GdbMutex&) = delete;
    GdbMutex& operator=(const GdbMutex&) = delete;

    void lock();
    bool try_lock();
    void unlock();
    bool try_lock_for(std::chrono::milliseconds limit);
    // Threads blocked waiting for the channel. A reader that takes it again at once after a poll
    // lets them go first: the mutex is not fair, and a value write would otherwise starve.
    int waiters() const { return m_waiters.load(); }

private:
    pthread_mutex_t m_mutex;
    std::atomic<int> m_waiters{0};
};
