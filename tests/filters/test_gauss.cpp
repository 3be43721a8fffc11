#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "filters/circleFilters.h"
#include "tests/filters/filterTestImages.h"

namespace {

using tamble::testing::layers;
using tamble::testing::randomLayers;
using tamble::testing::sameBits;

void gauss(layers& l, int iterations, float diameter) {
  tamble::GaussSeparable(l.field, l.bkgr, l.ROI, iterations, diameter);
}

// The weights of diameter D = 3.001: reach 3 (L = trunc(2D + 0.5) = 6) and
// every tap inside the limit 4 (D/2)^2 = 9.006.
double tap(int t) {
  const double half = 3.001 / 2;
  return std::exp(-(t / half) * (t / half));
}

TEST(GaussSeparable, SpreadsAnImpulseWithTheProductWeights) {
  layers l(21, 21);
  l.field(10, 10) = 1.0f;
  gauss(l, 1, 3.001f);
  double sum = 0.0;
  for (int t = -3; t <= 3; ++t) sum += tap(t);
  for (int y = 0; y < 21; ++y)
    for (int x = 0; x < 21; ++x) {
      const int dx = x - 10, dy = y - 10;
      const double expected =
          std::abs(dx) <= 3 && std::abs(dy) <= 3 ? tap(dx) * tap(dy) / (sum * sum) : 0.0;
      EXPECT_NEAR(l.field(x, y), expected, 1e-6) << x << "," << y;
    }
}

TEST(GaussSeparable, ReachFollowsTheDiameter) {
  // D = 1.001: reach 2 (limit 4); D = 9.001: reach 4 (L = 9).
  for (auto [diameter, reach] : {std::pair{1.001f, 2}, std::pair{9.001f, 4}}) {
    layers l(31, 1);
    l.field(15, 0) = 1.0f;
    gauss(l, 1, diameter);
    EXPECT_GT(l.field(15 + reach, 0), 0.0f) << diameter;
    EXPECT_EQ(l.field(15 + reach + 1, 0), 0.0f) << diameter;
    EXPECT_EQ(l.field(15 - reach - 1, 0), 0.0f) << diameter;
  }
}

TEST(GaussSeparable, RenormalisesAtEdgesAndAroundBlockedPixels) {
  layers l(12, 9);
  l.field.fill(4.0f);
  l.bkgr(5, 4) = true;
  l.field(5, 4) = 1e30f;
  l.ROI(6, 4) = false;
  l.field(6, 4) = std::numeric_limits<float>::quiet_NaN();
  gauss(l, 2, 5.001f);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 12; ++x)
      if (!l.blocked(x, y)) {
        EXPECT_NEAR(l.field(x, y), 4.0f, 1e-5f) << x << "," << y;
      }
  EXPECT_EQ(l.field(5, 4), 1e30f);
  EXPECT_TRUE(std::isnan(l.field(6, 4)));
}

// The routine the plain way, pixel by pixel, in the same float operations.
void referenceGauss(layers& l, float D) {
  const float half = D / 2.0f;
  const int L = static_cast<int>(std::trunc(2.0f * D + 0.5));  // for 3 < D <= 7
  const int R = std::max(L / 2, 2);
  const double limit = std::max(4.0, 4.0 * static_cast<double>(half) * half);
  std::vector<float> k;
  for (int t = -R; t <= R; ++t)
    k.push_back(limit >= t * t ? std::exp(-((t / half) * (t / half))) : 0.0f);
  for (int axis = 0; axis < 2; ++axis) {
    const layers B = l;
    for (int y = 0; y < l.H(); ++y)
      for (int x = 0; x < l.W(); ++x) {
        if (l.blocked(x, y)) continue;
        float s = 0.0f, sw = 0.0f;
        for (int t = -R; t <= R; ++t) {
          const int sx = axis ? x + t : x, sy = axis ? y : y + t;
          if (sx < 0 || sy < 0 || sx >= l.W() || sy >= l.H() || l.blocked(sx, sy)) continue;
          s += k[t + R] * B.field(sx, sy);
          sw += k[t + R];
        }
        if (sw > 1e-10 && std::fabs(s / sw) < 1e20) l.field(x, y) = s / sw;
      }
  }
}

TEST(GaussSeparable, EqualsThePixelByPixelSumsBitForBit) {
  layers fast = randomLayers(70, 45, 0.25, 17u);
  layers plain = fast;
  gauss(fast, 1, 5.001f);
  referenceGauss(plain, 5.001f);
  EXPECT_TRUE(sameBits(fast.field, plain.field));
}

TEST(GaussSeparable, AllBlockedOrNoPassLeavesTheImage) {
  layers l = randomLayers(30, 20, 0.0, 4u);
  const layers before = l;
  gauss(l, 0, 3.001f);
  EXPECT_TRUE(sameBits(l.field, before.field));
  l.ROI.fill(false);
  gauss(l, 2, 3.001f);
  EXPECT_TRUE(sameBits(l.field, before.field));
}

TEST(GaussSeparable, ParallelEqualsSerial) {
  const layers start = randomLayers(400, 300, 0.1, 98u);
  layers serial = start, parallel = start;
  omp_set_num_threads(1);
  gauss(serial, 2, 9.001f);
  omp_set_num_threads(4);
  gauss(parallel, 2, 9.001f);
  omp_set_num_threads(omp_get_num_procs());
  EXPECT_TRUE(sameBits(serial.field, parallel.field));
}

TEST(GaussSeparable, FieldMinMaxOverValidPixels) {
  layers l(4, 1);
  l.field(0, 0) = -5.0f;
  l.field(1, 0) = 2.0f;
  l.field(2, 0) = 9.0f;
  l.field(3, 0) = -50.0f;
  l.bkgr(2, 0) = true;
  l.ROI(3, 0) = false;
  float lo = 0, hi = 0;
  tamble::FieldMinMax(l.field, l.bkgr, l.ROI, lo, hi);
  EXPECT_EQ(lo, -5.0f);
  EXPECT_EQ(hi, 2.0f);
  l.bkgr.fill(true);
  tamble::FieldMinMax(l.field, l.bkgr, l.ROI, lo, hi);
  EXPECT_EQ(lo, 0.0f);
  EXPECT_EQ(hi, 0.0f);
}

}  // namespace
