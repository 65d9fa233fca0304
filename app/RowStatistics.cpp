#include "RowStatistics.h"

#include "FrameQueue.h"
#include "RingStats.h"
#include "WatchList.h"

QVector<QStringList> RowStatisticsTexts(qint64 left, qint64 right, const QVector<int>& rowSlots) {
    const WatchList& watch = watchList();
    QVector<StatsSource> sources;
    for (const int slot : rowSlots) {
        const bool known = slot >= 0 && slot < watch.count;
        sources.append({known ? slot : -1, known ? watch.typeCode[slot] : 0, known ? watch.scale[slot] : 1.0,
                        known ? watch.offset[slot] : 0.0});
    }
    const QVector<RowStats> stats = RingStats::Compute(FrameQueue::instance(), left, right, sources);
    QVector<QStringList> texts;
    for (const RowStats& s : stats) {
        const auto text = [](double v) { return QString::number(v, 'g', 7); };
        texts.append(s.count == 0 ? QStringList{QString(), QString(), QString(), QString()}
                                  : QStringList{text(s.min), text(s.max), text(s.mean), text(s.peakToPeak)});
    }
    return texts;
}
