// Median filters: MedianCircle over a circle of cells, MedianSquare over the
// full square, MedianFast through a shrunk copy.
//
// Where the whole window lies in the image and every cell is a sample, the
// middle is found for 64 pixels at once by forgetful selection on whole rows
// of samples; elsewhere, or for windows above 25 cells, by std::nth_element.
// Both give the sample value a full sort would, so the output is the same.
#include <algorithm>
#include <cstring>
#include <vector>

#include "api/markers.h"
#include "api/parallel.h"
#include "filters/circleFilters.h"
#include "filters/circleWork.h"
#include "geometry/transforms.h"

namespace tamble {
namespace {

using circle::cell;

constexpr int lanes = 64;
constexpr std::size_t largestSelection = 25;

// One pass of a median over `cells` from `old` into `out`, for one row.
// `full[x]` says whether the window at x is complete and all samples; `take`
// says whether pixel x is written at all; `sampleOk(i)` whether a pixel is a
// sample in the general path; `middle(n)` the 0-based rank of the result.
struct medianRow {
  const float* old;
  float* out;
  int W, H;
  const std::vector<cell>& cells;
  std::vector<float> samples;
  std::vector<float> laneBuf;
  std::vector<float*> rows;

  medianRow(const float* o, float* n, int w, int h, const std::vector<cell>& c)
      : old(o), out(n), W(w), H(h), cells(c), samples(c.size()) {
    if (c.size() <= largestSelection) {
      laneBuf.resize(c.size() * lanes);
      rows.resize(c.size());
    }
  }

  bool batched() const { return !laneBuf.empty(); }

  // Pixels x0..x0+count-1 of row y, all with complete windows.
  void fullRun(int y, int x0, int count) {
    const int n = static_cast<int>(cells.size());
    for (int start = x0; start < x0 + count; start += lanes) {
      const int k = std::min(lanes, x0 + count - start);
      for (int c = 0; c < n; ++c) {
        rows[c] = laneBuf.data() + static_cast<std::size_t>(c) * lanes;
        const float* src =
            old + static_cast<std::size_t>(y + cells[c].dy) * W + start + cells[c].dx;
        std::memcpy(rows[c], src, sizeof(float) * k);
      }
      const float* mid = circle::middleOfRows(rows.data(), n, k);
      std::memcpy(out + static_cast<std::size_t>(y) * W + start, mid, sizeof(float) * k);
    }
  }

  // The general path; answers the sample count (0: nothing taken).
  template <class Ok>
  int gather(int x, int y, Ok&& sampleOk) {
    int n = 0;
    for (const cell& c : cells) {
      const int sx = x + c.dx, sy = y + c.dy;
      if (sx < 0 || sx >= W || sy < 0 || sy >= H) continue;
      const std::size_t i = static_cast<std::size_t>(sy) * W + sx;
      if (sampleOk(i)) samples[n++] = old[i];
    }
    return n;
  }

  float select(int n, int rank) {
    std::nth_element(samples.begin(), samples.begin() + rank, samples.begin() + n);
    return samples[rank];
  }
};

// Whether the square window of reach R at each x of row y holds no blocked
// pixel and lies inside the image.
void completeWindows(const std::vector<std::uint8_t>* blocked, int W, int H, int R, int y,
                     std::vector<std::uint8_t>& column, std::vector<std::uint8_t>& full) {
  std::fill(full.begin(), full.end(), 0);
  if (y < R || y >= H - R) return;
  std::fill(column.begin(), column.end(), 0);
  if (blocked)
    for (int dy = -R; dy <= R; ++dy) {
      const std::uint8_t* b = blocked->data() + static_cast<std::size_t>(y + dy) * W;
      for (int x = 0; x < W; ++x) column[x] |= b[x];
    }
  for (int x = R; x < W - R; ++x) {
    std::uint8_t any = 0;
    for (int dx = -R; dx <= R; ++dx) any |= column[x + dx];
    full[x] = !any;
  }
}

// Runs of complete windows go to the batched path, the rest to `single`.
template <class Single>
void filterRow(medianRow& m, const std::vector<std::uint8_t>& full, int y, Single&& single) {
  const int W = m.W;
  int x = 0;
  while (x < W) {
    if (m.batched() && full[x]) {
      int end = x;
      while (end < W && full[end]) ++end;
      m.fullRun(y, x, end - x);
      x = end;
    } else {
      single(x);
      ++x;
    }
  }
}

std::vector<cell> squareCells(int R) {
  std::vector<cell> cells;
  for (int dy = -R; dy <= R; ++dy)
    for (int dx = -R; dx <= R; ++dx) cells.push_back({dx, dy});
  return cells;
}

}  // namespace

void MedianCircle(filterField& field, filterMask& bkgr, filterMask& ROI, int iterations,
                  int diameter) {
  const int W = field.width(), H = field.height();
  if (!field.sameExtent(bkgr)) zel::raise<zel::DimError>();
  const int R = diameter / 2;
  const std::vector<cell> cells = circle::circleCells(R);
  const std::vector<std::uint8_t> blocked = circle::blockedMap(bkgr, ROI);
  std::vector<float> fresh(field.data, field.data + field.count);
  std::vector<float> old(field.count);
  for (int pass = 0; pass < iterations; ++pass) {
    old.swap(fresh);
    std::fill(fresh.begin(), fresh.end(), 0.0f);
    zel::forEachRow(H, field.count, [&](int y) {
      medianRow m(old.data(), fresh.data(), W, H, cells);
      std::vector<std::uint8_t> column(W), full(W);
      completeWindows(&blocked, W, H, R, y, column, full);
      const std::size_t rowStart = static_cast<std::size_t>(y) * W;
      filterRow(m, full, y, [&](int x) {
        const std::size_t i = rowStart + x;
        if (blocked[i]) return;
        const int n = m.gather(x, y, [&](std::size_t j) { return !blocked[j]; });
        // Lower middle of an even count: rank (n + 1)/2 from 1.
        fresh[i] = n == 0 ? old[i] : m.select(n, (n + 1) / 2 - 1);
      });
    });
  }
  for (std::size_t i = 0; i < field.count; ++i)
    if (!blocked[i]) field.data[i] = fresh[i];
}

void MedianSquare(filterField& field, filterMask& /*bkgr*/, filterMask& /*ROI*/, int iterations,
                  int diameter) {
  const int W = field.width(), H = field.height();
  const int R = diameter / 2;
  const int K = 2 * R + 1;
  const std::vector<cell> cells = squareCells(R);
  std::vector<float> fresh(field.data, field.data + field.count);
  std::vector<float> old(field.count);
  for (int pass = 0; pass < iterations; ++pass) {
    old.swap(fresh);
    std::fill(fresh.begin(), fresh.end(), 0.0f);
    zel::forEachRow(H, field.count, [&](int y) {
      if (y < R || y >= H - R) return;
      medianRow m(old.data(), fresh.data(), W, H, cells);
      std::vector<std::uint8_t> column(W), full(W);
      completeWindows(nullptr, W, H, R, y, column, full);
      const std::size_t rowStart = static_cast<std::size_t>(y) * W;
      filterRow(m, full, y, [&](int x) {
        if (!full[x]) return;  // the edge band stays 0
        const int n = m.gather(x, y, [](std::size_t) { return true; });
        fresh[rowStart + x] = K == 1 ? old[rowStart + x] : m.select(n, (K * K + 1) / 2 - 1);
      });
    });
  }
  std::copy(fresh.begin(), fresh.end(), field.data);
}

void MedianFast(filterField& field, filterMask& bkgr, filterMask& ROI, int iterations,
                int diameter) {
  const int S = diameter / 11 + 1;
  if (S == 1) {
    MedianSquare(field, bkgr, ROI, iterations, diameter);
    return;
  }
  const int W1 = field.width() / S, H1 = field.height() / S, N1 = diameter / S;
  filterField smallField(W1, H1);
  filterMask smallBkgr(W1, H1), smallROI(W1, H1);
  zel::markersArray smallMarkers, fullMarkers;
  // The step timings are kept out: nobody reads them.
  MedianSquare(field, bkgr, ROI, 1, 3);
  GaussSeparable(field, bkgr, ROI, 1, static_cast<float>(S + 3));
  ImageResize(field, bkgr, ROI, fullMarkers, smallField, smallBkgr, smallROI, smallMarkers, 1);
  MedianCircle(smallField, smallBkgr, smallROI, iterations, N1);
  ImageResize(smallField, smallBkgr, smallROI, smallMarkers, field, bkgr, ROI, fullMarkers, 1);
  GaussSeparable(field, bkgr, ROI, 1, static_cast<float>(S));
}

}  // namespace tamble
