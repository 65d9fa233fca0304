#pragma once

#include <QByteArray>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

// Bounded first-in first-out store of fixed-size sample records between the sampling thread and the
// connection that reads them. When full, new records are dropped and counted: the reader then sees a
// gap in the time stamps rather than stale data.
namespace Sim {

class SampleRing {
public:
    SampleRing(std::size_t recordSize, std::size_t capacity);

    std::size_t RecordSize() const { return m_recordSize; }
    std::size_t Capacity() const { return m_capacity; }

    // Copies one record in; false when the ring is full (the record is dropped and counted).
    bool Push(const unsigned char* record);
    // Moves up to max oldest records to the end of out; returns how many.
    std::size_t Take(std::size_t max, QByteArray& out);

    std::size_t Count() const;
    std::uint64_t Dropped() const;

private:
    const std::size_t m_recordSize;
    const std::size_t m_capacity;
    std::vector<unsigned char> m_storage;
    mutable std::mutex m_mutex;
    std::size_t m_head = 0; // index of the oldest record
    std::size_t m_count = 0;
    std::uint64_t m_dropped = 0;
};

} // namespace Sim
