#pragma once

#include <QStringList>
#include <QVector>
#include <QtGlobal>

// The table's statistics texts, per row in row order: min, max, mean and peak-to-peak over every frame
// the ring keeps from chart time `left` to `right`, each row's own variable as displayed (after its Y
// resolution and Y offset); empty texts for a row without frames there or without a slot.
QVector<QStringList> RowStatisticsTexts(qint64 left, qint64 right, const QVector<int>& rowSlots);
