#pragma once

#include <QString>
#include <QStringList>
#include <QVector>
#include <QtGlobal>

// The two measurement cursors' readout: times in readable units and each shown variable's value at
// A, at B and the difference. No widgets.
namespace CursorReadout {
// Microseconds as "850 us", "12.5 ms", "3.2 s", "10800 s" (four significant digits, or the whole
// number where it has more; sign kept).
QString Duration(double us);
// Hertz as "2 Hz", "1.25 kHz", "1 MHz".
QString Rate(double hz);
// "t_A: ..", "t_B: ..", "Δt: ..", "1/Δt: .." (empty Δ lines while a cursor is missing: `hasB` false),
// then "NAME: A | B | Δ" per name.
QString Text(qint64 tA, bool hasB, qint64 tB, const QStringList& names, const QVector<double>& atA,
             const QVector<double>& atB);
} // namespace CursorReadout
