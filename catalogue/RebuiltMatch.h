#pragma once

#include "VarParser.h"

#include <QVector>

// After the firmware was rebuilt: which records of the new catalogue are the variables the table's rows
// showed. A variable is the same when its name, scope, type, size and encoding are, and, for one of file
// scope ("static"), its file too; its address may have moved. A global keeps its row when it moved to
// another file, as the linker knows it by name alone.

// One entry per record of `rows` (records of a catalogue the current one replaced): the current
// catalogue's record of the same variable, or null when it is gone or changed. No record answers two rows.
QVector<VarParser::VarDes*> MatchRebuilt(const QVector<const VarParser::VarDes*>& rows);
