#pragma once

#include "ElfVariables.h"

// Reads every variable with a fixed address (globals, file-level and function-level statics) from
// the debug information of an ELF file, one group per compilation unit, in the file's own order.
// Returns 0 on success; -1 with a message for the user in *error (missing file, not an ELF file,
// no debug information, unreadable debug information).
int ReadElfVariables(const QString& elfPath, const ElfExtractOptions& options,
                     QVector<ElfVariableGroup>* groups, ElfExtractStats* stats, QString* error);
