// Flips, turns and transposes of all layers and the markers.
#include <gtest/gtest.h>

#include <tuple>
#include <utility>

#include "geometry/transforms.h"
#include "tests/support/layers.h"
#include "tests/support/sessionUi.h"

namespace {

using tamble::testing::layers;
using tamble::testing::sameBits;

// Pixels that are all distinct, masks that follow patterns.
layers picture(int w, int h) {
  layers l(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      l.field(x, y) = static_cast<float>(100 * y + x);
      l.bkgr(x, y) = (x + 2 * y) % 3 == 0;
      l.ROI(x, y) = (x * y) % 4 != 1;
    }
  return l;
}

void apply(layers& l, int regime) { tamble::FlipRotate(l.field, l.bkgr, l.ROI, l.markers, regime); }
void addMarker(layers& l, double x, double y) { l.markers.add({x, y, 1.5, 2.5, true, 0}); }

// The source (column, row) of output (x, y) for regimes 0 to 5.
std::pair<int, int> source(int regime, int x, int y, int w, int h) {
  switch (regime) {
    case 0: return {w - 1 - x, h - 1 - y};
    case 1: return {y, w - 1 - x};
    case 2: return {w - 1 - y, x};
    case 3: return {w - 1 - x, y};
    case 4: return {x, h - 1 - y};
    default: return {w - 1 - y, w - 1 - x};
  }
}

// Each regime moves the field, both masks and the markers together: a
// marker stays on the pixel it was placed on.
TEST(FlipRotate, NetRulesMoveAllLayersAndMarkersTogether) {
  for (int regime = 0; regime < 6; ++regime) {
    const bool square = regime == 1 || regime == 2 || regime == 5;
    const int w = square ? 5 : 6, h = square ? 5 : 4;
    const layers before = picture(w, h);
    layers after = before;
    addMarker(after, 1, 3);
    addMarker(after, 4, 1);  // off both diagonals
    apply(after, regime);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const auto [sx, sy] = source(regime, x, y, w, h);
        SCOPED_TRACE(::testing::Message() << "regime " << regime << " at " << x << "," << y);
        EXPECT_EQ(after.field(x, y), before.field(sx, sy));
        EXPECT_EQ(after.bkgr(x, y), before.bkgr(sx, sy));
        EXPECT_EQ(after.ROI(x, y), before.ROI(sx, sy));
      }
    for (const auto& [m, x0, y0] : {std::tuple{after.markers[0], 1, 3}, {after.markers[1], 4, 1}})
      EXPECT_EQ(after.field(static_cast<int>(m.x), static_cast<int>(m.y)), before.field(x0, y0))
          << "regime " << regime;
  }
}

// Each regime followed by its inverse restores every layer and marker.
TEST(FlipRotate, InversePairsRestoreImageAndMarkers) {
  for (const auto& [first, second] : {std::pair{0, 0}, {3, 3}, {4, 4}, {5, 5}, {1, 2}, {2, 1}}) {
    layers original = picture(7, 7);
    addMarker(original, 1.25, 5.5);
    addMarker(original, 6, 0.75);
    layers turned = original;
    apply(turned, first);
    apply(turned, second);
    EXPECT_TRUE(sameBits(turned, original)) << first << " then " << second;
  }
}

// Regime 6 turns the pixels by 180 degrees but transposes the markers.
TEST(FlipRotate, AlternativeTransposeTurnsPixelsButTransposesMarkers) {
  const layers before = picture(5, 5);
  layers after = before;
  addMarker(after, 1.5, 3.25);
  apply(after, 6);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 5; ++x) {
      EXPECT_EQ(after.field(x, y), before.field(4 - x, 4 - y));
      EXPECT_EQ(after.ROI(x, y), before.ROI(4 - x, 4 - y));
    }
  EXPECT_EQ(after.markers[0].x, 3.25);
  EXPECT_EQ(after.markers[0].y, 1.5);
}

// Marker positions pass through single precision; the other fields stay.
TEST(FlipRotate, MarkersPassThroughSinglePrecisionAndKeepOtherFields) {
  layers p = picture(10, 6);
  addMarker(p, 0.1, 4.3);
  apply(p, 3);
  const marker& m = p.markers[0];
  EXPECT_EQ(m.x, static_cast<double>(static_cast<float>(m.x)));
  EXPECT_EQ(m.y, static_cast<double>(static_cast<float>(m.y)));
  EXPECT_NEAR(m.x, 8.9, 1e-5);
  EXPECT_NEAR(m.y, 4.3, 1e-5);
  EXPECT_EQ(std::tuple(m.z, m.f, m.active, m.id), std::tuple(1.5, 2.5, true, 1));
}

// The square regimes refuse other shapes with a notice, unknown regimes
// silently; nothing changes.
TEST(FlipRotate, SquareRegimesRefuseOtherShapes) {
  tamble::testing::sessionUi ui;
  layers original = picture(6, 4);
  addMarker(original, 2, 3);
  for (int regime : {1, 2, 5, 6, -1, 7}) {
    layers p = original;
    apply(p, regime);
    EXPECT_TRUE(sameBits(p, original)) << regime;
  }
  EXPECT_EQ(ui.ui.notices, std::vector<std::string>(4, "Image Must Be Square!"));
}

}  // namespace
