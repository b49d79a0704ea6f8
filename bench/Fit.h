#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

namespace Bench {

struct Point {
  double x;
  double y;
};

struct Line {
  double slope;
  double atZero;
  /// How far the line passes the worst point by, as a part of the point's value.
  double worst;
};

/// The straight line through `points`, whose values are above 0, with the least squares of the
/// distances as parts of the values: small and large points count alike.
inline Line fit(std::vector<Point> const& points) {
  double all = 0;
  double x = 0;
  double y = 0;
  for (Point const& point : points) {
    double const weight = 1 / (point.y * point.y);
    all += weight;
    x += weight * point.x;
    y += weight * point.y;
  }
  x /= all;
  y /= all;
  double xx = 0;
  double xy = 0;
  for (Point const& point : points) {
    double const weight = 1 / (point.y * point.y);
    xx += weight * (point.x - x) * (point.x - x);
    xy += weight * (point.x - x) * (point.y - y);
  }
  Line line{xy / xx, y - xy / xx * x, 0};
  for (Point const& point : points) {
    double const passed = std::abs(line.atZero + line.slope * point.x - point.y);
    line.worst = std::max(line.worst, passed / point.y);
  }
  return line;
}

}  // namespace Bench
