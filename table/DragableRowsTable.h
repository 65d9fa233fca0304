#pragma once

#include <QHash>
#include <QPoint>
#include <QString>
#include <QTableWidget>

class QAction;
class QDropEvent;
class QMenu;

// A table whose rows the user drags to a new place (swapping or moving them) and that offers a
// right-click row menu. It knows nothing of what the rows mean: it reports row operations by
// signals and lets its owner decide. Items and cell widgets both travel with a dragged row.
class DragableRowsTable : public QTableWidget {
    Q_OBJECT
public:
    // Titles of the columns whose header click shows a sort indicator; only the keys count.
    using ColumnSet = QHash<QString, int>;

    enum DragMode { SwapRows = 0, MoveRows = 1 };

    explicit DragableRowsTable(QWidget* parent = nullptr);

    // The owner keeps the hash alive as long as the table.
    void SetSortableColumns(ColumnSet* columns);
    void InstallDeleteMenu();
    void InstallInsertMenu();
    void SetDragMode(int mode) { m_dragMode = mode; }
    int GetDragMode() const { return m_dragMode; }
    void SetLastRowAcceptDrops(bool accept) { m_lastRowAcceptDrops = accept; }
    bool LastRowAcceptDrops() const { return m_lastRowAcceptDrops; }

    QMenu* RowMenu() const { return m_rowMenu; }
    int MenuRow() const { return m_menuRow; }

    void SwapRow(int rowA, int rowB);
    void MoveRow(int rowSrc, int rowDst);

signals:
    void lineSwapped(int rowSrc, int rowDst);
    void lindMoveTo(int rowSrc, int rowDst);
    void insertLine(int row);
    void removeLine(int row);

public slots:
    void slotHeaderClicked(int index);
    void clickRithtMenu(QPoint pos);
    void choiceAction(QAction* action);

protected:
    void dropEvent(QDropEvent* event) override;

private:
    void EnsureRowMenu();

    int m_dragMode = SwapRows;
    ColumnSet* m_sortableColumns = nullptr;
    QMenu* m_rowMenu = nullptr;
    QAction* m_deleteAction = nullptr;
    QAction* m_insertAboveAction = nullptr;
    QAction* m_insertBelowAction = nullptr;
    int m_menuRow = -1;
    bool m_lastRowAcceptDrops = true;
    // Rows kept below a drop that lands where it must not (the last data row sits above them).
    int m_trailingRows = 2;
};
