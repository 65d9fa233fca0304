#pragma once

#include <QPointF>
#include <QVector>

// What a curve needs to look the same on screen with far fewer points: of each run of points in one
// pixel column, the lowest and the highest, in time order. The line through them covers the column from
// its lowest to its highest point, and the line on to the next column's first extreme crosses the same
// pixels as the curve's own step there, give or take where the two columns meet. Two points a column
// instead of four (first, lowest, highest, last) halve what the software rasterizer draws. The very first
// and last points are kept as well: the curve ends at the newest sample.
namespace ColumnReduce {

// Columns are `columnWidth` wide in X, counted from `origin`; points keep their order and values.
// A width that is not positive gives the points unchanged.
QVector<QPointF> Reduce(const QVector<QPointF>& points, double origin, double columnWidth);

// The same for n points kept as separate arrays of X and Y, in two steps. Runs gives the runs of points in
// one column: the index of each run's first point, then n. Series sampled at the same times share them, so
// the columns are found once for all.
QVector<int> Runs(const double* x, int n, double origin, double columnWidth);
QVector<QPointF> ReduceRuns(const double* x, const double* y, int n, const QVector<int>& runs);

// The most points Reduce leaves over `columns` columns: two a column, a part column at either edge and the
// span's ends. Fewer points than this are not worth reducing.
double MostKept(double columns);

} // namespace ColumnReduce
