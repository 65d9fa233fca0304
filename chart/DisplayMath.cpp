#include "DisplayMath.h"

#include "SampleValue.h"
#include "WatchList.h"

#include <cmath>
#include <type_traits>

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

namespace {

// Which rule of ScaledValue applies to a variable: fixed by its scale and type code, so found once a
// batch and not at every point.
enum class Rounding { None, ToFloat, Whole, ToInt32 };

Rounding RoundingOf(float scale, int typeCode) {
    if (typeCode == kCodeDouble)
        return Rounding::None;
    if (!isWholeNumberCode(typeCode))
        return Rounding::ToFloat;
    if (scale != std::trunc(scale))
        return Rounding::None;
    // Unsigned 32-bit and 64-bit values reach beyond the signed 32-bit range the other integers use.
    if (typeCode == kCodeUnsigned || sizeOfCode(typeCode) == 8)
        return Rounding::Whole;
    return Rounding::ToInt32;
}

template <Rounding R> double ScaledAs(double y, float scale, float offset) {
    const double scaled = y * static_cast<double>(scale) + static_cast<double>(offset);
    if constexpr (R == Rounding::ToFloat)
        return static_cast<double>(static_cast<float>(scaled));
    else if constexpr (R == Rounding::Whole)
        return std::trunc(scaled);
    else if constexpr (R == Rounding::ToInt32)
        return static_cast<double>(TruncToInt32(scaled));
    else
        return scaled;
}

// One variable's points, with the rule fixed at compile time so that the loop holds no branch on it.
template <Rounding R>
void ScaleRun(const QPointF* from, QPointF* to, int n, float scale, float offset, float& lo, float& hi) {
    for (int k = 0; k < n; ++k) {
        const double value = ScaledAs<R>(from[k].y(), scale, offset);
        to[k] = QPointF(static_cast<double>(TruncToInt64(from[k].x())), value);
        const float v = static_cast<float>(value);
        lo = v < lo ? v : lo;
        hi = v > hi ? v : hi;
    }
}

// Calls f with the rule as a compile-time constant (a std::integral_constant).
template <class F> auto WithRounding(Rounding rounding, F&& f) {
    switch (rounding) {
    case Rounding::None:
        break;
    case Rounding::ToFloat:
        return f(std::integral_constant<Rounding, Rounding::ToFloat>());
    case Rounding::Whole:
        return f(std::integral_constant<Rounding, Rounding::Whole>());
    case Rounding::ToInt32:
        return f(std::integral_constant<Rounding, Rounding::ToInt32>());
    }
    return f(std::integral_constant<Rounding, Rounding::None>());
}

double Scaled(double y, float scale, float offset, Rounding rounding) {
    return WithRounding(rounding,
                        [&](auto rule) { return ScaledAs<decltype(rule)::value>(y, scale, offset); });
}

} // namespace

double ScaledValue(double y, float scale, float offset, int typeCode) {
    return Scaled(y, scale, offset, RoundingOf(scale, typeCode));
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
        const Rounding rounding = RoundingOf(scale, typeCode);
        const QVector<QPointF>& source = in[i];
        const int n = source.size();
        QVector<QPointF>& points = out[i];
        points.resize(n);
        QPointF* to = points.data();
        // An entry the worker already filled is extended, an empty one is seeded by the first value.
        QVector<float>& extremes = math[i];
        bool seeded = extremes.size() >= 2;
        if (!seeded && n > 0) {
            const float first = static_cast<float>(Scaled(source[0].y(), scale, offset, rounding));
            extremes = {first, first};
            seeded = true;
        }
        float lo = seeded ? extremes[0] : 0.0f;
        float hi = seeded ? extremes[1] : 0.0f;
        const QPointF* from = source.constData();
        WithRounding(rounding,
                     [&](auto rule) { ScaleRun<decltype(rule)::value>(from, to, n, scale, offset, lo, hi); });
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
