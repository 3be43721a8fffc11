// The wipe of small closed regions of a mask: a scan in place, row by row,
// which sees its own clearing, so later pixels of a cleared island no longer
// start a search.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "filters/morphology.h"

namespace tamble {

void ClosedRegionsWipe(filterMask& mask, int polarity, int iterations, int diameter) {
  const int Rmax = diameter / 2;
  if (Rmax < 1) return;
  const int W = mask.width(), H = mask.height();
  const int AW = W + 2;
  std::vector<std::uint8_t> A(static_cast<std::size_t>(AW) * (H + 2), 0);
  auto cell = [&](int x, int y) -> std::uint8_t& { return A[static_cast<std::size_t>(y) * AW + x]; };
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) cell(x + 1, y + 1) = (mask(x, y) != 0) != (polarity == 0);
  // A box's four sides: whether any of their pixels is set.
  auto ringSet = [&](int x0, int x1, int y0, int y1) {
    for (int x = x0; x <= x1; ++x)
      if (cell(x, y0) || cell(x, y1)) return true;
    for (int y = y0; y <= y1; ++y)
      if (cell(x0, y) || cell(x1, y)) return true;
    return false;
  };
  for (int round = 0; round < iterations; ++round)
    for (int y = 0; y < H + 2; ++y)
      for (int x = 0; x < AW; ++x) {
        if (!cell(x, y)) continue;
        for (int r = 1; r < Rmax + 1; r += r / 20 + 1) {
          const int x0 = std::max(x - r, 0), x1 = std::min(x + r, W + 1);
          const int y0 = std::max(y - r, 0), y1 = std::min(y + r, H + 1);
          if (ringSet(x0, x1, y0, y1)) continue;
          for (int yy = y0; yy <= y1; ++yy)
            for (int xx = x0; xx <= x1; ++xx) cell(xx, yy) = 0;
        }
      }
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) mask(x, y) = (cell(x + 1, y + 1) != 0) != (polarity == 0);
}

}  // namespace tamble
