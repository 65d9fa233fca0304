#include "RingStats.h"

#include "RingWindow.h"
#include "SampleValue.h"

#include <algorithm>

namespace RingStats {

QVector<RowStats> Compute(FrameQueue& queue, qint64 left, qint64 right, const QVector<StatsSource>& sources) {
    QVector<RowStats> out(sources.size());
    if (right < left || sources.isEmpty())
        return out;
    const uint32_t first = RingWindow::FirstAtOrAfter(queue, left);
    const uint32_t end = RingWindow::FirstAtOrAfter(queue, right + 1);
    QVector<double> sums(sources.size(), 0.0);
    SampleFrame frame;
    for (uint32_t at = first; at < end; ++at) {
        if (queue.frameAt(at, frame) != 1)
            break;
        for (int i = 0; i < sources.size(); ++i) {
            const StatsSource& s = sources[i];
            if (s.slot < 0 || s.slot >= kMaxVars)
                continue;
            const double value = readSample(frame.value[s.slot], s.typeCode).toDouble() * s.scale + s.offset;
            RowStats& r = out[i];
            r.min = r.count == 0 ? value : std::min(r.min, value);
            r.max = r.count == 0 ? value : std::max(r.max, value);
            sums[i] += value;
            ++r.count;
        }
    }
    for (int i = 0; i < out.size(); ++i) {
        if (out[i].count == 0)
            continue;
        out[i].mean = sums[i] / static_cast<double>(out[i].count);
        out[i].peakToPeak = out[i].max - out[i].min;
    }
    return out;
}

} // namespace RingStats
