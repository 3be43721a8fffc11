#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "filters/circleFilters.h"
#include "tests/filters/filterReferences.h"
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

TEST(GaussSeparable, EqualsThePixelByPixelSumsBitForBit) {
  // Reaches 2 to 6 have sums held in registers, 10 and 75 the general sums;
  // the last reaches further than a band of rows. No blocked pixel runs the
  // whole-window sums, a few or many mix them with the masked ones. The
  // infinities make sums that are not kept.
  for (float diameter : {1.001f, 3.001f, 9.001f, 5.001f, 13.001f, 21.001f, 150.001f})
    for (double share : {0.0, 0.003, 0.25}) {
      layers fast = randomLayers(70, 130, share, 17u);
      tamble::testing::sprinkle(fast, 15, std::numeric_limits<float>::infinity(), 3u);
      layers plain = fast;
      gauss(fast, 2, diameter);
      tamble::testing::referenceGauss(plain, 2, diameter);
      EXPECT_TRUE(sameBits(fast.field, plain.field))
          << "diameter " << diameter << ", share " << share;
    }
}

TEST(GaussSeparable, MeansNearTheLimitAreKeptOrTakenAsTheDoubleTestSays) {
  // Values around 1e20 give means on both sides of the limit: a mean at or
  // above it leaves the pixel as it was, one below it is taken.
  layers fast = randomLayers(40, 40, 0.1, 23u);
  std::mt19937 gen(5);
  std::uniform_real_distribution<float> near(0.98e20f, 1.02e20f);
  for (std::uint64_t i = 0; i < fast.field.count; ++i) fast.field.data[i] = near(gen);
  const layers start = fast;
  layers plain = fast;
  gauss(fast, 1, 3.001f);
  tamble::testing::referenceGauss(plain, 1, 3.001f);
  EXPECT_TRUE(sameBits(fast.field, plain.field));
  int kept = 0, moved = 0;
  for (int y = 0; y < 40; ++y)
    for (int x = 0; x < 40; ++x)
      if (!fast.blocked(x, y)) ++(fast.field(x, y) == start.field(x, y) ? kept : moved);
  EXPECT_GT(kept, 100);
  EXPECT_GT(moved, 100);
}

TEST(GaussSeparable, AMeanOfExactlyTheLimitKeepsThePixel) {
  // Seven taps over b b b a b b b, b = 1e20f and a just below it: the mean
  // rounds to 1e20f, which is not below 1e20, so the pixel keeps a. Down a
  // column and along a row, through the sums of whole windows.
  const std::vector<float> k = tamble::testing::referenceTaps(3.001f);
  ASSERT_EQ(k.size(), 7u);
  const float b = 1e20f;
  auto meanWith = [&](float a) {
    float s = 0.0f, sw = 0.0f;
    for (int t = 0; t < 7; ++t) {
      s += k[t] * (t == 3 ? a : b);
      sw += k[t];
    }
    return s / sw;
  };
  float a = std::nextafter(b, 0.0f);
  while (meanWith(a) != b && a > 0.99e20f) a = std::nextafter(a, 0.0f);
  ASSERT_EQ(meanWith(a), b);
  ASSERT_LT(static_cast<double>(a), 1e20);
  for (bool vertical : {true, false}) {
    layers l(vertical ? 1 : 7, vertical ? 7 : 1);
    l.field.fill(b);
    l.field(vertical ? 0 : 3, vertical ? 3 : 0) = a;
    layers plain = l;
    gauss(l, 1, 3.001f);
    tamble::testing::referenceGauss(plain, 1, 3.001f);
    EXPECT_TRUE(sameBits(l.field, plain.field)) << vertical;
    EXPECT_EQ(l.field(vertical ? 0 : 3, vertical ? 3 : 0), a) << vertical;
  }
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
  for (double share : {0.0, 0.1}) {
    const layers start = randomLayers(400, 300, share, 98u);
    for (float diameter : {3.001f, 9.001f, 150.001f}) {
      layers serial = start, parallel = start;
      omp_set_num_threads(1);
      gauss(serial, 2, diameter);
      omp_set_num_threads(4);
      gauss(parallel, 2, diameter);
      EXPECT_TRUE(sameBits(serial.field, parallel.field)) << diameter << ", share " << share;
    }
  }
  omp_set_num_threads(omp_get_num_procs());
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
