#include "PlotGrid.h"

#include <algorithm>
#include <cmath>

namespace PlotGrid {

int LineAt(double from, double length, int divisions, int index) {
    // Where the chart puts its own lines, on the pixel an aliased one-pixel line there covers.
    return static_cast<int>(std::floor(from + length * index / divisions));
}

QImage Make(QSize size, const QRectF& plot, int columns, int rows, const QColor& line,
            const QColor& background) {
    if (size.isEmpty())
        return QImage();
    QImage image(size, QImage::Format_RGB32);
    image.fill(background);
    if (plot.isEmpty())
        return image;
    const QRect inside = image.rect();
    const int top = std::max(inside.top(), static_cast<int>(std::floor(plot.top())));
    const int bottom = std::min(inside.bottom(), static_cast<int>(std::floor(plot.bottom())));
    const int left = std::max(inside.left(), static_cast<int>(std::floor(plot.left())));
    const int right = std::min(inside.right(), static_cast<int>(std::floor(plot.right())));
    const QRgb rgb = line.rgb();
    for (int i = 0; columns > 0 && i <= columns; ++i) {
        const int x = LineAt(plot.left(), plot.width(), columns, i);
        for (int y = top; x >= inside.left() && x <= inside.right() && y <= bottom; ++y)
            image.setPixel(x, y, rgb);
    }
    for (int i = 0; rows > 0 && i <= rows; ++i) {
        const int y = LineAt(plot.top(), plot.height(), rows, i);
        for (int x = left; y >= inside.top() && y <= inside.bottom() && x <= right; ++x)
            image.setPixel(x, y, rgb);
    }
    return image;
}

} // namespace PlotGrid
