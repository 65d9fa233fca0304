#pragma once

#include <QValidator>
#include <cstdint>

// The value cell's validator: the same rules as the write itself (ValueText.h) for the variable's type
// code. Text the write takes is acceptable; text still on its way to a number, or outside the range,
// is intermediate, so Return shows the reason in the status bar; anything else cannot be typed.
class TypedValueValidator : public QValidator {
    Q_OBJECT
public:
    TypedValueValidator(int32_t typeCode, QObject* parent) : QValidator(parent), m_typeCode(typeCode) {}
    State validate(QString& input, int& pos) const override;
    int32_t TypeCode() const { return m_typeCode; }

private:
    int32_t m_typeCode;
};
