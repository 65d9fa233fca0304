#include "ColumnReduce.h"

#include <algorithm>
#include <cmath>

namespace ColumnReduce {

namespace {

// The column runs of n points whose X is x(i).
template <class X> QVector<int> RunsOf(int n, X x, double origin, double columnWidth) {
    QVector<int> runs;
    double column = 0;
    for (int i = 0; i < n; ++i) {
        const double next = std::floor((x(i) - origin) / columnWidth);
        if (i == 0 || next != column)
            runs.append(i);
        column = next;
    }
    runs.append(n);
    return runs;
}

// Of each run of n points with Y y(i), the lowest and highest in time order, and the span's ends: the
// points point(i) of those.
template <class Y, class P> QVector<QPointF> ReduceRunsOf(int n, const QVector<int>& runs, Y y, P point) {
    QVector<QPointF> out;
    out.reserve(std::min(n, 2 * static_cast<int>(runs.size()) + 2));
    for (int r = 0; r + 1 < runs.size(); ++r) {
        const int first = runs[r];
        const int last = runs[r + 1] - 1;
        int low = first;
        int high = first;
        double lowY = y(first);
        double highY = lowY;
        for (int i = first + 1; i <= last; ++i) {
            const double v = y(i);
            if (v < lowY) {
                low = i;
                lowY = v;
            }
            if (v > highY) {
                high = i;
                highY = v;
            }
        }
        // In time order, each kept point once; the span's first and last points too, so that the curve
        // and the X range it gives start and end where the data does.
        const int kept[4] = {first == 0 ? 0 : std::min(low, high), std::min(low, high), std::max(low, high),
                             last == n - 1 ? last : std::max(low, high)};
        int previous = -1;
        for (const int index : kept) {
            if (index > previous)
                out.append(point(index));
            previous = std::max(previous, index);
        }
    }
    return out;
}

} // namespace

QVector<QPointF> Reduce(const QVector<QPointF>& points, double origin, double columnWidth) {
    if (!(columnWidth > 0) || points.size() <= 2)
        return points;
    const QPointF* p = points.constData();
    const int n = points.size();
    const QVector<int> runs = RunsOf(
        n, [p](int i) { return p[i].x(); }, origin, columnWidth);
    return ReduceRunsOf(
        n, runs, [p](int i) { return p[i].y(); }, [p](int i) { return p[i]; });
}

QVector<int> Runs(const double* x, int n, double origin, double columnWidth) {
    return RunsOf(
        n, [x](int i) { return x[i]; }, origin, columnWidth);
}

QVector<QPointF> ReduceRuns(const double* x, const double* y, int n, const QVector<int>& runs) {
    if (runs.isEmpty() || runs.last() != n)
        return {};
    return ReduceRunsOf(
        n, runs, [y](int i) { return y[i]; }, [x, y](int i) { return QPointF(x[i], y[i]); });
}

double MostKept(double columns) {
    return 2 * (std::ceil(columns) + 2);
}

} // namespace ColumnReduce
