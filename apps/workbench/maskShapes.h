// The ROI tool's shapes laid onto a mask: a rectangle is a polygon of four
// corners, a freehand line is a polygon of the points the mouse passed.
#pragma once

#include <vector>

#include "api/arrayWorks.h"

namespace tamble::workbench {

struct point {
  double x = 0.0;
  double y = 0.0;
};

// Sets to `value` every pixel whose centre (x + 0.5, y + 0.5) lies inside
// the closed polygon by the even-odd rule; pixels on the far edges of a
// rectangle's corners stay outside, so that a rectangle from (0, 0) to
// (w, h) covers exactly w by h pixels. Fewer than three points change
// nothing. Answers how many pixels the polygon covers.
long paintPolygon(zel::arrayStore<bool, 2>& mask, const std::vector<point>& polygon, bool value);

}  // namespace tamble::workbench
