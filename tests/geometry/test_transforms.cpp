// Shift, turn and scale, resize and crop of all layers and the markers.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "geometry/polynomialMap.h"
#include "geometry/transforms.h"
#include "tests/support/layers.h"
#include "tests/support/sessionUi.h"

namespace {

using tamble::testing::layers;

float linear(int x, int y) { return static_cast<float>(2 * x + 3 * y); }
float distinct(int x, int y) { return static_cast<float>(100 * y + x); }

// Layers whose field holds value(x, y), or 5 without one.
layers filled(int w, int h, const std::function<float(int, int)>& value = {}) {
  layers l(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) l.field(x, y) = value ? value(x, y) : 5.0f;
  return l;
}

void shift(layers& l, double dx, double dy, int kind, tamble::polynomialState& map) {
  tamble::ScaleRotateShift(l.field, l.bkgr, l.ROI, l.markers, 1, 1, 0, dx, dy, kind, map);
}

// Resizes or crops `s` into a canvas of w by h (anchor ax, ay).
layers sized(const layers& s, int w, int h, bool crop, int kind = 0, int ax = 0, int ay = 0) {
  layers d = filled(w, h);
  tamble::polynomialState map;
  if (crop)
    tamble::ImageCrop(s.field, s.bkgr, s.ROI, s.markers, d.field, d.bkgr, d.ROI, d.markers, ax, ay);
  else
    tamble::ImageResize(s.field, s.bkgr, s.ROI, s.markers, d.field, d.bkgr, d.ROI, d.markers, kind,
                        map);
  return d;
}

// Output (x, y) reads source (x - 2, y + 1): values and markers move by the
// shift; pixels from outside are 0 and background, and stay in the ROI.
TEST(TransformShift, WholePixelShiftMovesValuesAndMarkersForward) {
  for (int kind : {0, 1}) {
    layers p = filled(12, 10, linear);
    p.markers.add({4.5, 6.25, 0, 0, true, 0});
    tamble::polynomialState map;
    shift(p, 2, -1, kind, map);
    for (int y = 0; y + 1 < p.H(); ++y)
      for (int x = 2; x < p.W(); ++x) EXPECT_FLOAT_EQ(p.field(x, y), linear(x - 2, y + 1));
    for (int y = 0; y < p.H(); ++y) {
      EXPECT_EQ(p.field(0, y), 0.0f) << "kind " << kind;
      EXPECT_TRUE(p.bkgr(0, y));
      EXPECT_TRUE(p.ROI(0, y));
    }
    EXPECT_NEAR(p.markers[0].x, 6.5, 1e-12);
    EXPECT_NEAR(p.markers[0].y, 5.25, 1e-12);
  }
}

// Scale (2, 4) and a turn by 90 degrees about the centre (6, 5) give
// X = 3.5 + y/2, Y = 6.5 - x/4.
TEST(TransformShift, ScaleAndTurnSetTheAffineMapAboutTheCentre) {
  layers p = filled(10, 8);
  tamble::polynomialState map;
  tamble::ScaleRotateShift(p.field, p.bkgr, p.ROI, p.markers, 2, 4, 90, 0, 0, 0, map);
  EXPECT_EQ(map.order, 3);
  const double X[10] = {3.5, 0, 0.5}, Y[10] = {6.5, -0.25, 0};
  for (int i = 0; i < 10; ++i) {
    EXPECT_NEAR(map.forwardX[i], X[i], 1e-9) << i;
    EXPECT_NEAR(map.forwardY[i], Y[i], 1e-9) << i;
  }
}

// The target point takes the origin's value, and a marker there moves to it.
TEST(TransformRelative, TargetPointTakesTheOriginValue) {
  for (int kind : {0, 1}) {
    layers p = filled(16, 16, kind == 0 ? distinct : linear);
    p.markers.add({5, 7, 0, 0, true, 0});
    tamble::polynomialState map;
    tamble::ScaleRotateRelative(p.field, p.bkgr, p.ROI, p.markers, 1.5, 0.8, 5, 7, 9, 4, 30, kind,
                                map);
    EXPECT_NEAR(p.field(9, 4), kind == 0 ? distinct(5, 7) : linear(5, 7), 1e-4) << kind;
    EXPECT_NEAR(p.markers[0].x, 9, 1e-9);
    EXPECT_NEAR(p.markers[0].y, 4, 1e-9);
  }
}

// An unknown kind changes neither the layers nor the map.
TEST(TransformKind, UnknownKindChangesNothing) {
  layers p = filled(8, 8, distinct);
  tamble::polynomialState map;
  map.order = 6;
  map.forwardX[0] = 42;
  p.markers.add({3, 4, 0, 0, true, 0});
  const layers before = p;
  shift(p, 1, 1, 3, map);
  tamble::ScaleRotateRelative(p.field, p.bkgr, p.ROI, p.markers, 2, 2, 1, 1, 2, 2, 0, -2, map);
  EXPECT_EQ(map.order, 6);
  EXPECT_EQ(map.forwardX[0], 42);
  EXPECT_TRUE(tamble::testing::sameBits(p, before));
}

// Sizes out of bounds are refused with a notice, checked in this order,
// and the canvas stays as it was.
TEST(TransformSize, LimitsAreCheckedInOrder) {
  const struct {
    bool crop;
    int w, h;
    const char* notice;
  } cases[] = {
      {false, 2, 6, "ImageResize: NX1 < 3 , Procedure is Canceled"},
      {false, 2, 2, "ImageResize: NX1 < 3 , Procedure is Canceled"},
      {false, 6, 2, "ImageResize: NY1 < 3 , Procedure is Canceled"},
      {false, 16369, 3, "ImageResize: NX1 > 16368 , Procedure is Canceled"},
      {false, 3, 16369, "ImageResize: NY1 > 16368 , Procedure is Canceled"},
      {true, 9, 12, "ImageCrop: Image new width is too small, Procedure is Canceled"},
      {true, 12, 9, "ImageCrop: Image new height is too small, Procedure is Canceled"},
      {true, 16369, 10,
       "ImageCrop: Image new width is much more bigger than old one, Procedure is Canceled"},
      {true, 10, 16369,
       "ImageCrop: Image new height is much moer bigger than old one, Procedure is Canceled"},
  };
  const layers src = filled(20, 20, distinct);
  for (const auto& c : cases) {
    tamble::testing::sessionUi ui;
    const layers d = sized(src, c.w, c.h, c.crop);
    EXPECT_EQ(ui.ui.notices, std::vector<std::string>{c.notice});
    EXPECT_TRUE(tamble::testing::sameBits(d, filled(c.w, c.h))) << c.notice;
  }
}

// Half the width: X = 2x, Y = y; twice the size of a ramp: X = x/2,
// Y = y/2 with no half-pixel shift, markers scaled and their data kept.
TEST(TransformResize, ScalesTheFieldAndTheMarkers) {
  tamble::testing::sessionUi ui;
  const layers narrow = sized(filled(6, 6, distinct), 3, 6, false);
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 3; ++x) EXPECT_EQ(narrow.field(x, y), distinct(2 * x, y));
  layers src = filled(8, 6, linear);
  src.markers.functionName = "Pressure";
  src.markers.add({3, 2.5, 7, 9, true, 4});
  const layers dst = sized(src, 16, 12, false, 1);
  for (int y = 0; y <= 10; ++y)
    for (int x = 0; x <= 14; ++x) EXPECT_FLOAT_EQ(dst.field(x, y), 0.5f * linear(x, y));
  for (int y = 0; y <= 10; y += 2) EXPECT_FLOAT_EQ(dst.field(15, y), 0.5f * linear(7, y / 2));
  EXPECT_EQ(dst.markers.functionName, "Pressure");
  ASSERT_EQ(dst.markers.count(), 1);
  EXPECT_EQ(dst.markers[0], (marker{6, 5, 7, 9, true, 4}));
  EXPECT_TRUE(ui.ui.notices.empty());
}

// The anchors place the canvas: x from the left, y from the far end of the
// rows; {anchor x, anchor y, ox, oy}.
TEST(TransformCrop, AnchorsPlaceTheCanvas) {
  const layers src = filled(20, 16, distinct);
  const int cases[][4] = {{-1, -1, 0, 6}, {0, 0, 4, 3}, {1, 1, 8, 0}, {1, -1, 8, 6}, {-1, 1, 0, 0}};
  for (const auto& c : cases) {
    const layers dst = sized(src, 12, 10, true, 0, c[0], c[1]);
    for (int y = 0; y < 10; ++y)
      for (int x = 0; x < 12; ++x)
        ASSERT_EQ(dst.field(x, y), distinct(x + c[2], y + c[3])) << c[0] << "," << c[1];
  }
}

// A larger canvas holds the source centred (offsets rounded toward zero),
// all layers copied, blank around it.
TEST(TransformCrop, LengtheningFillsBlankAndCopiesAllLayers) {
  layers src = filled(10, 10, distinct);
  src.bkgr.fill(true);
  src.ROI.fill(false);
  const layers dst = sized(src, 17, 12, true);  // ox = -7/2 = -3, oy = -2/2 = -1
  for (int y = 0; y < 12; ++y)
    for (int x = 0; x < 17; ++x) {
      const bool inside = x >= 3 && x < 13 && y >= 1 && y < 11;
      EXPECT_EQ(dst.field(x, y), inside ? distinct(x - 3, y - 1) : 0.0f);
      EXPECT_EQ(dst.bkgr(x, y), inside);
      EXPECT_EQ(dst.ROI(x, y), !inside);
    }
}

// Markers move with the canvas; only those within half a pixel of it stay,
// numbered anew, and the canvas keeps its function name.
TEST(TransformCrop, MarkersMoveAndOnlyThoseWithinHalfPixelMarginStay) {
  layers src = filled(20, 16);
  for (auto [x, y] :
       {std::pair{4.5, 3.5}, {4.4, 8.0}, {15.5, 12.5}, {15.6, 8.0}, {10.0, 3.4}, {10.0, 12.6}})
    src.markers.add({x, y, 1, 2, true, 0});
  layers dst = filled(12, 10);
  dst.markers.functionName = "Cp";
  dst.markers.add({1, 1, 0, 0, false, 0});
  tamble::ImageCrop(src.field, src.bkgr, src.ROI, src.markers, dst.field, dst.bkgr, dst.ROI,
                    dst.markers, 0, 0);  // ox = 4, oy = 3
  ASSERT_EQ(dst.markers.count(), 2);
  EXPECT_EQ(dst.markers[0], (marker{0.5, 0.5, 1, 2, true, 1}));
  EXPECT_EQ(dst.markers[1], (marker{11.5, 9.5, 1, 2, true, 3}));
  EXPECT_EQ(dst.markers.functionName, "Cp");
}

}  // namespace
