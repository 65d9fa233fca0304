#pragma once

#include "RingStats.h"

#include <QFutureWatcher>
#include <QObject>
#include <QStringList>
#include <QVector>

// Computes the table's statistics off the GUI thread: a visible span can hold the whole ring, a million
// frames, too many to read between two paints. One computation runs at a time; a request made while it
// runs waits for it, and only the newest waiting one is kept.
class StatisticsRunner : public QObject {
    Q_OBJECT
public:
    explicit StatisticsRunner(QObject* parent = nullptr);
    // Waits for a computation still running: it reads the ring.
    ~StatisticsRunner() override;

    // Over the frames of chart times `left` to `right`, each row read as `sources` says (taken on the
    // caller's thread, where the rows' scaling changes).
    void Request(qint64 left, qint64 right, const QVector<StatsSource>& sources);

signals:
    // Per row: min, max, mean and peak-to-peak texts (RowStatisticsTexts).
    void Ready(const QVector<QStringList>& rows);

private:
    void Run();

    QFutureWatcher<QVector<QStringList>> m_watcher;
    bool m_waiting = false;
    qint64 m_left = 0;
    qint64 m_right = 0;
    QVector<StatsSource> m_sources;
};
