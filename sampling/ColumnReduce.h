#pragma once

#include <QPointF>
#include <QVector>

// What a curve needs to look the same on screen with far fewer points: of each run of points in one
// pixel column, the first, the lowest, the highest and the last. The line through them covers the
// column from its lowest to its highest point and joins the neighbour columns where the full curve
// does.
namespace ColumnReduce {

// Columns are `columnWidth` wide in X, counted from `origin`; points keep their order and values.
// A width that is not positive gives the points unchanged.
QVector<QPointF> Reduce(const QVector<QPointF>& points, double origin, double columnWidth);

} // namespace ColumnReduce
