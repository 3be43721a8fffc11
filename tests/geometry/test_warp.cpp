// The resampling engines and the polynomial map that drives them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>

#include "api/errors.h"
#include "geometry/polynomialMap.h"
#include "geometry/spline.h"
#include "geometry/warp.h"
#include "tests/support/layers.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::sameBits;

// The map the tests set and the engines read.
polynomialState warpMap;

void warp(layers& l, int kind, bool zones = false) {  // kind -1: WarpBilinearMS
  if (kind < 0)
    WarpBilinearMS(l.field, l.bkgr, l.ROI, l.markers, zones, warpMap);
  else
    WarpInterp(l.field, l.bkgr, l.ROI, l.markers, zones, kind, warpMap);
}

// Camera-like data: a ramp with noise, bright spots and a few masked pixels.
layers scene(int w, int h) {
  layers l(w, h);
  std::mt19937 gen(7);
  std::uniform_real_distribution<float> noise(0, 50);
  std::bernoulli_distribution rare(0.03);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      l.field(x, y) = 500.0f + 3.0f * x + 2.0f * y + noise(gen) + (rare(gen) ? 2000.0f : 0.0f);
      l.bkgr(x, y) = rare(gen);
      l.ROI(x, y) = !rare(gen);
    }
  for (int i = 1; i <= 5; ++i) l.markers.add({w * 0.17 * i, h * 0.15 * i, 1.0, 2.0, true, 0});
  return l;
}

void shiftMap(double dx, double dy) { setAffineMap(warpMap, dx, 1, 0, dy, 0, 1); }

// Output to source: a turn by `degrees` and a scale about (c, c), then a shift.
void turnMap(double degrees, double scale, double c) {
  const double a = degrees * 3.14159265358979 / 180;
  const double k = std::cos(a) * scale, s = std::sin(a) * scale;
  setAffineMap(warpMap, c - k * c + s * c + 0.37, k, -s, c - s * c - k * c - 0.21, s, k);
}

// Each order sums its terms in the coefficient order; others are refused.
TEST(WarpMap, EvaluatesEachOrderInCoefficientOrder) {
  const double c[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  // At (2, 3): 1 | + 2*2 + 3*3 | + 4*6 + 5*4 + 6*9 | + 7*12 + 8*18 + 9*8 + 10*27.
  EXPECT_EQ(evaluatePolynomial(c, 0, 2, 3), 0.0);
  EXPECT_EQ(evaluatePolynomial(c, 1, 2, 3), 1.0);
  EXPECT_EQ(evaluatePolynomial(c, 3, 2, 3), 14.0);
  EXPECT_EQ(evaluatePolynomial(c, 6, 2, 3), 112.0);
  EXPECT_EQ(evaluatePolynomial(c, 10, 2, 3), 682.0);
  EXPECT_THROW(evaluatePolynomial(c, 2, 2, 3), zel::AlgoError);
}

// Order 0 keeps the point, order 1 shifts it, 3 is affine, 4 is refused;
// rows and single points share their bits.
TEST(WarpMap, PointsFollowTheirOrder) {
  const double cx[10] = {0.5, 2, -1, 0.1, 0.01, 0.02, 1e-3, 2e-3, 3e-3, 4e-3};
  const double cy[10] = {-0.25, 0.3, 1.1, 0.2, 0.03, 0.01, 4e-3, 3e-3, 2e-3, 1e-3};
  EXPECT_EQ(mapPoint(cx, cy, 0, 3, 4).x, 3.0);
  EXPECT_EQ(mapPoint(cx, cy, 0, 3, 4).y, 4.0);
  EXPECT_EQ(mapPoint(cx, cy, 1, 3, 4).x, 3.5);
  EXPECT_EQ(mapPoint(cx, cy, 1, 3, 4).y, 3.75);
  EXPECT_EQ(mapPoint(cx, cy, 3, 3, 4).x, 0.5 + 6 - 4);
  EXPECT_THROW(mapPoint(cx, cy, 4, 3, 4), zel::AlgoError);
  double xs[9], ys[9];
  mapRow(cx, cy, 10, -3, 9, 7.0, xs, ys);
  for (int i = 0; i < 9; ++i) {  // rows and single points share their bits
    EXPECT_EQ(xs[i], mapPoint(cx, cy, 10, i - 3, 7.0).x);
    EXPECT_EQ(ys[i], mapPoint(cx, cy, 10, i - 3, 7.0).y);
  }
}

// The affine map clears the higher terms and sets its exact inverse.
TEST(WarpMap, AffineMapAndItsInverse) {
  polynomialState& map = warpMap;
  map.order = 10;
  std::fill_n(map.inverseY, 10, 5.0);
  std::fill_n(map.forwardX, 10, 5.0);
  setAffineMap(warpMap, 2, 0, 1, 5, -1, 0);  // X = 2 + y, Y = 5 - x: so x = 5 - Y, y = X - 2
  EXPECT_EQ(map.order, 3);
  const double ix[3] = {5, 0, -1}, iy[3] = {-2, 1, 0};
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(map.inverseX[i] == ix[i] && map.inverseY[i] == iy[i]);
  for (int i = 3; i < 10; ++i)
    EXPECT_TRUE(!map.forwardX[i] && !map.forwardY[i] && !map.inverseX[i] && !map.inverseY[i]);
  turnMap(17, 1.3, 40);
  for (double x : {-5.0, 0.0, 123.5}) {
    const mappedPoint s = mapPoint(map.forwardX, map.forwardY, 3, x, 2 * x + 1);
    const mappedPoint back = mapPoint(map.inverseX, map.inverseY, 3, s.x, s.y);
    EXPECT_NEAR(back.x, x, 1e-9);
    EXPECT_NEAR(back.y, 2 * x + 1, 1e-9);
  }
}

// Every fraction is 0, and S(0) and f*(1 - 0) + g*0 are exactly the knot.
TEST(WarpInterp, IdentityKeepsTheImage) {
  const layers original = scene(37, 29);
  for (int kind : {0, 1, 2}) {
    shiftMap(0, 0);
    layers l = original;
    warp(l, kind);
    EXPECT_TRUE(sameBits(l, original)) << kind;
    warpMap.order = 0;  // whatever the coefficients, the point stays
    warpMap.forwardX[0] = 9;
    warp(l, kind, true);  // no zones yet: the same as false
    EXPECT_TRUE(sameBits(l, original)) << kind;
  }
}

// Unknown kinds and orders and layers of other sizes are refused.
TEST(WarpInterp, RefusesBadInputUntouched) {
  const layers original = scene(12, 10);
  layers l = original;
  shiftMap(0.5, 0.5);
  EXPECT_THROW(warp(l, 3), zel::AlgoError);
  warpMap.order = 2;
  EXPECT_THROW(warp(l, 1), zel::AlgoError);
  EXPECT_THROW(warp(l, -1), zel::AlgoError);
  shiftMap(0.5, 0.5);
  l.ROI = zel::arrayStore<bool, 2>(12, 9);
  EXPECT_THROW(warp(l, 2), zel::DimError);
  l.ROI = original.ROI;
  EXPECT_TRUE(sameBits(l, original));
}

// Source (x + 2, y + 3) for output (x, y): values and masks move up and left,
// markers down and right; the last 2 columns and 3 rows come from outside.
TEST(WarpShift, WholePixelsMoveValuesMasksMarkersAndBorder) {
  for (int kind : {-1, 0, 1, 2})
    for (bool hole : {false, true}) {
      layers l = scene(30, 24);
      l.bkgr.fill(false);
      l.ROI.fill(true);
      l.ROI(0, 0) = !hole;  // never read: it only decides the border's ROI
      l.bkgr(9, 8) = kind >= 0;
      const layers source = l;
      shiftMap(2, 3);
      warp(l, kind);
      for (int y = 0; y < l.H(); ++y)
        for (int x = 0; x < l.W(); ++x) {
          const bool border = x >= l.W() - 2 || y >= l.H() - 3;
          EXPECT_EQ(l.field(x, y), border ? 0.0f : source.field(x + 2, y + 3)) << kind;
          EXPECT_EQ(l.bkgr(x, y), border || (kind >= 0 && x == 7 && y == 5)) << kind << x << y;
          EXPECT_EQ(l.ROI(x, y), !(border && hole)) << kind << x << y;
        }
      for (int i = 0; i < l.markers.count(); ++i) {
        EXPECT_EQ(l.markers[i].x, source.markers[i].x - 2);
        EXPECT_EQ(l.markers[i].y, source.markers[i].y - 3);
        EXPECT_EQ(l.markers[i].f, 2.0);
      }
    }
}

// On a ramp of 10 + 2x, where the source of column x on a shift by dx is
// inside and what it gives (NaN: outside, background). WarpInterp rounds by
// trunc(f + 0.5): inside for f > -1.5 (its padding serves from -1) and below
// W - 0.5, the last column interpolated along y only. WarpBilinearMS
// truncates: f in (-1, W) is inside, and fractions below 0 extrapolate.
TEST(WarpEdges, RoundingDecidesTheEdges) {
  const int W = 8;
  const float out = NAN;
  const struct {
    int kind;
    double dx;
    int x;
    float want;
  } cases[] = {
      {0, -0.3, 0, 10},     {1, -0.3, 0, 9.4f},    {0, -1.2, 0, 10},     {1, -1.2, 0, 10},
      {0, -1.2, 1, 10},     {1, -1.2, 1, 9.6f},    {0, -1.6, 0, out},    {1, -1.6, 0, out},
      {0, -1.6, 1, 10},     {1, -1.6, 1, 8.8f},    {0, 0.4, W - 1, 24},  {1, 0.4, W - 1, 24},
      {0, 0.5, W - 1, out}, {1, 0.5, W - 1, out},  {-1, -0.5, 0, 9},     {-1, -1.0, 0, out},
      {-1, 0.4, W - 1, 24}, {-1, 1.0, W - 1, out}, {-1, -0.25, 3, 15.5f}};
  for (const auto& c : cases) {
    layers l(W, 3);
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < W; ++x) l.field(x, y) = 10.0f + 2.0f * x;
    shiftMap(c.dx, 0);
    warp(l, c.kind);
    EXPECT_EQ(l.bkgr(c.x, 1), std::isnan(c.want)) << c.kind << " " << c.dx;
    EXPECT_FLOAT_EQ(l.field(c.x, 1), std::isnan(c.want) ? 0.0f : c.want) << c.kind << " " << c.dx;
  }
}

// Masks come from (x+1, y), (x, y+1) and (x+1, y+1) where those lie in the
// image, never from (x, y) itself.
TEST(WarpEdges, BilinearMSMasksComeFromTheNeighbours) {
  layers l = scene(16, 12);
  const layers source = l;
  shiftMap(0, 0);
  warp(l, -1);
  auto from = [&](const zel::arrayStore<bool, 2>& m, int x, int y, bool any) {
    bool r = !any;
    for (const auto& [nx, ny] : {std::pair{x + 1, y}, {x, y + 1}, {x + 1, y + 1}})
      if (nx < l.W() && ny < l.H()) r = any ? r || m(nx, ny) : r && m(nx, ny);
    return r;
  };
  for (int y = 0; y < l.H(); ++y)
    for (int x = 0; x < l.W(); ++x) {
      EXPECT_EQ(l.bkgr(x, y), from(source.bkgr, x, y, true)) << x << " " << y;
      EXPECT_EQ(l.ROI(x, y), from(source.ROI, x, y, false)) << x << " " << y;
    }
  layers one(6, 6);
  one.bkgr(3, 3) = true;
  warp(one, -1);
  EXPECT_FALSE(one.bkgr(3, 3));  // the pixel alone does not count
  EXPECT_TRUE(one.bkgr(2, 3));   // as (ix+1, iy) it does
}

// On a shift by (0.3, 0.6) each engine follows a surface it reproduces:
// the bilinear ones a + bx + cy + dxy up to rounding; the bicubic one
// 10 + a(x-17)^2 + b(y-13)^2, gentle, within 0.021 of each curvature
// coefficient (see SplineSolve.QuadraticIsFollowedClosely).
TEST(WarpInterp, FollowsASurfaceItReproduces) {
  auto plane = [](double x, double y) { return 10 + 2 * x + 3 * y + 0.5 * x * y; };
  auto bowl = [](double x, double y) {
    return 10 + 0.01 * (x - 17) * (x - 17) + 0.02 * (y - 13) * (y - 13);
  };
  const struct {
    int kind;
    std::function<double(double, double)> surface;
    double tolerance;
  } cases[] = {{-1, plane, 1e-3}, {1, plane, 1e-3}, {2, bowl, 0.03 * 0.03}};
  for (const auto& c : cases) {
    layers l(40, 32);
    for (int y = 0; y < l.H(); ++y)
      for (int x = 0; x < l.W(); ++x) l.field(x, y) = static_cast<float>(c.surface(x, y));
    shiftMap(0.3, 0.6);
    warp(l, c.kind);
    for (int y = 2; y + 3 < l.H(); ++y)
      for (int x = 2; x + 3 < l.W(); ++x)
        ASSERT_NEAR(l.field(x, y), c.surface(x + 0.3, y + 0.6), c.tolerance)
            << c.kind << " at " << x << "," << y;
  }
}

// A slanted edge from 100 to 1100 under a turn: damping keeps the rings under
// 0.1 percent of the step (an undamped cubic rings by some 10 percent).
TEST(WarpInterpBicubic, StepEdgeDoesNotOvershoot) {
  layers l(48, 40);
  for (int y = 0; y < l.H(); ++y)
    for (int x = 0; x < l.W(); ++x) l.field(x, y) = x + 0.3f * y < 24 ? 100.0f : 1100.0f;
  turnMap(5, 1.0, 20);
  warp(l, 2);
  const auto [lo, hi] = std::minmax_element(l.field.data, l.field.data + l.field.count);
  EXPECT_GE(*lo, 0.0f);  // outside pixels are 0
  EXPECT_LE(*hi, 1100 + 1.0f);
  for (std::uint64_t i = 0; i < l.field.count; ++i)
    if (!l.bkgr[i]) {
      EXPECT_GE(l.field[i], 100 - 1.0f);
    }
}

// Kind 2 straight from the definition, on the edge-extended source: every
// inside value bit for bit, whether the engine tabled the data pieces (maps
// near scale 1 or enlarging) or solved them pixel by pixel (a strong reduction).
float definition(const zel::arrayStore<float, 2>& f, double fx, double fy) {
  const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
  auto at = [&](int x, int y) {
    return f(std::clamp(x, 0, f.width() - 1), std::clamp(y, 0, f.height() - 1));
  };
  auto centre = [](const float(&v)[5], float t) {
    float b[5], c[5], d[5];
    splgn(1.0f, nullptr, v, 5, b, c, d);
    return splineValue(v, b, c, d, 2, t);
  };
  const float tx = static_cast<float>(fx - ix), ty = static_cast<float>(fy - iy);
  float across[5], down[5];
  for (int k = 0; k < 5; ++k) {
    float column[5], row[5];
    for (int j = 0; j < 5; ++j) {
      column[j] = at(ix - 2 + k, iy - 2 + j);
      row[j] = at(ix - 2 + j, iy - 2 + k);
    }
    across[k] = centre(column, ty);
    down[k] = centre(row, tx);
  }
  return (centre(across, tx) + centre(down, ty)) * 0.5f;
}

// Kind 2 equals its definition at every inside pixel.
TEST(WarpInterpBicubic, MatchesTheDefinitionBitForBit) {
  for (double scale : {0.97, 1 / 3.0, 3.3}) {
    layers l = scene(70, 45);
    const layers source = l;
    turnMap(11, scale, 30);
    const polynomialState map = warpMap;
    warp(l, 2);
    int checked = 0;
    for (int y = 0; y < l.H(); ++y)
      for (int x = 0; x < l.W(); ++x) {
        const mappedPoint s = mapPoint(map.forwardX, map.forwardY, 3, x, y);
        if (s.x <= -1.5 || s.x >= l.W() - 0.5 || s.y <= -1.5 || s.y >= l.H() - 0.5) continue;
        ++checked;
        ASSERT_EQ(l.field(x, y), definition(source.field, s.x, s.y))
            << scale << " " << x << " " << y;
      }
    EXPECT_GT(checked, 200) << scale;  // a reduction by 3.3 keeps about 290
  }
}

}  // namespace

namespace {

// The engine driven by positions gives WarpBilinearMS's bits when the
// positions are the map's, for maps that reach past every edge.
TEST(WarpBilinearMSBy, AgreesWithTheMapDrivenEngine) {
  for (const double degrees : {0.0, 3.0, -11.0}) {
    turnMap(degrees, 1.04, 40);
    layers byMap = scene(97, 83), byRows = scene(97, 83);
    WarpBilinearMS(byMap.field, byMap.bkgr, byMap.ROI, byMap.markers, false, warpMap);
    WarpBilinearMSBy(byRows.field, byRows.bkgr, byRows.ROI,
                     [](int y, int x0, int n, double* xs, double* ys) {
                       mapRow(warpMap.forwardX, warpMap.forwardY, warpMap.order, x0, n, y, xs, ys);
                     });
    EXPECT_TRUE(sameBits(byMap.field, byRows.field)) << degrees;
    EXPECT_TRUE(sameBits(byMap.bkgr, byRows.bkgr)) << degrees;
    EXPECT_TRUE(sameBits(byMap.ROI, byRows.ROI)) << degrees;
  }
}

}  // namespace
