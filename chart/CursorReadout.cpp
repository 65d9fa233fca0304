#include "CursorReadout.h"

#include <cmath>

namespace CursorReadout {

namespace {
QString Scaled(double value, const char* const units[], int count) {
    int unit = 0;
    while (unit + 1 < count && std::abs(value) >= 1000) {
        value /= 1000;
        ++unit;
    }
    // Four significant digits, but every digit of a whole number: hours of seconds never turn into
    // an exponent.
    int digits = 4;
    for (double whole = std::abs(value); whole >= 10000 && digits < 17; whole /= 10)
        ++digits;
    return QString::number(value, 'g', digits) + ' ' + units[unit];
}
QString Number(double v) {
    return QString::number(v, 'g', 7);
}
} // namespace

QString Duration(double us) {
    static const char* const units[] = {"us", "ms", "s"};
    return Scaled(us, units, 3);
}

QString Rate(double hz) {
    static const char* const units[] = {"Hz", "kHz", "MHz"};
    return Scaled(hz, units, 3);
}

QString Text(qint64 tA, bool hasB, qint64 tB, const QStringList& names, const QVector<double>& atA,
             const QVector<double>& atB) {
    QStringList lines{QString("t_A: %1").arg(Duration(double(tA)))};
    const double dt = double(tB - tA);
    if (hasB) {
        lines << QString("t_B: %1").arg(Duration(double(tB))) << QString("Δt: %1").arg(Duration(dt))
              << QString("1/Δt: %1").arg(dt != 0 ? Rate(1e6 / std::abs(dt)) : QString("-"));
    }
    for (int i = 0; i < names.size() && i < atA.size(); ++i) {
        if (hasB && i < atB.size())
            lines << QString("%1: %2 | %3 | Δ %4")
                         .arg(names[i], Number(atA[i]), Number(atB[i]), Number(atB[i] - atA[i]));
        else
            lines << QString("%1: %2").arg(names[i], Number(atA[i]));
    }
    return lines.join('\n');
}

} // namespace CursorReadout
