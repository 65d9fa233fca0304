#pragma once

#include <QStringList>
#include <QVector>
#include <QWidget>
#include <functional>

class QLabel;
namespace QtCharts {
class QChartView;
}

// Measurement cursors A and B over the chart: vertical lines placed by clicking or dragging in the plot
// (the first click places A, the second B, later ones move the nearer), moved by the keyboard while the
// chart has the focus (A or B chooses, Left/Right move by a hundredth of the view, Shift by a tenth,
// Escape removes both), with a readout of the times and each shown variable's values.
class CursorPair : public QWidget {
    Q_OBJECT
public:
    // Names and values of the shown variables at a chart time.
    using ValuesAt = std::function<void(qint64 time, QStringList& names, QVector<double>& values)>;
    CursorPair(QtCharts::QChartView* view, ValuesAt valuesAt);

    bool HasA() const { return m_hasA; }
    bool HasB() const { return m_hasB; }
    qint64 A() const { return m_a; }
    qint64 B() const { return m_b; }
    void Place(bool b, qint64 time);
    void Clear();
    QString ReadoutText() const;
    // Renews the readout (the values under the cursors change as frames arrive or the view scrolls).
    void Refresh();

signals:
    void Changed();

protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    qint64 TimeAt(double viewX) const;
    double ViewX(qint64 time) const;

    QtCharts::QChartView* m_view;
    ValuesAt m_valuesAt;
    QLabel* m_readout;
    bool m_hasA = false, m_hasB = false, m_activeB = false, m_dragging = false;
    qint64 m_a = 0, m_b = 0;
};
