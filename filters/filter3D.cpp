// The 3D filter: a Gauss in (x, y, intensity/height). Rows are computed in
// parallel in blocks; between blocks the progress goes to the host, so the
// host is only ever called from the calling thread.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "api/parallel.h"
#include "filters/circleFilters.h"
#include "filters/circleWork.h"
#include "host/hostUi.h"

namespace tamble {
namespace {

constexpr int progressRange = 500;
constexpr int rowsPerBlock = 32;

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

struct filter3DPass {
  const std::vector<float>& A;
  std::vector<float>& B;
  const std::vector<std::uint8_t>& blocked;
  const std::vector<weightedCell>& cells;
  int W, H;
  float h;
  bool rational;

  void row(int y) const {
    for (int x = 0; x < W; ++x) {
      const std::size_t i = static_cast<std::size_t>(y) * W + x;
      if (!blocked[i]) B[i] = pixel(x, y, A[i]);
    }
  }

  float pixel(int x, int y, float c) const {
    float s = 0.0f, sw = 0.0f;
    for (const weightedCell& k : cells) {
      const int sx = x + k.dx, sy = y + k.dy;
      if (sx < 0 || sx >= W || sy < 0 || sy >= H) continue;
      const std::size_t j = static_cast<std::size_t>(sy) * W + sx;
      if (blocked[j]) continue;
      const float v = A[j];
      const float d = v - c;
      const float w = rational ? k.kern / (d * d + 1.0f) : std::exp(-(d * d)) * k.kern;
      s += w * v;
      sw += w;
    }
    return sw > 1e-30f ? s * h / sw : 0.0f;
  }
};

// The rows done, on a scale of 500, shown in percent when the percent moved.
void reportProgress(long long done, long long total, int& shown) {
  const int at = std::min(
      progressRange,
      static_cast<int>(std::trunc(static_cast<double>(done) / total * progressRange + 0.5)));
  const int percent = at * 100 / progressRange;
  if (percent == shown) return;
  shown = percent;
  hostUi().progress("3D Filter", percent);
}

}  // namespace

void Filter3D(filterField& field, filterMask& bkgr, filterMask& ROI, int iterations, float diameter,
              float height, bool rational) {
  const int W = field.width(), H = field.height();
  hostUi().progress("3D Filter", 0);
  const int R = (static_cast<int>(std::trunc(diameter + 0.5)) + 1) / 2;
  // The bar ends at 100 percent; the early return closes it at once.
  if (!(height > 1e-10f) || R < 1) {
    hostUi().progress("3D Filter", 100);
    return;
  }
  const std::vector<weightedCell> cells = kernelCells(R);
  const std::vector<std::uint8_t> blocked = circle::blockedMap(bkgr, ROI);
  std::vector<float> B(field.count), A(field.count);
  for (std::size_t i = 0; i < field.count; ++i) B[i] = blocked[i] ? 0.0f : field.data[i];
  const float inverse = 1.0f / height;
  const long long total = static_cast<long long>(H) * std::max(iterations, 1);
  int shown = 0;
  for (int pass = 0; pass < iterations; ++pass) {
    for (std::size_t i = 0; i < B.size(); ++i) A[i] = B[i] * inverse;
    const filter3DPass work{A, B, blocked, cells, W, H, height, rational};
    for (int y0 = 0; y0 < H; y0 += rowsPerBlock) {
      const int rows = std::min(rowsPerBlock, H - y0);
      zel::forEachRow(rows, field.count, [&](int r) { work.row(y0 + r); });
      reportProgress(static_cast<long long>(pass) * H + y0 + rows, total, shown);
    }
  }
  for (std::size_t i = 0; i < field.count; ++i)
    if (!blocked[i]) field.data[i] = B[i];
  if (shown != 100) hostUi().progress("3D Filter", 100);
}

}  // namespace tamble
