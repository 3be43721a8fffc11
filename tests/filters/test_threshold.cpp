#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "api/image.h"
#include "filters/circleFilters.h"

namespace {

using tamble::FilterThresholdParams;

zel::image filled(int w, int h, float value) {
  zel::image img(w, h);
  img.fillField(value);
  return img;
}

FilterThresholdParams params(int kind, int width, int fill = 50) {
  FilterThresholdParams p;
  p.kind = kind;
  p.width = width;
  p.height = width;
  p.fillPercent = fill;
  return p;
}

// The window median of an even count takes the upper middle.
TEST(ThresholdFilter, MedianOfAnEvenCountIsTheUpperMiddle) {
  zel::image img(2, 1);
  img.field()(0, 0) = 10.0f;
  img.field()(1, 0) = 20.0f;
  tamble::FilterThreshold(img, params(4, 2), false);  // width 2 becomes 3
  EXPECT_EQ(img.field()(0, 0), 20.0f);
  EXPECT_EQ(img.field()(1, 0), 20.0f);
}

// Kind 0 only thresholds: below low becomes background, above high is
// clipped; a window below 3 is refused.
TEST(ThresholdFilter, ThresholdsAloneAndRejectedWindows) {
  zel::image img(3, 1);
  img.field()(0, 0) = 1.0f;
  img.field()(1, 0) = 5.0f;
  img.field()(2, 0) = 9.0f;
  FilterThresholdParams p = params(0, 3);
  p.low = 2.0;
  p.high = 7.0;
  p.width = 1;  // refused: nothing happens
  tamble::FilterThreshold(img, p, false);
  EXPECT_EQ(img.field()(2, 0), 9.0f);
  p.width = 3;
  tamble::FilterThreshold(img, p, false);
  EXPECT_TRUE(img.bkgr()(0, 0));
  EXPECT_FALSE(img.bkgr()(1, 0));
  EXPECT_EQ(img.field()(1, 0), 5.0f);
  EXPECT_EQ(img.field()(2, 0), 7.0f);
}

// A background pixel is filled when the missing share is below the fill
// percent.
TEST(ThresholdFilter, FlatFillsABackgroundPixelWithEnoughSupport) {
  // 8 of the 9 cells are samples: the missing share 1/9 is below 50 percent
  // and at or above 10 percent.
  for (auto [fill, filledIn] : {std::pair{50, true}, std::pair{10, false}}) {
    zel::image img = filled(5, 5, 1.0f);
    img.field()(2, 2) = -3.0f;
    img.bkgr()(2, 2) = true;
    tamble::FilterThreshold(img, params(1, 3, fill), false);
    EXPECT_EQ(img.bkgr()(2, 2), !filledIn) << fill;
    EXPECT_EQ(img.field()(2, 2), filledIn ? 1.0f : -3.0f) << fill;
  }
}

// At an edge the kernel is read from its start over the clipped window.
TEST(ThresholdFilter, GaussKernelStartsAtTheClippedWindow) {
  // At the corner the clipped window is 2 by 2; its four cells take kernel
  // weights 0 to 3 of the 3 by 3 kernel: e^-2, e^-1, e^-2, e^-1.
  zel::image img = filled(4, 4, 0.0f);
  img.field()(0, 0) = 1.0f;
  tamble::FilterThreshold(img, params(2, 3), false);
  const double e1 = std::exp(-1.0), e2 = std::exp(-2.0);
  EXPECT_FLOAT_EQ(img.field()(0, 0), static_cast<float>(e2 / (2 * e2 + 2 * e1)));
}

// The 3D kind weighs by intensity over the height and scales back.
TEST(ThresholdFilter, Gauss3DRescalesByTheHeight) {
  // Values 0 and 100 give the height (100 - 0)*0.1 = 10; a flat area of 50
  // comes back as 50 up to rounding. At the corner (8, 8) the scaled values
  // are 10 and three 5s; the weights max(1, 10 - d^2) are 10 for the centre
  // and 1 for the others, times kernel cells 0 to 3: e^-2, e^-1, e^-2, e^-1.
  zel::image img = filled(9, 9, 50.0f);
  img.field()(0, 0) = 0.0f;
  img.field()(8, 8) = 100.0f;
  FilterThresholdParams p = params(3, 3);
  p.heightPercent = 10;
  tamble::FilterThreshold(img, p, false);
  EXPECT_NEAR(img.field()(4, 4), 50.0f, 1e-4f);
  const double e1 = std::exp(-1.0), e2 = std::exp(-2.0);
  const double corner = (10 * e1 * 10 + (2 * e2 + e1) * 5) * 10 / (10 * e1 + 2 * e2 + e1);
  EXPECT_NEAR(img.field()(8, 8), corner, 1e-4);
}

// The line filters count samples beyond the ends as 0.
TEST(ThresholdFilter, LineFiltersCountOutsideSamplesAsZero) {
  std::vector<double> out = {-1.0};
  tamble::LinearFilterApply({0.0, 3.0, 0.0}, out, {1, 2, 0.0});  // 2 grows to 3
  EXPECT_EQ(out, (std::vector<double>{-1.0, 1.0, 1.0, 1.0}));
  out.clear();
  tamble::LinearFilterApply({1.0, 2.0}, out, {2, 3, 0.0});  // taps 1, 1, 1
  EXPECT_EQ(out, (std::vector<double>{3.0, 3.0}));
  out.clear();
  tamble::LinearFilterApply({0.0, 1.0, 0.0}, out, {2, 3, 1.0});
  const double e = std::exp(-1.0), sum = 1.0 + 2 * e;
  ASSERT_EQ(out.size(), 3u);
  EXPECT_DOUBLE_EQ(out[0], e / sum);
  EXPECT_DOUBLE_EQ(out[1], 1.0 / sum);
  out.clear();
  tamble::LinearFilterApply({4.0, 5.0}, out, {0, 3, 0.0});
  EXPECT_EQ(out, (std::vector<double>{4.0, 5.0}));
  tamble::LinearFilterApply({4.0, 5.0}, out, {7, 3, 0.0});
  EXPECT_EQ(out.size(), 2u);
}

}  // namespace
