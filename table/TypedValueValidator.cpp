#include "TypedValueValidator.h"

#include "ValueText.h"

QValidator::State TypedValueValidator::validate(QString& input, int&) const {
    uint64_t bits = 0;
    if (parseTypedValue(input, m_typeCode, bits).isEmpty())
        return Acceptable;
    return couldBecomeTypedValue(input, m_typeCode) ? Intermediate : Invalid;
}
