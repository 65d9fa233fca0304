#include "DragableRowsTable.h"

#include <QAction>
#include <QCursor>
#include <QDropEvent>
#include <QHeaderView>
#include <QMenu>

DragableRowsTable::DragableRowsTable(QWidget* parent) : QTableWidget(parent) {
    setDragDropMode(QAbstractItemView::InternalMove);
    setDropIndicatorShown(true);
    connect(this, &QWidget::customContextMenuRequested, this, &DragableRowsTable::clickRithtMenu);
}

void DragableRowsTable::SetSortableColumns(ColumnSet* columns) {
    m_sortableColumns = columns;
    QHeaderView* header = horizontalHeader();
    disconnect(header, &QHeaderView::sectionClicked, this, nullptr); // handing in a new hash re-wires
    connect(header, &QHeaderView::sectionClicked, this, &DragableRowsTable::slotHeaderClicked);
    // Every column sorts on a click; the hash only decides whether the indicator shows.
    connect(header, &QHeaderView::sectionClicked, this,
            [this](int column) { sortByColumn(column, horizontalHeader()->sortIndicatorOrder()); });
}

void DragableRowsTable::EnsureRowMenu() {
    if (m_rowMenu != nullptr)
        return;
    m_rowMenu = new QMenu(this);
    connect(m_rowMenu, &QMenu::triggered, this, &DragableRowsTable::choiceAction);
}

void DragableRowsTable::InstallDeleteMenu() {
    EnsureRowMenu();
    setContextMenuPolicy(Qt::CustomContextMenu);
    if (m_deleteAction == nullptr) {
        m_deleteAction = new QAction(tr("Delete"), this);
        m_rowMenu->addAction(m_deleteAction);
    }
}

void DragableRowsTable::InstallInsertMenu() {
    EnsureRowMenu();
    setContextMenuPolicy(Qt::CustomContextMenu);
    if (m_insertAboveAction == nullptr) {
        m_insertAboveAction = new QAction(tr("Insert a line above"), this);
        m_insertBelowAction = new QAction(tr("Insert a row below"), this);
        m_rowMenu->addAction(m_insertAboveAction);
        m_rowMenu->addAction(m_insertBelowAction);
    }
}

void DragableRowsTable::dropEvent(QDropEvent* event) {
    // The event stays ignored: were it accepted as a move, the drag source would go on to remove
    // the rows it believes it moved.
    event->ignore();
    stopAutoScroll();
    setState(NoState);
    viewport()->update();

    const int source = currentRow();
    if (source < 0 || source + 1 == rowCount())
        return; // nothing picked, or the last row, which never moves

    int target = indexAt(event->pos()).row();
    if (target == -1 || (!m_lastRowAcceptDrops && target == rowCount() - 1))
        target = rowCount() - m_trailingRows;

    if (m_dragMode == SwapRows) {
        if (target != source)
            SwapRow(source, target);
        emit lineSwapped(source, target);
    } else {
        if (target != source) {
            MoveRow(source, target);
            emit lindMoveTo(source, target);
        }
    }
}

void DragableRowsTable::MoveRow(int rowSrc, int rowDst) {
    int removeAt = rowSrc;
    int insertAt = rowDst;
    if (rowDst < rowCount()) {
        // Inserting above the source pushes it down one; removing the source above the target
        // pulls the target up one.
        removeAt = rowDst < rowSrc ? rowSrc + 1 : rowSrc;
        insertAt = removeAt < rowDst ? rowDst + 1 : rowDst;
    }

    insertRow(insertAt);
    for (int column = 0; column < columnCount(); ++column) {
        if (QTableWidgetItem* cell = item(removeAt, column))
            setItem(insertAt, column, cell->clone());
        // Re-homing the widget before the old row goes keeps the view from deleting it.
        if (QWidget* widget = cellWidget(removeAt, column))
            setCellWidget(insertAt, column, widget);
    }
    removeRow(removeAt);
    selectRow(insertAt);
    viewport()->update();
}

void DragableRowsTable::SwapRow(int rowA, int rowB) {
    MoveRow(rowA, rowB);
    // The move pushed one row a step towards rowA's old place; bring it back there.
    const int pushed = rowA < rowB ? rowB - 1 : rowB + 1;
    if (pushed != rowA)
        MoveRow(pushed, rowA);
    selectRow(rowB);
}

void DragableRowsTable::clickRithtMenu(QPoint pos) {
    const QModelIndex index = indexAt(pos);
    m_menuRow = index.row();
    if (m_rowMenu != nullptr && index.isValid() && index.row() >= 0 && index.column() >= 0)
        m_rowMenu->popup(QCursor::pos());
}

void DragableRowsTable::choiceAction(QAction* action) {
    const QString text = action->text();
    if (text == tr("Delete"))
        emit removeLine(m_menuRow);
    else if (text == tr("Insert a line above"))
        emit insertLine(m_menuRow);
    else
        emit insertLine(m_menuRow + 1);
}

void DragableRowsTable::slotHeaderClicked(int index) {
    const QString title = model()->headerData(index, Qt::Horizontal).toString();
    const bool sortable = m_sortableColumns != nullptr && m_sortableColumns->contains(title);
    horizontalHeader()->setSortIndicatorShown(sortable);
}
