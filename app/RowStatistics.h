#pragma once

#include "RingStats.h"

#include <QStringList>
#include <QVector>
#include <QtGlobal>

// How each row's variable is read for its statistics, per row in row order: its slot and type, and its
// Y resolution and Y offset as they are now.
QVector<StatsSource> RowStatsSources(const QVector<int>& rowSlots);

// The table's statistics texts, per row in row order: min, max, mean and peak-to-peak over every frame
// the ring keeps from chart time `left` to `right`, each row's own variable as displayed; empty texts for
// a row without frames there or without a slot. Reads only the ring: it may run on any thread.
QVector<QStringList> RowStatisticsTexts(qint64 left, qint64 right, const QVector<StatsSource>& sources);

// The names and displayed values of the shown rows at the frame nearest to chart time `time`: what the
// measurement cursors read. Nothing when the ring is empty.
void RowValuesAt(qint64 time, const QStringList& rowNames, const QVector<bool>& shown,
                 const QVector<int>& rowSlots, QStringList& names, QVector<double>& values);
