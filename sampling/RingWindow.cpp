#include "RingWindow.h"

#include "GetData.h"
#include "WatchList.h"

namespace RingWindow {

namespace {

qint64 TimeAt(FrameQueue& queue, uint32_t position) {
    SampleFrame frame;
    return queue.frameAt(position, frame) == 1 ? ChartTime(frame.time) : 0;
}

} // namespace

qint64 ChartTime(uint64_t time) {
    return static_cast<qint64>(time);
}

bool Span(FrameQueue& queue, qint64& oldest, qint64& newest) {
    const uint32_t count = queue.historySize();
    if (count == 0)
        return false;
    oldest = TimeAt(queue, 0);
    newest = TimeAt(queue, count - 1);
    return true;
}

uint32_t FirstAtOrAfter(FrameQueue& queue, qint64 time) {
    const uint32_t count = queue.historySize();
    if (count == 0)
        return 0;
    uint32_t low = 0;
    uint32_t high = count;
    while (low < high) {
        const uint32_t mid = low + (high - low) / 2;
        if (TimeAt(queue, mid) < time)
            low = mid + 1;
        else
            high = mid;
    }
    return low;
}

bool Nearest(FrameQueue& queue, qint64 time, SampleFrame& out) {
    const uint32_t count = queue.historySize();
    if (count == 0)
        return false;
    uint32_t at = FirstAtOrAfter(queue, time);
    if (at == count) {
        at = count - 1;
    } else if (at > 0) {
        if (time - TimeAt(queue, at - 1) <= TimeAt(queue, at) - time)
            --at;
    }
    return queue.frameAt(at, out) == 1;
}

void Points(FrameQueue& queue, qint64 left, qint64 right, uint32_t limit, QVector<QVector<QPointF>>& out) {
    const uint32_t count = queue.historySize();
    if (count == 0 || out.isEmpty() || right < left)
        return;
    uint32_t first = FirstAtOrAfter(queue, left);
    uint32_t end = FirstAtOrAfter(queue, right + 1);
    if (first > 0)
        --first;
    if (end < count)
        ++end;
    const uint32_t frames = end - first;
    const uint32_t every = limit > 0 && frames > limit ? (frames + limit - 1) / limit : 1;
    for (QVector<QPointF>& points : out)
        points.reserve(static_cast<int>(frames / every + 2));
    const WatchList& watch = watchList();
    SampleFrame frame;
    for (uint32_t at = first; queue.frameAt(at, frame) == 1;) {
        for (int i = 0; i < frame.count && i < out.size() && i < kMaxVars; ++i)
            out[i].append(GetData::PointOf(frame, i, watch.typeCode[i]));
        if (at == end - 1)
            break;
        // The last frame always comes out, however the stride falls.
        at = end - 1 - at > every ? at + every : end - 1;
    }
}

} // namespace RingWindow
