#pragma once

#include "RowBinding.h"
#include <QList>
#include <QMutex>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVector>

#include <QtCharts/QAbstractSeries>
#include <cstdint>
#include <limits>

class BatchPacer;
class GetData;
class QLabel;
class QWidget;

// Stands between the acquisition worker and the chart: receives every batch of sampled points,
// applies each variable's Y resolution and Y offset, keeps the point lists the line series show and
// the running Y range, and forwards value writes and scaling changes to the sampling side.
class DataSource : public QObject {
    Q_OBJECT
public:
    // The time value that means no data has arrived yet.
    static constexpr qint64 kNoDataTime = std::numeric_limits<qint64>::min();

    explicit DataSource(QObject* parent = nullptr);
    ~DataSource() override;

    // The chart's line series, index = table row. Series deleted later read as null and are skipped.
    void SetSeries(const QList<QtCharts::QAbstractSeries*>& series);
    // The table's rows, one per series. From the first call on, every per-row output (points, extremes,
    // value texts) is the data of each row's own variable (RowBinding.h), and only shown rows set the Y
    // range; before it, rows are the session's variables in its order.
    void SetRows(const QVector<RowKey>& rows);
    // The watch-list slot each row shows, -1 for none.
    QVector<int> RowSlots() const;
    const QVector<RowKey>& Rows() const { return m_rows; }
    // The label that shows the frame rate; while null no rate is shown.
    void SetFpsLabel(QLabel* label) { fpsLabel = label; }
    QLabel* FpsLabel() const { return fpsLabel; }

    // Start of acquisition: clears `stopped`, forgets the times of the last run and starts the
    // worker's thread at time-critical priority.
    void StartAcquisition();
    // Stops the worker's thread. `stopped` stays clear, so that a scaling change while stopped
    // redraws the kept curves.
    void StopAcquisition();
    bool IsStopped() const { return stopped; }
    void SetStopped(bool on) { stopped = on; }
    GetData* Worker() const { return worker; }

    // The newest batch as the variable table reads it: one point vector per row (y of the last point is
    // the newest value) and one {min, max} vector per row. Copies, taken under a lock.
    QVector<QVector<QPointF>> Points() const;
    QVector<QVector<float>> MathValues() const;
    // The newest sample of each watched variable as its own type reads it (formatSample), taken
    // from the frame ring at each batch: the value cell's texts, unscaled. Empty before any frame.
    QStringList ValueTexts() const;
    // Newest time seen since the start of acquisition, or kNoDataTime.
    qint64 GetLastDataTime() const { return lastDataTime; }
    float YMax() const { return yMax; }
    float YMin() const { return yMin; }
    int UpdateIndex() const { return updateIndex; }

signals:
    void SetXRange(double left, double right);
    void SetYRange(double min, double max);
    void SetXBegin(qint64 begin);
    // A batch has been taken in: the value column can show the newest values.
    void VarValuesUpdated();

public slots:
    QVector<quint32> GetVarList() const;
    void Update(QtCharts::QAbstractSeries* series, int seriesIndex);
    void UpdateAllSeries();
    // Writes a typed value into the variable of this type code (SampleValue.h); a text that is no
    // value of the type writes nothing and comes back as kWriteRefused with the reason in `refusal`.
    int WriteData(quint32 address, int typeCode, const QString& value, QString& refusal);
    void SetLastDataYResolutionAndOffset(quint32 address, int yOffset, double yResolution);
    void SetYResolutionAndOffset(quint32 address, int yOffset, double yResolution);
    void UpdateDataByScroll();
    void Display(const QVector<QVector<QPointF>>& data_value, const QVector<QVector<float>>& math_value);
    qint64 GetFirstDataTime() const { return firstDataTime; }
    // Rounds a scroll start to the nearest microsecond and emits it as SetXBegin.
    void EmitXBegin(double begin);

private:
    // Index of the variable with this address in the watch list (the last match); 0 when none.
    static int ScalingIndex(quint32 address);
    // The worker's stored data once more: through its thread while it runs, else drained here.
    void Redeliver();
    // The window that shows the curves, if one is visible.
    QWidget* ChartWindow() const;

    QVector<QVector<QPointF>> points;
    QVector<QVector<QPointF>> work;
    QVector<QVector<float>> mathValues;
    QStringList valueTexts;
    int updateIndex = -1;
    QLabel* fpsLabel = nullptr;
    qint64 firstDataTime = kNoDataTime;
    qint64 lastDataTime = kNoDataTime;
    QVector<quint32> varList;
    GetData* worker = nullptr;
    BatchPacer* pacer = nullptr;
    float yMax;
    float yMin;
    bool stopped = true;

    QList<QPointer<QtCharts::QAbstractSeries>> m_series;
    QVector<RowKey> m_rows;
    bool m_rowsSet = false;
    mutable QMutex m_dataLock;
};
