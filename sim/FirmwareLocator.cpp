#include "FirmwareLocator.h"

#include <QDir>
#include <QFileInfo>

namespace Sim {

QString DefaultFirmwarePath(const QString& programDir) {
    const QStringList candidates = {
        QDir(programDir).filePath(QStringLiteral("../share/tidewatch/demo.elf")),
        QDir(programDir).filePath(QStringLiteral("demo.elf")),
    };
    for (const QString& path : candidates) {
        if (QFileInfo(path).isFile())
            return QDir::cleanPath(path);
    }
    return {};
}

} // namespace Sim
