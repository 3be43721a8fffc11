// Sums of the square rings of the ring search over an integer image, a row
// at a time. The ring of half-width h around (x, y) is rows y - h and y + h
// over x - h .. x + h, and columns x - h and x + h over y - h + 1 .. y + h - 1:
// the two rows are one running sum along the pair of rows, taken at both ends
// of the span, and the columns are sums down each column that move one row
// at a time. Integer sums are exact in any order, so these are the sums of
// the ring's pixels one by one.
//
// The sums are kept modulo 2^32 (or 2^64) in unsigned integers: a running
// sum may pass the range, but every ring sum read from them is exact as long
// as the ring's own sum fits the signed type.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstdint>
#include <optional>
#include <type_traits>
#include <vector>

#include "filters/circleWork.h"
#include "markers/autoMark.h"

namespace tamble::ringSums {

// The ring sum around (x, y) with the pixels outside the image left out: for
// rings that leave the image, which the ring search never asks for.
inline std::int64_t clipped(const ringImage& image, int x, int y, int h) {
  const int W = image.width(), H = image.height();
  std::int64_t s = 0;
  for (int v = std::max(y - h, 0); v <= std::min(y + h, H - 1); ++v)
    for (int u = std::max(x - h, 0); u <= std::min(x + h, W - 1); ++u)
      if (u == x - h || u == x + h || v == y - h || v == y + h) s += image(u, v);
  return s;
}

// Whether the sums of rings of half-width h fit 32 bits when no value lies
// beyond +-most: every ring of 8h pixels, and twice the largest value, stays
// below 2^31.
inline bool fitThirtyTwoBits(std::int64_t most, int h) {
  return most * 8 * h < (std::int64_t{1} << 30);
}
inline bool fitThirtyTwoBits(const ringImage& image, int h) {
  std::int64_t most = 0;
  for (std::uint64_t i = 0; i < image.count; ++i)
    most = std::max(most, std::abs(static_cast<std::int64_t>(image.data[i])));
  return fitThirtyTwoBits(most, h);
}

// out[x] = the two rows' span from the running sums along them, plus the two
// columns.
template <class U>
TAMBLE_CLONES void combine(const U* __restrict run, const U* __restrict col, U* __restrict out,
                           int x0, int x1, int h) {
  for (int x = x0; x < x1; ++x) out[x] = run[x + h + 1] - run[x - h] + col[x - h] + col[x + h];
}

// The ring sums of each row for x from h to W - h - 1, rows from h to
// H - h - 1 in ascending order (any row may start a run).
template <class U>
class rows {
 public:
  rows(const ringImage& image, int h)
      : img(image), h(h), W(image.width()), column(W), along(W + 1), sums(W) {}

  const U* at(int y) {
    if (y == last + 1) {
      moveColumns(img.row(y + h - 1), img.row(y - h));
    } else {
      std::fill(column.begin(), column.end(), U{0});
      for (int t = y - h + 1; t <= y + h - 1; ++t) addRow(img.row(t));
    }
    last = y;
    const std::int32_t* a = img.row(y - h);
    const std::int32_t* b = img.row(y + h);
    U run = 0;
    along[0] = 0;
    for (int x = 0; x < W; ++x) along[x + 1] = run += static_cast<U>(a[x]) + static_cast<U>(b[x]);
    combine(along.data(), column.data(), sums.data(), h, W - h, h);
    return sums.data();
  }

 private:
  void addRow(const std::int32_t* in) {
    for (int x = 0; x < W; ++x) column[x] += static_cast<U>(in[x]);
  }
  void moveColumns(const std::int32_t* in, const std::int32_t* out) {
    for (int x = 0; x < W; ++x) column[x] += static_cast<U>(in[x]) - static_cast<U>(out[x]);
  }
  const ringImage& img;
  int h, W;
  int last = -2;
  std::vector<U> column, along, sums;
};

// Calls rowFn(y, sums) for every row of the image, sums[x] holding the ring
// sums of row y for x from h to W - h - 1, or nullptr where the row's rings
// leave the image. Bands of rows run on the threads, each with its own
// running sums; the sums are the same whichever thread takes a band.
template <class U, class RowFn>
void eachRow(const ringImage& image, int h, RowFn&& rowFn) {
  const int W = image.width(), H = image.height();
  const bool inside = W > 2 * h && H > 2 * h;
  constexpr int bandRows = 64;
  const int bands = (H + bandRows - 1) / bandRows;
  circle::forEachBand(bands, image.count, [&](int b) {
    std::optional<rows<U>> sums;
    if (inside) sums.emplace(image, h);
    for (int y = b * bandRows; y < std::min(H, (b + 1) * bandRows); ++y)
      rowFn(y, inside && y >= h && y < H - h ? sums->at(y) : nullptr);
  });
}

}  // namespace tamble::ringSums
