// The table widgets (drag by swap or move, row menu, header sorting, value-cell editing) and the variable
// table on them: columns, address order, curve limit, scaling, colours, "+" row, live values, value types.
#include "Acquisition.h"
#include "CommonCfg.h"
#include "Console.h"
#include "CsvWriter.h"
#include "DataSource.h"
#include "FrameQueue.h"
#include "GetData.h"
#include "Row.h"
#include "SampleValue.h"
#include "TableFixture.h"
#include "ValueLineEdit.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QSignalSpy>
#include <QTimer>
#include <QVBoxLayout>
#include <QtTest>
#include <cfloat>
#include <cstdio>
#include <cstring>

namespace {

// Outside a running QDrag the view turns down every drag entering it, and the application then
// delivers no drop at all. This filter accepts the entry in its place, so that the drop itself
// travels the application's ordinary path to the view.
class EnterAccepter : public QObject {
public:
    bool eventFilter(QObject*, QEvent* event) override {
        event->setAccepted(event->type() == QEvent::DragEnter);
        return event->type() == QEvent::DragEnter;
    }
};

const QString kMixed =
    "motor.c=speed:20000018:int, set_point:20000010:float, duty:20000014:unsigned short:global:2;"
    "io.c=alias:20000014:char:global:1, flags:0x2000001c:unsigned char:global:1, odd:20000020:int:global:3";

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

// The plain table's rows carry the same tag in their item, cell widget and third item: after a drag
// the three must still agree, which proves they travelled together.
class TableTest : public QObject {
    Q_OBJECT
    QWidget* m_window = nullptr;
    DragableRowsTable* m_rows = nullptr;
    ValueLineEdit* m_edit = nullptr;
    QLineEdit* m_other = nullptr;
    VarTableWidget* m_table = nullptr;
    DataSource* m_source = nullptr;

    void fill(int rows) {
        m_rows->setRowCount(rows);
        for (int r = 0; r < rows; ++r) {
            m_rows->setItem(r, 0, new QTableWidgetItem(QString("r%1").arg(r)));
            m_rows->setCellWidget(r, 1, new QLabel(QString("r%1").arg(r)));
            m_rows->setItem(r, 2, new QTableWidgetItem(QString("r%1t").arg(r)));
        }
    }
    // One entry per row: the tag, or "item/widget/type" when the cells no longer agree.
    QString rowTags() const {
        QStringList tags;
        for (int r = 0; r < m_rows->rowCount(); ++r) {
            const QString a = m_rows->item(r, 0)->text(), c = m_rows->item(r, 2)->text();
            const QString b = qobject_cast<QLabel*>(m_rows->cellWidget(r, 1))->text();
            tags << ((b == a && c == a + "t") ? a : a + "/" + b + "/" + c);
        }
        return tags.join(' ');
    }
    QPoint cellCenter(int row, int column = 0) const {
        return m_rows->visualRect(m_rows->model()->index(row, column)).center();
    }
    // The drop a drag of the selected row would deliver, with the view's own drag payload.
    void dropAt(QPoint at) {
        std::unique_ptr<QMimeData> mime(
            m_rows->model()->mimeData(m_rows->selectionModel()->selectedIndexes()));
        EnterAccepter accepter;
        m_rows->viewport()->installEventFilter(&accepter);
        QDragEnterEvent enter(at, Qt::MoveAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(m_rows->viewport(), &enter);
        m_rows->viewport()->removeEventFilter(&accepter);
        QDropEvent drop(QPointF(at), Qt::MoveAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(m_rows->viewport(), &drop);
        QVERIFY(!drop.isAccepted()); // an accepted move would make the drag source remove rows
    }
    VarTableWidget::LineItem* row(int i) const { return m_table->LineItems().at(i); }
    // Frames of the watched variables' slots pushed into a fresh ring and drawn as the worker draws them.
    void Feed(const QVector<QVector<uint64_t>>& frames) {
        FrameQueue& queue = FrameQueue::instance();
        queue.init();
        for (int i = 0; i < frames.size(); ++i) {
            SampleFrame frame{uint64_t(i), {}, frames[i].size()};
            std::copy(frames[i].begin(), frames[i].end(), frame.value);
            queue.push(frame);
        }
        QVector<QVector<QPointF>> batch(watchList().count);
        GetData::Drain(batch, false);
        m_source->Display(batch, QVector<QVector<float>>(batch.size()));
    }
    // Texts of the columns in one variable row ("Value": the value cell).
    QString texts(int r, const QStringList& columns) const {
        QStringList texts;
        for (const QString& c : columns)
            texts << (c == "Value" ? row(r)->valueEdit->text()
                                   : m_table->GetTableWidget()->item(r, m_table->Column(c))->text());
        return texts.join(' ');
    }
    // One column's texts, row by row, without the "+" row.
    QString column(const QString& c = "Name") const {
        QStringList column;
        for (int r = 0; r + 1 < m_table->GetTableWidget()->rowCount(); ++r)
            column << texts(r, {c});
        return column.join(' ');
    }

private slots:
    void init() {
        VarParser::ResetForTests();
        CommonCfg::ResetForTests();
        watchList() = WatchList();
        m_window = new QWidget;
        auto* layout = new QVBoxLayout(m_window);
        m_rows = new DragableRowsTable;
        m_rows->setColumnCount(3);
        m_rows->setHorizontalHeaderLabels({"Name", "Widget", "Type"});
        m_rows->setDragEnabled(true);
        layout->addWidget(m_rows);
        layout->addWidget(m_edit = new ValueLineEdit);
        layout->addWidget(m_other = new QLineEdit);
        m_other->setFocus();
        m_window->resize(400, 500); // room for empty space below the rows
        m_window->show();
        QApplication::setActiveWindow(m_window);
        QVERIFY(QTest::qWaitForWindowActive(m_window));
        QTRY_VERIFY(m_other->hasFocus());
        m_table = new VarTableWidget;
        m_source = new DataSource;
        m_table->SetDataSource(m_source);
        connect(m_source, &DataSource::VarValuesUpdated, m_table, &VarTableWidget::UpdateVarValue);
    }
    void cleanup() {
        delete m_window;
        delete m_table;
        QVERIFY(CommonCfg::VarTable() == nullptr);  // the table unregisters itself
        m_source->Display({{QPointF(0, 1)}}, {{}}); // a batch after the table went is harmless
        delete m_source;
    }

    // mode, last row accepts | dragged row, row dropped on (-1: empty space below) | rows afterwards |
    // source and target the one signal reports ("none": no signal)
    void drop_data() {
        Row::Column();
        QTest::newRow("swap down keeps row 2") << "swap yes | 1 3 | r0 r3 r2 r1 r4 | 1 3";
        QTest::newRow("swap neighbours up") << "swap yes | 2 1 | r0 r2 r1 r3 r4 | 2 1";
        QTest::newRow("swap onto itself, still told") << "swap yes | 2 2 | r0 r1 r2 r3 r4 | 2 2";
        QTest::newRow("swap, last row refuses") << "swap no | 1 4 | r0 r3 r2 r1 r4 | 1 3";
        QTest::newRow("move up shifts down") << "move yes | 3 1 | r0 r3 r1 r2 r4 | 3 1";
        QTest::newRow("move onto the last row goes below it") << "move yes | 0 4 | r1 r2 r3 r4 r0 | 0 4";
        QTest::newRow("move below the rows") << "move yes | 1 -1 | r0 r2 r3 r1 r4 | 1 3";
        QTest::newRow("the last row is not dragged") << "swap yes | 4 0 | r0 r1 r2 r3 r4 | none";
    }
    void drop() {
        const QStringList f = Row::Fields();
        const int source = f[1].section(' ', 0, 0).toInt(), target = f[1].section(' ', 1).toInt();
        fill(5);
        m_rows->SetDragMode(f[0].startsWith("swap") ? DragableRowsTable::SwapRows
                                                    : DragableRowsTable::MoveRows);
        m_rows->SetLastRowAcceptDrops(f[0].endsWith("yes"));
        QStringList reported;
        connect(m_rows, &DragableRowsTable::lineSwapped, this,
                [&](int a, int b) { reported << QString("swap %1 %2").arg(a).arg(b); });
        connect(m_rows, &DragableRowsTable::lindMoveTo, this,
                [&](int a, int b) { reported << QString("move %1 %2").arg(a).arg(b); });
        QTest::mouseClick(m_rows->viewport(), Qt::LeftButton, Qt::NoModifier, cellCenter(source));
        dropAt(cellCenter(target < 0 ? 4 : target, 2) + QPoint(0, target < 0 ? 60 : 0));
        QCOMPARE(rowTags(), f[2]);
        QCOMPARE(reported.join(','), f[3] == "none" ? QString() : f[0].left(4) + " " + f[3]);
    }

    // Any column sorts on a click, but only a sortable one shows the indicator: rows are shuffled before
    // each click; one letter per click for the indicator, then the rows.
    void headerClickSorts() {
        fill(4);
        DragableRowsTable::ColumnSet sortable{{"Name", 0}};
        m_rows->SetSortableColumns(&sortable);
        QHeaderView* header = m_rows->horizontalHeader();
        QString seen;
        for (int column : {2, 0, 2}) {
            m_rows->SwapRow(0, 3);
            QTest::mouseClick(header->viewport(), Qt::LeftButton, Qt::NoModifier,
                              QPoint(header->sectionViewportPosition(column) + 5, header->height() / 2));
            seen += QString(header->isSortIndicatorShown() ? "x " : "- ") + rowTags() + " ";
        }
        QCOMPARE(seen, QString("- r0 r1 r2 r3 x r0 r1 r2 r3 - r0 r1 r2 r3 "));
    }

    // The value cell: idle (plain) until clicked or focused, then framed blue until Return writes.
    // steps | idle afterwards | EditDone texts, "|" for the base class's returnPressed
    void valueEdit_data() {
        Row::Column();
        QTest::newRow("click") << "click | 0 | ";
        QTest::newRow("focus in") << "focus-in | 0 | ";
        QTest::newRow("click, leave") << "click type focus-out | 1 | ";
        QTest::newRow("click, type, Return") << "click type return | 1 | 7,|";
        QTest::newRow("keypad Enter") << "click type enter | 0 | |";
        QTest::newRow("Return, keep typing") << "click return type | 1 | ,|";
    }
    void valueEdit() {
        const QStringList f = Row::Fields();
        const bool idle = f[1] == "1";
        QStringList seen;
        connect(m_edit, &ValueLineEdit::EditDone, this, [&seen, this](ValueLineEdit* edit, QString value) {
            seen << (edit == m_edit ? value : "?");
        });
        // The owner sees the typed text before the line edit's own Return handling runs.
        connect(m_edit, &QLineEdit::returnPressed, this, [&seen] { seen << "|"; });
        QSignalSpy finished(m_edit, &QLineEdit::editingFinished);
        for (const QString& step : f[0].split(' ')) {
            if (step == "click")
                QTest::mouseClick(m_edit, Qt::LeftButton, Qt::NoModifier, QPoint(m_edit->width() - 3, 5));
            else if (step == "focus-in")
                m_edit->setFocus(Qt::TabFocusReason);
            else if (step == "focus-out")
                m_other->setFocus(Qt::MouseFocusReason);
            else if (step == "type")
                QTest::keyClicks(m_edit, "7");
            else
                QTest::keyClick(m_edit, step == "return" ? Qt::Key_Return : Qt::Key_Enter,
                                step == "enter" ? Qt::KeypadModifier : Qt::NoModifier);
        }
        QCOMPARE(m_edit->IsIdle(), idle);
        QCOMPARE(m_edit->styleSheet(), idle ? ValueLineEdit::IdleStyle() : ValueLineEdit::EditingStyle());
        QCOMPARE(seen.join(','), f[2].trimmed());
        QCOMPARE(finished.count(), seen.count("|")); // leaving the cell finishes nothing
    }

    void columnsAndRow() {
        QTableWidget* view = m_table->GetTableWidget();
        QCOMPARE(m_table->ColumnTitles().join(','),
                 QString("Color,Show,Name,Address,Type,Value,Y Resolutin,Y Offset,min,max,mean,p-p,moving "
                         "average,Lock"));
        for (int c = 0; c < view->columnCount(); ++c)
            QCOMPARE(view->isColumnHidden(c), m_table->ColumnTitles()[c] == "moving average");
        QCOMPARE(qobject_cast<QLabel*>(view->cellWidget(0, 0))->text(), QString("+")); // even when empty
        QVERIFY(LoadCatalogue(kMixed));
        SelectByName(*m_table, {"set_point"});
        QCOMPARE(texts(0, {"Name", "Address", "Type", "Value", "Y Resolutin", "Y Offset"}),
                 QString("set_point 20000010 float 0 1 0"));
        QVERIFY(!(view->item(0, m_table->Column("Name"))->flags() & Qt::ItemIsEditable));
        QVERIFY(row(0)->showChkBox->isChecked() && !row(0)->lockChkBox->isChecked());
    }

    // Selections confirmed one after the other (";" between them, "-" clears the table first): rows
    // follow the address, "+" stays last, and the chart is told only of a change.
    void selection_data() {
        Row::Column();
        // "alias" shares duty's address and comes later: it goes above; "0x2000001c" sorts as a number.
        QTest::newRow("duplicate address, 0x spelling")
            << "speed,set_point,duty,alias,flags | set_point alias duty speed flags | 1";
        QTest::newRow("nothing changed") << "speed,duty;speed,duty | duty speed | 1";
        QTest::newRow("one goes, two come") << "speed,duty;speed,set_point,flags | set_point speed flags | 2";
        QTest::newRow("cleared, then back") << "speed,duty;- | duty speed | 3";
        QTest::newRow("3 bytes never make a row") << "speed,odd;speed,odd | speed | 1";
    }
    void selection() {
        const QStringList f = Row::Fields();
        QVERIFY(LoadCatalogue(kMixed));
        QSignalSpy rebuilt(m_table, &VarTableWidget::SetChartShowItems);
        for (const QString& names : f[0].split(';')) {
            if (names == "-")
                m_table->ClearTable(); // then the table follows the selection as it stands
            names == "-" ? m_table->UpdateTableWithVariableList() : SelectByName(*m_table, names.split(','));
        }
        QCOMPARE(column(), f[1]);
        QCOMPARE(rebuilt.count(), f[2].toInt());
        QVERIFY(m_table->GetTableWidget()->cellWidget(f[1].count(' ') + 1, 0)->property("isAdd").toBool());
    }

    void curveLimit() {
        const QStringList all = LoadNumbered(18);
        QSignalSpy showChanges(m_table, &VarTableWidget::SendChartShowChanged);
        SelectByName(*m_table, all);
        QCOMPARE(ShowBoxes(*m_table), QString(16, 'x') + "--");
        row(3)->showChkBox->click(); // a freed slot opens every box
        QCOMPARE(ShowBoxes(*m_table), "xxxo" + QString(12, 'x') + "oo");
        row(17)->showChkBox->click(); // taking it again closes the unticked ones
        QCOMPARE(ShowBoxes(*m_table), "xxx-" + QString(12, 'x') + "-x");
        QCOMPARE(showChanges.count(), 2);
        SelectByName(*m_table, all.mid(4)); // dropping shown rows frees their slots
        QCOMPARE(ShowBoxes(*m_table), QString(12, 'x') + "ox");
    }

    // Typed into a scaling cell of "speed" (offset 33, resolution 2.5) | sampling stopped | the text kept |
    // the change emitted as address, offset, resolution; curves drawn are rescaled only when stopped.
    void scaling_data() {
        Row::Column();
        QTest::newRow("offset negative") << "Y Offset | -300 | 1 | -300 | 536870936,-300,2.5";
        QTest::newRow("offset leading zeros") << "Y Offset | 007 | 1 | 0 | 536870936,0,2.5";
        QTest::newRow("offset while sampling") << "Y Offset | 25 | 0 | 25 | 536870936,25,2.5";
        QTest::newRow("resolution integer") << "Y Resolutin | 250 | 1 | 250 | 536870936,33,250";
        QTest::newRow("resolution half") << "Y Resolutin | 0.5 | 1 | 0.5 | 536870936,33,0.5";
        QTest::newRow("resolution 12.5") << "Y Resolutin | 12.5 | 1 | 12.5 | 536870936,33,12.5";
        QTest::newRow("resolution .5") << "Y Resolutin | .5 | 1 | 1 | 536870936,33,1";
        QTest::newRow("resolution exponent") << "Y Resolutin | 1e3 | 0 | 1 | 536870936,33,1";
    }
    void scaling() {
        const QStringList f = Row::Fields();
        QVERIFY(LoadCatalogue(kMixed));
        SelectByName(*m_table, {"speed", "set_point"});
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
        m_table->UpdateAllYResolutionAndOffset();
        QCOMPARE(changes.mid(1), (QStringList{"536870928,0,1", f[4]}));
    }

    void colours() {
        const QStringList all = LoadNumbered(20);
        const QList<QColor> palette = CommonCfg::Palette();
        SelectByName(*m_table, all.mid(0, 3));
        SelectByName(*m_table, {"v1", "v2", "v3"}); // a freed colour is the first unused one again
        QCOMPARE(Swatch(row(2)), palette.at(0).rgb());
        SelectByName(*m_table, all); // past the palette the colours come round again
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

    // The row menu, right-clicked: "Delete" drops the variable (the "+" row is none), the insert entries
    // only tell the owner, below the rows no menu opens. The "+" row keeps no scaling and is closed while
    // sampling; a locked row takes no value.
    void rowMenuPlusRowAndLock() {
        QVERIFY(LoadCatalogue(kMixed));
        SelectByName(*m_table, {"speed", "set_point", "duty"});
        DragableRowsTable* view = m_table->GetTableWidget();
        view->InstallInsertMenu();
        view->InstallDeleteMenu(); // installing again adds no second entry
        view->show();
        QVERIFY(QTest::qWaitForWindowExposed(view));
        QSignalSpy removed(m_table, &VarTableWidget::RemoveItem);
        QSignalSpy series(m_table, &VarTableWidget::RemoveSeriesById);
        QStringList inserts;
        connect(view, &DragableRowsTable::insertLine, this,
                [&inserts](int r) { inserts << QString::number(r); });
        for (const char* step :
             {"1 Delete", "2 Delete", "0 Insert a line above", "0 Insert a row below", "-1"}) {
            const int r = QString(step).section(' ', 0, 0).toInt();
            const QPoint at = r < 0 ? QPoint(5, view->viewport()->height() - 5)
                                    : view->visualRect(view->model()->index(r, 2)).center();
            QTest::mouseClick(view->windowHandle(), Qt::RightButton, {}, view->viewport()->mapTo(view, at));
            QTRY_COMPARE(view->RowMenu()->isVisible(), r >= 0);
            view->RowMenu()->hide();
            for (QAction* action : view->RowMenu()->actions())
                if (action->text() == QString(step).section(' ', 1))
                    action->trigger();
        }
        QCOMPARE(inserts, (QStringList{"0", "1"}));
        QCOMPARE(removed.first().at(0).value<VarParser::VarDes>().name + QString::number(removed.count()),
                 QString("duty1"));
        QCOMPARE(series.first(), QVariantList{1});
        QCOMPARE(column(), QString("set_point speed"));
        view->setItem(2, m_table->Column("Y Offset"), new QTableWidgetItem("5"));
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

    // The value cell shows the newest sample by its own type, unscaled, while the curve is scaled; a
    // changed value red, a held one black; min and max follow the curve; a cell being edited is left
    // alone until it is idle again; after a drag the values follow their rows.
    void liveValues() {
        QVERIFY(LoadCatalogue("a.c=f:20000000:float, i:20000004:int, e:20000008:int"));
        SelectByName(*m_table, {"f", "i", "e"});
        watchList().scale[1] = 0.1f; // a resolution of 0.1 for "i"
        const auto colour = [this](int r) {
            return row(r)->valueEdit->palette().color(QPalette::Text).name();
        };
        const auto bits = [](float f) {
            uint32_t b;
            std::memcpy(&b, &f, 4);
            return uint64_t(b);
        };
        Feed({{bits(1.0f), 9, 7}, {bits(3.14159265f), 6524443, 7}});
        QCOMPARE(texts(0, {"Value"}) + " " + texts(1, {"Value"}), QString("3.1415927 6524443"));
        QCOMPARE(m_source->Points().at(1).last().y(), 6524443 * double(0.1f));
        QCOMPARE(colour(0), QString("#ff0000"));
        row(2)->valueEdit->SetIdle(false); // being edited, as a click leaves it
        row(2)->valueEdit->setText("77");
        Feed({{bits(0.000012345f), 6524443, 8}});
        QCOMPARE(column("Value"), QString("1.2345e-05 6524443 77"));
        QCOMPARE(colour(0) + colour(1), QString("#ff0000#000000"));
        row(2)->valueEdit->SetIdle(true); // leaving the cell hands it back to the refresh
        // Items re-made, widgets moved; the records keep their order.
        m_table->GetTableWidget()->SwapRow(0, 2);
        Feed({{bits(5.0f), 5, 9}, {bits(-42.0f), 5, 8}});
        QCOMPARE(row(0)->valueEdit->text(), QString("-42"));
        // The statistics columns take their texts row by row, whatever the rows' order.
        m_table->ShowStatistics({{"1", "2", "1.5", "1"}, {}, {"-3", "4", "0.5", "7"}});
        QCOMPARE(texts(0, {"min", "max", "mean", "p-p"}) + " " + texts(2, {"min", "p-p"}),
                 QString("1 2 1.5 1 -3 7"));
        QSignalSpy change(m_table, &VarTableWidget::ChangeYResolutionAndOffset);
        m_table->GetTableWidget()->item(0, m_table->Column("Y Offset"))->setText("12");
        QCOMPARE(change.first().at(0).toUInt(), 0x20000008u);
    }

    // A variable's sample from its bytes as they come off the wire to the CSV text, the value cell's text
    // (the same) and the chart's point. Type text, encoding key (empty: an older catalogue without it),
    // size, the bytes little-endian in hex.
    void valueTypes_data() {
        for (const char* column : {"type", "encoding", "size", "bytes", "text", "point"})
            column == QString("size")    ? QTest::addColumn<int>(column)
            : column == QString("point") ? QTest::addColumn<double>(column)
                                         : QTest::addColumn<QString>(column);
        const auto row = [](const char* name, QString type, QString encoding, int size, QString bytes,
                            QString text, double point) {
            QTest::newRow(name) << type << encoding << size << bytes << text << point;
        };
        row("char is unsigned", "char", "unsigned", 1, "ff", "255", 255);
        row("signed char lowest", "signed char", "signed", 1, "80", "-128", -128);
        row("short lowest", "short", "", 2, "0080", "-32768", -32768);
        row("unsigned short", "unsigned short", "unsigned", 2, "feff", "65534", 65534);
        row("int lowest", "int", "signed", 4, "00000080", "-2147483648", -2147483648.0);
        row("unsigned int top", "unsigned int", "unsigned", 4, "ffffffff", "4294967295", 4294967295.0);
        row("counter of 7 digits", "uint32_t", "", 4, "1b8e6300", "6524443", 6524443);
        row("enum of unsigned values", "enum flags", "unsigned", 1, "80", "128", 128);
        row("unknown type, case matters", "Int", "", 4, "ffffffff", "4294967295", 4294967295.0);
        row("int64 lowest", "long long", "signed", 8, "0000000000000080", "-9223372036854775808", -0x1p63);
        row("int64_t by name", "int64_t", "", 8, "00f2052a01000000", "5000000000", 5e9);
        row("above 2^53: every digit", "uint64_t", "", 8, "0100000000002000", "9007199254740993", 0x1p53);
        row("uint64 top", "unsigned long long", "unsigned", 8, "ffffffffffffffff", "18446744073709551615",
            0x1p64);
        row("float, shortest text", "float", "float", 4, "db0f4940", "3.1415927", double(3.1415927f));
        row("float lowest", "float", "float", 4, "ffff7fff", "-3.4028235e+38", -double(FLT_MAX));
        row("float infinity", "float", "float", 4, "0000807f", "inf", qInf());
        row("double", "double", "float", 8, "9a9999999999b93f", "0.1", 0.1);
        row("double lowest", "double", "float", 8, "ffffffffffffefff", "-1.7976931348623157e+308", -DBL_MAX);
    }
    void valueTypes() {
        QFETCH(QString, type);
        QFETCH(QString, encoding);
        QFETCH(int, size);
        QFETCH(QString, bytes);
        QFETCH(QString, text);
        QFETCH(double, point);
        QVERIFY(LoadCatalogue(QString("a.c=v:20000000:%1:global:%2:%3").arg(type).arg(size).arg(encoding)));
        SelectByName(*m_table, {"v"});
        const QByteArray raw = QByteArray::fromHex(bytes.toLatin1());
        QCOMPARE(raw.size(), size);
        Feed({{slotFromBytes(reinterpret_cast<const uint8_t*>(raw.constData()), size)}});
        SampleFrame frame{};
        FrameQueue::instance().newest(frame);
        std::string line;
        CsvWriter::formatFrame(frame, {watchList().typeCode[0]}, line);
        QCOMPARE(QString::fromStdString(line), "0," + text + "\n");
        QCOMPARE(row(0)->valueEdit->text(), text);
        QVERIFY(row(0)->valueEdit->minimumWidth() > row(0)->valueEdit->fontMetrics().horizontalAdvance(text));
        QCOMPARE(m_source->Points().at(0).at(0).y(), point);
    }

    // What the value cell takes of a variable's type ("v", at 0x20000000), as a write takes it, and what
    // the status bar says on Return (no server runs: an accepted value fails to go out).
    void valueCell_data() {
        for (const char* column : {"type", "size", "text", "state", "said"})
            column == QString("size") || column == QString("state") ? QTest::addColumn<int>(column)
                                                                    : QTest::addColumn<QString>(column);
        const auto row = [](const char* name, QString type, int size, QString text, int state, QString said) {
            QTest::newRow(name) << type << size << text << state << said;
        };
        const int ok = QValidator::Acceptable, typing = QValidator::Intermediate, no = QValidator::Invalid;
        const QString failed = "Writing v = %1 failed (error -1)", refused = "v = %1 is not written: %2 (%3)";
        row("short lowest", "short", 2, "-32768", ok, failed.arg(-32768));
        row("short beyond", "short", 2, "40000", typing,
            refused.arg(40000).arg("outside the range -32768 to 32767", "short"));
        row("short decimals", "short", 2, "7.5", no, refused.arg("7.5", "not a whole number", "short"));
        row("char 255", "char", 1, "255", ok, failed.arg(255));
        row("char hex begun", "char", 1, "0x", typing, refused.arg("0x", "not a number", "char"));
        row("float exponent begun", "float", 4, "-1e", typing, refused.arg("-1e", "not a number", "float"));
        row("double letters", "double", 8, "x", no, refused.arg("x", "not a number", "double"));
    }
    void valueCell() {
        QFETCH(QString, type);
        QFETCH(int, size);
        QFETCH(QString, text);
        QFETCH(int, state);
        QFETCH(QString, said);
        QVERIFY(LoadCatalogue(QString("a.c=v:20000000:%1:global:%2").arg(type).arg(size)));
        SelectByName(*m_table, {"v"});
        QString typed = text;
        int pos = 0;
        QCOMPARE(int(row(0)->valueEdit->validator()->validate(typed, pos)), state);
        QSignalSpy failed(m_table, &VarTableWidget::WriteFailed);
        m_table->ValueLineEdited(row(0)->valueEdit, text);
        QCOMPARE(failed.value(0).value(0).toString(), said);
    }

    // Address texts are 32-bit hexadecimal, "0x" or not (above 32 bits: the sampling tests); a sampling
    // start refuses anything else before connecting, naming the variable.
    void addressTexts() {
        std::FILE* console = std::tmpfile();
        setConsoleStream(console);
        VarParser::VarDes ok, bad;
        ok.address = "0xffffffff";
        ok.size = 4;
        bad.name = "far_away";
        bad.address = "zz";
        QCOMPARE(startSampling({ok, bad}), -1);
        setConsoleStream(stdout);
        std::rewind(console);
        QFile said;
        QVERIFY(said.open(console, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle));
        QVERIFY(said.readAll().contains("'far_away'"));
    }
};

QTEST_MAIN(TableTest)
#include "tst_table.moc"
