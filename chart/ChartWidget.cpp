#include "ChartWidget.h"

#include "CommonCfg.h"
#include "DataSource.h"
#include "FrameQueue.h"
#include "LogCategories.h"
#include "PlotGrid.h"
#include "RingWindow.h"
#include "TimeAxis.h"
#include "TooltipText.h"
#include "VarChartView.h"
#include "WatchList.h"

#include <QBrush>
#include <QCheckBox>
#include <QFontMetricsF>
#include <QGraphicsLayout>
#include <QGraphicsRectItem>
#include <QGraphicsSimpleTextItem>
#include <QGraphicsTextItem>
#include <QLabel>
#include <QMargins>
#include <QMouseEvent>
#include <QPen>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QTextDocument>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

using QtCharts::QAbstractSeries;
using QtCharts::QChart;
using QtCharts::QLineSeries;
using QtCharts::QValueAxis;

namespace {

// The colour of a row as its colour cell keeps it.
QColor RowColor(const VarTableWidget::LineItem* item) {
    return QColor::fromRgb(static_cast<QRgb>(item->colorLabel->property("rgb").toInt()));
}

QLabel* OverlayLabel(QWidget* parent, QPoint pos, const QString& text) {
    auto* label = new QLabel(text, parent);
    QPalette palette = label->palette();
    palette.setBrush(QPalette::WindowText, QBrush(Qt::yellow));
    label->setPalette(palette);
    label->move(pos);
    label->adjustSize();
    label->raise();
    label->show();
    return label;
}

// What the data source needs of the rows to find each one's variable in the session.
QVector<RowKey> KeysOf(const QList<VarTableWidget::LineItem*>& rows) {
    QVector<RowKey> keys;
    for (const VarTableWidget::LineItem* row : rows) {
        RowKey key;
        if (row->varDes != nullptr) {
            key.name = row->varDes->name;
            parseAddress(row->varDes->address, key.address);
            key.typeCode = typeCodeOf(*row->varDes);
        }
        key.shown = row->showChkBox != nullptr && row->showChkBox->isChecked();
        keys << key;
    }
    return keys;
}

} // namespace

ChartWidget::ChartWidget(QWidget* parent) : QWidget(parent) {
    chart = new QChart;
    axisX = new QValueAxis;
    axisY = new QValueAxis;
    cursorLine = new QLineSeries;
    dataSource = new DataSource(this);
    tooltip = new QGraphicsRectItem(chart);
    tooltip->setBrush(QColor(0, 0, 0, 200));
    tooltip->setPen(QPen(Qt::yellow));
    tooltip->setZValue(20);
    tooltipText = new QGraphicsSimpleTextItem(tooltip);
    tooltipText->setBrush(Qt::white);
    tooltip->hide();
    connect(dataSource, &DataSource::SetXBegin, this, &ChartWidget::SetScrollBegin, Qt::UniqueConnection);
    InitChartView();
}

ChartWidget::~ChartWidget() = default;

void ChartWidget::InitChartView() {
    chart->setTheme(QChart::ChartThemeDark);
    chart->setBackgroundBrush(QBrush(Qt::black));
    chart->legend()->hide();
    InitTitle();

    ResizeWidth(0);
    // The grid's own numbers would be whole microseconds, too wide to fit: a second axis without
    // lines labels the grid in one unit.
    axisX->setLabelsVisible(false);
    // Hidden labels are still made and measured at every change of the range: a format without a
    // conversion makes them empty, which costs nothing to measure.
    axisX->setLabelFormat(QStringLiteral("-"));
    axisY->setTickCount(CommonCfg::ValueAxisTicks());
    axisY->setLabelsVisible(false);
    axisY->setLabelFormat(QStringLiteral("-"));
    chart->addAxis(axisX, Qt::AlignBottom);
    chart->addAxis(axisY, Qt::AlignLeft);
    // The grid is one picture (PlotGrid.h), in the colour the theme gives its lines, where the chart's own
    // lines would lie: above the backgrounds, under the axes.
    gridColour = axisX->gridLinePen().color();
    axisX->setGridLineVisible(false);
    axisY->setGridLineVisible(false);
    grid = new QGraphicsRectItem(chart);
    grid->setPen(Qt::NoPen);
    grid->setZValue(kGridZ);
    // Added after the X axis: the view zooms the first horizontal axis.
    timeLabels = new QtCharts::QCategoryAxis;
    timeLabels->setLabelsPosition(QtCharts::QCategoryAxis::AxisLabelsPositionOnValue);
    timeLabels->setGridLineVisible(false);
    timeLabels->setLineVisible(false);
    chart->addAxis(timeLabels, Qt::AlignBottom);

    xSpan =
        static_cast<quint64>(axisX->tickCount() - 1) * static_cast<quint64>(CommonCfg::CurrentStepValue());
    CommonCfg::SetChartDivisions(axisX->tickCount() - 1);
    InitXRange();
    axisY->setRange(-yHalfRange, yHalfRange);

    container = new QWidget(this);
    auto* box = new QVBoxLayout(container);
    box->setContentsMargins(0, 0, 0, 0);
    view = new VarChartView(chart, container);
    scrollBar = new QScrollBar(Qt::Horizontal, container);
    view->setAccessibleName(tr("Curves"));
    scrollBar->setAccessibleName(tr("Time scroll"));
    box->addWidget(view, viewStretch);
    box->addWidget(scrollBar, viewStretch);
    scrollBar->hide();
    connect(scrollBar, &QScrollBar::valueChanged, this, &ChartWidget::ScrollValueChanged);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(container);

    // The first label shows the frame rate, the second the time per division the curves use.
    fpsLabel = OverlayLabel(view, fpsLabelPos, QString());
    stepLabel = OverlayLabel(view, stepLabelPos, CommonCfg::CurrentStepLabel());
    dataSource->SetFpsLabel(fpsLabel);

    cursorLine->setColor(Qt::yellow);
    QPen pen(Qt::yellow);
    pen.setCapStyle(Qt::SquareCap);
    cursorLine->setPen(pen);
    chart->addSeries(cursorLine);
    cursorLine->attachAxis(axisX);
    cursorLine->hide();

    connect(dataSource, &DataSource::SetXRange, this, &ChartWidget::SetXRangeWithCheck);
    connect(dataSource, &DataSource::SetYRange, this, &ChartWidget::SetYRange);
    // A batch that asks for a layout (new time labels) would get it only after its paint and make the
    // window paint a second time. Laid out at once, one paint shows both.
    connect(dataSource, &DataSource::VarValuesUpdated, this, [this] {
        if (chart->layout() != nullptr)
            chart->layout()->activate();
    });
    connect(dataSource, &DataSource::SetXBegin, this, &ChartWidget::SetScrollBegin, Qt::UniqueConnection);
    connect(view, &VarChartView::MouseAxisXChanged, this, &ChartWidget::ShowTooltip);
    connect(view, &VarChartView::MouseLeave, this, &ChartWidget::HideToolTip);
    connect(view, &VarChartView::AxisXRangedChanged, this, &ChartWidget::AxisXRangeChanged);
    // Queued: the main window's own handler of the zoom sets the shared step first.
    connect(view, &VarChartView::ZoomChanged, this, &ChartWidget::ShowStep, Qt::QueuedConnection);
    connect(view, &VarChartView::ZoomChanged, this, &ChartWidget::FitViewToStep, Qt::QueuedConnection);
    connect(this, &ChartWidget::GetDataFromQueue, dataSource, &DataSource::UpdateDataByScroll);
    connect(axisX, &QValueAxis::rangeChanged, this, &ChartWidget::UpdateTimeLabels);
    connect(chart, &QChart::plotAreaChanged, this, &ChartWidget::UpdateTimeLabels);
    connect(chart, &QChart::plotAreaChanged, this, &ChartWidget::UpdateGrid);
    UpdateTimeLabels();
}

void ChartWidget::InitTitle() {
    // In the theme's title font and colour, where the chart would put its own title (a text item with half
    // a pixel of margin, inside the layout's and the chart's top margins). The chart's top margin keeps
    // the room the chart would make for it, the item's height and a pixel, from the start, so the plot
    // does not move down when the first data come.
    title = new QGraphicsSimpleTextItem(chart);
    title->setFont(chart->titleFont());
    title->setBrush(chart->titleBrush());
    constexpr qreal kTextMargin = 0.5;
    QGraphicsTextItem room;
    room.setFont(title->font());
    room.document()->setDocumentMargin(kTextMargin);
    room.setPlainText(QStringLiteral("Total Time"));
    qreal layoutTop = 0;
    if (chart->layout() != nullptr)
        chart->layout()->getContentsMargins(nullptr, &layoutTop, nullptr, nullptr);
    QMargins margins = chart->margins();
    titleTop = layoutTop + margins.top() + kTextMargin;
    margins.setTop(margins.top() + static_cast<int>(std::ceil(room.boundingRect().height())) + 1);
    chart->setMargins(margins);
    connect(chart, &QGraphicsWidget::geometryChanged, this, &ChartWidget::PlaceTitle);
}

void ChartWidget::SetTitle(const QString& text) {
    if (title->text() == text)
        return;
    title->setText(text);
    PlaceTitle();
}

void ChartWidget::PlaceTitle() {
    title->setPos(std::round((chart->size().width() - title->boundingRect().width()) / 2), titleTop);
}

QString ChartWidget::TitleText() const {
    return title->text();
}

void ChartWidget::UpdateTimeLabels() {
    if (timeLabels == nullptr)
        return;
    const QFontMetricsF metrics(timeLabels->labelsFont());
    const double min = axisX->min();
    const TimeAxis::Labels labels = TimeAxis::Make(
        min, axisX->max(), axisX->tickCount() - 1, CommonCfg::CurrentStepValue(), chart->plotArea().width(),
        [&metrics](const QString& text) { return metrics.horizontalAdvance(text); });
    // The labels' axis counts from the view's left edge: while the view follows the data, its grid lines
    // stay where they are on the screen, and only new texts change the axis. Each change of it lays the
    // chart out anew and measures every label, which would otherwise happen at every batch.
    const double span = axisX->max() - min;
    QVector<double> at;
    // To the nanosecond: the difference of two large times carries rounding noise that would count as a move.
    for (const double time : labels.at)
        at << std::round((time - min) * 1000) / 1000;
    if (timeLabels->categoriesLabels() == labels.texts && timeLabels->titleText() == labels.unit &&
        timeLabels->max() == span && at == timeLabelsAt)
        return;
    timeLabelsAt = at;
    for (const QString& label : timeLabels->categoriesLabels())
        timeLabels->remove(label);
    timeLabels->setTitleText(labels.unit);
    timeLabels->setRange(0, span);
    // A category ends at its label's line; the first one starts just before the first line.
    if (!at.isEmpty())
        timeLabels->setStartValue(at.first() - 1);
    for (int i = 0; i < at.size(); ++i)
        timeLabels->append(labels.texts[i], at[i]);
}

void ChartWidget::UpdateGrid() {
    if (grid == nullptr || view == nullptr)
        return;
    const QRectF plot = chart->plotArea();
    const int columns = axisX->tickCount() - 1;
    const int rows = axisY->tickCount() - 1;
    if (plot == gridPlot && columns == gridColumns && rows == gridRows)
        return;
    gridPlot = plot;
    gridColumns = columns;
    gridRows = rows;
    const QRect cover = PlotGrid::Cover(plot);
    QBrush brush(PlotGrid::Make(plot, columns, rows, gridColour, Qt::black));
    brush.setTransform(QTransform::fromTranslate(cover.left(), cover.top()));
    grid->setRect(cover);
    grid->setBrush(brush);
    view->SetOpaqueArea(grid->mapRectToScene(grid->rect()).toAlignedRect());
}

void ChartWidget::ShowStep() {
    stepLabel->setText(CommonCfg::CurrentStepLabel());
    stepLabel->adjustSize();
    UpdateTimeLabels(); // the unit follows the time base
}

void ChartWidget::FitViewToStep() {
    // A zoom about the mouse leaves the view whole steps wide, but one from the tool bar (no mouse over
    // the chart) or one cut at 0 does not: the view keeps its left edge and gets the width of the steps.
    const qint64 span = ViewSpan();
    if (axisX->max() - axisX->min() == static_cast<double>(span))
        return;
    if (!scrollHidden)
        ScrollOverRing(span, static_cast<qint64>(axisX->min()));
    else
        axisX->setRange(axisX->min(), axisX->min() + static_cast<double>(span));
}

void ChartWidget::ResizeWidth(int width) {
    const int ticks = std::max(std::min(width / pixelsPerTick, CommonCfg::MaxTimeTicks()), minTicks);
    axisX->setTickCount(ticks);
    CommonCfg::SetChartDivisions(ticks - 1);
    UpdateGrid();
    axisX->setMax(axisX->min() + static_cast<double>(ticks - 1) * CommonCfg::CurrentStepValue());
    if (stepLabel != nullptr)
        ShowStep();
    if (!scrollHidden && scrollBar != nullptr)
        ScrollOverRing(ViewSpan(), static_cast<qint64>(axisX->min()));
}

void ChartWidget::ReplaceSeries(const QList<QLineSeries*>& series) {
    seriesList = series;
    QList<QAbstractSeries*> drawn;
    for (QLineSeries* s : series)
        drawn << s;
    dataSource->SetSeries(drawn);
    RowsChanged();
}

void ChartWidget::RowsChanged() {
    dataSource->SetRows(KeysOf(rows));
    // While sampling the next batch draws the rows as they are now; when stopped, what the ring kept is
    // drawn again at once.
    if (CommonCfg::RunFlag() != 0 && FrameQueue::instance().historySize() > 0)
        emit GetDataFromQueue();
}

void ChartWidget::ReInitChartShow(QList<VarTableWidget::LineItem*>& lineItems) {
    for (QLineSeries* s : qAsConst(seriesList)) {
        chart->removeSeries(s);
        delete s;
    }
    QList<QLineSeries*> fresh;
    for (const VarTableWidget::LineItem* item : lineItems) {
        auto* series = new QLineSeries;
        series->setPen(QPen(RowColor(item)));
        series->setVisible(item->showChkBox == nullptr || item->showChkBox->isChecked());
        series->setUseOpenGL(true);
        chart->addSeries(series);
        series->attachAxis(axisX);
        series->attachAxis(axisY);
        fresh << series;
    }
    rows = lineItems;
    ReplaceSeries(fresh);
}

void ChartWidget::ChartShowChanged(QList<VarTableWidget::LineItem*>& lineItems) {
    if (lineItems.size() != seriesList.size()) {
        qCDebug(lcChart) << "line count and series count not match";
        return;
    }
    rows = lineItems;
    for (int i = 0; i < seriesList.size(); ++i) {
        seriesList[i]->setVisible(lineItems[i]->showChkBox->isChecked());
        seriesList[i]->setColor(RowColor(lineItems[i]));
    }
    RowsChanged();
}

void ChartWidget::RemoveSeriesByIdx(int index) {
    if (index < 0 || index >= seriesList.size())
        return;
    QList<QLineSeries*> kept = seriesList;
    QLineSeries* series = kept.takeAt(index);
    series->hide();
    chart->removeSeries(series);
    delete series;
    if (index < rows.size())
        rows.removeAt(index);
    ReplaceSeries(kept);
}

qint64 ChartWidget::ViewSpan() const {
    return static_cast<qint64>(CommonCfg::CurrentStepValue()) * CommonCfg::ChartDivisions();
}

void ChartWidget::InitXRange() {
    // A run starts on its first divisions, as wide as the time base and the chart's width make them.
    xSpan = static_cast<quint64>(ViewSpan());
    axisX->setRange(0, static_cast<double>(xSpan));
    left = 0;
    right = static_cast<qint64>(xSpan);
}

void ChartWidget::SetXRange(double leftUs, double rightUs) {
    axisX->setRange(leftUs, rightUs);
    MoveCursor();
    left = static_cast<qint64>(leftUs);
    right = static_cast<qint64>(rightUs);
    if (!scrollHidden)
        InitScroll(scrollStart, left, right - left);
}

void ChartWidget::SetXRangeWithCheck(double leftUs, double rightUs) {
    if (!std::isfinite(leftUs) || !std::isfinite(rightUs))
        return;
    SetTitle("Total Time " + TotalTimeText(rightUs));
    // The view is always whole divisions of the time base wide, so that the grid lines stand one step
    // apart: from the first sample while the data are shorter, ending at the newest once they are longer.
    const double span = static_cast<double>(ViewSpan());
    const double from = rightUs - leftUs >= span ? rightUs - span : leftUs;
    if (rightUs > axisX->max() || axisX->max() - axisX->min() != span)
        SetXRange(from, from + span);
}

void ChartWidget::SetYRange(double min, double max) {
    axisY->setRange(min, max);
}

void ChartWidget::AxisXRangeChanged(qint64 leftUs, qint64 rightUs) {
    if (rightUs < leftUs)
        return;
    scrollPage = rightUs - leftUs;
    scrollBar->setSingleStep(static_cast<int>(scrollPage / 10 / scrollScale.unit));
    scrollBar->setPageStep(static_cast<int>(scrollPage / scrollScale.unit));
    // A zoom after a run: the view becomes whole steps of the new time base wide (a zoom near the start
    // cuts its left edge at 0), and the scroll bar keeps spanning the ring.
    if (!scrollHidden)
        ScrollOverRing(ViewSpan(), leftUs);
}

void ChartWidget::InitScroll(qint64 min, qint64 max, qint64 step) {
    scrollScale = ScrollScale::For(min, max, step);
    scrollPage = step;
    scrollBar->setMinimum(scrollScale.Position(min));
    scrollBar->setMaximum(scrollScale.Position(max));
    scrollBar->setSingleStep(static_cast<int>(step / 10 / scrollScale.unit));
    scrollBar->setPageStep(static_cast<int>(step / scrollScale.unit));
    scrollBar->setValue(scrollScale.Position(max));
    qCDebug(lcChart) << "InitScroll min = " << min << "max " << max << " step " << step;
}

void ChartWidget::ScrollValueChanged(int value) {
    qCDebug(lcChart) << "ScrollValueChanged value " << value << " step =" << scrollBar->pageStep();
    const qint64 leftUs = scrollScale.Time(value);
    axisX->setRange(static_cast<double>(leftUs), static_cast<double>(leftUs + scrollPage));
    emit GetDataFromQueue();
    MoveCursor(); // the tooltip tells of the time now under the mouse
}

void ChartWidget::SetScrollBegin(qint64 begin) {
    qCDebug(lcChart) << "SetScrollBegin";
    scrollStart = begin;
    // The scroll value is the view's left edge: its largest is the left edge of the newest view, as
    // SetXRange passes it; the right edge would let the view run a whole width past the newest frame.
    InitScroll(begin, left, right - left);
}

void ChartWidget::ResetXRangeByQueueSize() {
    qint64 oldest = 0;
    qint64 newest = 0;
    const bool kept = RingWindow::Span(FrameQueue::instance(), oldest, newest);
    scrollStart = oldest;
    right = newest;
    const qint64 step = ViewSpan();
    qCDebug(lcChart) << "Reset Xrange by last  Data"
                     << " begin = " << scrollStart << " max = " << right << " step " << step;
    if (!kept)
        return;
    // The whole run, also when the last live batch did not reach its end.
    SetTitle("Total Time " + TotalTimeText(static_cast<double>(newest + 1)));
    ScrollOverRing(step, newest + 1 - step);
}

void ChartWidget::ScrollOverRing(qint64 page, qint64 at) {
    qint64 oldest = 0;
    qint64 newest = 0;
    if (page <= 0 || !RingWindow::Span(FrameQueue::instance(), oldest, newest))
        return;
    // From the oldest frame kept to the view that ends just after the newest one, never past either.
    scrollStart = oldest;
    const qint64 last = std::max(oldest, newest + 1 - page);
    {
        const QSignalBlocker quiet(scrollBar);
        InitScroll(oldest, last, page);
        scrollBar->setValue(scrollScale.Position(std::max(oldest, std::min(at, last))));
    }
    ScrollValueChanged(scrollBar->value());
}

void ChartWidget::HiddenScroll(bool hidden) {
    scrollBar->setVisible(!hidden);
    scrollHidden = hidden;
}

qint64 ChartWidget::AxisXAt(const QPointF& viewPos) const {
    const qint64 x = qRound64(view->ValueAt(viewPos).x());
    return std::max(qRound64(axisX->min()), std::min(x, qRound64(axisX->max())));
}

void ChartWidget::ReDrawLineX(QPointF& point) {
    const qint64 x = AxisXAt(point);
    cursorLine->replace(QVector<QPointF>{QPointF(x, -yHalfRange), QPointF(x, yHalfRange)});
    cursorLine->show();
    cursorX = static_cast<double>(x);
}

void ChartWidget::ShowTooltip(QMouseEvent* event) {
    if (event != nullptr)
        ShowTooltipAt(event->localPos());
}

void ChartWidget::ShowTooltipAt(const QPointF& viewPos) {
    if (tooltipsHidden) {
        cursorLine->hide();
        return;
    }
    mousePoint = QPointF(qRound(viewPos.x()), qRound(viewPos.y()));
    ReDrawLineX(mousePoint);
    const qint64 time = AxisXAt(mousePoint);
    // The sample nearest to the mouse, of all the ring keeps, if the view shows it.
    SampleFrame frame;
    if (seriesList.isEmpty() || !RingWindow::Nearest(FrameQueue::instance(), time, frame) ||
        RingWindow::ChartTime(frame.time) < axisX->min() ||
        RingWindow::ChartTime(frame.time) > axisX->max()) {
        tooltip->hide();
        return;
    }
    tooltipText->setText(::TooltipText(frame, dataSource->Rows(), dataSource->RowSlots(), watchList()));
    tooltipText->setPos(4, 4);
    tooltip->setRect(tooltipText->boundingRect().adjusted(0, 0, 8, 8));
    tooltip->setPos(chart->mapFromScene(view->mapToScene(mousePoint.toPoint())) + QPointF(12, 12));
    tooltip->show();
}

bool ChartWidget::TooltipVisible() const {
    return tooltip->isVisible();
}

QString ChartWidget::TooltipText() const {
    return tooltipText->text();
}

void ChartWidget::HideToolTip() {
    if (tooltipsHidden || tooltip == nullptr)
        return;
    tooltip->hide();
}

void ChartWidget::SetToolTipsHidden(bool hidden) {
    tooltipsHidden = hidden;
}

void ChartWidget::ToolTipsHidden() {
    SetToolTipsHidden(true);
    tooltip->hide();
    cursorLine->hide();
}

void ChartWidget::TooltipsShow() {
    SetToolTipsHidden(false);
}

void ChartWidget::MoveCursor() {
    // The cursor stays at its place on the screen; the time under it and the tooltip follow the range.
    if (!tooltipsHidden && cursorLine->isVisible())
        ShowTooltipAt(mousePoint);
}

QString ChartWidget::TotalTimeText(double elapsedUs) {
    quint64 t = 0;
    constexpr double kTopBit = 9223372036854775808.0; // 2^63
    if (!(elapsedUs > 0))
        t = 0;
    else if (elapsedUs >= 2 * kTopBit)
        t = ~quint64(0);
    else if (elapsedUs >= kTopBit)
        t = static_cast<quint64>(elapsedUs - kTopBit) | (quint64(1) << 63);
    else
        t = static_cast<quint64>(elapsedUs);

    const quint64 divisors[] = {86400000000ULL, 3600000000ULL, 60000000ULL, 1000000ULL, 1000ULL};
    quint64 parts[6];
    for (int i = 0; i < 5; ++i) {
        parts[i] = t / divisors[i];
        t %= divisors[i];
    }
    parts[5] = t;
    const auto number = [](quint64 value, int width) {
        return QString("%1").arg(value, width, numberBase, QChar('0'));
    };
    // From the largest non-zero of days, hours and minutes on, every unit is shown.
    QString text;
    const char* labels[] = {"d : ", "h : ", "m : "};
    bool leading = true;
    for (int i = 0; i < 3; ++i) {
        if (leading && parts[i] == 0)
            continue;
        text += number(parts[i], leading || i == 0 ? 0 : 2) + labels[i];
        leading = false;
    }
    return text + number(parts[3], 2) + "s : " + number(parts[4], 3) + "ms : " + number(parts[5], 3) + "us";
}
