#pragma once

#include <QColor>
#include <QImage>
#include <QRect>
#include <QRectF>

// The chart's grid as one picture under the curves. Drawn as line items, each grid line is stroked pixel
// by pixel against the clip of whatever else changed (the title, the time labels) at every batch; a
// picture fills only those parts, at the cost of a copy.
namespace PlotGrid {

// The pixels the grid of `plot` covers: from those of its left and top lines to those of its right and
// bottom ones.
QRect Cover(const QRectF& plot);

// A picture of Cover(plot) in `background`, with grid lines of `line` colour: `columns` equal divisions
// across and `rows` down, the outer lines on the plot's edges. Empty for an empty plot.
QImage Make(const QRectF& plot, int columns, int rows, const QColor& line, const QColor& background);

// The pixel column (or row) of grid line `index` of `divisions` over [from, from + length].
int LineAt(double from, double length, int divisions, int index);

} // namespace PlotGrid
