#pragma once

#include <QPointF>
#include <QVector>
#include <cstdint>

struct WatchList;

// The arithmetic of one display batch: whole microseconds of time, each variable's scaling, the
// per-variable and overall extremes, and the Y range with its hysteresis.
namespace DisplayMath {

// Smallest positive normal float: the start of the Y maximum, so that an all-negative signal
// starts its axis at about zero.
constexpr float kYMaxStart = 1.17549435e-38f;
// Largest float: the start of the Y minimum.
constexpr float kYMinStart = 3.40282347e+38f;
// Inward changes of the Y range up to this fraction of its span are ignored: the axis holds still while
// the curves move inside it, at every time base and for values of any size.
constexpr double kYHysteresis = 0.1;

// Truncation toward zero into a signed 32-bit integer. NaN and values outside the range give
// INT32_MIN, the pattern the processor's own conversion yields, instead of undefined behaviour.
// Takes a double: on x86-64 a long double goes through the x87 unit, whose truncation switches the
// rounding mode around every conversion, and this runs for every point of every batch.
int32_t TruncToInt32(double value);
// The same into a signed 64-bit integer (INT64_MIN for NaN and values outside): the time of a point.
int64_t TruncToInt64(double value);

// Y x scale + offset in double, product first. Integers scaled by a fractional resolution keep the
// fraction (fixed-point data: a short in tenths of a degree at 0.1 reads 33.5); by a whole one they are
// truncated toward zero (into the signed 32-bit range, unsigned and 64-bit ones into whole numbers of
// any size). Doubles stay doubles, the other floating values become floats.
double ScaledValue(double y, float scale, float offset, int typeCode);

// Scales every point of a batch with the watch list's scale, offset and type code by variable
// index (variables beyond the list are drawn unscaled as floats). X becomes the whole microsecond.
// `math` is sized to one entry per variable and each entry becomes {smallest, largest} (extending
// what the entry already held); it stays empty for a variable without points.
void ScaleBatch(const QVector<QVector<QPointF>>& in, const WatchList& watch, QVector<QVector<QPointF>>& out,
                QVector<QVector<float>>& math);

// The overall extremes of a batch's per-variable extremes, of the curves marked shown only (all of them
// when `shown` is empty); false when none has any.
bool BatchRange(const QVector<QVector<float>>& math, const QVector<bool>& shown, float& min, float& max);

// Moves the Y range: outward at once, inward only by more than the hysteresis times its span (any
// change before the first range, while yMin is above yMax).
void ApplyHysteresis(float newMin, float newMax, float& yMin, float& yMax);

} // namespace DisplayMath
