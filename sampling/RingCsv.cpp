#include "RingCsv.h"

#include "CsvWriter.h"
#include "FrameQueue.h"
#include "WatchList.h"

#include <QFile>
#include <cstdio>
#include <memory>

qint64 SaveRingCsv(const QString& path, const QStringList& names,
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
    CsvWriter writer(file.get(), std::vector<int32_t>(watch.typeCode, watch.typeCode + watch.count));
    writer.writeHeader(names);
    // The size is taken once: frames arriving meanwhile belong to a later save.
    const quint32 total = queue.historySize();
    constexpr quint32 kStep = 20000;
    quint32 done = 0;
    SampleFrame frame;
    for (; done < total && queue.frameAt(done, frame) == 1; ++done) {
        if (done % kStep == 0 && progress && !progress(done, total))
            break;
        writer.writeFrame(frame);
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
