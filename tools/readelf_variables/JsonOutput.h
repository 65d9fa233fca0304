#pragma once

#include "ElfVariables.h"

#include <QString>

// The variable list as the program reads it: a JSON array of groups {"name", "dataList"}, each
// variable {"name", "address", "scope", "size", "type", "key"}, one variable per line. Addresses are
// plain lowercase hexadecimal digits; keys run from 1 over the whole file, so each variable has its
// own. Written directly rather than through a JSON document because a large firmware has tens of
// thousands of entries and the document model costs most of the run time.
QByteArray ElfVariablesJson(const QVector<ElfVariableGroup>& groups);

// Number of entries the list will have: the leaves of all variables.
int CountLeaves(const QVector<ElfVariableGroup>& groups);

// Writes the list to `path` through a temporary file and a rename, so a reader never sees half a
// file. Returns 0 on success; -1 with a message in *error, and then no file is left at `path`.
int WriteElfJson(const QString& path, const QVector<ElfVariableGroup>& groups, QString* error);

// Removes an output left by an earlier run, so a failed run never leaves a list that looks current.
// Returns 0 when no file remains at `path`; -1 with a message in *error.
int RemoveStaleOutput(const QString& path, QString* error);
