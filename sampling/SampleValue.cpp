#include "SampleValue.h"

#include <cstring>

int32_t typeCodeOf(ValueKind kind, int size) {
    switch (kind) {
    case ValueKind::Char:
        return kCodeChar;
    case ValueKind::Signed:
        return size == 1 ? kCodeSigned8 : size == 2 ? kCodeSigned16 : kCodeSigned;
    case ValueKind::Float:
        return kCodeFloat;
    case ValueKind::OtherFloat:
        return kCodeOtherFloat;
    case ValueKind::Unsigned:
    case ValueKind::Unknown:
        break;
    }
    return kCodeUnsigned;
}

int32_t typeCodeOf(const QString& typeName, const QString& encoding, int size) {
    return typeCodeOf(valueKindOf(typeName, encoding), size);
}

SampleReading readSample(uint32_t raw, int32_t typeCode) {
    SampleReading r;
    switch (typeCode) {
    case kCodeChar:
    case kCodeSigned:
        r.integer = static_cast<int32_t>(raw);
        break;
    case kCodeUnsigned:
        r.integer = raw;
        break;
    case kCodeSigned8:
        r.integer = static_cast<int8_t>(static_cast<uint8_t>(raw));
        break;
    case kCodeSigned16:
        r.integer = static_cast<int16_t>(static_cast<uint16_t>(raw));
        break;
    default:
        r.whole = false;
        std::memcpy(&r.real, &raw, sizeof r.real);
        break;
    }
    return r;
}

bool isWholeNumberCode(int32_t typeCode) {
    return readSample(0, typeCode).whole;
}
