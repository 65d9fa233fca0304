#include "RowBinding.h"

#include "WatchList.h"

namespace RowBinding {

QVector<int> Bind(const QVector<RowKey>& rows, const WatchList& watch) {
    const int count = watch.count < kMaxVars ? watch.count : kMaxVars;
    QVector<bool> taken(count);
    QVector<int> slotOf(rows.size(), -1);
    for (int r = 0; r < rows.size(); ++r) {
        const RowKey& row = rows[r];
        for (int s = 0; s < count; ++s) {
            if (taken[s] || watch.address[s] != row.address || watch.typeCode[s] != row.typeCode ||
                watch.name[s] != row.name)
                continue;
            taken[s] = true;
            slotOf[r] = s;
            break;
        }
    }
    return slotOf;
}

QVector<int> Identity(int count) {
    QVector<int> slotOf(count);
    for (int i = 0; i < count; ++i)
        slotOf[i] = i;
    return slotOf;
}

} // namespace RowBinding
