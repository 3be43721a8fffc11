#include "apps/workbench/maskShapes.h"

#include <algorithm>
#include <cmath>

namespace tamble::workbench {
namespace {

// Where the polygon's edges cross the line through the pixel centres of row
// `centreY`, in increasing x. An edge counts when one end lies on or above
// the line and the other below, so a vertex on the line is counted once.
std::vector<double> crossings(const std::vector<point>& polygon, double centreY) {
  std::vector<double> xs;
  for (std::size_t i = 0; i < polygon.size(); ++i) {
    const point& a = polygon[i];
    const point& b = polygon[(i + 1) % polygon.size()];
    if ((a.y <= centreY) == (b.y <= centreY)) continue;
    xs.push_back(a.x + (centreY - a.y) * (b.x - a.x) / (b.y - a.y));
  }
  std::sort(xs.begin(), xs.end());
  return xs;
}

// The first column whose centre lies at or right of `x`, kept in [0, width].
int firstColumnFrom(double x, int width) {
  const double column = std::ceil(x - 0.5);
  return static_cast<int>(std::clamp(column, 0.0, static_cast<double>(width)));
}

}  // namespace

long paintPolygon(zel::arrayStore<bool, 2>& mask, const std::vector<point>& polygon, bool value) {
  if (polygon.size() < 3) return 0;
  const int width = mask.width();
  long covered = 0;
  for (int y = 0; y < mask.height(); ++y) {
    const std::vector<double> xs = crossings(polygon, y + 0.5);
    bool* row = mask.row(y);
    for (std::size_t i = 0; i + 1 < xs.size(); i += 2) {
      const int from = firstColumnFrom(xs[i], width);
      const int to = firstColumnFrom(xs[i + 1], width);
      for (int x = from; x < to; ++x) row[x] = value;
      covered += std::max(0, to - from);
    }
  }
  return covered;
}

}  // namespace tamble::workbench
