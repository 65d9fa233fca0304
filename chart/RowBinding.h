#pragma once

#include <QString>
#include <QVector>
#include <cstdint>

struct WatchList;

// A table row as the display side sees it: the variable it shows, and whether its curve is shown.
struct RowKey {
    QString name;
    uint32_t address = 0;
    int32_t typeCode = 0;
    bool shown = true;
};

// Which slot of the sampling session's watch list each table row shows. The session keeps the
// variables it started with, in its own order; rows are deleted, dragged and sorted at any time, so
// each row finds its own variable again instead of taking the slot at its position.
namespace RowBinding {

// The slot of each row: the first slot with the row's name, address and type code that no earlier
// row took; -1 for a row whose variable the session does not sample (added after its start).
QVector<int> Bind(const QVector<RowKey>& rows, const WatchList& watch);
// Slot i for row i: rows that are the session's variables as they are.
QVector<int> Identity(int count);

// Per-slot entries arranged per row; a row without a slot (or beyond the entries) gets an empty one.
template <typename T> QVector<T> ByRow(const QVector<T>& bySlot, const QVector<int>& slotOf) {
    QVector<T> rows(slotOf.size());
    for (int r = 0; r < slotOf.size(); ++r)
        if (slotOf[r] >= 0 && slotOf[r] < bySlot.size())
            rows[r] = bySlot[slotOf[r]];
    return rows;
}

} // namespace RowBinding
