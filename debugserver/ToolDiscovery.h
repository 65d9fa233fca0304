#pragma once

#include <QString>

// Where the debug tools are: gdb and the J-Link server on the program search path, the IDE's own
// gdb under the user's home folder, and the IDE folder named by the IDE's settings file.
struct DebugToolPaths {
    QString gdbPath; // on the search path
    bool gdbFound = false;
    QString ideGdbPath; // set only when that file exists
    QString ideFolder;  // holds the openocd scripts; empty without IDE settings
    QString jlinkPath;
    bool jlinkFound = false;
};

DebugToolPaths DiscoverTools(const QString& home);

// First folder of the search path that holds the file, joined with it; empty when none does.
QString FindOnSearchPath(const QString& fileName);

// The IDE folder from <home>/.quorinkit/settings.json (its "idePath"); empty when there is none.
QString ReadIdeFolder(const QString& home);
