#include "RebuiltFirmware.h"

#include "CommonCfg.h"
#include "ProjectOpen.h"
#include "RebuiltMatch.h"
#include "SelectSymbolsDlg.h"
#include "VarTableWidget.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QMessageBox>

void FollowRebuiltFirmware(QWidget* parent, VarTableWidget& table, SelectSymbolsDlg& symbols) {
    // The records are kept in row order, as the project file lists the rows.
    const QVariantList rows = table.ProjectRows();
    QVector<const VarParser::VarDes*> vars;
    for (const VarTableWidget::LineItem* item : table.LineItems())
        vars << item->varDes;
    const QVector<VarParser::VarDes*> matches = MatchRebuilt(vars);
    QVariantList kept;
    QStringList removed;
    for (int i = 0; i < rows.size() && i < matches.size(); ++i) {
        QVariantMap row = rows[i].toMap();
        if (matches[i] == nullptr) {
            removed << row.value("name").toString();
            continue;
        }
        row.insert("address", matches[i]->address); // the row is restored onto this very record
        kept << row;
    }
    RestoreRows(table, symbols, kept);
    if (!removed.isEmpty()) {
        QMessageBox box(QMessageBox::Information, QCoreApplication::translate("RebuiltFirmware", "Info"),
                        QCoreApplication::translate("RebuiltFirmware",
                                                    "These rows are removed: %1 has no such variable any "
                                                    "more, or its type, size or scope changed.\n%2")
                            .arg(QFileInfo(CommonCfg::Record().elf).fileName(), removed.join(", ")),
                        QMessageBox::Yes, parent);
        box.exec();
    }
    symbols.ShowDialog();
}
