#include "ProjectOpen.h"

#include "CommonCfg.h"
#include "ProjectDialog.h"
#include "SampleValue.h"
#include "SelectSymbolsDlg.h"
#include "VarParser.h"
#include "VarTableWidget.h"
#include "WatchList.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QFileInfo>
#include <QLabel>
#include <QMessageBox>
#include <QSignalBlocker>
#include <QTableWidgetItem>

namespace {

// The catalogue's record for a saved row: not chosen yet, sampleable, of the row's name; one at the
// row's address first.
VarParser::VarDes* Find(const QVector<VarParser::VarDes*>& catalogue, const QVariantMap& row) {
    VarParser::VarDes* byName = nullptr;
    for (VarParser::VarDes* des : catalogue) {
        if (des->selected || des->name != row.value("name").toString() || typeCodeOf(*des) == kCodeNone)
            continue;
        if (des->address == row.value("address").toString())
            return des;
        if (byName == nullptr)
            byName = des;
    }
    return byName;
}

int TableRowOf(VarTableWidget& table, const VarParser::VarDes* des) {
    DragableRowsTable* view = table.GetTableWidget();
    for (const VarTableWidget::LineItem* item : table.LineItems())
        if (item->varDes == des)
            for (int r = 0; r < view->rowCount(); ++r)
                if (view->cellWidget(r, table.Column(table.ColumnTitles().first())) == item->colorLabel)
                    return r;
    return -1;
}

} // namespace

QStringList RestoreRows(VarTableWidget& table, SelectSymbolsDlg& symbols, const QVariantList& saved) {
    table.ClearTable();
    const QVector<VarParser::VarDes*> catalogue = VarParser::VarList();
    for (VarParser::VarDes* des : catalogue)
        des->selected = false;
    QVector<VarParser::VarDes*> chosen;
    QVector<QVariantMap> settings;
    QStringList missing;
    for (const QVariant& entry : saved) {
        const QVariantMap row = entry.toMap();
        VarParser::VarDes* des = Find(catalogue, row);
        if (des == nullptr) {
            missing << row.value("name").toString();
            continue;
        }
        des->selected = true;
        chosen << des;
        settings << row;
    }
    symbols.BuildTree();
    symbols.TickSelected();
    table.UpdateTableWithVariableList();

    // The table makes rows in address order: the file's order comes back row by row.
    for (int i = 0; i < chosen.size(); ++i) {
        const int row = TableRowOf(table, chosen[i]);
        if (row >= 0 && row != i)
            table.GetTableWidget()->MoveRow(row, i);
    }
    table.SyncRowOrder();
    table.GetTableWidget()->clearSelection(); // the moves selected rows the user did not pick

    const QList<VarTableWidget::LineItem*> rows = table.LineItems();
    // Unticked boxes first, so that ticked ones find their room among the curves shown at most.
    for (int pass = 0; pass < 2; ++pass)
        for (int i = 0; i < rows.size() && i < settings.size(); ++i)
            if (settings[i].value("show").toBool() == (pass == 1) &&
                (pass == 0 || table.ShownCount() < CommonCfg::CurveLimit()))
                rows[i]->showChkBox->setChecked(pass == 1);
    for (int i = 0; i < rows.size() && i < settings.size(); ++i) {
        table.PaintSwatch(rows[i]->colorLabel, QColor::fromRgb(settings[i].value("rgb").toUInt()));
        rows[i]->lockChkBox->setChecked(settings[i].value("lock").toBool());
        // Through the table's own checks: a text it refuses becomes its start value.
        rows[i]->yResolutionItem->setText(settings[i].value("yResolution").toString());
        rows[i]->yOffsetItem->setText(settings[i].value("yOffset").toString());
    }
    emit table.SendChartShowChanged(table.LineItems());
    return missing;
}

void OpenProjectSetup(QWidget* parent, const QString& file, ProjectDialog& dialog, VarParser& parser,
                      VarTableWidget& table, SelectSymbolsDlg& symbols) {
    dialog.ShowRecord();
    bool loaded = false;
    {
        // The list read now is for the project's rows, not for a new choice in the selection dialog.
        const QSignalBlocker quiet(&parser);
        loaded = dialog.Apply();
    }
    if (!loaded)
        return;
    const QStringList missing = RestoreRows(table, symbols, CommonCfg::ReadVarList(file));
    if (missing.isEmpty())
        return;
    const QString text = QCoreApplication::translate(
                             "ProjectOpen", "These rows of %1 are not restored: %2 has no such variable.\n%3")
                             .arg(QFileInfo(file).fileName(), QFileInfo(CommonCfg::Record().elf).fileName(),
                                  missing.join(", "));
    auto* box = new QMessageBox(QMessageBox::Information, QCoreApplication::translate("ProjectOpen", "Info"),
                                text, QMessageBox::Yes, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}
