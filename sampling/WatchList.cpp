#include "WatchList.h"

#include "SampleValue.h"

#include <QRegularExpression>

WatchList& watchList() {
    static WatchList list;
    return list;
}

HssSettings& hssSettings() {
    static HssSettings settings;
    return settings;
}

uint32_t displayDepthOf(int stepValue) {
    return stepValue > 0 ? static_cast<uint32_t>(stepValue) : kDefaultDisplayDepth;
}

int32_t typeCodeOf(const VarParser::VarDes& des) {
    return typeCodeOf(des.type, des.encoding, des.size);
}

bool parseAddress(const QString& text, uint32_t& address) {
    static const QRegularExpression hex(QRegularExpression::anchoredPattern("(0[xX])?[0-9a-fA-F]+"));
    if (!hex.match(text).hasMatch())
        return false;
    bool ok = false;
    const qulonglong value = text.toULongLong(&ok, 16);
    if (!ok || value > 0xFFFFFFFFull)
        return false;
    address = static_cast<uint32_t>(value);
    return true;
}
