#pragma once

#include <QColor>
#include <QWidget>

namespace QtCharts {
class QChartView;
}

// Drawn over the chart: the trigger level as a horizontal line in the source's colour and the trigger
// point as a marker at the top of the plot. Mouse events pass through to the chart.
class TriggerMarks : public QWidget {
    Q_OBJECT
public:
    explicit TriggerMarks(QtCharts::QChartView* view);

    // `level` in the chart's y units; `hasPoint` with the trigger's chart time `time`.
    void Show(double level, const QColor& colour, bool hasPoint, double time);
    void Hide();

protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QtCharts::QChartView* m_view;
    bool m_shown = false;
    bool m_hasPoint = false;
    double m_level = 0;
    double m_time = 0;
    QColor m_colour;
};
