#include "DragableRowsTable.h"

#include <QAction>
#include <QApplication>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>

// Rows are built so that each row's item and cell widget carry the same tag: after a drag the
// pairs must still match, which proves both travelled together.
class TestDragableRowsTable : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();

    void swapByDrop_data();
    void swapByDrop();
    void moveByDrop_data();
    void moveByDrop();
    void dropBelowRows_data();
    void dropBelowRows();
    void dropOnLastRow_data();
    void dropOnLastRow();
    void dragLastRow_data();
    void dragLastRow();
    void swapKeepsWidgetsAlive();

    void menuChoice_data();
    void menuChoice();
    void rightClickOutsideCells();
    void rightClickWithoutMenuInstalled();

    void headerClick_data();
    void headerClick();

private:
    void fill(int rows);
    QStringList rowTags() const;
    QPoint cellCenter(int row, int column = 0) const;
    void pickRow(int row);
    void dropAt(QPoint viewportPos);
    void rightClickAt(QPoint viewportPos);

    DragableRowsTable* m_table = nullptr;
};

void TestDragableRowsTable::init() {
    m_table = new DragableRowsTable;
    m_table->setColumnCount(3);
    m_table->setHorizontalHeaderLabels({"Name", "Widget", "Type"});
    m_table->setDragEnabled(true);
    m_table->resize(400, 400); // room for empty space below the rows
    m_table->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_table));
}

void TestDragableRowsTable::cleanup() {
    delete m_table;
    m_table = nullptr;
}

void TestDragableRowsTable::fill(int rows) {
    m_table->setRowCount(rows);
    for (int r = 0; r < rows; ++r) {
        const QString tag = QString("r%1").arg(r);
        m_table->setItem(r, 0, new QTableWidgetItem(tag));
        m_table->setCellWidget(r, 1, new QLabel(tag));
        m_table->setItem(r, 2, new QTableWidgetItem(tag + "t"));
    }
}

// One entry per row: the item's tag, or "item/widget/type" when the cells no longer agree.
QStringList TestDragableRowsTable::rowTags() const {
    QStringList tags;
    for (int r = 0; r < m_table->rowCount(); ++r) {
        const QTableWidgetItem* name = m_table->item(r, 0);
        const QTableWidgetItem* type = m_table->item(r, 2);
        const auto* label = qobject_cast<QLabel*>(m_table->cellWidget(r, 1));
        const QString a = name ? name->text() : "-";
        const QString b = label ? label->text() : "-";
        const QString c = type ? type->text() : "-";
        tags << ((b == a && c == a + "t") ? a : a + "/" + b + "/" + c);
    }
    return tags;
}

QPoint TestDragableRowsTable::cellCenter(int row, int column) const {
    return m_table->visualRect(m_table->model()->index(row, column)).center();
}

void TestDragableRowsTable::pickRow(int row) {
    QTest::mouseClick(m_table->viewport(), Qt::LeftButton, Qt::NoModifier, cellCenter(row));
    QCOMPARE(m_table->currentRow(), row);
}

namespace {
// Outside a running QDrag the view turns down every drag entering it (it only takes its own rows),
// and the application then delivers no drop at all. This filter accepts the entry in its place, so
// that the drop itself travels the application's ordinary path to the view.
class EnterAccepter : public QObject {
public:
    using QObject::QObject;
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() != QEvent::DragEnter)
            return false;
        event->accept();
        return true;
    }
};
} // namespace

// The drop a drag of the selected row would deliver, with the view's own drag payload.
void TestDragableRowsTable::dropAt(QPoint viewportPos) {
    QMimeData* mime = m_table->model()->mimeData(m_table->selectionModel()->selectedIndexes());
    QVERIFY(mime != nullptr);
    EnterAccepter accepter;
    m_table->viewport()->installEventFilter(&accepter);
    QDragEnterEvent enter(viewportPos, Qt::MoveAction, mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(m_table->viewport(), &enter);
    m_table->viewport()->removeEventFilter(&accepter);
    QVERIFY(enter.isAccepted());

    QDropEvent drop(QPointF(viewportPos), Qt::MoveAction, mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(m_table->viewport(), &drop);
    QVERIFY(!drop.isAccepted()); // an accepted move would make the drag source remove rows
    delete mime;
}

// A real right press through the window, so the context menu event is synthesized by Qt.
void TestDragableRowsTable::rightClickAt(QPoint viewportPos) {
    const QPoint inWindow = m_table->viewport()->mapTo(m_table->window(), viewportPos);
    QTest::mouseClick(m_table->window()->windowHandle(), Qt::RightButton, Qt::NoModifier, inWindow);
}

static QStringList tags(std::initializer_list<int> rows) {
    QStringList list;
    for (int r : rows)
        list << QString("r%1").arg(r);
    return list;
}

void TestDragableRowsTable::swapByDrop_data() {
    QTest::addColumn<int>("source");
    QTest::addColumn<int>("target");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("down 1 to 3 keeps row 2") << 1 << 3 << tags({0, 3, 2, 1, 4});
    QTest::newRow("up 3 to 1 keeps row 2") << 3 << 1 << tags({0, 3, 2, 1, 4});
    QTest::newRow("neighbours down") << 1 << 2 << tags({0, 2, 1, 3, 4});
    QTest::newRow("neighbours up") << 2 << 1 << tags({0, 2, 1, 3, 4});
    QTest::newRow("first with last") << 0 << 4 << tags({4, 1, 2, 3, 0});
    QTest::newRow("onto itself") << 2 << 2 << tags({0, 1, 2, 3, 4});
}

void TestDragableRowsTable::swapByDrop() {
    QFETCH(int, source);
    QFETCH(int, target);
    QFETCH(QStringList, expected);
    fill(5);
    QSignalSpy swapped(m_table, &DragableRowsTable::lineSwapped);
    QSignalSpy moved(m_table, &DragableRowsTable::lindMoveTo);

    pickRow(source);
    dropAt(cellCenter(target, 2));

    QCOMPARE(rowTags(), expected);
    QCOMPARE(swapped.count(), 1); // reported even when the row fell on itself
    QCOMPARE(swapped.at(0), (QVariantList{source, target}));
    QCOMPARE(moved.count(), 0);
    QCOMPARE(m_table->currentRow(), target);
}

void TestDragableRowsTable::moveByDrop_data() {
    QTest::addColumn<int>("source");
    QTest::addColumn<int>("target");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("down 1 to 3 shifts row 2 up") << 1 << 3 << tags({0, 2, 3, 1, 4});
    QTest::newRow("up 3 to 1 shifts rows down") << 3 << 1 << tags({0, 3, 1, 2, 4});
    QTest::newRow("first to neighbour") << 0 << 1 << tags({1, 0, 2, 3, 4});
    QTest::newRow("onto the last row goes below it") << 0 << 4 << tags({1, 2, 3, 4, 0});
}

void TestDragableRowsTable::moveByDrop() {
    QFETCH(int, source);
    QFETCH(int, target);
    QFETCH(QStringList, expected);
    fill(5);
    m_table->SetDragMode(DragableRowsTable::MoveRows);
    QSignalSpy swapped(m_table, &DragableRowsTable::lineSwapped);
    QSignalSpy moved(m_table, &DragableRowsTable::lindMoveTo);

    pickRow(source);
    dropAt(cellCenter(target));

    QCOMPARE(rowTags(), expected);
    QCOMPARE(moved.count(), 1);
    QCOMPARE(moved.at(0), (QVariantList{source, target}));
    QCOMPARE(swapped.count(), 0);
}

void TestDragableRowsTable::dropBelowRows_data() {
    QTest::addColumn<int>("mode");
    QTest::addColumn<QStringList>("expected");
    // Below the rows means the last row but one, so the last row stays last.
    QTest::newRow("swap") << int(DragableRowsTable::SwapRows) << tags({0, 3, 2, 1, 4});
    QTest::newRow("move") << int(DragableRowsTable::MoveRows) << tags({0, 2, 3, 1, 4});
}

void TestDragableRowsTable::dropBelowRows() {
    QFETCH(int, mode);
    QFETCH(QStringList, expected);
    fill(5);
    m_table->SetDragMode(mode);
    QSignalSpy swapped(m_table, &DragableRowsTable::lineSwapped);
    QSignalSpy moved(m_table, &DragableRowsTable::lindMoveTo);

    pickRow(1);
    const QPoint below(cellCenter(4).x(), m_table->visualRect(m_table->model()->index(4, 0)).bottom() + 40);
    QVERIFY(below.y() < m_table->viewport()->height());
    QCOMPARE(m_table->indexAt(below).row(), -1);
    dropAt(below);

    QCOMPARE(rowTags(), expected);
    QSignalSpy& reported = mode == DragableRowsTable::SwapRows ? swapped : moved;
    QCOMPARE(swapped.count() + moved.count(), 1);
    QCOMPARE(reported.at(0), (QVariantList{1, 3}));
}

void TestDragableRowsTable::dropOnLastRow_data() {
    QTest::addColumn<bool>("lastAccepts");
    QTest::addColumn<int>("reportedTarget");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("last row refuses") << false << 3 << tags({0, 3, 2, 1, 4});
    QTest::newRow("last row accepts") << true << 4 << tags({0, 4, 2, 3, 1});
}

void TestDragableRowsTable::dropOnLastRow() {
    QFETCH(bool, lastAccepts);
    QFETCH(int, reportedTarget);
    QFETCH(QStringList, expected);
    fill(5);
    m_table->SetLastRowAcceptDrops(lastAccepts);
    QSignalSpy swapped(m_table, &DragableRowsTable::lineSwapped);

    pickRow(1);
    dropAt(cellCenter(4));

    QCOMPARE(rowTags(), expected);
    QCOMPARE(swapped.count(), 1);
    QCOMPARE(swapped.at(0), (QVariantList{1, reportedTarget}));
}

void TestDragableRowsTable::dragLastRow_data() {
    QTest::addColumn<int>("mode");
    QTest::newRow("swap") << int(DragableRowsTable::SwapRows);
    QTest::newRow("move") << int(DragableRowsTable::MoveRows);
}

void TestDragableRowsTable::dragLastRow() {
    QFETCH(int, mode);
    fill(4);
    m_table->SetDragMode(mode);
    QSignalSpy swapped(m_table, &DragableRowsTable::lineSwapped);
    QSignalSpy moved(m_table, &DragableRowsTable::lindMoveTo);

    pickRow(3);
    dropAt(cellCenter(0));

    QCOMPARE(rowTags(), tags({0, 1, 2, 3}));
    QCOMPARE(swapped.count(), 0);
    QCOMPARE(moved.count(), 0);
}

// The same widget objects sit in their new cells; the view must not have deleted or recreated them.
void TestDragableRowsTable::swapKeepsWidgetsAlive() {
    fill(4);
    QPointer<QWidget> first = m_table->cellWidget(0, 1);
    QPointer<QWidget> third = m_table->cellWidget(2, 1);

    m_table->SwapRow(0, 2);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

    QVERIFY(!first.isNull());
    QVERIFY(!third.isNull());
    QCOMPARE(m_table->cellWidget(2, 1), first.data());
    QCOMPARE(m_table->cellWidget(0, 1), third.data());
    QCOMPARE(first->parentWidget(), m_table->viewport());
    QTRY_COMPARE(first->geometry(), m_table->visualRect(m_table->model()->index(2, 1)));
}

void TestDragableRowsTable::menuChoice_data() {
    QTest::addColumn<QString>("actionText");
    QTest::addColumn<QString>("signal");
    QTest::addColumn<int>("row");
    QTest::newRow("delete") << "Delete"
                            << "removeLine" << 2;
    QTest::newRow("insert above") << "Insert a line above"
                                  << "insertLine" << 2;
    QTest::newRow("insert below") << "Insert a row below"
                                  << "insertLine" << 3;
}

void TestDragableRowsTable::menuChoice() {
    QFETCH(QString, actionText);
    QFETCH(QString, signal);
    QFETCH(int, row);
    fill(4);
    m_table->InstallDeleteMenu();
    m_table->InstallInsertMenu();
    m_table->InstallDeleteMenu(); // installing again adds no second entry
    QCOMPARE(m_table->contextMenuPolicy(), Qt::CustomContextMenu);
    QMenu* menu = m_table->RowMenu();
    QVERIFY(menu != nullptr);
    QStringList texts;
    for (QAction* a : menu->actions())
        texts << a->text();
    QCOMPARE(texts, (QStringList{"Delete", "Insert a line above", "Insert a row below"}));

    QSignalSpy removed(m_table, &DragableRowsTable::removeLine);
    QSignalSpy inserted(m_table, &DragableRowsTable::insertLine);
    rightClickAt(cellCenter(2, 1));
    QCOMPARE(m_table->MenuRow(), 2);
    QTRY_VERIFY(menu->isVisible());

    QAction* action = menu->actions().at(texts.indexOf(actionText));
    action->trigger(); // reaches choiceAction through the menu's triggered signal
    menu->hide();

    QSignalSpy& fired = signal == "removeLine" ? removed : inserted;
    QCOMPARE(removed.count() + inserted.count(), 1);
    QCOMPARE(fired.at(0).at(0).toInt(), row);
    QCOMPARE(m_table->rowCount(), 4); // the table leaves the row change to its owner
}

void TestDragableRowsTable::rightClickOutsideCells() {
    fill(2);
    m_table->InstallDeleteMenu();
    QMenu* menu = m_table->RowMenu();
    QSignalSpy requested(m_table, &QWidget::customContextMenuRequested);

    rightClickAt(cellCenter(0));
    QCOMPARE(requested.count(), 1);
    QCOMPARE(m_table->MenuRow(), 0);
    QTRY_VERIFY(menu->isVisible());
    menu->hide();

    const QPoint below(cellCenter(1).x(), m_table->viewport()->height() - 5);
    QCOMPARE(m_table->indexAt(below).row(), -1);
    rightClickAt(below);
    QCOMPARE(requested.count(), 2);
    QCOMPARE(m_table->MenuRow(), -1);
    QVERIFY(!menu->isVisible());
}

void TestDragableRowsTable::rightClickWithoutMenuInstalled() {
    fill(2);
    QSignalSpy requested(m_table, &QWidget::customContextMenuRequested);
    rightClickAt(cellCenter(0));
    QCOMPARE(requested.count(), 0);
    QCOMPARE(m_table->RowMenu(), nullptr);
}

void TestDragableRowsTable::headerClick_data() {
    QTest::addColumn<int>("column");
    QTest::addColumn<bool>("indicator");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("sortable column") << 0 << true << tags({0, 1, 2, 3});
    QTest::newRow("other column sorts too") << 2 << false << tags({0, 1, 2, 3});
}

void TestDragableRowsTable::headerClick() {
    QFETCH(int, column);
    QFETCH(bool, indicator);
    QFETCH(QStringList, expected);
    fill(4);
    // Shuffle the rows so that only a sort brings them back in order.
    m_table->SwapRow(0, 3);
    m_table->SwapRow(1, 2);
    QCOMPARE(rowTags(), tags({3, 2, 1, 0}));
    DragableRowsTable::ColumnSet sortable{{"Name", 0}};
    m_table->SetSortableColumns(&sortable);
    m_table->horizontalHeader()->setSortIndicatorShown(!indicator);

    QHeaderView* header = m_table->horizontalHeader();
    const QPoint at(header->sectionViewportPosition(column) + header->sectionSize(column) / 2,
                    header->height() / 2);
    QTest::mouseClick(header->viewport(), Qt::LeftButton, Qt::NoModifier, at);

    QCOMPARE(header->isSortIndicatorShown(), indicator);
    QCOMPARE(rowTags(), expected);
}

QTEST_MAIN(TestDragableRowsTable)
#include "tst_dragablerowstable.moc"
