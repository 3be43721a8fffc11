// Small pieces shared by the marker search and the marker revision.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "api/arrayWorks.h"
#include "api/errors.h"
#include "api/markers.h"
#include "api/parallel.h"

namespace tamble::markerWork {

using fieldStore = zel::arrayStore<float, 2>;
using maskStore = zel::arrayStore<bool, 2>;

inline void requireExtent(const fieldStore& field, const maskStore& bkgr, const maskStore& ROI) {
  if (!field.sameExtent(bkgr) || !field.sameExtent(ROI)) zel::raise<zel::DimError>();
}

// 1 where a pixel is blocked, one byte per pixel.
inline std::vector<std::uint8_t> blockedMap(const maskStore& bkgr, const maskStore& ROI) {
  std::vector<std::uint8_t> blocked(bkgr.count);
  for (std::uint64_t i = 0; i < bkgr.count; ++i) blocked[i] = bkgr.data[i] || !ROI.data[i];
  return blocked;
}

inline bool valid(const maskStore& bkgr, const maskStore& ROI, int x, int y) {
  return !bkgr(x, y) && ROI(x, y);
}

// The rounded coordinate trunc(v + 0.5), worked in double. False when it is
// not a number or falls outside 0 to size - 1; a value just below 0 rounds
// to 0 as the truncation does.
inline bool roundedIn(double v, int size, int& at) {
  const double r = std::trunc(v + 0.5);
  if (!(r >= 0.0 && r < static_cast<double>(size))) return false;
  at = static_cast<int>(r);
  return true;
}

// The same, worked in float.
inline bool roundedInFloat(double v, int size, int& at) {
  const float r = std::trunc(static_cast<float>(v) + 0.5f);
  if (!(r >= 0.0f && static_cast<double>(r) < static_cast<double>(size))) return false;
  at = static_cast<int>(r);
  return true;
}

// trunc(v) held to lo..hi; a value that is not a number gives lo.
inline std::int32_t clampTrunc(float v, std::int32_t lo, std::int32_t hi) {
  if (!(v >= static_cast<float>(lo))) return lo;
  if (v >= static_cast<float>(hi)) return hi;
  return static_cast<std::int32_t>(v);
}

// A found spot: enabled, numbered by the array (the largest number plus 1).
inline void appendFound(zel::markersArray& markers, double x, double y) {
  marker m;
  m.x = x;
  m.y = y;
  m.active = true;
  m.id = 0;
  markers.add(m);
  markers.hasX = true;
  markers.hasY = true;
}

// Sets `zone` at the valid pixels within the disk of radius `radius` (f32)
// around each enabled marker whose rounded position is inside the image and
// valid; the square looked at has the half-width `reach`. The position is
// rounded in double, or on y in float when `yInFloat`.
inline void markZones(const zel::markersArray& markers, const maskStore& bkgr, const maskStore& ROI,
                      float radius, int reach, bool yInFloat, maskStore& zone) {
  const int W = zone.width(), H = zone.height();
  const float r2 = radius * radius;
  for (const marker& m : markers.items) {
    int x0 = 0, y0 = 0;
    if (!m.active || !roundedIn(m.x, W, x0)) continue;
    if (!(yInFloat ? roundedInFloat(m.y, H, y0) : roundedIn(m.y, H, y0))) continue;
    if (!valid(bkgr, ROI, x0, y0)) continue;
    for (int dy = -reach; dy <= reach; ++dy) {
      const int y = y0 + dy;
      if (y < 0 || y >= H) continue;
      for (int dx = -reach; dx <= reach; ++dx) {
        const int x = x0 + dx;
        if (x < 0 || x >= W) continue;
        if (static_cast<float>(dx * dx + dy * dy) <= r2 && valid(bkgr, ROI, x, y))
          zone(x, y) = true;
      }
    }
  }
}

// The smallest and the largest value, each the first of its kind in row
// order (start 1e30 and -1e30; values that are not numbers are passed over).
// Rows are searched in parallel and joined in order, so the result is that
// of one scan.
inline void minMax(const fieldStore& image, float& lo, float& hi) {
  const int W = image.width(), H = image.height();
  std::vector<float> rowLo(static_cast<std::size_t>(H)), rowHi(static_cast<std::size_t>(H));
  zel::forEachRow(H, image.count, [&](int y) {
    float l = 1e30f, h = -1e30f;
    const float* row = image.row(y);
    for (int x = 0; x < W; ++x) {
      if (row[x] < l) l = row[x];
      if (row[x] > h) h = row[x];
    }
    rowLo[static_cast<std::size_t>(y)] = l;
    rowHi[static_cast<std::size_t>(y)] = h;
  });
  lo = 1e30f;
  hi = -1e30f;
  for (int y = 0; y < H; ++y) {
    if (rowLo[static_cast<std::size_t>(y)] < lo) lo = rowLo[static_cast<std::size_t>(y)];
    if (rowHi[static_cast<std::size_t>(y)] > hi) hi = rowHi[static_cast<std::size_t>(y)];
  }
}

// The sums of a marker's centroid: weight, weight times x, weight times y.
struct centroid {
  float s = 0.0f, sx = 0.0f, sy = 0.0f;
  void add(float w, int x, int y) {
    s += w;
    sx += w * static_cast<float>(x);
    sy += w * static_cast<float>(y);
  }
  // The centre, when both quotients are numbers.
  bool centre(float& cx, float& cy) const {
    cx = sx / s;
    cy = sy / s;
    return std::isfinite(cx) && std::isfinite(cy);
  }
};

// A marker takes the new value on each axis where it moves less than D.
inline void acceptMove(marker& m, float cx, float cy, double D) {
  if (std::fabs(m.x - static_cast<double>(cx)) < D) m.x = cx;
  if (std::fabs(m.y - static_cast<double>(cy)) < D) m.y = cy;
}

}  // namespace tamble::markerWork
