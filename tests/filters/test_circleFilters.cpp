// The circle-window filters: the median of a circle and of a square, the
// separable Gauss, the 3D filter and the Wiener filter.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "filters/circleFilters.h"
#include "filters/wiener.h"
#include "tests/filters/filterReferences.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::randomLayers;
using tamble::testing::sameBits;

constexpr float inf = std::numeric_limits<float>::infinity();

// A routine and its reference on one image size, with that many infinite
// samples (of both signs when `bothSigns`) and, when `odd`, odd values at
// the blocked pixels.
struct referenceCase {
  std::string name;
  int w, h, infinities;
  bool bothSigns, odd;
  std::function<void(layers&)> fast, plain;
};

std::vector<referenceCase> referenceCases() {
  std::vector<referenceCase> c;
  // Diameters 1 to 5 have sorting networks, 7 and 9 select by sorting; the
  // tall image runs in several bands of rows.
  for (int d : {1, 2, 3, 4, 5, 7, 9})
    for (auto [w, h] : {std::pair{90, 37}, {41, 150}})
      c.push_back({"median circle " + std::to_string(d), w, h, 20, true, true,
                   [d](layers& l) { MedianCircle(l.field, l.bkgr, l.ROI, 2, d); },
                   [d](layers& l) { tamble::testing::referenceCircle(l, 2, d); }});
  // The square ignores the masks: blocked pixels are read and written.
  for (int d : {1, 3, 5, 7})
    c.push_back({"median square " + std::to_string(d), 50, 101, 0, false, false,
                 [d](layers& l) { MedianSquare(l.field, l.bkgr, l.ROI, 2, d); },
                 [d](layers& l) { tamble::testing::referenceSquare(l, 2, d); }});
  // Reaches 2 to 6 keep their sums in registers, 10 and 75 take the general
  // sums, the last one further than a band of rows; 3.0 is the largest of
  // the small kernels, 9.5 has outer taps of 0 (0 times infinity is NaN).
  for (float D : {1.001f, 3.0f, 3.001f, 5.001f, 9.001f, 9.5f, 13.001f, 21.001f, 150.001f})
    c.push_back({"gauss " + std::to_string(D), 70, 130, 15, false, true,
                 [D](layers& l) { GaussSeparable(l.field, l.bkgr, l.ROI, 2, D); },
                 [D](layers& l) { tamble::testing::referenceGauss(l, 2, D); }});
  // Both weight forms over circles of reach 1 to 5.
  for (bool rational : {true, false})
    for (float D : {1.001f, 3.001f, 5.001f, 9.001f})
      c.push_back(
          {"3D " + std::to_string(D) + (rational ? " rational" : ""), 45, 80, 6, false, true,
           [=](layers& l) { Filter3D(l.field, l.bkgr, l.ROI, 2, D, 20.0f, rational); },
           [=](layers& l) { tamble::testing::referenceFilter3D(l, 2, D, 20.0f, rational); }});
  for (float D : {3.0f, 9.0f, 14.0f})
    c.push_back({"wiener " + std::to_string(D), 50, 70, 0, false, true,
                 [D](layers& l) { WienerFilter(l.field, l.bkgr, l.ROI, D, 20.0f); },
                 [D](layers& l) { tamble::testing::referenceWiener(l, D, 20.0f); }});
  return c;
}

// Every filter equals its plain reference bit for bit with no, few, many and
// nearly all pixels blocked (whole rows of them): blocked pixels are neither
// read nor written, and infinities are samples like any other.
TEST(CircleFilters, EqualTheirReferencesBitForBit) {
  for (const referenceCase& c : referenceCases())
    for (double share : {0.0, 0.003, 0.2, 0.97}) {
      layers fast = randomLayers(c.w, c.h, share, 17u);
      tamble::testing::sprinkle(fast, c.infinities, inf, 1u);
      if (c.bothSigns) tamble::testing::sprinkle(fast, c.infinities, -inf, 2u);
      if (c.odd) tamble::testing::oddBlocked(fast);
      layers plain = fast;
      c.fast(fast);
      c.plain(plain);
      EXPECT_TRUE(sameBits(fast.field, plain.field)) << c.name << ", share " << share;
    }
}

// No pass, no valid pixel (masks 1: all bkgr, 2: no ROI), a flat height,
// no noise or a diameter below 2.5: nothing to do, the field stays.
TEST(CircleFilters, LeaveTheFieldWhenThereIsNothingToDo) {
  using run = void (*)(layers&);
  const std::tuple<const char*, int, run> cases[] = {
      {"median, no pass", 0, [](layers& l) { MedianCircle(l.field, l.bkgr, l.ROI, 0, 5); }},
      {"median, all bkgr", 1, [](layers& l) { MedianCircle(l.field, l.bkgr, l.ROI, 2, 5); }},
      {"median, no ROI", 2, [](layers& l) { MedianCircle(l.field, l.bkgr, l.ROI, 2, 3); }},
      {"gauss, no pass", 0, [](layers& l) { GaussSeparable(l.field, l.bkgr, l.ROI, 0, 3.001f); }},
      {"gauss, no ROI", 2, [](layers& l) { GaussSeparable(l.field, l.bkgr, l.ROI, 2, 3.001f); }},
      {"3D, flat", 0, [](layers& l) { Filter3D(l.field, l.bkgr, l.ROI, 1, 3.001f, 1e-11f, true); }},
      {"3D, all bkgr", 1, [](layers& l) { Filter3D(l.field, l.bkgr, l.ROI, 1, 3.001f, 10, true); }},
      {"wiener, no ROI", 2, [](layers& l) { WienerFilter(l.field, l.bkgr, l.ROI, 9.0f, 1e6f); }},
      {"wiener, 2.4", 0, [](layers& l) { WienerFilter(l.field, l.bkgr, l.ROI, 2.4f, 1e6f); }},
      {"wiener, no noise", 0, [](layers& l) { WienerFilter(l.field, l.bkgr, l.ROI, 5.0f, 0.0f); }},
      // A pull of (1e-6/25)^2 moves no value by half of its last bit.
      {"wiener, tiny noise", 0, [](layers& l) { WienerFilter(l.field, l.bkgr, l.ROI, 9, 1e-6f); }},
  };
  for (const auto& [name, masks, filter] : cases) {
    layers l = randomLayers(30, 20, 0.0, 5u);
    l.bkgr.fill(masks == 1);
    l.ROI.fill(masks != 2);
    const layers before = l;
    filter(l);
    EXPECT_TRUE(sameBits(l.field, before.field)) << name;
  }
}

// An even count takes the lower middle; an impulse goes, a straight step
// (8 of the 21 cells of the 5 circle across it) stays.
TEST(MedianCircle, KnownCases) {
  layers l = layers::row({20, 10, 99});
  l.bkgr(2, 0) = true;
  MedianCircle(l.field, l.bkgr, l.ROI, 1, 3);
  EXPECT_EQ(l.values(), (std::vector<float>{10, 10, 99}));

  layers impulse(21, 21);
  impulse.field(10, 10) = 100.0f;
  MedianCircle(impulse.field, impulse.bkgr, impulse.ROI, 1, 3);
  EXPECT_EQ(*std::max_element(impulse.field.data, impulse.field.data + impulse.field.count), 0.0f);

  layers step(20, 12);
  for (int y = 0; y < 12; ++y)
    for (int x = 10; x < 20; ++x) step.field(x, y) = 10.0f;
  const layers before = step;
  MedianCircle(step.field, step.bkgr, step.ROI, 3, 5);
  EXPECT_TRUE(sameBits(step.field, before.field));
}

// From diameter 6 on the square median selects: it equals its plain
// definition bit for bit on values spread wide, on few values with long ties,
// on zeros of both signs, with NaN and with infinities; on images of several
// bands of rows, narrower or lower than the window, with any masks.
TEST(MedianSquare, SelectsAsItsPlainDefinitionOnEveryKindOfValue) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const std::pair<const char*, std::function<float(std::mt19937&)>> kinds[] = {
      {"spread", [](std::mt19937& g) { return std::uniform_real_distribution<float>(-5, 5)(g); }},
      {"ties", [](std::mt19937& g) { return static_cast<float>(g() % 4); }},
      {"zeros", [](std::mt19937& g) { return g() % 3 ? (g() % 2 ? -0.0f : 0.0f) : 1.0f; }},
      {"NaN", [nan](std::mt19937& g) { return g() % 40 ? static_cast<float>(g() % 9) : nan; }},
      {"infinities", [](std::mt19937& g) { return g() % 8 ? static_cast<float>(g() % 50) : (g() % 2 ? inf : -inf); }},
  };
  const std::pair<int, int> sizes[] = {{45, 33}, {90, 150}, {6, 70}, {200, 9}};
  std::mt19937 gen(3);
  for (const auto& [kind, value] : kinds)
    for (auto [w, h] : sizes)
      for (int d : {6, 7, 9, 11, 15}) {
        layers fast = randomLayers(w, h, 0.2, 9u);
        for (std::uint64_t i = 0; i < fast.field.count; ++i) fast.field.data[i] = value(gen);
        layers plain = fast;
        MedianSquare(fast.field, fast.bkgr, fast.ROI, 2, d);
        tamble::testing::referenceSquare(plain, 2, d);
        EXPECT_TRUE(sameBits(fast.field, plain.field)) << kind << " " << w << "x" << h << " d " << d;
      }
}

// Below 11 the fast median is the square one; from 11 on it goes through a
// half-size copy, which keeps a flat field flat up to rounding.
TEST(MedianFast, BelowElevenIsTheSquareMedianAndAboveKeepsFlatAreas) {
  layers fast = randomLayers(40, 30, 0.2, 21u);
  layers square = fast;
  polynomialState map;
  MedianFast(fast.field, fast.bkgr, fast.ROI, 1, 9, map);
  MedianSquare(square.field, square.bkgr, square.ROI, 1, 9);
  EXPECT_TRUE(sameBits(fast.field, square.field));

  layers flat(96, 96);
  flat.field.fill(7.0f);
  MedianFast(flat.field, flat.bkgr, flat.ROI, 1, 11, map);
  EXPECT_EQ(flat.field.width(), 96);
  for (int y = 30; y < 66; ++y)
    for (int x = 30; x < 66; ++x) EXPECT_NEAR(flat.field(x, y), 7.0f, 1e-4f);
}

// D = 3.001: reach 3 (L = trunc(2D + 0.5) = 6), every tap inside the limit
// 4 (D/2)^2; an impulse spreads with the product of the normalised taps.
TEST(GaussSeparable, SpreadsAnImpulseWithTheProductWeights) {
  auto tap = [](int t) { return std::exp(-(t / 1.5005) * (t / 1.5005)); };
  double sum = 0.0;
  for (int t = -3; t <= 3; ++t) sum += tap(t);
  layers l(21, 21);
  l.field(10, 10) = 1.0f;
  GaussSeparable(l.field, l.bkgr, l.ROI, 1, 3.001f);
  for (int y = 0; y < 21; ++y)
    for (int x = 0; x < 21; ++x) {
      const int dx = x - 10, dy = y - 10;
      const double expected =
          std::abs(dx) <= 3 && std::abs(dy) <= 3 ? tap(dx) * tap(dy) / (sum * sum) : 0.0;
      EXPECT_NEAR(l.field(x, y), expected, 1e-6) << x << "," << y;
    }
}

// D = 1.001 reaches 2 (the limit 4), D = 9.001 reaches 4 (L = 9).
TEST(GaussSeparable, ReachFollowsTheDiameter) {
  for (auto [diameter, reach] : {std::pair{1.001f, 2}, std::pair{9.001f, 4}}) {
    layers l(31, 1);
    l.field(15, 0) = 1.0f;
    GaussSeparable(l.field, l.bkgr, l.ROI, 1, diameter);
    EXPECT_GT(l.field(15 + reach, 0), 0.0f) << diameter;
    EXPECT_EQ(l.field(15 + reach + 1, 0), 0.0f) << diameter;
    EXPECT_EQ(l.field(15 - reach - 1, 0), 0.0f) << diameter;
  }
}

// The weights are renormalised at the edges and around blocked pixels: a
// flat field stays flat.
TEST(GaussSeparable, KeepsAFlatFieldFlat) {
  layers l(12, 9);
  l.field.fill(4.0f);
  l.bkgr(5, 4) = true;
  l.ROI(6, 4) = false;
  tamble::testing::oddBlocked(l);
  GaussSeparable(l.field, l.bkgr, l.ROI, 2, 5.001f);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 12; ++x)
      EXPECT_TRUE(l.blocked(x, y) || std::fabs(l.field(x, y) - 4.0f) < 1e-5f) << x << "," << y;
}

// Values around 1e20 give means on both sides of the limit: a mean at or
// above it leaves the pixel as it was, one below it is taken.
TEST(GaussSeparable, MeansNearTheLimitAreKeptOrTakenAsTheDoubleTestSays) {
  layers fast = randomLayers(40, 40, 0.1, 23u);
  std::mt19937 gen(5);
  std::uniform_real_distribution<float> near(0.98e20f, 1.02e20f);
  for (std::uint64_t i = 0; i < fast.field.count; ++i) fast.field.data[i] = near(gen);
  const layers start = fast;
  layers plain = fast;
  GaussSeparable(fast.field, fast.bkgr, fast.ROI, 1, 3.001f);
  tamble::testing::referenceGauss(plain, 1, 3.001f);
  EXPECT_TRUE(sameBits(fast.field, plain.field));
  int kept = 0, moved = 0;
  for (int y = 0; y < 40; ++y)
    for (int x = 0; x < 40; ++x)
      if (!fast.blocked(x, y)) ++(fast.field(x, y) == start.field(x, y) ? kept : moved);
  EXPECT_GT(kept, 100);
  EXPECT_GT(moved, 100);
}

// Seven taps over b b b a b b b, b = 1e20f and a just below it: the mean
// rounds to 1e20f, which is not below 1e20, so the pixel keeps a. Down a
// column and along a row, through the sums of whole windows.
TEST(GaussSeparable, AMeanOfExactlyTheLimitKeepsThePixel) {
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
    GaussSeparable(l.field, l.bkgr, l.ROI, 1, 3.001f);
    EXPECT_EQ(l.field(vertical ? 0 : 3, vertical ? 3 : 0), a) << vertical;
  }
}

// The extremes of the valid pixels; none gives 0 and 0.
TEST(FieldMinMax, OverValidPixels) {
  layers l = layers::row({-5, 2, 9, -50});
  l.bkgr(2, 0) = true;
  l.ROI(3, 0) = false;
  float lo = 0, hi = 0;
  FieldMinMax(l.field, l.bkgr, l.ROI, lo, hi);
  EXPECT_EQ(std::pair(lo, hi), std::pair(-5.0f, 2.0f));
  l.bkgr.fill(true);
  FieldMinMax(l.field, l.bkgr, l.ROI, lo, hi);
  EXPECT_EQ(std::pair(lo, hi), std::pair(0.0f, 0.0f));
}

// The lanes give what one fold in row order gives, to the bit: the first of
// +0 and -0, NaN never, blocked pixels never, values beyond the start of
// 1e30 not at all.
TEST(FieldMinMax, EqualsAFoldInRowOrder) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const struct {
    const char* name;
    std::vector<std::tuple<int, int, float>> set;  // x, y, value
    std::vector<std::pair<int, int>> blocked;
  } cases[] = {
      {"random", {}, {}},
      {"zeros: the first sign, not the first lane", {{5, 1, -0.0f}, {10, 1, 0.0f}, {5, 2, 0.0f}}, {}},
      {"zeros, the first one blocked", {{3, 0, 0.0f}, {12, 0, -0.0f}}, {{3, 0}}},
      {"NaN and blocked extremes", {{4, 1, nan}, {9, 2, -500}, {20, 0, 600}}, {{9, 2}, {20, 0}}},
      {"in the tail of a row", {{20, 1, -7}, {19, 2, 1000}}, {}},
      {"beyond the start", {{6, 0, 3e38f}, {7, 0, -3e38f}}, {}},
  };
  for (const auto& c : cases) {
    layers l = randomLayers(21, 3, 0.2, 12u);
    for (auto [x, y, v] : c.set) l.field(x, y) = v, l.bkgr(x, y) = false, l.ROI(x, y) = true;
    for (auto [x, y] : c.blocked) l.bkgr(x, y) = true;
    float wantLo = 1e30f, wantHi = -1e30f;
    for (int y = 0; y < l.H(); ++y)
      for (int x = 0; x < l.W(); ++x)
        if (!l.blocked(x, y)) wantLo = std::min(wantLo, l.field(x, y)), wantHi = std::max(wantHi, l.field(x, y));
    float lo = 0, hi = 0;
    FieldMinMax(l.field, l.bkgr, l.ROI, lo, hi);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(lo), std::bit_cast<std::uint32_t>(wantLo)) << c.name;
    EXPECT_EQ(std::bit_cast<std::uint32_t>(hi), std::bit_cast<std::uint32_t>(wantHi)) << c.name;
  }
}

// With a height far above the values only the place counts: D = 3.001
// gives R = (3 + 1)/2 = 2, which reaches (12, 10) from (10, 10) but not the
// corner (12, 12) of the 5 by 5 square; D = 1.001 gives R = 1.
TEST(Filter3D, DiameterThreeUsesTheFiveByFiveCircle) {
  for (auto [diameter, reaches] : {std::pair{3.001f, true}, std::pair{1.001f, false}}) {
    layers l(21, 21);
    l.field(10, 10) = 1.0f;
    Filter3D(l.field, l.bkgr, l.ROI, 1, diameter, 1e6f, true);
    EXPECT_EQ(l.field(12, 10) > 0.0f, reaches) << diameter;
    EXPECT_EQ(l.field(12, 12), 0.0f);
  }
}

// Across a step of 100 over a height of 1 the intensity weight is
// 1/(100^2 + 1): the step stays.
TEST(Filter3D, KeepsAStepWellAboveTheHeight) {
  layers l(20, 10);
  for (int y = 0; y < 10; ++y)
    for (int x = 10; x < 20; ++x) l.field(x, y) = 100.0f;
  Filter3D(l.field, l.bkgr, l.ROI, 1, 5.001f, 1.0f, true);
  for (int y = 0; y < 10; ++y) {
    EXPECT_LT(l.field(9, y), 0.1f);
    EXPECT_GT(l.field(10, y), 99.9f);
  }
}

// Noise far above the signal pulls every pixel fully: a +-1 checkerboard on
// 10 (which the median of 3 keeps) becomes its local mean, and a spike is
// taken out by the median, not spread; 2.5 is the smallest diameter at work.
TEST(WienerFilter, NoiseFarAboveTheSignalGivesTheLocalMean) {
  layers board(64, 64);
  for (int y = 0; y < 64; ++y)
    for (int x = 0; x < 64; ++x) board.field(x, y) = (x + y) % 2 ? 9.0f : 11.0f;
  layers small = board;
  WienerFilter(board.field, board.bkgr, board.ROI, 9.0f, 1e6f);
  for (int y = 10; y < 54; ++y)
    for (int x = 10; x < 54; ++x) ASSERT_NEAR(board.field(x, y), 10.0f, 0.01f) << x << "," << y;
  WienerFilter(small.field, small.bkgr, small.ROI, 2.5f, 1e6f);
  EXPECT_NE(small.field(10, 10), 11.0f);

  layers spike(31, 31);
  spike.field.fill(10.0f);
  spike.field(15, 15) = 1000.0f;
  WienerFilter(spike.field, spike.bkgr, spike.ROI, 7.0f, 1e6f);
  for (std::uint64_t i = 0; i < spike.field.count; ++i)
    ASSERT_NEAR(spike.field.data[i], 10.0f, 1e-4f);
}

}  // namespace
