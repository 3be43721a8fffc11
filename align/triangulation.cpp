// The advancing front: a stack of directed edges, each with the unexplored
// side on its left. The last edge is taken, the point on its left with the
// smallest circle parameter closes a triangle, and of the triangle's two new
// sides each either meets its opposite on the front (both vanish) or joins
// it. An edge with nothing on its left lies on the hull and is dropped.
//
// A point that has joined the mesh and stands on no front edge any more is
// enclosed by triangles: it is finished and no longer looked at. Points on
// one circle (four corners of a cell of a regular grid of markers) tie; the
// rule in closestOnLeft makes edges that reach such a polygon from different
// sides cut it the same way, so no triangles overlap.
#include "align/triangulation.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "api/report.h"

namespace tamble {
namespace {

using point = xyVec<double>;

// (a - o) x (b - o): positive when b lies on the left of o -> a.
double cross(const point& o, const point& a, const point& b) {
  return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

double distance2(const point& a, const point& b) {
  const double dx = b.x - a.x, dy = b.y - a.y;
  return dx * dx + dy * dy;
}

// Points are worked on by index; the front's edges name their ends.
struct edge {
  int from, to;
};

// The points moved so that no coordinate is negative, each place once: a
// point within `tolerance` of an earlier one could never be a corner. A
// point that is not a finite number has no place.
struct workSet {
  std::vector<point> at;
  double shiftX = 0.0, shiftY = 0.0;

  workSet(const std::vector<point>& points, double tolerance) {
    const auto finite = [](const point& p) { return std::isfinite(p.x) && std::isfinite(p.y); };
    for (const point& p : points) {
      if (!finite(p)) continue;
      shiftX = std::min(shiftX, p.x);
      shiftY = std::min(shiftY, p.y);
    }
    for (const point& p : points) {
      if (!finite(p)) continue;
      const point q(p.x - shiftX, p.y - shiftY);
      const auto same = [&](const point& o) {
        return std::fabs(o.x - q.x) <= tolerance && std::fabs(o.y - q.y) <= tolerance;
      };
      if (std::none_of(at.begin(), at.end(), same)) at.push_back(q);
    }
  }
  point original(int i) const { return {at[i].x + shiftX, at[i].y + shiftY}; }
  int size() const { return static_cast<int>(at.size()); }
};

// A hull edge with every point on its left or on it: from the leftmost
// (then lowest) point to the point that no other lies to the right of, the
// nearest of those on one line.
edge firstHullEdge(const std::vector<point>& p, double tolerance) {
  int a = 0;
  for (int i = 1; i < static_cast<int>(p.size()); ++i)
    if (p[i].x < p[a].x || (p[i].x == p[a].x && p[i].y < p[a].y)) a = i;
  int b = a == 0 ? 1 : 0;
  for (int i = 0; i < static_cast<int>(p.size()); ++i) {
    if (i == a || i == b) continue;
    // On the line within the tolerance of the search (twice the cross
    // product): the nearer point, or the farther one would never be a corner.
    const double c = 2.0 * cross(p[a], p[b], p[i]);
    if (c < -tolerance || (c <= tolerance && distance2(p[a], p[i]) < distance2(p[a], p[b]))) b = i;
  }
  return {a, b};
}

// The front and what each point's state is.
class advancingFront {
 public:
  advancingFront(int n, edge first) : onFront_(n, 0), used_(n, 0) {
    used_[first.from] = used_[first.to] = 1;
    push(first);
  }
  bool empty() const { return edges_.empty(); }
  edge pop() {
    const edge e = edges_.back();
    edges_.pop_back();
    --onFront_[e.from];
    --onFront_[e.to];
    return e;
  }
  // A new side of a triangle: it cancels its opposite, or joins the front.
  void join(int from, int to) {
    used_[from] = used_[to] = 1;
    const auto opposite = std::find_if(edges_.begin(), edges_.end(),
                                       [&](const edge& e) { return e.from == to && e.to == from; });
    if (opposite == edges_.end()) {
      push({from, to});
      return;
    }
    --onFront_[from];
    --onFront_[to];
    edges_.erase(opposite);
  }
  bool finished(int i) const { return used_[i] && onFront_[i] == 0; }

 private:
  void push(edge e) {
    edges_.push_back(e);
    ++onFront_[e.from];
    ++onFront_[e.to];
  }
  std::vector<edge> edges_;
  std::vector<int> onFront_;
  std::vector<std::uint8_t> used_;
};

// Circles through the ends of a front edge a -> b: the centre of the one
// through point i lies at M + t n, M the mid point, n the left normal.
class circlesOnEdge {
 public:
  circlesOnEdge(const std::vector<point>& p, edge e, double tolerance)
      : p_(p),
        e_(e),
        tolerance_(tolerance),
        m_((p[e.from].x + p[e.to].x) * 0.5, (p[e.from].y + p[e.to].y) * 0.5),
        n_(-(p[e.to].y - p[e.from].y), p[e.to].x - p[e.from].x),
        r2_(distance2(m_, p[e.from])) {}

  // t of point i; false for the ends and for points on the edge's line.
  bool parameter(int i, double& t) const {
    if (i == e_.from || i == e_.to) return false;
    const double denominator = 2.0 * (n_.x * (p_[i].x - m_.x) + n_.y * (p_[i].y - m_.y));
    if (std::fabs(denominator) < tolerance_) return false;
    t = (distance2(m_, p_[i]) - r2_) / denominator;
    return true;
  }
  bool onLeft(int i) const { return cross(p_[e_.from], p_[e_.to], p_[i]) > 0; }
  // Whether t and u give one circle, up to rounding.
  static bool same(double t, double u) {
    return std::fabs(t - u) <= 1e-9 * std::max(1.0, std::fabs(t));
  }

 private:
  const std::vector<point>& p_;
  edge e_;
  double tolerance_;
  point m_, n_;
  double r2_;
};

// Of points on one circle, the one next to `end` along the arc on the left
// of the edge: the others lie on one side of the line from `end` to it
// (`turn` 1 for the arc's start b, -1 for its end a).
int nextAlongArc(const std::vector<point>& p, const std::vector<int>& arc, int end, int turn) {
  int next = arc.front();
  for (int i : arc)
    if (turn * cross(p[end], p[next], p[i]) < 0) next = i;
  return next;
}

// The point on the left of the edge whose circle through the edge's ends
// leaves every other such point outside (the smallest t); -1 if none.
// Points on one circle are a convex polygon that any fan triangulates; every
// edge into it takes the triangle of the fan from the polygon's first point
// (by index), so triangles found from different edges fit together.
int closestOnLeft(const std::vector<point>& p, edge e, double tolerance,
                  const advancingFront& front) {
  const circlesOnEdge circles(p, e, tolerance);
  const int n = static_cast<int>(p.size());
  int best = -1;
  double bestT = 1e30, t = 0;
  for (int i = 0; i < n; ++i)
    if (!front.finished(i) && circles.onLeft(i) && circles.parameter(i, t) && t < bestT) {
      best = i;
      bestT = t;
    }
  if (best < 0) return best;
  std::vector<int> arc;  // the open points on the circle, left of the edge
  int first = std::min(e.from, e.to);
  for (int i = 0; i < n; ++i) {
    if (!circles.parameter(i, t) || !circlesOnEdge::same(bestT, t)) continue;
    first = std::min(first, i);
    if (!front.finished(i) && circles.onLeft(i)) arc.push_back(i);
  }
  if (arc.size() < 2) return best;
  if (first == e.from) return nextAlongArc(p, arc, e.to, 1);
  if (first == e.to) return nextAlongArc(p, arc, e.from, -1);
  return std::find(arc.begin(), arc.end(), first) != arc.end() ? first
                                                               : nextAlongArc(p, arc, e.to, 1);
}

}  // namespace

void TriAngleSearch(const std::vector<xyVec<double>>& points, double tolerance,
                    std::vector<triangle>& triangles) {
  triangles.clear();
  const workSet set(points, tolerance);
  if (set.size() < 3) return;
  advancingFront front(set.size(), firstHullEdge(set.at, tolerance));
  // A plane triangulation of n points has fewer than 2n triangles; the bound
  // only guards against rounding in nearly degenerate sets.
  const std::size_t most = 2 * static_cast<std::size_t>(set.size());
  while (!front.empty() && triangles.size() < most) {
    const edge e = front.pop();
    const int c = closestOnLeft(set.at, e, tolerance, front);
    if (c < 0) continue;  // a hull edge
    triangles.push_back({set.original(e.from), set.original(e.to), set.original(c)});
    front.join(e.from, c);
    front.join(c, e.to);
  }
}

namespace {

// The side of p from the line through u and v, worked from the end that
// comes first in x, then y: the triangles on both sides of a shared side see
// the same number with opposite signs, so a point on it is never lost to
// rounding between them.
double sideOf(const point& u, const point& v, const point& p) {
  const bool swapped = v.x < u.x || (v.x == u.x && v.y < u.y);
  const double s = swapped ? cross(v, u, p) : cross(u, v, p);
  return swapped ? -s : s;
}

// Whether p lies on the side of the line u -> v where w lies, or on it.
bool halfPlane(const point& u, const point& v, const point& w, const point& p) {
  const double inner = sideOf(u, v, w);
  if (inner == 0) {
    zel::noticeUnlessQuiet(pointNoAngle);
    return false;
  }
  const double side = sideOf(u, v, p);
  return inner > 0 ? side >= 0 : side <= 0;
}

}  // namespace

bool PointInTriangle(double x0, double y0, double x1, double y1, double x2, double y2, double px,
                     double py) {
  const point a(x0, y0), b(x1, y1), c(x2, y2), p(px, py);
  return halfPlane(a, b, c, p) && halfPlane(c, a, b, p) && halfPlane(b, c, a, p);
}

}  // namespace tamble
