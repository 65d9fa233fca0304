#include "SampleValue.h"

#include <charconv>
#include <cstring>

int32_t typeCodeOf(ValueKind kind, int size) {
    if (!unsampledReason(kind, size).isEmpty())
        return kCodeNone;
    switch (kind) {
    case ValueKind::Float:
    case ValueKind::OtherFloat:
        return size == 4 ? kCodeFloat : kCodeDouble;
    case ValueKind::Signed:
        return size == 1 ? kCodeSigned8 : size == 2 ? kCodeSigned16 : size == 4 ? kCodeSigned : kCodeSigned64;
    case ValueKind::Char:
    case ValueKind::Unsigned:
    case ValueKind::Unknown:
        break;
    }
    return size == 1 ? kCodeChar : size == 2 ? kCodeUnsigned16 : size == 4 ? kCodeUnsigned : kCodeUnsigned64;
}

int32_t typeCodeOf(const QString& typeName, const QString& encoding, int size) {
    return typeCodeOf(valueKindOf(typeName, encoding), size);
}

int sizeOfCode(int32_t typeCode) {
    switch (typeCode) {
    case kCodeChar:
    case kCodeSigned8:
        return 1;
    case kCodeSigned16:
    case kCodeUnsigned16:
        return 2;
    case kCodeSigned:
    case kCodeUnsigned:
    case kCodeFloat:
        return 4;
    case kCodeDouble:
    case kCodeSigned64:
    case kCodeUnsigned64:
        return 8;
    default:
        return 0;
    }
}

uint64_t slotFromBytes(const uint8_t* bytes, int size) {
    uint64_t slot = 0;
    for (int b = 0; b < size && b < 8; ++b)
        slot |= static_cast<uint64_t>(bytes[b]) << (8 * b);
    return slot;
}

char* formatSample(char* first, uint64_t slot, int32_t typeCode) {
    char* const last = first + kSampleTextMax;
    const SampleReading r = readSample(slot, typeCode);
    switch (r.kind) {
    case SampleReading::Signed:
        return std::to_chars(first, last, r.integer).ptr;
    case SampleReading::Unsigned:
        return std::to_chars(first, last, r.unsignedValue).ptr;
    case SampleReading::Real:
        break;
    }
    // The float's own shortest text: widened to double it would need more digits to read back.
    if (typeCode == kCodeFloat)
        return std::to_chars(first, last, static_cast<float>(r.real)).ptr;
    return std::to_chars(first, last, r.real).ptr;
}

QString sampleText(uint64_t slot, int32_t typeCode) {
    char text[kSampleTextMax];
    const char* end = formatSample(text, slot, typeCode);
    return QString::fromLatin1(text, static_cast<int>(end - text));
}

int widestSampleText(int32_t typeCode) {
    if (typeCode == kCodeFloat || typeCode == kCodeDouble)
        return typeCode == kCodeFloat ? 15 : 24;
    const int size = sizeOfCode(typeCode);
    return size == 1 ? 4 : size == 2 ? 6 : size == 4 ? 11 : 20;
}

bool isWholeNumberCode(int32_t typeCode) {
    return typeCode != kCodeFloat && typeCode != kCodeDouble;
}
