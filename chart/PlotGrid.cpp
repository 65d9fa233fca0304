#include "PlotGrid.h"

#include <cmath>

namespace PlotGrid {

int LineAt(double from, double length, int divisions, int index) {
    // Where the chart puts its own lines, on the pixel an aliased one-pixel line there covers.
    return static_cast<int>(std::floor(from + length * index / divisions));
}

QRect Cover(const QRectF& plot) {
    const int left = LineAt(plot.left(), plot.width(), 1, 0);
    const int top = LineAt(plot.top(), plot.height(), 1, 0);
    return QRect(QPoint(left, top),
                 QPoint(LineAt(plot.left(), plot.width(), 1, 1), LineAt(plot.top(), plot.height(), 1, 1)));
}

QImage Make(const QRectF& plot, int columns, int rows, const QColor& line, const QColor& background) {
    if (plot.isEmpty())
        return QImage();
    const QRect cover = Cover(plot);
    QImage image(cover.size(), QImage::Format_RGB32);
    image.fill(background);
    const QRgb rgb = line.rgb();
    for (int i = 0; columns > 0 && i <= columns; ++i) {
        const int x = LineAt(plot.left(), plot.width(), columns, i) - cover.left();
        for (int y = 0; y < image.height(); ++y)
            image.setPixel(x, y, rgb);
    }
    for (int i = 0; rows > 0 && i <= rows; ++i) {
        const int y = LineAt(plot.top(), plot.height(), rows, i) - cover.top();
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, rgb);
    }
    return image;
}

} // namespace PlotGrid
