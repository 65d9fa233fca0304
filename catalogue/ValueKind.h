#pragma once

#include <QString>

// What the bytes of a variable read as. The extractor's "encoding" key ("signed", "unsigned" or
// "float") says it for the base type behind any typedef; catalogues without the key are read by the
// type name.
enum class ValueKind {
    Char,       // plain "char": read as it always was (zero-extended)
    Signed,     // signed integers, enumerations
    Unsigned,   // unsigned integers, _Bool, pointers
    Float,      // "float"
    OtherFloat, // double, long double and other floating types
    Unknown,    // anything else; its bytes read as an unsigned number
};

// The kind of a variable from its type text and the "encoding" key (empty when the catalogue has
// none). "char" and "float" keep their own kinds whatever the key says.
ValueKind valueKindOf(const QString& typeName, const QString& encoding);
