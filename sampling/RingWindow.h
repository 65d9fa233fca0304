#pragma once

#include "FrameQueue.h"

#include <QPointF>
#include <QVector>
#include <QtGlobal>

// The frames the ring keeps, found by chart time: what scrolling back after a run shows, and the sample
// under the mouse. A chart time is a frame's accumulated time in microseconds, whole: runs of hours
// stay on one time line, and the times increase with the ring's order.
namespace RingWindow {

qint64 ChartTime(uint64_t time);
// Chart times of the oldest and the newest frame kept; false when the ring holds none.
bool Span(FrameQueue& queue, qint64& oldest, qint64& newest);
// Position (counted from the oldest frame) of the first frame at or after chart time `time`; the
// number of frames kept when there is none.
uint32_t FirstAtOrAfter(FrameQueue& queue, qint64 time);
// The frame nearest to chart time `time` (the earlier one of two as near); false when none is kept.
bool Nearest(FrameQueue& queue, qint64 time, SampleFrame& out);
// One point vector per watched variable (`out` sized by the caller) for the frames from `left` to
// `right`, with the frame just outside each end so that the curves reach the edges; about `limit`
// points per variable at most (every n-th frame, always the last).
void Points(FrameQueue& queue, qint64 left, qint64 right, uint32_t limit, QVector<QVector<QPointF>>& out);

} // namespace RingWindow
