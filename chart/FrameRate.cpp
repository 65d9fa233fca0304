#include "FrameRate.h"

#include <QElapsedTimer>

namespace {

qint64 s_frames = 0;
QElapsedTimer s_clock;

} // namespace

namespace FrameRate {

bool CountFrame(bool show, qint64& rate) {
    ++s_frames;
    if (!s_clock.isValid())
        s_clock.start();
    const qint64 elapsed = s_clock.elapsed();
    if (elapsed < 1000 || !show)
        return false;
    rate = Rate(s_frames, elapsed);
    s_frames = 0;
    s_clock.restart();
    return true;
}

qint64 Rate(qint64 frames, qint64 elapsedMs) {
    return elapsedMs <= 0 ? 0 : frames * 1000 / elapsedMs;
}

QString LabelText(qint64 rate) {
    return QString("FPS: %0").arg(static_cast<double>(rate), 0, 'f', 0, QLatin1Char(' '));
}

qint64 PendingFrames() {
    return s_frames;
}

void ResetForTests() {
    s_frames = 0;
    s_clock.invalidate();
}

} // namespace FrameRate
