// The variable table: columns, row records, address order, the curve limit, scaling texts,
// validators, colours, removal, the "+" row and the live value column fed by a real data source.
#include "CommonCfg.h"
#include "DataSource.h"
#include "TableFixture.h"
#include "ValueLineEdit.h"
#include "WatchList.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QColorDialog>
#include <QHeaderView>
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

QList<bool> ShowTicks(VarTableWidget& table) {
    QList<bool> ticks;
    for (const VarTableWidget::LineItem* item : table.LineItems())
        ticks << item->showChkBox->isChecked();
    return ticks;
}

QList<bool> ShowEnabled(VarTableWidget& table) {
    QList<bool> enabled;
    for (const VarTableWidget::LineItem* item : table.LineItems())
        enabled << item->showChkBox->isEnabled();
    return enabled;
}

QList<bool> Repeat(bool value, int n) {
    return QList<bool>() << QVector<bool>(n, value).toList();
}

// Sets up the watch list as the acquisition would for the table's rows.
void WatchRows(VarTableWidget& table) {
    WatchList& w = watchList();
    w.count = table.LineItems().size();
    for (int i = 0; i < w.count; ++i) {
        const VarParser::VarDes* des = table.LineItems().at(i)->varDes;
        parseAddress(des->address, w.address[i]);
        w.typeCode[i] = typeCodeOf(*des);
        w.scale[i] = 1.0f;
        w.offset[i] = 0.0f;
    }
}

QColor TextColour(const VarTableWidget::LineItem* item) {
    return item->valueEdit->palette().color(QPalette::Active, QPalette::Text);
}

} // namespace

class VarTableWidgetTest : public QObject {
    Q_OBJECT
private slots:
    void init() {
        VarParser::ResetForTests();
        CommonCfg::ResetForTests();
        watchList() = WatchList();
    }
    void cleanup() {
        VarParser::ResetForTests();
        CommonCfg::ResetForTests();
        watchList() = WatchList();
    }

    void columns();
    void rowRecord();
    void addressOrderWithDuplicates();
    void curveLimitBothWays();
    void curveLimitOnRemoval();
    void yOffset_data();
    void yOffset();
    void yResolution_data();
    void yResolution();
    void rescaleDrawnCurvesOnlyWhenStopped_data();
    void rescaleDrawnCurvesOnlyWhenStopped();
    void plusRowKeepsNoScaling();
    void updateAllYResolutionAndOffset();
    void validators_data();
    void validators();
    void colourFromPalette();
    void colourWithFullPalette();
    void colourDialog();
    void removalFromRowMenu();
    void addRowClicks();
    void lockBox();
    void selectionFollowsMarks();
    void clearTable();
    void valueColoursAfterTwoBatches();
    void valueFormat_data();
    void valueFormat();
    void editNotOverwritten();
    void statisticsFollowDraggedRow();
    void registrationEndsWithTable();
};

void VarTableWidgetTest::columns() {
    VarTableWidget table;
    QTableWidget* view = table.GetTableWidget();
    const QStringList titles{"Color",       "Show",     "Name", "Address", "Type",           "Value",
                             "Y Resolutin", "Y Offset", "min",  "max",     "moving average", "Lock"};
    QCOMPARE(table.ColumnTitles(), titles);
    QCOMPARE(view->columnCount(), 12);
    for (int c = 0; c < titles.size(); ++c) {
        QCOMPARE(view->horizontalHeaderItem(c)->text(), titles.at(c));
        const bool hidden =
            titles.at(c) == "min" || titles.at(c) == "max" || titles.at(c) == "moving average";
        QCOMPARE(view->isColumnHidden(c), hidden);
    }
    QVERIFY(view->verticalHeader()->isHidden());
    QCOMPARE(view->selectionBehavior(), QAbstractItemView::SelectRows);
    QCOMPARE(view->selectionMode(), QAbstractItemView::SingleSelection);
    QCOMPARE(view->editTriggers(), QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    QCOMPARE(view->horizontalHeader()->sectionResizeMode(table.Column("Name")),
             QHeaderView::ResizeToContents);
    QVERIFY(view->horizontalHeader()->sectionsMovable());
    QVERIFY(view->parent() == nullptr);

    // An empty table still has the "+" row.
    QCOMPARE(view->rowCount(), 1);
    auto* add = qobject_cast<QLabel*>(view->cellWidget(0, 0));
    QVERIFY(add != nullptr);
    QCOMPARE(add->text(), QString("+"));
    QCOMPARE(add->property("isAdd").toBool(), true);
    QCOMPARE(table.ShownCount(), 0);
}

void VarTableWidgetTest::rowRecord() {
    QVERIFY(LoadCatalogue(kMixed));
    VarTableWidget table;
    QTableWidget* view = table.GetTableWidget();
    SelectByName(table, {"set_point"});
    QCOMPARE(view->rowCount(), 2);
    QCOMPARE(table.LineItems().size(), 1);
    VarTableWidget::LineItem* item = table.LineItems().first();
    QCOMPARE(item->varDes, VarParser::VarList().at(1));

    QCOMPARE(view->cellWidget(0, table.Column("Color")), item->colorLabel);
    QCOMPARE(item->colorLabel->property("lineItem").value<VarTableWidget::LineItem*>(), item);
    QCOMPARE(item->colorLabel->property("rgb").toUInt(), CommonCfg::Palette().first().rgb());
    QCOMPARE(item->colorLabel->pixmap(Qt::ReturnByValue).size(), QSize(20, 20));
    QCOMPARE(item->colorLabel->pixmap(Qt::ReturnByValue).toImage().pixel(10, 10),
             CommonCfg::Palette().first().rgb());
    QCOMPARE(view->cellWidget(0, table.Column("Show")), item->showCell);
    QCOMPARE(view->cellWidget(0, table.Column("Value")), item->valueCell);
    QCOMPARE(view->cellWidget(0, table.Column("Lock")), item->lockCell);
    QCOMPARE(item->showChkBox->parentWidget(), item->showCell);
    QCOMPARE(item->valueEdit->parentWidget(), item->valueCell);
    QVERIFY(item->showChkBox->isChecked());
    QVERIFY(!item->lockChkBox->isChecked());
    QCOMPARE(item->valueEdit->text(), QString("0"));
    QCOMPARE(item->valueEdit->styleSheet(), QString("QLineEdit{border-width:0;border-style:outset}"));

    const QStringList texts{"set_point", "20000010", "float"};
    const QStringList titles{"Name", "Address", "Type"};
    for (int i = 0; i < titles.size(); ++i) {
        const QTableWidgetItem* cell = view->item(0, table.Column(titles.at(i)));
        QCOMPARE(cell->text(), texts.at(i));
        QVERIFY(!(cell->flags() & Qt::ItemIsEditable));
        QCOMPARE(cell->textAlignment(), int(Qt::AlignHCenter | Qt::AlignVCenter));
    }
    QCOMPARE(view->item(0, table.Column("Y Resolutin")), item->yResolutionItem);
    QCOMPARE(item->yResolutionItem->text(), QString("1"));
    QCOMPARE(view->item(0, table.Column("Y Offset")), item->yOffsetItem);
    QCOMPARE(item->yOffsetItem->text(), QString("0"));
    QCOMPARE(view->item(0, table.Column("min")), item->minItem);
    QCOMPARE(view->item(0, table.Column("moving average")), item->movingAverageItem);
    QCOMPARE(table.ShownCount(), 1);
}

void VarTableWidgetTest::addressOrderWithDuplicates() {
    QVERIFY(LoadCatalogue(kMixed));
    VarTableWidget table;
    SelectByName(table, {"speed", "set_point", "duty"});
    QCOMPARE(ColumnTexts(table, "Name"), (QStringList{"set_point", "duty", "speed"}));
    // "alias" shares duty's address and comes later: it goes above; "0x2000001c" sorts as a number.
    SelectByName(table, {"speed", "set_point", "duty", "alias", "flags"});
    QCOMPARE(ColumnTexts(table, "Name"), (QStringList{"set_point", "alias", "duty", "speed", "flags"}));
    QStringList recordOrder;
    for (const VarTableWidget::LineItem* item : table.LineItems())
        recordOrder << item->varDes->name;
    QCOMPARE(recordOrder, ColumnTexts(table, "Name"));
    // Every row's swatch leads back to the record of that row.
    for (int row = 0; row < table.LineItems().size(); ++row)
        QCOMPARE(table.GetTableWidget()
                     ->cellWidget(row, 0)
                     ->property("lineItem")
                     .value<VarTableWidget::LineItem*>(),
                 table.LineItems().at(row));
    QCOMPARE(table.GetTableWidget()->rowCount(), 6);
}

void VarTableWidgetTest::curveLimitBothWays() {
    QVERIFY(LoadNumbered(18));
    VarTableWidget table;
    int showChanges = 0;
    connect(&table, &VarTableWidget::SendChartShowChanged, [&showChanges] { ++showChanges; });
    SelectByName(table, Numbered(18));
    QCOMPARE(table.ShownCount(), 16);
    QCOMPARE(ShowTicks(table), Repeat(true, 16) << false << false);
    QCOMPARE(ShowEnabled(table), Repeat(true, 16) << false << false);

    // Unticking one shown curve frees a slot: every show box opens.
    table.LineItems().at(3)->showChkBox->click();
    QCOMPARE(table.ShownCount(), 15);
    QCOMPARE(ShowEnabled(table), Repeat(true, 18));
    QCOMPARE(showChanges, 1);

    // Taking the slot again closes the boxes that are not ticked.
    table.LineItems().at(17)->showChkBox->click();
    QCOMPARE(table.ShownCount(), 16);
    QList<bool> expected = Repeat(true, 18);
    expected[3] = false;
    expected[16] = false;
    QCOMPARE(ShowEnabled(table), expected);
    QVERIFY(!table.LineItems().at(3)->showChkBox->isChecked());
    QCOMPARE(showChanges, 2);
}

void VarTableWidgetTest::curveLimitOnRemoval() {
    QVERIFY(LoadNumbered(17));
    VarTableWidget table;
    SelectByName(table, Numbered(17));
    QVERIFY(!table.LineItems().at(16)->showChkBox->isEnabled());
    // Unselecting a shown variable drops its row and frees its slot.
    SelectByName(table, Numbered(17).mid(1));
    QCOMPARE(table.LineItems().size(), 16);
    QCOMPARE(table.ShownCount(), 15);
    QCOMPARE(ShowEnabled(table), Repeat(true, 16));
    // A new row now takes the free slot and closes the boxes left unticked.
    SelectByName(table, Numbered(17));
    QCOMPARE(table.ShownCount(), 16);
    QCOMPARE(ShowTicks(table), Repeat(true, 16) << false);
    QCOMPARE(ShowEnabled(table), Repeat(true, 16) << false);
}

void VarTableWidgetTest::yOffset_data() {
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("kept");
    QTest::addColumn<int>("lastOffset");
    QTest::newRow("positive") << "25"
                              << "25" << 25;
    QTest::newRow("negative") << "-300"
                              << "-300" << -300;
    QTest::newRow("zero") << "0"
                          << "0" << 0;
    QTest::newRow("leading zeros") << "007"
                                   << "0" << 0;
    QTest::newRow("minus zero") << "-0"
                                << "0" << 0;
    QTest::newRow("fraction") << "1.5"
                              << "0" << 0;
    QTest::newRow("plus sign") << "+3"
                               << "0" << 0;
    QTest::newRow("empty") << ""
                           << "0" << 0;
    QTest::newRow("blank around") << " 4"
                                  << "0" << 0;
    QTest::newRow("letters") << "12a"
                             << "0" << 0;
}

void VarTableWidgetTest::yOffset() {
    QFETCH(QString, typed);
    QFETCH(QString, kept);
    QFETCH(int, lastOffset);
    QVERIFY(LoadCatalogue(kMixed));
    VarTableWidget table;
    SelectByName(table, {"speed", "set_point"});
    VarTableWidget::LineItem* item = table.LineItems().at(1); // speed, 0x20000018
    item->yResolutionItem->setText("2.5");
    item->yOffsetItem->setText("33"); // so that every typed text is a change
    item->lastYOffset = 99;
    QSignalSpy change(&table, &VarTableWidget::ChangeYResolutionAndOffset);
    QSignalSpy last(&table, &VarTableWidget::ChangeLastYResolutionAndOffset);
    item->yOffsetItem->setText(typed);
    QCOMPARE(item->yOffsetItem->text(), kept);
    QCOMPARE(item->lastYOffset, lastOffset);
    QCOMPARE(change.count(), 1);
    QCOMPARE(change.first().at(0).toUInt(), 0x20000018u);
    QCOMPARE(change.first().at(1).toInt(), kept.toInt());
    QCOMPARE(change.first().at(2).toDouble(), 2.5);
    QCOMPARE(last.count(), 1); // stopped at start-up
    QCOMPARE(last.first(), change.first());
}

void VarTableWidgetTest::yResolution_data() {
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("kept");
    QTest::addColumn<double>("resolution");
    QTest::newRow("one") << "1"
                         << "1" << 1.0;
    QTest::newRow("integer") << "250"
                             << "250" << 250.0;
    QTest::newRow("half") << "0.5"
                          << "0.5" << 0.5;
    QTest::newRow("one and a bit") << "1.25"
                                   << "1.25" << 1.25;
    QTest::newRow("two digits before the point") << "12.5"
                                                 << "12.5" << 12.5;
    QTest::newRow("no digit before the point") << ".5"
                                               << "1" << 1.0;
    QTest::newRow("leading zero") << "01"
                                  << "1" << 1.0;
    QTest::newRow("zero") << "0"
                          << "1" << 1.0;
    QTest::newRow("trailing point") << "5."
                                    << "1" << 1.0;
    QTest::newRow("negative") << "-2"
                              << "1" << 1.0;
    QTest::newRow("exponent") << "1e3"
                              << "1" << 1.0;
}

void VarTableWidgetTest::yResolution() {
    QFETCH(QString, typed);
    QFETCH(QString, kept);
    QFETCH(double, resolution);
    QVERIFY(LoadCatalogue(kMixed));
    VarTableWidget table;
    SelectByName(table, {"set_point"});
    VarTableWidget::LineItem* item = table.LineItems().first();
    item->yOffsetItem->setText("-40");
    item->yResolutionItem->setText("3");
    item->lastYResolution = 7.0;
    QSignalSpy change(&table, &VarTableWidget::ChangeYResolutionAndOffset);
    item->yResolutionItem->setText(typed);
    QCOMPARE(item->yResolutionItem->text(), kept);
    QCOMPARE(float(item->lastYResolution), float(resolution));
    QCOMPARE(change.count(), 1);
    QCOMPARE(change.first().at(0).toUInt(), 0x20000010u);
    QCOMPARE(change.first().at(1).toInt(), -40);
    QCOMPARE(float(change.first().at(2).toDouble()), float(resolution));
}

void VarTableWidgetTest::rescaleDrawnCurvesOnlyWhenStopped_data() {
    QTest::addColumn<int>("runFlag");
    QTest::addColumn<int>("lastSignals");
    QTest::newRow("stopped") << 1 << 2;
    QTest::newRow("sampling") << 0 << 0;
}

void VarTableWidgetTest::rescaleDrawnCurvesOnlyWhenStopped() {
    QFETCH(int, runFlag);
    QFETCH(int, lastSignals);
    QVERIFY(LoadCatalogue(kMixed));
    VarTableWidget table;
    SelectByName(table, {"set_point"});
    CommonCfg::SetRunFlag(runFlag);
    QSignalSpy change(&table, &VarTableWidget::ChangeYResolutionAndOffset);
    QSignalSpy last(&table, &VarTableWidget::ChangeLastYResolutionAndOffset);
    table.LineItems().first()->yOffsetItem->setText("3");
    table.LineItems().first()->yResolutionItem->setText("0.25");
    QCOMPARE(change.count(), 2);
    QCOMPARE(last.count(), lastSignals);
    QCOMPARE(change.last().at(1).toInt(), 3);
    QCOMPARE(change.last().at(2).toDouble(), 0.25);
}

void VarTableWidgetTest::plusRowKeepsNoScaling() {
    VarTableWidget table;
    QTableWidget* view = table.GetTableWidget();
    QSignalSpy change(&table, &VarTableWidget::ChangeYResolutionAndOffset);
    view->setItem(0, table.Column("Y Offset"), new QTableWidgetItem);
    view->item(0, table.Column("Y Offset"))->setText("5");
    QCOMPARE(view->item(0, table.Column("Y Offset"))->text(), QString("0"));
    QCOMPARE(change.count(), 0);
}

void VarTableWidgetTest::updateAllYResolutionAndOffset() {
    QVERIFY(LoadCatalogue(kMixed));
    VarTableWidget table;
    SelectByName(table, {"speed", "set_point"});
    table.LineItems().at(0)->yResolutionItem->setText("0.5");
    table.LineItems().at(1)->yOffsetItem->setText("-7");
    QSignalSpy change(&table, &VarTableWidget::ChangeYResolutionAndOffset);
    table.UpdateAllYResolutionAndOffset();
    QCOMPARE(change.count(), 2);
    QCOMPARE(change.at(0), (QList<QVariant>{0x20000010u, 0, 0.5}));
    QCOMPARE(change.at(1), (QList<QVariant>{0x20000018u, -7, 1.0}));
}

void VarTableWidgetTest::validators_data() {
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
    QTest::newRow("short zero") << "short"
                                << "0" << false;
    QTest::newRow("short 100") << "short"
                               << "100" << false;
    QTest::newRow("short -5") << "short"
                              << "-5" << false;
    QTest::newRow("char 65") << "char"
                             << "65" << false;
    QTest::newRow("char -1") << "char"
                             << "-1" << false;
    QTest::newRow("unsigned char 255") << "unsigned char"
                                       << "255" << true;
    QTest::newRow("unsigned char 256") << "unsigned char"
                                       << "256" << false;
    QTest::newRow("unsigned char -1") << "unsigned char"
                                      << "-1" << false;
    QTest::newRow("unsigned short 65535") << "unsigned short"
                                          << "65535" << true;
    QTest::newRow("unsigned short 65536") << "unsigned short"
                                          << "65536" << false;
    QTest::newRow("long") << "long"
                          << "0" << true;
    QTest::newRow("unsigned int") << "unsigned int"
                                  << "1" << true;
    QTest::newRow("other type 0") << "struct s"
                                  << "0" << false;
    QTest::newRow("case matters") << "Int"
                                  << "5" << false;
}

void VarTableWidgetTest::validators() {
    QFETCH(QString, type);
    QFETCH(QString, text);
    QFETCH(bool, acceptable);
    QVERIFY(LoadCatalogue({{"a.c", {{"v", "20000000", type}}}}));
    VarTableWidget table;
    SelectByName(table, {"v"});
    const QValidator* validator = table.LineItems().first()->valueEdit->validator();
    QVERIFY(validator != nullptr);
    QString input = text;
    int pos = 0;
    QCOMPARE(validator->validate(input, pos) == QValidator::Acceptable, acceptable);
    // The inverted bounds are what they are on purpose.
    if (auto* ints = qobject_cast<const QIntValidator*>(validator)) {
        if (type == "short")
            QCOMPARE(qMakePair(ints->bottom(), ints->top()), qMakePair(32768, 32767));
        else if (type == "char")
            QCOMPARE(qMakePair(ints->bottom(), ints->top()), qMakePair(128, 127));
        else if (type.startsWith("struct"))
            QCOMPARE(qMakePair(ints->bottom(), ints->top()), qMakePair(0, -1));
    } else {
        QVERIFY(type == "float" || type == "double");
    }
}

void VarTableWidgetTest::colourFromPalette() {
    QVERIFY(LoadNumbered(4));
    VarTableWidget table;
    SelectByName(table, Numbered(3));
    const QList<QColor> palette = CommonCfg::Palette();
    for (int i = 0; i < 3; ++i)
        QCOMPARE(table.LineItems().at(i)->colorLabel->property("rgb").toUInt(), palette.at(i).rgb());
    // A freed colour is the first unused one again.
    SelectByName(table, {"v1", "v2"});
    SelectByName(table, {"v1", "v2", "v3"});
    QCOMPARE(table.LineItems().at(2)->colorLabel->property("rgb").toUInt(), palette.at(0).rgb());
}

void VarTableWidgetTest::colourWithFullPalette() {
    const QList<QColor> palette = CommonCfg::Palette();
    QCOMPARE(palette.size(), 16);
    QVERIFY(LoadNumbered(20));
    VarTableWidget table;
    SelectByName(table, Numbered(20));
    QSet<uint> paletteRgb;
    for (const QColor& c : palette)
        paletteRgb << c.rgb();
    QSet<uint> firstSixteen;
    for (int i = 0; i < 20; ++i) {
        const uint rgb = table.LineItems().at(i)->colorLabel->property("rgb").toUInt();
        QVERIFY2(paletteRgb.contains(rgb), qPrintable(QString::number(rgb, 16)));
        if (i < 16)
            firstSixteen << rgb;
    }
    QCOMPARE(firstSixteen, paletteRgb);
}

void VarTableWidgetTest::colourDialog() {
    QVERIFY(LoadNumbered(2));
    VarTableWidget table;
    SelectByName(table, Numbered(2));
    int showChanges = 0;
    connect(&table, &VarTableWidget::SendChartShowChanged, [&showChanges] { ++showChanges; });
    QColor offered;
    QTimer::singleShot(0, [&offered] {
        auto* dialog = qobject_cast<QColorDialog*>(QApplication::activeModalWidget());
        QVERIFY(dialog != nullptr);
        offered = dialog->currentColor();
        dialog->setCurrentColor(QColor(0x12, 0x34, 0x56));
        dialog->accept();
    });
    table.OnClickedTable(1, table.Column("Color"));
    QCOMPARE(offered.rgb(), CommonCfg::Palette().at(1).rgb());
    const QLabel* swatch = table.LineItems().at(1)->colorLabel;
    QCOMPARE(swatch->property("rgb").toUInt(), QColor(0x12, 0x34, 0x56).rgb());
    QCOMPARE(swatch->pixmap(Qt::ReturnByValue).toImage().pixel(3, 3), QColor(0x12, 0x34, 0x56).rgb());
    QCOMPARE(showChanges, 1);
    // Other columns do not react.
    table.OnClickedTable(1, table.Column("Name"));
    QCOMPARE(showChanges, 1);
}

void VarTableWidgetTest::removalFromRowMenu() {
    QVERIFY(LoadCatalogue(kMixed));
    VarTableWidget table;
    DragableRowsTable* view = table.GetTableWidget();
    SelectByName(table, {"speed", "set_point", "duty"});
    view->resize(900, 300);
    view->show();
    QVERIFY(QTest::qWaitForWindowExposed(view));
    QSignalSpy removed(&table, &VarTableWidget::RemoveItem);
    QSignalSpy series(&table, &VarTableWidget::RemoveSeriesById);

    // Right click on the middle row, then "Delete" from the row menu.
    view->clickRithtMenu(view->visualRect(view->model()->index(1, 2)).center());
    QVERIFY(view->RowMenu() != nullptr);
    view->RowMenu()->hide();
    QAction* remove = nullptr;
    for (QAction* action : view->RowMenu()->actions())
        if (action->text() == "Delete")
            remove = action;
    QVERIFY(remove != nullptr);
    remove->trigger();

    QCOMPARE(removed.count(), 1);
    const auto des = removed.first().at(0).value<VarParser::VarDes>();
    QCOMPARE(des.name, QString("duty"));
    QCOMPARE(des.address, QString("20000014"));
    QCOMPARE(series.count(), 1);
    QCOMPARE(series.first().at(0).toInt(), 1);
    QCOMPARE(ColumnTexts(table, "Name"), (QStringList{"set_point", "speed"}));
    QCOMPARE(table.LineItems().size(), 2);
    QCOMPARE(table.ShownCount(), 2);
    QCOMPARE(view->rowCount(), 3);

    // The "+" row is no variable: removing it does nothing.
    view->clickRithtMenu(view->visualRect(view->model()->index(2, 2)).center());
    view->RowMenu()->hide();
    remove->trigger();
    QCOMPARE(removed.count(), 1);
    QCOMPARE(view->rowCount(), 3);
}

void VarTableWidgetTest::addRowClicks() {
    QVERIFY(LoadNumbered(1));
    VarTableWidget table;
    DragableRowsTable* view = table.GetTableWidget();
    SelectByName(table, Numbered(1));
    view->resize(900, 200);
    view->show();
    QVERIFY(QTest::qWaitForWindowExposed(view));
    QSignalSpy add(&table, &VarTableWidget::AddItem);
    const QPoint plus = view->visualRect(view->model()->index(1, 0)).center();
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, plus);
    QCOMPARE(add.count(), 1);

    // While sampling the "+" row is closed.
    table.DisableUpdateVarItem();
    QVERIFY(!view->cellWidget(1, 0)->isEnabled());
    view->clearSelection();
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, plus);
    QCOMPARE(add.count(), 1);
    table.EnableUpdateVarItem();
    QVERIFY(view->cellWidget(1, 0)->isEnabled());
    view->clearSelection();
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, plus);
    QCOMPARE(add.count(), 2);
}

void VarTableWidgetTest::lockBox() {
    QVERIFY(LoadNumbered(2));
    VarTableWidget table;
    SelectByName(table, Numbered(2));
    table.LineItems().at(1)->lockChkBox->click();
    QVERIFY(!table.LineItems().at(1)->valueEdit->isEnabled());
    QVERIFY(table.LineItems().at(0)->valueEdit->isEnabled());
    table.LineItems().at(1)->lockChkBox->click();
    QVERIFY(table.LineItems().at(1)->valueEdit->isEnabled());
}

void VarTableWidgetTest::selectionFollowsMarks() {
    QVERIFY(LoadCatalogue(kMixed));
    VarTableWidget table;
    QSignalSpy rebuilt(&table, &VarTableWidget::SetChartShowItems);
    SelectByName(table, {"speed", "duty"});
    QCOMPARE(rebuilt.count(), 1);
    const VarTableWidget::LineItem* speed = table.LineItems().at(1);
    // Nothing changed: the rows stay as they are and the chart is not told.
    table.UpdateTableWithVariableList();
    QCOMPARE(rebuilt.count(), 1);
    // One variable goes, two come; the row kept is the same record.
    SelectByName(table, {"speed", "set_point", "flags"});
    QCOMPARE(rebuilt.count(), 2);
    QCOMPARE(ColumnTexts(table, "Name"), (QStringList{"set_point", "speed", "flags"}));
    QCOMPARE(table.LineItems().at(1), speed);
    QCOMPARE(table.ShownCount(), 3);
    QCOMPARE(table.GetTableWidget()->rowCount(), 4);
    QVERIFY(table.GetTableWidget()->cellWidget(3, 0)->property("isAdd").toBool());
}

void VarTableWidgetTest::clearTable() {
    QVERIFY(LoadCatalogue(kMixed));
    VarTableWidget table;
    SelectByName(table, {"speed", "duty"});
    table.ClearTable();
    QCOMPARE(table.GetTableWidget()->rowCount(), 0);
    QCOMPARE(table.LineItems().size(), 0);
    QCOMPARE(table.ShownCount(), 0);
    // The next confirmed selection brings the rows and the "+" row back.
    table.UpdateTableWithVariableList();
    QCOMPARE(ColumnTexts(table, "Name"), (QStringList{"duty", "speed"}));
    QCOMPARE(table.GetTableWidget()->rowCount(), 3);
    QCOMPARE(table.ShownCount(), 2);
}

void VarTableWidgetTest::valueColoursAfterTwoBatches() {
    QVERIFY(LoadCatalogue(kMixed));
    VarTableWidget table;
    SelectByName(table, {"speed", "set_point"}); // rows: set_point (float), speed (int)
    WatchRows(table);
    DataSource source;
    table.SetDataSource(&source);

    source.Display({{QPointF(0, 1.0f), QPointF(10, 2.5f)}, {QPointF(0, 9), QPointF(10, 4)}}, {{}, {}});
    const VarTableWidget::LineItem* setPoint = table.LineItems().at(0);
    const VarTableWidget::LineItem* speed = table.LineItems().at(1);
    QCOMPARE(setPoint->valueEdit->text(), QString("2.5"));
    QCOMPARE(speed->valueEdit->text(), QString("4"));
    QCOMPARE(TextColour(setPoint), QColor(Qt::red));
    QCOMPARE(TextColour(speed), QColor(Qt::red));
    QCOMPARE(setPoint->minItem->text(), QString("1"));
    QCOMPARE(setPoint->maxItem->text(), QString("2.5"));
    QCOMPARE(speed->minItem->text(), QString("4"));
    QCOMPARE(speed->maxItem->text(), QString("9"));

    // Second batch: set_point holds its value, speed moves.
    source.Display({{QPointF(20, 2.5f)}, {QPointF(20, 5)}}, {{}, {}});
    QCOMPARE(setPoint->valueEdit->text(), QString("2.5"));
    QCOMPARE(speed->valueEdit->text(), QString("5"));
    QCOMPARE(TextColour(setPoint), QColor(Qt::black));
    QCOMPARE(TextColour(speed), QColor(Qt::red));
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        QCOMPARE(setPoint->valueEdit->palette().color(group, QPalette::Text), QColor(Qt::black));
        QCOMPARE(speed->valueEdit->palette().color(group, QPalette::Text), QColor(Qt::red));
    }
}

void VarTableWidgetTest::valueFormat_data() {
    QTest::addColumn<QString>("type");
    QTest::addColumn<double>("raw");
    QTest::addColumn<QString>("shown");
    QTest::newRow("float six digits") << "float" << double(3.14159265f) << "3.14159";
    QTest::newRow("float small") << "float" << double(0.000012345f) << "1.2345e-05";
    QTest::newRow("int large") << "int" << 1234567.0 << "1.23457e+06";
    QTest::newRow("int negative") << "int" << -42.0 << "-42";
    QTest::newRow("int six digits") << "int" << 999999.0 << "999999";
}

void VarTableWidgetTest::valueFormat() {
    QFETCH(QString, type);
    QFETCH(double, raw);
    QFETCH(QString, shown);
    QVERIFY(LoadCatalogue({{"a.c", {{"v", "20000000", type}}}}));
    VarTableWidget table;
    SelectByName(table, {"v"});
    WatchRows(table);
    DataSource source;
    table.SetDataSource(&source);
    source.Display({{QPointF(0, raw)}}, {{}});
    QCOMPARE(table.LineItems().first()->valueEdit->text(), shown);
}

void VarTableWidgetTest::editNotOverwritten() {
    QVERIFY(LoadNumbered(2));
    VarTableWidget table;
    SelectByName(table, Numbered(2));
    WatchRows(table);
    DataSource source;
    table.SetDataSource(&source);
    DragableRowsTable* view = table.GetTableWidget();
    view->show();
    QVERIFY(QTest::qWaitForWindowExposed(view));

    ValueLineEdit* editing = table.LineItems().at(0)->valueEdit;
    QTest::mouseClick(editing, Qt::LeftButton);
    editing->selectAll();
    QTest::keyClicks(editing, "77");
    QVERIFY(!editing->IsIdle());
    source.Display({{QPointF(0, 5)}, {QPointF(0, 6)}}, {{}, {}});
    QCOMPARE(editing->text(), QString("77"));
    QCOMPARE(table.LineItems().at(1)->valueEdit->text(), QString("6"));

    // Leaving the cell hands it back to the refresh.
    editing->SetIdle(true);
    source.Display({{QPointF(1, 8)}, {QPointF(1, 6)}}, {{}, {}});
    QCOMPARE(editing->text(), QString("8"));
}

void VarTableWidgetTest::statisticsFollowDraggedRow() {
    QVERIFY(LoadNumbered(3));
    VarTableWidget table;
    SelectByName(table, Numbered(3));
    WatchRows(table);
    DataSource source;
    table.SetDataSource(&source);
    DragableRowsTable* view = table.GetTableWidget();
    // A drag swaps the table's rows (items are re-made, widgets move); the records keep their order.
    view->SwapRow(0, 2);
    QCOMPARE(ColumnTexts(table, "Name"), (QStringList{"v2", "v1", "v0"}));
    source.Display({{QPointF(0, 10), QPointF(1, 11)}, {QPointF(0, 20)}, {QPointF(0, 30), QPointF(1, 31)}},
                   {{}, {}, {}});
    QCOMPARE(table.LineItems().at(0)->valueEdit->text(), QString("11"));
    // v0's statistics land in the row that now shows v0.
    QCOMPARE(view->item(2, table.Column("min"))->text(), QString("10"));
    QCOMPARE(view->item(2, table.Column("max"))->text(), QString("11"));
    QCOMPARE(view->item(0, table.Column("max"))->text(), QString("31"));
    // A scaling change in a dragged row still reaches the right variable.
    QSignalSpy change(&table, &VarTableWidget::ChangeYResolutionAndOffset);
    view->item(0, table.Column("Y Offset"))->setText("12");
    QCOMPARE(change.count(), 1);
    QCOMPARE(change.first().at(0).toUInt(), 0x20000008u);
    QCOMPARE(table.LineItems().at(2)->lastYOffset, 12);
}

void VarTableWidgetTest::registrationEndsWithTable() {
    DataSource source;
    {
        VarTableWidget table;
        table.SetDataSource(&source);
        QCOMPARE(CommonCfg::VarTable(), static_cast<QObject*>(&table));
    }
    QVERIFY(CommonCfg::VarTable() == nullptr);
    // A batch after the table went is harmless.
    watchList().count = 1;
    source.Display({{QPointF(0, 1)}}, {{}});
}

QTEST_MAIN(VarTableWidgetTest)
#include "tst_vartablewidget.moc"
