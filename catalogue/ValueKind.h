#pragma once

#include <QString>

// What the bytes of a variable read as. The extractor's "encoding" key ("signed", "unsigned" or
// "float") says it for the base type behind any typedef; catalogues without the key are read by the
// type name.
enum class ValueKind {
    Char,       // plain "char": unsigned, as on RISC-V
    Signed,     // signed integers, enumerations
    Unsigned,   // unsigned integers, _Bool, pointers
    Float,      // "float"
    OtherFloat, // double, long double and other floating types
    Unknown,    // anything else; its bytes read as an unsigned number
};

// The kind of a variable from its type text and the "encoding" key (empty when the catalogue has
// none). "char" and "float" keep their own kinds whatever the key says.
ValueKind valueKindOf(const QString& typeName, const QString& encoding);

// Why a variable of this kind and size in bytes cannot be sampled, for the user; empty when it can.
// Samples hold whole numbers of 1, 2, 4 or 8 bytes and floating values of 4 or 8.
QString unsampledReason(ValueKind kind, int size);
