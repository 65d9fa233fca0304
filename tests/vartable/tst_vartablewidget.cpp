// The variable table: columns, rows in address order, the curve limit, scaling texts, validators,
// colours, the row menu and "+" row, and the live value column fed by a real data source.
#include "CommonCfg.h"
#include "DataSource.h"
#include "Row.h"
#include "TableFixture.h"
#include "ValueLineEdit.h"
#include "WatchList.h"

#include <QApplication>
#include <QCheckBox>
#include <QColorDialog>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QMenu>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

namespace {

const QVector<TestGroup> kMixed = {
    {"motor.c",
     {{"speed", "20000018", "int"},
      {"set_point", "20000010", "float"},
      {"duty", "20000014", "unsigned short"}}},
    {"io.c", {{"alias", "20000014", "char"}, {"flags", "0x2000001c", "unsigned char"}}},
};

// One letter per row: the show box ticked (x), open but unticked (o) or closed (-).
QString ShowBoxes(VarTableWidget& table) {
    QString boxes;
    for (const VarTableWidget::LineItem* item : table.LineItems())
        boxes += item->showChkBox->isChecked() ? 'x' : item->showChkBox->isEnabled() ? 'o' : '-';
    return boxes;
}

uint Swatch(const VarTableWidget::LineItem* item) {
    return item->colorLabel->pixmap(Qt::ReturnByValue).toImage().pixel(10, 10);
}

} // namespace

class VarTableWidgetTest : public QObject {
    Q_OBJECT
    VarTableWidget* m_table = nullptr;
    DataSource* m_source = nullptr;

    // Selects the names and sets up the watch list as the acquisition would.
    void select(const QStringList& names) {
        SelectByName(*m_table, names);
        WatchList& w = watchList();
        w.count = m_table->LineItems().size();
        for (int i = 0; i < w.count; ++i) {
            parseAddress(row(i)->varDes->address, w.address[i]);
            w.typeCode[i] = typeCodeOf(*row(i)->varDes);
            w.scale[i] = 1.0f;
        }
    }
    VarTableWidget::LineItem* row(int i) const { return m_table->LineItems().at(i); }
    // Texts of the columns in one row, or of the value column (with "Value") in every row.
    QString texts(int r, const QStringList& columns) const {
        QStringList texts;
        for (const QString& c : columns)
            texts << (c == "Value" ? row(r)->valueEdit->text()
                                   : m_table->GetTableWidget()->item(r, m_table->Column(c))->text());
        return texts.join(' ');
    }

private slots:
    void init() {
        VarParser::ResetForTests();
        CommonCfg::ResetForTests();
        watchList() = WatchList();
        m_table = new VarTableWidget;
        m_source = new DataSource;
        m_table->SetDataSource(m_source);
    }
    void cleanup() {
        delete m_table;
        QVERIFY(CommonCfg::VarTable() == nullptr);  // the table unregisters itself
        m_source->Display({{QPointF(0, 1)}}, {{}}); // a batch after the table went is harmless
        delete m_source;
    }

    void columnsAndRow() {
        QTableWidget* view = m_table->GetTableWidget();
        QCOMPARE(m_table->ColumnTitles().join(','),
                 QString("Color,Show,Name,Address,Type,Value,Y Resolutin,Y Offset,"
                         "min,max,moving average,Lock"));
        for (int c = 0; c < view->columnCount(); ++c)
            QCOMPARE(view->isColumnHidden(c),
                     QString("min,max,moving average").contains(m_table->ColumnTitles()[c]));
        QCOMPARE(qobject_cast<QLabel*>(view->cellWidget(0, 0))->text(), QString("+")); // even when empty
        QVERIFY(LoadCatalogue(kMixed));
        select({"set_point"});
        QCOMPARE(row(0)->varDes, VarParser::VarList().at(1));
        QCOMPARE(texts(0, {"Name", "Address", "Type", "Value", "Y Resolutin", "Y Offset"}),
                 QString("set_point 20000010 float 0 1 0"));
        QVERIFY(!(view->item(0, m_table->Column("Name"))->flags() & Qt::ItemIsEditable));
        QVERIFY(row(0)->showChkBox->isChecked() && !row(0)->lockChkBox->isChecked());
        QCOMPARE(Swatch(row(0)), CommonCfg::Palette().first().rgb());
    }

    // Selections confirmed one after the other (";" between them, "-" clears the table first): rows
    // follow the address, "+" stays last, and the chart is told only of a change.
    void selection_data() {
        Row::Column();
        QTest::newRow("address order") << "speed,set_point,duty | set_point duty speed | 1";
        // "alias" shares duty's address and comes later: it goes above; "0x2000001c" sorts as a number.
        QTest::newRow("duplicate address, 0x spelling")
            << "speed,set_point,duty,alias,flags | set_point alias duty speed flags | 1";
        QTest::newRow("nothing changed") << "speed,duty;speed,duty | duty speed | 1";
        QTest::newRow("one goes, two come") << "speed,duty;speed,set_point,flags | set_point speed flags | 2";
        QTest::newRow("cleared, then back") << "speed,duty;- | duty speed | 3";
    }
    void selection() {
        const QStringList f = Row::Fields();
        QVERIFY(LoadCatalogue(kMixed));
        QSignalSpy rebuilt(m_table, &VarTableWidget::SetChartShowItems);
        for (const QString& names : f[0].split(';')) {
            if (names == "-") {
                m_table->ClearTable();
                QCOMPARE(m_table->GetTableWidget()->rowCount(), 0);
            }
            names == "-" ? m_table->UpdateTableWithVariableList() : SelectByName(*m_table, names.split(','));
        }
        QCOMPARE(ColumnTexts(*m_table, "Name").join(' '), f[1]);
        QCOMPARE(rebuilt.count(), f[2].toInt());
        QCOMPARE(m_table->ShownCount(), f[1].count(' ') + 1);
        for (int r = 0; r <= f[1].count(' '); ++r) // every row's swatch leads back to that row's record
            QCOMPARE(m_table->GetTableWidget()
                         ->cellWidget(r, 0)
                         ->property("lineItem")
                         .value<VarTableWidget::LineItem*>(),
                     row(r));
        QVERIFY(m_table->GetTableWidget()->cellWidget(f[1].count(' ') + 1, 0)->property("isAdd").toBool());
    }

    void curveLimit() {
        QVERIFY(LoadNumbered(18));
        QSignalSpy showChanges(m_table, &VarTableWidget::SendChartShowChanged);
        SelectByName(*m_table, Numbered(18));
        QCOMPARE(ShowBoxes(*m_table), QString(16, 'x') + "--");
        row(3)->showChkBox->click(); // a freed slot opens every box
        QCOMPARE(ShowBoxes(*m_table), "xxxo" + QString(12, 'x') + "oo");
        row(17)->showChkBox->click(); // taking it again closes the unticked ones
        QCOMPARE(ShowBoxes(*m_table), "xxx-" + QString(12, 'x') + "-x");
        QCOMPARE(showChanges.count(), 2);
        SelectByName(*m_table, Numbered(18).mid(4)); // dropping shown rows frees their slots
        QCOMPARE(ShowBoxes(*m_table), QString(12, 'x') + "ox");
    }

    // Typed into a scaling cell of "speed" (offset 33, resolution 2.5): the text kept, and the
    // change emitted as address, offset, resolution; curves drawn are rescaled only when stopped.
    void scaling_data() {
        Row::Column();
        QTest::newRow("offset negative") << "Y Offset | -300 | 1 | -300 | 536870936,-300,2.5";
        QTest::newRow("offset zero") << "Y Offset | 0 | 1 | 0 | 536870936,0,2.5";
        QTest::newRow("offset leading zeros") << "Y Offset | 007 | 1 | 0 | 536870936,0,2.5";
        QTest::newRow("offset minus zero") << "Y Offset | -0 | 1 | 0 | 536870936,0,2.5";
        QTest::newRow("offset fraction") << "Y Offset | 1.5 | 1 | 0 | 536870936,0,2.5";
        QTest::newRow("offset plus sign") << "Y Offset | +3 | 1 | 0 | 536870936,0,2.5";
        QTest::newRow("offset while sampling") << "Y Offset | 25 | 0 | 25 | 536870936,25,2.5";
        QTest::newRow("resolution integer") << "Y Resolutin | 250 | 1 | 250 | 536870936,33,250";
        QTest::newRow("resolution half") << "Y Resolutin | 0.5 | 1 | 0.5 | 536870936,33,0.5";
        QTest::newRow("resolution 12.5") << "Y Resolutin | 12.5 | 1 | 12.5 | 536870936,33,12.5";
        QTest::newRow("resolution .5") << "Y Resolutin | .5 | 1 | 1 | 536870936,33,1";
        QTest::newRow("resolution zero") << "Y Resolutin | 0 | 1 | 1 | 536870936,33,1";
        QTest::newRow("resolution 5.") << "Y Resolutin | 5. | 1 | 1 | 536870936,33,1";
        QTest::newRow("resolution negative") << "Y Resolutin | -2 | 1 | 1 | 536870936,33,1";
        QTest::newRow("resolution exponent") << "Y Resolutin | 1e3 | 0 | 1 | 536870936,33,1";
    }
    void scaling() {
        const QStringList f = Row::Fields();
        QVERIFY(LoadCatalogue(kMixed));
        select({"speed", "set_point"});
        row(1)->yResolutionItem->setText("2.5");
        row(1)->yOffsetItem->setText("33");
        CommonCfg::SetRunFlag(f[2].toInt());
        QStringList changes, lasts;
        connect(
            m_table, &VarTableWidget::ChangeYResolutionAndOffset, this,
            [&changes](quint32 a, int o, double r) { changes << QString("%1,%2,%3").arg(a).arg(o).arg(r); });
        connect(m_table, &VarTableWidget::ChangeLastYResolutionAndOffset, this,
                [&lasts](quint32 a, int o, double r) { lasts << QString("%1,%2,%3").arg(a).arg(o).arg(r); });
        m_table->GetTableWidget()->item(1, m_table->Column(f[0]))->setText(f[1]);
        QCOMPARE(texts(1, {f[0]}), f[3]);
        QCOMPARE(changes, QStringList{f[4]});
        QCOMPARE(lasts, f[2] == "1" ? changes : QStringList());
        QCOMPARE(QString("536870936,%1,%2").arg(row(1)->lastYOffset).arg(row(1)->lastYResolution), f[4]);
        m_table->UpdateAllYResolutionAndOffset();
        QCOMPARE(changes.mid(1), (QStringList{"536870928,0,1", f[4]}));
    }

    // What the value cell accepts, by the variable's type.
    void validators_data() {
        Row::Column();
        QTest::newRow("float") << "float | 1.5 -2.75 | x";
        QTest::newRow("double") << "double | -2.75 | 1e";
        QTest::newRow("int") << "int | -123456 | 1.5";
        QTest::newRow("short: inverted bounds, nothing") << "short | none | 0 100 -5";
        QTest::newRow("char: inverted bounds, nothing") << "char | none | 65 -1";
        QTest::newRow("unsigned char") << "unsigned char | 255 | 256 -1";
        QTest::newRow("unsigned short") << "unsigned short | 65535 | 65536 -1";
        QTest::newRow("unsigned int: what a write can carry")
            << "unsigned int | 0 2147483647 | -1 2147483648";
        QTest::newRow("long") << "long | -5 0 | 1.5";
        QTest::newRow("other type") << "struct s | none | 0 1";
        QTest::newRow("case matters") << "Int | none | 5";
    }
    void validators() {
        const QStringList f = Row::Fields();
        QVERIFY(LoadCatalogue({{"a.c", {{"v", "20000000", f[0]}}}}));
        select({"v"});
        for (int accepted : {1, 0})
            for (QString text : f[2 - accepted].split(' ')) {
                if (text == "none")
                    continue;
                int pos = 0;
                QVERIFY2((row(0)->valueEdit->validator()->validate(text, pos) == QValidator::Acceptable) ==
                             accepted,
                         qPrintable(text));
            }
    }

    void colours() {
        QVERIFY(LoadNumbered(20));
        const QList<QColor> palette = CommonCfg::Palette();
        SelectByName(*m_table, Numbered(3));
        SelectByName(*m_table, {"v1", "v2", "v3"}); // a freed colour is the first unused one again
        QCOMPARE(Swatch(row(2)), palette.at(0).rgb());
        SelectByName(*m_table, Numbered(20)); // past the palette the colours come round again
        QSet<uint> used;
        for (const VarTableWidget::LineItem* item : m_table->LineItems())
            used << Swatch(item);
        QCOMPARE(used.size(), 16);
        QColor offered;
        QTimer::singleShot(0, [&offered] {
            auto* dialog = qobject_cast<QColorDialog*>(QApplication::activeModalWidget());
            offered = dialog->currentColor();
            dialog->setCurrentColor(QColor(0x12, 0x34, 0x56));
            dialog->accept();
        });
        QSignalSpy shown(m_table, &VarTableWidget::SendChartShowChanged);
        m_table->OnClickedTable(1, m_table->Column("Name")); // other columns do not react
        m_table->OnClickedTable(1, m_table->Column("Color"));
        QCOMPARE(offered.rgb(), palette.at(1).rgb());
        QCOMPARE(Swatch(row(1)), QColor(0x12, 0x34, 0x56).rgb());
        QCOMPARE(shown.count(), 1);
    }

    // The project file lists the rows in row order with their colours; loading one keeps the rows.
    void projectFile() {
        QVERIFY(LoadCatalogue(kMixed));
        select({"set_point", "speed"});
        QTemporaryDir dir;
        const QString path = dir.filePath("p.tidewatch");
        CommonCfg::SaveProject(path);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QStringList listed;
        for (const QJsonValue& v : QJsonDocument::fromJson(file.readAll())["VarList"].toArray())
            listed << QStringList{v["name"].toString(), v["address"].toString(), v["type"].toString(),
                                  v["color"].toString()}
                          .join(' ');
        QCOMPARE(listed,
                 QStringList({"set_point 20000010 float 0xff00ff00", "speed 20000018 int 0xffff0000"}));
        select({"duty"});
        CommonCfg::LoadProject(path);
        QCOMPARE(ColumnTexts(*m_table, "Name"), QStringList{"duty"});
    }

    void rowMenuPlusRowAndLock() {
        QVERIFY(LoadCatalogue(kMixed));
        select({"speed", "set_point", "duty"});
        DragableRowsTable* view = m_table->GetTableWidget();
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view));
        QSignalSpy removed(m_table, &VarTableWidget::RemoveItem);
        QSignalSpy series(m_table, &VarTableWidget::RemoveSeriesById);
        for (int r : {1, 2}) { // the middle row, then the "+" row, which is no variable
            view->clickRithtMenu(view->visualRect(view->model()->index(r, 2)).center());
            view->RowMenu()->hide();
            view->RowMenu()->actions().first()->trigger(); // "Delete"
        }
        QCOMPARE(removed.first().at(0).value<VarParser::VarDes>().name + QString::number(removed.count()),
                 QString("duty1"));
        QCOMPARE(series.first(), QVariantList{1});
        QCOMPARE(ColumnTexts(*m_table, "Name"), (QStringList{"set_point", "speed"}));
        view->setItem(2, m_table->Column("Y Offset"),
                      new QTableWidgetItem("5")); // the "+" row keeps no scaling: its text comes back
        QCOMPARE(view->item(2, m_table->Column("Y Offset"))->text(), QString("0"));
        QSignalSpy add(m_table, &VarTableWidget::AddItem);
        for (bool sampling : {false, true, false}) { // while sampling the "+" row is closed
            sampling ? m_table->DisableUpdateVarItem() : m_table->EnableUpdateVarItem();
            view->clearSelection();
            QTest::mouseClick(view->viewport(), Qt::LeftButton, {},
                              view->visualRect(view->model()->index(2, 0)).center());
        }
        QCOMPARE(add.count(), 2);
        row(1)->lockChkBox->click();
        QVERIFY(!row(1)->valueEdit->isEnabled() && row(0)->valueEdit->isEnabled());
        row(1)->lockChkBox->click();
        QVERIFY(row(1)->valueEdit->isEnabled());
    }

    // Values shown by type; a changed value red, a held one black; min and max follow; a cell being
    // edited is left alone until it is idle again; after a drag the values follow their rows.
    void liveValues() {
        QVERIFY(LoadCatalogue(
            {{"a.c", {{"f", "20000000", "float"}, {"i", "20000004", "int"}, {"e", "20000008", "int"}}}}));
        select({"f", "i", "e"});
        const auto colour = [this](int r) {
            return row(r)->valueEdit->palette().color(QPalette::Inactive, QPalette::Text);
        };
        m_source->Display({{QPointF(0, 1.0f), QPointF(1, double(3.14159265f))},
                           {QPointF(0, 9), QPointF(1, 1234567)},
                           {QPointF(0, 7)}},
                          {{}, {}, {}});
        QCOMPARE(texts(0, {"Value", "min", "max"}) + " " + texts(1, {"Value", "min", "max"}),
                 QString("3.14159 1 3.14159 1.23457e+06 9 1.23457e+06"));
        QCOMPARE(colour(0), QColor(Qt::red));
        m_table->GetTableWidget()->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_table->GetTableWidget()));
        QTest::mouseClick(row(2)->valueEdit, Qt::LeftButton);
        row(2)->valueEdit->selectAll();
        QTest::keyClicks(row(2)->valueEdit, "77");
        m_source->Display({{QPointF(2, double(0.000012345f))}, {QPointF(2, 1234567)}, {QPointF(2, 8)}},
                          {{}, {}, {}});
        QCOMPARE(texts(0, {"Value"}) + " " + texts(1, {"Value"}) + " " + texts(2, {"Value"}),
                 QString("1.2345e-05 1.23457e+06 77"));
        QCOMPARE(QString(colour(0).name() + colour(1).name()), QString("#ff0000#000000"));
        row(2)->valueEdit->SetIdle(true); // leaving the cell hands it back to the refresh
        m_table->GetTableWidget()->SwapRow(0,
                                           2); // items re-made, widgets moved; the records keep their order
        m_source->Display({{QPointF(3, 5), QPointF(4, -42)}, {QPointF(3, 5)}, {QPointF(3, 9), QPointF(4, 8)}},
                          {{}, {}, {}});
        QCOMPARE(row(0)->valueEdit->text() + " " + texts(2, {"max"}) + " " + texts(0, {"min"}),
                 QString("-42 5 8"));
        QSignalSpy change(m_table, &VarTableWidget::ChangeYResolutionAndOffset);
        m_table->GetTableWidget()->item(0, m_table->Column("Y Offset"))->setText("12");
        QCOMPARE(change.first().at(0).toUInt(), 0x20000008u);
        QCOMPARE(row(2)->lastYOffset, 12);
    }
};

QTEST_MAIN(VarTableWidgetTest)
#include "tst_vartablewidget.moc"
