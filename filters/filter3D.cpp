// The 3D filter: a Gauss in (x, y, intensity/height). Rows are computed in
// parallel; the calling thread, between its rows, reports the rows done by
// all through the report sink, so the sink is only ever called from the
// calling thread.
//
// A row is summed cell by cell across the whole row, so each pixel adds its
// cells in the circle's order, as one pixel at a time would. A cell outside
// the image is left out of the row's range; a blocked cell adds +0, which
// leaves the sums' bits as skipping it would (they start at +0 and never
// become -0).
#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "api/parallel.h"
#include "api/report.h"
#include "filters/circleFilters.h"
#include "filters/circleWork.h"

namespace tamble {
namespace {

struct weightedCell {
  int dx, dy;
  float kern;
};

std::vector<weightedCell> kernelCells(int R) {
  const float g = 1.0f / static_cast<float>(R);
  std::vector<weightedCell> cells;
  for (const circle::cell& c : circle::circleCells(R)) {
    const float ex = static_cast<float>(c.dx) * g, ey = static_cast<float>(c.dy) * g;
    cells.push_back({c.dx, c.dy, std::exp(-(ex * ex) - ey * ey)});
  }
  return cells;
}

// One cell's terms for n pixels: v the cell's samples, c the centres; with
// blk, blocked samples add +0.
template <bool masked>
TAMBLE_CLONES void addRational(float kern, const float* v, const float* c, const std::uint8_t* blk,
                               float* __restrict s, float* __restrict sw, int n) {
  for (int i = 0; i < n; ++i) {
    const float d = v[i] - c[i];
    const float w = kern / (d * d + 1.0f);
    const float term = w * v[i];
    if constexpr (masked) {
      s[i] += blk[i] ? 0.0f : term;
      sw[i] += blk[i] ? 0.0f : w;
    } else {
      s[i] += term;
      sw[i] += w;
    }
  }
}

void addExponential(float kern, const float* v, const float* c, const std::uint8_t* blk, float* s,
                    float* sw, int n) {
  for (int i = 0; i < n; ++i) {
    if (blk && blk[i]) continue;
    const float d = v[i] - c[i];
    const float w = std::exp(-(d * d)) * kern;
    s[i] += w * v[i];
    sw[i] += w;
  }
}

struct filter3DPass {
  const std::vector<float>& A;  // the field over the height, 0 where blocked
  float* out;                   // written at valid pixels only
  const std::vector<std::uint8_t>& blocked;
  const std::vector<char>& rowBlocked;  // whether a row holds a blocked pixel
  const std::vector<weightedCell>& cells;
  int W, H, R;
  float h;
  bool rational;

  void row(int y) const {
    thread_local std::vector<float> s, sw;
    s.assign(W, 0.0f);
    sw.assign(W, 0.0f);
    const std::size_t at = static_cast<std::size_t>(y) * W;
    const float* centre = A.data() + at;
    for (const weightedCell& k : cells) {
      const int r = y + k.dy;
      if (r < 0 || r >= H) continue;
      const int x0 = std::max(0, -k.dx), x1 = std::min(W, W - k.dx);
      if (x1 <= x0) continue;
      const std::size_t from = static_cast<std::size_t>(r) * W + x0 + k.dx;
      const float* v = A.data() + from;
      const std::uint8_t* blk = rowBlocked[r] ? blocked.data() + from : nullptr;
      if (!rational)
        addExponential(k.kern, v, centre + x0, blk, s.data() + x0, sw.data() + x0, x1 - x0);
      else if (blk)
        addRational<true>(k.kern, v, centre + x0, blk, s.data() + x0, sw.data() + x0, x1 - x0);
      else
        addRational<false>(k.kern, v, centre + x0, nullptr, s.data() + x0, sw.data() + x0, x1 - x0);
    }
    const std::uint8_t* own = blocked.data() + at;
    for (int x = 0; x < W; ++x)
      if (!own[x]) out[at + x] = sw[x] > 1e-30f ? s[x] * h / sw[x] : 0.0f;
  }
};

}  // namespace

void Filter3D(filterField& field, const filterMask& bkgr, const filterMask& ROI, int iterations,
              float diameter, float height, bool rational) {
  const int W = field.width(), H = field.height();
  const long long total = static_cast<long long>(H) * std::max(iterations, 1);
  circle::rowProgress bar("3D Filter", total);
  const int R = (static_cast<int>(std::trunc(diameter + 0.5)) + 1) / 2;
  // The bar ends at 100 percent; the early return closes it at once.
  if (!(height > 1e-10f) || R < 1) {
    bar.finish();
    return;
  }
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
  const std::vector<weightedCell> cells = kernelCells(R);
  std::vector<std::uint8_t> blocked(field.count);
  std::vector<char> rowBlocked(H);
  zel::forEachRow(H, field.count, [&](int y) {
    const std::size_t at = static_cast<std::size_t>(y) * W;
    rowBlocked[y] = circle::blockedRow(bkgr.data, ROI.data, W, y, blocked.data() + at);
  });
  // Each pass reads A and writes the field's valid pixels, which A does not
  // depend on during the pass.
  std::vector<float> A(field.count);
  const float inverse = 1.0f / height;
  for (int pass = 0; pass < iterations; ++pass) {
    const filter3DPass work{A, field.data, blocked, rowBlocked, cells, W, H, R, height, rational};
    const long long before = static_cast<long long>(pass) * H;
    std::atomic<int> done{0};
#pragma omp parallel if (field.count >= zel::parallelThreshold)
    {
#pragma omp for schedule(static)
      for (int y = 0; y < H; ++y) {
        const std::size_t at = static_cast<std::size_t>(y) * W;
        for (std::size_t i = at; i < at + W; ++i)
          A[i] = (blocked[i] ? 0.0f : field.data[i]) * inverse;
      }
      const bool caller = omp_get_thread_num() == 0;
#pragma omp for schedule(dynamic, 4) nowait
      for (int y = 0; y < H; ++y) {
        work.row(y);
        const int rows = done.fetch_add(1, std::memory_order_relaxed) + 1;
        if (caller) bar.at(before + rows);
      }
    }
    bar.at(before + H);
  }
  bar.finish();
}

}  // namespace tamble
