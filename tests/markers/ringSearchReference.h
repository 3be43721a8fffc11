// The ring search of "Automatic Marking..." written the plain way, one pixel
// and one ring at a time, in the integer and float operations and the order
// its description gives. AutoMarkRings must match it bit for bit.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "markers/autoMark.h"
#include "tests/filters/filterReferences.h"
#include "tests/support/layers.h"

namespace tamble::testing {

// The sum of the square ring of half-width h around (x, y), pixel by pixel.
inline std::int64_t plainRing(const ringImage& img, int x, int y, int h) {
  std::int64_t s = 0;
  for (int v = y - h; v <= y + h; ++v)
    for (int u = x - h; u <= x + h; ++u)
      if (std::abs(u - x) == h || std::abs(v - y) == h) s += img(u, v);
  return s;
}

// The value less its ring's mean (integer division), not below 0, where the
// mask is clear; 0 where it is set.
inline void plainTopHat(ringImage& img, const searchMask& mask, int h) {
  const ringImage before = img;
  for (int y = 0; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x)
      img(x, y) = mask(x, y) ? 0
                             : static_cast<std::int32_t>(std::max<std::int64_t>(
                                   before(x, y) - plainRing(before, x, y, h) / (8 * h), 0));
}

// trunc(v) held to lo..hi; not a number gives lo.
inline std::int32_t plainClamp(float v, std::int32_t lo, std::int32_t hi) {
  if (!(v >= static_cast<float>(lo))) return lo;
  return v >= static_cast<float>(hi) ? hi : static_cast<std::int32_t>(v);
}

inline void referenceRings(const layers& in, zel::markersArray& markers, float D, int law,
                           float entropyScale, float relative, int sign, int highSpeed,
                           int maxMarkers) {
  constexpr std::int32_t top = 1000000;
  markers.items.clear();
  const int W = in.W(), H = in.H();
  const int R = static_cast<int>(std::trunc(D + 0.5));
  // 1. The edge: blocked pixels and the frame, grown by R + 1 passes.
  searchMask edge(W, H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x)
      edge(x, y) = in.blocked(x, y) || x == 0 || y == 0 || x == W - 1 || y == H - 1;
  for (int pass = 0; pass < R + 1; ++pass) {
    const searchMask before = edge;
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x)
        for (int dy = -1; dy <= 1; ++dy)
          for (int dx = -1; dx <= 1; ++dx)
            if (x + dx >= 0 && x + dx < W && y + dy >= 0 && y + dy < H && before(x + dx, y + dy))
              edge(x, y) = true;
  }
  // 2, 3. The integer image.
  float lo = 1e30f, hi = -1e30f;
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x)
      if (!in.blocked(x, y)) {
        lo = std::min(lo, in.field(x, y));
        hi = std::max(hi, in.field(x, y));
      }
  const float s = 1000001.0f / (hi - lo);
  ringImage X(W, H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      const std::int32_t v = in.blocked(x, y) ? 0 : plainClamp((in.field(x, y) - lo) * s, 0, top);
      X(x, y) = sign == -1 ? top - v : v;
    }
  // 4, 5. Rings peeled from R down to 1, then stretched.
  for (int h = R; h >= 1; --h) plainTopHat(X, edge, h);
  float mx = -1e30f;
  for (std::uint64_t i = 0; i < X.count; ++i)
    if (X.data[i] != 0) mx = std::max(mx, static_cast<float>(X.data[i]));
  for (std::uint64_t i = 0; i < X.count; ++i)
    if (X.data[i] != 0) X.data[i] = plainClamp(static_cast<float>(X.data[i]) * (1000001.0f / mx), 0, top);
  // 6. Only pixels inside an empty ring of R stay.
  const ringImage Z = X;
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x)
      if (!edge(x, y) && Z(x, y) != 0 && plainRing(Z, x, y, R) != 0) X(x, y) = 0;
  // 7. Stretched again; G on 0 to 255.
  float lo2 = 1e30f, hi2 = -1e30f;
  for (std::uint64_t i = 0; i < X.count; ++i) {
    lo2 = std::min(lo2, static_cast<float>(X.data[i]));
    hi2 = std::max(hi2, static_cast<float>(X.data[i]));
  }
  const float range = hi2 - lo2;
  searchField G(W, H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      const float v = static_cast<float>(X(x, y)) - lo2;
      G(x, y) = in.blocked(x, y) ? 0.0f : static_cast<float>(plainClamp(v * (255.999f / range), 0, 255));
      if (!in.blocked(x, y)) X(x, y) = plainClamp(v * (1000001.0f / range), 0, top);
    }
  // 8, 9. The threshold.
  const float rel = std::clamp(relative, 0.01f, 0.95f);
  float Th = 0.0f;
  if (maxMarkers >= 1000) {
    Th = rel * 255;
    if (law != 1) {
      float maxSum = 0.0f, balance = 0.0f;
      EntropyThresholds(G, maxSum, balance);
      if (std::trunc(maxSum * entropyScale + 0.5) >= 4) Th = maxSum * entropyScale;
    }
  }
  const auto c = static_cast<std::int32_t>(std::trunc(Th / 255.0 * 1e6));
  for (std::uint64_t i = 0; i < X.count; ++i) X.data[i] = std::clamp(X.data[i] - c, 0, top);
  ringImage Y = X;
  // 10. Isolated single pixels go.
  if (R >= 4)
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x)
        if (!edge(x, y) && X(x, y) != 0 && plainRing(X, x, y, 1) == 0) Y(x, y) = 0;
  // 11, 12. The peaks, each taking the box inside its smallest empty ring.
  const int first = highSpeed == 1 ? R : 1;
  int h = 1;
  for (int found = 0; found < maxMarkers; ++found) {
    int px = -1, py = -1;
    std::int32_t best = 0;
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x)
        if (!in.blocked(x, y) && Y(x, y) > best) {
          best = Y(x, y);
          px = x;
          py = y;
        }
    if (px < 0) break;
    if (!edge(px, py)) {
      h = 1000;
      for (int t = std::min(R + 1, first); t <= R + 1 && h == 1000; ++t)
        if (plainRing(Y, px, py, t) == 0) h = t;
    }
    float sw = 0.0f, sx = 0.0f, sy = 0.0f;
    for (int y = std::max(py - h + 1, 0); y <= std::min(py + h - 1, H - 1); ++y)
      for (int x = std::max(px - h + 1, 0); x <= std::min(px + h - 1, W - 1); ++x) {
        const float w = static_cast<float>(Y(x, y));
        sw += w;
        sx += w * static_cast<float>(x);
        sy += w * static_cast<float>(y);
        Y(x, y) = 0;
      }
    if (sw != 0.0f) markers.add({sx / sw, sy / sw, 0.0, 0.0, true, 0});
  }
  // 13, 14. The local level, a Gauss of 4D over the disks about the markers.
  layers local = in;
  local.ROI.fill(false);
  for (const marker& m : markers.items) {
    const int x0 = static_cast<int>(std::trunc(m.x + 0.5)), y0 = static_cast<int>(std::trunc(m.y + 0.5));
    for (int dy = -2 * R; dy < 2 * R; ++dy)
      for (int dx = -2 * R; dx < 2 * R; ++dx) {
        const int x = x0 + dx, y = y0 + dy;
        if (x >= 0 && x < W && y >= 0 && y < H && !in.blocked(x, y) &&
            static_cast<float>(dx * dx + dy * dy) <= D * D)
          local.ROI(x, y) = true;
      }
  }
  referenceGauss(local, 1, D * 4.0f);
  // 15. Two passes of the centroid weighted by the fourth power of the
  // difference from the local level.
  for (int pass = 0; pass < 2; ++pass)
    for (marker& m : markers.items) {
      const int x0 = static_cast<int>(std::trunc(m.x + 0.5)), y0 = static_cast<int>(std::trunc(m.y + 0.5));
      float sw = 0.0f, sx = 0.0f, sy = 0.0f;
      for (int y = std::max(y0 - R, 0); y <= std::min(y0 + R, H - 1); ++y)
        for (int x = std::max(x0 - R, 0); x <= std::min(x0 + R, W - 1); ++x) {
          const float d = sign == 1 ? in.field(x, y) - local.field(x, y)
                                    : local.field(x, y) - in.field(x, y);
          const float w = d * d * d * d;
          sw += w;
          sx += w * static_cast<float>(x);
          sy += w * static_cast<float>(y);
        }
      if (sw != 0.0f) {
        m.x = sx / sw;
        m.y = sy / sw;
      }
    }
  markers.hasX = markers.hasY = !markers.items.empty();
}

}  // namespace tamble::testing
