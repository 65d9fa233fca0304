#include "RowStatistics.h"

#include "FrameQueue.h"
#include "RingStats.h"
#include "RingWindow.h"
#include "SampleValue.h"
#include "WatchList.h"

QVector<StatsSource> RowStatsSources(const QVector<int>& rowSlots) {
    const WatchList& watch = watchList();
    QVector<StatsSource> sources;
    for (const int slot : rowSlots) {
        const bool known = slot >= 0 && slot < watch.count;
        sources.append({known ? slot : -1, known ? watch.typeCode[slot] : 0, known ? watch.scale[slot] : 1.0,
                        known ? watch.offset[slot] : 0.0});
    }
    return sources;
}

QVector<QStringList> RowStatisticsTexts(qint64 left, qint64 right, const QVector<StatsSource>& sources) {
    const QVector<RowStats> stats = RingStats::Compute(FrameQueue::instance(), left, right, sources);
    QVector<QStringList> texts;
    for (const RowStats& s : stats) {
        const auto text = [](double v) { return QString::number(v, 'g', 7); };
        texts.append(s.count == 0 ? QStringList{QString(), QString(), QString(), QString()}
                                  : QStringList{text(s.min), text(s.max), text(s.mean), text(s.peakToPeak)});
    }
    return texts;
}

void RowValuesAt(qint64 time, const QStringList& rowNames, const QVector<bool>& shown,
                 const QVector<int>& rowSlots, QStringList& names, QVector<double>& values) {
    SampleFrame frame;
    if (!RingWindow::Nearest(FrameQueue::instance(), time, frame))
        return;
    const WatchList& watch = watchList();
    names.clear();
    values.clear();
    for (int row = 0; row < rowNames.size() && row < rowSlots.size(); ++row) {
        const int slot = rowSlots[row];
        if (!shown.value(row) || slot < 0 || slot >= watch.count || slot >= frame.count)
            continue;
        names << rowNames[row];
        values << readSample(frame.value[slot], watch.typeCode[slot]).toDouble() * watch.scale[slot] +
                      watch.offset[slot];
    }
}
