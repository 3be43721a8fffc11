// The small-window filter sets, the disc morphology, the speckle removers and
// the wipe of closed mask regions, each against a plain pixel-by-pixel
// reference of its definition.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "filters/morphology.h"
#include "plugin/session.h"
#include "tests/filters/filterReferences.h"
#include "tests/support/scriptedUi.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::randomLayers;
using tamble::testing::sameBits;

bool inside(const layers& l, int x, int y) { return x >= 0 && y >= 0 && x < l.W() && y < l.H(); }

// S3X3ITER by its definition: kernel entries over the divisor, excluded
// neighbours as 0, offset, held to the valid range; the frame and blocked
// pixels end at 0.
void reference3x3(layers& l, int iterations, const int (&entry)[9], int divisor, bool mid) {
  float lo = 1e30f, hi = -1e30f;
  for (int y = 0; y < l.H(); ++y)
    for (int x = 0; x < l.W(); ++x)
      if (!l.blocked(x, y)) lo = std::min(lo, l.field(x, y)), hi = std::max(hi, l.field(x, y));
  const float offset = mid ? (lo + hi) * 0.5f : 0.0f;
  layers work = l;
  for (int pass = 0; pass < iterations; ++pass) {
    const layers snap = work;
    for (int y = 0; y < l.H(); ++y)
      for (int x = 0; x < l.W(); ++x) {
        if (l.blocked(x, y)) continue;
        float s = 0.0f;
        for (int i = 0; i < 9; ++i) {
          const int sx = x + i % 3 - 1, sy = y + i / 3 - 1;
          const bool in = inside(l, sx, sy) && !l.blocked(sx, sy);
          s += static_cast<float>(entry[i]) / static_cast<float>(divisor) *
               (in ? snap.field(sx, sy) : 0.0f);
        }
        work.field(x, y) = std::clamp(s + offset, lo, hi);
      }
  }
  for (int y = 0; y < l.H(); ++y)
    for (int x = 0; x < l.W(); ++x) {
      const bool inner = x > 0 && y > 0 && x < l.W() - 1 && y < l.H() - 1;
      l.field(x, y) = inner && !l.blocked(x, y) ? work.field(x, y) : 0.0f;
    }
}

TEST(Filters3x3, EqualTheDefinitionOnMaskedImages) {
  const struct {
    int kind;
    int entry[9];
    int divisor;
    bool mid;
  } cases[] = {
      {1, {1, 2, 1, 2, 4, 2, 1, 2, 1}, 16, false},
      {3, {-2, -1, 0, -1, 0, 1, 0, 1, 2}, 4, true},
      {11, {-1, -1, -1, -1, 8, -1, -1, -1, -1}, 1, true},
      {12, {-1, -1, -1, -1, 16, -1, -1, -1, -1}, 8, false},
      {17, {1, -2, 1, -2, 5, -2, 1, -2, 1}, 1, false},
      {19, {1, -2, 1, -2, 4, -2, 1, -2, 1}, 1, true},
  };
  for (const auto& c : cases)
    for (int iterations : {1, 3}) {
      layers fast = randomLayers(23, 17, 0.15, 3u), plain = fast;
      tamble::testing::oddBlocked(fast);
      S3X3ITER(fast.field, fast.bkgr, fast.ROI, iterations, c.kind);
      reference3x3(plain, iterations, c.entry, c.divisor, c.mid);
      EXPECT_TRUE(sameBits(fast.field, plain.field)) << c.kind << " x" << iterations;
    }
}

// Smoothing keeps a constant interior; the frame becomes 0. An unknown kind
// says so and works with a zero kernel: every value is held up to lo.
TEST(Filters3x3, FrameAndUnknownKind) {
  layers l(6, 5);
  l.field.fill(7.0f);
  S3X3ITER(l.field, l.bkgr, l.ROI, 2, 1);
  EXPECT_EQ(l.field(2, 2), 7.0f);
  EXPECT_EQ(l.field(4, 3), 7.0f);
  EXPECT_EQ(l.field(0, 2), 0.0f);
  EXPECT_EQ(l.field(5, 4), 0.0f);

  tamble::testing::scriptedUi ui;
  session().reset();
  setHostUi(&ui);
  layers r = randomLayers(6, 5, 0.0, 9u);
  float lo = 0, hi = 0;
  FieldMinMax(r.field, r.bkgr, r.ROI, lo, hi);
  S3X3ITER(r.field, r.bkgr, r.ROI, 1, 20);
  setHostUi(nullptr);
  ASSERT_EQ(ui.notices, std::vector<std::string>{"S3X3ITER: NonRealized Filter Set"});
  EXPECT_EQ(r.field(2, 2), lo);
  EXPECT_EQ(r.field(0, 0), 0.0f);
}

// The gradients by their formulas, reading neighbours whatever their masks.
float gradientReference(const layers& l, int x, int y, int kind) {
  auto f = [&](int dx, int dy) { return l.field(x + dx, y + dy); };
  const float c = f(0, 0), n = f(0, -1), s = f(0, 1), e = f(1, 0), w = f(-1, 0);
  const float ne = f(1, -1), nw = f(-1, -1), se = f(1, 1), sw = f(-1, 1);
  const float gx = ne + 2 * e + se - (nw + 2 * w + sw), gy = nw + 2 * n + ne - (sw + 2 * s + se);
  switch (kind) {
    case 1: return std::hypot(c - se, s - e);
    case 2: return std::fabs(c - se) + std::fabs(s - e);
    case 3: return std::hypot(gx, gy);
    case 4: return std::fabs(gx) + std::fabs(gy);
    case 5: {
      const float ring[8] = {n, ne, e, se, s, sw, w, nw};
      float total = 0, best = 0;
      for (float v : ring) total += v;
      for (int k = 0; k < 8; ++k) {
        const float three = ring[k] + ring[(k + 1) % 8] + ring[(k + 2) % 8];
        best = std::max(best, std::fabs(5 * three - 3 * (total - three)));
      }
      return best;
    }
    case 6: return 3 * c * c - 0.5f * se * nw - 0.5f * ne * sw - w * e - n * s;
    case 7: {
      float best = 0;
      for (auto [dx, dy] : {std::pair{1, 0}, {0, 1}, {1, 1}, {1, -1}})
        best = std::max(best, std::fabs(4 * c - f(-dx, -dy) - f(-2 * dx, -2 * dy) - f(dx, dy) -
                                        f(2 * dx, 2 * dy)));
      return best;
    }
    case 8: return std::hypot((e + ne + se - w - nw - sw) / 3, (s + se + sw - n - ne - nw) / 3);
    default: return e + w + n + s - (f(2, 0) + f(-2, 0) + f(0, -2) + f(0, 2));
  }
}

TEST(Gradients3x3, FollowTheirFormulasWithinTheMargin) {
  for (int kind = 1; kind <= gradientKinds; ++kind) {
    layers l = randomLayers(15, 12, 0.2, 7u);
    const layers before = l;
    Gradients3x3(l.field, l.bkgr, l.ROI, kind);
    const int m = kind == 7 || kind == 9 ? 2 : 1;
    for (int y = 0; y < l.H(); ++y)
      for (int x = 0; x < l.W(); ++x) {
        const float got = l.field(x, y);
        if (l.blocked(x, y)) {
          EXPECT_EQ(got, before.field(x, y)) << kind;
        } else if (x < m || y < m || x >= l.W() - m || y >= l.H() - m) {
          EXPECT_EQ(got, 0.0f) << kind << " margin " << x << "," << y;
        } else {
          // Sums of values below 100, in other orders: a few units of
          // the last place (the adaptive kind's products reach 3e4).
          const float want = gradientReference(before, x, y, kind);
          EXPECT_NEAR(got, want, kind == 6 ? 0.05f : 2e-3f)
              << kind << " at " << x << "," << y;
        }
      }
  }
}

// A constant image has no gradient of any kind, the adaptive one included
// (3c^2 - c^2/2 - c^2/2 - c^2 - c^2 = 0).
TEST(Gradients3x3, ConstantImageGivesZero) {
  for (int kind = 1; kind <= gradientKinds; ++kind) {
    layers l(7, 7);
    l.field.fill(3.0f);
    Gradients3x3(l.field, l.bkgr, l.ROI, kind);
    EXPECT_EQ(l.field(3, 3), 0.0f) << kind;
  }
}

// Prewitt on planes: the magnitude is the slope over two pixels' step and the
// angle follows the signs of the slopes (0 becomes 180).
TEST(PrewittWindow, MagnitudeAndAngleOfPlanes) {
  const struct {
    float ax, ay;  // f = 100 + ax x + ay y
    int N;
    float magnitude, angle;
  } cases[] = {
      {1, 0, 3, 2.0f, 180.0f},      {0, 1, 3, 2.0f, 180.0f},
      {1, 1, 3, std::sqrt(8.0f), 45.0f}, {2, 2, 5, std::sqrt(72.0f), 45.0f},
  };
  for (const auto& c : cases) {
    layers l(9, 9);
    for (int y = 0; y < 9; ++y)
      for (int x = 0; x < 9; ++x) l.field(x, y) = 100 + c.ax * x + c.ay * y;
    layers dir(9, 9);
    PrewittWindow(l.field, l.bkgr, l.ROI, dir.field, c.N);
    EXPECT_NEAR(l.field(4, 4), c.magnitude, 1e-4f) << c.ax << " " << c.ay;
    EXPECT_NEAR(dir.field(4, 4), c.angle, 1e-3f) << c.ax << " " << c.ay;
    EXPECT_EQ(l.field(0, 4), 100 + c.ay * 4);  // the edge band stays
  }
}

// MorphFilter by its definition: extremes over the disc's valid cells from
// -1e30 and 1e30, F = field at valid pixels.
void referenceExtreme(const layers& in, layers& out, float D, bool dilate) {
  const int R = static_cast<int>(std::trunc(D + 0.5)) / 2;
  const float r2 = (D * 0.5f) * (D * 0.5f);
  for (int y = 0; y < in.H(); ++y)
    for (int x = 0; x < in.W(); ++x) {
      if (in.blocked(x, y)) continue;
      float m = dilate ? -1e30f : 1e30f;
      for (int dy = -R; dy <= R; ++dy)
        for (int dx = -R; dx <= R; ++dx) {
          if (static_cast<float>(dx * dx + dy * dy) > r2) continue;
          const int sx = x + dx, sy = y + dy;
          if (!inside(in, sx, sy) || in.blocked(sx, sy)) continue;
          const float v = in.field(sx, sy);
          if (dilate ? v > m : v < m) m = v;
        }
      out.field(x, y) = m;
    }
}

void referenceMorph(layers& l, float D, int kind) {
  if (kind == 15 || kind == 16) {
    referenceMorph(l, D, kind == 15 ? 3 : 4);
    referenceMorph(l, D, kind == 15 ? 4 : 3);
    return;
  }
  auto op = [&](const layers& in, bool dilate) {
    layers out = in;
    referenceExtreme(in, out, D, dilate);
    return out;
  };
  const layers F = l;
  const layers dil = op(F, true), ero = op(F, false);
  const layers open = op(dil, false), close = op(ero, true);  // as the kinds name them
  std::vector<float> r(l.field.count);
  for (std::size_t i = 0; i < r.size(); ++i) {
    const float f = F.field.data[i], d = dil.field.data[i], e = ero.field.data[i];
    const float values[] = {d,     e,     open.field.data[i], close.field.data[i],
                            d - f, f - e, d - e,  d - e, d - f, f - e,
                            f - close.field.data[i], open.field.data[i] - f,
                            f - open.field.data[i], close.field.data[i] - f};
    r[i] = values[kind - 1];
  }
  float m = -1e30f;
  for (std::size_t i = 0; i < r.size(); ++i)
    if (!l.bkgr.data[i] && l.ROI.data[i]) m = std::max(m, r[i]);
  for (std::size_t i = 0; i < r.size(); ++i)
    if (!l.bkgr.data[i] && l.ROI.data[i]) l.field.data[i] = kind >= 8 && kind <= 10 ? m - r[i] : r[i];
}

TEST(MorphFilter, EveryKindEqualsTheDefinition) {
  // 2.99 and 3 are the full 3 by 3 square, 3.5 a plus sign (no corner row),
  // 5 drops the corners, 7.3 a reach of 3; the tall image runs in bands.
  for (float D : {2.99f, 3.0f, 3.5f, 5.0f, 7.3f})
    for (int kind = 1; kind <= morphKinds; ++kind)
      for (double share : {0.0, 0.2}) {
        layers fast = randomLayers(19, 140, share, 11u), plain = fast;
        tamble::testing::oddBlocked(fast);
        tamble::testing::oddBlocked(plain);
        MorphFilter(fast.field, fast.bkgr, fast.ROI, D, kind);
        referenceMorph(plain, D, kind);
        EXPECT_TRUE(sameBits(fast.field, plain.field)) << "D " << D << " kind " << kind;
      }
}

// Discs below 3 or above 99 cells across leave the image.
TEST(MorphFilter, OutOfRangeDiscsDoNothing) {
  for (float D : {1.4f, 100.0f}) {
    layers l = randomLayers(8, 8, 0.0, 2u);
    const layers before = l;
    MorphFilter(l.field, l.bkgr, l.ROI, D, 1);
    EXPECT_TRUE(sameBits(l.field, before.field)) << D;
  }
}

// SpeckleCell by its steps: the flat spatial kernel, the contrast scale from
// the window, the bilateral mean; blocked pixels 0 as samples.
void referenceSpeckle(layers& l, float D, int iterations) {
  const int R = (static_cast<int>(std::trunc(D + 0.5)) + 1) / 2, K = 2 * R + 1;
  layers A = l;
  for (std::size_t i = 0; i < A.field.count; ++i)
    if (l.bkgr.data[i] || !l.ROI.data[i]) A.field.data[i] = 0.0f;
  for (int pass = 0; pass < iterations; ++pass) {
    const layers B = A;
    for (int y = 0; y < l.H(); ++y)
      for (int x = 0; x < l.W(); ++x) {
        if (l.blocked(x, y)) continue;
        const float c = B.field(x, y);
        std::vector<std::pair<float, float>> cells;  // G, v
        for (int dy = -R; dy <= R; ++dy)
          for (int dx = -R; dx <= R; ++dx)
            if (inside(l, x + dx, y + dy) && !l.blocked(x + dx, y + dy))
              cells.push_back({std::exp(-static_cast<float>(dx * dx + dy * dy) /
                                        std::pow(2.0f, static_cast<float>(K))),
                               B.field(x + dx, y + dy)});
        float s2 = 0, g = 0;
        for (auto [G, v] : cells) s2 += G * ((v - c) * (v - c)), g += G;
        const float q = s2 / g, a = std::fabs(g) < 1e-10f || !(q > 0) ? 0.0f : 0.5f / q;
        float s = 0, sw = 0;
        for (auto [G, v] : cells) {
          const float w = G * std::exp(-a * ((c - v) * (c - v)));
          s += w * v, sw += w;
        }
        A.field(x, y) = sw > 0 ? s / sw : 0.0f;
      }
  }
  for (std::size_t i = 0; i < A.field.count; ++i)
    if (!l.bkgr.data[i] && l.ROI.data[i]) l.field.data[i] = A.field.data[i];
}

TEST(SpeckleCell, EqualsTheDefinition) {
  for (float D : {3.0f, 5.0f})
    for (int iterations : {1, 2}) {
      layers fast = randomLayers(16, 13, 0.15, 21u), plain = fast;
      tamble::testing::oddBlocked(fast);
      tamble::testing::oddBlocked(plain);
      SpeckleCell(fast.field, fast.bkgr, fast.ROI, D, iterations);
      referenceSpeckle(plain, D, iterations);
      for (std::size_t i = 0; i < fast.field.count; ++i)
        if (plain.bkgr.data[i] || !plain.ROI.data[i])
          EXPECT_EQ(std::memcmp(&fast.field.data[i], &plain.field.data[i], 4), 0);
        else
          EXPECT_NEAR(fast.field.data[i], plain.field.data[i], 1e-4f) << D << " " << i;
    }
}

// Crimmins by its rules: 256 levels, brighten then darken per iteration on
// the four axes, the edges on one axis; the result back in the input's scale.
void referenceCrimmins(layers& l, int iterations) {
  float lo = 1e30f, hi = -1e30f;
  for (std::size_t i = 0; i < l.field.count; ++i)
    if (!l.bkgr.data[i] && l.ROI.data[i])
      lo = std::min(lo, l.field.data[i]), hi = std::max(hi, l.field.data[i]);
  const float range = hi - lo;
  std::vector<int> I(l.field.count, 0);
  const int W = l.W(), H = l.H();
  float lo2 = 1e30f, hi2 = -1e30f;
  for (std::size_t i = 0; i < l.field.count; ++i) {
    l.field.data[i] = (l.field.data[i] - lo) * 255.999f / range;
    if (!l.bkgr.data[i] && l.ROI.data[i])
      lo2 = std::min(lo2, l.field.data[i]), hi2 = std::max(hi2, l.field.data[i]);
  }
  for (std::size_t i = 0; i < l.field.count; ++i)
    if (!l.bkgr.data[i] && l.ROI.data[i])
      I[i] = static_cast<int>(std::trunc((l.field.data[i] - lo2) * 255.0f / (hi2 - lo2) + 0.5));
  auto half = [&](bool up) {
    const std::vector<int> S = I;
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x) {
        const bool rowEdge = y == 0 || y == H - 1, colEdge = x == 0 || x == W - 1;
        const int axes[4][2] = {{1, 0}, {0, 1}, {1, 1}, {1, -1}};
        const bool used[4] = {!colEdge, !rowEdge, !rowEdge && !colEdge, !rowEdge && !colEdge};
        const int c = S[y * W + x];
        for (int k = 0; k < 4; ++k) {
          if (!used[k]) continue;
          const int dx = axes[k][0], dy = axes[k][1];
          const int a = S[(y - dy) * W + x - dx], b = S[(y + dy) * W + x + dx];
          const bool hit = up ? (a >= c + 2 || b >= c + 2 || (a > c && b >= c))
                              : (a <= c - 2 || b <= c - 2 || (a < c && b <= c));
          if (hit) I[y * W + x] = c + (up ? 1 : -1);
        }
      }
  };
  for (int k = 0; k < iterations; ++k) half(true), half(false);
  for (std::size_t i = 0; i < l.field.count; ++i)
    if (!l.bkgr.data[i] && l.ROI.data[i]) l.field.data[i] = I[i] / 255.0f * range + lo;
}

TEST(SpeckleCrimmins, EqualsTheRulesAndRemovesASpeck) {
  // Random values, and few levels: many neighbours equal to the centre,
  // where the rules tell an axis's two ends apart.
  for (int iterations : {1, 4})
    for (bool fewLevels : {false, true}) {
    layers fast = randomLayers(14, 11, 0.1, 5u);
    if (fewLevels) {  // levels 0 to 3 of 0 .. 255
      for (std::size_t i = 0; i < fast.field.count; ++i)
        fast.field.data[i] = std::trunc(fast.field.data[i] / 25.0f);
      fast.field(0, 0) = 255.0f;
      fast.bkgr(0, 0) = false, fast.ROI(0, 0) = true;
    }
    layers plain = fast;
    SpeckleCrimmins(fast.field, fast.bkgr, fast.ROI, iterations);
    referenceCrimmins(plain, iterations);
    for (std::size_t i = 0; i < fast.field.count; ++i)
      EXPECT_NEAR(fast.field.data[i], plain.field.data[i], 1e-3f) << iterations << " " << i;
    }
  // A bright speck on a dark plane sinks by one level per iteration.
  layers l(7, 7);
  l.field(0, 0) = 255.0f;  // sets the range; a corner never moves
  l.field(3, 3) = 10.0f;
  SpeckleCrimmins(l.field, l.bkgr, l.ROI, 3);
  EXPECT_NEAR(l.field(3, 3), 7.0f, 0.02f);
  EXPECT_EQ(l.field(0, 0), 255.0f);
}

// The wipe: islands inside a clear ring of the box vanish, large regions
// stay; the "not" form fills holes; a diameter of 1 does nothing.
TEST(ClosedRegionsWipe, ClearsSmallIslandsOnly) {
  const struct {
    const char* name;
    int polarity, diameter;
    std::vector<std::string> in, out;
  } cases[] = {
      {"speck", 1, 3,
       {"......", ".#....", "......", "...###", "...###", "...###"},
       {"......", "......", "......", "...###", "...###", "...###"}},
      {"hole", 0, 3,
       {"######", "#.####", "######", "######"},
       {"######", "######", "######", "######"}},
      {"diameter 1", 1, 1, {"......", ".#....", "......"}, {"......", ".#....", "......"}},
      {"two-pixel island needs a wider box", 1, 3,
       {".......", ".##....", ".......", "......."},
       {".......", ".##....", ".......", "......."}},
      {"two-pixel island, diameter 5", 1, 5,
       {".......", ".##....", ".......", "......."},
       {".......", ".......", ".......", "......."}},
  };
  for (const auto& c : cases) {
    const int W = static_cast<int>(c.in[0].size()), H = static_cast<int>(c.in.size());
    layers l(W, H);
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x) l.bkgr(x, y) = c.in[y][x] == '#';
    ClosedRegionsWipe(l.bkgr, c.polarity, 1, c.diameter);
    for (int y = 0; y < H; ++y) {
      std::string row;
      for (int x = 0; x < W; ++x) row += l.bkgr(x, y) ? '#' : '.';
      EXPECT_EQ(row, c.out[y]) << c.name << " row " << y;
    }
  }
}

}  // namespace
