#include "VarChartView.h"

#include "CommonCfg.h"
#include "TimeBase.h"

#include <QMouseEvent>
#include <QResizeEvent>
#include <QWheelEvent>
#include <QtCharts/QValueAxis>
#include <cmath>

using QtCharts::QChart;
using QtCharts::QValueAxis;

VarChartView::VarChartView(QChart* chart, QWidget* parent) : QChartView(chart, parent) {
    const int index = TimeBase::IndexOfValue(20000);
    zoomIndex = index < 0 ? 0 : index;
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
