// The symbol catalogue and its selection dialog: reading elf.json (new/changed/unchanged, bad files), the
// dialog's texts and icons, the tree's order, the filter, OK/Cancel and unticking.
#include "CatalogueFile.h"
#include "ErrorBox.h"
#include "Images.h"
#include "RebuiltMatch.h"
#include "Row.h"
#include "SelectSymbolsDlg.h"

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

const QByteArray kTwoVars = R"([{"name":"main.c","dataList":[
  {"name":"counter","address":"20000000","scope":"global","size":4,"type":"unsigned int","key":1},
  {"name":"wave","address":"0x20000004","scope":"static","size":4,"type":"float","key":2}]}])";
const QString kTwoHeld = "counter:20000000:global:unsigned int:4 wave:0x20000004:static:float:4";
const QString kTwoGroups =
    "motor.c=speed:20000010:int, speed_ref:20000014:float, Torque:20000018:short:static:2;"
    "adc.c=adc_raw:20000100:unsigned short:global:2, speed_adc:20000104:int";

// "two": the two-variable file (or its records); "a => b & c => d": that edited; anything else as it stands.
QByteArray Json(const QString& text, const QByteArray& two = kTwoVars) {
    if (text != "two" && !text.contains(" => "))
        return text.toUtf8();
    QByteArray json = two;
    for (const QString& edit : text.split(" & ", Qt::SkipEmptyParts))
        json.replace(edit.section(" => ", 0, 0).toUtf8(), edit.section(" => ", 1).toUtf8());
    return json;
}

// Rows a user can see, in display order, as "name" or, for a variable, "name type scope size address tick".
QStringList Rows(SelectSymbolsDlg& dlg) {
    QStringList rows;
    for (QTreeWidgetItemIterator it(dlg.Tree(), QTreeWidgetItemIterator::NotHidden); *it != nullptr; ++it) {
        auto* box = qobject_cast<QCheckBox*>(dlg.Tree()->itemWidget(*it, 5));
        QStringList texts;
        for (int c = 0; c < (box != nullptr ? 5 : 1); ++c)
            texts << (*it)->text(c);
        rows << texts.join(' ') + (box == nullptr ? "" : box->isChecked() ? " x" : " -");
    }
    return rows;
}

// One letter per box of the dialog (ticked or not); without a dialog per catalogue record (selected or not).
QString Ticks(const SelectSymbolsDlg* dlg = nullptr) {
    QString ticks;
    for (int i = 0; i < (dlg ? dlg->CheckBoxes().size() : VarParser::VarList().size()); ++i)
        ticks +=
            (dlg ? dlg->CheckBoxes().at(i)->isChecked() : VarParser::VarList().at(i)->selected) ? 'x' : '-';
    return ticks;
}

} // namespace

class SymbolsTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QStringList m_shown; // texts of the error boxes

    QString write(const QString& name, const QByteArray& text) {
        QFile f(m_dir.filePath(name));
        f.open(QIODevice::WriteOnly);
        f.write(text);
        return f.fileName();
    }

private slots:
    void init() {
        VarParser::ResetForTests();
        m_shown.clear();
        SetErrorBoxStandIn([this](const QString& text, const QString&) {
            m_shown << text;
            return true;
        });
    }
    void cleanup() {
        VarParser::ResetForTests();
        SetErrorBoxStandIn({});
    }

    // A first read, then a second one: first file | second file ("missing": no such file) | created,
    // changed, unchanged counts of the second read | name:address:scope:type:size of each record afterwards
    void secondRead_data() {
        Row::Column();
        // Only name, address and type count: other fields changed keep the old records.
        QTest::newRow("scope, size, key, group name")
            << R"(two | "global" => "static" & )"
               R"("size":4,"type":"unsigned => "size":2,"type":"unsigned & )"
               R"(main.c => other.c & "key":1 => "key":9 | 001 | two)";
        // "edited": the records with the same edit.
        QTest::newRow("type letter case") << "two | float => Float | 010 | edited";
        QTest::newRow("address spelling") << "two | 0x20000004 => 20000004 | 010 | edited";
        QTest::newRow("name") << "two | wave => wave2 | 010 | edited";
        // A size given as text reads as 0.
        QTest::newRow("one fewer")
            << R"(two | [{"name":"a.c","dataList":[{"name":"x","size":"4"}]}] | 010 | x::::0)";
        QTest::newRow("object on top: empty") << R"(two | {"name":"main.c"} | 010 | )";
        // More than 8 bytes cannot be sampled: such a variable is left out.
        QTest::newRow("odd shapes skipped")
            << R"([] | [1,{"name":"e.c"},{"name":"a.c","dataList":[2,{"name":"y","size":8},{"name":"z","size":9},null]}] | 010 | y::::8)";
        QTest::newRow("syntax error") << R"(two | [{"name": | 000 | two)";
        QTest::newRow("missing file") << "two | missing | 000 | two";
    }
    void secondRead() {
        const QStringList f = Row::Fields();
        VarParser parser;
        parser.Parse(write("first.json", Json(f[0])));
        VarParser::VarDes* before = VarParser::VarList().value(0);
        QSignalSpy created(&parser, &VarParser::VarListCreate), changed(&parser, &VarParser::VarListChanged),
            unchanged(&parser, &VarParser::VarListWithoutChange);
        parser.Parse(f[1] == "missing" ? m_dir.filePath("none.json") : write("second.json", Json(f[1])));
        QCOMPARE(QString("%1%2%3").arg(created.count()).arg(changed.count()).arg(unchanged.count()), f[2]);
        QStringList records;
        for (const VarParser::VarDes* v : VarParser::VarList())
            records << QString("%1:%2:%3:%4:%5").arg(v->name, v->address, v->scope, v->type).arg(v->size);
        QCOMPARE(records.join(' ').toUtf8(), Json(f[3] == "edited" ? f[1] : f[3], kTwoHeld.toUtf8()));
        // Unchanged keeps the very records handed out; a change replaces them, the old ones stay readable.
        if (before != nullptr)
            QCOMPARE(VarParser::VarList().value(0) == before, f[2] != "010");
    }

    // Every variable of the first catalogue is a row; the firmware is rebuilt: the catalogue before, after,
    // and the address each row follows to ("-": the row is removed).
    void rebuilt_data() {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("after");
        QTest::addColumn<QStringList>("addresses");
        QTest::newRow("moved") << "a.c=s:20000000:int, g:20000004:float"
                               << "a.c=g:20000010:float, s:20000014:int"
                               << QStringList{"20000014", "20000010"};
        QTest::newRow("type, size, scope, encoding changed")
            << "a.c=t:20000000:int, z:20000004:short:global:2, c:20000008:int, "
               "e:2000000c:int32_t:global:4:signed"
            << "a.c=t:20000100:float, z:20000104:short:global:4, c:20000108:int:static, "
               "e:2000010c:int32_t:global:4:unsigned"
            << QStringList{"-", "-", "-", "-"};
        QTest::newRow("renamed, gone") << "a.c=speed:20000000:int, old:20000004:int"
                                       << "a.c=Speed:20000000:int" << QStringList{"-", "-"};
        QTest::newRow("a global may change files, a static not")
            << "a.c=g:20000000:int, s:20000004:int:static"
            << "b.c=g:20000010:int, s:20000014:int:static" << QStringList{"20000010", "-"};
        QTest::newRow("statics of one name keep their files")
            << "a.c=n:20000000:int:static;b.c=n:20000004:int:static"
            << "b.c=n:20000010:int:static;a.c=n:20000014:int:static" << QStringList{"20000014", "20000010"};
        QTest::newRow("one record for one row") << "a.c=x:20000000:int, x:20000004:int"
                                                << "a.c=x:20000010:int" << QStringList{"20000010", "-"};
    }
    void rebuilt() {
        QFETCH(QString, before);
        QFETCH(QString, after);
        QVERIFY(LoadCatalogue(before));
        QVector<const VarParser::VarDes*> rows;
        for (const VarParser::VarDes* des : VarParser::VarList())
            rows << des;
        QVERIFY(LoadCatalogue(after));
        QStringList addresses;
        for (const VarParser::VarDes* des : MatchRebuilt(rows))
            addresses << (des != nullptr ? des->address : "-");
        QTEST(addresses, "addresses");
    }

    // The dialog's texts, and the compiled-in icons: each loads as its own 32 x 32 picture drawn on a
    // transparent ground (the dialog has loaded them; a second load is harmless).
    void textsAndIcons() {
        SelectSymbolsDlg dlg;
        QCOMPARE(dlg.windowTitle(), QString("Select Symbols"));
        QStringList headers;
        for (int c = 0; c < dlg.Tree()->columnCount(); ++c)
            headers << dlg.Tree()->headerItem()->text(c);
        QCOMPARE(headers, (QStringList{"Name", "Type", "Scope", "Size", "Address", "Select"}));
        QCOMPARE(dlg.FilterEdit()->placeholderText(), QString("Filter based on variable name"));
        QVERIFY(dlg.FilterEdit()->toolTip().contains("ilter based on variable name</span>"));
        QCOMPARE(dlg.ButtonBox()->standardButtons(), QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
        QVERIFY(!(dlg.windowFlags() & Qt::WindowContextHelpButtonHint));
        InitImageResources();
        QList<QImage> seen;
        for (const char* name : {"find", "start", "stop", "zoomin", "zoomout", "setting"}) {
            const QImage image(QString(":/images/%1.png").arg(name));
            // 32 x 32 with a clear corner, each its own, and averaged down to one pixel a tenth drawn at
            // least.
            const QImage mean = image.scaled(1, 1, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
            QVERIFY2(image.size() == QSize(32, 32) && qAlpha(image.pixel(0, 0)) == 0 &&
                         qAlpha(mean.pixel(0, 0)) > 25 && !seen.contains(image),
                     name);
            seen << image;
        }
    }

    // The tree as built: groups in reverse file order, variables in file order, box i belongs to
    // flat-list record i, groups open; then the names left by a filter the user types.
    void filter_data() {
        Row::Column();
        QTest::newRow("children keep their groups") << "speed | adc.c speed_adc motor.c speed speed_ref";
        QTest::newRow("case-sensitive") << "torque | ";
        QTest::newRow("group and child names") << "adc | adc.c adc_raw speed_adc";
        QTest::newRow("group name alone") << "motor | motor.c";
        QTest::newRow("cleared again shows all")
            << " | adc.c adc_raw speed_adc motor.c speed speed_ref Torque";
    }
    void filter() {
        const QStringList f = Row::Fields();
        QVERIFY(LoadCatalogue(kTwoGroups));
        SelectSymbolsDlg dlg;
        dlg.BuildTree();
        dlg.CheckBoxes().at(2)->setChecked(true);
        QCOMPARE(Rows(dlg),
                 (QStringList{"adc.c", "adc_raw unsigned short global 2 20000100 -",
                              "speed_adc int global 4 20000104 -", "motor.c", "speed int global 4 20000010 -",
                              "speed_ref float global 4 20000014 -", "Torque short static 2 20000018 x"}));
        QVERIFY(dlg.Tree()->topLevelItem(0)->isExpanded());
        QTest::keyClicks(dlg.FilterEdit(), "zzz"); // the user types; textChanged drives the filter
        dlg.Tree()->collapseAll();
        dlg.FilterEdit()->setText(f[0].trimmed());
        QCOMPARE(Rows(dlg).replaceInStrings(QRegularExpression(" .*"), "").join(' '), f[1].trimmed());
    }

    // Box 2 ticked and confirmed, then the dialog opened as it is or rebuilt, boxes clicked, OK or Cancel:
    // how | clicked | ticks shown | records' marks and ticks afterwards | SelectedDone signals
    void closing_data() {
        Row::Column();
        QTest::newRow("OK writes the ticks") << "show 0 3 ok | --x-- | x-xx- | 1";
        QTest::newRow("Cancel restores the confirmed ticks") << "show 2 4 cancel | --x-- | --x-- | 0";
        QTest::newRow("rebuild unticks, Cancel puts back") << "rebuild cancel | ----- | --x-- | 0";
        QTest::newRow("rebuild, OK keeps nothing") << "rebuild ok | ----- | ----- | 1";
        QTest::newRow("no catalogue") << "empty ok |  |  | 1";
    }
    void closing() {
        const QStringList f = Row::Fields();
        QStringList steps = f[0].split(' ');
        QVERIFY(steps[0] == "empty" || LoadCatalogue(kTwoGroups));
        SelectSymbolsDlg dlg;
        dlg.BuildTree();
        if (steps[0] != "empty")
            dlg.CheckBoxes().at(2)->setChecked(true);
        dlg.accept();
        QSignalSpy selected(&dlg, &SelectSymbolsDlg::SelectedDone);
        QString ticksShown;
        QTimer::singleShot(0, &dlg, [&] {
            QVERIFY(dlg.isVisible() && dlg.isModal());
            ticksShown = Ticks(&dlg);
            for (const QString& i : steps.mid(1, steps.size() - 2))
                dlg.CheckBoxes().at(i.toInt())->click();
            const auto which = steps.last() == "ok" ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel;
            QTest::mouseClick(dlg.ButtonBox()->button(which), Qt::LeftButton);
        });
        steps[0] == "show" ? dlg.ShowDialog() : dlg.InitItemAndShow();
        QCOMPARE(ticksShown + " " + Ticks() + " " + Ticks(&dlg), f[1] + " " + f[2] + " " + f[2]);
        QCOMPARE(selected.count(), f[3].toInt());
        QVERIFY(!dlg.isVisible());
    }

    // Space on the tree's current variable ticks or unticks it, as in any list with check boxes; a
    // variable no sample can hold is greyed with the reason and takes no tick.
    void keyboardTicks() {
        QVERIFY(LoadCatalogue(
            "a.c=speed:20000000:int, odd:20000004:int:global:3, half:20000008:_Float16:global:2:float"));
        SelectSymbolsDlg dlg;
        dlg.BuildTree();
        QTreeWidgetItem* group = dlg.Tree()->topLevelItem(0);
        QString seen;
        for (QTreeWidgetItem* item : {group->child(0), group, group->child(0)}) {
            dlg.Tree()->setCurrentItem(item);
            QTest::keyClick(dlg.Tree(), Qt::Key_Space);
            seen += Ticks(&dlg) + " ";
        }
        QCOMPARE(seen, QString("x-- x-- --- "));
        QVERIFY(!dlg.CheckBoxes().at(1)->isEnabled() && !dlg.CheckBoxes().at(2)->isEnabled());
        QCOMPARE(dlg.CheckBoxes().at(0)->accessibleName(), QString("Select speed"));
        QCOMPARE(QString("%1 %2: %3; %4")
                     .arg(group->child(0)->isDisabled())
                     .arg(group->child(1)->isDisabled())
                     .arg(group->child(1)->toolTip(0), group->child(2)->toolTip(4)),
                 QString("0 1: a value of 3 bytes cannot be sampled, only of 1, 2, 4 or 8; a floating value "
                         "of 2 bytes cannot be sampled, only floats and doubles"));
    }

    // A record to untick ("-": no catalogue): name address type scope size | ticks afterwards (all ticked
    // before); the confirmed marks change only on the next OK.
    void removeSelect_data() {
        Row::Column();
        QTest::newRow("scope and size differ") << "speed_ref 20000014 float local 8 | x-xxx";
        QTest::newRow("other type") << "speed_ref 20000014 int global 4 | xxxxx";
        QTest::newRow("address case") << "speed_ref 2000001A float global 4 | xxxxx";
        QTest::newRow("other name") << "Speed_ref 20000014 float global 4 | xxxxx";
        QTest::newRow("no catalogue") << "- | ";
    }
    void removeSelect() {
        const QStringList f = Row::Fields(), r = f[0].split(' ');
        QVERIFY(r[0] == "-" || LoadCatalogue(kTwoGroups));
        SelectSymbolsDlg dlg;
        dlg.BuildTree();
        for (QCheckBox* box : dlg.CheckBoxes())
            box->setChecked(true);
        dlg.accept();
        dlg.RemoveSelect(
            {r[0], r.value(1), r.value(3), r.value(2), r.value(4).toInt(), 0, 0, false, false, {}});
        QCOMPARE(Ticks(&dlg), f[1]);
        QCOMPARE(Ticks(), QString(f[1].size(), 'x'));
    }
};

QTEST_MAIN(SymbolsTest)
#include "tst_symbols.moc"
