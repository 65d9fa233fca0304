#include "CursorPair.h"

#include "CursorReadout.h"

#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QValueAxis>
#include <cmath>

using namespace QtCharts;

namespace {
QValueAxis* TimeAxis(QChart* chart) {
    const QList<QAbstractAxis*> axes = chart->axes(Qt::Horizontal);
    return axes.isEmpty() ? nullptr : qobject_cast<QValueAxis*>(axes.first());
}
} // namespace

CursorPair::CursorPair(QChartView* view, ValuesAt valuesAt)
    : QWidget(view->viewport()), m_view(view), m_valuesAt(std::move(valuesAt)) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
    setGeometry(view->viewport()->rect());
    m_readout = new QLabel(view->viewport());
    m_readout->setAccessibleName(tr("Cursor readout"));
    m_readout->setStyleSheet("QLabel{background:rgba(40,40,40,200);color:white;padding:3px}");
    m_readout->hide();
    view->viewport()->installEventFilter(this);
    view->installEventFilter(this);
    view->setFocusPolicy(Qt::StrongFocus);
    if (view->accessibleName().isEmpty())
        view->setAccessibleName(tr("Chart"));
    show();
}

qint64 CursorPair::TimeAt(double viewX) const {
    QChart* chart = m_view->chart();
    return qRound64(chart->mapToValue(chart->mapFromScene(m_view->mapToScene(QPoint(int(viewX), 0)))).x());
}

double CursorPair::ViewX(qint64 time) const {
    QValueAxis* axis = TimeAxis(m_view->chart());
    const QRectF plot = m_view->chart()->plotArea();
    if (axis == nullptr || axis->max() <= axis->min())
        return -1;
    const double sceneX =
        plot.left() + (double(time) - axis->min()) / (axis->max() - axis->min()) * plot.width();
    return m_view->mapFromScene(m_view->chart()->mapToScene(QPointF(sceneX, plot.top()))).x();
}

void CursorPair::Place(bool b, qint64 time) {
    (b ? m_b : m_a) = time;
    (b ? m_hasB : m_hasA) = true;
    m_activeB = b;
    Refresh();
    emit Changed();
}

void CursorPair::Clear() {
    m_hasA = m_hasB = false;
    Refresh();
    emit Changed();
}

QString CursorPair::ReadoutText() const {
    if (!m_hasA)
        return QString();
    QStringList names;
    QVector<double> atA, atB;
    m_valuesAt(m_a, names, atA);
    if (m_hasB)
        m_valuesAt(m_b, names, atB);
    return CursorReadout::Text(m_a, m_hasB, m_b, names, atA, atB);
}

void CursorPair::Refresh() {
    setGeometry(m_view->viewport()->rect());
    m_readout->setText(ReadoutText());
    m_readout->adjustSize();
    const QRectF plot = m_view->chart()->plotArea();
    m_readout->move(int(m_view->mapFromScene(m_view->chart()->mapToScene(plot.topRight())).x()) -
                        m_readout->width() - 4,
                    int(m_view->mapFromScene(m_view->chart()->mapToScene(plot.topRight())).y()) + 14);
    m_readout->setVisible(m_hasA);
    update();
}

bool CursorPair::eventFilter(QObject* watched, QEvent* event) {
    const QRectF plot = m_view->chart()->plotArea();
    if (watched == m_view->viewport()) {
        // Only the mouse events are QMouseEvents: the others reach the filter too.
        const bool isMouse = event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseMove;
        auto* mouse = isMouse ? static_cast<QMouseEvent*>(event) : nullptr;
        const bool press = event->type() == QEvent::MouseButtonPress && mouse->button() == Qt::LeftButton;
        const bool drag =
            event->type() == QEvent::MouseMove && m_dragging && (mouse->buttons() & Qt::LeftButton);
        if (press || drag) {
            const QPointF scene = m_view->chart()->mapFromScene(m_view->mapToScene(mouse->pos()));
            if (press && !plot.contains(scene))
                return false;
            const qint64 t = TimeAt(mouse->pos().x());
            bool b = m_hasA && !m_hasB;
            if (drag)
                b = m_activeB;
            else if (m_hasA && m_hasB)
                b = std::abs(ViewX(m_b) - mouse->pos().x()) < std::abs(ViewX(m_a) - mouse->pos().x());
            m_dragging = true;
            Place(b, t);
        } else if (event->type() == QEvent::MouseButtonRelease) {
            m_dragging = false;
        } else if (event->type() == QEvent::Resize) {
            Refresh();
        }
        return false;
    }
    if (watched == m_view && event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        QValueAxis* axis = TimeAxis(m_view->chart());
        if (key->key() == Qt::Key_A || key->key() == Qt::Key_B) {
            const bool b = key->key() == Qt::Key_B;
            if (!(b ? m_hasB : m_hasA) && axis != nullptr) // placed mid-view, then moved by the arrows
                Place(b, qRound64((axis->min() + axis->max()) / 2));
            m_activeB = b;
            return true;
        }
        if ((key->key() == Qt::Key_Left || key->key() == Qt::Key_Right) && axis != nullptr &&
            (m_activeB ? m_hasB : m_hasA)) {
            const double step =
                (axis->max() - axis->min()) / (key->modifiers() & Qt::ShiftModifier ? 10 : 100);
            const qint64 by = std::max<qint64>(1, qRound64(step)) * (key->key() == Qt::Key_Left ? -1 : 1);
            Place(m_activeB, (m_activeB ? m_b : m_a) + by);
            return true;
        }
        if (key->key() == Qt::Key_Escape && m_hasA) {
            Clear();
            return true;
        }
    }
    return false;
}

void CursorPair::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRectF plot = m_view->chart()->plotArea();
    const double top = m_view->mapFromScene(m_view->chart()->mapToScene(plot.topLeft())).y();
    const double bottom = m_view->mapFromScene(m_view->chart()->mapToScene(plot.bottomLeft())).y();
    for (const bool b : {false, true}) {
        if (!(b ? m_hasB : m_hasA))
            continue;
        const double x = ViewX(b ? m_b : m_a);
        painter.setPen(QPen(b ? QColor(255, 160, 0) : QColor(255, 255, 0), 1));
        painter.drawLine(QPointF(x, top), QPointF(x, bottom));
        painter.drawText(QPointF(x + 3, top + 12), b ? "B" : "A");
    }
}
