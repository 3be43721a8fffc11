// The quick search of "Auto Mark..." written the plain way from its steps,
// one pixel at a time: the filters it calls, RingMinMax and the revision are
// the library's (each is held to its own definition elsewhere), the rest is
// spelled out here. AutoMarkQuick must match it bit for bit.
#pragma once

#include <algorithm>
#include <cmath>

#include "filters/circleFilters.h"
#include "markers/autoMark.h"
#include "markers/revise.h"
#include "tests/support/layers.h"

namespace tamble::testing {

inline void referenceQuick(const layers& in, zel::markersArray& markers, int sign, double D,
                           float T) {
  markers.items.clear();
  const int W = in.W(), H = in.H();
  polynomialState map;
  layers A = in, B = in, C = in;  // each with fresh copies of the masks
  // 1 to 4. The image and its wide median background.
  if (std::trunc(D + 0.01) > 7)
    for (layers* l : {&A, &B}) {
      MedianCircle(l->field, l->bkgr, l->ROI, 1, 3);
      GaussSeparable(l->field, l->bkgr, l->ROI, 1, static_cast<float>(D / 10));
    }
  const int N = static_cast<int>(std::trunc(D));
  MedianFast(B.field, B.bkgr, B.ROI, 1, N, map);
  CoarseSmooth(A.field, A.bkgr, A.ROI, N, map);
  // 5, 6. The difference, not below 0, 0 outside the ROI and in the border.
  const int b = static_cast<int>(std::trunc(D * 0.5 + 0.5));
  const auto border = [&](int x, int y) { return x < b || x >= W - b || y < b || y >= H - b; };
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      const float d = sign == 1 ? A.field(x, y) - B.field(x, y) : B.field(x, y) - A.field(x, y);
      C.field(x, y) = d < 0.0f || !in.ROI(x, y) || border(x, y) ? 0.0f : d;
    }
  // 7, 8. Smoothed, less its mean.
  GaussSeparable(C.field, C.bkgr, C.ROI, 1, static_cast<float>(D / 6));
  float sum = 0.0f;
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) sum += C.field(x, y);
  const float mean = sum / static_cast<float>(W * H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) C.field(x, y) = std::max(C.field(x, y) - mean, 0.0f);
  // 9. The ring test.
  const int r1 = std::max(static_cast<int>(std::trunc(D * 0.125 + 0.5)), 1);
  const int r2 = std::max(static_cast<int>(std::trunc(D + 0.5)), 1);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      const float c = C.field(x, y);
      A.field(x, y) = 0.0f;
      if (in.bkgr(x, y) || !in.ROI(x, y) || !(c >= 0.001f) || border(x, y)) continue;
      const float v = c - RingMinMax(C.field, x, y, r1, r2);
      A.field(x, y) = v > 0.0f ? v : 0.0f;
    }
  // 10. The erosion by r into B (0 elsewhere), the dilation by 2r back into A.
  const int r = static_cast<int>(std::trunc(static_cast<float>(D * 0.25) + 0.5)) / 2;
  B.field.fill(0.0f);
  for (int y = r; y < H - r; ++y)
    for (int x = r; x < W - r; ++x) {
      float m = 1e30f;
      for (int v = y - r; v <= y + r; ++v)
        for (int u = x - r; u <= x + r; ++u) m = std::min(m, A.field(u, v));
      B.field(x, y) = m;
    }
  for (int y = 2 * r; y < H - 2 * r; ++y)
    for (int x = 2 * r; x < W - 2 * r; ++x) {
      float m = -1e30f;
      for (int v = y - 2 * r; v <= y + 2 * r; ++v)
        for (int u = x - 2 * r; u <= x + 2 * r; ++u) m = std::max(m, B.field(u, v));
      A.field(x, y) = m;
    }
  // 11, 12. Smoothed; the level between its extremes.
  GaussSeparable(A.field, in.bkgr, in.ROI, 1, static_cast<float>(D * 0.5));
  float lo = 1e30f, hi = -1e30f;
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      lo = std::min(lo, A.field(x, y));
      hi = std::max(hi, A.field(x, y));
    }
  const float level = (hi - lo) * T + lo;
  // 13. The highest peaks, each clearing its square of half-width E.
  const int E = static_cast<int>(std::trunc(D * 2.0 + 0.5));
  for (int found = 0; found < 500; ++found) {
    float best = -1e30f;
    int px = 0, py = 0;
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x)
        if (A.field(x, y) > best) {
          best = A.field(x, y);
          px = x;
          py = y;
        }
    if (best < level || !(best > 0.0f)) break;
    markers.add({static_cast<double>(px), static_cast<double>(py), 0.0, 0.0, true, 0});
    for (int y = std::max(py - E, 0); y <= std::min(py + E, H - 1); ++y)
      for (int x = std::max(px - E, 0); x <= std::min(px + E, W - 1); ++x) A.field(x, y) = 0.0f;
  }
  // 14. The revision to sub-pixel centres.
  markers.hasX = markers.hasY = markers.count() > 0;
  if (markers.count() > 0) ReviseMarkers(in.field, in.bkgr, in.ROI, markers, sign, D, map);
}

}  // namespace tamble::testing
