#include "SymbolLoader.h"

#include "ErrorBox.h"
#include "Platform.h"
#include "VarParser.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

QString ExtractorFolder() {
    // One folder per running program, removed at exit: two windows never read each other's list, and
    // the folder the program was started from stays clean.
    static const QTemporaryDir folder(QDir::temp().filePath(QStringLiteral("tidewatch-XXXXXX")));
    return folder.isValid() ? folder.path() : Platform::DataFolder(QCoreApplication::applicationDirPath());
}

bool RunExtractor(const QString& elfPath, QString* reason) {
    const QString programDir = QCoreApplication::applicationDirPath();
    // Never destroyed: an extractor still running after the wait is left to finish.
    QProcess* process = new QProcess();
    if (process->state() == QProcess::Running)
        return !ShowErrorBox(QStringLiteral("Proc is Running"));

    // The extractor runs elsewhere: a path relative to the current directory is made whole first.
    const QStringList arguments{elfPath.isEmpty() ? elfPath : QFileInfo(elfPath).absoluteFilePath()};
    QString program = Platform::ExtractorPath(programDir);
    if (!QFileInfo::exists(program)) {
        program = Platform::ExtractorFallbackPath();
        if (!QFileInfo::exists(program) && ShowErrorBox(QStringLiteral("Can't find readelf exe")))
            return false;
    }

    // A list left from an earlier run must not pass for this one's.
    QFile::remove(QDir(ExtractorFolder()).filePath(QStringLiteral("elf.json")));
    process->setWorkingDirectory(ExtractorFolder());
    process->start(program, arguments, QIODevice::ReadWrite);
    if (!process->waitForStarted(30000)) {
        if (ShowErrorBox(QStringLiteral("Create Proc fail")))
            return false;
    } else if (process->waitForFinished(30000) && reason != nullptr) {
        *reason = QString::fromLocal8Bit(process->readAllStandardError()).trimmed();
    }
    return true;
}

bool LoadSymbolFile(const QString& reason) {
    const QString path = QDir(ExtractorFolder()).filePath(QStringLiteral("elf.json"));
    const QFileInfo info(path);
    if (info.exists() && info.isFile()) {
        VarParser* parser = VarParser::Instance();
        if (parser == nullptr)
            return false;
        parser->Parse(path);
        return true;
    }
    ShowErrorBox(QStringLiteral("file not found!!"), reason);
    return false;
}

bool RunExtractorAndLoad(const QString& elfPath) {
    QString reason;
    if (!RunExtractor(elfPath, &reason))
        return false;
    return LoadSymbolFile(reason);
}
