// The variable table: columns, rows in address order, the curve limit, scaling texts, validators,
// colours, the row menu and "+" row, and the live value column fed by a real data source.
#include "CommonCfg.h"
#include "DataSource.h"
#include "TableFixture.h"
#include "ValueLineEdit.h"
#include "WatchList.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QColorDialog>
#include <QLabel>
#include <QMenu>
#include <QSignalSpy>
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
            w.address[i] = addressOf(m_table->LineItems().at(i)->varDes->address);
            w.typeCode[i] = typeCodeOf(m_table->LineItems().at(i)->varDes->type);
            w.scale[i] = 1.0f;
        }
    }
    VarTableWidget::LineItem* row(int i) const { return m_table->LineItems().at(i); }
    QString text(int r, const QString& column) const {
        return m_table->GetTableWidget()->item(r, m_table->Column(column))->text();
    }

private slots:
    void init() {
        VarParser::ResetForTests();
        CommonCfg::ResetForTests();
        resetWatchListForTests();
        m_table = new VarTableWidget;
        m_source = new DataSource;
        m_table->SetDataSource(m_source);
    }
    void cleanup() {
        delete m_table;
        QVERIFY(CommonCfg::VarTable() == nullptr);  // the table unregisters itself
        m_source->Display({{QPointF(0, 1)}}, {{}}); // a batch after the table went is harmless
        delete m_source;
        VarParser::ResetForTests();
    }

    void columnsAndRow() {
        QTableWidget* view = m_table->GetTableWidget();
        QCOMPARE(m_table->ColumnTitles(),
                 (QStringList{"Color", "Show", "Name", "Address", "Type", "Value", "Y Resolutin", "Y Offset",
                              "min", "max", "moving average", "Lock"}));
        QStringList hidden;
        for (int c = 0; c < view->columnCount(); ++c)
            if (view->isColumnHidden(c))
                hidden << view->horizontalHeaderItem(c)->text();
        QCOMPARE(hidden, (QStringList{"min", "max", "moving average"}));
        QCOMPARE(qobject_cast<QLabel*>(view->cellWidget(0, 0))->text(), QString("+")); // even when empty
        QVERIFY(LoadCatalogue(kMixed));
        select({"set_point"});
        QCOMPARE(row(0)->varDes, VarParser::VarList().at(1));
        QStringList texts;
        for (const char* title : {"Name", "Address", "Type", "Y Resolutin", "Y Offset"})
            texts << text(0, title);
        QCOMPARE(texts, (QStringList{"set_point", "20000010", "float", "1", "0"}));
        QVERIFY(!(view->item(0, m_table->Column("Name"))->flags() & Qt::ItemIsEditable));
        QCOMPARE(row(0)->valueEdit->text(), QString("0"));
        QVERIFY(row(0)->showChkBox->isChecked() && !row(0)->lockChkBox->isChecked());
        QCOMPARE(Swatch(row(0)), CommonCfg::Palette().first().rgb());
    }

    // Selections confirmed one after the other; rows follow the address, "+" stays last.
    void selection_data() {
        QTest::addColumn<QList<QStringList>>("selections");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<int>("rebuilt"); // SetChartShowItems signals
        QTest::newRow("address order") << QList<QStringList>{{"speed", "set_point", "duty"}}
                                       << QStringList{"set_point", "duty", "speed"} << 1;
        // "alias" shares duty's address and comes later: it goes above; "0x2000001c" sorts as a number.
        QTest::newRow("duplicate address, 0x spelling")
            << QList<QStringList>{{"speed", "set_point", "duty", "alias", "flags"}}
            << QStringList{"set_point", "alias", "duty", "speed", "flags"} << 1;
        QTest::newRow("nothing changed: not rebuilt")
            << QList<QStringList>{{"speed", "duty"}, {"speed", "duty"}} << QStringList{"duty", "speed"} << 1;
        QTest::newRow("one goes, two come")
            << QList<QStringList>{{"speed", "duty"}, {"speed", "set_point", "flags"}}
            << QStringList{"set_point", "speed", "flags"} << 2;
        QTest::newRow("cleared, then back")
            << QList<QStringList>{{"speed", "duty"}, {}} << QStringList{"duty", "speed"} << 3;
    }
    void selection() {
        QFETCH(QList<QStringList>, selections);
        QFETCH(QStringList, names);
        QFETCH(int, rebuilt);
        QVERIFY(LoadCatalogue(kMixed));
        QSignalSpy spy(m_table, &VarTableWidget::SetChartShowItems);
        for (const QStringList& selection : selections) {
            if (selection.isEmpty()) { // the table is emptied, the next confirmed selection brings it back
                m_table->ClearTable();
                QCOMPARE(m_table->GetTableWidget()->rowCount(), 0);
                m_table->UpdateTableWithVariableList();
            } else {
                SelectByName(*m_table, selection);
            }
        }
        QCOMPARE(ColumnTexts(*m_table, "Name"), names);
        QCOMPARE(spy.count(), rebuilt);
        QCOMPARE(m_table->ShownCount(), names.size());
        for (int r = 0; r < names.size(); ++r) { // every row's swatch leads back to that row's record
            QCOMPARE(row(r)->varDes->name, names[r]);
            QCOMPARE(m_table->GetTableWidget()
                         ->cellWidget(r, 0)
                         ->property("lineItem")
                         .value<VarTableWidget::LineItem*>(),
                     row(r));
        }
        QVERIFY(m_table->GetTableWidget()->cellWidget(names.size(), 0)->property("isAdd").toBool());
    }

    void curveLimit() {
        QVERIFY(LoadNumbered(18));
        int showChanges = 0;
        connect(m_table, &VarTableWidget::SendChartShowChanged, [&showChanges] { ++showChanges; });
        SelectByName(*m_table, Numbered(18));
        QCOMPARE(ShowBoxes(*m_table), QString(16, 'x') + "--");
        row(3)->showChkBox->click(); // a freed slot opens every box
        QCOMPARE(ShowBoxes(*m_table), "xxxo" + QString(12, 'x') + "oo");
        row(17)->showChkBox->click(); // taking it again closes the unticked ones
        QCOMPARE(ShowBoxes(*m_table), "xxx-" + QString(12, 'x') + "-x");
        QCOMPARE(showChanges, 2);
        SelectByName(*m_table, Numbered(18).mid(4)); // dropping shown rows frees their slots
        QCOMPARE(ShowBoxes(*m_table), QString(12, 'x') + "ox");
        QCOMPARE(m_table->ShownCount(), 13);
    }

    void scaling_data() {
        QTest::addColumn<QString>("column");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("runFlag");
        QTest::addColumn<QString>("kept");
        QTest::addColumn<QVariantList>("emitted"); // address, offset, resolution
        const QVariantList start{0x20000018u, 33, 2.5};
        auto with = [&start](int at, QVariant value) {
            QVariantList l = start;
            l[at] = value;
            return l;
        };
        QTest::newRow("offset negative") << "Y Offset"
                                         << "-300" << 1 << "-300" << with(1, -300);
        QTest::newRow("offset zero") << "Y Offset"
                                     << "0" << 1 << "0" << with(1, 0);
        QTest::newRow("offset leading zeros") << "Y Offset"
                                              << "007" << 1 << "0" << with(1, 0);
        QTest::newRow("offset minus zero") << "Y Offset"
                                           << "-0" << 1 << "0" << with(1, 0);
        QTest::newRow("offset fraction") << "Y Offset"
                                         << "1.5" << 1 << "0" << with(1, 0);
        QTest::newRow("offset plus sign") << "Y Offset"
                                          << "+3" << 1 << "0" << with(1, 0);
        QTest::newRow("offset while sampling") << "Y Offset"
                                               << "25" << 0 << "25" << with(1, 25);
        QTest::newRow("resolution integer") << "Y Resolutin"
                                            << "250" << 1 << "250" << with(2, 250.0);
        QTest::newRow("resolution half") << "Y Resolutin"
                                         << "0.5" << 1 << "0.5" << with(2, 0.5);
        QTest::newRow("resolution 12.5") << "Y Resolutin"
                                         << "12.5" << 1 << "12.5" << with(2, 12.5);
        QTest::newRow("resolution .5") << "Y Resolutin"
                                       << ".5" << 1 << "1" << with(2, 1.0);
        QTest::newRow("resolution zero") << "Y Resolutin"
                                         << "0" << 1 << "1" << with(2, 1.0);
        QTest::newRow("resolution 5.") << "Y Resolutin"
                                       << "5." << 1 << "1" << with(2, 1.0);
        QTest::newRow("resolution negative") << "Y Resolutin"
                                             << "-2" << 1 << "1" << with(2, 1.0);
        QTest::newRow("resolution exponent") << "Y Resolutin"
                                             << "1e3" << 0 << "1" << with(2, 1.0);
    }
    void scaling() {
        QFETCH(QString, column);
        QFETCH(QString, typed);
        QFETCH(int, runFlag);
        QFETCH(QString, kept);
        QFETCH(QVariantList, emitted);
        QVERIFY(LoadCatalogue(kMixed));
        select({"speed", "set_point"});
        row(1)->yResolutionItem->setText("2.5");
        row(1)->yOffsetItem->setText("33");
        CommonCfg::SetRunFlag(runFlag);
        QSignalSpy change(m_table, &VarTableWidget::ChangeYResolutionAndOffset);
        QSignalSpy last(m_table, &VarTableWidget::ChangeLastYResolutionAndOffset);
        m_table->GetTableWidget()->item(1, m_table->Column(column))->setText(typed);
        QCOMPARE(text(1, column), kept);
        QCOMPARE(change.count(), 1);
        QCOMPARE(change.first(), emitted);
        QCOMPARE(last.count(), runFlag); // curves drawn are rescaled only when stopped
        QCOMPARE(row(1)->lastYOffset, emitted[1].toInt());
        QCOMPARE(float(row(1)->lastYResolution), emitted[2].toFloat());
        m_table->UpdateAllYResolutionAndOffset();
        QCOMPARE(change.at(1), (QVariantList{0x20000010u, 0, 1.0}));
        QCOMPARE(change.at(2), emitted);
    }

    void validators_data() {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("acceptable");
        QTest::newRow("float fraction") << "float"
                                        << "1.5" << true;
        QTest::newRow("double negative") << "double"
                                         << "-2.75" << true;
        QTest::newRow("float letters") << "float"
                                       << "x" << false;
        QTest::newRow("int") << "int"
                             << "-123456" << true;
        QTest::newRow("int fraction") << "int"
                                      << "1.5" << false;
        QTest::newRow("short takes nothing") << "short"
                                             << "0" << false; // inverted bounds, on purpose
        QTest::newRow("char takes nothing") << "char"
                                            << "65" << false;
        QTest::newRow("unsigned char 255") << "unsigned char"
                                           << "255" << true;
        QTest::newRow("unsigned char 256") << "unsigned char"
                                           << "256" << false;
        QTest::newRow("unsigned short 65535") << "unsigned short"
                                              << "65535" << true;
        QTest::newRow("unsigned short -1") << "unsigned short"
                                           << "-1" << false;
        QTest::newRow("other type") << "unsigned int"
                                    << "1" << false;
        QTest::newRow("case matters") << "Int"
                                      << "5" << false;
    }
    void validators() {
        QFETCH(QString, type);
        QFETCH(QString, text);
        QFETCH(bool, acceptable);
        QVERIFY(LoadCatalogue({{"a.c", {{"v", "20000000", type}}}}));
        select({"v"});
        int pos = 0;
        QCOMPARE(row(0)->valueEdit->validator()->validate(text, pos) == QValidator::Acceptable, acceptable);
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
        QCOMPARE(row(1)->colorLabel->property("rgb").toUInt(), QColor(0x12, 0x34, 0x56).rgb());
        QCOMPARE(shown.count(), 1);
    }

    void rowMenuPlusRowAndLock() {
        QVERIFY(LoadCatalogue(kMixed));
        select({"speed", "set_point", "duty"});
        DragableRowsTable* view = m_table->GetTableWidget();
        view->resize(900, 300);
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view));
        QSignalSpy removed(m_table, &VarTableWidget::RemoveItem);
        QSignalSpy series(m_table, &VarTableWidget::RemoveSeriesById);
        for (int r : {1, 2}) { // the middle row, then the "+" row, which is no variable
            view->clickRithtMenu(view->visualRect(view->model()->index(r, 2)).center());
            view->RowMenu()->hide();
            view->RowMenu()->actions().first()->trigger(); // "Delete"
        }
        QCOMPARE(removed.count(), 1);
        QCOMPARE(removed.first().at(0).value<VarParser::VarDes>().name, QString("duty"));
        QCOMPARE(series.first(), QVariantList{1});
        QCOMPARE(ColumnTexts(*m_table, "Name"), (QStringList{"set_point", "speed"}));
        view->setItem(2, m_table->Column("Y Offset"),
                      new QTableWidgetItem("5")); // the "+" row keeps no scaling
        QCOMPARE(text(2, "Y Offset"), QString());
        QSignalSpy add(m_table, &VarTableWidget::AddItem);
        const QPoint plus = view->visualRect(view->model()->index(2, 0)).center();
        for (bool sampling : {false, true, false}) { // while sampling the "+" row is closed
            sampling ? m_table->DisableUpdateVarItem() : m_table->EnableUpdateVarItem();
            view->clearSelection();
            QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, plus);
        }
        QCOMPARE(add.count(), 2);
        row(1)->lockChkBox->click();
        QVERIFY(!row(1)->valueEdit->isEnabled() && row(0)->valueEdit->isEnabled());
        row(1)->lockChkBox->click();
        QVERIFY(row(1)->valueEdit->isEnabled());
    }

    void valueFormat_data() {
        QTest::addColumn<QString>("type");
        QTest::addColumn<double>("raw");
        QTest::addColumn<QString>("shown");
        QTest::newRow("float six digits") << "float" << double(3.14159265f) << "3.14159";
        QTest::newRow("float small") << "float" << double(0.000012345f) << "1.2345e-05";
        QTest::newRow("int large") << "int" << 1234567.0 << "1.23457e+06";
        QTest::newRow("int negative") << "int" << -42.0 << "-42";
    }
    void valueFormat() {
        QFETCH(QString, type);
        QFETCH(double, raw);
        QFETCH(QString, shown);
        QVERIFY(LoadCatalogue({{"a.c", {{"v", "20000000", type}}}}));
        select({"v"});
        m_source->Display({{QPointF(0, raw)}}, {{}});
        QCOMPARE(row(0)->valueEdit->text(), shown);
    }

    // A changed value shows red, a held one black; min and max follow; a cell being edited is left alone.
    void liveValues() {
        QVERIFY(LoadCatalogue(kMixed));
        select({"speed", "set_point", "duty"}); // rows: set_point (float), duty, speed (int)
        const auto colour = [this](int r) {
            return row(r)->valueEdit->palette().color(QPalette::Inactive, QPalette::Text);
        };
        m_source->Display(
            {{QPointF(0, 1.0f), QPointF(10, 2.5f)}, {QPointF(0, 7)}, {QPointF(0, 9), QPointF(10, 4)}},
            {{}, {}, {}});
        QCOMPARE(QStringList({row(0)->valueEdit->text(), row(2)->valueEdit->text(), colour(0).name()}),
                 (QStringList{"2.5", "4", "#ff0000"}));
        QCOMPARE(QStringList({text(0, "min"), text(0, "max"), text(2, "min"), text(2, "max")}),
                 (QStringList{"1", "2.5", "4", "9"}));
        m_table->GetTableWidget()->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_table->GetTableWidget()));
        QTest::mouseClick(row(1)->valueEdit, Qt::LeftButton);
        row(1)->valueEdit->selectAll();
        QTest::keyClicks(row(1)->valueEdit, "77");
        m_source->Display({{QPointF(20, 2.5f)}, {QPointF(20, 8)}, {QPointF(20, 5)}}, {{}, {}, {}});
        QCOMPARE(
            QStringList({row(0)->valueEdit->text(), row(1)->valueEdit->text(), row(2)->valueEdit->text()}),
            (QStringList{"2.5", "77", "5"}));
        QCOMPARE(colour(0), QColor(Qt::black));
        QCOMPARE(colour(2), QColor(Qt::red));
        row(1)->valueEdit->SetIdle(true); // leaving the cell hands it back to the refresh
        m_source->Display({{QPointF(30, 2.5f)}, {QPointF(30, 8)}, {QPointF(30, 5)}}, {{}, {}, {}});
        QCOMPARE(row(1)->valueEdit->text(), QString("8"));
    }

    // A drag swaps the table's rows (items re-made, widgets moved); the records keep their order.
    void valuesFollowDraggedRow() {
        QVERIFY(LoadNumbered(3));
        select(Numbered(3));
        m_table->GetTableWidget()->SwapRow(0, 2);
        m_source->Display(
            {{QPointF(0, 10), QPointF(1, 11)}, {QPointF(0, 20)}, {QPointF(0, 30), QPointF(1, 31)}},
            {{}, {}, {}});
        QCOMPARE(QStringList({text(2, "min"), text(2, "max"), text(0, "max")}),
                 (QStringList{"10", "11", "31"}));
        QSignalSpy change(m_table, &VarTableWidget::ChangeYResolutionAndOffset);
        m_table->GetTableWidget()->item(0, m_table->Column("Y Offset"))->setText("12");
        QCOMPARE(change.first().at(0).toUInt(), 0x20000008u);
        QCOMPARE(row(2)->lastYOffset, 12);
    }
};

QTEST_MAIN(VarTableWidgetTest)
#include "tst_vartablewidget.moc"
