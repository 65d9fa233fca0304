#include "WatchList.h"

WatchList& watchList() {
    static WatchList list;
    return list;
}

HssSettings& hssSettings() {
    static HssSettings settings;
    return settings;
}

int typeCodeOf(const QString& typeName) {
    if (typeName == QLatin1String("char"))
        return 0;
    if (typeName == QLatin1String("int") || typeName == QLatin1String("short"))
        return 1;
    if (typeName == QLatin1String("float"))
        return 2;
    return 3;
}

int32_t addressOf(const QString& text) {
    bool ok = false;
    const int value = text.toInt(&ok, 16);
    return ok ? value : 0;
}
