// The circle-window filters written the plain way, one pixel at a time, in
// the float operations and the order their descriptions give. The routines
// must match them bit for bit.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "tests/support/layers.h"

namespace tamble::testing {

// MedianCircle: gather the circle's valid samples inside the image, sort them
// all and take the element of 1-based rank (n + 1) >> 1; no sample keeps the
// pixel.
inline void referenceCircle(layers& l, int iterations, int diameter) {
  const int R = diameter / 2, K = 2 * R + 1;
  const float r2 = (K * 0.5f) * (K * 0.5f);
  for (int pass = 0; pass < iterations; ++pass) {
    const layers old = l;
    for (int y = 0; y < l.H(); ++y)
      for (int x = 0; x < l.W(); ++x) {
        if (l.blocked(x, y)) continue;
        std::vector<float> s;
        for (int dy = -R; dy <= R; ++dy)
          for (int dx = -R; dx <= R; ++dx) {
            const int sx = x + dx, sy = y + dy;
            if (static_cast<float>(dx * dx + dy * dy) > r2) continue;
            if (sx < 0 || sy < 0 || sx >= l.W() || sy >= l.H() || l.blocked(sx, sy)) continue;
            s.push_back(old.field(sx, sy));
          }
        if (s.empty()) continue;
        std::sort(s.begin(), s.end());
        l.field(x, y) = s[(s.size() + 1) / 2 - 1];
      }
  }
}

// MedianSquare: the full square inside the image, 0 elsewhere; masks ignored.
// The middle is the element std::nth_element puts there among the cells
// taken row by row, which also settles which of -0 and +0, or what, a window
// holding both zeros or a NaN gives.
inline void referenceSquare(layers& l, int iterations, int diameter) {
  const int R = diameter / 2, K = 2 * R + 1;
  for (int pass = 0; pass < iterations; ++pass) {
    const layers old = l;
    l.field.fill(0.0f);
    for (int y = R; y < l.H() - R; ++y)
      for (int x = R; x < l.W() - R; ++x) {
        std::vector<float> s;
        for (int dy = -R; dy <= R; ++dy)
          for (int dx = -R; dx <= R; ++dx) s.push_back(old.field(x + dx, y + dy));
        std::nth_element(s.begin(), s.begin() + K * K / 2, s.end());
        l.field(x, y) = s[K * K / 2];
      }
  }
}

// The taps of GaussSeparable for the float diameter D, t = -R..R.
inline std::vector<float> referenceTaps(float D) {
  const float half = D / 2.0f;
  const double h2 = static_cast<double>(half) * half;
  int L;
  double limit;
  if (D <= 3.0f) {
    L = static_cast<int>(std::trunc(3.0f * D + 0.5));
    limit = std::max(4.0, 9.0 * h2);
  } else if (D <= 7.0f) {
    L = static_cast<int>(std::trunc(2.0f * D + 0.5));
    limit = std::max(4.0, 4.0 * h2);
  } else {
    L = static_cast<int>(std::trunc(D + 0.5));
    limit = h2;
  }
  const int R = std::max(L / 2, 2);
  std::vector<float> k;
  for (int t = -R; t <= R; ++t)
    k.push_back(limit >= t * t ? std::exp(-((t / half) * (t / half))) : 0.0f);
  return k;
}

// GaussSeparable: per pass a vertical, then a horizontal sum over the valid
// samples inside the image, each normalised by its weight sum.
inline void referenceGauss(layers& l, int iterations, float D) {
  const std::vector<float> k = referenceTaps(D);
  const int R = static_cast<int>(k.size()) / 2;
  for (int pass = 0; pass < iterations; ++pass)
    for (int axis = 0; axis < 2; ++axis) {
      const layers B = l;
      for (int y = 0; y < l.H(); ++y)
        for (int x = 0; x < l.W(); ++x) {
          if (l.blocked(x, y)) continue;
          float s = 0.0f, sw = 0.0f;
          for (int t = -R; t <= R; ++t) {
            const int sx = axis ? x + t : x, sy = axis ? y : y + t;
            if (sx < 0 || sy < 0 || sx >= l.W() || sy >= l.H() || l.blocked(sx, sy)) continue;
            s += k[t + R] * B.field(sx, sy);
            sw += k[t + R];
          }
          if (sw > 1e-10 && std::fabs(s / sw) < 1e20) l.field(x, y) = s / sw;
        }
    }
}

// Filter3D: weights from the distance in the image and in intensity over the
// height, over the valid cells of the circle; no weight makes the pixel 0.
inline void referenceFilter3D(layers& l, int iterations, float D, float h, bool rational) {
  const int R = (static_cast<int>(std::trunc(D + 0.5)) + 1) / 2;
  if (!(h > 1e-10f) || R < 1) return;
  const int K = 2 * R + 1;
  const float r2 = (K * 0.5f) * (K * 0.5f), g = 1.0f / static_cast<float>(R);
  const float inverse = 1.0f / h;
  layers B = l;
  for (int y = 0; y < l.H(); ++y)
    for (int x = 0; x < l.W(); ++x)
      if (l.blocked(x, y)) B.field(x, y) = 0.0f;
  for (int pass = 0; pass < iterations; ++pass) {
    layers A = B;
    for (std::uint64_t i = 0; i < A.field.count; ++i) A.field.data[i] = B.field.data[i] * inverse;
    for (int y = 0; y < l.H(); ++y)
      for (int x = 0; x < l.W(); ++x) {
        if (l.blocked(x, y)) continue;
        const float c = A.field(x, y);
        float s = 0.0f, sw = 0.0f;
        for (int dy = -R; dy <= R; ++dy)
          for (int dx = -R; dx <= R; ++dx) {
            if (static_cast<float>(dx * dx + dy * dy) > r2) continue;
            const int sx = x + dx, sy = y + dy;
            if (sx < 0 || sy < 0 || sx >= l.W() || sy >= l.H() || l.blocked(sx, sy)) continue;
            const float ex = static_cast<float>(dx) * g, ey = static_cast<float>(dy) * g;
            const float kern = std::exp(-(ex * ex) - ey * ey);
            const float v = A.field(sx, sy), d = v - c;
            const float w = rational ? kern / (d * d + 1.0f) : std::exp(-(d * d)) * kern;
            s += w * v;
            sw += w;
          }
        B.field(x, y) = sw > 1e-30f ? s * h / sw : 0.0f;
      }
  }
  for (int y = 0; y < l.H(); ++y)
    for (int x = 0; x < l.W(); ++x)
      if (!l.blocked(x, y)) l.field(x, y) = B.field(x, y);
}

// WienerFilter: a median of 3 and a Gauss of D, each pulled in by (noise /
// local deviation)^2 at most 1, then once more with a Gauss of the odd K.
inline void referenceWiener(layers& l, float D, float noise) {
  const float K = std::trunc(D * 0.5f * 2.0f + 1.0f);
  auto pull = [&](float d) {
    const float r = noise / (d > 0.0001 ? d : 0.0001f);
    return r * r < 1 ? r * r : 1.0f;
  };
  auto deviation = [](const layers& a, const layers& b) {
    layers v = a;
    for (std::uint64_t i = 0; i < v.field.count; ++i)
      v.field.data[i] = std::fabs(a.field.data[i] - b.field.data[i]);
    return v;
  };
  float* f = l.field.data;
  layers T = l;
  referenceCircle(T, 1, 3);
  layers U = T;
  referenceGauss(U, 1, D);
  layers V = deviation(T, U);
  referenceGauss(V, 1, D);
  for (std::uint64_t i = 0; i < l.field.count; ++i) {
    if (l.bkgr.data[i] || !l.ROI.data[i]) continue;
    const float wt = pull(V.field.data[i]);
    f[i] += (T.field.data[i] - f[i]) * wt;
    f[i] += (U.field.data[i] - f[i]) * wt;
  }
  U = l;
  referenceGauss(U, 1, K);
  V = deviation(l, U);
  referenceGauss(V, 1, K);
  for (std::uint64_t i = 0; i < l.field.count; ++i)
    if (!l.bkgr.data[i] && l.ROI.data[i]) f[i] += (U.field.data[i] - f[i]) * pull(V.field.data[i]);
}

// Values no filter may read or change unnoticed at the blocked pixels: NaN,
// infinity, 1e30 and -0 (whose sign a careless copy loses), in turn.
inline void oddBlocked(layers& l) {
  const float odd[] = {std::numeric_limits<float>::quiet_NaN(),
                       std::numeric_limits<float>::infinity(), 1e30f, -0.0f};
  int k = 0;
  for (int y = 0; y < l.H(); ++y)
    for (int x = 0; x < l.W(); ++x)
      if (l.blocked(x, y)) l.field(x, y) = odd[k++ % 4];
}

}  // namespace tamble::testing
