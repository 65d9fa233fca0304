#pragma once

#include <QImage>
#include <QString>

class QWidget;

namespace ScreenShot {

// Folder the screenshots go to: $TIDEWATCH_SCREENSHOT_DIR, else the working folder.
QString Folder();

// Waits until the shown top-level window is exposed and painted, grabs it and saves it as
// <Folder()>/<name>.png. Returns the grabbed image, null when the window never showed or the
// file could not be written.
QImage Save(QWidget* window, const QString& name);

} // namespace ScreenShot
