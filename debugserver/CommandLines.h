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
