#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "geometry/polynomialMap.h"
#include "geometry/transforms.h"
#include "tests/support/scriptedUi.h"

namespace {

using tamble::fieldStore;
using tamble::maskStore;

// The three layers of an image and its markers; value(x, y) fills the field.
struct picture {
  fieldStore field;
  maskStore bkgr, ROI;
  zel::markersArray markers;

  picture(int w, int h, const std::function<float(int, int)>& value = {})
      : field(w, h), bkgr(w, h), ROI(w, h) {
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) field(x, y) = value ? value(x, y) : 5.0f;
    bkgr.fill(false);
    ROI.fill(true);
  }
  int width() const { return field.width(); }
  int height() const { return field.height(); }
  void shift(double dx, double dy, int kind) {
    tamble::ScaleRotateShift(field, bkgr, ROI, markers, 1, 1, 0, dx, dy, kind);
  }
  void resizeFrom(const picture& s, int kind) {
    tamble::ImageResize(s.field, s.bkgr, s.ROI, s.markers, field, bkgr, ROI, markers, kind);
  }
  void cropFrom(const picture& s, int ax, int ay) {
    tamble::ImageCrop(s.field, s.bkgr, s.ROI, s.markers, field, bkgr, ROI, markers, ax, ay);
  }
};

float linear(int x, int y) { return static_cast<float>(2 * x + 3 * y); }
float distinct(int x, int y) { return static_cast<float>(100 * y + x); }

void expectUntouched(const picture& p, float value) {
  EXPECT_EQ(std::count(p.field.data, p.field.data + p.field.count, value),
            static_cast<std::ptrdiff_t>(p.field.count));
  EXPECT_TRUE(p.markers.items.empty());
}

TEST(TransformShift, WholePixelShiftMovesValuesAndMarkersForward) {
  for (int kind : {0, 1}) {
    picture p(12, 10, linear);
    p.markers.add({4.5, 6.25, 0, 0, true, 0});
    p.shift(2, -1, kind);
    // Output (x, y) reads source (x - 2, y + 1): the content moves by the shift.
    for (int y = 0; y + 1 < p.height(); ++y)
      for (int x = 2; x < p.width(); ++x) EXPECT_FLOAT_EQ(p.field(x, y), linear(x - 2, y + 1));
    for (int y = 0; y < p.height(); ++y) {
      EXPECT_EQ(p.field(0, y), 0.0f) << "kind " << kind;
      EXPECT_TRUE(p.bkgr(0, y));
      EXPECT_TRUE(p.ROI(0, y)) << "no ROI hole, so pixels from outside stay in it";
    }
    EXPECT_NEAR(p.markers[0].x, 6.5, 1e-12);
    EXPECT_NEAR(p.markers[0].y, 5.25, 1e-12);
  }
}

TEST(TransformShift, ScaleAndTurnSetTheAffineMapAboutTheCentre) {
  picture p(10, 8);
  tamble::ScaleRotateShift(p.field, p.bkgr, p.ROI, p.markers, 2, 4, 90, 0, 0, 0);
  const tamble::polynomialState& map = tamble::polynomialMap();
  EXPECT_EQ(map.order, 3);
  // a = -pi/2: X = 3.5 + y/2, Y = 6.5 - x/4, which keeps the centre (6, 5).
  const double X[] = {3.5, 0, 0.5}, Y[] = {6.5, -0.25, 0};
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(map.forwardX[i], X[i], 1e-9) << i;
    EXPECT_NEAR(map.forwardY[i], Y[i], 1e-9) << i;
  }
  for (int i = 3; i < 10; ++i) {
    EXPECT_EQ(map.forwardX[i], 0.0);
    EXPECT_EQ(map.forwardY[i], 0.0);
  }
}

TEST(TransformRelative, TargetPointTakesTheOriginValue) {
  for (int kind : {0, 1}) {
    picture p(16, 16, kind == 0 ? distinct : linear);
    p.markers.add({5, 7, 0, 0, true, 0});
    tamble::ScaleRotateRelative(p.field, p.bkgr, p.ROI, p.markers, 1.5, 0.8, 5, 7, 9, 4, 30, kind);
    EXPECT_NEAR(p.field(9, 4), kind == 0 ? distinct(5, 7) : linear(5, 7), 1e-4) << kind;
    EXPECT_NEAR(p.markers[0].x, 9, 1e-9);
    EXPECT_NEAR(p.markers[0].y, 4, 1e-9);
  }
}

TEST(TransformKind, UnknownKindChangesNothing) {
  tamble::polynomialState& map = tamble::polynomialMap();
  map.order = 6;
  map.forwardX[0] = 42;
  picture p(8, 8, distinct);
  p.markers.add({3, 4, 0, 0, true, 0});
  const picture before = p;
  p.shift(1, 1, 3);
  tamble::ScaleRotateRelative(p.field, p.bkgr, p.ROI, p.markers, 2, 2, 1, 1, 2, 2, 0, -2);
  EXPECT_EQ(map.order, 6);
  EXPECT_EQ(map.forwardX[0], 42);
  EXPECT_TRUE(std::equal(p.field.data, p.field.data + p.field.count, before.field.data));
  EXPECT_EQ(p.markers.items, before.markers.items);
}

TEST(TransformResize, SizeLimitsInOrder) {
  const picture src(6, 6, distinct);
  const std::pair<int, int> sizes[] = {{2, 6}, {2, 2}, {6, 2}, {16369, 3}, {3, 16369}};
  const std::string texts[] = {"ImageResize: NX1 < 3 , Procedure is Canceled",
                               "ImageResize: NX1 < 3 , Procedure is Canceled",
                               "ImageResize: NY1 < 3 , Procedure is Canceled",
                               "ImageResize: NX1 > 16368 , Procedure is Canceled",
                               "ImageResize: NY1 > 16368 , Procedure is Canceled"};
  for (int i = 0; i < 5; ++i) {
    tamble::testing::installedUi ui;
    picture dst(sizes[i].first, sizes[i].second);
    dst.resizeFrom(src, 0);
    EXPECT_EQ(ui.ui.notices, std::vector<std::string>{texts[i]});
    expectUntouched(dst, 5.0f);
  }
  tamble::testing::installedUi ui;
  picture narrow(3, 6);
  narrow.resizeFrom(src, 0);
  EXPECT_TRUE(ui.ui.notices.empty());
  // Half the width: X = 2x, Y = y.
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 3; ++x) EXPECT_EQ(narrow.field(x, y), distinct(2 * x, y));
}

TEST(TransformResize, DoubleSizeOfRampFollowsRampAndScalesMarkers) {
  picture src(8, 6, linear);
  src.markers.functionName = "Pressure";
  src.markers.add({3, 2.5, 7, 9, true, 4});
  picture dst(16, 12);
  dst.resizeFrom(src, 1);
  // X = x/2, Y = y/2 with no half-pixel shift.
  for (int y = 0; y <= 10; ++y)
    for (int x = 0; x <= 14; ++x) EXPECT_FLOAT_EQ(dst.field(x, y), 0.5f * linear(x, y));
  // Beyond the source's last column the canvas is blank (value 0).
  for (int y = 0; y <= 10; y += 2) EXPECT_FLOAT_EQ(dst.field(15, y), 0.5f * linear(7, y / 2));
  EXPECT_EQ(dst.markers.functionName, "Pressure");
  ASSERT_EQ(dst.markers.count(), 1);
  EXPECT_NEAR(dst.markers[0].x, 6, 1e-12);
  EXPECT_NEAR(dst.markers[0].y, 5, 1e-12);
  EXPECT_EQ(dst.markers[0].id, 4);
  EXPECT_EQ(dst.markers[0].f, 9);
}

TEST(TransformCrop, AnchorsPlaceTheCanvas) {
  const picture src(20, 16, distinct);
  // {anchor x, anchor y, ox, oy}: x from the left, y from the far end of the rows.
  const int cases[][4] = {{-1, -1, 0, 6}, {0, 0, 4, 3}, {1, 1, 8, 0}, {1, -1, 8, 6}, {-1, 1, 0, 0}};
  for (const auto& c : cases) {
    picture dst(12, 10);
    dst.cropFrom(src, c[0], c[1]);
    for (int y = 0; y < 10; ++y)
      for (int x = 0; x < 12; ++x)
        ASSERT_EQ(dst.field(x, y), distinct(x + c[2], y + c[3])) << c[0] << "," << c[1];
  }
}

TEST(TransformCrop, LengtheningFillsBlankAndCopiesAllLayers) {
  picture src(10, 10, distinct);
  src.bkgr.fill(true);
  src.ROI.fill(false);
  picture dst(17, 12);
  dst.cropFrom(src, 0, 0);
  // ox = (10 - 17)/2 = -3 (toward zero), oy = (10 - 12)/2 = -1.
  for (int y = 0; y < 12; ++y)
    for (int x = 0; x < 17; ++x) {
      const bool inside = x >= 3 && x < 13 && y >= 1 && y < 11;
      EXPECT_EQ(dst.field(x, y), inside ? distinct(x - 3, y - 1) : 0.0f);
      EXPECT_EQ(dst.bkgr(x, y), inside);
      EXPECT_EQ(dst.ROI(x, y), !inside);
    }
}

TEST(TransformCrop, MarkersMoveAndOnlyThoseWithinHalfPixelMarginStay) {
  picture src(20, 16);
  for (auto [x, y] :
       {std::pair{4.5, 3.5}, {4.4, 8.0}, {15.5, 12.5}, {15.6, 8.0}, {10.0, 3.4}, {10.0, 12.6}})
    src.markers.add({x, y, 1, 2, true, 0});
  picture dst(12, 10);
  dst.markers.functionName = "Cp";
  dst.markers.add({1, 1, 0, 0, false, 0});
  dst.cropFrom(src, 0, 0);  // ox = 4, oy = 3
  ASSERT_EQ(dst.markers.count(), 2);
  EXPECT_EQ(dst.markers[0], (marker{0.5, 0.5, 1, 2, true, 1}));
  EXPECT_EQ(dst.markers[1], (marker{11.5, 9.5, 1, 2, true, 3}));
  EXPECT_EQ(dst.markers.functionName, "Cp");
}

TEST(TransformCrop, SizeLimitsInOrder) {
  const picture src(20, 20);
  const std::pair<int, int> sizes[] = {{9, 12}, {12, 9}, {16369, 10}, {10, 16369}};
  const std::string texts[] = {
      "ImageCrop: Image new width is too small, Procedure is Canceled",
      "ImageCrop: Image new height is too small, Procedure is Canceled",
      "ImageCrop: Image new width is much more bigger than old one, Procedure is Canceled",
      "ImageCrop: Image new height is much moer bigger than old one, Procedure is Canceled"};
  for (int i = 0; i < 4; ++i) {
    tamble::testing::installedUi ui;
    picture dst(sizes[i].first, sizes[i].second, [](int, int) { return 8.0f; });
    dst.cropFrom(src, 0, 0);
    EXPECT_EQ(ui.ui.notices, std::vector<std::string>{texts[i]});
    expectUntouched(dst, 8.0f);
  }
}

}  // namespace
