#include "TimeAxis.h"

#include <algorithm>

namespace TimeAxis {

namespace {

// Room a label needs beside its text: the axis's padding on both sides and a little air.
constexpr double kLabelPadding = 12.0;

// Decimals enough to show a tenth of a division, never finer than a microsecond.
int DecimalsFor(double spacingUs, double usPerUnit) {
    int decimals = 0;
    for (double unit = usPerUnit; unit > 1.0 && unit > spacingUs / 10.0; unit /= 10.0)
        ++decimals;
    return decimals;
}

} // namespace

QString UnitOf(double stepUs, double* usPerUnit) {
    if (stepUs >= 1000000.0) {
        *usPerUnit = 1000000.0;
        return QStringLiteral("s");
    }
    if (stepUs >= 1000.0) {
        *usPerUnit = 1000.0;
        return QStringLiteral("ms");
    }
    *usPerUnit = 1.0;
    return QStringLiteral("µs");
}

Labels Make(double min, double max, int divisions, double stepUs, double plotWidth,
            const std::function<double(const QString&)>& textWidth) {
    Labels labels;
    double usPerUnit = 1.0;
    labels.unit = UnitOf(stepUs, &usPerUnit);
    if (divisions < 1 || !(max > min))
        return labels;
    const double spacing = (max - min) / divisions;
    const int decimals = DecimalsFor(spacing, usPerUnit);
    QStringList all;
    double widest = 0;
    for (int i = 0; i <= divisions; ++i) {
        all << QString::number((min + i * spacing) / usPerUnit, 'f', decimals);
        widest = std::max(widest, textWidth(all.last()));
    }
    // Every line, every second, fifth or tenth: the first that leaves each label its room; at worst
    // only the outer lines are labelled.
    labels.every = divisions;
    for (int every : {1, 2, 5, 10}) {
        if (every < divisions && widest + kLabelPadding <= plotWidth / (divisions / every + 2)) {
            labels.every = every;
            break;
        }
    }
    for (int i = 0; i <= divisions; i += labels.every) {
        // Labels of lines closer than their decimals can tell apart would repeat; the first one stays.
        if (!labels.texts.isEmpty() && labels.texts.last() == all[i])
            continue;
        labels.at << min + i * spacing;
        labels.texts << all[i];
    }
    return labels;
}

} // namespace TimeAxis
