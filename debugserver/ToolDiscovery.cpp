#include "ToolDiscovery.h"

#include "Platform.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

QString Join(QString folder, const QString& name) {
    const QChar sep = Platform::DirSeparator();
    while (folder.endsWith(sep))
        folder.chop(1);
    return folder + sep + name;
}

// The first folder (holding the marker text, when one is given) where the file exists.
QString FindIn(const QString& fileName, const QString& marker) {
    for (const QString& folder : Platform::SearchPath()) {
        if (!marker.isEmpty() && !folder.contains(marker))
            continue;
        const QString candidate = Join(folder, fileName);
        if (QFileInfo(candidate).isFile())
            return candidate;
    }
    return QString();
}

} // namespace

QString FindOnSearchPath(const QString& fileName) {
    return FindIn(fileName, QString());
}

QString ReadIdeFolder(const QString& home) {
    const QChar sep = Platform::DirSeparator();
    QFile settings(home + sep + ".quorinkit" + sep + "settings.json");
    if (!settings.open(QIODevice::ReadOnly))
        return QString();
    return QJsonDocument::fromJson(settings.readAll()).object().value("idePath").toString();
}

DebugToolPaths DiscoverTools(const QString& home) {
    DebugToolPaths paths;
    for (const QString& name : Platform::GdbNames()) {
        paths.gdbPath = FindIn(name, Platform::GdbFolderMarker());
        if (!paths.gdbPath.isEmpty())
            break;
    }
    paths.gdbFound = !paths.gdbPath.isEmpty();
    const QString ideGdb = Platform::IdeGdbPath(home);
    if (!ideGdb.isEmpty() && QFileInfo(ideGdb).isFile())
        paths.ideGdbPath = ideGdb;
    paths.ideFolder = ReadIdeFolder(home);
    paths.jlinkPath = FindOnSearchPath(Platform::JLinkServerName());
    paths.jlinkFound = !paths.jlinkPath.isEmpty();
    return paths;
}
