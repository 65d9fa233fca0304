#pragma once

#include <QString>
#include <QStringList>
#include <cstddef>

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

// A large block of zeroed memory that lives as long as the process; null when it cannot be had.
void* AllocateZeroedBlock(std::size_t bytes);
// Makes a block from AllocateZeroedBlock read as zeros again. On Linux the pages go back to the
// system and come back zeroed when touched, so this costs nothing for pages never used.
void ZeroBlock(void* block, std::size_t bytes);

} // namespace Platform
