#pragma once

#include <QChar>
#include <QString>
#include <QStringList>

// The texts the debug tools are started with. Paths are joined with the separator given, so the
// Windows forms can be checked anywhere.

// What the command lines are made of, refreshed from the project before every launch.
struct LaunchFields {
    QString device = QStringLiteral("7425MQDTCA");
    QString interface = QStringLiteral("swd"); // "swd" or "jtag"
    QString speed = QStringLiteral("4000");    // adapter speed in kHz
};

// The J-Link GDB server on port 3333; the server path is quoted when it holds a blank.
QString JLinkCommand(const QString& serverPath, const LaunchFields& fields);

// openocd with the IDE's CMSIS-DAP and target scripts. The quote after the script folder is written
// whether or not one was opened before it: the tools it was made for read it that way.
QString OpenocdCommand(const QString& openocdPath, const QString& ideFolder, const LaunchFields& fields,
                       QChar separator);

// The openocd shipped beside the program: the program folder's parent, then
// qx_openocd<sep>bin<sep><fileName>. The folder comes with forward slashes.
QString OpenocdBesideProgram(const QString& programDir, QChar separator, const QString& fileName);

// Lines written to gdb's standard input, each followed by "\r\n".
// J-Link: reset, start from the boot address, run.
QStringList JLinkGdbLines();
// openocd: reset and halt, then run.
QStringList OpenocdGdbLines();

// Stock openocd on the user's own board: "-f" for each of their config files, then what Tidewatch needs
// as commands before init: GDB on port 3333, a second GDB connection (gdb and Tidewatch share the
// server), no halt when a GDB client attaches, and system-bus memory access on RISC-V targets, so that
// memory reads while the target runs.
QStringList BoardOpenocdArguments(const QStringList& configs);

// The line (from 1) of the first top-level "init" command in a config file's text; 0 when it has none.
// Such a config starts the servers before Tidewatch's additions can take effect.
int ConfigInitLine(const QString& text);

// What openocd's output says about a start that failed: the note that a config called init itself, or
// openocd's last error line, or its last line.
QString OpenocdFailureLine(const QByteArray& output);
