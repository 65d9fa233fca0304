#include "RingCsv.h"

#include "CsvWriter.h"
#include "FrameQueue.h"

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
    const std::vector<int> columnSlots(slotOf.begin(), slotOf.end());
    CsvWriter writer(file.get(), CsvWriter::columnCodes(columnSlots));
    writer.writeHeader(names);
    // The size is taken once: frames arriving meanwhile belong to a later save.
    const quint32 total = queue.historySize();
    constexpr quint32 kStep = 20000;
    quint32 done = 0;
    SampleFrame frame;
    SampleFrame columns{};
    for (; done < total && queue.frameAt(done, frame) == 1; ++done) {
        if (done % kStep == 0 && progress && !progress(done, total))
            break;
        CsvWriter::selectColumns(frame, columnSlots, columns);
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
