#pragma once

#include "FrameQueue.h"

#include <QString>
#include <cstdint>

// An oscilloscope's trigger on one watched variable, looked for in every frame as it arrives (never in
// the thinned display points). Frames are counted from the start of acquisition by a 64-bit sequence
// number, so a capture's place in the frame ring survives the ring's wrap. No widgets here.

enum class TriggerMode { Off, Auto, Normal, Single };
enum class TriggerEdge { Rising, Falling, Either };

// "rising", "falling", "either" (any case); false for any other text.
bool ParseTriggerEdge(const QString& text, TriggerEdge& edge);
QString TriggerEdgeName(TriggerEdge edge);
// "Off", "Auto", "Normal", "Single" (any case); false for any other text.
bool ParseTriggerMode(const QString& text, TriggerMode& mode);
QString TriggerModeName(TriggerMode mode);

struct TriggerSettings {
    TriggerMode mode = TriggerMode::Off;
    int slot = 0;                 // the source's watch-list slot
    int32_t typeCode = 1;         // how the slot reads (SampleValue.h)
    double scale = 1, offset = 0; // the source's Y resolution and Y offset: the level is a displayed value
    TriggerEdge edge = TriggerEdge::Rising;
    double level = 0;
    // A rising edge counts only after the value was below level - hysteresis (falling: above level +
    // hysteresis), so that jitter around the level does not trigger again and again.
    double hysteresis = 0;
    // The window around the trigger sample: `pre` before it, `post` after it, in frames or, with
    // `byTime`, in microseconds of frame time. A trigger needs the whole pre-trigger part behind it.
    bool byTime = false;
    uint64_t pre = 0;
    uint64_t post = 0;
    uint64_t autoAfterUs = 0; // Auto: free-running after this long without a trigger
};

class TriggerDetector {
public:
    // What the status bar shows: waiting, a trigger found (Normal keeps showing its window), running
    // free in Auto, or a Single capture complete and acquisition to stop.
    enum class State { Off, Armed, Triggered, Auto, Done };

    // Takes the settings and arms; forgets any earlier trigger.
    void configure(const TriggerSettings& settings);
    // Arms again after a Single capture (or at any time), forgetting the last trigger.
    void rearm();
    // Looks at one frame, `seq` its sequence number (one more than the frame before). True when this
    // frame completes a capture: the post-trigger part of the latest trigger is in.
    bool feed(const SampleFrame& frame, uint64_t seq);

    State state() const { return m_state; }
    const TriggerSettings& settings() const { return m_settings; }
    // The latest completed capture's trigger sample; valid once captures() > 0.
    uint64_t triggerSeq() const { return m_capturedSeq; }
    uint64_t triggerTime() const { return m_capturedTime; }
    uint64_t captures() const { return m_captures; }
    // The source's displayed value in a frame.
    double displayedValue(const SampleFrame& frame) const;

    // Where a frame's sequence number lies in the frame ring, and whether the ring still holds it
    // while `pushed` frames have gone in (the ring keeps all but one of its slots).
    static uint32_t RingIndex(uint64_t seq) { return static_cast<uint32_t>(seq % kQueueCapacity); }
    static bool Held(uint64_t seq, uint64_t pushed) { return seq < pushed && pushed - seq < kQueueCapacity; }

private:
    bool crossed(double value);

    TriggerSettings m_settings;
    State m_state = State::Off;
    bool m_belowArmed = false; // seen below level - hysteresis since the last trigger
    bool m_aboveArmed = false;
    bool m_started = false; // a first frame seen: where the pre-trigger part is counted from
    uint64_t m_firstSeq = 0, m_firstTime = 0;
    bool m_pending = false; // a trigger waits for its post-trigger part
    uint64_t m_pendingSeq = 0, m_pendingTime = 0;
    uint64_t m_lastEventTime = 0; // the last trigger or arming, for Auto's timeout
    bool m_eventTimeSet = false;
    uint64_t m_capturedSeq = 0, m_capturedTime = 0, m_captures = 0;
};
