#pragma once

#include <vector>

namespace Bench {

struct Point {
  double x;
  double y;
};

struct Line {
  double slope;
  double atZero;
  /// The part of the differences among the values that the line explains: 1 for points on a line.
  double fit;
};

/// The straight line through `points` with the least squares of the distances.
inline Line fit(std::vector<Point> const& points) {
  auto const count = static_cast<double>(points.size());
  double x = 0;
  double y = 0;
  for (Point const& point : points) {
    x += point.x / count;
    y += point.y / count;
  }
  double xx = 0;
  double xy = 0;
  double yy = 0;
  for (Point const& point : points) {
    xx += (point.x - x) * (point.x - x);
    xy += (point.x - x) * (point.y - y);
    yy += (point.y - y) * (point.y - y);
  }
  double const slope = xy / xx;
  return {slope, y - slope * x, xy * slope / yy};
}

}  // namespace Bench
