#pragma once

#include <QString>
#include <QVector>

// One sampleable scalar of the firmware: a whole variable, or a leaf of a struct, union or array.
struct ElfVariable {
    QString name;        // "counter", "sensor.gain", "table[3]", "func::calls"
    quint64 address = 0; // where the scalar starts in target memory
    QString scope;       // "global" (external linkage) or "static"
    qint64 size = 0;     // bytes
    QString type;        // "int", "unsigned short", "enum mode", "pointer", ...
};

// The variables of one compilation unit, named by its source file.
struct ElfVariableGroup {
    QString name;
    QVector<ElfVariable> vars;
};

// How aggregates are expanded.
struct ElfExtractOptions {
    // Elements listed per array dimension; 0 lists every element.
    int arrayLimit = 64;
};

// Counts of what was left out, reported to the user so nothing vanishes silently.
struct ElfExtractStats {
    int arraysCut = 0; // arrays longer than the limit
    int bitFields = 0; // members that cannot be sampled on their own
};
