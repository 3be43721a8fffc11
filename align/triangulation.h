// Delaunay triangulation of a marker set by an advancing front, and the test
// that tells whether a pixel lies in a triangle. Triangulated alignment and
// "Triangulation Draw" cut the image into the triangles found here.
#pragma once

#include <vector>

#include "api/vectors.h"

namespace tamble {

// Three corners in the order of their finding: the front edge (a, b) and the
// point c found on its left, so that each triangle turns the same way.
struct triangle {
  xyVec<double> a, b, c;
};

// The notice of PointInTriangle for a triangle with a side of no direction.
inline constexpr const char* pointNoAngle = "*POINT* NO ANGLE";

// The Delaunay triangles of `points` into `triangles` (emptied first). The
// front starts from a hull edge; each front edge takes the point on its left
// whose circle through the edge's ends leaves every other such point outside.
// A point whose cross product with an edge is below tolerance/2 counts as on
// the edge's line there, and a point within `tolerance` of an earlier one is
// the same point. Points on one circle are cut into triangles in one
// consistent way. Fewer than 3 points, or points on one line, give no
// triangle; points that are not finite numbers are left out. Corners come
// back at the points' positions to within rounding: the work runs on
// coordinates shifted to be non-negative.
void TriAngleSearch(const std::vector<xyVec<double>>& points, double tolerance,
                    std::vector<triangle>& triangles);

// Whether (px, py) lies in the triangle, its sides included: on the side of
// each side where the third corner lies. A triangle whose corners lie on one
// line has no inside: it answers false with the notice "*POINT* NO ANGLE"
// (unless quiet).
bool PointInTriangle(double x0, double y0, double x1, double y1, double x2, double y2, double px,
                     double py);

}  // namespace tamble
