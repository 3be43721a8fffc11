// Median filters: MedianCircle over a circle of cells, MedianSquare over the
// full square, MedianFast through a shrunk copy.
//
// Where a window holds no blocked pixel, the middle is selected by a fixed
// network of min/max steps run on many pixels at once: for the whole 3 by 3
// window, the middle of the columns' low, middle and high values; otherwise
// forgetful selection over the 9, 21 or 25 cells, cells outside the image
// standing in as -inf or +inf. Near blocked pixels, and for larger windows,
// std::nth_element. All give the sample value a full sort would, so the
// output is the same.
//
// The larger squares walk instead: the window moves one column at a time,
// and its middle moves little, so the last middle is counted against the new
// window and stepped to the next value below or above until it has the rank.
// That is the value a sort puts there, hence the same bits, except where a
// window holds a NaN or a -0 (either sort may then pick another element):
// those windows take std::nth_element as before.
#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "api/markers.h"
#include "filters/circleFilters.h"
#include "filters/circleWork.h"
#include "geometry/transforms.h"

namespace tamble {
namespace {

using circle::cell;
using circle::window;

#define TAMBLE_INLINE __attribute__((always_inline)) inline
// Puts the lower of a and b into a and the higher into b.
TAMBLE_INLINE void order(float& a, float& b) {
  const float lo = std::min(a, b), hi = std::max(a, b);
  a = lo;
  b = hi;
}

TAMBLE_INLINE float middleOf3(float p, float q, float r) {
  return std::max(std::min(p, q), std::min(std::max(p, q), r));
}

// The median of the 3 by 3 windows centred on x0 .. x1-1 of row b, with a the
// row above and c the row below. Each column is sorted; the median of the
// nine is the middle of the highest low, the middle of the middles and the
// lowest high.
TAMBLE_CLONES void middleOf3x3(const float* __restrict a, const float* __restrict b,
                               const float* __restrict c, float* __restrict out, int x0, int x1) {
  for (int x = x0; x < x1; ++x) {
    float a0 = a[x - 1], b0 = b[x - 1], c0 = c[x - 1];
    float a1 = a[x], b1 = b[x], c1 = c[x];
    float a2 = a[x + 1], b2 = b[x + 1], c2 = c[x + 1];
    order(a0, b0);
    order(b0, c0);
    order(a0, b0);
    order(a1, b1);
    order(b1, c1);
    order(a1, b1);
    order(a2, b2);
    order(b2, c2);
    order(a2, b2);
    const float low = std::max(a0, std::max(a1, a2));
    const float high = std::min(c0, std::min(c1, c2));
    out[x] = middleOf3(low, middleOf3(b0, b1, b2), high);
  }
}

// Forgetful selection of the middle of N values (N odd), as a list of
// min/max steps: keep N/2 + 2 values, move the least and the greatest to the
// ends and drop them, take in the next value, and so on.
struct step {
  int lo, hi;
};

constexpr int forgetfulSteps(int n) {
  int size = n / 2 + 2, next = size, steps = 0;
  for (;;) {
    steps += (size - 1) + (size - 2);
    size -= 2;
    if (next == n) return steps;
    ++size;
    ++next;
  }
}

template <int N>
struct forgetful {
  std::array<step, forgetfulSteps(N)> steps{};
  int middle = 0;  // the value that holds the median at the end
  constexpr forgetful() {
    std::array<int, N> set{};
    for (int i = 0; i < N; ++i) set[i] = i;
    int first = 0, size = N / 2 + 2, next = size, s = 0;
    for (;;) {
      for (int i = 1; i < size; ++i) steps[s++] = {set[first], set[first + i]};
      for (int i = 1; i < size - 1; ++i) steps[s++] = {set[first + i], set[first + size - 1]};
      ++first;  // drop the least and the greatest
      size -= 2;
      if (next == N) {
        middle = set[first];
        return;
      }
      set[first + size] = next++;
      ++size;
    }
  }
};

template <int N>
inline constexpr forgetful<N> network{};

template <int N, std::size_t... I>
TAMBLE_INLINE void runNetwork(float* v, std::index_sequence<I...>) {
  (order(v[network<N>.steps[I].lo], v[network<N>.steps[I].hi]), ...);
}

// The median of N cells for `count` pixels: cell c of pixel x is at[c][x].
template <int N>
TAMBLE_CLONES void middleOfCells(const float* const* at, float* __restrict out, int count) {
  const float* p[N];
#pragma GCC unroll 32
  for (int c = 0; c < N; ++c) p[c] = at[c];
  for (int x = 0; x < count; ++x) {
    float v[N];
#pragma GCC unroll 32
    for (int c = 0; c < N; ++c) v[c] = p[c][x];
    runNetwork<N>(v, std::make_index_sequence<network<N>.steps.size()>{});
    out[x] = v[network<N>.middle];
  }
}

// Floats as integers of the same order: -0 just below +0, NaNs beyond the
// infinities. The mapping is its own inverse.
TAMBLE_INLINE std::int32_t orderKey(float v) {
  const auto b = std::bit_cast<std::int32_t>(v);
  return b ^ ((b >> 31) & 0x7fffffff);
}
TAMBLE_INLINE float fromKey(std::int32_t k) {
  return std::bit_cast<float>(k ^ ((k >> 31) & 0x7fffffff));
}

// A value whose place in a sort is not settled by its bits: NaN, and -0
// beside +0.
TAMBLE_INLINE bool unsettled(std::int32_t k) {
  constexpr std::int32_t lowestInfinity = -0x7f800000 - 1;  // the key of -inf
  return k > 0x7f800000 || k < lowestInfinity || k == -1;
}

// Eight keys at once (the compiler's vector extension), so that every clone
// counts in vectors.
using keyLanes = std::int32_t __attribute__((vector_size(32)));

// v folded across its lanes, the result in every lane.
enum class fold { sum, larger, smaller };

template <fold F>
TAMBLE_INLINE void acrossLanes(keyLanes& v) {
  const auto with = [&v](const keyLanes& w) {
    if constexpr (F == fold::sum)
      v += w;
    else if constexpr (F == fold::larger)
      v = v > w ? v : w;
    else
      v = v < w ? v : w;
  };
  with(__builtin_shufflevector(v, v, 4, 5, 6, 7, 0, 1, 2, 3));
  with(__builtin_shufflevector(v, v, 2, 3, 0, 1, 6, 7, 4, 5));
  with(__builtin_shufflevector(v, v, 1, 0, 3, 2, 5, 4, 7, 6));
}

// The counts of the keys a[] below m and above it, and the largest below and
// the smallest above, each in lanes. The keys come in `full` groups of eight
// and a last group whose lanes count where `tail` is all ones (the keys may
// be read 8 past the last).
struct laneTally {
  keyLanes below, above, under, over;
};

TAMBLE_INLINE void countAround(const std::int32_t* a, int full, const keyLanes& tail,
                               const keyLanes& mm, laneTally& t) {
  const keyLanes least = keyLanes{} + std::numeric_limits<std::int32_t>::min();
  const keyLanes most = keyLanes{} + std::numeric_limits<std::int32_t>::max();
  t = {keyLanes{}, keyLanes{}, least, most};
  const auto add = [&](const std::int32_t* at, const keyLanes& lanes) {
    keyLanes v;
    std::memcpy(&v, at, sizeof v);
    const keyLanes lt = (v < mm) & lanes, gt = (v > mm) & lanes;  // all ones where true
    t.below -= lt;
    t.above -= gt;
    const keyLanes low = lt ? v : least, high = gt ? v : most;
    t.under = t.under > low ? t.under : low;
    t.over = t.over < high ? t.over : high;
  };
  for (int i = 0; i < full; ++i) add(a + 8 * i, keyLanes{} - 1);
  add(a + 8 * full, tail);
}

// The middles of output row's windows x0 .. x1-1 by walks from the last: m
// has the middle rank r when fewer than r + 1 keys lie below it and more
// than r not above. Otherwise the next key below (or above) is tried; when
// m was only one rank away that key has the rank without a further count.
// Windows with an unsettled key (unsettledUpTo not null) are left to the
// caller.
TAMBLE_CLONES void walkRow(const std::int32_t* keys, int K, const int* unsettledUpTo,
                           float* out, int x0, int x1) {
  const int R = K / 2, n = K * K, r = n / 2, full = (n - 1) / 8;
  keyLanes tail{};
  for (int k = 0; k < 8; ++k) tail[k] = 8 * full + k < n ? -1 : 0;
  keyLanes m = keyLanes{} + keys[static_cast<std::size_t>(R) * K + R];  // in every lane
  for (int x = x0; x < x1; ++x) {
    if (unsettledUpTo && unsettledUpTo[x + R + 1] - unsettledUpTo[x - R] > 0) continue;
    const std::int32_t* a = keys + static_cast<std::size_t>(x - R) * K;
    for (;;) {
      laneTally t;
      countAround(a, full, tail, m, t);
      acrossLanes<fold::sum>(t.below);
      acrossLanes<fold::sum>(t.above);
      acrossLanes<fold::larger>(t.under);
      acrossLanes<fold::smaller>(t.over);
      const int below = t.below[0], notAbove = n - t.above[0];
      // Down to the next key when too many lie below, up when too few lie
      // not above; chosen without a branch, which would guess wrong often.
      const keyLanes down = keyLanes{} + (below > r), up = keyLanes{} + (notAbove <= r);
      m = down != 0 ? t.under : up != 0 ? t.over : m;
      if (below - 1 <= r && notAbove >= r) break;  // within one rank: m has it now
    }
    out[x] = fromKey(m[0]);
  }
}

// The square median of a band's rows by the walk. Column x holds the keys
// of the K input rows about the output row at keys[x*K ...], input row r in
// slot r mod K: a count does not care for their order, so the next output
// row replaces one key per column. The window at x is the K*K keys from
// (x - R)*K.
struct squareWalk {
  int W, K;
  int loadedRow = -2;  // the output row whose rows the columns hold
  std::vector<std::int32_t> keys;
  std::vector<int> unsettledIn;    // unsettled keys of each column
  std::vector<int> unsettledUpTo;  // of the columns before x
  int unsettledCount = 0;

  squareWalk(int w, int k)
      : W(w),
        K(k),
        keys(static_cast<std::size_t>(w) * k + 8),  // a count may read 8 past the end
        unsettledIn(w),
        unsettledUpTo(w + 1) {}

  void put(int x, int slot, float v) {
    std::int32_t& at = keys[static_cast<std::size_t>(x) * K + slot];
    const std::int32_t key = orderKey(v);
    const int change = unsettled(key) - (loadedRow >= 0 && unsettled(at));
    at = key;
    unsettledIn[x] += change;
    unsettledCount += change;
  }

  // The columns for output row y, whose input rows are rows[0 .. K-1].
  void load(const float* const* rows, int y) {
    const int R = K / 2;
    if (y == loadedRow + 1) {
      for (int x = 0; x < W; ++x) put(x, (y + R) % K, rows[K - 1][x]);
    } else {
      loadedRow = -2;
      std::fill(unsettledIn.begin(), unsettledIn.end(), 0);
      unsettledCount = 0;
      for (int x = 0; x < W; ++x)
        for (int k = 0; k < K; ++k) put(x, (y - R + k) % K, rows[k][x]);
    }
    loadedRow = y;
    if (unsettledCount > 0)
      for (int x = 0; x < W; ++x) unsettledUpTo[x + 1] = unsettledUpTo[x] + unsettledIn[x];
  }

  // The middles of output row y over x0 .. x1-1 (x0 = R), or the sort's for
  // the windows with an unsettled key.
  template <class Sorted>
  void row(const float* const* rows, int y, float* out, int x0, int x1, Sorted sorted) {
    load(rows, y);
    const bool check = unsettledCount > 0;
    walkRow(keys.data(), K, check ? unsettledUpTo.data() : nullptr, out, x0, x1);
    if (!check) return;
    const int R = K / 2;
    for (int x = x0; x < x1; ++x)
      if (unsettledUpTo[x + R + 1] - unsettledUpTo[x - R] > 0) out[x] = sorted(x);
  }
};

// The row work of one band: the networks where no pixel of the window is
// blocked, else gathering the samples and selecting.
struct medianRow {
  const std::vector<cell>& cells;
  int W, R;
  bool square;  // MedianSquare: no masks, the edge band is 0
  std::vector<float> samples;
  std::vector<const float*> at;
  std::vector<std::uint8_t> column, wholeAt;
  // Stand-ins for the cells that lie outside the image.
  std::vector<float> lowest, highest;
  squareWalk walk;

  medianRow(const std::vector<cell>& c, int w, int r, bool sq)
      : cells(c),
        W(w),
        R(r),
        square(sq),
        samples(c.size()),
        at(c.size()),
        column(w),
        wholeAt(w),
        lowest(w, -std::numeric_limits<float>::infinity()),
        highest(w, std::numeric_limits<float>::infinity()),
        walk(sq ? w : 0, 2 * r + 1) {}

  bool networked() const {
    const std::size_t n = cells.size();
    return n == 1 || n == 9 || n == 21 || n == 25;
  }

  void network(float* out, int x0, int x1) {
    switch (cells.size()) {
      case 9: middleOfCells<9>(at.data(), out + x0, x1 - x0); return;
      case 21: middleOfCells<21>(at.data(), out + x0, x1 - x0); return;
      default: middleOfCells<25>(at.data(), out + x0, x1 - x0); return;
    }
  }

  // The network over x0 .. x1-1, whose windows lie in the image and hold no
  // blocked pixel.
  void whole(const window& w, float* out, int x0, int x1) {
    const std::size_t n = cells.size();
    if (n == 1) {
      std::copy(w.rows[R] + x0, w.rows[R] + x1, out + x0);
      return;
    }
    if (n == 9) {
      middleOf3x3(w.rows[0], w.rows[1], w.rows[2], out, x0, x1);
      return;
    }
    // x0 >= R, so every pointer lies inside its row.
    for (std::size_t c = 0; c < n; ++c) at[c] = w.rows[cells[c].dy + R] + x0 + cells[c].dx;
    network(out, x0, x1);
  }

  // The network over x0 .. x1-1 where the window holds no blocked pixel and
  // the same cells lie outside the image for every x. With m cells outside
  // and n = N - m samples, a of them count as -inf and the others as +inf,
  // a = (N + 1)/2 - (n + 1)/2, so that the middle of all N is the lower
  // middle of the n samples.
  void clipped(const window& w, float* out, int x0, int x1) {
    const int N = static_cast<int>(cells.size());
    if (N == 1) {
      std::copy(w.rows[R] + x0, w.rows[R] + x1, out + x0);
      return;
    }
    auto present = [&](const cell& c) {
      return w.rows[c.dy + R] && x0 + c.dx >= 0 && x1 - 1 + c.dx < W;
    };
    int n = 0;
    for (const cell& c : cells) n += present(c);
    int low = (N + 1) / 2 - (n + 1) / 2;
    for (int c = 0; c < N; ++c) {
      const cell& k = cells[c];
      if (present(k))
        at[c] = w.rows[k.dy + R] + x0 + k.dx;
      else
        at[c] = low-- > 0 ? lowest.data() : highest.data();
    }
    network(out, x0, x1);
  }

  // One pixel the plain way: the valid samples inside the image, then the
  // lower middle (rank (n + 1)/2 from 1); with no sample the pixel stays.
  float gathered(const window& w, int x) {
    int n = 0;
    for (const cell& c : cells) {
      const float* row = w.rows[c.dy + R];
      const int sx = x + c.dx;
      if (!row || sx < 0 || sx >= W) continue;
      const std::uint8_t* blk = w.blocked[c.dy + R];
      if (blk && blk[sx]) continue;
      samples[n++] = row[sx];
    }
    if (n == 0) return w.rows[R][x];
    const int rank = (n + 1) / 2 - 1;
    std::nth_element(samples.begin(), samples.begin() + rank, samples.begin() + n);
    return samples[rank];
  }

  void operator()(const window& w, float* out) {
    if (square) {
      squareRow(w, out);
      return;
    }
    const float* own = w.rows[R];
    const std::uint8_t* ownBlocked = w.blocked[R];
    auto single = [&](int x) { out[x] = ownBlocked && ownBlocked[x] ? own[x] : gathered(w, x); };
    const int x0 = std::min(R, W), x1 = std::max(x0, W - R);
    if (!networked()) {
      for (int x = 0; x < W; ++x) single(x);
      return;
    }
    if (w.unblocked) {
      for (int x = 0; x < x0; ++x) clipped(w, out, x, x + 1);
      if (w.inside)
        whole(w, out, x0, x1);
      else if (x1 > x0)
        clipped(w, out, x0, x1);
      for (int x = x1; x < W; ++x) clipped(w, out, x, x + 1);
      return;
    }
    for (int x = 0; x < x0; ++x) single(x);
    for (int x = x1; x < W; ++x) single(x);
    if (!w.inside) {
      for (int x = x0; x < x1; ++x) single(x);
      return;
    }
    // Whole windows: no blocked pixel in the square around x.
    std::fill(column.begin(), column.end(), 0);
    for (int k = 0; k <= 2 * R; ++k)
      if (const std::uint8_t* blk = w.blocked[k])
        for (int x = 0; x < W; ++x) column[x] |= blk[x];
    for (int x = x0; x < x1; ++x) {
      std::uint8_t hit = 0;
      for (int dx = -R; dx <= R; ++dx) hit |= column[x + dx];
      wholeAt[x] = !hit;
    }
    for (int x = x0; x < x1;) {
      int end = x;
      while (end < x1 && wholeAt[end]) ++end;
      if (end > x) {
        whole(w, out, x, end);
        x = end;
      } else {
        single(x++);
      }
    }
  }

  // MedianSquare: the full square where it lies in the image, else 0.
  void squareRow(const window& w, float* out) {
    std::fill(out, out + W, 0.0f);
    const int x0 = R, x1 = W - R;
    if (!w.inside || x1 <= x0) return;
    if (networked()) {
      whole(w, out, x0, x1);
      return;
    }
    const int rank = (static_cast<int>(cells.size()) + 1) / 2 - 1;
    walk.row(w.rows, w.y, out, x0, x1, [&](int x) {
      int n = 0;
      for (const cell& c : cells) samples[n++] = w.rows[c.dy + R][x + c.dx];
      std::nth_element(samples.begin(), samples.begin() + rank, samples.begin() + n);
      return samples[rank];
    });
  }
};

std::vector<cell> squareCells(int R) {
  std::vector<cell> cells;
  for (int dy = -R; dy <= R; ++dy)
    for (int dx = -R; dx <= R; ++dx) cells.push_back({dx, dy});
  return cells;
}

}  // namespace

void MedianCircle(filterField& field, const filterMask& bkgr, const filterMask& ROI, int iterations,
                  int diameter) {
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
  const int W = field.width(), H = field.height();
  const int R = diameter / 2;
  const std::vector<cell> cells = circle::circleCells(R);
  for (int pass = 0; pass < iterations; ++pass)
    circle::inPlacePass(field.data, bkgr.data, ROI.data, W, H, R,
                        [&] { return medianRow(cells, W, R, false); });
}

void MedianSquare(filterField& field, filterMask& /*bkgr*/, filterMask& /*ROI*/, int iterations,
                  int diameter) {
  const int W = field.width(), H = field.height();
  const int R = diameter / 2;
  const std::vector<cell> cells = squareCells(R);
  for (int pass = 0; pass < iterations; ++pass)
    circle::inPlacePass(field.data, nullptr, nullptr, W, H, R,
                        [&] { return medianRow(cells, W, R, true); });
}

namespace {

// The frame of the fast median for a scale S of 2 or more: a 3 by 3 median
// and a Gauss, a shrink by S, `middle` on the small image, the way back and
// a last Gauss.
template <class Middle>
void shrunkFrame(filterField& field, filterMask& bkgr, filterMask& ROI, int S, Middle middle,
                 polynomialState& map) {
  const int W1 = field.width() / S, H1 = field.height() / S;
  filterField smallField(W1, H1);
  filterMask smallBkgr(W1, H1), smallROI(W1, H1);
  zel::markersArray smallMarkers, fullMarkers;
  // The step timings are kept out: nobody reads them.
  MedianSquare(field, bkgr, ROI, 1, 3);
  GaussSeparable(field, bkgr, ROI, 1, static_cast<float>(S + 3));
  ImageResize(field, bkgr, ROI, fullMarkers, smallField, smallBkgr, smallROI, smallMarkers, 1, map);
  middle(smallField, smallBkgr, smallROI);
  ImageResize(smallField, smallBkgr, smallROI, smallMarkers, field, bkgr, ROI, fullMarkers, 1, map);
  GaussSeparable(field, bkgr, ROI, 1, static_cast<float>(S));
}

}  // namespace

void MedianFast(filterField& field, filterMask& bkgr, filterMask& ROI, int iterations, int diameter,
                polynomialState& map) {
  const int S = diameter / 11 + 1;
  if (S == 1) {
    MedianSquare(field, bkgr, ROI, iterations, diameter);
    return;
  }
  shrunkFrame(
      field, bkgr, ROI, S,
      [&](filterField& f, filterMask& b, filterMask& r) {
        MedianCircle(f, b, r, iterations, diameter / S);
      },
      map);
}

void CoarseSmooth(filterField& field, filterMask& bkgr, filterMask& ROI, int diameter,
                  polynomialState& map) {
  const int S = diameter / 11 + 1;
  if (S > 1)
    shrunkFrame(
        field, bkgr, ROI, S, [](filterField&, filterMask&, filterMask&) {}, map);
}

}  // namespace tamble
