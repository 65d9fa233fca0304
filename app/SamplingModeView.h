#pragma once

#include <QElapsedTimer>
#include <QLabel>

class QMenu;
class QTimer;

// How the main window samples, for the user: a permanent status-bar label that reads "Polling: N
// frames/s" or "High-speed sampling" while a session runs, and the menu that sets the project's mode.
class SamplingModeLabel : public QLabel {
    Q_OBJECT
public:
    explicit SamplingModeLabel(QWidget* parent = nullptr);

public slots:
    void Refresh();

private:
    QTimer* m_timer = nullptr;
    QElapsedTimer m_clock; // since the frame count below was taken
    quint64 m_frames = 0;
    bool m_polling = false;
};

// The "Sampling mode" submenu of `parent`: auto, high-speed sampling only, polling only; the choice is
// the project's setting and applies from the next Start.
QMenu* AddSamplingModeMenu(QMenu* parent);
