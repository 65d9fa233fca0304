#include "DataFile.h"

#include "RingCsv.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QProgressDialog>

namespace {
QString Tr(const char* text) {
    return QCoreApplication::translate("DataFile", text);
}
} // namespace

QString ProposedDataFile(const QString& projectFile, const QString& elfFile, const QDateTime& when) {
    const QString named = !projectFile.isEmpty() ? projectFile : elfFile;
    const QFileInfo info(named);
    const QDir folder = named.isEmpty() ? QDir::current() : info.absoluteDir();
    const QString base = named.isEmpty() ? QStringLiteral("tidewatch") : info.completeBaseName();
    return folder.filePath(base + when.toString(QStringLiteral("-yyyyMMdd-HHmmss")) + ".csv");
}

QString ProposedRecordFile(const QString& projectFile, const QString& elfFile) {
    const QString named = !projectFile.isEmpty() ? projectFile : elfFile;
    const QFileInfo info(named);
    const QDir folder = named.isEmpty() ? QDir::current() : info.absoluteDir();
    const QString base = named.isEmpty() ? QStringLiteral("tidewatch") : info.completeBaseName();
    return folder.filePath(base + "-rec.csv");
}

QString RecordingFile(const QString& chosen, const QDateTime& when) {
    QString base = chosen;
    if (base.endsWith(QLatin1String(".csv"), Qt::CaseInsensitive))
        base.chop(4);
    base += when.toString(QStringLiteral("-yyyyMMdd-HHmmss"));
    QString file = base + ".csv";
    for (int n = 2; QFileInfo::exists(file); ++n)
        file = QStringLiteral("%1-%2.csv").arg(base).arg(n);
    return file;
}

QString ProposedProjectFile(const QString& projectFile, const QString& elfFile) {
    if (!projectFile.isEmpty())
        return WithSuffix(projectFile, QStringLiteral("tidewatch"));
    if (elfFile.isEmpty())
        return QDir::current().filePath(QStringLiteral("project.tidewatch"));
    const QFileInfo elf(elfFile);
    return elf.absoluteDir().filePath(elf.completeBaseName() + ".tidewatch");
}

QString WithSuffix(const QString& name, const QString& suffix) {
    const QString ending = '.' + suffix;
    return name.endsWith(ending, Qt::CaseInsensitive) ? name : name + ending;
}

QString AskSaveFile(QWidget* parent, const QString& caption, const QString& proposal, const QString& filter,
                    const QString& suffix) {
    const QString typed = QFileDialog::getSaveFileName(parent, caption, proposal, filter);
    if (typed.isEmpty())
        return QString();
    const QString file = WithSuffix(typed, suffix);
    // The dialog asked about the name as typed, not about the one with the suffix.
    if (file != typed && QFileInfo::exists(file) &&
        QMessageBox::question(
            parent, caption,
            Tr("%1 already exists.\nDo you want to replace it?").arg(QFileInfo(file).fileName())) !=
            QMessageBox::Yes)
        return QString();
    return file;
}

void DataColumns(const QList<VarTableWidget::LineItem*>& rows, const QVector<int>& slotOf, QStringList& names,
                 QVector<int>& columns) {
    for (int r = 0; r < rows.size() && r < slotOf.size(); ++r) {
        if (slotOf[r] < 0 || rows[r]->varDes == nullptr)
            continue;
        names << rows[r]->varDes->name;
        columns << slotOf[r];
    }
}

QString WriteRingData(QWidget* parent, const QString& path, const QList<VarTableWidget::LineItem*>& rows,
                      const QVector<int>& slotOf) {
    QStringList names;
    QVector<int> columns;
    DataColumns(rows, slotOf, names, columns);
    QProgressDialog progress(Tr("Saving data..."), Tr("Cancel"), 0, 100, parent);
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(500); // small rings finish before it would show
    QString error;
    const qint64 written = SaveRingCsv(
        path, names, columns,
        [&progress](quint32 done, quint32 total) {
            progress.setValue(total == 0 ? 100 : int(qint64(done) * 100 / total));
            return !progress.wasCanceled();
        },
        &error);
    return written < 0 ? error : Tr("%1 frames saved to %2").arg(written).arg(path);
}
