#include "filters/wiener.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "api/errors.h"
#include "api/parallel.h"

namespace tamble {
namespace {

using plane = std::vector<float>;
using zel::forEachRow;

// The extent of one image and which of its pixels may be read and written.
struct grid {
  int width, height;
  std::uint64_t pixels;
  std::vector<unsigned char> valid;  // 1: bkgr clear and ROI set
  const float* weight;               // 1.0f where valid, 0.0f where blocked
};

// The taps of the separable Gaussian for diameter D, t = -R..R. Taps beyond
// the circle's reach are 0 and still summed, so an infinite sample there
// spoils the sum just as a direct sum over the window would.
std::vector<float> gaussTaps(float D) {
  const double half = D / 2.0f;
  int L;
  double limit;
  if (D <= 3.0f) {
    L = static_cast<int>(std::trunc(3 * D + 0.5));
    limit = std::max(4.0, 9 * half * half);
  } else if (D <= 7.0f) {
    L = static_cast<int>(std::trunc(2 * D + 0.5));
    limit = std::max(4.0, 4 * half * half);
  } else {
    L = static_cast<int>(std::trunc(D + 0.5));
    limit = half * half;
  }
  const int R = std::max(L / 2, 2);
  std::vector<float> k(2 * R + 1);
  for (int t = -R; t <= R; ++t) {
    const float u = t / (D / 2);
    k[t + R] = limit >= t * t ? std::exp(-(u * u)) : 0.0f;
  }
  return k;
}

// The weighted mean of one pixel from its running sums, or `own` when the
// pixel is blocked or the sums are unusable.
inline float meanOr(float s, float sw, float own, bool valid) {
  if (!valid || !(sw > 1e-10)) return own;
  const float m = s / sw;
  return std::fabs(m) < 1e20 ? m : own;
}

// One pass of the separable Gaussian along columns (step = width) or rows
// (step = 1) from `in` into `out`. Every output pixel sums its taps in
// ascending order; a blocked or outside sample adds an exact +0, which leaves
// a sum that started at +0 bit for bit as if it had been skipped.
void gaussPass(const grid& g, const std::vector<float>& k, const plane& in, plane& out,
               bool vertical) {
  const int W = g.width, H = g.height, R = static_cast<int>(k.size() / 2);
  plane clean(in.size());  // samples, 0 where blocked
  for (std::uint64_t i = 0; i < g.pixels; ++i) clean[i] = g.valid[i] ? in[i] : 0.0f;
  forEachRow(H, g.pixels, [&](int y) {
    thread_local std::vector<float> s, sw, pad, padW;
    s.assign(W, 0.0f);
    sw.assign(W, 0.0f);
    const std::size_t row = static_cast<std::size_t>(y) * W;
    if (vertical) {
      for (int t = -R; t <= R; ++t) {
        if (y + t < 0 || y + t >= H) continue;
        const float kt = k[t + R];
        const float* v = clean.data() + row + static_cast<std::ptrdiff_t>(t) * W;
        const float* m = g.weight + row + static_cast<std::ptrdiff_t>(t) * W;
        for (int x = 0; x < W; ++x) {
          s[x] += kt * v[x];
          sw[x] += kt * m[x];
        }
      }
    } else {
      pad.assign(W + 2 * R, 0.0f);
      padW.assign(W + 2 * R, 0.0f);
      std::copy_n(clean.data() + row, W, pad.begin() + R);
      std::copy_n(g.weight + row, W, padW.begin() + R);
      for (int t = -R; t <= R; ++t) {
        const float kt = k[t + R];
        const float* v = pad.data() + R + t;
        const float* m = padW.data() + R + t;
        for (int x = 0; x < W; ++x) {
          s[x] += kt * v[x];
          sw[x] += kt * m[x];
        }
      }
    }
    for (int x = 0; x < W; ++x)
      out[row + x] = meanOr(s[x], sw[x], in[row + x], g.valid[row + x] != 0);
  });
}

// One iteration of the separable Gaussian, in place on `p`.
void gaussSmooth(const grid& g, plane& p, float diameter) {
  const std::vector<float> k = gaussTaps(diameter);
  plane a(p.size());
  gaussPass(g, k, p, a, true);
  gaussPass(g, k, a, p, false);
}

// The lower middle of n values (n >= 1): the sample a full ascending sort
// would put at 1-based position (n + 1) >> 1.
inline float lowerMedian(float* v, int n) {
  const int m = ((n + 1) >> 1) - 1;
  std::nth_element(v, v + m, v + n);
  return v[m];
}

// One pass of the 3 by 3 median (the circle of diameter 3 is the full
// square): samples are the valid pixels of the window inside the image; a
// pixel without samples keeps its value, a blocked one is not changed.
void median3(const grid& g, const plane& in, plane& out) {
  const int W = g.width, H = g.height;
  forEachRow(H, g.pixels, [&](int y) {
    float v[9];
    for (int x = 0; x < W; ++x) {
      const std::size_t i = static_cast<std::size_t>(y) * W + x;
      out[i] = in[i];
      if (!g.valid[i]) continue;
      int n = 0;
      for (int yy = std::max(0, y - 1); yy <= std::min(H - 1, y + 1); ++yy)
        for (int xx = std::max(0, x - 1); xx <= std::min(W - 1, x + 1); ++xx) {
          const std::size_t j = static_cast<std::size_t>(yy) * W + xx;
          if (g.valid[j]) v[n++] = in[j];
        }
      if (n > 0) out[i] = lowerMedian(v, n);
    }
  });
}

// The pull towards the smooth value for local deviation d.
inline float pull(float d, float noise) {
  const float dd = d > 0.0001 ? d : 0.0001f;
  const float r = noise / dd;
  const float q = r * r;
  return q < 1 ? q : 1.0f;
}

// |a - b| at every pixel into `out`.
void absDiff(const grid& g, const plane& a, const plane& b, plane& out) {
  forEachRow(g.height, g.pixels, [&](int y) {
    const std::size_t row = static_cast<std::size_t>(y) * g.width;
    for (int x = 0; x < g.width; ++x) out[row + x] = std::fabs(a[row + x] - b[row + x]);
  });
}

// Both stages' updates. Blocked pixels are skipped: there T = U = field, so
// the update would give the same value, except that -0 would become +0 and an
// infinity NaN; skipping keeps them exactly as they were.
void firstUpdate(const grid& g, float* f, const plane& T, const plane& U, const plane& V,
                 float noise) {
  forEachRow(g.height, g.pixels, [&](int y) {
    const std::size_t row = static_cast<std::size_t>(y) * g.width;
    for (std::size_t i = row; i < row + g.width; ++i) {
      if (!g.valid[i]) continue;
      const float wt = pull(V[i], noise);
      f[i] += (T[i] - f[i]) * wt;
      f[i] += (U[i] - f[i]) * wt;
    }
  });
}

void secondUpdate(const grid& g, float* f, const plane& U, const plane& V, float noise) {
  forEachRow(g.height, g.pixels, [&](int y) {
    const std::size_t row = static_cast<std::size_t>(y) * g.width;
    for (std::size_t i = row; i < row + g.width; ++i)
      if (g.valid[i]) f[i] += (U[i] - f[i]) * pull(V[i], noise);
  });
}

}  // namespace

void WienerFilter(zel::arrayStore<float, 2>& field, const zel::arrayStore<bool, 2>& bkgr,
                  const zel::arrayStore<bool, 2>& ROI, float diameter, float noise) {
  if (diameter < 2.5f) return;
  const int W = field.width(), H = field.height();
  if (bkgr.width() != W || bkgr.height() != H || ROI.width() != W || ROI.height() != H)
    zel::raise<zel::DimError>();
  const float K = std::trunc(diameter * 0.5f * 2.0f + 1.0f);
  const std::uint64_t n = field.count;
  std::vector<float> weight(n);
  grid g{W, H, n, std::vector<unsigned char>(n), weight.data()};
  for (std::uint64_t i = 0; i < n; ++i) {
    g.valid[i] = !bkgr.data[i] && ROI.data[i];
    weight[i] = g.valid[i] ? 1.0f : 0.0f;
  }
  float* f = field.data;
  plane T(f, f + n), U(n), V(n);
  median3(g, plane(T), T);
  U = T;
  gaussSmooth(g, U, diameter);
  absDiff(g, T, U, V);
  gaussSmooth(g, V, diameter);
  firstUpdate(g, f, T, U, V, noise);

  T.assign(f, f + n);  // the field after the first stage
  U = T;
  gaussSmooth(g, U, K);
  absDiff(g, T, U, V);
  gaussSmooth(g, V, K);
  secondUpdate(g, f, U, V, noise);
}

}  // namespace tamble
