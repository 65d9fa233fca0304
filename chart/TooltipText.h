#pragma once

#include "RowBinding.h"

#include <QString>
#include <QVector>

struct SampleFrame;
struct WatchList;

// The tooltip over the chart: "time: %1" with the time of the sample under the mouse, then one line
// "name: value" per shown row whose variable that sample holds. The value is the variable's own, read
// by its type with every digit, as the value cell shows it; where the row's Y resolution or offset
// changes the curve, the curve's value follows in brackets ("temperature: 335 (33.5)").
QString TooltipText(const SampleFrame& frame, const QVector<RowKey>& rows, const QVector<int>& slotOf,
                    const WatchList& watch);
