#include "VarChartView.h"

#include "CommonCfg.h"
#include "TimeBase.h"

#include <QGraphicsLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QResizeEvent>
#include <QWheelEvent>
#include <QtCharts/QValueAxis>
#include <cmath>

using QtCharts::QChart;
using QtCharts::QValueAxis;

VarChartView::VarChartView(QChart* chart, QWidget* parent) : QChartView(chart, parent) {
    const int index = TimeBase::IndexOfValue(20000);
    zoomIndex = index < 0 ? 0 : index;
    // The window's and the chart's backgrounds are painted here, so that they can leave out what an
    // opaque item covers (see drawBackground). Every pixel is painted: the widgets behind need not be.
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    chart->setBackgroundVisible(false);
}

void VarChartView::SetOpaqueArea(const QRect& area) {
    opaqueArea = area;
}

void VarChartView::drawBackground(QPainter* painter, const QRectF& rect) {
    // Whenever anything else in the window changes, the plot under the curves' OpenGL layer is painted
    // again in full, at every batch; under the plot's opaque picture, filling both backgrounds first
    // would only be overwritten.
    const QRegion exposed = QRegion(rect.toAlignedRect()) - opaqueArea;
    if (exposed.isEmpty())
        return;
    painter->save();
    painter->setClipRegion(exposed, Qt::IntersectClip);
    painter->fillRect(rect, viewport()->palette().brush(viewport()->backgroundRole()));
    // The chart's background as the chart paints it: inside its layout's margins, with rounded corners.
    QChart* c = chart();
    qreal left = 0;
    qreal top = 0;
    qreal right = 0;
    qreal bottom = 0;
    if (c->layout() != nullptr)
        c->layout()->getContentsMargins(&left, &top, &right, &bottom);
    painter->setPen(c->backgroundPen());
    painter->setBrush(c->backgroundBrush());
    painter->drawRoundedRect(c->geometry().adjusted(left, top, -right, -bottom), c->backgroundRoundness(),
                             c->backgroundRoundness());
    painter->restore();
}

QPointF VarChartView::ValueAt(const QPointF& viewPos) const {
    QChart* c = chart();
    return c->mapToValue(c->mapFromScene(mapToScene(viewPos.toPoint())));
}

void VarChartView::SetZoomIndex(int index) {
    const QVector<int>& steps = TimeBase::Values();
    if (index == zoomIndex || index < 0 || index >= steps.size())
        return;
    const double oldStep = zoomIndex >= 0 && zoomIndex < steps.size() ? steps[zoomIndex] : steps[index];
    zoomIndex = index;
    emit ZoomChanged(index);
    ZoomAboutMouse(oldStep / steps[index]);
}

void VarChartView::ZoomAboutMouse(double factor) {
    auto* axis = qobject_cast<QValueAxis*>(chart()->axes(Qt::Horizontal).value(0));
    if (axis == nullptr)
        return;
    const double x0 = ValueAt(QPointF(mouseX, mouseY)).x();
    if (!std::isfinite(x0) || !(factor > 0))
        return; // a chart not laid out yet has no values under the mouse
    const double min = axis->min();
    const double max = axis->max();
    const double d = (x0 - min) / factor;
    // The left edge never goes below the start of the recording.
    const double left = x0 <= d ? 0.0 : x0 - d;
    const double right = x0 + (max - x0) / factor;
    axis->setRange(left, right);
    emit AxisXRangedChanged(static_cast<qint64>(left), static_cast<qint64>(right));
}

void VarChartView::resizeEvent(QResizeEvent* event) {
    emit WidthChanged(event->size().width());
    QChartView::resizeEvent(event);
}

void VarChartView::mouseMoveEvent(QMouseEvent* event) {
    emit MouseAxisXChanged(event);
    QChartView::mouseMoveEvent(event);
}

void VarChartView::leaveEvent(QEvent*) {
    emit MouseLeave();
}

void VarChartView::wheelEvent(QWheelEvent* event) {
    if (event == nullptr || CommonCfg::WheelLock())
        return;
    const int delta = event->angleDelta().y();
    int index = zoomIndex;
    if (delta > 0 && zoomIndex > 0)
        --index; // finer time base
    else if (delta < 0 && zoomIndex < TimeBase::Values().size() - 1)
        ++index; // coarser
    mouseX = qRound(event->position().x());
    mouseY = qRound(event->position().y());
    SetZoomIndex(index);
}
