#include "filters/wiener.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "api/errors.h"
#include "api/parallel.h"
#include "filters/circleFilters.h"
#include "filters/circleWork.h"

namespace tamble {
namespace {

using plane = zel::arrayStore<float, 2>;

// The deviation's floor, 0.0001 in double: 0.0001f lies just below it, and
// the float above 0.0001f above it, so d > 0.0001 is d > deviationFloor.
constexpr float deviationFloor = 0.0001f;
static_assert(static_cast<double>(deviationFloor) <= 0.0001 &&
              static_cast<double>(circle::above(deviationFloor)) > 0.0001);

// The pull towards the smooth value for local deviation d.
inline float pull(float d, float noise) {
  const float dd = d > deviationFloor ? d : 0.0001f;
  const float r = noise / dd;
  const float q = r * r;
  return q < 1 ? q : 1.0f;
}

inline bool blocked(const bool* bkgr, const bool* ROI, std::size_t i) { return bkgr[i] || !ROI[i]; }

// Copies a row, so that copies run in parallel too.
void copyRow(const float* from, float* to, int n) { std::copy(from, from + n, to); }

// |a - b| over n pixels.
TAMBLE_CLONES void absDiff(const float* a, const float* b, float* __restrict out, int n) {
  for (int i = 0; i < n; ++i) out[i] = std::fabs(a[i] - b[i]);
}

// Both stages' updates over n pixels. Blocked pixels keep their value: there
// T = U = field, so the update would give the same value, except that -0
// would become +0 and an infinity NaN; keeping them keeps them exactly.
TAMBLE_CLONES void firstUpdate(float* __restrict f, const float* T, const float* U, const float* V,
                               const bool* bkgr, const bool* ROI, float noise, int n) {
  for (int i = 0; i < n; ++i) {
    const float wt = pull(V[i], noise);
    float v = f[i];
    v += (T[i] - v) * wt;
    v += (U[i] - v) * wt;
    f[i] = blocked(bkgr, ROI, i) ? f[i] : v;
  }
}

TAMBLE_CLONES void secondUpdate(float* __restrict f, const float* U, const float* V,
                                const bool* bkgr, const bool* ROI, float noise, int n) {
  for (int i = 0; i < n; ++i) {
    const float v = f[i] + (U[i] - f[i]) * pull(V[i], noise);
    f[i] = blocked(bkgr, ROI, i) ? f[i] : v;
  }
}

// fn(offset) for the first pixel of every row, rows in parallel.
template <class Fn>
void rows(const plane& p, Fn&& fn) {
  zel::forEachRow(p.height(), p.count, [&](int y) { fn(static_cast<std::size_t>(y) * p.width()); });
}

}  // namespace

// The smoothing steps are the "Edit" menu's own: the 3 by 3 median is
// MedianCircle of diameter 3 (its circle is the full square) and each
// smoothing one pass of GaussSeparable, so blocked pixels are neither read
// nor changed by them.
void WienerFilter(zel::arrayStore<float, 2>& field, const zel::arrayStore<bool, 2>& bkgr,
                  const zel::arrayStore<bool, 2>& ROI, float diameter, float noise) {
  if (diameter < 2.5f) return;
  if (!field.sameExtent(bkgr) || !field.sameExtent(ROI)) zel::raise<zel::DimError>();
  const int W = field.width(), H = field.height();
  const float K = std::trunc(diameter * 0.5f * 2.0f + 1.0f);
  float* f = field.data;
  const bool *bk = bkgr.data, *roi = ROI.data;

  // First stage: T the median, U its smoothing, V the smoothed deviation.
  plane T(W, H), U(W, H), V(W, H);
  rows(field, [&](std::size_t at) { copyRow(f + at, T.data + at, W); });
  MedianCircle(T, bkgr, ROI, 1, 3);
  rows(field, [&](std::size_t at) { copyRow(T.data + at, U.data + at, W); });
  GaussSeparable(U, bkgr, ROI, 1, diameter);
  rows(field, [&](std::size_t at) { absDiff(T.data + at, U.data + at, V.data + at, W); });
  GaussSeparable(V, bkgr, ROI, 1, diameter);
  rows(field, [&](std::size_t at) {
    firstUpdate(f + at, T.data + at, U.data + at, V.data + at, bk + at, roi + at, noise, W);
  });

  // Second stage on the field as the first left it.
  rows(field, [&](std::size_t at) { copyRow(f + at, U.data + at, W); });
  GaussSeparable(U, bkgr, ROI, 1, K);
  rows(field, [&](std::size_t at) { absDiff(f + at, U.data + at, V.data + at, W); });
  GaussSeparable(V, bkgr, ROI, 1, K);
  rows(field, [&](std::size_t at) {
    secondUpdate(f + at, U.data + at, V.data + at, bk + at, roi + at, noise, W);
  });
}

}  // namespace tamble
