#pragma once

#include <QString>
#include <QStringList>

// The one place where Windows and Linux differ. Everything else calls these.
namespace Platform {

// Starts the socket library (Windows: version 2.2); true on success. A no-op on Linux.
bool StartSockets();
// Closes a socket handle; 0 on success.
int CloseSocket(int handle);

// File name of a program as it is on disk ("name.exe" on Windows, "name" on Linux).
QString ExecutableName(const QString& baseName);
// Path of the symbol extractor beside the program.
QString ExtractorPath(const QString& programDir);
// The fixed place where the extractor is looked for when it is not beside the program.
QString ExtractorFallbackPath();

// Program and arguments that end every process with the given image name.
QStringList KillByImageCommand(const QString& baseName);
// Program and arguments that list running processes so their output contains the image name.
QStringList ListProcessesCommand(const QString& baseName);

} // namespace Platform
