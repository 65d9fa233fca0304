#include "ColumnReduce.h"

#include <algorithm>
#include <cmath>

namespace ColumnReduce {

QVector<QPointF> Reduce(const QVector<QPointF>& points, double origin, double columnWidth) {
    if (!(columnWidth > 0) || points.size() <= 2)
        return points;
    QVector<QPointF> out;
    out.reserve(points.size());
    const int n = points.size();
    int first = 0;
    while (first < n) {
        const double column = std::floor((points[first].x() - origin) / columnWidth);
        int low = first;
        int high = first;
        int last = first;
        while (last + 1 < n && std::floor((points[last + 1].x() - origin) / columnWidth) == column) {
            ++last;
            if (points[last].y() < points[low].y())
                low = last;
            if (points[last].y() > points[high].y())
                high = last;
        }
        // In time order, each kept point once; the span's first and last points too, so that the curve
        // and the X range it gives start and end where the data does.
        const int kept[4] = {first == 0 ? 0 : std::min(low, high), std::min(low, high), std::max(low, high),
                             last == n - 1 ? last : std::max(low, high)};
        int previous = -1;
        for (const int index : kept) {
            if (index > previous)
                out.append(points[index]);
            previous = std::max(previous, index);
        }
        first = last + 1;
    }
    return out;
}

double MostKept(double columns) {
    return 2 * (std::ceil(columns) + 2);
}

} // namespace ColumnReduce
