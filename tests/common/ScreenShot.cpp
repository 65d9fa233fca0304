#include "ScreenShot.h"

#include <QCoreApplication>
#include <QDir>
#include <QPixmap>
#include <QTest>
#include <QWidget>
#include <QtGlobal>

namespace ScreenShot {

QString Folder() {
    const QString dir = qEnvironmentVariable("TIDEWATCH_SCREENSHOT_DIR");
    return dir.isEmpty() ? QDir::currentPath() : dir;
}

QImage Save(QWidget* window, const QString& name) {
    if (!QTest::qWaitForWindowExposed(window))
        return QImage();
    // Let pending layouts and repaints run so the picture shows the settled window.
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();

    const QImage image = window->grab().toImage();
    if (image.isNull() || !QDir().mkpath(Folder()))
        return QImage();
    const QString path = QDir(Folder()).filePath(name + ".png");
    if (!image.save(path, "PNG"))
        return QImage();
    qInfo("screenshot written to %s", qPrintable(QDir::toNativeSeparators(path)));
    return image;
}

} // namespace ScreenShot
