#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <cstddef>

class QProcess;

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
// Folder text the autosave and log files are placed in. Windows: the program folder. Linux: the
// program folder text as given while that folder can be written, otherwise the user's data folder
// (created, with a trailing separator), as under /usr/bin.
QString DataFolder(const QString& programDir);

// Debug tools: where they are looked for, whether they run, and how they are ended.
// Separator of the paths given to and found for the debug tools.
QChar DirSeparator();
// Folders of the program search path ("Path" split at ";" on Windows, PATH split at ":" on Linux).
QStringList SearchPath();
// File names of gdb looked for on the search path, best first.
QStringList GdbNames();
// Text a search-path folder must hold to be looked at for gdb; empty: every folder.
QString GdbFolderMarker();
// The IDE's own gdb under the user's home folder; empty where the IDE ships none.
QString IdeGdbPath(const QString& home);
// File name of the J-Link GDB server.
QString JLinkServerName();
// The IDE's openocd under the IDE folder; empty where openocd is looked for on the search path.
QString IdeOpenocdPath(const QString& ideFolder);
// True when a process of this user runs the program with this file name (tasklist on Windows,
// /proc on Linux).
bool IsImageRunning(const QString& imageName);
// Ends the debug server and gdb at exit. Windows: every openocd and gdb by image name, as the IDE's
// tools run there. Linux: only the processes given, which this program started.
void EndDebugProcesses(const QList<QProcess*>& started);

// A large block of zeroed memory that lives as long as the process; null when it cannot be had.
void* AllocateZeroedBlock(std::size_t bytes);
// Makes a block from AllocateZeroedBlock read as zeros again. On Linux the pages go back to the
// system and come back zeroed when touched, so this costs nothing for pages never used.
void ZeroBlock(void* block, std::size_t bytes);

} // namespace Platform
