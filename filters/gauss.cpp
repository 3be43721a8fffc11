// The separable Gauss filter. Both passes of a row are done together: the
// column sums of the row, then the sums along it, each pixel adding its taps
// in ascending order from +0, so every pixel sums its terms in the same order
// as one pixel at a time would. Where no sample of a window is missing the
// weight sum is that of the whole kernel and the sums run without masks; a
// row blocked throughout is passed over.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "filters/circleFilters.h"
#include "api/parallel.h"
#include "filters/circleWork.h"

namespace tamble {
namespace {

using circle::window;

// The tests sw > 1e-10 and |mean| < 1e20 in double, as float comparisons:
// a float lies above 1e-10 exactly when it lies above the float below
// 1e-10f, and below 1e20 exactly when it lies below 1e20f.
constexpr float weightFloor = circle::below(1e-10f);
constexpr float meanLimit = 1e20f;
static_assert(static_cast<double>(weightFloor) <= 1e-10 && static_cast<double>(1e-10f) > 1e-10);
static_assert(static_cast<double>(meanLimit) >= 1e20 &&
              static_cast<double>(circle::below(meanLimit)) < 1e20);

// The taps k[-R..R], stored from index 0.
std::vector<float> gaussTaps(float D) {
  int L = 0;
  double limit = 0.0;
  const float half = D / 2.0f;
  const double q = static_cast<double>(half) * half;
  if (D <= 3.0f) {
    L = static_cast<int>(std::trunc(3.0f * D + 0.5));
    limit = std::max(4.0, 9.0 * q);
  } else if (D <= 7.0f) {
    L = static_cast<int>(std::trunc(2.0f * D + 0.5));
    limit = std::max(4.0, 4.0 * q);
  } else {
    L = static_cast<int>(std::trunc(D + 0.5));
    limit = q;
  }
  const int R = std::max(L / 2, 2);
  std::vector<float> k(2 * R + 1);
  for (int t = -R; t <= R; ++t) {
    const float u = static_cast<float>(t) / half;
    k[t + R] = limit >= static_cast<double>(t) * t ? std::exp(-(u * u)) : 0.0f;
  }
  return k;
}

// The mean where the weights carry, else the pixel keeps `before`.
inline float meanOr(float s, float sw, float before) {
  const float mean = s / sw;
  return sw > weightFloor && std::fabs(mean) < meanLimit ? mean : before;
}

// out[x] from the sums over x0 .. x1-1; blocked pixels (blk set) keep before.
TAMBLE_CLONES void finishSums(const float* s, const float* sw, const float* before,
                              const std::uint8_t* blk, float* __restrict out, int x0, int x1) {
  for (int x = x0; x < x1; ++x) out[x] = meanOr(s[x], sw[x], before[x]);
  if (blk)
    for (int x = x0; x < x1; ++x)
      if (blk[x]) out[x] = before[x];
}

// Adds k*in[x + shift] and k over the x whose sample lies in the row; with
// blk, only where the sample is valid.
TAMBLE_CLONES void addTap(float k, const float* in, const std::uint8_t* blk, int shift, int W,
                          float* __restrict s, float* __restrict sw) {
  const int x0 = std::max(0, -shift), x1 = std::min(W, W - shift);
  if (!blk) {
    for (int x = x0; x < x1; ++x) {
      s[x] += k * in[x + shift];
      sw[x] += k;
    }
    return;
  }
  // Adding +0 for a blocked sample leaves the sums' bits as they were: they
  // start at +0 and never become -0. The select keeps the loop branch-free.
  const std::uint32_t kBits = std::bit_cast<std::uint32_t>(k);
  for (int x = x0; x < x1; ++x) {
    // All ones for a valid sample, zero for a blocked one: a select by bits.
    const std::uint32_t keep = 0u - static_cast<std::uint32_t>(blk[x + shift] == 0);
    const float term = k * in[x + shift];
    s[x] += std::bit_cast<float>(std::bit_cast<std::uint32_t>(term) & keep);
    sw[x] += std::bit_cast<float>(kBits & keep);
  }
}

// s[i] += k*in[i] over `count` values.
TAMBLE_CLONES void addTerms(float k, const float* in, float* __restrict s, int count) {
  for (int i = 0; i < count; ++i) s[i] += k * in[i];
}

// Whole windows, 2R + 1 taps known when compiled: the sum of each pixel
// stays in a register. Column sums of a row into v.
template <int R>
TAMBLE_CLONES void columnsWhole(const float* const* rows, const float* k, float sw,
                                float* __restrict v, int W) {
  constexpr int T = 2 * R + 1;
  const float* p[T];
  float kk[T];
#pragma GCC unroll 16
  for (int t = 0; t < T; ++t) {
    p[t] = rows[t];
    kk[t] = k[t];
  }
  const float* own = rows[R];
  for (int x = 0; x < W; ++x) {
    float s = 0.0f;
#pragma GCC unroll 16
    for (int t = 0; t < T; ++t) s += kk[t] * p[t][x];
    const float mean = s / sw;
    v[x] = std::fabs(mean) < meanLimit ? mean : own[x];
  }
}

// Sums along a row: in[x - R .. x + R] for x0 <= x < x1, x0 >= R.
template <int R>
TAMBLE_CLONES void alongWhole(const float* in, const float* k, float sw, float* __restrict out,
                              int x0, int x1) {
  constexpr int T = 2 * R + 1;
  float kk[T];
#pragma GCC unroll 16
  for (int t = 0; t < T; ++t) kk[t] = k[t];
  const float* first = in + x0 - R;
  for (int i = 0; i < x1 - x0; ++i) {
    float s = 0.0f;
#pragma GCC unroll 16
    for (int t = 0; t < T; ++t) s += kk[t] * first[i + t];
    const float mean = s / sw;
    out[x0 + i] = std::fabs(mean) < meanLimit ? mean : in[x0 + i];
  }
}

// The row work of one band.
struct gaussRow {
  const std::vector<float>& k;
  int W, R;
  float swAll;  // the weights of a whole window, summed in tap order
  std::vector<float> v, s, sw;

  gaussRow(const std::vector<float>& taps, int w, float all)
      : k(taps), W(w), R(static_cast<int>(taps.size()) / 2), swAll(all), v(w), s(w), sw(w) {}

  // Column sums of whole windows into v.
  void columns(const window& w) {
    if (!(swAll > weightFloor)) {
      std::copy(w.rows[R], w.rows[R] + W, v.begin());
      return;
    }
    switch (R) {
      case 2: columnsWhole<2>(w.rows, k.data(), swAll, v.data(), W); return;
      case 3: columnsWhole<3>(w.rows, k.data(), swAll, v.data(), W); return;
      case 4: columnsWhole<4>(w.rows, k.data(), swAll, v.data(), W); return;
      case 5: columnsWhole<5>(w.rows, k.data(), swAll, v.data(), W); return;
      case 6: columnsWhole<6>(w.rows, k.data(), swAll, v.data(), W); return;
      default: break;
    }
    std::fill(s.begin(), s.end(), 0.0f);
    for (int t = 0; t <= 2 * R; ++t) addTerms(k[t], w.rows[t], s.data(), W);
    std::fill(sw.begin(), sw.end(), swAll);
    finishSums(s.data(), sw.data(), w.rows[R], nullptr, v.data(), 0, W);
  }

  // Sums along v of whole windows into out, x0 .. x1-1.
  void along(float* out, int x0, int x1) {
    if (x1 <= x0) return;
    if (!(swAll > weightFloor)) {
      std::copy(v.begin() + x0, v.begin() + x1, out + x0);
      return;
    }
    switch (R) {
      case 2: alongWhole<2>(v.data(), k.data(), swAll, out, x0, x1); return;
      case 3: alongWhole<3>(v.data(), k.data(), swAll, out, x0, x1); return;
      case 4: alongWhole<4>(v.data(), k.data(), swAll, out, x0, x1); return;
      case 5: alongWhole<5>(v.data(), k.data(), swAll, out, x0, x1); return;
      case 6: alongWhole<6>(v.data(), k.data(), swAll, out, x0, x1); return;
      default: break;
    }
    std::fill(s.begin() + x0, s.begin() + x1, 0.0f);
    // x0 >= R: the samples x0 - R + t lie in the row.
    for (int t = 0; t <= 2 * R; ++t) addTerms(k[t], v.data() + x0 - R + t, s.data() + x0, x1 - x0);
    std::fill(sw.begin() + x0, sw.begin() + x1, swAll);
    finishSums(s.data(), sw.data(), v.data(), nullptr, out, x0, x1);
  }

  // One pixel along v near the row's ends, where no pixel is blocked.
  float alongEdge(int x) const {
    float sum = 0.0f, weights = 0.0f;
    for (int t = -R; t <= R; ++t) {
      if (x + t < 0 || x + t >= W) continue;
      sum += k[t + R] * v[x + t];
      weights += k[t + R];
    }
    return meanOr(sum, weights, v[x]);
  }

  void operator()(const window& w, float* out) {
    const float* own = w.rows[R];
    const std::uint8_t* ownBlocked = w.blocked[R];
    // A row blocked throughout keeps its values: no sum is wanted.
    if (ownBlocked && std::all_of(ownBlocked, ownBlocked + W, [](std::uint8_t b) { return b; })) {
      std::copy(own, own + W, out);
      return;
    }
    if (w.clean()) {
      columns(w);
    } else {
      std::fill(s.begin(), s.end(), 0.0f);
      std::fill(sw.begin(), sw.end(), 0.0f);
      for (int t = 0; t <= 2 * R; ++t)
        if (w.rows[t]) addTap(k[t], w.rows[t], w.blocked[t], 0, W, s.data(), sw.data());
      finishSums(s.data(), sw.data(), own, ownBlocked, v.data(), 0, W);
    }
    if (!ownBlocked) {
      const int x0 = std::min(R, W), x1 = std::max(x0, W - R);
      for (int x = 0; x < x0; ++x) out[x] = alongEdge(x);
      along(out, x0, x1);
      for (int x = x1; x < W; ++x) out[x] = alongEdge(x);
      return;
    }
    std::fill(s.begin(), s.end(), 0.0f);
    std::fill(sw.begin(), sw.end(), 0.0f);
    for (int t = -R; t <= R; ++t) addTap(k[t + R], v.data(), ownBlocked, t, W, s.data(), sw.data());
    finishSums(s.data(), sw.data(), v.data(), ownBlocked, out, 0, W);
  }
};

}  // namespace

void GaussSeparable(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                    int iterations, float diameter) {
  if (iterations < 1) return;
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
  const int W = field.width(), H = field.height();
  const std::vector<float> k = gaussTaps(diameter);
  const int R = static_cast<int>(k.size()) / 2;
  float all = 0.0f;
  for (float tap : k) all += tap;
  for (int pass = 0; pass < iterations; ++pass)
    circle::inPlacePass(field.data, bkgr.data, ROI.data, W, H, R,
                        [&] { return gaussRow(k, W, all); });
}

namespace {

}  // namespace

// In eight lanes (x mod 8), merged in lane order. Equal values have the same
// bits except +0 and -0: a zero result is taken from the row's first valid
// zero, as a fold in x order would keep it.
TAMBLE_CLONES void circle::validRowRange(const float* v, const bool* bkgr, const bool* ROI, int W,
                                         float& lo, float& hi, bool& any) {
  const auto* b = reinterpret_cast<const std::uint8_t*>(bkgr);
  const auto* r = reinterpret_cast<const std::uint8_t*>(ROI);
  const lanes8 big = {1e30f, 1e30f, 1e30f, 1e30f, 1e30f, 1e30f, 1e30f, 1e30f};
  lanes8 l = big, h = -big;
  mask8 seen = {};
  int x = 0;
  for (; x + 8 <= W; x += 8) {
    lanes8 f;
    std::memcpy(&f, v + x, sizeof f);
    mask8 valid;
    for (int k = 0; k < 8; ++k) valid[k] = (b[x + k] | (r[x + k] ^ 1u)) == 0 ? -1 : 0;
    const lanes8 forLow = valid ? f : big, forHigh = valid ? f : -big;
    l = forLow < l ? forLow : l;
    h = forHigh > h ? forHigh : h;
    seen |= valid;
  }
  lo = 1e30f, hi = -1e30f, any = false;
  for (int k = 0; k < 8; ++k) {
    lo = std::min(lo, l[k]);
    hi = std::max(hi, h[k]);
    any = any || seen[k];
  }
  for (; x < W; ++x) {
    if (b[x] || !r[x]) continue;
    any = true;
    lo = std::min(lo, v[x]);
    hi = std::max(hi, v[x]);
  }
  auto firstZero = [&](float& z) {
    for (int i = 0; i < W; ++i)
      if (!b[i] && r[i] && v[i] == 0.0f) {
        z = v[i];
        return;
      }
  };
  if (lo == 0.0f) firstZero(lo);
  if (hi == 0.0f) firstZero(hi);
}

// Rows in parallel, the rows then folded in order: the same values as one
// fold over the image in row order (the first of equal values kept, NaN
// never taken).
void FieldMinMax(const filterField& field, const filterMask& bkgr, const filterMask& ROI,
                 float& min, float& max) {
  const int W = field.width(), H = field.height();
  struct range {
    float lo = 1e30f, hi = -1e30f;
    bool any = false;
  };
  std::vector<range> rows(H);
  zel::forEachRow(H, field.count, [&](int y) {
    circle::validRowRange(field.row(y), bkgr.row(y), ROI.row(y), W, rows[y].lo, rows[y].hi,
                          rows[y].any);
  });
  min = 1e30f;
  max = -1e30f;
  bool any = false;
  for (const range& r : rows) {
    if (!r.any) continue;
    any = true;
    min = std::min(min, r.lo);
    max = std::max(max, r.hi);
  }
  if (!any) min = max = 0.0f;
}

}  // namespace tamble
