#include "Curve.h"

#include <algorithm>
#include <iterator>

namespace soak
{

namespace
{

/// Rise of memory for each unit of work, by least squares.
double slopeOf(const std::vector<Point> &points)
{
    double meanWork = 0;
    double meanMemory = 0;
    for (const Point &point : points) {
        meanWork += point.work / static_cast<double>(points.size());
        meanMemory += point.memory / static_cast<double>(points.size());
    }
    double together = 0;
    double square = 0;
    for (const Point &point : points) {
        together += (point.work - meanWork) * (point.memory - meanMemory);
        square += (point.work - meanWork) * (point.work - meanWork);
    }
    return square > 0 ? together / square : 0;
}

} // namespace

Course courseOf(const std::vector<Point> &points)
{
    Course course;
    if (points.empty())
        return course;
    const double begin = points.back().work / 10;
    std::vector<Point> rest;
    std::copy_if(points.begin(), points.end(), std::back_inserter(rest),
                 [begin](const Point &point) { return point.work >= begin; });
    if (rest.size() < 2)
        return course;
    const auto ends = std::minmax_element(rest.begin(), rest.end(),
                                          [](const Point &a, const Point &b) { return a.memory < b.memory; });
    course.spread = ends.second->memory - ends.first->memory;
    course.growth = slopeOf(rest) * (rest.back().work - rest.front().work);
    course.isKnown = true;
    return course;
}

} // namespace soak
