// The per-pixel operations and the ranged filter.
#include <gtest/gtest.h>

#include <vector>

#include "filters/circleFilters.h"
#include "filters/pointOperations.h"
#include "filters/rangedFilters.h"
#include "tests/filters/filterReferences.h"
#include "tests/support/sessionUi.h"

namespace {

using namespace tamble;
using tamble::testing::layers;

// One row of four: pixel 1 is background, pixel 2 outside the ROI.
layers blockedRow(std::initializer_list<float> row) {
  layers l = layers::row(row);
  l.bkgr(1, 0) = true;
  l.ROI(2, 0) = false;
  return l;
}

// Each operation on the valid pixels of 1 2 3 4; an unknown operation or a
// divisor below 1e-10 in size changes nothing, silently.
TEST(PointArithmetic, EachOperationTouchesValidPixelsOnly) {
  tamble::testing::sessionUi user;
  const struct {
    int op;
    float c;
    std::vector<float> expected;
  } cases[] = {{1, 0.5f, {1.5f, 2, 3, 4.5f}},
               {2, 1.0f, {0, 2, 3, 3}},
               {3, 2.0f, {2, 2, 3, 8}},
               {4, 2.0f, {0.5f, 2, 3, 2}},
               {4, 3.0f, {1.0f / 3, 2, 3, 4.0f / 3}},
               {4, 1e-11f, {1, 2, 3, 4}},
               {4, -5e-11f, {1, 2, 3, 4}},
               {4, 0.0f, {1, 2, 3, 4}},
               {0, 3.0f, {1, 2, 3, 4}},
               {5, 3.0f, {1, 2, 3, 4}}};
  for (const auto& c : cases) {
    layers l = blockedRow({1, 2, 3, 4});
    ArithmeticConstant(l.field, l.bkgr, l.ROI, c.op, c.c);
    EXPECT_EQ(l.values(), c.expected) << "op " << c.op << " constant " << c.c;
  }
  layers l = layers::row({1e-10f});  // exactly the limit: it divides
  ArithmeticConstant(l.field, l.bkgr, l.ROI, 4, 1e-10f);
  EXPECT_EQ(l.field(0, 0), 1.0f);
  EXPECT_TRUE(user.ui.notices.empty());
}

// Clipping above 10, below 0, both or neither; with a crossed band (above
// 1, below 5) the lower cut comes second and wins.
TEST(PointCutOff, ClipsAboveBelowBothOrNeither) {
  const struct {
    bool above;
    float max;
    bool below;
    float min;
    std::vector<float> expected;
  } cases[] = {{true, 10, false, 0, {-5, 20, 20, 10}},
               {false, 10, true, 0, {0, 20, 20, 12}},
               {true, 10, true, 0, {0, 20, 20, 10}},
               {false, 10, false, 0, {-5, 20, 20, 12}},
               {true, 1, true, 5, {5, 20, 20, 5}}};
  for (const auto& c : cases) {
    layers l = blockedRow({-5, 20, 20, 12});
    CutOffIntensities(l.field, l.bkgr, l.ROI, c.above, c.max, c.below, c.min);
    EXPECT_EQ(l.values(), c.expected) << c.above << c.max << c.below << c.min;
  }
}

// Two 4 by 2 inputs and a blank output; a = 1..8, b = 2 everywhere.
struct arithmeticCase {
  layers a = layers(4, 2), b = layers(4, 2), out = layers(4, 2);
  bool failed = true;
  arithmeticCase() {
    for (int i = 0; i < 8; ++i) a.field.data[i] = static_cast<float>(i + 1);
    b.field.fill(2.0f);
    out.field.fill(-7.0f);
    out.bkgr.fill(true);
    out.ROI.fill(false);
  }
  void run(int op) {
    ImageArithmeticBM(a.field, a.bkgr, a.ROI, b.field, b.bkgr, b.ROI, out.field, out.bkgr, out.ROI,
                      op, failed);
  }
};

// Where both inputs are valid, each operation; the output's masks are set.
TEST(PointImageArithmetic, OperationsWhereBothInputsAreInTheirROIs) {
  for (int op = 1; op <= 4; ++op) {
    arithmeticCase c;
    c.run(op);
    EXPECT_FALSE(c.failed);
    for (int i = 0; i < 8; ++i) {
      const float v = static_cast<float>(i + 1);
      const float expected = op == 1 ? v + 2 : op == 2 ? v - 2 : op == 3 ? v * 2 : v / 2;
      EXPECT_EQ(c.out.field.data[i], expected) << "op " << op << " pixel " << i;
      EXPECT_FALSE(c.out.bkgr.data[i]);
      EXPECT_TRUE(c.out.ROI.data[i]);
    }
  }
}

// Background of either input gives 0 and background, outside a ROI 0 and no
// ROI; divisors up to 1e-10 in size give 0.
TEST(PointImageArithmetic, BackgroundOutsideROIAndTinyDivisors) {
  arithmeticCase c;
  c.a.bkgr(0, 0) = true;  // background of the first, also outside its ROI
  c.a.ROI(0, 0) = false;
  c.b.bkgr(1, 0) = true;  // background of the second, outside the other's ROI
  c.a.ROI(1, 0) = false;
  c.b.ROI(2, 0) = false;      // outside one ROI
  c.b.field(3, 0) = 0.0f;     // divisor zero
  c.b.field(0, 1) = 1e-10f;   // not above the limit
  c.b.field(1, 1) = -2e-10f;  // above it in size
  c.run(4);
  EXPECT_FALSE(c.failed);
  const bool bk[8] = {true, true, false, true, true, false, false, false};
  const bool roi[8] = {true, true, false, true, true, true, true, true};
  const float v[8] = {0, 0, 0, 0, 0, 6.0f / -2e-10f, 3.5f, 4};
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(c.out.bkgr.data[i], bk[i]) << i;
    EXPECT_EQ(c.out.ROI.data[i], roi[i]) << i;
    EXPECT_EQ(c.out.field.data[i], v[i]) << i;
  }
}

// An unknown operation or another size: a notice, and the output stays.
TEST(PointImageArithmetic, RefusesOtherSizesAndUnknownOperations) {
  tamble::testing::sessionUi user;
  arithmeticCase c;
  c.run(5);
  EXPECT_TRUE(c.failed);
  EXPECT_EQ(user.ui.notices.back(),
            "ImageArithmeticBM: Unknown Arithmetic Operation. Operation is Canceled");
  arithmeticCase d;
  d.b = layers(4, 3);
  d.run(1);
  EXPECT_TRUE(d.failed);
  EXPECT_EQ(user.ui.notices.back(),
            "ImageArithmeticBM: Images Have Different Dimensions. Operation is Canceled");
  EXPECT_EQ(c.out.field(0, 0), -7.0f);
  EXPECT_EQ(d.out.field(0, 0), -7.0f);
}

// hi + lo - v keeps the limits of the valid pixels, and twice gives v back.
TEST(PointInvert, KeepsTheLimitsAndTwiceGivesTheImageBack) {
  layers l = blockedRow({1, 100, -100, 5});
  ConservativeInvert(l.field, l.bkgr, l.ROI);
  EXPECT_EQ(l.values(), (std::vector<float>{5, 100, -100, 1}));
  ConservativeInvert(l.field, l.bkgr, l.ROI);
  EXPECT_EQ(l.values(), (std::vector<float>{1, 100, -100, 5}));
  layers mid = layers::row({2, 7, 3});  // lo 2, hi 7: 3 becomes 6
  ConservativeInvert(mid.field, mid.bkgr, mid.ROI);
  EXPECT_EQ(mid.values(), (std::vector<float>{7, 2, 6}));
}

// Valid pixels take the value, or become background with their value kept.
TEST(PointFlood, ValueOrBackgroundAtValidPixels) {
  layers l = blockedRow({1, 2, 3, 4});
  FloodROI(l.field, l.bkgr, l.ROI, 9.0f, false);
  EXPECT_EQ(l.values(), (std::vector<float>{9, 2, 3, 9}));
  layers b = blockedRow({1, 2, 3, 4});
  FloodROI(b.field, b.bkgr, b.ROI, 9.0f, true);
  EXPECT_EQ(b.values(), (std::vector<float>{1, 2, 3, 4}));
  EXPECT_EQ(std::vector<bool>(b.bkgr.data, b.bkgr.data + 4),
            (std::vector<bool>{true, true, false, true}));
}

// The range of a copy smoothed by no median (diameter up to 3), a median of
// 3 (below 7) or of 5, then a Gauss of the diameter; the field stays.
TEST(RangedRange, IsTheRangeOfTheSmoothedCopy) {
  for (float d : {2.0f, 3.9f, 4.0f, 6.9f, 7.0f, 9.5f})
    for (double share : {0.1, 1.0}) {
      const layers l = tamble::testing::randomLayers(40, 30, share, 9u);
      layers smooth = l;
      if (d >= 4) {
        tamble::testing::referenceCircle(smooth, 1, d < 7 ? 3 : 5);
        tamble::testing::referenceGauss(smooth, 1, d);
      }
      float lo = 0, hi = 0, wantLo = 0, wantHi = 0;
      FieldMinMax(smooth.field, smooth.bkgr, smooth.ROI, wantLo, wantHi);
      layers copy = l;
      RangedRange(copy.field, copy.bkgr, copy.ROI, d, lo, hi);
      EXPECT_EQ(lo, wantLo) << d << " share " << share;
      EXPECT_EQ(hi, wantHi) << d << " share " << share;
      EXPECT_TRUE(tamble::testing::sameBits(copy, l));
    }
}

// Kind 0 runs no filter: the field is clipped to the band and the threshold
// is the range of what remains times the scale.
TEST(RangedFilter, ClipsToTheBandAndScalesTheThreshold) {
  layers l = layers::row({0, 2, 5, 8, 10});
  rangedResult r = RangedFilter(l.field, l.bkgr, l.ROI, 0, 1, 2.0f, 8.0f, 3.0f, 0.5f);
  EXPECT_EQ(l.values(), (std::vector<float>{2, 2, 5, 8, 8}));
  EXPECT_EQ(r.rangeMin, 2.0f);
  EXPECT_EQ(r.rangeMax, 8.0f);
  EXPECT_EQ(r.threshold, 3.0f);
  layers wide = layers::row({0, 2, 5, 8, 10});
  r = RangedFilter(wide.field, wide.bkgr, wide.ROI, 0, 1, -100.0f, 100.0f, 3.0f, 0.1f);
  EXPECT_EQ(wide.values(), (std::vector<float>{0, 2, 5, 8, 10}));
  EXPECT_EQ(r.threshold, 10.0f * 0.1f);
}

// The median kind clips first, then takes an impulse out.
TEST(RangedFilter, MedianKindRemovesAnImpulseInsideTheBand) {
  layers l(9, 9);
  l.field(4, 4) = 100.0f;
  l.field(2, 2) = -50.0f;
  RangedFilter(l.field, l.bkgr, l.ROI, rangedMedian, 1, -10.0f, 200.0f, 3.0f, 0.1f);
  EXPECT_EQ(l.field(4, 4), 0.0f);
  EXPECT_EQ(l.field(2, 2), 0.0f);
}

}  // namespace
