#include "ValueText.h"

#include "SampleValue.h"

#include <QRegularExpression>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

struct Range {
    int64_t min;
    uint64_t max;
};

Range rangeOf(int32_t typeCode) {
    switch (typeCode) {
    case kCodeSigned8:
        return {INT8_MIN, INT8_MAX};
    case kCodeSigned16:
        return {INT16_MIN, INT16_MAX};
    case kCodeSigned:
        return {INT32_MIN, INT32_MAX};
    case kCodeSigned64:
        return {INT64_MIN, INT64_MAX};
    default:
        break;
    }
    const int size = sizeOfCode(typeCode);
    return {0, size >= 8 ? UINT64_MAX : (uint64_t(1) << (8 * size)) - 1};
}

QString outsideRange(const QString& min, const QString& max) {
    return QString("outside the range %1 to %2").arg(min, max);
}

QString parseWhole(const QByteArray& text, int32_t typeCode, uint64_t& slot) {
    const int size = sizeOfCode(typeCode);
    const Range range = rangeOf(typeCode);
    static const QRegularExpression hex(QRegularExpression::anchoredPattern("0[xX]([0-9a-fA-F]+)"));
    static const QRegularExpression decimal(QRegularExpression::anchoredPattern("[+-]?[0-9]+"));
    static const QRegularExpression number(
        QRegularExpression::anchoredPattern("[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?"));
    const QString t = QString::fromLatin1(text);
    const QRegularExpressionMatch h = hex.match(t);
    if (h.hasMatch()) {
        const QString digits = h.captured(1);
        if (digits.size() > 2 * size)
            return QString("more hexadecimal digits than %1 bytes hold").arg(size);
        slot = digits.toULongLong(nullptr, 16);
        return QString();
    }
    if (!decimal.match(t).hasMatch())
        return number.match(t).hasMatch() ? QString("not a whole number") : QString("not a number");
    const char* first = text.constData() + (text.startsWith('+') ? 1 : 0);
    const char* last = text.constData() + text.size();
    bool inRange;
    uint64_t bits;
    if (text.startsWith('-')) {
        int64_t v = 0;
        inRange = std::from_chars(first, last, v).ec == std::errc() && v >= range.min;
        bits = static_cast<uint64_t>(v);
    } else {
        uint64_t v = 0;
        inRange = std::from_chars(first, last, v).ec == std::errc() && v <= range.max;
        bits = v;
    }
    if (!inRange)
        return outsideRange(QString::number(range.min), QString::number(range.max));
    slot = size >= 8 ? bits : bits & ((uint64_t(1) << (8 * size)) - 1);
    return QString();
}

template <typename T> QString parseReal(const QByteArray& text, uint64_t& slot) {
    const char* first = text.constData() + (text.startsWith('+') ? 1 : 0);
    const char* last = text.constData() + text.size();
    // from_chars takes no sign before a number but would take one before "inf" and "nan" after the "+".
    if (first != text.constData() && (*first == '-' || *first == '+'))
        return QString("not a number");
    T value{};
    const std::from_chars_result r = std::from_chars(first, last, value);
    if (r.ptr != last || first == last)
        return QString("not a number");
    if (r.ec == std::errc::result_out_of_range) {
        // Too small for the type rounds to zero as the hardware would; too large is refused.
        long double wide = 0;
        if (std::from_chars(first, last, wide).ec != std::errc() || std::fabs(wide) >= 1) {
            char bound[kSampleTextMax];
            const char* end = std::to_chars(bound, bound + sizeof bound, std::numeric_limits<T>::max()).ptr;
            const QString max = QString::fromLatin1(bound, static_cast<int>(end - bound));
            return outsideRange("-" + max, max);
        }
        value = static_cast<T>(wide);
    } else if (r.ec != std::errc()) {
        return QString("not a number");
    }
    slot = 0;
    std::memcpy(&slot, &value, sizeof value);
    return QString();
}

} // namespace

QString parseTypedValue(const QString& text, int32_t typeCode, uint64_t& slot) {
    if (sizeOfCode(typeCode) == 0)
        return QString("a variable of this type cannot be written");
    const QByteArray t = text.trimmed().toLatin1();
    if (t.isEmpty() || text.trimmed() != QString::fromLatin1(t))
        return QString("not a number");
    if (typeCode == kCodeFloat)
        return parseReal<float>(t, slot);
    if (typeCode == kCodeDouble)
        return parseReal<double>(t, slot);
    return parseWhole(t, typeCode, slot);
}

bool couldBecomeTypedValue(const QString& text, int32_t typeCode) {
    static const QRegularExpression whole(
        QRegularExpression::anchoredPattern("[+-]?[0-9]*|0[xX][0-9a-fA-F]*"));
    static const QRegularExpression real(QRegularExpression::anchoredPattern(
        "[+-]?([0-9]*\\.?[0-9]*([eE][+-]?[0-9]*)?|[iI]([nN][fF]?)?|[nN]([aA][nN]?)?)"));
    const QString t = text.trimmed();
    return isWholeNumberCode(typeCode) ? whole.match(t).hasMatch() : real.match(t).hasMatch();
}
