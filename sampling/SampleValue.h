#pragma once

#include "ValueKind.h"

#include <QString>
#include <cstdint>

// Type codes, carried per variable in the watch list and in every frame. A frame keeps the sampled
// bytes zero-extended in a 32-bit word; the code says how that word reads.
enum TypeCode : int32_t {
    kCodeChar = 0,       // "char": the zero-extended bytes as a signed 32-bit integer
    kCodeSigned = 1,     // signed integers of 4 bytes: the word as a signed 32-bit integer
    kCodeFloat = 2,      // "float": the word's bits as a single-precision float
    kCodeOtherFloat = 3, // other floating types: likewise (8-byte ones are never decoded and read 0)
    kCodeUnsigned = 4,   // unsigned integers and unknown types: the word as an unsigned integer
    kCodeSigned8 = 5,    // 1-byte signed integers: the low byte sign-extended
    kCodeSigned16 = 6,   // 2-byte signed integers: the low two bytes sign-extended
};

// The code of a variable of this kind and size in bytes.
int32_t typeCodeOf(ValueKind kind, int size);
int32_t typeCodeOf(const QString& typeName, const QString& encoding, int size);

// One sampled value as it leaves for the chart, the table and the CSV: a whole number for the
// integer codes, a float for the floating ones.
struct SampleReading {
    bool whole = true;
    int64_t integer = 0;
    float real = 0.0f;

    double toDouble() const { return whole ? static_cast<double>(integer) : static_cast<double>(real); }
};

// The one conversion of a frame word with its type code; every exit goes through it.
SampleReading readSample(uint32_t raw, int32_t typeCode);

// True for the codes whose values are whole numbers (drawn truncated, written without decimals).
bool isWholeNumberCode(int32_t typeCode);
