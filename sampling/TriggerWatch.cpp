#include "TriggerWatch.h"

#include "FrameQueue.h"
#include "RingWindow.h"

namespace {
// About as many points per variable as a live tick draws.
constexpr uint32_t kWindowPoints = 10000;
} // namespace

TriggerWatch& TriggerWatch::Instance() {
    static TriggerWatch watch;
    return watch;
}

void TriggerWatch::Configure(const TriggerSettings& settings) {
    QMutexLocker lock(&m_lock);
    TriggerSettings s = settings;
    s.byTime = true;
    m_detector.configure(s);
    m_pre.store(static_cast<qint64>(s.pre));
    m_haveCapture = false;
    m_shownCapture.store(false);
    m_state.store(m_detector.state());
}

void TriggerWatch::Rearm() {
    QMutexLocker lock(&m_lock);
    m_detector.configure(m_detector.settings());
    m_haveCapture = false;
    m_shownCapture.store(false);
    m_state.store(m_detector.state());
}

void TriggerWatch::Restart() {
    QMutexLocker lock(&m_lock);
    m_nextSeq = FrameQueue::instance().pushed();
    m_generation = FrameQueue::instance().generation();
    m_detector.configure(m_detector.settings());
    m_haveCapture = false;
    m_shownCapture.store(false);
    m_state.store(m_detector.state());
}

bool TriggerWatch::Scan(QVector<QVector<QPointF>>& out) {
    QMutexLocker lock(&m_lock);
    if (m_detector.settings().mode == TriggerMode::Off)
        return false;
    FrameQueue& queue = FrameQueue::instance();
    const uint64_t pushed = queue.pushed();
    // The ring was set up again (a new session's reader does it after Restart() may have run): its
    // frames count from 0.
    if (queue.generation() != m_generation) {
        m_generation = queue.generation();
        m_nextSeq = 0;
        m_detector.configure(m_detector.settings());
    }
    // Frames the ring overwrote before this tick are gone: the scan goes on from the oldest kept.
    if (pushed > m_nextSeq + (kQueueCapacity - 1))
        m_nextSeq = pushed - (kQueueCapacity - 1);
    const TriggerDetector::State before = m_detector.state();
    bool captured = false;
    // A few hundred frames a lock: the reader's push waits for one such copy at most.
    while (m_nextSeq < pushed) {
        uint64_t first = m_nextSeq;
        const int copied = queue.copyBySeq(m_generation, m_nextSeq, m_chunk.data(),
                                           static_cast<uint32_t>(m_chunk.size()), first);
        if (copied <= 0)
            break;
        for (int i = 0; i < copied; ++i) {
            if (m_detector.feed(m_chunk[i], first + i)) {
                captured = true;
                m_haveCapture = true;
                m_triggerChart.store(RingWindow::ChartTime(m_detector.triggerTime()));
            }
        }
        m_nextSeq = first + copied;
    }
    const TriggerDetector::State now = m_detector.state();
    m_state.store(now);
    if (now != before)
        emit StateChanged(static_cast<int>(now));
    if (captured)
        emit Captured(m_detector.settings().mode == TriggerMode::Single);
    // Auto running free, or no capture yet: the live frames.
    m_shownCapture.store(m_haveCapture && now != TriggerDetector::State::Auto);
    if (!m_shownCapture.load())
        return false;
    const TriggerSettings& s = m_detector.settings();
    const qint64 at = m_triggerChart.load();
    RingWindow::Points(queue, at - static_cast<qint64>(s.pre), at + static_cast<qint64>(s.post),
                       kWindowPoints, out);
    return true;
}
