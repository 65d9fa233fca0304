#pragma once

#include <QStringList>
#include <QVector>
#include <QtGlobal>

// The table's statistics texts, per row in row order: min, max, mean and peak-to-peak over every frame
// the ring keeps from chart time `left` to `right`, each row's own variable as displayed (after its Y
// resolution and Y offset); empty texts for a row without frames there or without a slot.
QVector<QStringList> RowStatisticsTexts(qint64 left, qint64 right, const QVector<int>& rowSlots);

// The names and displayed values of the shown rows at the frame nearest to chart time `time`: what the
// measurement cursors read. Nothing when the ring is empty.
void RowValuesAt(qint64 time, const QStringList& rowNames, const QVector<bool>& shown,
                 const QVector<int>& rowSlots, QStringList& names, QVector<double>& values);
