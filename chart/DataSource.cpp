#include "DataSource.h"

#include "BatchPacer.h"
#include "ColumnReduce.h"
#include "CommonCfg.h"
#include "DisplayMath.h"
#include "FrameQueue.h"
#include "FrameRate.h"
#include "GetData.h"
#include "LogCategories.h"
#include "MemoryWrite.h"
#include "RingWindow.h"
#include "SampleValue.h"
#include "WatchList.h"

#include <QGraphicsScene>
#include <QGraphicsView>
#include <QLabel>
#include <QMetaObject>
#include <QtCharts/QChart>
#include <QtCharts/QValueAxis>
#include <QtCharts/QXYSeries>
#include <algorithm>
#include <cmath>

using QtCharts::QAbstractSeries;
using QtCharts::QChart;
using QtCharts::QValueAxis;
using QtCharts::QXYSeries;

namespace {

// The points a series draws: those of `all` that the plot can show apart, by pixel column of the
// X range the view will have after this batch. `all` itself stays whole for the tooltip and table.
// Points a scroll back draws per variable at most, as many as a live batch.
constexpr uint32_t kHistoryPoints = 10000;

QValueAxis* TimeAxisOf(QAbstractSeries& series) {
    QValueAxis* axis = nullptr;
    for (QtCharts::QAbstractAxis* a : series.attachedAxes())
        if (a->orientation() == Qt::Horizontal)
            axis = qobject_cast<QValueAxis*>(a);
    return axis;
}

QVector<QPointF> DrawnPoints(QXYSeries& series, const QVector<QPointF>& all) {
    const QChart* chart = series.chart();
    QValueAxis* axis = TimeAxisOf(series);
    if (chart == nullptr || axis == nullptr)
        return all;
    qreal ratio = 1.0;
    if (chart->scene() != nullptr && !chart->scene()->views().isEmpty())
        ratio = chart->scene()->views().first()->devicePixelRatioF();
    const double columns = chart->plotArea().width() * ratio;
    hssSettings().displayColumns.store(columns);
    // As thin as the display worker leaves it.
    if (columns < 1 || all.size() <= ColumnReduce::MostKept(columns))
        return all;
    double min = axis->min();
    double max = axis->max();
    // The view follows the newest data the way UpdateAllSeries and the chart move it.
    const double right = all.last().x() + 1;
    if (CommonCfg::RunFlag() == 0 && right > max) {
        const double step = static_cast<double>(CommonCfg::CurrentStepValue()) * CommonCfg::ChartDivisions();
        max = right;
        min = std::max(all.first().x(), right - step);
    }
    return ColumnReduce::Reduce(all, min, (max - min) / columns);
}

} // namespace

DataSource::DataSource(QObject* parent)
    : QObject(parent), yMax(DisplayMath::kYMaxStart), yMin(DisplayMath::kYMinStart) {
    worker = new GetData(this);
    // The worker emits on its own thread; the batch reaches Display on this object's thread.
    connect(worker, &GetData::DataSignal, this, &DataSource::Display, Qt::QueuedConnection);
    pacer = new BatchPacer(this);
    connect(pacer, &BatchPacer::Release, worker, &GetData::BatchTaken);
}

DataSource::~DataSource() {
    worker->Stop();
    delete worker;
    worker = nullptr;
}

void DataSource::SetSeries(const QList<QAbstractSeries*>& series) {
    m_series.clear();
    for (QAbstractSeries* s : series)
        m_series.append(s);
}

void DataSource::SetRows(const QVector<RowKey>& rows) {
    m_rows = rows;
    m_rowsSet = true;
}

QVector<int> DataSource::RowSlots() const {
    return m_rowsSet ? RowBinding::Bind(m_rows, watchList()) : RowBinding::Identity(watchList().count);
}

void DataSource::StartAcquisition() {
    stopped = false;
    firstDataTime = kNoDataTime;
    lastDataTime = kNoDataTime;
    if (!worker->isRunning())
        worker->start(QThread::TimeCriticalPriority);
}

void DataSource::StopAcquisition() {
    worker->Stop();
}

QVector<QVector<QPointF>> DataSource::Points() const {
    QMutexLocker lock(&m_dataLock);
    return points;
}

QVector<QVector<float>> DataSource::MathValues() const {
    QMutexLocker lock(&m_dataLock);
    return mathValues;
}

QStringList DataSource::ValueTexts() const {
    QMutexLocker lock(&m_dataLock);
    return valueTexts;
}

QVector<quint32> DataSource::GetVarList() const {
    return varList;
}

void DataSource::Update(QAbstractSeries* series, int seriesIndex) {
    auto* xy = qobject_cast<QXYSeries*>(series);
    if (xy == nullptr || seriesIndex < 0 || seriesIndex >= points.size() || points[seriesIndex].isEmpty())
        return;
    if (seriesIndex == 0)
        ++updateIndex;
    if (points[seriesIndex].size() <= updateIndex)
        updateIndex = 0;
    xy->replace(DrawnPoints(*xy, points[seriesIndex]));
}

void DataSource::UpdateAllSeries() {
    for (int i = 0; i < m_series.size(); ++i)
        Update(m_series[i], i);

    qint64 rate = 0;
    if (FrameRate::CountFrame(fpsLabel != nullptr, rate)) {
        fpsLabel->setText(FrameRate::LabelText(rate));
        fpsLabel->adjustSize();
    }

    // The first curve with points: a row the session does not sample has none.
    QXYSeries* first = nullptr;
    for (int i = 0; i < m_series.size() && first == nullptr; ++i) {
        auto* xy = qobject_cast<QXYSeries*>(m_series[i]);
        if (xy != nullptr && xy->count() > 0)
            first = xy;
    }
    if (first != nullptr) {
        // Times go through a signed integer first: a negative double has no unsigned value.
        quint64 left = static_cast<quint64>(static_cast<qint64>(first->at(0).x()));
        const quint64 right =
            static_cast<quint64>(static_cast<qint64>(first->at(first->count() - 1).x())) + 1;
        const quint64 step = static_cast<quint64>(CommonCfg::CurrentStepValue()) *
                             static_cast<quint64>(CommonCfg::ChartDivisions());
        if (right - left > step)
            left = right - step;
        if (CommonCfg::RunFlag() == 0)
            emit SetXRange(static_cast<double>(left), static_cast<double>(right));
    }
    // Before the first shown value there is no range yet (the minimum still above the maximum).
    if (yMin <= yMax)
        emit SetYRange(static_cast<double>(yMin) - 0.5, static_cast<double>(yMax) + 0.5);
}

int DataSource::WriteData(quint32 address, int typeCode, const QString& value, QString& refusal) {
    return writeEditedValue(address, typeCode, value, refusal);
}

int DataSource::ScalingIndex(quint32 address) {
    const WatchList& watch = watchList();
    int index = 0;
    for (int i = 0; i < watch.count && i < kMaxVars; ++i) {
        if (static_cast<quint32>(watch.address[i]) == address)
            index = i;
    }
    return index;
}

void DataSource::SetLastDataYResolutionAndOffset(quint32 address, int yOffset, double yResolution) {
    qCDebug(lcChart) << "SetLastDataYResolutionAndOffset addr =" << address << " yo= " << yOffset << " yr "
                     << yResolution;
    if (CommonCfg::RunFlag() == 0 || stopped)
        return;
    SetYResolutionAndOffset(address, yOffset, yResolution);
    Redeliver();
}

void DataSource::SetYResolutionAndOffset(quint32 address, int yOffset, double yResolution) {
    const int index = ScalingIndex(address);
    WatchList& watch = watchList();
    watch.offset[index] = static_cast<float>(yOffset);
    watch.scale[index] = static_cast<float>(yResolution);
}

void DataSource::UpdateDataByScroll() {
    Redeliver();
}

void DataSource::Redeliver() {
    if (worker->isRunning()) {
        worker->Redeliver();
        return;
    }
    // No worker thread (sampling stopped): the frames of the time the chart shows, wherever they are
    // in the ring; without a chart, the newest ones as the worker takes them.
    const int count = watchList().count;
    QVector<QVector<QPointF>> data(count);
    QValueAxis* axis = nullptr;
    for (int i = 0; i < m_series.size() && axis == nullptr; ++i)
        axis = m_series[i] != nullptr ? TimeAxisOf(*m_series[i]) : nullptr;
    if (axis != nullptr)
        RingWindow::Points(FrameQueue::instance(), static_cast<qint64>(std::floor(axis->min())),
                           static_cast<qint64>(std::ceil(axis->max())), kHistoryPoints, data);
    else
        GetData::Drain(data, false);
    Display(data, QVector<QVector<float>>(count));
}

void DataSource::Display(const QVector<QVector<QPointF>>& data_value,
                         const QVector<QVector<float>>& math_value) {
    // A live batch still queued when its worker stopped is older than what the stop drew from the ring.
    if (sender() == worker && !worker->isRunning())
        return;
    QVector<QVector<float>> math = math_value;
    QVector<QVector<QPointF>> scaled;
    DisplayMath::ScaleBatch(data_value, watchList(), scaled, math);
    // From here on per row: each row shows its own variable's slot.
    const QVector<int> slotOf = m_rowsSet ? RowSlots() : RowBinding::Identity(scaled.size());
    work = RowBinding::ByRow(scaled, slotOf);
    math = RowBinding::ByRow(math, slotOf);
    QVector<bool> shown;
    for (const RowKey& row : qAsConst(m_rows))
        shown << row.shown;

    float newMin = 0.0f;
    float newMax = 0.0f;
    if (DisplayMath::BatchRange(math, shown, newMin, newMax))
        DisplayMath::ApplyHysteresis(newMin, newMax, yMin, yMax);

    const WatchList& watch = watchList();
    varList.resize(data_value.size());
    for (int i = 0; i < varList.size(); ++i)
        varList[i] = i < kMaxVars ? static_cast<quint32>(watch.address[i]) : 0u;

    for (const QVector<QPointF>& series : qAsConst(scaled)) {
        if (series.isEmpty())
            continue;
        if (firstDataTime == kNoDataTime)
            firstDataTime = static_cast<qint64>(series.first().x());
        lastDataTime = static_cast<qint64>(series.last().x());
        break;
    }

    // The values read by type come from the frame itself: a chart point's double loses digits.
    QStringList texts;
    SampleFrame newest;
    if (FrameQueue::instance().newest(newest) == 1) {
        for (const int slot : slotOf)
            texts << (slot >= 0 && slot < newest.count && slot < watch.count
                          ? sampleText(newest.value[slot], watch.typeCode[slot])
                          : QString());
    }
    {
        QMutexLocker lock(&m_dataLock);
        points.swap(work);
        mathValues.swap(math);
        if (!texts.isEmpty())
            valueTexts.swap(texts);
    }
    work.clear();

    if (CommonCfg::ChartRefresh())
        UpdateAllSeries();
    // The table reads Points() and MathValues() when told.
    emit VarValuesUpdated();
    // The next batch once this one is on the screen, or at once when the chart draws nothing.
    QWidget* window = ChartWindow();
    if (window != nullptr && CommonCfg::ChartRefresh())
        pacer->Arm(window);
    else if (!pacer->IsArmed())
        worker->BatchTaken();
}

QWidget* DataSource::ChartWindow() const {
    for (const QPointer<QAbstractSeries>& series : m_series) {
        const QChart* chart = series != nullptr ? series->chart() : nullptr;
        if (chart == nullptr || chart->scene() == nullptr)
            continue;
        for (QGraphicsView* view : chart->scene()->views())
            if (view->isVisible())
                return view->window();
    }
    return nullptr;
}

void DataSource::EmitXBegin(double begin) {
    emit SetXBegin(qRound64(begin));
}
