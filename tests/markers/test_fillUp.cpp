#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "api/errors.h"
#include "filters/circleFilters.h"
#include "markers/fillUp.h"
#include "markers/revise.h"
#include "plugin/frame.h"
#include "tests/support/layers.h"
#include "tests/support/sessionUi.h"

namespace {

using tamble::FillUp;
using tamble::FillUpMarkers;
using tamble::testing::layers;
using tamble::testing::sameBits;

const float root2 = std::sqrt(2.0f);
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

// The eight directions, north first, clockwise; rows grow to the south.
const int sx[8] = {0, 1, 1, 1, 0, -1, -1, -1};
const int sy[8] = {-1, -1, 0, 1, 1, 1, 0, -1};

// The fill as its definition reads: one walk after another, step by step.
layers byWalking(const layers& in, bool fillBackground, int direction, float scale) {
  const int W = in.W(), H = in.H();
  layers out = in;
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      if (in.ROI(x, y) || (!fillBackground && in.bkgr(x, y))) continue;
      float sum = 0.0f, weights = 0.0f;
      for (int d = 0; d < 8; ++d) {
        int px = x, py = y, n = 0;
        for (;;) {
          const int qx = px + sx[d], qy = py + sy[d];
          if (qx < 0 || qx >= W || qy < 0 || qy >= H) break;
          px = qx, py = qy, ++n;
          if (in.ROI(px, py)) break;
        }
        float dist = d % 2 ? n * root2 : static_cast<float>(n);
        if (!fillBackground && in.bkgr(px, py)) dist = 0.0f;
        if (scale >= 0.01f && d % 4 == direction % 4) dist = dist / scale;
        if (dist >= 0.001f) {
          sum += in.field(px, py) / dist;
          weights += 1.0f / dist;
        }
      }
      if (weights == 0.0f) continue;
      out.field(x, y) = sum / weights;
      if (fillBackground) out.bkgr(x, y) = false;
    }
  return out;
}

// Random values; regions of rectangles and disks, some on the image's edge,
// and single pixels; background scattered over all of it.
layers randomRegions(int w, int h, unsigned seed, int shapes, double scattered) {
  layers l(w, h);
  std::mt19937 gen(seed);
  std::uniform_real_distribution<float> value(-50.0f, 50.0f);
  std::uniform_real_distribution<double> odds(0.0, 1.0);
  std::uniform_int_distribution<int> px(-3, w + 2), py(-3, h + 2), size(1, 12);
  for (std::size_t i = 0; i < l.field.count; ++i) l.field.data[i] = value(gen);
  for (int s = 0; s < shapes; ++s) {
    const int cx = px(gen), cy = py(gen), r = size(gen);
    const bool disk = s % 2 == 0;
    for (int y = std::max(0, cy - r); y <= std::min(h - 1, cy + r); ++y)
      for (int x = std::max(0, cx - r); x <= std::min(w - 1, cx + r); ++x)
        if (!disk || (x - cx) * (x - cx) + (y - cy) * (y - cy) <= r * r) l.ROI(x, y) = false;
  }
  for (std::size_t i = 0; i < l.field.count; ++i) {
    if (odds(gen) < scattered) l.ROI.data[i] = false;
    if (odds(gen) < 0.1) l.bkgr.data[i] = true;
  }
  return l;
}

// One region pixel in the middle of a 7 by 7 image; its eight neighbours are
// 10 (north), 20 (NE), ... 80 (NW).
layers star() {
  layers l(7, 7);
  for (int d = 0; d < 8; ++d) l.field(3 + sx[d], 3 + sy[d]) = 10.0f * (d + 1);
  l.field(3, 3) = -1.0f;
  l.ROI(3, 3) = false;
  return l;
}

class FillUpTest : public ::testing::Test {
 protected:
  tamble::testing::sessionUi user;
  std::vector<std::string>& notices() { return user.ui.notices; }
};

struct starCase {
  const char* what;
  void (*prepare)(layers&);
  bool fillBackground;
  int direction;
  float scale;
  std::vector<float> weights;  // of the eight neighbours; none: the pixel stays
  const char* notice;
};

// The star's middle pixel takes the mean of its neighbours weighted by the
// inverse distance, the chosen axis scaled, background ends as asked; or
// stays. Notices are given unless quiet, and the work is the same.
TEST_F(FillUpTest, WeighsEachDirectionByItsInverseDistance) {
  const float d = 1.0f / root2;
  const auto none = [](layers&) {};
  const auto eastInBkgr = [](layers& l) {
    l.bkgr(4, 3) = true;
    l.field(4, 3) = 1e30f;
  };
  const auto bothInBkgr = [](layers& l) {
    l.bkgr(4, 3) = l.bkgr(3, 3) = true;
    l.field(4, 3) = 1e30f;
  };
  const auto walled = [](layers& l) {
    for (int k = 0; k < 8; ++k) l.bkgr(3 + sx[k], 3 + sy[k]) = true;
  };
  const std::vector<float> plain = {1, d, 1, d, 1, d, 1, d};
  const starCase cases[] = {
      {"plain", none, false, 0, 1.0f, plain, nullptr},
      {"scale 1 treats all directions alike", none, false, 3, 1.0f, plain, nullptr},
      {"below 0.01 nothing is weighted", none, false, 7, 0.005f, plain, nullptr},
      {"a scale doubles the axis, both ends", none, false, 2, 2.0f, {1, d, 2, d, 1, d, 2, d},
       nullptr},
      {"from either end", none, false, 6, 2.0f, {1, d, 2, d, 1, d, 2, d}, nullptr},
      {"a diagonal axis", none, false, 5, 4.0f, {1, 4 * d, 1, d, 1, 4 * d, 1, d}, nullptr},
      {"a huge scale brings the axis below the least distance", none, false, 0, 1e6f,
       {0, d, 1, d, 0, d, 1, d}, nullptr},
      {"a small scale is reported and used unweighted", none, false, 0, 0.0005f, plain,
       "Scale < 0.0010"},
      {"a stray direction stops a weighted fill", none, true, 8, 1.0f, {}, "LOUT"},
      {"a stray direction does not matter unweighted", none, false, -1, 0.005f, plain, nullptr},
      {"a background end counts for nothing", eastInBkgr, false, 0, 1.0f, {1, d, 0, d, 1, d, 1, d},
       nullptr},
      {"a region pixel in background stays", bothInBkgr, false, 0, 1.0f, {}, nullptr},
      {"filled with background, background ends count", bothInBkgr, true, 0, 1.0f, plain, nullptr},
      {"every end in background: the pixel stays", walled, false, 0, 1.0f, {}, nullptr},
  };
  for (int quiet : {0, 1}) {
    tamble::session().quietMode = quiet;
    for (const starCase& c : cases) {
      layers l = star();
      c.prepare(l);
      const layers before = l;
      notices().clear();
      FillUp(l.field, l.bkgr, l.ROI, c.fillBackground, c.direction, c.scale);
      double sum = 0, weights = 0;
      for (int k = 0; k < static_cast<int>(c.weights.size()); ++k) {
        sum += before.field(3 + sx[k], 3 + sy[k]) * static_cast<double>(c.weights[k]);
        weights += c.weights[k];
      }
      const float expected = c.weights.empty() ? -1.0f : static_cast<float>(sum / weights);
      EXPECT_NEAR(l.field(3, 3), expected, 1e-4f * std::max(1.0f, std::fabs(expected))) << c.what;
      for (int k = 0; k < 8; ++k)  // pixels outside the region stay
        EXPECT_EQ(l.field(3 + sx[k], 3 + sy[k]), before.field(3 + sx[k], 3 + sy[k])) << c.what;
      EXPECT_EQ(l.bkgr(3, 3), before.bkgr(3, 3) && !(c.fillBackground && !c.weights.empty()))
          << c.what;
      EXPECT_EQ(notices().size(), c.notice && !quiet ? 1u : 0u) << c.what;
      if (c.notice && !quiet) {
        EXPECT_EQ(notices()[0], c.notice);
      }
    }
  }
  tamble::session().quietMode = 0;
}

// A plane comes back exactly inside a hole that is not convex.
TEST_F(FillUpTest, APlaneIsReproducedInsideAHole) {
  layers l(41, 33);
  auto plane = [](int x, int y) { return 0.75f * x - 1.25f * y + 300.0f; };
  for (int y = 0; y < l.H(); ++y)
    for (int x = 0; x < l.W(); ++x) l.field(x, y) = plane(x, y);
  // A disk with a bay: not convex, walks cross it at many lengths.
  for (int y = 0; y < l.H(); ++y)
    for (int x = 0; x < l.W(); ++x) {
      const int dx = x - 20, dy = y - 16;
      if (dx * dx + dy * dy <= 100 && !(dx > 2 && std::abs(dy) < 2)) l.ROI(x, y) = false;
    }
  for (int direction : {0, 3}) {
    layers hole = l;
    for (std::size_t i = 0; i < hole.field.count; ++i)
      if (!hole.ROI.data[i]) hole.field.data[i] = nan;  // never read
    FillUp(hole.field, hole.bkgr, hole.ROI, false, direction, 3.0f);
    for (int y = 0; y < l.H(); ++y)
      for (int x = 0; x < l.W(); ++x)
        EXPECT_NEAR(hole.field(x, y), plane(x, y), 5e-4f) << x << "," << y;
  }
}

// Region pixels are never read: two holes with one column between them,
// holding NaN and infinity, reach neither each other nor themselves.
TEST_F(FillUpTest, RegionPixelsAreNeverSources) {
  layers l = randomRegions(30, 20, 3u, 0, 0.0);
  l.bkgr.fill(false);
  for (int y = 5; y < 15; ++y)
    for (int x = 5; x < 25; ++x) {
      l.ROI(x, y) = x == 15;
      if (x != 15) l.field(x, y) = x < 15 ? nan : std::numeric_limits<float>::infinity();
    }
  // A region pixel in background is walked over, but never read.
  l.bkgr(10, 10) = true;
  FillUp(l.field, l.bkgr, l.ROI, false, 0, 1.0f);
  for (int y = 0; y < 20; ++y)
    for (int x = 0; x < 30; ++x)
      if (x != 10 || y != 10) {
        EXPECT_LE(std::abs(l.field(x, y)), 50.0f) << x << "," << y;  // false for NaN
      }
  EXPECT_TRUE(std::isnan(l.field(10, 10)));
}

// The fill equals its definition, walk by walk, on random regions.
TEST_F(FillUpTest, FollowsTheWalksOnRandomRegions) {
  struct setting {
    bool fillBackground;
    int direction;
    float scale;
  };
  const setting settings[] = {{false, 0, 1.0f}, {true, 0, 1.0f},    {false, 2, 0.3f},
                              {true, 7, 5.0f},  {false, 4, 0.005f}, {true, 1, 0.0005f}};
  tamble::session().quietMode = 1;
  for (unsigned seed = 1; seed <= 12; ++seed) {
    const layers l = randomRegions(37 + seed, 23, seed, 10, 0.05);
    for (const setting& s : settings) {
      layers got = l;
      const layers expected = byWalking(l, s.fillBackground, s.direction, s.scale);
      FillUp(got.field, got.bkgr, got.ROI, s.fillBackground, s.direction, s.scale);
      EXPECT_TRUE(sameBits(got, expected)) << seed << " " << s.direction;
    }
  }
  tamble::session().quietMode = 0;
}

// An image that is region everywhere stays; a one-pixel-wide column fills.
TEST_F(FillUpTest, AnImageThatIsAllRegionStays) {
  for (int w : {1, 2, 9}) {
    layers l = randomRegions(w, 6, 4u, 0, 0.0);
    l.ROI.fill(false);
    const layers before = l;
    FillUp(l.field, l.bkgr, l.ROI, true, 0, 1.0f);
    EXPECT_TRUE(sameBits(l, before)) << w;
  }
  // A single region pixel of a one-pixel-wide image still has north and south.
  layers column(1, 3);
  column.field(0, 0) = 2.0f, column.field(0, 2) = 4.0f;
  column.ROI(0, 1) = false;
  FillUp(column.field, column.bkgr, column.ROI, false, 0, 1.0f);
  EXPECT_EQ(column.field(0, 1), 3.0f);
  EXPECT_TRUE(notices().empty());
}

// Layers of another size are refused before any change.
TEST_F(FillUpTest, LayersOfAnotherSizeAreRefusedUntouched) {
  layers l = star();
  zel::arrayStore<bool, 2> small(6, 7);
  small.fill(true);
  EXPECT_THROW(FillUp(l.field, l.bkgr, small, false, 0, 1.0f), zel::DimError);
  EXPECT_EQ(l.field(3, 3), -1.0f);
}

// Markers on a plane, each over a bright spot of radius 3 about its position.
struct spots {
  layers l{60, 40};
  zel::markersArray markers;
  static float plane(int x, int y) { return 2.0f * x + 0.5f * y + 10.0f; }

  spots() {
    for (int y = 0; y < 40; ++y)
      for (int x = 0; x < 60; ++x) l.field(x, y) = plane(x, y);
  }
  void add(double x, double y, bool active) {
    markers.add({x, y, 0, 0, active, 0});
    const int cx = static_cast<int>(x + 0.5), cy = static_cast<int>(y + 0.5);
    for (int py = cy - 3; py <= cy + 3; ++py)
      for (int px = cx - 3; px <= cx + 3; ++px)
        if ((px - cx) * (px - cx) + (py - cy) * (py - cy) <= 9) l.field(px, py) += 500.0f;
  }
};

// The spots of enabled markers on valid pixels are filled: a plane comes
// back; disabled, outside or blocked markers and blocked pixels stay.
TEST_F(FillUpTest, MarkersAreFilledFromTheirSmoothedSurroundings) {
  spots s;
  s.add(15.4, 12.6, true);   // rounded to (15, 13)
  s.add(40.0, 25.0, false);  // disabled: stays
  s.add(28.0, 30.0, true);
  s.l.bkgr(28, 30) = true;  // stands on background: stays
  s.add(-30.0, 5.0, true);  // outside the image
  s.add(47.0, 10.0, true);
  s.l.bkgr(48, 10) = true;  // a background pixel inside a spot stays
  s.add(30.0, 15.0, true);
  s.l.field(35, 15) += 1000.0f;  // a speckle beside it, removed by the median
  const layers before = s.l;
  FillUpMarkers(s.l.field, s.l.bkgr, s.l.ROI, s.markers, 9);
  auto inHole = [](int x, int y, int cx, int cy) {
    return (x - cx) * (x - cx) + (y - cy) * (y - cy) <= 20.25;
  };
  for (int y = 0; y < 40; ++y)
    for (int x = 0; x < 60; ++x) {
      if (inHole(x, y, 15, 13)) {  // the spot is gone, the plane is back
        EXPECT_NEAR(s.l.field(x, y), spots::plane(x, y), 1e-3f) << x << "," << y;
      } else if (inHole(x, y, 30, 15)) {
        EXPECT_NEAR(s.l.field(x, y), spots::plane(x, y), 1.0f) << x << "," << y;
      } else if (!inHole(x, y, 47, 10) || (x == 48 && y == 10)) {
        EXPECT_EQ(s.l.field(x, y), before.field(x, y)) << x << "," << y;
      }
    }
  EXPECT_LT(s.l.field(47, 10), before.field(47, 10) - 100.0f);
  EXPECT_TRUE(sameBits(s.l.bkgr, before.bkgr));
  EXPECT_TRUE(notices().empty());
}

// The markers' procedure on the whole image, as its definition reads.
layers wholeImageMarkers(const layers& in, const zel::markersArray& markers, int N) {
  const int W = in.W(), H = in.H();
  auto disks = [&](int reach, double r2) {
    zel::arrayStore<bool, 2> map(W, H);
    map.fill(false);
    for (const marker& m : markers.items) {
      const double rx = std::trunc(m.x + 0.5), ry = std::trunc(m.y + 0.5);
      if (!m.active || rx < 0 || rx >= W || ry < 0 || ry >= H) continue;
      const int x0 = static_cast<int>(rx), y0 = static_cast<int>(ry);
      if (in.blocked(x0, y0)) continue;
      for (int dy = -reach; dy <= reach; ++dy)
        for (int dx = -reach; dx <= reach; ++dx) {
          const int x = x0 + dx, y = y0 + dy;
          if (x >= 0 && x < W && y >= 0 && y < H && dx * dx + dy * dy <= r2 && !in.blocked(x, y))
            map(x, y) = true;
        }
    }
    return map;
  };
  layers work = in;
  zel::arrayStore<bool, 2> zone = disks(static_cast<int>(std::trunc(N * 3.0 + 0.5)) / 2, N * N);
  tamble::MedianCircle(work.field, work.bkgr, zone, 1, 3);
  const zel::arrayStore<bool, 2> hole =
      disks(static_cast<int>(std::trunc(N * 1.5 + 0.5)) / 2, (N * 0.5) * (N * 0.5));
  zel::arrayStore<bool, 2> outside(W, H);
  for (std::size_t i = 0; i < hole.count; ++i) outside.data[i] = !hole.data[i];
  FillUp(work.field, work.bkgr, outside, true, 0, 1.0f);
  layers out = in;
  for (std::size_t i = 0; i < hole.count; ++i)
    if (hole.data[i]) out.field.data[i] = work.field.data[i];
  return out;
}

// Markers worked on window by window give what the whole image would.
TEST_F(FillUpTest, MarkersAreWorkedOnAsTheWholeImageWould) {
  // Markers close together, overlapping, on the edges and outside, some
  // disabled, on an image with scattered blocked pixels.
  for (unsigned seed = 1; seed <= 6; ++seed) {
    const layers l = tamble::testing::randomLayers(80, 60, 0.1, seed);
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> x(-6.0, 86.0), y(-6.0, 66.0), near(-8.0, 8.0);
    zel::markersArray markers;
    for (int i = 0; i < 30; ++i) {
      const marker m{x(gen), y(gen), 0, 0, i % 9 != 0, 0};
      markers.add(m);
      if (i % 3 == 0) markers.add({m.x + near(gen), m.y + near(gen), 0, 0, true, 0});
    }
    for (int N : {0, 1, 2, 3, 4, 9, 16}) {
      layers got = l;
      FillUpMarkers(got.field, got.bkgr, got.ROI, markers, N);
      EXPECT_TRUE(sameBits(got.field, wholeImageMarkers(l, markers, N).field)) << seed << " " << N;
    }
  }
}

// An empty array is reported unless quiet; disabled markers change nothing.
TEST_F(FillUpTest, NoMarkersIsReportedUnlessQuiet) {
  spots s;
  const layers before = s.l;
  FillUpMarkers(s.l.field, s.l.bkgr, s.l.ROI, s.markers, 9);
  tamble::session().quietMode = 1;
  FillUpMarkers(s.l.field, s.l.bkgr, s.l.ROI, s.markers, 9);
  tamble::session().quietMode = 0;
  EXPECT_EQ(notices(), std::vector<std::string>{tamble::noMarkersInZone});
  EXPECT_TRUE(sameBits(s.l.field, before.field));
  // Disabled markers only: no notice, and nothing changes.
  s.add(20, 20, false);
  const layers spotted = s.l;
  FillUpMarkers(s.l.field, s.l.bkgr, s.l.ROI, s.markers, 9);
  EXPECT_TRUE(sameBits(s.l.field, spotted.field));
  EXPECT_EQ(notices().size(), 1u);
}

}  // namespace
