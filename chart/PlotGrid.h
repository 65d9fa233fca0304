#pragma once

#include <QColor>
#include <QImage>
#include <QRectF>
#include <QSize>

// The chart's grid as one picture, painted as the chart's background. Drawn as line items, each grid line
// is stroked pixel by pixel against the clip of whatever else changed (the title, the time labels) at
// every batch; a picture fills only those parts, at the cost of a copy.
namespace PlotGrid {

// A picture of `size` in `background`, with grid lines of `line` colour over `plot`: `columns` equal
// divisions across and `rows` down, the outer lines on the plot's edges. Empty for an empty size.
QImage Make(QSize size, const QRectF& plot, int columns, int rows, const QColor& line,
            const QColor& background);

// The pixel column (or row) of grid line `index` of `divisions` over [from, from + length].
int LineAt(double from, double length, int divisions, int index);

} // namespace PlotGrid
