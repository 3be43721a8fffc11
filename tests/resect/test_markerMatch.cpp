// The matching of an image's markers to a standard set by their geometry
// alone: moved, turned, scaled and bent sets, with markers missing, extra
// spots and the order shuffled, are linked marker for marker.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

#include "api/errors.h"
#include "resect/markerMatch.h"

namespace {

using namespace tamble;

// A jittered grid of 48 markers over 1000 x 800 pixels, the same every run.
zel::markersArray standardSet() {
  zel::markersArray s;
  unsigned state = 12345u;
  auto jitter = [&state] {
    state = state * 1103515245u + 12345u;
    return static_cast<double>((state >> 8) % 1000) / 1000.0 * 40.0 - 20.0;
  };
  for (int j = 0; j < 6; ++j)
    for (int i = 0; i < 8; ++i) s.add({100.0 + 115.0 * i + jitter(), 80.0 + 120.0 * j + jitter(),
                                       0.0, 0.0, true, 0});
  return s;
}

struct motion {
  double angle = 0.0;  // degrees
  double scale = 1.0;
  double dx = 0.0, dy = 0.0;
  double bend = 0.0;  // a quadratic bending along y, pixels at the frame's edge
};

point2 moved(const motion& m, double x, double y) {
  const double a = m.angle * 3.14159265358979 / 180.0;
  const double cx = 500.0, cy = 400.0;
  const double u = x - cx, v = y - cy;
  point2 p{cx + m.scale * (std::cos(a) * u - std::sin(a) * v) + m.dx,
           cy + m.scale * (std::sin(a) * u + std::cos(a) * v) + m.dy};
  p.y += m.bend * (u / 500.0) * (u / 500.0);
  return p;
}

struct matchCase {
  const char* name;
  motion move;
  int dropEvery;  // every n-th standard marker is missing from the image (0: none)
  int extras;     // spots of the image with no partner
  linkParameters link;
};

class Matching : public ::testing::TestWithParam<matchCase> {};

TEST_P(Matching, LinksEveryMarkerToItsPartner) {
  const matchCase& c = GetParam();
  const zel::markersArray standard = standardSet();
  std::vector<int> kept;
  for (int k = 0; k < standard.count(); ++k)
    if (c.dropEvery == 0 || k % c.dropEvery != 1) kept.push_back(k);
  // The image numbers its markers in its own order: reversed and interleaved.
  std::vector<int> order(kept.size());
  std::iota(order.begin(), order.end(), 0);
  if (c.link.fixed == 0) {  // fixed markers come first, in the standard's order
    std::stable_partition(order.begin(), order.end(), [](int k) { return k % 2 == 1; });
    std::reverse(order.begin(), order.end());
  }
  zel::markersArray image;
  std::vector<int> partnerOf;  // per image marker: the standard index
  for (int o : order) {
    const marker& s = standard[kept[o]];
    const point2 p = moved(c.move, s.x, s.y);
    image.add({p.x, p.y, 0.0, 0.0, true, 0});
    partnerOf.push_back(kept[o]);
  }
  for (int e = 0; e < c.extras; ++e) {  // between the grid's markers, far from any
    image.add({moved(c.move, 157.0 + 230.0 * e, 860.0).x, moved(c.move, 157.0 + 230.0 * e, 860.0).y,
               0.0, 0.0, true, 0});
    partnerOf.push_back(-1);
  }

  zel::markersArray result;
  linkStatistics stats;
  ASSERT_TRUE(findMarkersLink(image, standard, c.link, result, stats));
  ASSERT_EQ(result.count(), standard.count());
  EXPECT_EQ(stats.pairs, static_cast<int>(kept.size()));
  std::vector<char> expected(standard.count(), 0);
  for (int i = 0; i < image.count(); ++i) {
    if (partnerOf[i] < 0) continue;
    expected[partnerOf[i]] = 1;
    const marker& r = result[partnerOf[i]];
    EXPECT_TRUE(r.active) << "standard marker " << partnerOf[i];
    EXPECT_EQ(r.x, image[i].x);
    EXPECT_EQ(r.y, image[i].y);
    EXPECT_EQ(r.id, standard[partnerOf[i]].id);
  }
  for (int k = 0; k < standard.count(); ++k)
    if (!expected[k]) {
      EXPECT_FALSE(result[k].active) << "standard marker " << k;
    }
  // The inverse map carries the image's markers back onto the standard set.
  // (Bent sets: the inverse of a quadratic is nearly quadratic.)
  EXPECT_LT(stats.meanSquare, c.move.bend == 0.0 ? 1e-6 : 1e-2);
}

const linkParameters affine{1, 19, 0, 1};
const linkParameters quadratic{1, 19, 0, 2};
const linkParameters nearest{0, 19, 0, 1};

INSTANTIATE_TEST_SUITE_P(
    Sets, Matching,
    ::testing::Values(matchCase{"Shift", {0, 1, 37.5, -21.25, 0}, 0, 0, affine},
                      matchCase{"TurnAndScale", {7, 1.06, -12, 30, 0}, 0, 0, affine},
                      matchCase{"Shrunk", {-9, 0.92, 5, 5, 0}, 0, 0, affine},
                      matchCase{"MissingAndExtra", {4, 1.03, 20, -10, 0}, 5, 3, affine},
                      matchCase{"Bent", {3, 1.0, 8, -6, 6.0}, 7, 0, quadratic},
                      matchCase{"NearestForSmallMoves", {0.3, 1.0, 4.5, -3.5, 0}, 6, 2, nearest},
                      matchCase{"ThreeFixedMarkers", {12, 1.1, 60, 40, 0}, 0, 0, {1, 19, 3, 1}},
                      matchCase{"TwoFixedMarkers", {12, 1.1, 60, 40, 0}, 0, 0, {1, 19, 2, 1}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Matching, AllFixedPairsByIndexWithTheIdentity) {
  zel::markersArray standard = standardSet();
  zel::markersArray image = standard;
  for (marker& m : image.items) m.x += 100.0;  // far beyond any window
  image[3].active = false;
  zel::markersArray result;
  linkStatistics stats;
  ASSERT_TRUE(findMarkersLink(image, standard, {1, 19, 4, -1}, result, stats));
  EXPECT_EQ(stats.terms, 0);
  EXPECT_EQ(stats.pairs, standard.count() - 1);
  EXPECT_FALSE(result[3].active);
  EXPECT_EQ(result[10].x, standard[10].x + 100.0);
}

TEST(Matching, RefusesWhatCannotBeLinked) {
  const zel::markersArray standard = standardSet();
  zel::markersArray result;
  linkStatistics stats;
  // A mode that is neither search.
  EXPECT_FALSE(findMarkersLink(standard, standard, {2, 19, 0, 1}, result, stats));
  // The cubic map needs ten pairs: nine are too few.
  zel::markersArray nine;
  for (int k = 0; k < 9; ++k) nine.add(standard[k * 5]);
  EXPECT_FALSE(findMarkersLink(nine, nine, {1, 19, 0, 3}, result, stats));
  EXPECT_TRUE(findMarkersLink(nine, nine, {1, 19, 0, 2}, result, stats));
  // Two markers make no triangle.
  zel::markersArray two;
  two.add(standard[0]);
  two.add(standard[1]);
  EXPECT_FALSE(findMarkersLink(two, standard, {1, 19, 0, 1}, result, stats));
  EXPECT_EQ(result.count(), 9);  // a failure leaves the result of the last success
}

TEST(Matching, TriangleSignatures) {
  struct row {
    point2 a, b, c;
    double perimeter, c0, c1, c2;
    int orientation;
  };
  const double h = std::sqrt(3.0);
  const row rows[] = {
      // Counter-clockwise, the third side turns back from the first: -1.
      {{0, 0}, {2, 0}, {1, h}, 6.0, 1.5, 1.5, 1.5, -1},  // equilateral
      {{0, 0}, {1, h}, {2, 0}, 6.0, 1.5, 1.5, 1.5, 1},   // the same, the other way round
      {{0, 0}, {3, 0}, {0, 4}, 12.0, 1.0, 1.6, 1.8, -1},  // right angle at the first point
      {{0, 0}, {0, 4}, {3, 0}, 12.0, 1.0, 1.8, 1.6, 1},
      {{0, 0}, {1, 0}, {2, 0}, 4.0, 2.0, 0.0, 2.0, -1},  // collinear: corners of 0 or 2
      {{5, 5}, {5, 5}, {8, 9}, 10.0, 0.0, 0.0, 2.0, -1},  // two points coincide: a side of 0
  };
  for (const row& r : rows) {
    const triangleSignature s = signatureOf(r.a, r.b, r.c);
    EXPECT_NEAR(s.perimeter, r.perimeter, 1e-12);
    EXPECT_NEAR(s.corner[0], r.c0, 1e-12);
    EXPECT_NEAR(s.corner[1], r.c1, 1e-12);
    EXPECT_NEAR(s.corner[2], r.c2, 1e-12);
    EXPECT_EQ(s.orientation, r.orientation);
  }
}

TEST(Matching, FarthestFromTheLine) {
  const std::vector<point2> bent = {{0, 0}, {10, 0}, {4, -7}, {6, 3}};
  EXPECT_EQ(farthestFromLine(bent, 0, 1), 2);
  const std::vector<point2> tilted = {{0, 0}, {10, 10}, {0, 10}, {6, 5}};
  EXPECT_EQ(farthestFromLine(tilted, 0, 1), 2);
  // On one line, a marker is still returned.
  const std::vector<point2> line = {{0, 0}, {1, 1}, {2, 2}};
  const int k = farthestFromLine(line, 0, 2);
  EXPECT_TRUE(k >= 0 && k < 3);
  // Coincident ends: the first point.
  EXPECT_EQ(farthestFromLine(bent, 1, 1), 1);
}

TEST(Matching, MapsOfEachTermCountAndTheirErrors) {
  const double a[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, b[10] = {-1, 1, 1, 0, 0, 0, 0, 0, 0, 0};
  const double x = 2.0, y = 3.0;
  struct row {
    int terms;
    double ex, ey;
  };
  const row rows[] = {{0, 2, 3},
                      {1, 3, 2},
                      {3, 1 + 2 * x + 3 * y, -1 + x + y},
                      {6, 1 + 2 * x + 3 * y + 4 * x * y + 5 * x * x + 6 * y * y, -1 + x + y},
                      {10,
                       1 + 2 * x + 3 * y + 4 * x * y + 5 * x * x + 6 * y * y + 7 * x * x * y +
                           8 * x * y * y + 9 * x * x * x + 10 * y * y * y,
                       -1 + x + y}};
  for (const row& r : rows) {
    double ox = 0, oy = 0;
    applyMap(x, y, ox, oy, a, b, r.terms);
    EXPECT_DOUBLE_EQ(ox, r.ex) << r.terms;
    EXPECT_DOUBLE_EQ(oy, r.ey) << r.terms;
  }
  for (int terms : {2, 4, 11, -1}) {
    double ox = 0, oy = 0;
    try {
      applyMap(x, y, ox, oy, a, b, terms);
      ADD_FAILURE() << terms << " terms were taken";
    } catch (const zel::AlgoError& e) {
      EXPECT_STREQ(e.message, "Algorithm error!");
      EXPECT_STREQ(e.file, "match");
    }
  }
  // Errors: three points, one off by 3-4-5.
  const double sx[] = {0, 10, 0}, sy[] = {0, 0, 10};
  const double dx[] = {0, 13, 0}, dy[] = {0, 4, 10};
  const double id[10] = {0, 1}, jd[10] = {0, 0, 1};
  double ms = 0, ma = 0, mx = 0;
  int at = -1;
  ASSERT_TRUE(mapErrors(sx, sy, dx, dy, 3, 3, id, jd, ms, ma, mx, at));
  EXPECT_DOUBLE_EQ(ma, 5.0 / 3.0);
  EXPECT_DOUBLE_EQ(ms, std::sqrt(25.0 / 3.0));
  EXPECT_DOUBLE_EQ(mx, 5.0);
  EXPECT_EQ(at, 1);
  EXPECT_FALSE(mapErrors(sx, sy, dx, dy, 3, 6, id, jd, ms, ma, mx, at));
}

}  // namespace
