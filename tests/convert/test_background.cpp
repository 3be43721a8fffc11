// The background rules on images whose background is known: each selection
// marks the pixels it should, each compensation takes a known background
// away, and what a rule cannot do changes nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>

#include "convert/background.h"
#include "tests/support/layers.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::sameBits;

backgroundParams rules(int select, int r1, int compensate, int r2) {
  backgroundParams p;
  p.select = select, p.r1 = r1, p.compensate = compensate, p.r2 = r2;
  return p;
}

// 8 by 6, value = pixel index 0..47 (mean 23.5), and a stale background
// pixel at the last index that every rule must clear.
layers indexRamp() {
  layers l(8, 6);
  for (int i = 0; i < 48; ++i) l.field.data[i] = static_cast<float>(i);
  l.bkgr.data[47] = true;
  return l;
}

struct selectCase {
  const char* name;
  std::function<void(layers&, backgroundParams&)> setUp;
  std::function<bool(int i)> marked;  // by index; null: nothing may change
};

const selectCase selectCases[] = {
    {"Threshold", [](layers&, backgroundParams& p) { p.r1 = selectThreshold, p.threshold = 10; },
     [](int i) { return i < 10; }},
    {"AverageScaleHalf", [](layers&, backgroundParams& p) { p.r1 = selectAverage, p.scale = 0.5f; },
     [](int i) { return i <= 11; }},
    {"RelativeQuarter",  // 10 + (57 - 10) * 0.25
     [](layers& l, backgroundParams& p) {
       for (int i = 0; i < 48; ++i) l.field.data[i] += 10.0f;
       p.r1 = selectRelative, p.relative = 0.25f;
     },
     [](int i) { return i <= 11; }},
    {"RelativeOnAConstantImageEnds",
     [](layers& l, backgroundParams& p) {
       l.field.fill(7.0f);
       p.r1 = selectRelative, p.relative = 0.5f, p.compensate = 1, p.value = 3;
     },
     nullptr},
    {"ROIRegionsBecomeBackground",
     [](layers& l, backgroundParams& p) {
       p.r1 = selectFromROI;
       l.ROI.data[3] = l.ROI.data[20] = false;
     },
     [](int i) { return i == 3 || i == 20; }},
    {"NoROIEnds",
     [](layers& l, backgroundParams& p) {
       p.r1 = selectFromROI, p.roiPresent = false;
       l.ROI.fill(false);
     },
     nullptr},
    // A tilted plane with four dips of 30: the plane through all pixels
    // passes under the plane by far less than a dip.
    {"PlaneMarksTheDips",
     [](layers& l, backgroundParams& p) {
       p.r1 = selectPlane;
       for (int i = 0; i < 48; ++i) l.field.data[i] = 100.0f + 2.0f * (i % 8) - 3.0f * (i / 8);
       for (int i : {3, 17, 30, 46}) l.field.data[i] -= 30.0f;
     },
     [](int i) { return i == 3 || i == 17 || i == 30 || i == 46; }},
};

class SelectRule : public ::testing::TestWithParam<selectCase> {};

TEST_P(SelectRule, MarksExactlyTheExpectedPixels) {
  layers l = indexRamp();
  backgroundParams p = rules(1, 0, 0, compensateValue);
  GetParam().setUp(l, p);
  const layers before = l;
  EXPECT_EQ(selectAndCompensate(l.field, l.bkgr, l.ROI, p), backgroundFault::none);
  if (!GetParam().marked) {
    EXPECT_TRUE(sameBits(l, before));
    return;
  }
  for (int i = 0; i < 48; ++i) EXPECT_EQ(l.bkgr.data[i], GetParam().marked(i)) << i;
  EXPECT_EQ(l.values(), before.values());  // selecting alone leaves the values
  // The ROI covers all once its regions are background.
  EXPECT_TRUE(p.r1 != selectFromROI || std::count(l.ROI.data, l.ROI.data + 48, true) == 48);
}

INSTANTIATE_TEST_SUITE_P(Rules, SelectRule, ::testing::ValuesIn(selectCases),
                         [](const auto& info) { return std::string(info.param.name); });

// The paint's own light on 24 by 18: none within 4 pixels of the edges.
float paint(int x, int y) {
  const int d = std::min(std::min(x, 23 - x), std::min(y, 17 - y));
  return d < 4 ? 0.0f : 50.0f + static_cast<float>(x % 3 + y % 5);
}

struct compensateCase {
  const char* name;
  backgroundParams p;
  std::function<float(int, int)> background;  // what the rule must take away
  std::function<bool(int, int)> mask;         // the ROI (rule 2) or bkgr (3, 6) it reads
};

backgroundParams compensating(int r2, int side2 = 1, int indent4 = 0, int width4 = 1) {
  backgroundParams p = rules(0, 0, 1, r2);
  p.value = 12.5f, p.side2 = side2, p.indent4 = indent4, p.width4 = width4;
  return p;
}

const compensateCase compensateCases[] = {
    {"Value", compensating(compensateValue), [](int, int) { return 12.5f; }, nullptr},
    {"ROIMean", compensating(compensateROIMean), [](int, int) { return 40.0f; },
     [](int, int y) { return y < 2; }},
    {"BackgroundMean", compensating(compensateBkgrMean), [](int, int) { return 25.0f; },
     [](int x, int) { return x == 0 || x == 23; }},
    {"TwoSideRampPerRow", compensating(compensateTwoSide, 3),
     [](int x, int y) { return 30.0f + y + (0.5f + 0.25f * y) * x; }, nullptr},
    {"FourSideSurface", compensating(compensateFourSide, 1, 1, 2),
     [](int x, int y) {
       return 20.0f + 0.01f * (x - 12) * (x - 12) + 4.0f * std::sin(0.3f * y) + 0.05f * x * y;
     },
     nullptr},
    {"BackgroundPlane", compensating(compensateBkgrPlane),
     [](int x, int y) { return 70.0f - 0.5f * x + 1.25f * y; },
     [](int x, int y) { return paint(x, y) == 0.0f; }},
};

class CompensateRule : public ::testing::TestWithParam<compensateCase> {};

// background + paint in; the paint out, to single-precision accuracy.
TEST_P(CompensateRule, TakesTheKnownBackgroundAway) {
  const compensateCase& c = GetParam();
  layers l(24, 18);
  for (int y = 0; y < 18; ++y)
    for (int x = 0; x < 24; ++x) {
      l.field(x, y) = c.background(x, y) + paint(x, y);
      if (c.mask && c.p.r2 == compensateROIMean) l.ROI(x, y) = c.mask(x, y);
      if (c.mask && c.p.r2 != compensateROIMean) l.bkgr(x, y) = c.mask(x, y);
    }
  const layers before = l;
  ASSERT_EQ(selectAndCompensate(l.field, l.bkgr, l.ROI, c.p), backgroundFault::none);
  for (int y = 0; y < 18; ++y)
    for (int x = 0; x < 24; ++x)
      ASSERT_NEAR(l.field(x, y), paint(x, y), 2e-4f * before.field(x, y) + 1e-4f) << x << "," << y;
  EXPECT_TRUE(sameBits(l.bkgr, before.bkgr) && sameBits(l.ROI, before.ROI));
}

INSTANTIATE_TEST_SUITE_P(Rules, CompensateRule, ::testing::ValuesIn(compensateCases),
                         [](const auto& info) { return std::string(info.param.name); });

// Whatever the rule, no pixel is negative afterwards, and the clipping did
// happen.
TEST(Compensate, NoPixelIsNegativeAfterAnyRule) {
  for (int r2 = compensateValue; r2 <= compensateBkgrPlane; ++r2) {
    layers l = tamble::testing::randomLayers(40, 30, 0.4, 7u + r2);
    for (std::uint64_t i = 0; i < l.field.count; ++i) l.field.data[i] -= 20.0f;
    backgroundParams p = compensating(r2, 4, 2, 3);
    p.value = 30.0f;
    selectAndCompensate(l.field, l.bkgr, l.ROI, p);
    EXPECT_EQ(*std::min_element(l.field.data, l.field.data + l.field.count), 0.0f) << r2;
  }
}

// A compensation that lacks what it needs ends quietly: a ROI mean without ROI, a background mean
// without background, a background plane whose background spans less than a tenth of the smaller
// side (30 here) in its bounding box's smaller side.
TEST(Compensate, WhatIsMissingEndsTheRoutineQuietly) {
  struct row {
    const char* name;
    int r2;
    bool roiPresent, bkgrPresent;
    int bkgrW, bkgrH;  // a block of background at the corner
    bool roiEmpty, changes;
  };
  const row rows[] = {
      {"no ROI", compensateROIMean, false, true, 0, 0, true, false},
      {"empty ROI said present", compensateROIMean, true, true, 0, 0, true, false},
      {"no background", compensateBkgrMean, true, false, 0, 0, false, false},
      {"empty background said present", compensateBkgrMean, true, true, 0, 0, false, false},
      {"plane over 3 by 3", compensateBkgrPlane, true, true, 3, 3, false, true},
      {"plane over 2 by 9", compensateBkgrPlane, true, true, 2, 9, false, false},
      {"plane over 40 by 2", compensateBkgrPlane, true, true, 40, 2, false, false},
  };
  for (const row& r : rows) {
    layers l(40, 30);
    l.field.fill(10.0f);
    if (r.roiEmpty) l.ROI.fill(false);
    for (int y = 0; y < r.bkgrH; ++y)
      for (int x = 0; x < r.bkgrW; ++x) l.bkgr(x, y) = true;
    backgroundParams p = compensating(r.r2);
    p.roiPresent = r.roiPresent, p.bkgrPresent = r.bkgrPresent;
    const layers before = l;
    EXPECT_EQ(selectAndCompensate(l.field, l.bkgr, l.ROI, p), backgroundFault::none) << r.name;
    EXPECT_NEAR(l.field(20, 20), r.changes ? 0.0f : 10.0f, 1e-3f) << r.name;
    EXPECT_TRUE(r.changes || sameBits(l, before)) << r.name;
  }
}

// Strips that cannot be laid are refused before anything changes, the
// selection included; without compensation they are not looked at.
TEST(Compensate, BadStripsAreRefusedWithTheirMessage) {
  struct row {
    int r2, side2, indent4, width4;
    backgroundFault fault;
    const char* text;
  };
  const char* noFit = "Side Strips Do Not Fit in the Image !";
  const row rows[] = {
      {compensateTwoSide, 0, 0, 1, backgroundFault::twoSideWidth,
       "Two Side Strap Width Less Than 1 !"},
      {compensateTwoSide, 12, 0, 1, backgroundFault::stripsTooWide, noFit},  // 12 columns
      {compensateFourSide, 1, 0, 0, backgroundFault::fourSideWidth,
       "Four Side Strap Width Less Than 1 !"},
      {compensateFourSide, 1, -1, 2, backgroundFault::fourSideIndent,
       "Four Side Indent Less Than 0 !"},
      {compensateFourSide, 1, 2, 4, backgroundFault::stripsTooWide, noFit},  // 2 + 4 + 2 rows
      {compensateFourSide, 1, 1, 5, backgroundFault::none, ""},              // 7 of 8 rows
  };
  for (const row& r : rows) {
    layers l(12, 8);
    for (std::uint64_t i = 0; i < l.field.count; ++i) l.field.data[i] = 5.0f + i;
    backgroundParams p = compensating(r.r2, r.side2, r.indent4, r.width4);
    p.select = 1, p.r1 = selectThreshold, p.threshold = 20.0f;
    const layers before = l;
    EXPECT_EQ(selectAndCompensate(l.field, l.bkgr, l.ROI, p), r.fault) << r.text;
    EXPECT_STREQ(backgroundFaultText(r.fault), r.text);
    EXPECT_EQ(sameBits(l, before), r.fault != backgroundFault::none) << r.text;
    p.compensate = 0;
    EXPECT_EQ(backgroundParameterFault(p, 12, 8), backgroundFault::none);
  }
}

}  // namespace
