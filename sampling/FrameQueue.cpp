#include "FrameQueue.h"

#include "Console.h"
#include "Platform.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace {

uint32_t advance(uint32_t index) {
    return (index + 1) % kQueueCapacity;
}

uint32_t distance(uint32_t from, uint32_t to) {
    return (to - from + kQueueCapacity) % kQueueCapacity;
}

struct Lock {
    explicit Lock(pthread_mutex_t& m) : mutex(m), ok(pthread_mutex_lock(&m) == 0) {}
    ~Lock() {
        if (ok)
            pthread_mutex_unlock(&mutex);
    }
    pthread_mutex_t& mutex;
    bool ok;
};

} // namespace

FrameQueue& FrameQueue::instance() {
    static FrameQueue queue;
    return queue;
}

int FrameQueue::init() {
    {
        Lock lock(m_mutex);
        m_displayRead.store(0);
        m_write.store(0);
        m_historyRead.store(0);
        m_lostUnread.store(0);
        m_pushed.store(0);
        m_generation.fetch_add(1);
    }
    // The cursors are already reset, so the queue reads as empty while the storage is zeroed; nobody
    // waits on the lock for it. Only this thread pushes afterwards. Writing zeros over 1,000,000
    // frames would hold up the first sample for most of a second, so the pages are handed back to
    // the system instead and come back zeroed. A freshly allocated block is zero already.
    constexpr std::size_t bytes = sizeof(SampleFrame) * kQueueCapacity;
    if (m_storage != nullptr) {
        Platform::ZeroBlock(m_storage, bytes);
        return 0;
    }
    auto* block = static_cast<SampleFrame*>(Platform::AllocateZeroedBlock(bytes));
    if (block == nullptr) {
        consolePrint("queue is error!!\n");
        return -1;
    }
    // Readers of other threads (the recorder, the trigger) look at the storage under the lock.
    Lock lock(m_mutex);
    m_storage = block;
    return 0;
}

int FrameQueue::push(const SampleFrame& frame) {
    Lock lock(m_mutex);
    if (!lock.ok)
        return -1;
    if (m_storage == nullptr)
        return -1;
    const uint32_t write = m_write.load();
    const uint32_t next = advance(write);
    if (next == m_historyRead.load())
        m_historyRead.store(advance(next));
    if (next == m_displayRead.load()) {
        m_displayRead.store(advance(next));
        m_lostUnread.fetch_add(1);
    }
    SampleFrame& slot = m_storage[write];
    slot.time = frame.time;
    slot.count = frame.count;
    for (int i = 0; i < frame.count && i < kMaxVars; ++i)
        slot.value[i] = frame.value[i];
    m_write.store(next);
    m_pushed.fetch_add(1);
    return 0;
}

int FrameQueue::frameBySeq(uint64_t seq, SampleFrame& out) {
    Lock lock(m_mutex);
    if (!lock.ok)
        return -1;
    const uint64_t pushed = m_pushed.load();
    if (m_storage == nullptr || seq >= pushed || pushed - seq >= kQueueCapacity)
        return 0;
    out = m_storage[seq % kQueueCapacity];
    return 1;
}

int FrameQueue::copyBySeq(uint64_t generation, uint64_t seq, SampleFrame* out, uint32_t max,
                          uint64_t& first) {
    Lock lock(m_mutex);
    if (!lock.ok)
        return -1;
    const uint64_t pushed = m_pushed.load();
    const uint64_t oldest = pushed > kQueueCapacity - 1 ? pushed - (kQueueCapacity - 1) : 0;
    first = seq > oldest ? seq : oldest;
    if (m_storage == nullptr || m_generation.load() != generation || first >= pushed)
        return 0;
    const uint32_t count = pushed - first < max ? static_cast<uint32_t>(pushed - first) : max;
    // At most two runs: up to the end of the block, then from its start.
    const uint32_t at = static_cast<uint32_t>(first % kQueueCapacity);
    const uint32_t head = count < kQueueCapacity - at ? count : kQueueCapacity - at;
    std::memcpy(out, m_storage + at, head * sizeof(SampleFrame));
    std::memcpy(out + head, m_storage, (count - head) * sizeof(SampleFrame));
    return static_cast<int>(count);
}

int FrameQueue::popForDisplay(SampleFrame& out, uint32_t skip) {
    return popForDisplay(skip, 1, [&out](const SampleFrame& slot) {
        out.time = slot.time;
        out.count = slot.count;
        for (int i = 0; i < slot.count && i < kMaxVars; ++i)
            out.value[i] = slot.value[i];
    });
}

int FrameQueue::popForDisplay(uint32_t skip, uint32_t most,
                              const std::function<void(const SampleFrame&)>& visit) {
    Lock lock(m_mutex);
    if (!lock.ok)
        return -1;
    if (m_storage == nullptr)
        return 0;
    const uint32_t write = m_write.load();
    uint32_t read = m_displayRead.load();
    uint32_t visited = 0;
    for (; visited < most && read != write; ++visited) {
        const uint32_t chosen = skip < distance(read, write) ? (read + skip) % kQueueCapacity
                                                             : (write + kQueueCapacity - 1) % kQueueCapacity;
        if (skip > 0) {
            // Frames far apart: fetch a few ahead, as no hardware prefetcher guesses a stride this long.
            const char* ahead =
                reinterpret_cast<const char*>(&m_storage[(chosen + 8 * (skip + 1)) % kQueueCapacity]);
            __builtin_prefetch(ahead);
            __builtin_prefetch(ahead + 64);
            __builtin_prefetch(ahead + 128);
            __builtin_prefetch(ahead + offsetof(SampleFrame, count));
        }
        visit(m_storage[chosen]);
        read = advance(chosen);
    }
    m_displayRead.store(read);
    return static_cast<int>(visited);
}

int FrameQueue::frameAt(uint32_t position, SampleFrame& out) {
    Lock lock(m_mutex);
    if (!lock.ok)
        return -1;
    if (m_storage == nullptr)
        return 0;
    out = m_storage[(m_historyRead.load() + position % kQueueCapacity) % kQueueCapacity];
    return 1;
}

int FrameQueue::newest(SampleFrame& out) {
    Lock lock(m_mutex);
    if (!lock.ok)
        return -1;
    const uint32_t write = m_write.load();
    if (m_storage == nullptr || write == m_historyRead.load())
        return 0;
    out = m_storage[(write + kQueueCapacity - 1) % kQueueCapacity];
    return 1;
}

uint32_t FrameQueue::displaySize() const {
    return distance(m_displayRead.load(), m_write.load());
}

uint32_t FrameQueue::historySize() const {
    return distance(m_historyRead.load(), m_write.load());
}

bool FrameQueue::displayEmpty() const {
    return m_displayRead.load() == m_write.load();
}

bool FrameQueue::historyEmpty() const {
    return m_historyRead.load() == m_write.load();
}
