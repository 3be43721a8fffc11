// Work pieces shared by the circle-window filters.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "api/arrayWorks.h"

namespace tamble::circle {

// 1 where a pixel is blocked (bkgr set or ROI clear), one byte per pixel.
inline std::vector<std::uint8_t> blockedMap(const zel::arrayStore<bool, 2>& bkgr,
                                            const zel::arrayStore<bool, 2>& ROI) {
  if (!bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
  std::vector<std::uint8_t> blocked(bkgr.count);
  for (std::size_t i = 0; i < bkgr.count; ++i) blocked[i] = bkgr.data[i] || !ROI.data[i];
  return blocked;
}

// A window cell: offsets from the centre, in the order the cells are read.
struct cell {
  int dx, dy;
};

// The cells of the circle of K = 2R + 1 that lie inside r2 = (K*0.5f)^2.
inline std::vector<cell> circleCells(int R) {
  const int K = 2 * R + 1;
  const float r2 = (K * 0.5f) * (K * 0.5f);
  std::vector<cell> cells;
  for (int dy = -R; dy <= R; ++dy)
    for (int dx = -R; dx <= R; ++dx)
      if (!(static_cast<float>(dx * dx + dy * dy) > r2)) cells.push_back({dx, dy});
  return cells;
}

// Swaps each lane of a and b into (min, max). Both results are inputs, so the
// set of values is kept exactly.
inline void orderLanes(float* __restrict a, float* __restrict b, int lanes) {
  for (int i = 0; i < lanes; ++i) {
    const float lo = std::min(a[i], b[i]);
    const float hi = std::max(a[i], b[i]);
    a[i] = lo;
    b[i] = hi;
  }
}

// Forgetful selection of the middle of an odd number n of rows, lane by lane:
// keep n/2 + 2 rows, drop the smallest and largest, take in the next row, and
// so on. rows[k] points to `lanes` values; all are overwritten. Answers the
// row that holds the medians.
inline const float* middleOfRows(float** rows, int n, int lanes) {
  if (n == 1) return rows[0];
  float** set = rows;
  int size = n / 2 + 2;
  int next = size;
  for (;;) {
    for (int i = 1; i < size; ++i) orderLanes(set[0], set[i], lanes);
    for (int i = 1; i < size - 1; ++i) orderLanes(set[i], set[size - 1], lanes);
    // Drop both ends: the first by moving the window, the last by size.
    ++set;
    size -= 2;
    if (next == n) return set[0];
    set[size] = rows[next++];
    ++size;
  }
}

}  // namespace tamble::circle
