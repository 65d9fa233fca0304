#pragma once

#include "CatalogueFile.h"
#include "VarTableWidget.h"
#include "WatchList.h"

#include <QStringList>
#include <QTableWidget>

// Marks exactly the named catalogue records as selected (as OK in the selection dialog does), has the
// table follow, and sets up the watch list as a sampling start would.
inline void SelectByName(VarTableWidget& table, const QStringList& names) {
    for (VarParser::VarDes* des : VarParser::VarList())
        des->selected = names.contains(des->name);
    table.UpdateTableWithVariableList();
    WatchList& w = watchList() = WatchList();
    w.count = table.LineItems().size();
    for (int i = 0; i < w.count; ++i) {
        parseAddress(table.LineItems().at(i)->varDes->address, w.address[i]);
        w.typeCode[i] = typeCodeOf(*table.LineItems().at(i)->varDes);
        w.scale[i] = 1.0f;
    }
}

// Loads a catalogue of n int variables "v0".."v<n-1>" at 0x20000000 + 4 i; their names (none on failure).
inline QStringList LoadNumbered(int n) {
    QStringList vars, names;
    for (int i = 0; i < n; ++i) {
        names << QString("v%1").arg(i);
        vars << QString("v%1:%2:int").arg(i).arg(0x20000000 + 4 * i, 0, 16);
    }
    return LoadCatalogue("vars.c=" + vars.join(',')) ? names : QStringList();
}
