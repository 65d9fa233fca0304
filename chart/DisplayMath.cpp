#include "DisplayMath.h"

#include "SampleValue.h"
#include "WatchList.h"

#include <cmath>

namespace DisplayMath {

int32_t TruncToInt32(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0))
        return INT32_MIN;
    return static_cast<int32_t>(value);
}

int64_t TruncToInt64(double value) {
    if (!(value >= -9223372036854775808.0 && value < 9223372036854775808.0))
        return INT64_MIN;
    return static_cast<int64_t>(value);
}

double ScaledValue(double y, float scale, float offset, int typeCode) {
    const double scaled = y * static_cast<double>(scale) + static_cast<double>(offset);
    if (typeCode == kCodeDouble)
        return scaled;
    if (!isWholeNumberCode(typeCode))
        return static_cast<double>(static_cast<float>(scaled));
    if (scale != std::trunc(scale))
        return scaled;
    // Unsigned 32-bit and 64-bit values reach beyond the signed 32-bit range the other integers use.
    if (typeCode == kCodeUnsigned || sizeOfCode(typeCode) == 8)
        return static_cast<double>(std::trunc(scaled));
    return static_cast<double>(TruncToInt32(scaled));
}

void ScaleBatch(const QVector<QVector<QPointF>>& in, const WatchList& watch, QVector<QVector<QPointF>>& out,
                QVector<QVector<float>>& math) {
    const int count = in.size();
    out = QVector<QVector<QPointF>>(count);
    math.resize(count);
    for (int i = 0; i < count; ++i) {
        const bool known = i < kMaxVars;
        const float scale = known ? watch.scale[i] : 1.0f;
        const float offset = known ? watch.offset[i] : 0.0f;
        const int typeCode = known ? watch.typeCode[i] : kCodeFloat;
        const QVector<QPointF>& source = in[i];
        QVector<QPointF>& points = out[i];
        points.reserve(source.size());
        // An entry the worker already filled is extended, an empty one is seeded by the first value.
        QVector<float>& extremes = math[i];
        bool seeded = extremes.size() >= 2;
        float lo = seeded ? extremes[0] : 0.0f;
        float hi = seeded ? extremes[1] : 0.0f;
        for (const QPointF& p : source) {
            const int64_t time = TruncToInt64(p.x());
            const double value = ScaledValue(p.y(), scale, offset, typeCode);
            points.append(QPointF(static_cast<double>(time), value));
            const float v = static_cast<float>(value);
            if (!seeded) {
                lo = v;
                hi = v;
                seeded = true;
                continue;
            }
            if (v < lo)
                lo = v;
            if (v > hi)
                hi = v;
        }
        if (seeded)
            extremes = {lo, hi};
    }
}

bool BatchRange(const QVector<QVector<float>>& math, const QVector<bool>& shown, float& min, float& max) {
    bool seeded = false;
    for (int i = 0; i < math.size(); ++i) {
        const QVector<float>& m = math[i];
        if (m.size() < 2 || (!shown.isEmpty() && !shown.value(i)))
            continue;
        if (!seeded) {
            min = m[0];
            max = m[1];
            seeded = true;
            continue;
        }
        if (m[1] > max)
            max = m[1];
        if (m[0] < min)
            min = m[0];
    }
    return seeded;
}

void ApplyHysteresis(float newMin, float newMax, float& yMin, float& yMax) {
    const double span = yMax >= yMin ? static_cast<double>(yMax) - yMin : 0.0;
    const double margin = kYHysteresis * span;
    if (newMax >= yMax || static_cast<double>(yMax) - newMax > margin)
        yMax = newMax;
    if (newMin <= yMin || static_cast<double>(newMin) - yMin > margin)
        yMin = newMin;
}

} // namespace DisplayMath
