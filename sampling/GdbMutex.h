#pragma once

#include <atomic>
#include <pthread.h>

// The recursive mutex that serialises every request/reply exchange on the GDB server channel.
// Waits are taken in short timed slices with a cancellation point between them, so a reader thread
// waiting here can still be stopped; a thread stopped while holding it gives it up (see
// GdbMutexCleanup).
class GdbMutex {
public:
    GdbMutex();
    ~GdbMutex();
    GdbMutex(const GdbMutex&) = delete;
    GdbMutex& operator=(const GdbMutex&) = delete;

    // Waits without limit (but cancellable); 0 on success, -1 if the wait failed.
    int lock();
    int unlock();
    // How many times the calling thread holds it.
    int depth() const;
    // Releases every level the calling thread holds.
    void releaseAll();

private:
    pthread_mutex_t m_mutex;
    std::atomic<int> m_owner{0}; // id of the holding thread, 0 when free
    int m_count = 0;             // levels held; touched only by the holder
};

// Releases the mutex levels the current thread still holds when it leaves the scope, also when the
// thread unwinds on cancellation.
class GdbMutexCleanup {
public:
    explicit GdbMutexCleanup(GdbMutex& m) : m_mutex(m) {}
    ~GdbMutexCleanup() { m_mutex.releaseAll(); }
    GdbMutexCleanup(const GdbMutexCleanup&) = delete;
    GdbMutexCleanup& operator=(const GdbMutexCleanup&) = delete;

private:
    GdbMutex& m_mutex;
};
