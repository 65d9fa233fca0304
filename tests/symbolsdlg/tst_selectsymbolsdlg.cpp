// The symbol selection dialog: its form, the tree's order, the filter, OK/Cancel and unticking.
#include "CatalogueFile.h"
#include "SelectSymbolsDlg.h"

#include <QAction>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>
#include <QTreeWidget>
#include <QTreeWidgetItemIterator>
#include <QtTest>

namespace {

const QVector<TestGroup> kTwoGroups = {
    {"motor.c",
     {{"speed", "20000010", "int"},
      {"speed_ref", "20000014", "float"},
      {"Torque", "20000018", "short", "static", 2}}},
    {"adc.c", {{"adc_raw", "20000100", "unsigned short", "global", 2}, {"speed_adc", "20000104", "int"}}},
};

// Names of the rows a user can see, in display order (a row under a hidden group is not seen).
QStringList VisibleNames(QTreeWidget* tree) {
    QStringList names;
    for (QTreeWidgetItemIterator it(tree); *it != nullptr; ++it) {
        bool seen = true;
        for (QTreeWidgetItem* up = *it; up != nullptr; up = up->parent())
            seen = seen && !up->isHidden();
        if (seen)
            names << (*it)->text(0);
    }
    return names;
}

QList<bool> Ticks(const SelectSymbolsDlg& dlg) {
    QList<bool> ticks;
    for (QCheckBox* box : dlg.CheckBoxes())
        ticks << box->isChecked();
    return ticks;
}

QList<bool> Marks() {
    QList<bool> marks;
    for (const VarParser::VarDes* des : VarParser::VarList())
        marks << des->selected;
    return marks;
}

// Presses a button of the running modal dialog as soon as its event loop runs.
void PressWhenShown(SelectSymbolsDlg* dlg, QDialogButtonBox::StandardButton which,
                    std::function<void()> before = {}) {
    QTimer::singleShot(0, dlg, [dlg, which, before] {
        QVERIFY(dlg->isVisible());
        QVERIFY(dlg->isModal());
        if (before)
            before();
        QTest::mouseClick(dlg->ButtonBox()->button(which), Qt::LeftButton);
    });
}

} // namespace

class SelectSymbolsDlgTest : public QObject {
    Q_OBJECT
private slots:
    void init() { VarParser::ResetForTests(); }
    void cleanup() { VarParser::ResetForTests(); }

    void form();
    void groupsInReverseFileOrder();
    void boxesFollowFlatList();
    void filter_data();
    void filter();
    void filterCanBeUndone();
    void okWritesSelection();
    void cancelRestoresConfirmedTicks();
    void showDialogKeepsTicks();
    void rebuildUnticksEverything();
    void removeSelect_data();
    void removeSelect();
    void removeSelectTakesFirstMatch();
    void emptyCatalogue();
};

void SelectSymbolsDlgTest::form() {
    SelectSymbolsDlg dlg;
    QCOMPARE(dlg.objectName(), QString("SelectSymbolsDlg"));
    QCOMPARE(dlg.size(), QSize(749, 532));
    QCOMPARE(dlg.windowTitle(), QString("Select Symbols"));
    QVERIFY(!(dlg.windowFlags() & Qt::WindowContextHelpButtonHint));
    QVERIFY(dlg.windowFlags() & Qt::WindowCloseButtonHint);

    QTreeWidget* tree = dlg.findChild<QTreeWidget*>("treeWidget");
    QVERIFY(tree != nullptr);
    QCOMPARE(tree->columnCount(), 6);
    QStringList headers;
    for (int c = 0; c < tree->columnCount(); ++c)
        headers << tree->headerItem()->text(c);
    QCOMPARE(headers, (QStringList{"Name", "Type", "Scope", "Size", "Address", "Select"}));
    QVERIFY(!tree->dragEnabled());
    for (int c = 0; c < tree->columnCount(); ++c)
        QCOMPARE(tree->header()->sectionResizeMode(c), QHeaderView::ResizeToContents);

    QLineEdit* filter = dlg.findChild<QLineEdit*>("lineEdit");
    QVERIFY(filter != nullptr);
    QCOMPARE(filter->placeholderText(), QString("Filter based on variable name"));
    QCOMPARE(
        filter->toolTip(),
        QString("<html><head/><body><p><a name=\"tw-target-text\"/><span style=\" font-family:'inherit'; "
                "font-size:28px; color:#202124;\">F</span><span style=\" font-family:'inherit'; "
                "font-size:28px; color:#202124;\">ilter based on variable name</span></p></body></html>"));
    QCOMPARE(filter->actions().size(), 1);
    QVERIFY(!filter->actions().first()->icon().isNull());

    QDialogButtonBox* buttons = dlg.findChild<QDialogButtonBox*>("buttonBox");
    QVERIFY(buttons != nullptr);
    QCOMPARE(buttons->standardButtons(), QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QCOMPARE(buttons->orientation(), Qt::Horizontal);
    QVERIFY(dlg.findChild<QGridLayout*>("gridLayout") != nullptr);
}

void SelectSymbolsDlgTest::groupsInReverseFileOrder() {
    QVERIFY(LoadCatalogue(kTwoGroups));
    SelectSymbolsDlg dlg;
    dlg.BuildTree();
    QTreeWidget* tree = dlg.Tree();
    QCOMPARE(tree->topLevelItemCount(), 2);
    QCOMPARE(tree->topLevelItem(0)->text(0), QString("adc.c"));
    QCOMPARE(tree->topLevelItem(1)->text(0), QString("motor.c"));
    for (int c = 1; c < 6; ++c)
        QCOMPARE(tree->topLevelItem(0)->text(c), QString());
    QVERIFY(tree->topLevelItem(0)->isExpanded());
    QVERIFY(tree->topLevelItem(1)->isExpanded());

    // Within a group the variables keep their file order; the row shows the record's texts.
    QTreeWidgetItem* motor = tree->topLevelItem(1);
    QCOMPARE(motor->childCount(), 3);
    QTreeWidgetItem* torque = motor->child(2);
    QCOMPARE(torque->text(0), QString("Torque"));
    QCOMPARE(torque->text(1), QString("short"));
    QCOMPARE(torque->text(2), QString("static"));
    QCOMPARE(torque->text(3), QString("2"));
    QCOMPARE(torque->text(4), QString("20000018"));
    QCOMPARE(torque->text(5), QString());
    auto* box = qobject_cast<QCheckBox*>(tree->itemWidget(torque, 5));
    QVERIFY(box != nullptr);
    QCOMPARE(box->text(), QString());
    QVERIFY(tree->itemWidget(motor, 5) == nullptr);
}

void SelectSymbolsDlgTest::boxesFollowFlatList() {
    QVERIFY(LoadCatalogue(kTwoGroups));
    SelectSymbolsDlg dlg;
    dlg.BuildTree();
    const QVector<VarParser::VarDes*> list = VarParser::VarList();
    QCOMPARE(dlg.CheckBoxes().size(), list.size());
    // Although the groups show in reverse, box i sits in the row of flat-list record i.
    for (int i = 0; i < list.size(); ++i) {
        QTreeWidgetItem* row = nullptr;
        for (QTreeWidgetItemIterator it(dlg.Tree()); *it != nullptr; ++it)
            if (dlg.Tree()->itemWidget(*it, 5) == dlg.CheckBoxes().at(i))
                row = *it;
        QVERIFY(row != nullptr);
        QCOMPARE(row->text(0), list.at(i)->name);
        QCOMPARE(row->text(4), list.at(i)->address);
    }
}

void SelectSymbolsDlgTest::filter_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("visible");
    const QStringList all{"adc.c", "adc_raw", "speed_adc", "motor.c", "speed", "speed_ref", "Torque"};
    QTest::newRow("empty shows all") << "" << all;
    QTest::newRow("children keep their groups")
        << "speed" << QStringList{"adc.c", "speed_adc", "motor.c", "speed", "speed_ref"};
    QTest::newRow("case-sensitive") << "torque" << QStringList{};
    QTest::newRow("exact case") << "Torque" << QStringList{"motor.c", "Torque"};
    QTest::newRow("group and child names") << "adc" << QStringList{"adc.c", "adc_raw", "speed_adc"};
    QTest::newRow("group name alone") << "motor" << QStringList{"motor.c"};
    QTest::newRow("no match") << "zzz" << QStringList{};
    QTest::newRow("substring inside") << "_r" << QStringList{"adc.c", "adc_raw", "motor.c", "speed_ref"};
}

void SelectSymbolsDlgTest::filter() {
    QFETCH(QString, text);
    QFETCH(QStringList, visible);
    QVERIFY(LoadCatalogue(kTwoGroups));
    SelectSymbolsDlg dlg;
    dlg.BuildTree();
    // The user types into the filter line; its textChanged drives the filter.
    dlg.FilterEdit()->setText(text);
    QCOMPARE(VisibleNames(dlg.Tree()), visible);
}

void SelectSymbolsDlgTest::filterCanBeUndone() {
    QVERIFY(LoadCatalogue(kTwoGroups));
    SelectSymbolsDlg dlg;
    dlg.BuildTree();
    QTest::keyClicks(dlg.FilterEdit(), "zzz");
    QCOMPARE(VisibleNames(dlg.Tree()), QStringList{});
    dlg.Tree()->collapseAll();
    dlg.FilterEdit()->clear();
    QCOMPARE(VisibleNames(dlg.Tree()).size(), 7);
}

void SelectSymbolsDlgTest::okWritesSelection() {
    QVERIFY(LoadCatalogue(kTwoGroups));
    SelectSymbolsDlg dlg;
    dlg.BuildTree();
    QSignalSpy done(&dlg, &SelectSymbolsDlg::SelectedDone);
    PressWhenShown(&dlg, QDialogButtonBox::Ok, [&dlg] {
        dlg.CheckBoxes().at(0)->click();
        dlg.CheckBoxes().at(3)->click();
        QCOMPARE(Marks(), (QList<bool>{false, false, false, false, false}));
    });
    dlg.ShowDialog();
    QCOMPARE(dlg.result(), int(QDialog::Accepted));
    QVERIFY(!dlg.isVisible());
    QCOMPARE(done.count(), 1);
    QCOMPARE(Marks(), (QList<bool>{true, false, false, true, false}));
    QCOMPARE(VarParser::VarList().at(3)->name, QString("adc_raw"));
}

void SelectSymbolsDlgTest::cancelRestoresConfirmedTicks() {
    QVERIFY(LoadCatalogue(kTwoGroups));
    SelectSymbolsDlg dlg;
    dlg.BuildTree();
    dlg.CheckBoxes().at(1)->setChecked(true);
    dlg.accept();
    QSignalSpy done(&dlg, &SelectSymbolsDlg::SelectedDone);
    PressWhenShown(&dlg, QDialogButtonBox::Cancel, [&dlg] {
        dlg.CheckBoxes().at(1)->setChecked(false);
        dlg.CheckBoxes().at(4)->setChecked(true);
    });
    dlg.ShowDialog();
    QCOMPARE(dlg.result(), int(QDialog::Rejected));
    QCOMPARE(done.count(), 0);
    QCOMPARE(Ticks(dlg), (QList<bool>{false, true, false, false, false}));
    QCOMPARE(Marks(), (QList<bool>{false, true, false, false, false}));
}

void SelectSymbolsDlgTest::showDialogKeepsTicks() {
    QVERIFY(LoadCatalogue(kTwoGroups));
    SelectSymbolsDlg dlg;
    dlg.BuildTree();
    const QList<QCheckBox*> before = dlg.CheckBoxes();
    dlg.CheckBoxes().at(2)->setChecked(true);
    dlg.accept();
    QList<bool> seen;
    PressWhenShown(&dlg, QDialogButtonBox::Cancel, [&dlg, &seen] { seen = Ticks(dlg); });
    dlg.ShowDialog();
    QCOMPARE(seen, (QList<bool>{false, false, true, false, false}));
    QCOMPARE(dlg.CheckBoxes(), before);
}

void SelectSymbolsDlgTest::rebuildUnticksEverything() {
    QVERIFY(LoadCatalogue(kTwoGroups));
    for (VarParser::VarDes* des : VarParser::VarList())
        des->selected = true;
    SelectSymbolsDlg dlg;
    QList<bool> seen;
    PressWhenShown(&dlg, QDialogButtonBox::Cancel, [&dlg, &seen] { seen = Ticks(dlg); });
    dlg.InitItemAndShow();
    QCOMPARE(seen, (QList<bool>{false, false, false, false, false}));
    // Cancel then puts back what the records say.
    QCOMPARE(Ticks(dlg), (QList<bool>{true, true, true, true, true}));
}

void SelectSymbolsDlgTest::removeSelect_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("scope");
    QTest::addColumn<int>("size");
    QTest::addColumn<QList<bool>>("ticks");
    const QList<bool> untouched{true, true, true, true, true};
    QTest::newRow("exact") << "speed_ref"
                           << "20000014"
                           << "float"
                           << "global" << 4 << QList<bool>{true, false, true, true, true};
    QTest::newRow("scope and size differ") << "speed_ref"
                                           << "20000014"
                                           << "float"
                                           << "local" << 8 << QList<bool>{true, false, true, true, true};
    QTest::newRow("other type") << "speed_ref"
                                << "20000014"
                                << "int"
                                << "global" << 4 << untouched;
    QTest::newRow("other address") << "speed_ref"
                                   << "20000015"
                                   << "float"
                                   << "global" << 4 << untouched;
    QTest::newRow("address case") << "speed_ref"
                                  << "2000001A"
                                  << "float"
                                  << "global" << 4 << untouched;
    QTest::newRow("other name") << "Speed_ref"
                                << "20000014"
                                << "float"
                                << "global" << 4 << untouched;
    QTest::newRow("last record") << "speed_adc"
                                 << "20000104"
                                 << "int"
                                 << "global" << 4 << QList<bool>{true, true, true, true, false};
}

void SelectSymbolsDlgTest::removeSelect() {
    QFETCH(QString, name);
    QFETCH(QString, address);
    QFETCH(QString, type);
    QFETCH(QString, scope);
    QFETCH(int, size);
    QFETCH(QList<bool>, ticks);
    QVERIFY(LoadCatalogue(kTwoGroups));
    SelectSymbolsDlg dlg;
    dlg.BuildTree();
    for (QCheckBox* box : dlg.CheckBoxes())
        box->setChecked(true);
    dlg.accept();

    VarParser::VarDes des;
    des.name = name;
    des.address = address;
    des.type = type;
    des.scope = scope;
    des.size = size;
    dlg.RemoveSelect(des);
    QCOMPARE(Ticks(dlg), ticks);
    // The confirmed marks change only on the next OK.
    QCOMPARE(Marks(), (QList<bool>{true, true, true, true, true}));
}

void SelectSymbolsDlgTest::removeSelectTakesFirstMatch() {
    QVERIFY(
        LoadCatalogue({{"a.c", {{"shared", "20000000", "int"}}}, {"b.c", {{"shared", "20000000", "int"}}}}));
    SelectSymbolsDlg dlg;
    dlg.BuildTree();
    dlg.CheckBoxes().at(0)->setChecked(true);
    dlg.CheckBoxes().at(1)->setChecked(true);
    dlg.RemoveSelect(*VarParser::VarList().at(1));
    QCOMPARE(Ticks(dlg), (QList<bool>{false, true}));
}

void SelectSymbolsDlgTest::emptyCatalogue() {
    SelectSymbolsDlg dlg;
    dlg.RemoveSelect(VarParser::VarDes{}); // no catalogue: nothing to untick
    QSignalSpy done(&dlg, &SelectSymbolsDlg::SelectedDone);
    PressWhenShown(&dlg, QDialogButtonBox::Ok);
    dlg.InitItemAndShow();
    QCOMPARE(dlg.Tree()->topLevelItemCount(), 0);
    QCOMPARE(dlg.CheckBoxes().size(), 0);
    QCOMPARE(done.count(), 1);
}

QTEST_MAIN(SelectSymbolsDlgTest)
#include "tst_selectsymbolsdlg.moc"
