#pragma once

#include <QString>
#include <QtGlobal>
#include <functional>

// The process-wide frame-rate meter behind the "FPS: %0" label: a counter of drawn batches and a
// clock started on first use.
namespace FrameRate {

// Counts one drawn batch. When at least 1000 ms have passed and `show` is true, gives the rate
// (frames x 1000 / elapsed ms, integer division), clears the counter, restarts the clock and
// returns true. Otherwise it returns false and keeps counting.
bool CountFrame(bool show, qint64& rate);
// frames x 1000 / elapsedMs in integer division; 0 for an elapsed time of 0.
qint64 Rate(qint64 frames, qint64 elapsedMs);
// The label text for a rate.
QString LabelText(qint64 rate);
// Frames counted since the clock last started.
qint64 PendingFrames();

// Clears the counter and stops the clock (for tests).
void ResetForTests();
// Reads the time in milliseconds from `nowMs` instead of the steady clock; an empty function puts
// the steady clock back (for tests).
void SetClockForTests(std::function<qint64()> nowMs);

} // namespace FrameRate
