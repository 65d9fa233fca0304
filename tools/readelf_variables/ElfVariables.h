#pragma once

#include <QByteArray>
#include <QVector>

// Texts are UTF-8 as the debug information holds them; they go to the output without conversion.

// One scalar that can be sampled inside a variable: the variable itself, a member or an element.
struct ElfLeaf {
    QByteArray suffix;  // appended to the variable's name: "", ".gain", "[3]", ".pos[1].x"
    quint64 offset = 0; // from the start of the variable
    qint64 size = 0;    // bytes
    QByteArray type;    // "int", "unsigned short", "enum mode", "pointer", ...
    // How the bytes read, whatever typedefs named the type: "signed", "unsigned" or "float".
    QByteArray encoding = QByteArray();
};

// One variable with a fixed address. Variables of one type share one list of leaves, so a firmware
// with thousands of variables of a few types keeps few lists.
struct ElfVariable {
    QByteArray name;     // "counter", "sensor", "func::calls"
    quint64 address = 0; // where the variable starts in target memory
    QByteArray scope;    // "global" (external linkage) or "static"
    QVector<ElfLeaf> leaves;
};

// The variables of one compilation unit, named by its source file.
struct ElfVariableGroup {
    QByteArray name;
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
