#pragma once

#include <QtCharts/QChartView>

class QEvent;
class QMouseEvent;
class QResizeEvent;
class QWheelEvent;

// The view of the curve chart: the mouse wheel steps through the time base and zooms the time axis
// about the point under the mouse; mouse movement, leave and width changes are reported as signals. It
// paints the chart's background itself.
class VarChartView : public QtCharts::QChartView {
    Q_OBJECT
public:
    explicit VarChartView(QtCharts::QChart* chart, QWidget* parent = nullptr);

    int ZoomIndex() const { return zoomIndex; }
    // Moves to time-base step `index`, zooming the time axis about the last wheel position.
    void SetZoomIndex(int index);
    QPoint MousePosition() const { return QPoint(mouseX, mouseY); }
    // Chart values at a position of this view.
    QPointF ValueAt(const QPointF& viewPos) const;
    // The part of the scene that an opaque item covers (the plot's grid picture): the view paints the
    // window's and the chart's backgrounds everywhere else.
    void SetOpaqueArea(const QRect& area);

signals:
    void ZoomChanged(int index);
    // Declared for the main window's scroll control; this class does not emit it.
    void XScrollChanged(bool enable);
    void WidthChanged(int width);
    void AxisXRangedChanged(qint64 left, qint64 right);
    void MouseAxisXChanged(QMouseEvent* event);
    void MouseLeave();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void drawBackground(QPainter* painter, const QRectF& rect) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    void ZoomAboutMouse(double factor);

    int zoomIndex;
    QRect opaqueArea;
    int mouseX = 0;
    int mouseY = 0;
};
