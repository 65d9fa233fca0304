#pragma once

#include "VarParser.h"

#include <QDialog>
#include <QList>
#include <QStringList>

class QCheckBox;
class QDialogButtonBox;
class QGridLayout;
class QLineEdit;
class QTreeWidget;

// Lets the user tick, in a tree of the symbol catalogue, the variables to trace. Groups are top-level
// rows, variables their children with one check box each. The ticks are the dialog's working state;
// OK copies them into the records' `selected` marks (the confirmed state), Cancel puts them back.
class SelectSymbolsDlg : public QDialog {
    Q_OBJECT
public:
    explicit SelectSymbolsDlg(QWidget* parent = nullptr);

    // Rebuilds the tree from the catalogue without showing the dialog; every box starts unticked.
    void BuildTree();
    // Every box ticked as its record's confirmed `selected` mark says (what Cancel goes back to).
    void TickSelected();

    // Box i belongs to record i of VarParser::VarList().
    const QList<QCheckBox*>& CheckBoxes() const { return m_checkBoxes; }
    QTreeWidget* Tree() const { return treeWidget; }
    QLineEdit* FilterEdit() const { return lineEdit; }
    QDialogButtonBox* ButtonBox() const { return buttonBox; }

signals:
    void SelectedDone();

public slots:
    void InitItemAndShow();
    void ShowDialog();
    void filterTable(const QString& text);
    void RemoveSelect(VarParser::VarDes des);
    void accept() override;
    void reject() override;

protected:
    // Space on the tree ticks or unticks the current variable, as in any list with check boxes.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void SetupUi();

    QList<QCheckBox*> m_checkBoxes;
    QGridLayout* gridLayout = nullptr;
    QTreeWidget* treeWidget = nullptr;
    QLineEdit* lineEdit = nullptr;
    QDialogButtonBox* buttonBox = nullptr;
    QStringList m_headers;
};
