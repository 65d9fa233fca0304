#include "BatchPacer.h"

#include <QEvent>
#include <QWidget>
#include <cmath>

BatchPacer::BatchPacer(QObject* parent) : QObject(parent) {
    m_most.setSingleShot(true);
    connect(&m_most, &QTimer::timeout, this, &BatchPacer::Expired);
}

void BatchPacer::Arm(QWidget* window, int mostMs) {
    if (window != m_window) {
        if (m_window != nullptr)
            m_window->removeEventFilter(this);
        m_window = window;
        if (window != nullptr)
            window->installEventFilter(this);
    }
    if (m_armed)
        return;
    m_armed = true;
    m_most.start(mostMs);
}

bool BatchPacer::eventFilter(QObject* watched, QEvent* event) {
    // A window repaints all its widgets in one update request: what is posted while it runs comes after.
    if (watched == m_window && event->type() == QEvent::UpdateRequest && !m_painting) {
        m_painting = true;
        m_paint.start();
        QMetaObject::invokeMethod(this, &BatchPacer::Painted, Qt::QueuedConnection);
        if (m_armed) {
            m_armed = false;
            m_most.stop();
            emit Release(static_cast<int>(std::lround(m_paintMs)));
        }
    }
    return QObject::eventFilter(watched, event);
}

void BatchPacer::Painted() {
    m_painting = false;
    // A mean over the last few paints: one slow paint (a resize, a first frame) hardly moves it.
    const double ms = m_paint.nsecsElapsed() / 1e6;
    m_paintMs = m_paintMs <= 0 ? ms : 0.75 * m_paintMs + 0.25 * ms;
}

void BatchPacer::Expired() {
    if (!m_armed)
        return;
    m_armed = false;
    emit Release(0);
}
