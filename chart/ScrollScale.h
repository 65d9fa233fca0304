#pragma once

#include <QtGlobal>

// The scroll bar counts in ints, chart times are 64-bit microseconds. Its positions are microseconds from 0
// while the scroll range fits into an int (runs shorter than 35 minutes); past that they count from the
// range's start, in steps of `unit` microseconds where even the range itself does not fit.
struct ScrollScale {
    qint64 origin = 0;
    qint64 unit = 1;

    // For left edges from `min` to `max` microseconds and views `page` microseconds wide.
    static ScrollScale For(qint64 min, qint64 max, qint64 page);
    int Position(qint64 time) const;
    qint64 Time(int position) const { return origin + static_cast<qint64>(position) * unit; }
};
