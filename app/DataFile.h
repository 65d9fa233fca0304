#pragma once

#include "VarTableWidget.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QVector>

class QWidget;

// The names the File menu proposes for the files it writes, and the write of the sampled data.

// "<project name>-<date>-<time>.csv" in the project file's folder; without a project file, named
// after the ELF file beside it; without either, "tidewatch-..." in the current folder.
QString ProposedDataFile(const QString& projectFile, const QString& elfFile, const QDateTime& when);
// "<project name>-rec.csv" beside the project file (else named after the ELF file beside it, else
// "tidewatch-rec.csv" in the current folder): the recording file the Record toggle proposes.
QString ProposedRecordFile(const QString& projectFile, const QString& elfFile);
// The file one recording goes to: the chosen name with "-yyyyMMdd-HHmmss" before ".csv", and "-2",
// "-3", ... after that where such a file exists, so that no recording replaces another.
QString RecordingFile(const QString& chosen, const QDateTime& when);
// The open project file; without one, the ELF file's name with ".tidewatch", beside it.
QString ProposedProjectFile(const QString& projectFile, const QString& elfFile);
// `name` ending in "." and `suffix` (in any letter case), which is added when it does not.
QString WithSuffix(const QString& name, const QString& suffix);

// Asks for the file to save to, proposing `proposal`, and gives the answer the suffix. A file that
// only the added suffix names is replaced only after asking. Empty when the user gives up.
QString AskSaveFile(QWidget* parent, const QString& caption, const QString& proposal, const QString& filter,
                    const QString& suffix);

// The columns of a data file: each table row whose variable the last run sampled (`slotOf`, as the data
// source binds them), in row order, with its name and slot.
void DataColumns(const QList<VarTableWidget::LineItem*>& rows, const QVector<int>& slotOf, QStringList& names,
                 QVector<int>& columns);

// Writes what the ring holds as CSV, one column per table row whose variable the last run sampled
// (`slotOf`, as the data source binds them), in row order, with a progress dialog for long rings.
// Returns the text for the status bar.
QString WriteRingData(QWidget* parent, const QString& path, const QList<VarTableWidget::LineItem*>& rows,
                      const QVector<int>& slotOf);
