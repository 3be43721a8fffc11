// Work pieces shared by the circle-window filters: the circle's cells, the
// blocked flags, and the in-place pass over rows that the median and the
// separable Gauss run on.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "api/arrayWorks.h"
#include "api/parallel.h"
#include "api/report.h"

// The hot loops of the filters are built twice, for AVX2 and for any x86-64,
// and the one for the processor is chosen when the program starts. Both
// builds do the same float operations in the same order (no fused
// multiply-add), so the results are the same bits.
#define TAMBLE_CLONES __attribute__((target_clones("avx2", "default")))

namespace tamble::circle {

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

// Row y's flags, 1 where a pixel is blocked (bkgr set or ROI clear), into
// `out`; answers whether any is set. A row without one writes nothing.
inline bool blockedRow(const bool* bkgr, const bool* ROI, int W, int y, std::uint8_t* out) {
  const std::size_t at = static_cast<std::size_t>(y) * W;
  const auto* b = reinterpret_cast<const std::uint8_t*>(bkgr + at);
  const auto* r = reinterpret_cast<const std::uint8_t*>(ROI + at);
  std::uint8_t any = 0;
  for (int x = 0; x < W; ++x) any |= b[x] | (r[x] ^ 1u);
  if (!any) return false;
  for (int x = 0; x < W; ++x) out[x] = b[x] | (r[x] ^ 1u);
  return true;
}

// The blocked flags of a whole W by H image, and which rows hold any.
struct blockedPlane {
  std::vector<std::uint8_t> flags;
  std::vector<char> rowAny;
  bool any = false;
  blockedPlane(const bool* bkgr, const bool* ROI, int W, int H)
      : flags(static_cast<std::size_t>(W) * H), rowAny(H) {
    zel::forEachRow(H, flags.size(), [&](int y) {
      rowAny[y] = blockedRow(bkgr, ROI, W, y, flags.data() + static_cast<std::size_t>(y) * W);
    });
    any = std::any_of(rowAny.begin(), rowAny.end(), [](char c) { return c != 0; });
  }
  // Row y's flags, or nullptr when none of its pixels is blocked.
  const std::uint8_t* row(int y, int W) const {
    return rowAny[y] ? flags.data() + static_cast<std::size_t>(y) * W : nullptr;
  }
};

// Eight floats, and eight lanes of all ones or zeros, as the compiler's
// vector types: the lanes run as one instruction where the processor can.
typedef float lanes8 __attribute__((vector_size(32)));
typedef int mask8 __attribute__((vector_size(32)));

// The valid lanes of pixels x .. x+7 (bkgr clear and ROI set).
inline void validLanes(const bool* bkgr, const bool* ROI, int x, mask8& valid) {
  for (int k = 0; k < 8; ++k) valid[k] = (!bkgr[x + k] && ROI[x + k]) ? -1 : 0;
}

// The least and greatest valid value of a row of W pixels, from 1e30 and
// -1e30: the values a fold over the row in x order gives, the first of
// equal values kept and NaN never taken; `any` whether a pixel is valid.
void validRowRange(const float* v, const bool* bkgr, const bool* ROI, int W, float& lo, float& hi,
                   bool& any);

// A progress bar of 500 steps over `total` rows, shown in percent through
// the report sink whenever the percent moves; only the calling thread may
// call it.
class rowProgress {
 public:
  rowProgress(std::string what, long long total) : label(std::move(what)), rows(total) {
    zel::report().progress(label, 0);
  }
  void at(long long done) {
    const int step = std::min(
        range, static_cast<int>(std::trunc(static_cast<double>(done) / rows * range + 0.5)));
    const int percent = step * 100 / range;
    if (percent == shown) return;
    shown = percent;
    zel::report().progress(label, percent);
  }
  // The bar ends at 100 percent, also after an early return.
  void finish() {
    if (shown != 100) zel::report().progress(label, 100);
    shown = 100;
  }

 private:
  static constexpr int range = 500;
  std::string label;
  long long rows;
  int shown = 0;
};

// The greatest float below v and the least above it (v positive, finite).
constexpr float below(float v) {
  return std::bit_cast<float>(std::bit_cast<std::uint32_t>(v) - 1u);
}
constexpr float above(float v) {
  return std::bit_cast<float>(std::bit_cast<std::uint32_t>(v) + 1u);
}

// The window of rows that output row y reads. rows[k] is input row y - R + k
// as it was before the pass, nullptr outside the image; blocked[k] holds that
// row's blocked flags, or is nullptr when none of its pixels is blocked.
struct window {
  int y;
  const float* const* rows;
  const std::uint8_t* const* blocked;
  bool inside;     // every row of the window lies in the image
  bool unblocked;  // no pixel of its rows in the image is blocked
  bool clean() const { return inside && unblocked; }
};

// Asks for `bytes` from p into the cache ahead of use.
inline void prefetchRow(const void* p, std::size_t bytes) {
  if (!p) return;
  const char* c = static_cast<const char*>(p);
  for (std::size_t i = 0; i < bytes; i += 64) __builtin_prefetch(c + i);
}

// Runs fn(i) for i = 0 .. count-1 on the threads, each i whole on one thread,
// handing out the next i to whichever thread is free: the result does not
// depend on which thread ran which i.
template <class Fn>
void forEachBand(int count, std::uint64_t pixels, Fn&& fn) {
#pragma omp parallel for schedule(dynamic, 1) if (pixels >= zel::parallelThreshold)
  for (int i = 0; i < count; ++i) fn(i);
}

// Rows per band of the in-place pass: bands run in parallel.
inline constexpr int bandRows = 64;

// One pass, in place on the W by H plane `data`, of a filter whose output row
// y depends on input rows y - R .. y + R only. `makeRow()` is called once per
// band and answers the row function f(const window&, float* out), which
// writes all W pixels of the output row, blocked ones included (usually as
// their input). Masks may be nullptr: then no pixel is blocked.
//
// Each band of rows runs whole on one thread. Output rows wait in a ring of
// R + 1 rows until no later row of the band reads their input, and the rows
// just outside a band are copied before any band starts, so every output
// pixel is computed from the input as it was, whatever the number of threads.
// The halos are few rows, copied by the calling thread: one parallel loop per
// pass, so that threads wait for each other once.
template <class MakeRow>
void inPlacePass(float* data, const bool* bkgr, const bool* ROI, int W, int H, int R,
                 MakeRow&& makeRow) {
  if (W <= 0 || H <= 0) return;
  const int rowsPerBand = std::max(bandRows, R);
  const int bands = (H + rowsPerBand - 1) / rowsPerBand;
  const std::size_t w = static_cast<std::size_t>(W);
  const std::uint64_t pixels = static_cast<std::uint64_t>(W) * H;
  // Rows [start - R, start + R) around each band's start, b = 1 .. bands-1.
  const std::size_t haloRows = 2 * static_cast<std::size_t>(R);
  // Work buffers are written before they are read: no need to clear them.
  std::unique_ptr<float[]> halo(new float[bands > 1 ? (bands - 1) * haloRows * w : 0]);
  for (int i = 0; i + 1 < bands; ++i) {
    const int start = (i + 1) * rowsPerBand;
    for (int r = start - R; r < start + R; ++r)
      if (r >= 0 && r < H)
        std::memcpy(halo.get() + (i * haloRows + (r - start + R)) * w, data + r * w,
                    w * sizeof(float));
  }
  const bool masked = bkgr && ROI;
  auto band = [&](int b) {
    const int y0 = b * rowsPerBand, y1 = std::min(H, y0 + rowsPerBand);
    const int span = 2 * R + 1;
    std::unique_ptr<float[]> pending(new float[(R + 1) * w]);
    std::unique_ptr<std::uint8_t[]> flags(new std::uint8_t[masked ? span * w : 0]);
    std::vector<char> any(span, 0);
    std::vector<const float*> rows(span);
    std::vector<const std::uint8_t*> blocked(span);
    auto f = makeRow();
    // Input row r as it was: the band's own rows are still unwritten.
    auto input = [&](int r) -> const float* {
      if (r < 0 || r >= H) return nullptr;
      if (r < y0) return halo.get() + ((b - 1) * haloRows + (r - y0 + R)) * w;
      if (r >= y1) return halo.get() + (b * haloRows + (r - y1 + R)) * w;
      return data + r * w;
    };
    auto slot = [&](int r) { return static_cast<std::size_t>((r % span + span) % span); };
    auto loadFlags = [&](int r) {
      if (masked && r >= 0 && r < H)
        any[slot(r)] = blockedRow(bkgr, ROI, W, r, flags.get() + slot(r) * w);
    };
    for (int r = y0 - R; r < y0 + R; ++r) loadFlags(r);
    for (int y = y0; y < y1; ++y) {
      // The row after next from memory while this one is worked on: rows
      // span pages, where the hardware's own prefetch stops.
      prefetchRow(input(y + R + 2), w * sizeof(float));
      if (masked && y + R + 2 < H) {
        prefetchRow(bkgr + (y + R + 2) * w, w);
        prefetchRow(ROI + (y + R + 2) * w, w);
      }
      loadFlags(y + R);
      window win{y, rows.data(), blocked.data(), true, true};
      for (int k = 0; k < span; ++k) {
        const int r = y - R + k;
        rows[k] = input(r);
        const bool hit = masked && rows[k] && any[slot(r)];
        blocked[k] = hit ? flags.get() + slot(r) * w : nullptr;
        win.inside = win.inside && rows[k];
        win.unblocked = win.unblocked && !hit;
      }
      f(win, pending.get() + static_cast<std::size_t>(y % (R + 1)) * w);
      const int done = y - R;  // no later row of the band reads it
      if (done >= y0)
        std::memcpy(data + done * w, pending.get() + static_cast<std::size_t>(done % (R + 1)) * w,
                    w * sizeof(float));
    }
    for (int r = std::max(y0, y1 - R); r < y1; ++r)
      std::memcpy(data + r * w, pending.get() + static_cast<std::size_t>(r % (R + 1)) * w,
                  w * sizeof(float));
  };
  forEachBand(bands, pixels, band);
}

}  // namespace tamble::circle
