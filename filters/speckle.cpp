// The two speckle removers: the contrast-adaptive bilateral filter and
// Crimmins' geometric filter on 256 levels. Both compute each iteration from
// a snapshot, so rows run in parallel.
#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <vector>

#include "api/errors.h"
#include "api/parallel.h"
#include "filters/circleWork.h"
#include "filters/morphology.h"

namespace tamble {
namespace {

void checkExtents(const filterField& field, const filterMask& bkgr, const filterMask& ROI) {
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
}

// One pixel of SpeckleCell: the window's weights adapt to its contrast.
float speckleAt(const std::vector<float>& B, const std::vector<std::uint8_t>& blocked, int W,
                int H, int x, int y, int R, const std::vector<float>& G) {
  const float c = B[static_cast<std::size_t>(y) * W + x];
  const int K = 2 * R + 1;
  auto forCells = [&](auto&& cellFn) {
    for (int dy = -R; dy <= R; ++dy) {
      const int r = y + dy;
      if (r < 0 || r >= H) continue;
      for (int dx = -R; dx <= R; ++dx) {
        const int s = x + dx;
        const std::size_t i = static_cast<std::size_t>(r) * W + s;
        if (s < 0 || s >= W || blocked[i]) continue;
        cellFn(G[(dy + R) * K + dx + R], B[i]);
      }
    }
  };
  float s2 = 0.0f, g = 0.0f;
  forCells([&](float gk, float v) {
    const float e = v - c;
    s2 += gk * (e * e);
    g += gk;
  });
  float a = 0.0f;
  if (!(std::fabs(g) < 1e-10f)) {
    const float q = s2 / g;
    a = q > 0.0f ? 0.5f / q : 0.0f;
  }
  float s = 0.0f, sw = 0.0f;
  forCells([&](float gk, float v) {
    const float d = c - v;
    const float w = gk * std::exp(-a * (d * d));
    s += w * v;
    sw += w;
  });
  return sw > 0.0f ? s / sw : 0.0f;
}

}  // namespace

void SpeckleCell(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                 float diameter, int iterations) {
  checkExtents(field, bkgr, ROI);
  const int W = field.width(), H = field.height();
  const long long total = static_cast<long long>(H) * std::max(iterations, 1);
  circle::rowProgress bar("Speckle Cell", total);
  const int R = (static_cast<int>(std::trunc(diameter + 0.5)) + 1) / 2, K = 2 * R + 1;
  // exp(-(dx^2 + dy^2)/2^K): a flat kernel for all but the smallest windows.
  const float scale = std::ldexp(1.0f, K);
  std::vector<float> G(static_cast<std::size_t>(K) * K);
  for (int dy = -R; dy <= R; ++dy)
    for (int dx = -R; dx <= R; ++dx)
      G[(dy + R) * K + dx + R] = std::exp(-static_cast<float>(dx * dx + dy * dy) / scale);
  const circle::blockedPlane blocked(bkgr.data, ROI.data, W, H);
  std::vector<float> A(field.count), B(field.count);
  for (std::size_t i = 0; i < field.count; ++i) A[i] = blocked.flags[i] ? 0.0f : field.data[i];
  for (int pass = 0; pass < iterations; ++pass) {
    B = A;
    const long long before = static_cast<long long>(pass) * H;
    std::atomic<int> done{0};
#pragma omp parallel if (field.count >= zel::parallelThreshold)
    {
      const bool caller = omp_get_thread_num() == 0;
#pragma omp for schedule(dynamic, 4) nowait
      for (int y = 0; y < H; ++y) {
        for (int x = 0; x < W; ++x) {
          const std::size_t i = static_cast<std::size_t>(y) * W + x;
          if (!blocked.flags[i]) A[i] = speckleAt(B, blocked.flags, W, H, x, y, R, G);
        }
        const int rows = done.fetch_add(1, std::memory_order_relaxed) + 1;
        if (caller) bar.at(before + rows);
      }
    }
    bar.at(before + H);
  }
  bar.finish();
  for (std::size_t i = 0; i < field.count; ++i)
    if (!blocked.flags[i]) field.data[i] = A[i];
}

namespace {

// Crimmins' rules on the axis (a, b) through a pixel of level c; a is the
// west, north, north-west or south-west neighbour.
bool brightens(int c, int a, int b) { return a >= c + 2 || b >= c + 2 || (a > c && c <= b); }
bool darkens(int c, int a, int b) { return a <= c - 2 || b <= c - 2 || (a < c && c >= b); }

// One half-iteration: each pixel of I moves one level where a rule holds on
// one of its axes in the snapshot S. Interior pixels test the row, the
// column and both diagonals; the first and last rows the row alone, the
// first and last columns the column alone; the corners stay.
void crimminsStep(std::vector<int>& I, int W, int H, bool brighten) {
  const std::vector<int> S = I;
  const int step = brighten ? 1 : -1;
  auto at = [&](int x, int y) { return S[static_cast<std::size_t>(y) * W + x]; };
  zel::forEachRow(H, I.size(), [&](int y) {
    const bool edgeRow = y == 0 || y == H - 1;
    for (int x = 0; x < W; ++x) {
      const bool edgeColumn = x == 0 || x == W - 1;
      const int c = at(x, y);
      auto holds = [&](int dx, int dy) {
        const int a = at(x - dx, y - dy), b = at(x + dx, y + dy);
        return brighten ? brightens(c, a, b) : darkens(c, a, b);
      };
      bool move = false;
      if (edgeRow && edgeColumn) continue;
      if (edgeRow)
        move = holds(1, 0);
      else if (edgeColumn)
        move = holds(0, 1);
      else
        move = holds(1, 0) || holds(0, 1) || holds(1, 1) || holds(1, -1);
      if (move) I[static_cast<std::size_t>(y) * W + x] = c + step;
    }
  });
}

}  // namespace

void SpeckleCrimmins(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                     int iterations) {
  checkExtents(field, bkgr, ROI);
  const int W = field.width(), H = field.height();
  float lo = 0, hi = 0;
  FieldMinMax(field, bkgr, ROI, lo, hi);
  const float range = hi - lo;
  if (range < 1e-10f) return;
  // Every pixel is scaled; only valid ones take part in the levels.
  for (std::size_t i = 0; i < field.count; ++i)
    field.data[i] = (field.data[i] - lo) * 255.999f / range;
  std::vector<int> I(field.count, 0);
  auto valid = [&](std::size_t i) { return !bkgr.data[i] && ROI.data[i]; };
  for (std::size_t i = 0; i < field.count; ++i)
    if (valid(i)) I[i] = static_cast<int>(std::trunc(field.data[i]));
  float lo2 = 0, hi2 = 0;
  FieldMinMax(field, bkgr, ROI, lo2, hi2);
  if (!(hi2 - lo2 > 0.0f)) return;
  for (std::size_t i = 0; i < field.count; ++i)
    if (valid(i))
      I[i] = static_cast<int>(
          std::trunc(static_cast<double>((field.data[i] - lo2) * 255.0f / (hi2 - lo2)) + 0.5));
  for (int pass = 0; pass < iterations; ++pass) {
    crimminsStep(I, W, H, true);
    crimminsStep(I, W, H, false);
  }
  for (std::size_t i = 0; i < field.count; ++i)
    if (valid(i)) field.data[i] = static_cast<float>(I[i]) / 255.0f * range + lo;
}

}  // namespace tamble
