#pragma once

#include "ScrollScale.h"
#include "VarTableWidget.h"

#include <QList>
#include <QPair>
#include <QPointF>
#include <QString>
#include <QVector>
#include <QWidget>
#include <QtCharts/QCategoryAxis>
#include <QtCharts/QChart>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>

class DataSource;
class QGraphicsRectItem;
class QGraphicsSimpleTextItem;
class QLabel;
class QMouseEvent;
class QScrollBar;
class VarChartView;

// The curve chart: time (X, microseconds) against the scaled values (Y), one line series per table
// row, a vertical cursor line with a tooltip, a horizontal scroll bar over what the queue keeps and
// the "Total Time " title. Owns the data source and, through it, the acquisition worker.
class ChartWidget : public QWidget {
    Q_OBJECT
public:
    explicit ChartWidget(QWidget* parent = nullptr);
    ~ChartWidget() override;

    DataSource* GetDataSource() const { return dataSource; }
    VarChartView* View() const { return view; }
    QtCharts::QChart* Chart() const { return chart; }
    QtCharts::QValueAxis* AxisX() const { return axisX; }
    QtCharts::QValueAxis* AxisY() const { return axisY; }
    // The axis that carries the time labels under the grid of AxisX(), its title the unit.
    QtCharts::QCategoryAxis* TimeLabels() const { return timeLabels; }
    QScrollBar* ScrollBar() const { return scrollBar; }
    QtCharts::QLineSeries* CursorLine() const { return cursorLine; }
    const QList<QtCharts::QLineSeries*>& SeriesList() const { return seriesList; }
    QLabel* FpsLabel() const { return fpsLabel; }
    QLabel* StepLabel() const { return stepLabel; }
    bool TooltipVisible() const;
    QString TooltipText() const;
    quint64 XSpan() const { return xSpan; }

    // The text after "Total Time " for an elapsed time in microseconds.
    static QString TotalTimeText(double elapsedUs);
    // The title over the chart: "Total Time " and the elapsed time, once data came.
    QString TitleText() const;

signals:
    void GetDataFromQueue();

public slots:
    void ResizeWidth(int width);
    void ReInitChartShow(QList<VarTableWidget::LineItem*>& lineItems);
    void ChartShowChanged(QList<VarTableWidget::LineItem*>& lineItems);
    void ReDrawLineX(QPointF& point);
    void ScrollValueChanged(int value);
    void SetScrollBegin(qint64 begin);
    void InitScroll(qint64 min, qint64 max, qint64 step);
    void ToolTipsHidden();
    void TooltipsShow();
    void SetToolTipsHidden(bool hidden);
    void InitXRange();
    void RemoveSeriesByIdx(int index);
    void ResetXRangeByQueueSize();
    // After a run: the view of one screen from `left` (a trigger's window), the scroll bar over the ring.
    void ShowViewFrom(qint64 left) { ScrollOverRing(ViewSpan(), left); }
    void ShowTooltip(QMouseEvent* event);
    void HideToolTip();
    void HiddenScroll(bool hidden);
    void SetXRange(double left, double right);
    // The X range of newly drawn data: the title follows the newest time; the view moves only once
    // the data passes its right edge.
    void SetXRangeWithCheck(double left, double right);
    void SetYRange(double min, double max);
    // Redraws the cursor line and the tooltip at the last mouse point (after the range moved).
    void MoveCursor();
    void AxisXRangeChanged(qint64 left, qint64 right);
    // Puts the time labels on the grid lines of the X range as it stands (TimeAxis.h).
    void UpdateTimeLabels();
    // Paints the grid's picture again when the plot or the divisions changed.
    void UpdateGrid();

private:
    void InitChartView();
    // The title over the chart's top edge, centred: an item of its own, as a title set through the chart
    // lays the whole chart out again (every axis relabelled, about 1 ms) at each batch's new time.
    void InitTitle();
    void SetTitle(const QString& text);
    void PlaceTitle();
    // The second overlay label: the shared time per division.
    void ShowStep();
    // After a zoom: the view exactly as wide as the divisions of the new time base.
    void FitViewToStep();
    // The one place the series list changes: the data source always draws into the current list.
    void ReplaceSeries(const QList<QtCharts::QLineSeries*>& series);
    // The data source learns the rows (their variables and show boxes) and draws them again.
    void RowsChanged();
    void ShowTooltipAt(const QPointF& viewPos);
    // The X value of a view position, rounded and kept within the axis.
    qint64 AxisXAt(const QPointF& viewPos) const;
    // Microseconds the view spans: the time base's step times the divisions.
    qint64 ViewSpan() const;
    // Puts the scroll bar over the frames the ring keeps for a view `page` wide, at left edge `at`
    // (kept within them), and shows that view.
    void ScrollOverRing(qint64 page, qint64 at);

    // Layout settings.
    const int pixelsPerTick = 100;
    const int minTicks = 10;
    const int viewStretch = 10;
    const QPoint fpsLabelPos{20, 20};
    const QPoint stepLabelPos{80, 20};
    static constexpr int numberBase = 10;
    const int yHalfRange = 3;
    // The chart's stacking: backgrounds below 1, grid lines at 2, axes at 3.
    static constexpr double kGridZ = 2;
    quint64 xSpan = 10000;

    QtCharts::QChart* chart = nullptr;
    QtCharts::QValueAxis* axisX = nullptr;
    QtCharts::QValueAxis* axisY = nullptr;
    QtCharts::QCategoryAxis* timeLabels = nullptr;
    QGraphicsRectItem* grid = nullptr;
    QGraphicsSimpleTextItem* title = nullptr;
    double titleTop = 0;
    QColor gridColour;
    QRectF gridPlot;
    int gridColumns = 0;
    int gridRows = 0;
    // Where the time labels stand, in microseconds from the view's left edge.
    QVector<double> timeLabelsAt;
    VarChartView* view = nullptr;
    QScrollBar* scrollBar = nullptr;
    QWidget* container = nullptr;
    QtCharts::QLineSeries* cursorLine = nullptr;
    double cursorX = 0.0;
    DataSource* dataSource = nullptr;
    QList<QtCharts::QLineSeries*> seriesList;
    QGraphicsRectItem* tooltip = nullptr;
    QGraphicsSimpleTextItem* tooltipText = nullptr;
    QPointF mousePoint;
    bool scrollHidden = true;
    qint64 scrollStart = 0;
    // How the scroll bar's positions map to microseconds, and the view's width in microseconds.
    ScrollScale scrollScale;
    qint64 scrollPage = 10;
    qint64 left = 0;
    qint64 right = 0;
    bool tooltipsHidden = true;

    QLabel* fpsLabel = nullptr;
    QLabel* stepLabel = nullptr;
    // The rows the series belong to (names and show boxes for the tooltip).
    QList<VarTableWidget::LineItem*> rows;
};
