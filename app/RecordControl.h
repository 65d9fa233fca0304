#pragma once

#include "FrameRecorder.h"
#include "VarTableWidget.h"

#include <QObject>
#include <QStringList>
#include <QVector>
#include <functional>

class QAction;
class QLabel;
class QTimer;
class QWidget;

// The "Record" toggle: while it is on, every frame of a run streams to a file (FrameRecorder.h). The name is
// asked for once, when the toggle is first switched on; each run then writes a new file with a time-stamped
// name derived from it (RecordingFile), so no recording replaces another. A recording ends with its run, or
// when the toggle goes off; a write error ends it with a message while sampling goes on. A permanent
// status-bar label shows the frames written, the file's size and any frames lost.
class RecordControl : public QObject {
    Q_OBJECT
public:
    // `proposal` gives the name to propose when the toggle is first switched on.
    RecordControl(QWidget* window, std::function<QString()> proposal);

    QAction* Action() const { return m_action; }
    QLabel* StatusWidget() const { return m_status; }
    // The name chosen for the recordings; empty until chosen.
    QString ChosenFile() const { return m_chosen; }
    const FrameRecorder& Recorder() const { return m_recorder; }

public slots:
    // A run began: while the toggle is on, the table's rows whose variable it samples (`slotOf`, as the data
    // source binds them) are recorded, a column each, in row order.
    void SamplingStarted(const QList<VarTableWidget::LineItem*>& rows, const QVector<int>& slotOf);
    // The run ended: the file is written out and closed.
    void SamplingStopped();

signals:
    // A text for the status bar's left: where a recording went, or why it stopped.
    void Message(const QString& text);

private slots:
    void Toggled(bool on);
    void Refresh();

private:
    void Begin();
    void End();

    QWidget* m_window;
    std::function<QString()> m_proposal;
    QAction* m_action;
    QLabel* m_status;
    QTimer* m_timer;
    FrameRecorder m_recorder;
    QString m_chosen;
    bool m_sampling = false;
    QStringList m_names;
    QVector<int> m_slots;
};
