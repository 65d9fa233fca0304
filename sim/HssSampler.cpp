#include "HssSampler.h"

#include "SharedRam.h"

#include <algorithm>
#include <cstring>
#include <sys/prctl.h>
#include <vector>

namespace Sim {

namespace {
using Clock = std::chrono::steady_clock;
// Below this distance to the next slot the thread spins instead of sleeping: a sleep's wake-up latency
// would eat short periods.
constexpr auto SpinWindow = std::chrono::microseconds(60);
constexpr auto WakeEarly = std::chrono::microseconds(50);

std::size_t RingCapacity(std::size_t recordSize) {
    return std::clamp<std::size_t>(HssSampler::RingBytes / recordSize, 1024, HssSampler::MaxRecords);
}
} // namespace

HssSampler::HssSampler(const SharedRam& ram, HssStart start)
    : m_ram(ram), m_request(std::move(start)),
      m_ring(m_request.RecordSize(), RingCapacity(m_request.RecordSize())) {}

HssSampler::~HssSampler() {
    Stop();
}

void HssSampler::Start() {
    if (!m_thread.joinable())
        m_thread = std::thread([this] { Run(); });
}

void HssSampler::Stop() {
    {
        std::lock_guard<std::mutex> lock(m_wakeMutex);
        m_stop = true;
    }
    m_wake.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

bool HssSampler::WaitUntil(Clock::time_point deadline) {
    for (;;) {
        if (m_stop.load(std::memory_order_relaxed))
            return false;
        const auto now = Clock::now();
        if (now >= deadline)
            return true;
        if (deadline - now > SpinWindow) {
            std::unique_lock<std::mutex> lock(m_wakeMutex);
            m_wake.wait_until(lock, deadline - WakeEarly, [this] { return m_stop.load(); });
        }
    }
}

void HssSampler::Run() {
    // Sleeps end within a microsecond of their deadline instead of the default 50 us slack.
    ::prctl(PR_SET_TIMERSLACK, 1000UL, 0UL, 0UL, 0UL);
    const auto period = std::chrono::microseconds(m_request.periodUs);
    std::vector<unsigned char> record(m_request.RecordSize());
    // Resolved once: the map and the mapping do not change during a session. The session checked every
    // block; one that is not memory anyway reads as zeros rather than touching anything.
    std::vector<const unsigned char*> sources;
    for (const HssBlock& block : m_request.blocks)
        sources.push_back(m_ram.At(block.address, block.size));
    const auto start = Clock::now();
    auto next = start;
    while (WaitUntil(next)) {
        const auto now = Clock::now();
        const auto stamp = static_cast<std::uint32_t>(
            std::chrono::duration_cast<std::chrono::microseconds>(now - start).count());
        for (int i = 0; i < 4; ++i)
            record[i] = static_cast<unsigned char>(stamp >> (8 * i));
        {
            const auto lock = m_ram.ReadLock();
            unsigned char* out = record.data() + 4;
            for (std::size_t i = 0; i < sources.size(); ++i) {
                const std::uint32_t size = m_request.blocks[i].size;
                if (sources[i])
                    std::memcpy(out, sources[i], size);
                else
                    std::memset(out, 0, size);
                out += size;
            }
        }
        m_ring.Push(record.data());
        m_taken.fetch_add(1, std::memory_order_relaxed);
        next += period;
        if (now >= next) {
            // Woke up too late for one or more slots: skip them rather than burst to catch up.
            const auto behind = (now - next) / period + 1;
            next += behind * period;
            m_missed.fetch_add(static_cast<std::uint64_t>(behind), std::memory_order_relaxed);
        }
    }
}

} // namespace Sim
