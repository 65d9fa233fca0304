#include "RingCsv.h"

#include "CsvWriter.h"
#include "FrameQueue.h"
#include "WatchList.h"

#include "SampleValue.h"

#include <QFile>
#include <algorithm>
#include <cstdio>
#include <memory>

qint64 SaveRingCsv(const QString& path, const QStringList& names, const QVector<int>& slotOf,
                   const std::function<bool(quint32, quint32)>& progress, QString* error) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(QFile::encodeName(path).constData(), "w"),
                                                         &std::fclose);
    if (!file) {
        *error = QStringLiteral("cannot write %1").arg(path);
        return -1;
    }
    FrameQueue& queue = FrameQueue::instance();
    // The ring holds the frames of the last run, whose variables the watch list still names.
    const WatchList& watch = watchList();
    std::vector<int32_t> codes;
    for (const int slot : slotOf)
        codes.push_back(slot >= 0 && slot < watch.count ? watch.typeCode[slot] : kCodeNone);
    CsvWriter writer(file.get(), codes);
    writer.writeHeader(names);
    // The size is taken once: frames arriving meanwhile belong to a later save.
    const quint32 total = queue.historySize();
    constexpr quint32 kStep = 20000;
    quint32 done = 0;
    SampleFrame frame;
    SampleFrame columns{};
    columns.count = static_cast<int32_t>(std::min<int>(slotOf.size(), kMaxVars));
    for (; done < total && queue.frameAt(done, frame) == 1; ++done) {
        if (done % kStep == 0 && progress && !progress(done, total))
            break;
        columns.time = frame.time;
        for (int i = 0; i < columns.count; ++i)
            columns.value[i] = slotOf[i] >= 0 && slotOf[i] < frame.count ? frame.value[slotOf[i]] : 0;
        writer.writeFrame(columns);
    }
    if (progress)
        progress(total, total);
    writer.flush();
    if (writer.failed()) {
        *error = QStringLiteral("writing %1 failed").arg(path);
        return -1;
    }
    return done;
}
