#include "ScreenShot.h"

#include <QCoreApplication>
#include <QDir>
#include <QPixmap>
#include <QTest>
#include <QWidget>
#include <QtGlobal>
#include <dlfcn.h>
#include <link.h>
#include <string>
#include <vector>

namespace ScreenShot {

namespace {

// Keeps the OpenGL driver that drew the window loaded until the process ends. Mesa unloads it when the
// window closes, before the leak report at exit; its allocations would then come from an unknown
// module, which no suppression can name, instead of from the driver, which one does.
void KeepGlDriverLoaded() {
    std::vector<std::string> drivers;
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* list) {
            if (info->dlpi_name != nullptr &&
                std::string(info->dlpi_name).find("_dri.so") != std::string::npos)
                static_cast<std::vector<std::string>*>(list)->push_back(info->dlpi_name);
            return 0;
        },
        &drivers);
    // Not from inside the walk, which holds the loader's lock.
    for (const std::string& driver : drivers)
        dlopen(driver.c_str(), RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}

} // namespace

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
    KeepGlDriverLoaded();
    if (image.isNull() || !QDir().mkpath(Folder()))
        return QImage();
    const QString path = QDir(Folder()).filePath(name + ".png");
    if (!image.save(path, "PNG"))
        return QImage();
    qInfo("screenshot written to %s", qPrintable(QDir::toNativeSeparators(path)));
    return image;
}

} // namespace ScreenShot
