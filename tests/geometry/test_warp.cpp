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

// The engines straight from their definitions, one output pixel at a time,
// on the source as it was. The fast engines must give these bits exactly.

// Piece 2 of the damped spline through five knots, at t.
float centrePiece(const float (&v)[5], float t) {
  float b[5], c[5], d[5];
  splgn(1.0f, nullptr, v, 5, b, c, d);
  return splineValue(v, b, c, d, 2, t);
}

// Kind 2 on the edge-extended source: ten data splines through the 5 by 5
// block about (ix, iy), then one across and one down their values.
float bicubicValue(const zel::arrayStore<float, 2>& f, double fx, double fy) {
  const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
  auto at = [&](int x, int y) {
    return f(std::clamp(x, 0, f.width() - 1), std::clamp(y, 0, f.height() - 1));
  };
  const float tx = static_cast<float>(fx - ix), ty = static_cast<float>(fy - iy);
  float across[5], down[5];
  for (int k = 0; k < 5; ++k) {
    float column[5], row[5];
    for (int j = 0; j < 5; ++j) {
      column[j] = at(ix - 2 + k, iy - 2 + j);
      row[j] = at(ix - 2 + j, iy - 2 + k);
    }
    across[k] = centrePiece(column, ty);
    down[k] = centrePiece(row, tx);
  }
  return (centrePiece(across, tx) + centrePiece(down, ty)) * 0.5f;
}

// The bilinear value, f64 narrowed once: along y then x; on the last column
// along y only, on the last row along x only. `at` reads the source.
template <class At>
float bilinearValue(At at, int W, int H, double fx, double fy) {
  const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
  const double tx = fx - ix, ty = fy - iy;
  const double f00 = at(ix, iy), f10 = at(ix + 1, iy), f01 = at(ix, iy + 1),
               f11 = at(ix + 1, iy + 1);
  if (ix == W - 1 && iy == H - 1) return at(ix, iy);
  if (ix == W - 1) return static_cast<float>(f00 * (1 - ty) + f01 * ty);
  if (iy == H - 1) return static_cast<float>(f00 * (1 - tx) + f10 * tx);
  return static_cast<float>((f00 * (1 - ty) + f01 * ty) * (1 - tx) +
                            (f10 * (1 - ty) + f11 * ty) * tx);
}

// What `kind` (-1: WarpBilinearMS) makes of `s` under `map`.
layers reference(const layers& s, int kind, const polynomialState& map) {
  layers out = s;
  const int W = s.W(), H = s.H();
  const bool holes = std::count(s.ROI.data, s.ROI.data + s.ROI.count, false) > 0;
  for (marker& m : out.markers.items) {
    const mappedPoint p = mapPoint(map.inverseX, map.inverseY, map.order, m.x, m.y);
    m.x = p.x;
    m.y = p.y;
  }
  auto edged = [&](int x, int y) {
    return s.field(std::clamp(x, 0, W - 1), std::clamp(y, 0, H - 1));
  };
  auto plain = [&](int x, int y) { return x < W && y < H ? s.field(x, y) : 0.0f; };
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      const mappedPoint f = mapPoint(map.forwardX, map.forwardY, map.order, x, y);
      // WarpBilinearMS truncates the position, WarpInterp rounds it.
      const double half = kind < 0 ? 0.0 : 0.5, rx = f.x + half, ry = f.y + half;
      if (!(rx > -1 && rx < W && ry > -1 && ry < H)) {
        out.field(x, y) = 0.0f;
        out.bkgr(x, y) = true;
        out.ROI(x, y) = !holes;
        continue;
      }
      const int nx = static_cast<int>(rx), ny = static_cast<int>(ry);
      if (kind == 0) out.field(x, y) = s.field(nx, ny);
      if (kind == 1) out.field(x, y) = bilinearValue(edged, W, H, f.x, f.y);
      if (kind == 2) out.field(x, y) = bicubicValue(s.field, f.x, f.y);
      out.bkgr(x, y) = s.bkgr(nx, ny);
      out.ROI(x, y) = s.ROI(nx, ny);
      if (kind >= 0) continue;
      out.field(x, y) = bilinearValue(plain, W, H, f.x, f.y);
      bool bkgr = false, roi = true;  // the three neighbours that lie inside
      for (const auto& [mx, my] : {std::pair{nx + 1, ny}, {nx, ny + 1}, {nx + 1, ny + 1}})
        if (mx < W && my < H) {
          bkgr = bkgr || s.bkgr(mx, my);
          roi = roi && s.ROI(mx, my);
        }
      out.bkgr(x, y) = bkgr;
      out.ROI(x, y) = roi;
    }
  return out;
}

// One image and one family of maps: output to source, a turn and a scale
// about the centre and a shift (order 3), bent by quadratic (6) and cubic
// (10) terms; order 1 keeps the shift alone, order 0 nothing. The values are
// random with some NaN; a share of the pixels is blocked.
struct warpCase {
  int w, h;
  double degrees, scale, shiftX, shiftY, bend;
  double blocked;  // share of blocked pixels; 0 leaves the ROI without holes
  int nans;
};

polynomialState mapFor(const warpCase& c, int order) {
  polynomialState m;
  m.order = order;
  const double a = c.degrees * 3.14159265358979 / 180, cx = c.w / 2.0, cy = c.h / 2.0;
  const double k = std::cos(a) * c.scale, s = std::sin(a) * c.scale;
  const double bx = c.bend / c.w, by = c.bend / c.h;
  const double fx[10] = {
      cx - k * cx + s * cy + c.shiftX, k, -s, by, bx, -by, by / c.w, 0, bx / c.w, 0};
  const double fy[10] = {
      cy - s * cx - k * cy + c.shiftY, s, k, -bx, by, bx, 0, bx / c.h, 0, -by / c.h};
  std::copy(fx, fx + 10, m.forwardX);
  std::copy(fy, fy + 10, m.forwardY);
  if (order == 1) {
    m.forwardX[0] = c.shiftX;
    m.forwardY[0] = c.shiftY;
  }
  const double inverse[10] = {0.5, 0.9, -0.2, 1e-3, 2e-3, -1e-3, 1e-5, 2e-5, -1e-5, 3e-5};
  std::copy(inverse, inverse + 10, m.inverseX);  // any finite set: the markers follow it
  std::reverse_copy(inverse, inverse + 10, m.inverseY);
  return m;
}

// Every map here reaches past some edge (all four over the rows); reductions
// by 3.3 make kind 2 solve each pixel's splines alone, the others table
// them; 256 by 260 runs on several threads. The last rows send every source
// position beyond the range of int, or to NaN.
const warpCase warpCases[] = {{1, 1, 7, 1.1, 0.6, -0.8, 0.3, 0.0, 0},
                              {1, 9, -12, 1.2, -1.3, 0.7, 0.2, 0.2, 0},
                              {13, 1, 25, 0.8, 1.4, 0.45, 0.1, 0.2, 0},
                              {97, 83, 7, 1.1, 0.6, -0.8, 0.3, 0.1, 40},
                              {97, 83, -20, 0.45, -1.2, 1.4, 0.2, 0.0, 40},
                              {97, 83, 30, 3.3, -1.45, -1.3, 0.1, 0.1, 40},
                              {256, 260, -4, 1.03, 0.3, 0.2, 0.05, 0.1, 60},
                              {40, 30, 1, 1e10, 1e12, -1e12, 0, 0.1, 0},
                              {40, 30, 0, 1, NAN, NAN, 0, 0.1, 0}};

class WarpTable : public ::testing::TestWithParam<std::tuple<int, int>> {};

// Every engine (-1: WarpBilinearMS and WarpBilinearMSBy), every order, every
// case: the layers and markers are those of the definition, bit for bit.
TEST_P(WarpTable, EqualsTheDefinitionBitForBit) {
  const auto [kind, order] = GetParam();
  unsigned seed = 5;
  for (const warpCase& c : warpCases) {
    layers source = tamble::testing::randomLayers(c.w, c.h, c.blocked, ++seed);
    if (c.blocked == 0) source.ROI.fill(true);
    tamble::testing::sprinkle(source, c.nans, NAN, seed);
    source.markers.add({c.w * 0.3, c.h * 0.6, 1.0, 2.0, true, 1});
    warpMap = mapFor(c, order);
    const layers want = reference(source, kind, warpMap);
    layers got = source;
    warp(got, kind);
    EXPECT_TRUE(sameBits(got, want)) << c.w << "x" << c.h << " turned " << c.degrees;
    if (kind >= 0) continue;
    got = source;
    WarpBilinearMSBy(got.field, got.bkgr, got.ROI,
                     [](int y, int x0, int n, double* xs, double* ys) {
                       mapRow(warpMap.forwardX, warpMap.forwardY, warpMap.order, x0, n, y, xs, ys);
                     });
    got.markers = want.markers;  // the caller's to move
    EXPECT_TRUE(sameBits(got, want)) << "By, " << c.w << "x" << c.h << " turned " << c.degrees;
  }
}

INSTANTIATE_TEST_SUITE_P(KindsAndOrders, WarpTable,
                         ::testing::Combine(::testing::Values(-1, 0, 1, 2),
                                            ::testing::Values(0, 1, 3, 6, 10)));

}  // namespace
