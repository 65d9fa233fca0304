#pragma once

#include "Trigger.h"

#include <QMutex>
#include <QObject>
#include <QPointF>
#include <QVector>
#include <atomic>
#include <vector>

// The running trigger of the display: on the display worker's thread, at every tick, it looks at
// every frame that came in since the last tick (not only the thinned ones drawn), and while a capture
// is to be shown it hands out the frames of its window instead of the live ones.
class TriggerWatch : public QObject {
    Q_OBJECT
public:
    static TriggerWatch& Instance();

    // New settings (from any thread); arms and forgets the last capture. The window is taken as
    // microseconds of frame time.
    void Configure(const TriggerSettings& settings);
    void Rearm();
    // Start of acquisition: scanning begins with the next frame pushed.
    void Restart();
    TriggerDetector::State State() const { return m_state.load(); }
    // Whether a capture is shown (its trigger point is on the screen).
    bool HasCapture() const { return m_shownCapture.load(); }
    // Chart time of the last capture's trigger sample; valid once Captured() was emitted.
    qint64 TriggerChartTime() const { return m_triggerChart.load(); }
    // Chart time of the left edge of the last capture's window.
    qint64 WindowLeft() const { return m_triggerChart.load() - m_pre.load(); }

    // Worker thread: scans the new frames; true when `out` (one vector per watched variable) now holds
    // the window of the last capture to draw instead of the live frames.
    bool Scan(QVector<QVector<QPointF>>& out);

signals:
    // A capture is complete (queued to the GUI thread; with Single acquisition is to stop).
    void Captured(bool single);
    void StateChanged(int state);

private:
    TriggerWatch() = default;

    QMutex m_lock; // settings and detector: changed by the GUI, used by the worker
    TriggerDetector m_detector;
    uint64_t m_nextSeq = 0;
    std::vector<SampleFrame> m_chunk = std::vector<SampleFrame>(512);
    uint64_t m_generation = 0;
    bool m_haveCapture = false;
    std::atomic<TriggerDetector::State> m_state{TriggerDetector::State::Off};
    std::atomic<qint64> m_triggerChart{0};
    std::atomic<bool> m_shownCapture{false};
    std::atomic<qint64> m_pre{0};
};
