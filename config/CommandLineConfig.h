#pragma once

#include <QString>
#include <QStringList>

// The "c" option's project settings: the first value holds six blank-separated fields (manufacturer,
// device, debug tool, interface, probe speed in kHz, ELF path) that go into the configuration store,
// which is put in Options mode so that the project dialog at start edits them.
// Returns false, with a message and nothing changed, when the first value has fewer than six fields.
bool ApplyCommandLineConfig(const QStringList& values, QString* message);

// The user's own board from the command line: "--openocd PATH" and "--board-config FILE" (repeated);
// the values given replace the configuration's.
void ApplyBoardOptions(const QString& openocd, const QStringList& configs);
