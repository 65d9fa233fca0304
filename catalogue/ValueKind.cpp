#include "ValueKind.h"

#include <QRegularExpression>

namespace {

ValueKind kindOfEncoding(const QString& encoding) {
    if (encoding == QLatin1String("signed"))
        return ValueKind::Signed;
    if (encoding == QLatin1String("unsigned"))
        return ValueKind::Unsigned;
    if (encoding == QLatin1String("float"))
        return ValueKind::OtherFloat;
    return ValueKind::Unknown;
}

// Older catalogues carry only the type text: the C spellings in any word order, the fixed-width
// names of <stdint.h>, and the extractor's own "enum NAME" and "pointer".
ValueKind kindOfName(const QString& typeName) {
    static const QRegularExpression unsignedName(QRegularExpression::anchoredPattern(
        "((unsigned|char|short|int|long) )*unsigned( (char|short|int|long))*|uint(8|16|32|64)_t|uintptr_t|"
        "size_t|_Bool|bool|pointer|.*\\*"));
    static const QRegularExpression signedName(QRegularExpression::anchoredPattern(
        "((signed|char|short|int|long)( |$))+|int(8|16|32|64)_t|intptr_t|ptrdiff_t|enum( .*)?"));
    static const QRegularExpression floatName(QRegularExpression::anchoredPattern("(long )?double"));
    const QString name = typeName.simplified();
    if (unsignedName.match(name).hasMatch())
        return ValueKind::Unsigned;
    if (signedName.match(name).hasMatch())
        return ValueKind::Signed;
    if (floatName.match(name).hasMatch())
        return ValueKind::OtherFloat;
    return ValueKind::Unknown;
}

} // namespace

ValueKind valueKindOf(const QString& typeName, const QString& encoding) {
    if (typeName == QLatin1String("char"))
        return ValueKind::Char;
    if (typeName == QLatin1String("float"))
        return ValueKind::Float;
    const ValueKind byKey = kindOfEncoding(encoding);
    return byKey != ValueKind::Unknown ? byKey : kindOfName(typeName);
}

QString unsampledReason(ValueKind kind, int size) {
    const bool floating = kind == ValueKind::Float || kind == ValueKind::OtherFloat;
    if (floating && size != 4 && size != 8)
        return QString("a floating value of %1 bytes cannot be sampled, only floats and doubles").arg(size);
    if (size != 1 && size != 2 && size != 4 && size != 8)
        return QString("a value of %1 bytes cannot be sampled, only of 1, 2, 4 or 8").arg(size);
    return QString();
}
