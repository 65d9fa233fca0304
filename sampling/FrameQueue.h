#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <pthread.h>

constexpr int kMaxVars = 34;
constexpr uint32_t kQueueCapacity = 1000000;

// One sample instant: accumulated time and the raw bytes of each watched variable, little-endian in
// the low bytes of its slot and zero above (SampleValue.h). How a slot reads is its variable's type
// code in the watch list: frames carry no codes, so one slot holds up to 8 bytes at 288 bytes a frame.
struct SampleFrame {
    uint64_t time;
    uint64_t value[kMaxVars];
    int32_t count;
};
// The ring of 1,000,000 frames is the capture tool's and the program's largest block of memory.
static_assert(sizeof(SampleFrame) * kQueueCapacity <= 300u * 1000u * 1000u, "the frame ring outgrows 300 MB");

// The process-wide ring of 1,000,000 frames from the reader thread to the display. It overwrites the
// oldest frame instead of blocking the reader; one slot always stays free. Two read cursors: the
// display cursor and the oldest frame kept (history).
class FrameQueue {
public:
    static FrameQueue& instance();

    // Creates the mutex, zeroes the cursors and the storage (allocated once, on first use).
    int init();
    int push(const SampleFrame& frame);
    // Takes the frame `skip` places ahead of the display cursor (or the newest, when fewer are there)
    // and moves the cursor past it. 1 when a frame was copied out, 0 when empty, -1 on a lock failure.
    int popForDisplay(SampleFrame& out, uint32_t skip);
    // Up to `most` of the pops above under one lock, each frame handed to `visit` where it lies (which
    // must not call back into the queue). The frames visited, -1 on a lock failure.
    int popForDisplay(uint32_t skip, uint32_t most, const std::function<void(const SampleFrame&)>& visit);

    // Copies the frame `position` places after the oldest kept one (the history cursor), counting
    // round the ring. 1 when copied, 0 without storage, -1 on a lock failure.
    int frameAt(uint32_t position, SampleFrame& out);
    // Copies the newest frame. 1 when copied, 0 when the ring is empty, -1 on a lock failure.
    int newest(SampleFrame& out);

    uint32_t displaySize() const;
    uint32_t historySize() const;
    bool displayEmpty() const;
    bool historyEmpty() const;

    // Cursor access for the drain, which repositions the display cursor by itself.
    uint32_t displayRead() const { return m_displayRead.load(); }
    void setDisplayRead(uint32_t index) { m_displayRead.store(index % kQueueCapacity); }
    uint32_t historyRead() const { return m_historyRead.load(); }
    uint32_t writeIndex() const { return m_write.load(); }
    // Frames pushed since init(): the sequence number the next frame gets. A frame's slot is its
    // sequence number modulo the capacity.
    uint64_t pushed() const { return m_pushed.load(); }
    // Counts the init() calls: a reader of sequence numbers sees that the ring started again.
    uint64_t generation() const { return m_generation.load(); }
    // Copies the frame of this sequence number: 1 when copied, 0 when the ring no longer (or not yet)
    // holds it, -1 on a lock failure.
    int frameBySeq(uint64_t seq, SampleFrame& out);
    // Copies up to `max` consecutive frames from sequence number `seq` on under one lock, as long as the
    // ring is still in `generation`; frames it no longer holds are passed over, and `first` gets the
    // sequence number of the first one copied. The number copied, or -1 on a lock failure.
    int copyBySeq(uint64_t generation, uint64_t seq, SampleFrame* out, uint32_t max, uint64_t& first);

    // Frames the ring overwrote before the display cursor reached them, since init().
    uint64_t overwrittenUnread() const { return m_lostUnread.load(); }
    bool hasStorage() const { return m_storage != nullptr; }

private:
    FrameQueue() = default;
    SampleFrame* m_storage = nullptr;
    std::atomic<uint32_t> m_displayRead{0};
    std::atomic<uint32_t> m_write{0};
    std::atomic<uint32_t> m_historyRead{0};
    std::atomic<uint64_t> m_lostUnread{0};
    std::atomic<uint64_t> m_pushed{0};
    std::atomic<uint64_t> m_generation{0};
    pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
};
