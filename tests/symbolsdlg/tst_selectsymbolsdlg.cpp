// The symbol selection dialog: its texts, the tree's order, the filter, OK/Cancel and unticking.
#include "CatalogueFile.h"
#include "SelectSymbolsDlg.h"

#include <QAction>
#include <QCheckBox>
#include <QDialogButtonBox>
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

// Rows a user can see, in display order, as "name" or, for a variable, "name type scope size address tick".
QStringList Rows(SelectSymbolsDlg& dlg) {
    QStringList rows;
    for (QTreeWidgetItemIterator it(dlg.Tree()); *it != nullptr; ++it) {
        bool seen = true;
        for (QTreeWidgetItem* up = *it; up != nullptr; up = up->parent())
            seen = seen && !up->isHidden();
        auto* box = qobject_cast<QCheckBox*>(dlg.Tree()->itemWidget(*it, 5));
        QStringList texts;
        for (int c = 0; c < 5 && box != nullptr; ++c)
            texts << (*it)->text(c);
        if (seen)
            rows << (box ? texts.join(' ') + (box->isChecked() ? " x" : " -") : (*it)->text(0));
    }
    return rows;
}

QString Marks() {
    QString marks;
    for (const VarParser::VarDes* des : VarParser::VarList())
        marks += des->selected ? 'x' : '-';
    return marks;
}

QString Ticks(const SelectSymbolsDlg& dlg) {
    QString ticks;
    for (QCheckBox* box : dlg.CheckBoxes())
        ticks += box->isChecked() ? 'x' : '-';
    return ticks;
}

} // namespace

class SelectSymbolsDlgTest : public QObject {
    Q_OBJECT
private slots:
    void init() { VarParser::ResetForTests(); }
    void cleanup() { VarParser::ResetForTests(); }

    void texts() {
        SelectSymbolsDlg dlg;
        QCOMPARE(dlg.windowTitle(), QString("Select Symbols"));
        QStringList headers;
        for (int c = 0; c < dlg.Tree()->columnCount(); ++c)
            headers << dlg.Tree()->headerItem()->text(c);
        QCOMPARE(headers, (QStringList{"Name", "Type", "Scope", "Size", "Address", "Select"}));
        QCOMPARE(dlg.FilterEdit()->placeholderText(), QString("Filter based on variable name"));
        QVERIFY(dlg.FilterEdit()->toolTip().contains("ilter based on variable name</span>"));
        QCOMPARE(dlg.FilterEdit()->actions().size(), 1);
        QCOMPARE(dlg.ButtonBox()->standardButtons(), QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
        QVERIFY(!(dlg.windowFlags() & Qt::WindowContextHelpButtonHint));
    }

    // Groups show in reverse file order, variables in file order; box i belongs to flat-list record i.
    void tree() {
        QVERIFY(LoadCatalogue(kTwoGroups));
        SelectSymbolsDlg dlg;
        dlg.BuildTree();
        dlg.CheckBoxes().at(2)->setChecked(true);
        QCOMPARE(Rows(dlg),
                 (QStringList{"adc.c", "adc_raw unsigned short global 2 20000100 -",
                              "speed_adc int global 4 20000104 -", "motor.c", "speed int global 4 20000010 -",
                              "speed_ref float global 4 20000014 -", "Torque short static 2 20000018 x"}));
        QVERIFY(dlg.Tree()->topLevelItem(0)->isExpanded());
    }

    void filter_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("visible");
        QTest::newRow("children keep their groups")
            << "speed" << QStringList{"adc.c", "speed_adc", "motor.c", "speed", "speed_ref"};
        QTest::newRow("case-sensitive") << "torque" << QStringList{};
        QTest::newRow("group and child names") << "adc" << QStringList{"adc.c", "adc_raw", "speed_adc"};
        QTest::newRow("group name alone") << "motor" << QStringList{"motor.c"};
        QTest::newRow("substring inside") << "_r" << QStringList{"adc.c", "adc_raw", "motor.c", "speed_ref"};
        QTest::newRow("cleared again shows all")
            << "" << QStringList{"adc.c", "adc_raw", "speed_adc", "motor.c", "speed", "speed_ref", "Torque"};
    }
    void filter() {
        QFETCH(QString, text);
        QFETCH(QStringList, visible);
        QVERIFY(LoadCatalogue(kTwoGroups));
        SelectSymbolsDlg dlg;
        dlg.BuildTree();
        QTest::keyClicks(dlg.FilterEdit(), "zzz"); // the user types; textChanged drives the filter
        dlg.Tree()->collapseAll();
        dlg.FilterEdit()->setText(text);
        QStringList names;
        for (const QString& row : Rows(dlg))
            names << row.section(' ', 0, 0);
        QCOMPARE(names, visible);
    }

    // Boxes ticked before the dialog opens and while it is open, then OK or Cancel.
    void closing_data() {
        QTest::addColumn<bool>("rebuild"); // opened through InitItemAndShow, which rebuilds the tree
        QTest::addColumn<QList<int>>("clicked");
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("seen"); // ticks when the dialog showed
        QTest::addColumn<QString>("marks");
        QTest::addColumn<int>("done"); // SelectedDone signals
        QTest::newRow("OK writes the ticks") << false << QList<int>{0, 3} << "ok"
                                             << "--x--"
                                             << "x-xx-" << 1;
        QTest::newRow("Cancel restores the confirmed ticks") << false << QList<int>{2, 4} << "cancel"
                                                             << "--x--"
                                                             << "--x--" << 0;
        QTest::newRow("rebuild unticks, Cancel puts back") << true << QList<int>{} << "cancel"
                                                           << "-----"
                                                           << "--x--" << 0;
        QTest::newRow("rebuild, OK keeps nothing") << true << QList<int>{} << "ok"
                                                   << "-----"
                                                   << "-----" << 1;
    }
    void closing() {
        QFETCH(bool, rebuild);
        QFETCH(QList<int>, clicked);
        QFETCH(QString, button);
        QFETCH(QString, seen);
        QFETCH(QString, marks);
        QFETCH(int, done);
        QVERIFY(LoadCatalogue(kTwoGroups));
        SelectSymbolsDlg dlg;
        dlg.BuildTree();
        dlg.CheckBoxes().at(2)->setChecked(true);
        dlg.accept();
        QSignalSpy selected(&dlg, &SelectSymbolsDlg::SelectedDone);
        QString ticksShown;
        QTimer::singleShot(0, &dlg, [&] {
            QVERIFY(dlg.isVisible() && dlg.isModal());
            ticksShown = Ticks(dlg);
            for (int i : clicked)
                dlg.CheckBoxes().at(i)->click();
            QTest::mouseClick(
                dlg.ButtonBox()->button(button == "ok" ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel),
                Qt::LeftButton);
        });
        rebuild ? dlg.InitItemAndShow() : dlg.ShowDialog();
        QCOMPARE(ticksShown, seen);
        QCOMPARE(Marks(), marks);
        QCOMPARE(Ticks(dlg), marks);
        QCOMPARE(selected.count(), done);
        QVERIFY(!dlg.isVisible());
    }

    void removeSelect_data() {
        QTest::addColumn<QString>("record"); // name address type scope size
        QTest::addColumn<QString>("ticks");
        QTest::newRow("exact") << "speed_ref 20000014 float global 4"
                               << "x-xxx";
        QTest::newRow("scope and size differ") << "speed_ref 20000014 float local 8"
                                               << "x-xxx";
        QTest::newRow("other type") << "speed_ref 20000014 int global 4"
                                    << "xxxxx";
        QTest::newRow("other address") << "speed_ref 20000015 float global 4"
                                       << "xxxxx";
        QTest::newRow("address case") << "speed_ref 2000001A float global 4"
                                      << "xxxxx";
        QTest::newRow("other name") << "Speed_ref 20000014 float global 4"
                                    << "xxxxx";
        QTest::newRow("last record") << "speed_adc 20000104 int global 4"
                                     << "xxxx-";
    }
    void removeSelect() {
        QFETCH(QString, record);
        QFETCH(QString, ticks);
        QVERIFY(LoadCatalogue(kTwoGroups));
        SelectSymbolsDlg dlg;
        dlg.BuildTree();
        for (QCheckBox* box : dlg.CheckBoxes())
            box->setChecked(true);
        dlg.accept();
        const QStringList f = record.split(' ');
        dlg.RemoveSelect({f[0], f[1], f[3], f[2], f[4].toInt()});
        QCOMPARE(Ticks(dlg), ticks);
        QCOMPARE(Marks(), QString("xxxxx")); // the confirmed marks change only on the next OK
    }

    void emptyCatalogue() {
        SelectSymbolsDlg dlg;
        dlg.RemoveSelect(VarParser::VarDes{}); // no catalogue: nothing to untick
        QSignalSpy done(&dlg, &SelectSymbolsDlg::SelectedDone);
        QTimer::singleShot(0, &dlg, [&dlg] { dlg.ButtonBox()->button(QDialogButtonBox::Ok)->click(); });
        dlg.InitItemAndShow();
        QCOMPARE(dlg.Tree()->topLevelItemCount(), 0);
        QCOMPARE(done.count(), 1);
    }
};

QTEST_MAIN(SelectSymbolsDlgTest)
#include "tst_selectsymbolsdlg.moc"
