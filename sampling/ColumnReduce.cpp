#include "ColumnReduce.h"

#include <algorithm>
#include <cmath>

namespace ColumnReduce {

QVector<QPointF> Reduce(const QVector<QPointF>& points, double origin, double columnWidth) {
    if (!(columnWidth > 0) || points.size() <= 2)
        return points;
    return ReduceRuns(points, Runs(points, origin, columnWidth));
}

QVector<int> Runs(const QVector<QPointF>& points, double origin, double columnWidth) {
    QVector<int> runs;
    const int n = points.size();
    double column = 0;
    for (int i = 0; i < n; ++i) {
        const double next = std::floor((points[i].x() - origin) / columnWidth);
        if (i == 0 || next != column)
            runs.append(i);
        column = next;
    }
    runs.append(n);
    return runs;
}

QVector<QPointF> ReduceRuns(const QVector<QPointF>& points, const QVector<int>& runs) {
    QVector<QPointF> out;
    const int n = points.size();
    if (runs.isEmpty() || runs.last() != n)
        return points;
    out.reserve(std::min(n, 2 * static_cast<int>(runs.size()) + 2));
    const QPointF* p = points.constData();
    for (int r = 0; r + 1 < runs.size(); ++r) {
        const int first = runs[r];
        const int last = runs[r + 1] - 1;
        int low = first;
        int high = first;
        for (int i = first + 1; i <= last; ++i) {
            if (p[i].y() < p[low].y())
                low = i;
            if (p[i].y() > p[high].y())
                high = i;
        }
        // In time order, each kept point once; the span's first and last points too, so that the curve
        // and the X range it gives start and end where the data does.
        const int kept[4] = {first == 0 ? 0 : std::min(low, high), std::min(low, high), std::max(low, high),
                             last == n - 1 ? last : std::max(low, high)};
        int previous = -1;
        for (const int index : kept) {
            if (index > previous)
                out.append(p[index]);
            previous = std::max(previous, index);
        }
    }
    return out;
}

double MostKept(double columns) {
    return 2 * (std::ceil(columns) + 2);
}

} // namespace ColumnReduce
