#include <gtest/gtest.h>
#include <omp.h>

#include <cstring>
#include <random>

#include "filters/circleFilters.h"
#include "filters/pointOperations.h"
#include "filters/rangedFilters.h"
#include "tests/support/scriptedUi.h"

namespace {

using namespace tamble;

// A small image: field values, and masks with every pixel valid.
struct layers {
  fieldStore field;
  maskStore bkgr, ROI;
  layers(int w, int h) : field(w, h), bkgr(w, h), ROI(w, h) {
    field.fill(0.0f);
    bkgr.fill(false);
    ROI.fill(true);
  }
  explicit layers(std::initializer_list<float> row) : layers(static_cast<int>(row.size()), 1) {
    std::copy(row.begin(), row.end(), field.data);
  }
  std::vector<float> values() const { return {field.data, field.data + field.count}; }
};

// One row of four: pixel 1 is background, pixel 2 outside the ROI.
layers blockedRow(std::initializer_list<float> row) {
  layers l(row);
  l.bkgr(1, 0) = true;
  l.ROI(2, 0) = false;
  return l;
}

TEST(PointArithmetic, EachOperationTouchesValidPixelsOnly) {
  struct caseRow {
    int op;
    float c;
    std::vector<float> expected;
  };
  const caseRow cases[] = {{1, 0.5f, {1.5f, 2, 3, 4.5f}},
                           {2, 1.0f, {0, 2, 3, 3}},
                           {3, 2.0f, {2, 2, 3, 8}},
                           {4, 2.0f, {0.5f, 2, 3, 2}},
                           {4, 3.0f, {1.0f / 3.0f, 2, 3, 4.0f / 3.0f}}};
  for (const caseRow& c : cases) {
    layers l = blockedRow({1, 2, 3, 4});
    ArithmeticConstant(l.field, l.bkgr, l.ROI, c.op, c.c);
    EXPECT_EQ(l.values(), c.expected) << "op " << c.op << " constant " << c.c;
  }
}

TEST(PointArithmetic, TinyDivisorAndUnknownOperationChangeNothingSilently) {
  tamble::testing::installedUi user;
  for (auto [op, c] : {std::pair{4, 1e-11f}, {4, -5e-11f}, {4, 0.0f}, {0, 3.0f}, {5, 3.0f}}) {
    layers l({1, 2, 3, 4});
    ArithmeticConstant(l.field, l.bkgr, l.ROI, op, c);
    EXPECT_EQ(l.values(), (std::vector<float>{1, 2, 3, 4})) << "op " << op;
  }
  // A divisor of exactly 1e-10 is not below the limit: it divides.
  layers l({1e-10f});
  ArithmeticConstant(l.field, l.bkgr, l.ROI, 4, 1e-10f);
  EXPECT_EQ(l.field(0, 0), 1.0f);
  EXPECT_TRUE(user.ui.notices.empty());
}

TEST(PointCutOff, ClipsAboveBelowBothOrNeither) {
  const std::vector<float> input = {-5, 20, 20, 12};  // pixels 1 and 2 blocked
  auto run = [&](bool above, bool below) {
    layers l = blockedRow({-5, 20, 20, 12});
    CutOffIntensities(l.field, l.bkgr, l.ROI, above, 10.0f, below, 0.0f);
    return l.values();
  };
  EXPECT_EQ(run(true, false), (std::vector<float>{-5, 20, 20, 10}));
  EXPECT_EQ(run(false, true), (std::vector<float>{0, 20, 20, 12}));
  EXPECT_EQ(run(true, true), (std::vector<float>{0, 20, 20, 10}));
  EXPECT_EQ(run(false, false), input);
}

TEST(PointCutOff, TheLowerCutComesSecond) {
  // With a crossed band the two passes disagree: the second one wins.
  layers l({3, -1, 9});
  CutOffIntensities(l.field, l.bkgr, l.ROI, true, 1.0f, true, 5.0f);
  EXPECT_EQ(l.values(), (std::vector<float>{5, 5, 5}));
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

TEST(PointImageArithmetic, RefusesOtherSizesAndUnknownOperations) {
  tamble::testing::installedUi user;
  arithmeticCase c;
  c.run(5);
  EXPECT_TRUE(c.failed);
  EXPECT_EQ(user.ui.notices.back(),
            "ImageArithmeticBM: Unknown Arithmetic Operation. Operation is Canceled");
  EXPECT_EQ(c.out.field(0, 0), -7.0f);  // the output is left alone
  arithmeticCase d;
  d.b = layers(4, 3);
  d.run(1);
  EXPECT_TRUE(d.failed);
  EXPECT_EQ(user.ui.notices.back(),
            "ImageArithmeticBM: Images Have Different Dimensions. Operation is Canceled");
  EXPECT_EQ(user.ui.notices.size(), 2u);
}

TEST(PointInvert, KeepsTheLimitsAndTwiceGivesTheImageBack) {
  layers l = blockedRow({1, 100, -100, 5});
  l.field(3, 0) = 5;
  ConservativeInvert(l.field, l.bkgr, l.ROI);
  EXPECT_EQ(l.values(), (std::vector<float>{5, 100, -100, 1}));
  ConservativeInvert(l.field, l.bkgr, l.ROI);
  EXPECT_EQ(l.values(), (std::vector<float>{1, 100, -100, 5}));
  layers mid({2, 7, 3});  // lo 2, hi 7: 3 becomes 6
  ConservativeInvert(mid.field, mid.bkgr, mid.ROI);
  EXPECT_EQ(mid.values(), (std::vector<float>{7, 2, 6}));
}

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

// A 9 by 9 image of zeros with one bright pixel in the middle.
layers impulse() {
  layers l(9, 9);
  l.field(4, 4) = 100.0f;
  return l;
}

TEST(RangedRange, SmallDiametersTakeTheFieldsOwnRange) {
  for (float d : {3.0f, 3.9f, 2.0f}) {
    layers l = impulse();
    l.field(0, 0) = -3.0f;
    l.bkgr(1, 1) = true;
    l.field(1, 1) = 1e6f;  // blocked: not counted
    float lo = 1, hi = 1;
    RangedRange(l.field, l.bkgr, l.ROI, d, lo, hi);
    EXPECT_EQ(lo, -3.0f) << d;
    EXPECT_EQ(hi, 100.0f) << d;
  }
}

TEST(RangedRange, LargerDiametersSmoothAnImpulseAwayOnACopy) {
  layers l = impulse();
  float lo = 1, hi = 1;
  RangedRange(l.field, l.bkgr, l.ROI, 5.0f, lo, hi);
  EXPECT_EQ(lo, 0.0f);
  EXPECT_EQ(hi, 0.0f);               // the median removes the lone spike before the Gauss
  EXPECT_EQ(l.field(4, 4), 100.0f);  // the field itself is untouched
}

TEST(RangedRange, NoValidPixelGivesZeros) {
  layers l = impulse();
  l.ROI.fill(false);
  float lo = 1, hi = 1;
  RangedRange(l.field, l.bkgr, l.ROI, 3.0f, lo, hi);
  EXPECT_EQ(lo, 0.0f);
  EXPECT_EQ(hi, 0.0f);
}

TEST(RangedFilter, ClipsToTheBandAndScalesTheThreshold) {
  layers l({0, 2, 5, 8, 10});
  // Kind 0 runs no filter: what remains is the clipping and the range.
  rangedResult r = RangedFilter(l.field, l.bkgr, l.ROI, 0, 1, 2.0f, 8.0f, 3.0f, 0.5f);
  EXPECT_EQ(l.values(), (std::vector<float>{2, 2, 5, 8, 8}));
  EXPECT_EQ(r.rangeMin, 2.0f);
  EXPECT_EQ(r.rangeMax, 8.0f);
  EXPECT_EQ(r.threshold, 3.0f);
  layers wide({0, 2, 5, 8, 10});
  r = RangedFilter(wide.field, wide.bkgr, wide.ROI, 0, 1, -100.0f, 100.0f, 3.0f, 0.1f);
  EXPECT_EQ(wide.values(), (std::vector<float>{0, 2, 5, 8, 10}));
  EXPECT_EQ(r.threshold, 10.0f * 0.1f);
}

TEST(RangedFilter, MedianKindRemovesAnImpulseInsideTheBand) {
  layers l = impulse();
  l.field(2, 2) = -50.0f;
  RangedFilter(l.field, l.bkgr, l.ROI, rangedMedian, 1, -10.0f, 200.0f, 3.0f, 0.1f);
  EXPECT_EQ(l.field(4, 4), 0.0f);
  EXPECT_EQ(l.field(2, 2), 0.0f);  // clipped to -10 first, then the median
}

// Random field and masks, big enough for the threads to start.
layers randomLayers(unsigned seed) {
  layers l(512, 300);
  std::mt19937 gen(seed);
  std::uniform_real_distribution<float> value(-100.0f, 100.0f);
  for (std::size_t i = 0; i < l.field.count; ++i) {
    l.field.data[i] = value(gen);
    l.bkgr.data[i] = gen() % 7 == 0;
    l.ROI.data[i] = gen() % 5 != 0;
  }
  return l;
}

bool sameBits(const layers& a, const layers& b) {
  return std::memcmp(a.field.data, b.field.data, a.field.count * sizeof(float)) == 0 &&
         std::memcmp(a.bkgr.data, b.bkgr.data, a.bkgr.count) == 0 &&
         std::memcmp(a.ROI.data, b.ROI.data, a.ROI.count) == 0;
}

// Runs `work` on a copy with one thread and on a copy with four.
template <class Work>
void expectSameWithThreads(const layers& input, Work work, const char* what) {
  const int before = omp_get_max_threads();
  layers serial = input, parallel = input;
  omp_set_num_threads(1);
  work(serial);
  omp_set_num_threads(4);
  work(parallel);
  omp_set_num_threads(before);
  EXPECT_TRUE(sameBits(serial, parallel)) << what;
  EXPECT_FALSE(sameBits(serial, input)) << what << " changed nothing";
}

TEST(PointParallel, RowsInParallelGiveTheSerialBits) {
  const layers in = randomLayers(5);
  expectSameWithThreads(
      in, [](layers& l) { ArithmeticConstant(l.field, l.bkgr, l.ROI, 4, 3.7f); }, "divide");
  expectSameWithThreads(
      in, [](layers& l) { CutOffIntensities(l.field, l.bkgr, l.ROI, true, 50, true, -20); },
      "cut off");
  expectSameWithThreads(
      in, [](layers& l) { ConservativeInvert(l.field, l.bkgr, l.ROI); }, "invert");
  expectSameWithThreads(
      in, [](layers& l) { FloodROI(l.field, l.bkgr, l.ROI, 1.5f, true); }, "flood");
  const layers second = randomLayers(9);
  expectSameWithThreads(
      in,
      [&second](layers& l) {
        layers out(l.field.width(), l.field.height());
        bool failed = true;
        ImageArithmeticBM(l.field, l.bkgr, l.ROI, second.field, second.bkgr, second.ROI, out.field,
                          out.bkgr, out.ROI, 4, failed);
        EXPECT_FALSE(failed);
        l = out;
      },
      "image arithmetic");
}

}  // namespace
