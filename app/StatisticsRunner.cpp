#include "StatisticsRunner.h"

#include "RowStatistics.h"

#include <QtConcurrent/QtConcurrentRun>

StatisticsRunner::StatisticsRunner(QObject* parent) : QObject(parent) {
    connect(&m_watcher, &QFutureWatcher<QVector<QStringList>>::finished, this, [this] {
        emit Ready(m_watcher.result());
        if (m_waiting)
            Run();
    });
}

StatisticsRunner::~StatisticsRunner() {
    m_watcher.waitForFinished();
}

void StatisticsRunner::Request(qint64 left, qint64 right, const QVector<StatsSource>& sources) {
    m_left = left;
    m_right = right;
    m_sources = sources;
    m_waiting = true;
    if (!m_watcher.isRunning())
        Run();
}

void StatisticsRunner::Run() {
    m_waiting = false;
    m_watcher.setFuture(QtConcurrent::run(RowStatisticsTexts, m_left, m_right, m_sources));
}
