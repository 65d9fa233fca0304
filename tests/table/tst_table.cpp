// The table widgets: rows dragged by swap or move, the row menu, header sorting, the value cell's
// editing states, and the table's dock window.
#include "DragableRowsTable.h"
#include "Row.h"
#include "TableDockWidget.h"
#include "ValueLineEdit.h"

#include <QAbstractButton>
#include <QApplication>
#include <QHeaderView>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QMimeData>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

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

QStringList tags(std::initializer_list<int> rows) {
    QStringList list;
    for (int r : rows)
        list << QString("r%1").arg(r);
    return list;
}

const QString kIdle = "border-width:0;border-style:outset";
const QString kEditing = "border-style:outset;border-width:2px;border-color:blue";

} // namespace

// Rows carry the same tag in their item, cell widget and third item: after a drag the three must
// still agree, which proves they travelled together.
class TableTest : public QObject {
    Q_OBJECT
    QWidget* m_window = nullptr;
    DragableRowsTable* m_table = nullptr;
    ValueLineEdit* m_edit = nullptr;
    QLineEdit* m_other = nullptr;

    void fill(int rows) {
        m_table->setRowCount(rows);
        for (int r = 0; r < rows; ++r) {
            m_table->setItem(r, 0, new QTableWidgetItem(QString("r%1").arg(r)));
            m_table->setCellWidget(r, 1, new QLabel(QString("r%1").arg(r)));
            m_table->setItem(r, 2, new QTableWidgetItem(QString("r%1t").arg(r)));
        }
    }
    // One entry per row: the tag, or "item/widget/type" when the cells no longer agree.
    QStringList rowTags() const {
        QStringList tags;
        for (int r = 0; r < m_table->rowCount(); ++r) {
            const QString a = m_table->item(r, 0)->text();
            const QString b = qobject_cast<QLabel*>(m_table->cellWidget(r, 1))->text();
            const QString c = m_table->item(r, 2)->text();
            tags << ((b == a && c == a + "t") ? a : a + "/" + b + "/" + c);
        }
        return tags;
    }
    QPoint cellCenter(int row, int column = 0) const {
        return m_table->visualRect(m_table->model()->index(row, column)).center();
    }
    // The drop a drag of the selected row would deliver, with the view's own drag payload.
    void dropAt(QPoint at) {
        std::unique_ptr<QMimeData> mime(
            m_table->model()->mimeData(m_table->selectionModel()->selectedIndexes()));
        EnterAccepter accepter;
        m_table->viewport()->installEventFilter(&accepter);
        QDragEnterEvent enter(at, Qt::MoveAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(m_table->viewport(), &enter);
        m_table->viewport()->removeEventFilter(&accepter);
        QDropEvent drop(QPointF(at), Qt::MoveAction, mime.get(), Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(m_table->viewport(), &drop);
        QVERIFY(!drop.isAccepted()); // an accepted move would make the drag source remove rows
    }
    // A real right press through the window, so the context menu event is synthesized by Qt.
    void rightClickAt(QPoint at) {
        QTest::mouseClick(m_window->windowHandle(), Qt::RightButton, Qt::NoModifier,
                          m_table->viewport()->mapTo(m_window, at));
    }

private slots:
    void init() {
        m_window = new QWidget;
        auto* layout = new QVBoxLayout(m_window);
        m_table = new DragableRowsTable;
        m_table->setColumnCount(3);
        m_table->setHorizontalHeaderLabels({"Name", "Widget", "Type"});
        m_table->setDragEnabled(true);
        m_edit = new ValueLineEdit;
        m_other = new QLineEdit;
        layout->addWidget(m_table);
        layout->addWidget(m_edit);
        layout->addWidget(m_other);
        m_other->setFocus();
        m_window->resize(400, 500); // room for empty space below the rows
        m_window->show();
        QApplication::setActiveWindow(m_window);
        QVERIFY(QTest::qWaitForWindowActive(m_window));
        QTRY_VERIFY(m_other->hasFocus());
    }
    void cleanup() { delete m_window; }

    // mode, last row accepts | dragged row, row dropped on (-1: empty space below) | rows afterwards |
    // source and target the one signal reports ("none": no signal)
    void drop_data() {
        Row::Column();
        QTest::newRow("swap down keeps row 2") << "swap yes | 1 3 | r0 r3 r2 r1 r4 | 1 3";
        QTest::newRow("swap neighbours up") << "swap yes | 2 1 | r0 r2 r1 r3 r4 | 2 1";
        QTest::newRow("swap first with last") << "swap yes | 0 4 | r4 r1 r2 r3 r0 | 0 4";
        QTest::newRow("swap onto itself, still told") << "swap yes | 2 2 | r0 r1 r2 r3 r4 | 2 2";
        QTest::newRow("swap, last row refuses") << "swap no | 1 4 | r0 r3 r2 r1 r4 | 1 3";
        QTest::newRow("swap below the rows") << "swap yes | 1 -1 | r0 r3 r2 r1 r4 | 1 3";
        QTest::newRow("move down shifts up") << "move yes | 1 3 | r0 r2 r3 r1 r4 | 1 3";
        QTest::newRow("move up shifts down") << "move yes | 3 1 | r0 r3 r1 r2 r4 | 3 1";
        QTest::newRow("move onto the last row goes below it") << "move yes | 0 4 | r1 r2 r3 r4 r0 | 0 4";
        QTest::newRow("move below the rows") << "move yes | 1 -1 | r0 r2 r3 r1 r4 | 1 3";
        QTest::newRow("the last row is not dragged") << "swap yes | 4 0 | r0 r1 r2 r3 r4 | none";
        QTest::newRow("nor moved") << "move yes | 4 0 | r0 r1 r2 r3 r4 | none";
    }
    void drop() {
        const QStringList f = Row::Fields();
        const int source = f[1].section(' ', 0, 0).toInt(), target = f[1].section(' ', 1).toInt();
        fill(5);
        m_table->SetDragMode(f[0].startsWith("swap") ? DragableRowsTable::SwapRows
                                                     : DragableRowsTable::MoveRows);
        m_table->SetLastRowAcceptDrops(f[0].endsWith("yes"));
        QStringList reported;
        connect(m_table, &DragableRowsTable::lineSwapped, this,
                [&](int a, int b) { reported << QString("swap %1 %2").arg(a).arg(b); });
        connect(m_table, &DragableRowsTable::lindMoveTo, this,
                [&](int a, int b) { reported << QString("move %1 %2").arg(a).arg(b); });
        QTest::mouseClick(m_table->viewport(), Qt::LeftButton, Qt::NoModifier, cellCenter(source));
        const QRect last = m_table->visualRect(m_table->model()->index(4, 2));
        dropAt(target < 0 ? QPoint(last.center().x(), last.bottom() + 40) : cellCenter(target, 2));
        QCOMPARE(rowTags().join(' '), f[2]);
        QCOMPARE(reported.join(','), f[3] == "none" ? QString() : f[0].left(4) + " " + f[3]);
    }

    // The same widget objects sit in their new cells; the view must not have deleted or recreated them.
    void swapKeepsWidgetsAlive() {
        fill(4);
        QPointer<QWidget> first = m_table->cellWidget(0, 1);
        m_table->SwapRow(0, 2);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!first.isNull());
        QCOMPARE(m_table->cellWidget(2, 1), first.data());
        QTRY_COMPARE(first->geometry(), m_table->visualRect(m_table->model()->index(2, 1)));
    }

    // row right-clicked (-1: below the rows) | menu entry chosen | signal and row it gives
    void rowMenu_data() {
        Row::Column();
        QTest::newRow("delete") << "2 | Delete | removeLine 2";
        QTest::newRow("insert above") << "2 | Insert a line above | insertLine 2";
        QTest::newRow("insert below") << "2 | Insert a row below | insertLine 3";
        QTest::newRow("outside the cells") << "-1 |  | ";
    }
    void rowMenu() {
        const QStringList f = Row::Fields();
        const int row = f[0].toInt();
        fill(4);
        rightClickAt(cellCenter(0));
        QCOMPARE(m_table->RowMenu(), nullptr); // no menu installed: nothing happens
        m_table->InstallDeleteMenu();
        m_table->InstallInsertMenu();
        m_table->InstallDeleteMenu(); // installing again adds no second entry
        QMenu* menu = m_table->RowMenu();
        QStringList texts;
        for (QAction* a : menu->actions())
            texts << a->text();
        QCOMPARE(texts, (QStringList{"Delete", "Insert a line above", "Insert a row below"}));
        QStringList seen;
        connect(m_table, &DragableRowsTable::removeLine, this,
                [&seen](int r) { seen << QString("removeLine %1").arg(r); });
        connect(m_table, &DragableRowsTable::insertLine, this,
                [&seen](int r) { seen << QString("insertLine %1").arg(r); });
        rightClickAt(row < 0 ? QPoint(cellCenter(0).x(), m_table->viewport()->height() - 5)
                             : cellCenter(row, 1));
        QCOMPARE(m_table->MenuRow(), row);
        QTRY_COMPARE(menu->isVisible(), row >= 0);
        if (row >= 0)
            menu->actions().at(texts.indexOf(f[1]))->trigger();
        menu->hide();
        QCOMPARE(seen.join(","), f[2]);
        QCOMPARE(m_table->rowCount(), 4); // the table leaves the row change to its owner
    }

    void headerClickSorts_data() {
        Row::Column(); // column clicked | sort indicator shown afterwards
        QTest::newRow("sortable column") << "0 | 1";
        QTest::newRow("other column sorts too") << "2 | 0";
    }
    void headerClickSorts() {
        const QStringList f = Row::Fields();
        const int column = f[0].toInt();
        const bool indicator = f[1] == "1";
        fill(4);
        m_table->SwapRow(0, 3);
        m_table->SwapRow(1, 2);
        DragableRowsTable::ColumnSet sortable{{"Name", 0}};
        m_table->SetSortableColumns(&sortable);
        QHeaderView* header = m_table->horizontalHeader();
        header->setSortIndicatorShown(!indicator);
        QTest::mouseClick(header->viewport(), Qt::LeftButton, Qt::NoModifier,
                          QPoint(header->sectionViewportPosition(column) + 5, header->height() / 2));
        QCOMPARE(header->isSortIndicatorShown(), indicator);
        QCOMPARE(rowTags(), tags({0, 1, 2, 3}));
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
        QTest::newRow("Escape") << "click type escape | 0 | ";
        QTest::newRow("Return, keep typing") << "click return type | 1 | ,|";
        QTest::newRow("Return, click again") << "click return click | 0 | ,|";
        QTest::newRow("focus in, Return twice") << "focus-in return return | 1 | ,|,,|";
    }
    void valueEdit() {
        const QStringList f = Row::Fields();
        const bool idle = f[1] == "1";
        QStringList seen;
        connect(m_edit, &ValueLineEdit::EditDone, this, [&seen, this](ValueLineEdit* edit, QString value) {
            QCOMPARE(edit, m_edit);
            seen << value;
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
                QTest::keyClick(m_edit,
                                step == "return"  ? Qt::Key_Return
                                : step == "enter" ? Qt::Key_Enter
                                                  : Qt::Key_Escape,
                                step == "enter" ? Qt::KeypadModifier : Qt::NoModifier);
        }
        QCOMPARE(m_edit->IsIdle(), idle);
        QCOMPARE(m_edit->styleSheet(), idle ? kIdle : kEditing);
        QCOMPARE(seen.join(','), f[2].trimmed());
        QCOMPARE(finished.count(), seen.count("|")); // leaving the cell finishes nothing
    }

    void dockCloses_data() {
        QTest::addColumn<bool>("floating");
        QTest::addColumn<QString>("how");
        QTest::newRow("docked, close button") << false << "button";
        QTest::newRow("docked, close()") << false << "close()";
        QTest::newRow("floating, window closed") << true << "window";
    }
    void dockCloses() {
        QFETCH(bool, floating);
        QFETCH(QString, how);
        QMainWindow window;
        auto* dock = new TableDockWidget(" Table ", &window);
        window.addDockWidget(Qt::BottomDockWidgetArea, dock);
        dock->setFloating(floating);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QTRY_VERIFY(dock->isVisible());
        QSignalSpy closed(dock, &TableDockWidget::Closed);
        if (how == "button")
            QTest::mouseClick(dock->findChild<QAbstractButton*>("qt_dockwidget_closebutton"), Qt::LeftButton);
        else if (how == "window")
            QVERIFY(dock->windowHandle()->close()); // as the window system's close does
        else
            QVERIFY(dock->close());
        QCOMPARE(closed.count(), 1);
        QVERIFY(!dock->isVisible());
        QVERIFY(window.isVisible());
    }
};

QTEST_MAIN(TableTest)
#include "tst_table.moc"
