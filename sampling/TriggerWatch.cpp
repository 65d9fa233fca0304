#include "TriggerWatch.h"

#include "FrameQueue.h"
#include "RingWindow.h"

#include <algorithm>

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
    const auto feed = [this, &captured](const SampleFrame& frame, uint64_t seq) {
        if (m_detector.feed(frame, seq)) {
            captured = true;
            m_haveCapture = true;
            m_triggerChart.store(RingWindow::ChartTime(m_detector.triggerTime()));
        }
    };
    // A thousand frames a lock: the reader's push waits for one such chunk at most.
    while (m_nextSeq < pushed) {
        const uint64_t end = std::min<uint64_t>(pushed, m_nextSeq + 1024);
        queue.framesBySeq(m_nextSeq, end, feed);
        m_nextSeq = end;
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
