#pragma once

#include <QString>
#include <QStringList>
#include <QVector>
#include <functional>

// Writes the frames the ring holds, oldest first, to a CSV file in the capture tool's format (a
// "time" column, then one column per name): column i holds the watch-list slot slotOf[i], so the file
// follows the table's rows, not the order the session sampled in. `progress(done, total)` is asked now and
// then and ends the write early when it returns false; the file then holds what was written so far. Returns
// the number of frames written, or -1 with `error` set when the file cannot be written.
qint64 SaveRingCsv(const QString& path, const QStringList& names, const QVector<int>& slotOf,
                   const std::function<bool(quint32 done, quint32 total)>& progress, QString* error);
