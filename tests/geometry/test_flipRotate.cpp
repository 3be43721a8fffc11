#include <gtest/gtest.h>
#include <omp.h>

#include <cstring>
#include <functional>

#include "geometry/transforms.h"
#include "tests/support/scriptedUi.h"

namespace {

using tamble::FlipRotate;

// An image whose pixels are all distinct and whose masks follow patterns.
struct picture {
  tamble::fieldStore field;
  tamble::maskStore bkgr, ROI;
  zel::markersArray markers;

  picture(int w, int h) : field(w, h), bkgr(w, h), ROI(w, h) {
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        field(x, y) = static_cast<float>(100 * y + x);
        bkgr(x, y) = (x + 2 * y) % 3 == 0;
        ROI(x, y) = (x * y) % 4 != 1;
      }
  }
  void apply(int regime) { FlipRotate(field, bkgr, ROI, markers, regime); }
  void addMarker(double x, double y) { markers.add({x, y, 1.5, 2.5, true, 0}); }
};

void expectSameImage(const picture& a, const picture& b) {
  ASSERT_TRUE(a.field.sameExtent(b.field));
  EXPECT_EQ(std::memcmp(a.field.data, b.field.data, a.field.count * sizeof(float)), 0);
  EXPECT_EQ(std::memcmp(a.bkgr.data, b.bkgr.data, a.bkgr.count), 0);
  EXPECT_EQ(std::memcmp(a.ROI.data, b.ROI.data, a.ROI.count), 0);
  EXPECT_EQ(a.markers.items, b.markers.items);
}

// The regime table, src[row][column] written as (column, row).
using sourceRule = std::function<std::pair<int, int>(int x, int y, int w, int h)>;
const sourceRule netRule[6] = {
    [](int x, int y, int w, int h) {
      return std::pair{w - 1 - x, h - 1 - y};
    },
    [](int x, int y, int w, int) {
      return std::pair{y, w - 1 - x};
    },
    [](int x, int y, int w, int) {
      return std::pair{w - 1 - y, x};
    },
    [](int x, int y, int w, int) {
      return std::pair{w - 1 - x, y};
    },
    [](int x, int y, int, int h) {
      return std::pair{x, h - 1 - y};
    },
    [](int x, int y, int w, int) {
      return std::pair{w - 1 - y, w - 1 - x};
    },
};

TEST(FlipRotate, NetRulesMoveAllLayersAndMarkersTogether) {
  for (int regime = 0; regime < 6; ++regime) {
    const bool square = regime == 1 || regime == 2 || regime == 5;
    const int w = square ? 5 : 6, h = square ? 5 : 4;
    const picture before(w, h);
    picture after(w, h);
    after.addMarker(1, 3);
    after.addMarker(4, 0);
    after.apply(regime);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        const auto [sx, sy] = netRule[regime](x, y, w, h);
        SCOPED_TRACE(testing::Message() << "regime " << regime << " at " << x << "," << y);
        EXPECT_EQ(after.field(x, y), before.field(sx, sy));
        EXPECT_EQ(after.bkgr(x, y), before.bkgr(sx, sy));
        EXPECT_EQ(after.ROI(x, y), before.ROI(sx, sy));
      }
    // A marker stays on the pixel it was placed on.
    for (const auto& [m, x0, y0] : {std::tuple{after.markers[0], 1, 3}, {after.markers[1], 4, 0}})
      EXPECT_EQ(after.field(static_cast<int>(m.x), static_cast<int>(m.y)), before.field(x0, y0))
          << "regime " << regime;
  }
}

TEST(FlipRotate, InversePairsRestoreImageAndMarkers) {
  const std::pair<int, int> pairs[] = {{0, 0}, {3, 3}, {4, 4}, {5, 5}, {1, 2}, {2, 1}};
  for (const auto& [first, second] : pairs) {
    picture original(7, 7);
    original.addMarker(1.25, 5.5);
    original.addMarker(6, 0.75);
    picture turned = original;
    turned.apply(first);
    turned.apply(second);
    SCOPED_TRACE(testing::Message() << first << " then " << second);
    expectSameImage(turned, original);
  }
}

TEST(FlipRotate, AlternativeTransposeTurnsPixelsButTransposesMarkers) {
  const picture before(5, 5);
  picture after(5, 5);
  after.addMarker(1.5, 3.25);
  after.apply(6);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 5; ++x) {
      EXPECT_EQ(after.field(x, y), before.field(4 - x, 4 - y));
      EXPECT_EQ(after.ROI(x, y), before.ROI(4 - x, 4 - y));
    }
  EXPECT_EQ(after.markers[0].x, 3.25);
  EXPECT_EQ(after.markers[0].y, 1.5);
}

TEST(FlipRotate, MarkersPassThroughSinglePrecisionAndKeepOtherFields) {
  picture p(10, 6);
  p.addMarker(0.1, 4.3);
  p.apply(3);
  const marker& m = p.markers[0];
  EXPECT_EQ(m.x, static_cast<double>(static_cast<float>(m.x)));
  EXPECT_EQ(m.y, static_cast<double>(static_cast<float>(m.y)));
  EXPECT_NEAR(m.x, 8.9, 1e-5);
  EXPECT_NEAR(m.y, 4.3, 1e-5);
  EXPECT_EQ(m.z, 1.5);
  EXPECT_EQ(m.f, 2.5);
  EXPECT_TRUE(m.active);
  EXPECT_EQ(m.id, 1);
}

TEST(FlipRotate, SquareRegimesRefuseOtherShapes) {
  tamble::testing::installedUi ui;
  const picture original(6, 4);
  for (int regime : {1, 2, 5, 6}) {
    picture p = original;
    p.addMarker(2, 3);
    const picture marked = p;
    p.apply(regime);
    expectSameImage(p, marked);
  }
  EXPECT_EQ(ui.ui.notices, std::vector<std::string>(4, "Image Must Be Square!"));
  for (int regime : {-1, 7}) {
    picture p = original;
    p.apply(regime);
    expectSameImage(p, original);
  }
  EXPECT_EQ(ui.ui.notices.size(), 4u);
}

TEST(FlipRotate, ParallelRowsMatchSerial) {
  const int saved = omp_get_max_threads();
  for (int regime = 0; regime < 7; ++regime) {
    picture serial(300, 300), parallel(300, 300);
    omp_set_num_threads(1);
    serial.apply(regime);
    omp_set_num_threads(4);
    parallel.apply(regime);
    expectSameImage(parallel, serial);
  }
  omp_set_num_threads(saved);
}

}  // namespace
