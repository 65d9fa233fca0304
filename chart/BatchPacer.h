#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>

class QWidget;

// Paces the display worker by the window's paints. A batch taken while the window paints the last one
// waits on the GUI thread until that paint is over, and what the user sees lags a whole paint more; a
// batch taken only after it leaves the GUI thread idle while the worker drains. So the worker is let go
// as a paint starts, with the time that paint is expected to take: it drains so as to be done as it ends.
class BatchPacer : public QObject {
    Q_OBJECT
public:
    explicit BatchPacer(QObject* parent = nullptr);

    // Waits for the next repaint of `window`, or `mostMs` at most (a window that has nothing to repaint).
    void Arm(QWidget* window, int mostMs = 100);
    bool IsArmed() const { return m_armed; }
    // What the recent paints took, in milliseconds.
    double PaintEstimate() const { return m_paintMs; }

signals:
    // The next batch may be taken: `withinMs` from now the window is expected to be free for it.
    void Release(int withinMs);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void Painted();
    void Expired();

    QPointer<QWidget> m_window;
    QTimer m_most;
    QElapsedTimer m_paint;
    double m_paintMs = 0;
    bool m_armed = false;
    bool m_painting = false;
};
