#pragma once

#include "CatalogueFile.h"
#include "VarTableWidget.h"

#include <QSet>
#include <QStringList>
#include <QTableWidget>

// Marks exactly the named catalogue records as selected (as OK in the selection dialog does) and
// has the table follow.
inline void SelectByName(VarTableWidget& table, const QStringList& names) {
    for (VarParser::VarDes* des : VarParser::VarList())
        des->selected = names.contains(des->name);
    table.UpdateTableWithVariableList();
}

// Text of a column, row by row, without the "+" row.
inline QStringList ColumnTexts(VarTableWidget& table, const QString& title) {
    QStringList texts;
    QTableWidget* view = table.GetTableWidget();
    for (int row = 0; row + 1 < view->rowCount(); ++row) {
        const QTableWidgetItem* item = view->item(row, table.Column(title));
        texts << (item != nullptr ? item->text() : QString());
    }
    return texts;
}

// A catalogue of n int variables "v0".."v<n-1>" at 0x20000000 + 4 i.
inline bool LoadNumbered(int n) {
    TestGroup group{"vars.c", {}};
    for (int i = 0; i < n; ++i)
        group.vars.append({QString("v%1").arg(i), QString::number(0x20000000 + 4 * i, 16), "int"});
    return LoadCatalogue({group});
}

inline QStringList Numbered(int n) {
    QStringList names;
    for (int i = 0; i < n; ++i)
        names << QString("v%1").arg(i);
    return names;
}
