#pragma once

#include "FrameQueue.h"

#include <QVector>
#include <QtGlobal>

// Statistics of every frame the ring keeps in a span of chart time (RingWindow.h): not the thinned
// points drawn. Values are as displayed, after the row's Y resolution and Y offset.
struct StatsSource {
    int slot = 0;
    int32_t typeCode = 1;
    double scale = 1, offset = 0;
};

struct RowStats {
    quint64 count = 0; // frames in the span; the rest is meaningless when 0
    double min = 0, max = 0, mean = 0, peakToPeak = 0;
};

namespace RingStats {
// One result per source, over the frames with chart times from `left` to `right`, both included.
QVector<RowStats> Compute(FrameQueue& queue, qint64 left, qint64 right, const QVector<StatsSource>& sources);
} // namespace RingStats
