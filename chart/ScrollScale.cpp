#include "ScrollScale.h"

#include <algorithm>
#include <limits>

namespace {
constexpr qint64 kIntMax = std::numeric_limits<int>::max();
} // namespace

ScrollScale ScrollScale::For(qint64 min, qint64 max, qint64 page) {
    page = std::max<qint64>(page, 0);
    if (min >= 0 && max <= kIntMax - page)
        return ScrollScale{};
    ScrollScale scale;
    scale.origin = min;
    const qint64 span = std::max<qint64>(max - min, 0) + page;
    scale.unit = span <= kIntMax ? 1 : (span + kIntMax - 1) / kIntMax;
    return scale;
}

int ScrollScale::Position(qint64 time) const {
    const qint64 at = (time - origin) / unit;
    return static_cast<int>(std::max<qint64>(std::numeric_limits<int>::min(), std::min(at, kIntMax)));
}
