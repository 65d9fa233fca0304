#pragma once

#include "Trigger.h"

#include <QStringList>
#include <QVariantMap>
#include <QWidget>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;

// The trigger's controls for the tool bar (mode, source row, edge, level, position, re-arm) and the
// status bar's lasting trigger state. The choices go to and come from the project as one map.
class TriggerBar : public QWidget {
    Q_OBJECT
public:
    explicit TriggerBar(QWidget* parent = nullptr);

    // The rows' names, in row order: the source choices. The chosen name stays chosen when it is there.
    void SetRows(const QStringList& names);
    QVariantMap Choices() const;
    void SetChoices(const QVariantMap& choices);

    TriggerMode Mode() const;
    int SourceRow() const;
    TriggerEdge Edge() const;
    double Level() const;
    // Share of the screen before the trigger point, 0 to 1.
    double Position() const;
    // The detector's settings for the running session: the source row's watch-list slot (`rowSlots`,
    // DataSource::RowSlots), its type, Y resolution and Y offset, and the window of one screen.
    TriggerSettings Settings(const QVector<int>& rowSlots) const;

    // The lasting state for the status bar's right side.
    QLabel* StatusLabel() const { return m_status; }
    void ShowState(TriggerDetector::State state);

signals:
    void Changed();
    void RearmRequested();

private:
    QComboBox* m_mode;
    QComboBox* m_source;
    QComboBox* m_edge;
    QLineEdit* m_level;
    QSpinBox* m_position;
    QPushButton* m_rearm;
    QLabel* m_status;
    QString m_wantedSource;
};
