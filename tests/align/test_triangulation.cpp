// The Delaunay mesh of marker sets: it covers the convex hull once, uses
// every point, leaves every circumcircle empty; and the point-in-triangle
// test on its sides and corners.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "align/triangulation.h"
#include "plugin/session.h"
#include "tests/support/sessionUi.h"

namespace {

using namespace tamble;
using point = xyVec<double>;

double cross(const point& o, const point& a, const point& b) {
  return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

// The convex hull's corners, counter-clockwise (monotone chain).
std::vector<point> hull(std::vector<point> p) {
  std::sort(p.begin(), p.end(),
            [](auto& a, auto& b) { return a.x < b.x || (a.x == b.x && a.y < b.y); });
  std::vector<point> h(2 * p.size());
  std::size_t k = 0;
  for (std::size_t i = 0; i < p.size(); ++i) {
    while (k >= 2 && cross(h[k - 2], h[k - 1], p[i]) <= 0) --k;
    h[k++] = p[i];
  }
  for (std::size_t i = p.size() - 1, t = k + 1; i-- > 0;) {
    while (k >= t && cross(h[k - 2], h[k - 1], p[i]) <= 0) --k;
    h[k++] = p[i];
  }
  h.resize(k - 1);
  return h;
}

bool strictlyIn(const triangle& t, const point& p) {
  return cross(t.a, t.b, p) > 1e-6 && cross(t.b, t.c, p) > 1e-6 && cross(t.c, t.a, p) > 1e-6;
}

// The mesh covers the hull exactly once: no triangle is turned over or flat,
// the areas add up to the hull's, random points in the hull lie in exactly
// one triangle (outside it in none), and every point is a corner.
void expectCoversTheHull(const std::vector<point>& points, const std::vector<triangle>& mesh,
                         int samples) {
  const std::vector<point> h = hull(points);
  double area = 0, hullArea = 0;
  for (std::size_t i = 0; i < h.size(); ++i)
    hullArea += cross({0, 0}, h[i], h[(i + 1) % h.size()]) / 2;
  for (const triangle& t : mesh) {
    EXPECT_GT(cross(t.a, t.b, t.c), 1e-6) << "a triangle turned over or flat";
    area += cross(t.a, t.b, t.c) / 2;
  }
  EXPECT_NEAR(area, hullArea, 1e-9 * hullArea);
  std::mt19937 gen(3);
  std::uniform_real_distribution<double> u(-0.1, 1.1);
  const auto [left, right] =
      std::minmax_element(points.begin(), points.end(), [](auto& a, auto& b) { return a.x < b.x; });
  const auto [low, high] =
      std::minmax_element(points.begin(), points.end(), [](auto& a, auto& b) { return a.y < b.y; });
  for (int s = 0; s < samples; ++s) {
    const point p(left->x + (right->x - left->x) * u(gen), low->y + (high->y - low->y) * u(gen));
    bool inHull = true;
    for (std::size_t i = 0; i < h.size(); ++i)
      inHull = inHull && cross(h[i], h[(i + 1) % h.size()], p) > 1e-6;
    EXPECT_EQ(std::count_if(mesh.begin(), mesh.end(), [&](auto& t) { return strictlyIn(t, p); }),
              inHull ? 1 : 0)
        << p.x << "," << p.y;
  }
  for (const point& p : points) {
    const auto at = [&](const point& c) { return std::hypot(c.x - p.x, c.y - p.y) < 1e-9; };
    EXPECT_TRUE(std::any_of(mesh.begin(), mesh.end(),
                            [&](auto& t) { return at(t.a) || at(t.b) || at(t.c); }))
        << "no corner at " << p.x << "," << p.y;
  }
}

struct pointSet {
  const char* name;
  int columns, rows;
  double spacing, jitter, originX, originY;
};

void PrintTo(const pointSet& s, std::ostream* os) { *os << s.name; }

// Markers on a grid, moved at random by up to `jitter` of the spacing; a
// jitter of 0 leaves a regular grid, where every cell's corners share a circle.
std::vector<point> makePoints(const pointSet& s) {
  std::mt19937 gen(7);
  std::uniform_real_distribution<double> move(-s.jitter, s.jitter);
  std::vector<point> p;
  for (int j = 0; j < s.rows; ++j)
    for (int i = 0; i < s.columns; ++i)
      p.emplace_back(s.originX + s.spacing * (i + move(gen)),
                     s.originY + s.spacing * (j + move(gen)));
  std::shuffle(p.begin(), p.end(), gen);
  return p;
}

class Mesh : public ::testing::TestWithParam<pointSet> {};

// The mesh covers the hull once, and no point lies inside the circle
// through a triangle's corners.
TEST_P(Mesh, CoversTheHullOnceWithEmptyCircumcircles) {
  const std::vector<point> points = makePoints(GetParam());
  std::vector<triangle> mesh;
  TriAngleSearch(points, 1e-6, mesh);
  expectCoversTheHull(points, mesh, 2000);
  for (const triangle& t : mesh) {
    const double ax = t.a.x - t.c.x, ay = t.a.y - t.c.y, bx = t.b.x - t.c.x, by = t.b.y - t.c.y;
    const double d = 2 * (ax * by - ay * bx);
    const double ux = (by * (ax * ax + ay * ay) - ay * (bx * bx + by * by)) / d;
    const double uy = (ax * (bx * bx + by * by) - bx * (ax * ax + ay * ay)) / d;
    for (const point& p : points)
      EXPECT_GE(std::hypot(p.x - t.c.x - ux, p.y - t.c.y - uy), std::hypot(ux, uy) * (1 - 1e-9));
  }
}

const pointSet sets[] = {
    {"Jittered", 10, 10, 50.0, 0.3, 30.0, 40.0},
    {"JitteredWide", 25, 4, 31.0, 0.45, 5.0, 900.0},
    {"NegativeCoordinates", 8, 7, 40.0, 0.3, -400.0, -150.0},
    {"RegularGrid", 7, 6, 64.0, 0.0, 32.0, 32.0},
    {"RegularGridAcrossZero", 5, 5, 20.0, 0.0, -40.0, -40.0},
    {"FourOnACircle", 2, 2, 10.0, 0.0, 0.0, 0.0},
    {"Three", 3, 1, 10.0, 0.4, 0.0, 0.0},
};

INSTANTIATE_TEST_SUITE_P(PointSets, Mesh, ::testing::ValuesIn(sets),
                         [](const auto& info) { return std::string(info.param.name); });

// Grids with gaps, straight and turned, hold many points on shared circles,
// where edges from different sides must pick the same diagonals.
TEST(TriAngleSearch, GridsWithGapsFitTogether) {
  std::mt19937 gen(11);
  std::uniform_real_distribution<double> u(0, 1);
  for (int run = 0; run < 400 && !HasFailure(); ++run) {
    const double keep = 0.5 + 0.5 * u(gen), turn = run % 3 ? u(gen) : 0.0;
    std::vector<point> p;
    for (int j = 0; j < 10; ++j)
      for (int i = 0; i < 10; ++i)
        if (u(gen) < keep)
          p.emplace_back(64 * (i * std::cos(turn) - j * std::sin(turn)),
                         64 * (i * std::sin(turn) + j * std::cos(turn)));
    std::shuffle(p.begin(), p.end(), gen);
    std::vector<triangle> mesh;
    TriAngleSearch(p, 1e-6, mesh);
    SCOPED_TRACE("run " + std::to_string(run));
    expectCoversTheHull(p, mesh, 50);
  }
}

// Sets without an inside give nothing: too few points, or all on a line.
TEST(TriAngleSearch, SetsWithoutAnInsideGiveNoTriangles) {
  const std::vector<std::vector<point>> cases = {{},
                                                 {{1, 1}},
                                                 {{1, 1}, {5, 2}},
                                                 {{0, 0}, {1, 1}, {2, 2}, {3, 3}},
                                                 {{2, 2}, {2, 2}, {2, 2}, {7, 1}}};
  for (const auto& c : cases) {
    std::vector<triangle> mesh(3);
    TriAngleSearch(c, 1e-6, mesh);
    EXPECT_TRUE(mesh.empty()) << c.size();
  }
}

// Corners, sides and inside count as in; a hair beyond a side does not,
// whichever way the corners turn.
TEST(PointInTriangle, InsideSidesAndCornersCount) {
  const struct {
    double px, py;
    bool inside;
  } cases[] = {
      {2, 3, true},       {0, 0, true},      {10, 0, true},     {5, 5, true},   {0, 7, true},
      {5, 5.0001, false}, {-1e-9, 4, false}, {4, -1e-9, false}, {11, 0, false}, {-3, -3, false},
  };
  tamble::testing::sessionUi user;
  for (const auto& c : cases) {
    EXPECT_EQ(PointInTriangle(0, 0, 10, 0, 0, 10, c.px, c.py), c.inside) << c.px << "," << c.py;
    EXPECT_EQ(PointInTriangle(0, 10, 10, 0, 0, 0, c.px, c.py), c.inside) << c.px << "," << c.py;
  }
  EXPECT_TRUE(user.ui.notices.empty());
}

// A point on a side two triangles share belongs to at least one of them,
// however the side's direction rounds.
TEST(PointInTriangle, APointOnASharedSideIsNeverLost) {
  const point a(0.1, 0.7), b(97.3, 41.9), left(-13.1, 60.2), right(70.7, -22.9);
  for (int k = 0; k <= 1000; ++k) {
    const point p(a.x + k / 1000.0 * (b.x - a.x), a.y + k / 1000.0 * (b.y - a.y));
    EXPECT_TRUE(PointInTriangle(a.x, a.y, b.x, b.y, left.x, left.y, p.x, p.y) ||
                PointInTriangle(b.x, b.y, a.x, a.y, right.x, right.y, p.x, p.y))
        << k;
  }
}

// A triangle on one line has no inside, and says so unless quiet.
TEST(PointInTriangle, AFlatTriangleSaysSo) {
  tamble::testing::sessionUi user;
  EXPECT_FALSE(PointInTriangle(0, 0, 5, 5, 10, 10, 5, 5));
  EXPECT_EQ(user.ui.notices, std::vector<std::string>{pointNoAngle});
  session().quietMode = 1;
  EXPECT_FALSE(PointInTriangle(3, 3, 3, 3, 8, 1, 3, 3));
  EXPECT_EQ(user.ui.notices.size(), 1u);
}

}  // namespace
