#pragma once

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

private:
    pthread_mutex_t m_mutex;
};
