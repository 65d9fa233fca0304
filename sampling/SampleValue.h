#pragma once

#include "ValueKind.h"

#include <QString>
#include <cstdint>
#include <cstring>

// Type codes, one per watched variable in the watch list: how the raw bytes in a frame slot read.
// Codes 0 to 3 keep their old numbers ("char", "int", "float", the other floating type).
enum TypeCode : int32_t {
    kCodeNone = -1,    // not sampled: no slot reads a value of this size
    kCodeChar = 0,     // 1-byte unsigned: plain char (unsigned on RISC-V), unsigned char, _Bool
    kCodeSigned = 1,   // 4-byte signed
    kCodeFloat = 2,    // 4-byte IEEE float
    kCodeDouble = 3,   // 8-byte IEEE double
    kCodeUnsigned = 4, // 4-byte unsigned (also pointers, and types read by size alone)
    kCodeSigned8 = 5,
    kCodeSigned16 = 6,
    kCodeUnsigned16 = 7,
    kCodeSigned64 = 8,
    kCodeUnsigned64 = 9,
};

// The code of a variable of this kind and size in bytes; kCodeNone when unsampledReason() has one.
int32_t typeCodeOf(ValueKind kind, int size);
int32_t typeCodeOf(const QString& typeName, const QString& encoding, int size);
// Bytes a code reads (0 for kCodeNone).
int sizeOfCode(int32_t typeCode);

// The frame slot of a variable's bytes as they come off the wire: little-endian, zero above.
uint64_t slotFromBytes(const uint8_t* bytes, int size);

// One sampled value as its type reads it.
struct SampleReading {
    enum Kind { Signed, Unsigned, Real } kind = Unsigned;
    int64_t integer = 0;        // Signed
    uint64_t unsignedValue = 0; // Unsigned
    double real = 0.0;          // Real: a float widened exactly, or a double

    // The chart's y: whole numbers beyond 2^53 lose their last digits here, never in the texts.
    double toDouble() const {
        switch (kind) {
        case Signed:
            return static_cast<double>(integer);
        case Unsigned:
            return static_cast<double>(unsignedValue);
        case Real:
            break;
        }
        return real;
    }
};

// The one reading of a frame slot with its type code; every exit goes through it. Inline: the display
// worker reads some hundred thousand slots a batch.
inline SampleReading readSample(uint64_t slot, int32_t typeCode) {
    SampleReading r;
    switch (typeCode) {
    case kCodeSigned8:
        r.kind = SampleReading::Signed;
        r.integer = static_cast<int8_t>(static_cast<uint8_t>(slot));
        break;
    case kCodeSigned16:
        r.kind = SampleReading::Signed;
        r.integer = static_cast<int16_t>(static_cast<uint16_t>(slot));
        break;
    case kCodeSigned:
        r.kind = SampleReading::Signed;
        r.integer = static_cast<int32_t>(static_cast<uint32_t>(slot));
        break;
    case kCodeSigned64:
        r.kind = SampleReading::Signed;
        r.integer = static_cast<int64_t>(slot);
        break;
    case kCodeFloat: {
        r.kind = SampleReading::Real;
        const uint32_t bits = static_cast<uint32_t>(slot);
        float f;
        std::memcpy(&f, &bits, sizeof f);
        r.real = f;
        break;
    }
    case kCodeDouble:
        r.kind = SampleReading::Real;
        std::memcpy(&r.real, &slot, sizeof r.real);
        break;
    default: {
        // Unsigned codes keep only their own bytes.
        const int size = sizeOfCode(typeCode);
        r.unsignedValue = size == 8 || size == 0 ? slot : slot & ((uint64_t(1) << (8 * size)) - 1);
        break;
    }
    }
    return r;
}

// The text of a sample, the same for the value cell and the CSV: whole numbers with every digit, floats
// and doubles as the shortest text that reads back to the same value ("inf", "-inf", "nan").
// Writes at most kSampleTextMax characters from `first` and returns the end.
constexpr int kSampleTextMax = 32;
char* formatSample(char* first, uint64_t slot, int32_t typeCode);
QString sampleText(uint64_t slot, int32_t typeCode);
// The most characters sampleText() gives for a code ("-9223372036854775808", "-2.2250738585072014e-308").
int widestSampleText(int32_t typeCode);

// True for the codes whose values are whole numbers (drawn truncated, written without decimals).
bool isWholeNumberCode(int32_t typeCode);
