#pragma once

#include <QString>
#include <QStringList>
#include <QVector>
#include <functional>

// The time axis's labels: plain numbers in one unit chosen from the time base (µs, ms or s), the unit
// shown once as the axis title, on every grid line or, where the labels would not fit, on every
// second or fifth one. The grid itself keeps all its lines.
namespace TimeAxis {

struct Labels {
    QString unit;       // "µs", "ms" or "s"
    int every = 1;      // every how many-th grid line carries a label
    QVector<double> at; // microseconds of the labelled grid lines, left to right
    QStringList texts;  // their labels
};

// The unit of a time base of this many microseconds per division, and microseconds per unit.
QString UnitOf(double stepUs, double* usPerUnit);

// Labels for grid lines from `min` to `max` microseconds in `divisions` equal parts, in the unit of
// the time base `stepUs`, for a plot `plotWidth` pixels wide whose label font measures a text with
// `textWidth`. A label fits when it is no wider than the plot's width shared among one more than the
// labels shown, less padding: there it is never cut short.
Labels Make(double min, double max, int divisions, double stepUs, double plotWidth,
            const std::function<double(const QString&)>& textWidth);

} // namespace TimeAxis
