#ifndef SOAK_CURVE_H
#define SOAK_CURVE_H

#include <vector>

namespace soak
{

/// One measurement: how far the work was, and the memory in KiB then.
struct Point {
    double work;
    double memory;
};

/// How memory went over the last nine tenths of the work.
struct Course {
    double growth = 0;    ///< KiB from the beginning to the end of these nine tenths, along the line of least squares
    double spread = 0;    ///< KiB between the lowest and the highest point
    bool isKnown = false; ///< false: fewer than two points
};

/// The first tenth warms up: libraries are loaded, caches and arenas filled.
Course courseOf(const std::vector<Point> &points);

} // namespace soak

#endif // SOAK_CURVE_H
