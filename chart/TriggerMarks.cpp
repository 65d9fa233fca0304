#include "TriggerMarks.h"

#include <QEvent>
#include <QPainter>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>

using namespace QtCharts;

TriggerMarks::TriggerMarks(QChartView* view) : QWidget(view->viewport()), m_view(view) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    view->viewport()->installEventFilter(this);
    setGeometry(view->viewport()->rect());
    hide();
}

void TriggerMarks::Show(double level, const QColor& colour, bool hasPoint, double time) {
    m_shown = true;
    m_level = level;
    m_colour = colour;
    m_hasPoint = hasPoint;
    m_time = time;
    raise();
    show();
    update();
}

void TriggerMarks::Hide() {
    m_shown = false;
    hide();
}

bool TriggerMarks::eventFilter(QObject* watched, QEvent* event) {
    // Follows the viewport's size; the owner calls Show() again as the curves move.
    if (event->type() == QEvent::Resize)
        setGeometry(m_view->viewport()->rect());
    return QWidget::eventFilter(watched, event);
}

void TriggerMarks::paintEvent(QPaintEvent*) {
    QChart* chart = m_view->chart();
    // The curves' axes: the first series with a vertical axis (the cursor line has none).
    QAbstractSeries* series = nullptr;
    for (QAbstractSeries* s : chart != nullptr ? chart->series() : QList<QAbstractSeries*>())
        if (series == nullptr && !s->attachedAxes().isEmpty() && s->attachedAxes().size() == 2)
            series = s;
    if (!m_shown || series == nullptr)
        return;
    const QRectF plot = chart->plotArea();
    const QPointF at =
        m_view->mapFromScene(chart->mapToScene(chart->mapToPosition(QPointF(m_time, m_level), series)));
    const QRectF area(m_view->mapFromScene(chart->mapToScene(plot.topLeft())),
                      m_view->mapFromScene(chart->mapToScene(plot.bottomRight())));
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing, false);
    if (at.y() >= area.top() && at.y() <= area.bottom()) {
        painter.setPen(QPen(m_colour, 1, Qt::DashLine));
        painter.drawLine(QPointF(area.left(), at.y()), QPointF(area.right(), at.y()));
    }
    if (m_hasPoint && at.x() >= area.left() && at.x() <= area.right()) {
        // A downward triangle on the plot's top edge, filled in the source's colour.
        QPolygonF marker;
        marker << QPointF(at.x() - 6, area.top()) << QPointF(at.x() + 6, area.top())
               << QPointF(at.x(), area.top() + 10);
        painter.setPen(m_colour);
        painter.setBrush(m_colour);
        painter.drawPolygon(marker);
    }
}
