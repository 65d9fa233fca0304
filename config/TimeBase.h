#pragma once

#include <QStringList>
#include <QVector>

// The oscilloscope time base: 23 steps from "10us/Div" to "200s/Div".
namespace TimeBase {

// Labels as the zoom control shows them, in index order.
QStringList Labels();
// Microseconds per division, in the same order as Labels().
const QVector<int>& Values();
// Index of a label, or -1 when it is not in the table.
int IndexOfLabel(const QString& label);
// Index of a value, or -1 when it is not in the table.
int IndexOfValue(int microsecondsPerDiv);

} // namespace TimeBase
