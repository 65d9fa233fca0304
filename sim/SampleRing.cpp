#include "SampleRing.h"

#include <algorithm>
#include <cstring>

namespace Sim {

SampleRing::SampleRing(std::size_t recordSize, std::size_t capacity)
    : m_recordSize(recordSize), m_capacity(std::max<std::size_t>(capacity, 1)),
      m_storage(m_recordSize * m_capacity) {}

bool SampleRing::Push(const unsigned char* record) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_count == m_capacity) {
        ++m_dropped;
        return false;
    }
    const std::size_t slot = (m_head + m_count) % m_capacity;
    std::memcpy(m_storage.data() + slot * m_recordSize, record, m_recordSize);
    ++m_count;
    return true;
}

std::size_t SampleRing::Take(std::size_t max, QByteArray& out) {
    std::lock_guard<std::mutex> lock(m_mutex);
    const std::size_t taken = std::min(max, m_count);
    std::size_t left = taken;
    while (left > 0) {
        // At most two contiguous runs: up to the end of the storage, then from its start.
        const std::size_t run = std::min(left, m_capacity - m_head);
        out.append(reinterpret_cast<const char*>(m_storage.data() + m_head * m_recordSize),
                   static_cast<int>(run * m_recordSize));
        m_head = (m_head + run) % m_capacity;
        m_count -= run;
        left -= run;
    }
    return taken;
}

std::size_t SampleRing::Count() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_count;
}

std::uint64_t SampleRing::Dropped() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_dropped;
}

} // namespace Sim
