#pragma once

#include <QString>
#include <cstdint>

// Text typed for a variable, read by its type code (SampleValue.h) into the bits the variable holds.
//
// Whole-number types take a decimal number within the type's range, or "0x" and at most two
// hexadecimal digits per byte: the variable's bit pattern ("0xffff" into a 2-byte signed variable is
// -1). Floats and doubles take any decimal or exponent text and "inf", "-inf", "nan", and store the
// IEEE bits of their own type. Blanks around the text are ignored.

// Empty and the bits in the low bytes of `slot` (zero above), or the reason the text is refused, for
// the user ("not a whole number", "outside the range -128 to 127", ...); `slot` is then left alone.
QString parseTypedValue(const QString& text, int32_t typeCode, uint64_t& slot);

// Text the user may still be typing towards a value of the type (a sign, "0x", "1e", "in"), though it
// is none yet or lies outside the range; false for text no further typing can make a number of it.
bool couldBecomeTypedValue(const QString& text, int32_t typeCode);
