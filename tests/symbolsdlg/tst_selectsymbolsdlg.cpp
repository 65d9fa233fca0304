// The symbol selection dialog: its texts, the tree's order, the filter, OK/Cancel and unticking.
#include "CatalogueFile.h"
#include "Row.h"
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
        Row::Column();
        QTest::newRow("children keep their groups") << "speed | adc.c speed_adc motor.c speed speed_ref";
        QTest::newRow("case-sensitive") << "torque | ";
        QTest::newRow("group and child names") << "adc | adc.c adc_raw speed_adc";
        QTest::newRow("group name alone") << "motor | motor.c";
        QTest::newRow("substring inside") << "_r | adc.c adc_raw motor.c speed_ref";
        QTest::newRow("cleared again shows all")
            << " | adc.c adc_raw speed_adc motor.c speed speed_ref Torque";
    }
    void filter() {
        const QStringList f = Row::Fields();
        QVERIFY(LoadCatalogue(kTwoGroups));
        SelectSymbolsDlg dlg;
        dlg.BuildTree();
        QTest::keyClicks(dlg.FilterEdit(), "zzz"); // the user types; textChanged drives the filter
        dlg.Tree()->collapseAll();
        dlg.FilterEdit()->setText(f[0].trimmed());
        QStringList names;
        for (const QString& row : Rows(dlg))
            names << row.section(' ', 0, 0);
        QCOMPARE(names.join(' '), f[1].trimmed());
    }

    // Box 2 ticked and confirmed, then the dialog opened as it is or rebuilt, boxes clicked, OK or Cancel:
    // how | clicked | ticks shown | records' marks and ticks afterwards | SelectedDone signals
    void closing_data() {
        Row::Column();
        QTest::newRow("OK writes the ticks") << "show 0 3 ok | --x-- | x-xx- | 1";
        QTest::newRow("Cancel restores the confirmed ticks") << "show 2 4 cancel | --x-- | --x-- | 0";
        QTest::newRow("rebuild unticks, Cancel puts back") << "rebuild cancel | ----- | --x-- | 0";
        QTest::newRow("rebuild, OK keeps nothing") << "rebuild ok | ----- | ----- | 1";
    }
    void closing() {
        const QStringList f = Row::Fields();
        QStringList steps = f[0].split(' ');
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
            for (const QString& i : steps.mid(1, steps.size() - 2))
                dlg.CheckBoxes().at(i.toInt())->click();
            const auto which = steps.last() == "ok" ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel;
            QTest::mouseClick(dlg.ButtonBox()->button(which), Qt::LeftButton);
        });
        steps[0] == "rebuild" ? dlg.InitItemAndShow() : dlg.ShowDialog();
        QCOMPARE(ticksShown + " " + Marks() + " " + Ticks(dlg), f[1] + " " + f[2] + " " + f[2]);
        QCOMPARE(selected.count(), f[3].toInt());
        QVERIFY(!dlg.isVisible());
    }
    // A record to untick: name address type scope size | ticks afterwards (all ticked before)
    void removeSelect_data() {
        Row::Column();
        QTest::newRow("exact") << "speed_ref 20000014 float global 4 | x-xxx";
        QTest::newRow("scope and size differ") << "speed_ref 20000014 float local 8 | x-xxx";
        QTest::newRow("other type") << "speed_ref 20000014 int global 4 | xxxxx";
        QTest::newRow("other address") << "speed_ref 20000015 float global 4 | xxxxx";
        QTest::newRow("address case") << "speed_ref 2000001A float global 4 | xxxxx";
        QTest::newRow("other name") << "Speed_ref 20000014 float global 4 | xxxxx";
        QTest::newRow("last record") << "speed_adc 20000104 int global 4 | xxxx-";
    }
    void removeSelect() {
        const QStringList f = Row::Fields(), r = f[0].split(' ');
        QVERIFY(LoadCatalogue(kTwoGroups));
        SelectSymbolsDlg dlg;
        dlg.BuildTree();
        for (QCheckBox* box : dlg.CheckBoxes())
            box->setChecked(true);
        dlg.accept();
        dlg.RemoveSelect({r[0], r[1], r[3], r[2], r[4].toInt(), 0, 0, false, false, QString()});
        QCOMPARE(Ticks(dlg), f[1]);
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
