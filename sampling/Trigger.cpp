#include "Trigger.h"

#include "SampleValue.h"

#include <QStringList>

namespace {
const QStringList kEdgeNames{"rising", "falling", "either"};
const QStringList kModeNames{"Off", "Auto", "Normal", "Single"};

template <typename E> bool parseName(const QStringList& names, const QString& text, E& out) {
    for (int i = 0; i < names.size(); ++i) {
        if (names[i].compare(text.trimmed(), Qt::CaseInsensitive) == 0) {
            out = static_cast<E>(i);
            return true;
        }
    }
    return false;
}
} // namespace

bool ParseTriggerEdge(const QString& text, TriggerEdge& edge) {
    return parseName(kEdgeNames, text, edge);
}

QString TriggerEdgeName(TriggerEdge edge) {
    return kEdgeNames.value(static_cast<int>(edge));
}

bool ParseTriggerMode(const QString& text, TriggerMode& mode) {
    return parseName(kModeNames, text, mode);
}

QString TriggerModeName(TriggerMode mode) {
    return kModeNames.value(static_cast<int>(mode));
}

void TriggerDetector::configure(const TriggerSettings& settings) {
    m_settings = settings;
    m_captures = 0;
    m_started = false;
    rearm();
}

void TriggerDetector::rearm() {
    m_state = m_settings.mode == TriggerMode::Off ? State::Off : State::Armed;
    m_belowArmed = m_aboveArmed = false;
    m_pending = false;
    m_eventTimeSet = false;
}

double TriggerDetector::displayedValue(const SampleFrame& frame) const {
    const int slot = m_settings.slot;
    const double raw =
        slot >= 0 && slot < kMaxVars ? readSample(frame.value[slot], m_settings.typeCode).toDouble() : 0;
    return raw * m_settings.scale + m_settings.offset;
}

bool TriggerDetector::crossed(double value) {
    const TriggerSettings& s = m_settings;
    const bool rising = s.edge != TriggerEdge::Falling && m_belowArmed && value >= s.level;
    const bool falling = s.edge != TriggerEdge::Rising && m_aboveArmed && value <= s.level;
    // A trigger disarms both edges; the triggering value may arm the other one at once (either edge).
    // With no hysteresis a value exactly at the level arms neither, so it cannot trigger twice.
    if (rising || falling)
        m_belowArmed = m_aboveArmed = false;
    if (value < s.level - s.hysteresis)
        m_belowArmed = true;
    if (value > s.level + s.hysteresis)
        m_aboveArmed = true;
    return rising || falling;
}

bool TriggerDetector::feed(const SampleFrame& frame, uint64_t seq) {
    if (m_state == State::Off || m_state == State::Done)
        return false;
    const TriggerSettings& s = m_settings;
    if (!m_started) {
        m_started = true;
        m_firstSeq = seq;
        m_firstTime = frame.time;
    }
    if (!m_eventTimeSet) {
        m_eventTimeSet = true;
        m_lastEventTime = frame.time;
    }
    const double value = displayedValue(frame);
    if (!m_pending) {
        const uint64_t behind = s.byTime ? frame.time - m_firstTime : seq - m_firstSeq;
        if (crossed(value) && behind >= s.pre) {
            m_state = State::Triggered;
            m_pending = true;
            m_pendingSeq = seq;
            m_pendingTime = frame.time;
            m_lastEventTime = frame.time;
        } else {
            if (s.mode == TriggerMode::Auto && frame.time - m_lastEventTime >= s.autoAfterUs)
                m_state = State::Auto;
            return false;
        }
    } else {
        // While the post-trigger part fills no trigger is looked for, only the arming goes on.
        crossed(value);
    }
    const uint64_t done = s.byTime ? frame.time - m_pendingTime : seq - m_pendingSeq;
    if (done < s.post)
        return false;
    m_pending = false;
    m_capturedSeq = m_pendingSeq;
    m_capturedTime = m_pendingTime;
    ++m_captures;
    if (s.mode == TriggerMode::Single)
        m_state = State::Done;
    return true;
}
