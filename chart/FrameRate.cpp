#include "FrameRate.h"

#include <chrono>

namespace {

qint64 s_frames = 0;
qint64 s_startMs = -1; // clock reading when the count began; -1 before the first frame
std::function<qint64()> s_now;

qint64 NowMs() {
    if (s_now)
        return s_now();
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

namespace FrameRate {

bool CountFrame(bool show, qint64& rate) {
    ++s_frames;
    const qint64 now = NowMs();
    if (s_startMs < 0)
        s_startMs = now;
    const qint64 elapsed = now - s_startMs;
    if (elapsed < 1000 || !show)
        return false;
    rate = Rate(s_frames, elapsed);
    s_frames = 0;
    s_startMs = now;
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
    s_startMs = -1;
    s_now = nullptr; // a test's clock does not outlive the test
}

void SetClockForTests(std::function<qint64()> nowMs) {
    s_now = std::move(nowMs);
    s_startMs = -1;
}

} // namespace FrameRate
