// The directional filters and the deblurring: the window's cells, the
// filters against their definition over those cells, and on constructed
// images what each removes and what it keeps.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <tuple>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "filters/directional.h"
#include "tests/filters/filterReferences.h"
#include "tests/support/layers.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::randomLayers;
using tamble::testing::sameBits;

std::set<std::pair<int, int>> cellsOf(float length, float width, float angle) {
  std::set<std::pair<int, int>> out;
  for (const lineCell& c : lineWindow(length, width, angle)) out.insert({c.dx, c.dy});
  return out;
}

TEST(LineWindow, CellsOfSmallWindows) {
  using cells = std::set<std::pair<int, int>>;
  const struct {
    float length, width, angle;
    cells want;
  } cases[] = {
      {5, 1, 0, {{-2, 0}, {-1, 0}, {0, 0}, {1, 0}, {2, 0}}},
      {5, 1, 180, {{-2, 0}, {-1, 0}, {0, 0}, {1, 0}, {2, 0}}},
      {3, 1, 90, {{0, -1}, {0, 0}, {0, 1}}},
      // Up and to the right on the screen: y falls as x grows.
      {5, 1, 45, {{-1, 1}, {0, 0}, {1, -1}}},
      {1, 1, 30, {{0, 0}}},
      {3, 2, 0, {{-1, 0}, {0, -1}, {0, 0}, {0, 1}, {1, 0}}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(cellsOf(c.length, c.width, c.angle), c.want) << c.length << " " << c.angle;
}

// At any angle a window one pixel wide is a line without gaps, symmetric
// about its centre, weighted by exp(-(u/(L/2))^2) near the line.
TEST(LineWindow, ThinWindowsAreGaplessSymmetricLines) {
  for (float angle : {10.0f, 30.0f, 60.0f, 100.0f, -37.0f}) {
    const std::vector<lineCell> w = lineWindow(21, 1, angle);
    const double c = std::cos(angle * 3.14159265358979 / 180), s = -std::sin(angle * 3.14159265358979 / 180);
    const bool flat = std::fabs(c) >= std::fabs(s);
    std::set<int> steps;
    for (const lineCell& cell : w) {
      steps.insert(flat ? cell.dx : cell.dy);
      const bool mirrored = std::any_of(w.begin(), w.end(), [&](const lineCell& o) {
        return o.dx == -cell.dx && o.dy == -cell.dy && o.weight == cell.weight;
      });
      EXPECT_TRUE(mirrored) << angle;
      const double u = cell.dx * c + cell.dy * s;
      EXPECT_LE(cell.weight, std::exp(-(u / 10.5) * (u / 10.5)) + 1e-6) << angle;
    }
    const int first = *steps.begin(), last = *steps.rbegin();
    EXPECT_EQ(static_cast<int>(steps.size()), last - first + 1) << angle << ": a gap";
    EXPECT_GE(last - first + 1, 15) << angle;
  }
}

// The filters over the window's valid cells, one pixel at a time.
void reference(layers& l, float length, float width, float angle, bool median) {
  const std::vector<lineCell> w = lineWindow(length, width, angle);
  const layers in = l;
  for (int y = 0; y < l.H(); ++y)
    for (int x = 0; x < l.W(); ++x) {
      if (l.blocked(x, y)) continue;
      std::vector<float> v;
      float s = 0, sw = 0;
      for (const lineCell& c : w) {
        const int sx = x + c.dx, sy = y + c.dy;
        if (sx < 0 || sy < 0 || sx >= l.W() || sy >= l.H() || in.blocked(sx, sy)) continue;
        v.push_back(in.field(sx, sy));
        s += c.weight * in.field(sx, sy), sw += c.weight;
      }
      if (v.empty()) continue;
      std::sort(v.begin(), v.end());
      l.field(x, y) = median ? v[(v.size() + 1) / 2 - 1] : s / sw;
    }
}

TEST(DirectionalFilters, EqualTheirDefinitionOverTheWindow) {
  for (bool median : {false, true})
    for (auto [length, width, angle] : {std::tuple{7.0f, 1.0f, 30.0f}, {9.0f, 3.0f, 120.0f}}) {
      layers fast = randomLayers(25, 21, 0.15, 9u), plain = fast;
      tamble::testing::oddBlocked(fast);
      tamble::testing::oddBlocked(plain);
      if (median)
        DirectionalMedian(fast.field, fast.bkgr, fast.ROI, 1, length, width, angle);
      else
        DirectionalGauss(fast.field, fast.bkgr, fast.ROI, 1, length, width, angle);
      reference(plain, length, width, angle, median);
      for (std::size_t i = 0; i < fast.field.count; ++i) {
        if (plain.bkgr.data[i] || !plain.ROI.data[i])
          EXPECT_EQ(std::memcmp(&fast.field.data[i], &plain.field.data[i], 4), 0) << i;
        else
          EXPECT_NEAR(fast.field.data[i], plain.field.data[i], 1e-4f) << median << " " << i;
      }
    }
}

// Streaks on a plane of 10: one along 30 degrees, three pixels thick (50),
// one across it, two pixels thick (90). The median of 9 along 30 degrees
// keeps the first and removes the second; across, it does the opposite.
TEST(DirectionalMedian, KeepsStreaksAlongItsDirectionRemovesThoseAcross) {
  const int W = 41, H = 41;
  const double c = std::cos(3.14159265358979 / 6), s = std::sin(3.14159265358979 / 6);
  layers l(W, H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      const double u = (x - 20) * c - (y - 20) * s, v = (x - 20) * s + (y - 20) * c;
      l.field(x, y) = std::fabs(u) <= 1 ? 90.0f : std::fabs(v) <= 1.5 ? 50.0f : 10.0f;
    }
  // On the middle lines of the streaks, 12 pixels from where they cross.
  const int alongX = 30, alongY = 14, acrossX = 14, acrossY = 10;
  for (float angle : {30.0f, 120.0f}) {
    layers m = l;
    DirectionalMedian(m.field, m.bkgr, m.ROI, 1, 9, 1, angle);
    EXPECT_EQ(m.field(alongX, alongY), angle == 30 ? 50.0f : 10.0f) << angle;
    EXPECT_EQ(m.field(acrossX, acrossY), angle == 30 ? 10.0f : 90.0f) << angle;
  }
}

// A taper from the left edge (length 1) to the right edge (full length):
// spikes are kept on the left and removed on the right.
TEST(DirectionalMedian, TaperGrowsTheWindowAcrossTheImage) {
  layers l(40, 9);
  l.field.fill(1.0f);
  l.field(2, 4) = l.field(37, 4) = 99.0f;
  DirectionalMedian(l.field, l.bkgr, l.ROI, 1, 9, 1, 0, lengthTaper{0, 0, 39, 0});
  EXPECT_EQ(l.field(2, 4), 99.0f);
  EXPECT_EQ(l.field(37, 4), 1.0f);
}

// Ripples of period 4 along x over a step between rows 7 and 8: the Gauss
// along x damps the ripples and keeps the step; along y it keeps the
// ripples and blurs the step.
TEST(DirectionalGauss, SmoothsAlongItsDirectionOnly) {
  layers l(32, 16);
  for (int y = 0; y < 16; ++y)
    for (int x = 0; x < 32; ++x) l.field(x, y) = (y >= 8 ? 100.0f : 0.0f) + (x % 4 < 2 ? 5 : -5);
  auto ripple = [](const layers& m) {
    return std::fabs(m.field(16, 3) - m.field(18, 3));  // two columns, opposite phases
  };
  auto step = [](const layers& m) { return m.field(16, 8) - m.field(16, 7); };
  layers along = l, across = l;
  DirectionalGauss(along.field, along.bkgr, along.ROI, 1, 9, 1, 0);
  DirectionalGauss(across.field, across.bkgr, across.ROI, 1, 9, 1, 90);
  EXPECT_LT(ripple(along), ripple(l) / 5);
  EXPECT_NEAR(step(along), 100.0f, 1e-3f);
  EXPECT_NEAR(ripple(across), ripple(l), 1e-3f);
  EXPECT_LT(step(across), 50.0f);
}

// The smear is the mean over the line: an impulse spreads evenly over L
// pixels along the direction, a plane stays in the interior.
TEST(Smear1D, AveragesAlongTheLine) {
  layers l(21, 21);
  l.field(10, 10) = 7.0f;
  Smear1D(l.field, l.bkgr, l.ROI, 7, 90);
  for (int y = 7; y <= 13; ++y) EXPECT_FLOAT_EQ(l.field(10, y), 1.0f) << y;
  EXPECT_EQ(l.field(10, 6), 0.0f);
  EXPECT_EQ(l.field(11, 10), 0.0f);
  layers p(21, 21);
  for (int y = 0; y < 21; ++y)
    for (int x = 0; x < 21; ++x) p.field(x, y) = 3.0f * x - 2.0f * y;
  const layers before = p;
  Smear1D(p.field, p.bkgr, p.ROI, 5, 30);
  EXPECT_NEAR(p.field(10, 10), before.field(10, 10), 1e-4f);
}

double rmsInterior(const layers& a, const layers& b, int margin) {
  double s = 0;
  int n = 0;
  for (int y = margin; y < a.H() - margin; ++y)
    for (int x = margin; x < a.W() - margin; ++x) {
      const double d = a.field(x, y) - b.field(x, y);
      s += d * d, ++n;
    }
  return std::sqrt(s / n);
}

// Bars smeared along a direction (with a little noise) come back: the error
// after deblurring is a fraction of the error of the smeared image.
TEST(DeBlur1D, UndoesASmearAlongItsDirection) {
  const struct {
    float length, angle, noise, noiseRatio, gain;
  } cases[] = {{7, 0, 0.0f, 1e-5f, 0.1f}, {9, 30, 0.0f, 1e-5f, 0.15f}, {7, 0, 0.5f, 0.01f, 0.6f}};
  for (const auto& c : cases) {
    layers truth(64, 40);
    for (int y = 0; y < 40; ++y)
      for (int x = 0; x < 64; ++x)
        truth.field(x, y) = 20.0f + 0.5f * y + ((x / 4 + y / 10) % 2 ? 60.0f : 0.0f);
    layers blurred = truth;
    Smear1D(blurred.field, blurred.bkgr, blurred.ROI, c.length, c.angle);
    tamble::testing::layers noise = randomLayers(64, 40, 0, 3u);
    for (std::size_t i = 0; i < noise.field.count; ++i)
      blurred.field.data[i] += c.noise * (noise.field.data[i] / 50.0f - 1.0f);
    layers restored = blurred;
    const int steps =
        DeBlur1D(restored.field, restored.bkgr, restored.ROI, c.length, c.angle, c.noiseRatio, 300);
    EXPECT_GT(steps, 0);
    const double before = rmsInterior(blurred, truth, 8), after = rmsInterior(restored, truth, 8);
    EXPECT_LT(after, c.gain * before) << c.length << " at " << c.angle << ": " << before << " to "
                                      << after;
  }
}

// A flat image, masked or not, is its own deblurring: no step is taken.
TEST(DeBlur1D, KeepsAFlatImage) {
  for (double blocked : {0.0, 0.3}) {
    layers l = randomLayers(30, 20, blocked, 6u);
    for (std::size_t i = 0; i < l.field.count; ++i)
      if (!l.bkgr.data[i] && l.ROI.data[i]) l.field.data[i] = 812.5f;
    const layers before = l;
    EXPECT_EQ(DeBlur1D(l.field, l.bkgr, l.ROI, 9, 60, 0.01f, 50), 0);
    EXPECT_TRUE(sameBits(l.field, before.field));
  }
}

// Blocked pixels are neither read nor written; the steps stop at the limit.
TEST(DeBlur1D, LeavesBlockedPixelsAndStopsAtTheLimit) {
  layers l = randomLayers(30, 20, 0.2, 4u);
  tamble::testing::oddBlocked(l);
  const layers before = l;
  EXPECT_EQ(DeBlur1D(l.field, l.bkgr, l.ROI, 5, 45, 1e-6f, 3), 3);
  for (std::size_t i = 0; i < l.field.count; ++i) {
    if (l.bkgr.data[i] || !l.ROI.data[i])
      EXPECT_EQ(std::memcmp(&l.field.data[i], &before.field.data[i], 4), 0) << i;
    else
      EXPECT_TRUE(std::isfinite(l.field.data[i])) << i;
  }
}

}  // namespace
