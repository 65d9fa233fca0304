#pragma once

#include "HssRequest.h"
#include "SampleRing.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

// One high-speed-sampling session: a thread that copies the requested blocks out of the shared RAM at
// the requested period into a bounded ring. Each record starts with a 32-bit little-endian time stamp in
// microseconds of the monotonic clock, counted from the session's start.
namespace Sim {

class SharedRam;

class HssSampler {
public:
    // Ring size: at most this many bytes of records (and never more than MaxRecords records).
    static constexpr std::size_t RingBytes = 16u * 1024u * 1024u;
    static constexpr std::size_t MaxRecords = 131072;

    HssSampler(const SharedRam& ram, HssStart start);
    ~HssSampler();
    HssSampler(const HssSampler&) = delete;
    HssSampler& operator=(const HssSampler&) = delete;

    void Start();
    void Stop();

    const HssStart& Request() const { return m_request; }
    SampleRing& Ring() { return m_ring; }
    std::uint64_t Taken() const { return m_taken.load(); }
    // Sampling slots skipped because the thread woke too late for them.
    std::uint64_t Missed() const { return m_missed.load(); }

private:
    void Run();
    bool WaitUntil(std::chrono::steady_clock::time_point deadline);

    const SharedRam& m_ram;
    const HssStart m_request;
    SampleRing m_ring;
    std::thread m_thread;
    std::atomic<bool> m_stop{false};
    std::atomic<std::uint64_t> m_taken{0};
    std::atomic<std::uint64_t> m_missed{0};
    std::mutex m_wakeMutex;
    std::condition_variable m_wake;
};

} // namespace Sim
