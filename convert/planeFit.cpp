#include "convert/planeFit.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

#include "api/parallel.h"

namespace tamble {

solveOutcome solveCompletePivot(float (&a)[3][3], float (&b)[3], int n, float (&x)[3],
                                float tolerance) {
  solveOutcome out;
  int column[3] = {0, 1, 2};  // unknown held by each column after the swaps
  float first = 0.0f;
  for (int k = 0; k < n; ++k) {
    int pr = k, pc = k;
    for (int i = k; i < n; ++i)
      for (int j = k; j < n; ++j)
        if (std::fabs(a[i][j]) > std::fabs(a[pr][pc])) pr = i, pc = j;
    const float pivot = std::fabs(a[pr][pc]);
    if (!(pivot > 0.0f)) return out;
    if (k == 0) first = pivot;
    if (pivot <= tolerance * first) out.significanceLost = true;
    std::swap(a[k], a[pr]);
    std::swap(b[k], b[pr]);
    for (int i = 0; i < n; ++i) std::swap(a[i][k], a[i][pc]);
    std::swap(column[k], column[pc]);
    for (int i = k + 1; i < n; ++i) {
      const float f = a[i][k] / a[k][k];
      for (int j = k; j < n; ++j) a[i][j] -= f * a[k][j];
      b[i] -= f * b[k];
    }
  }
  float y[3] = {};
  for (int k = n - 1; k >= 0; --k) {
    float v = b[k];
    for (int j = k + 1; j < n; ++j) v -= a[k][j] * y[j];
    y[k] = v / a[k][k];
  }
  for (int k = 0; k < n; ++k) x[column[k]] = y[k];
  out.solved = true;
  return out;
}

namespace {

// Sums of 1, x, y, v, xx, xy, vx, yy, vy over the chosen pixels, and their
// bounding box.
struct moments {
  double s[9] = {};
  int x0 = 0, x1 = -1, y0 = 0, y1 = -1;
};

// One row's sums and the first and last column it takes part with.
struct rowMoments {
  float s[9] = {};
  int first = -1, last = -1;
};

rowMoments rowOf(const float* v, const bool* b, const bool* r, int w, int y, bool calculatedOnly) {
  rowMoments m;
  const float fy = static_cast<float>(y);
  for (int x = 0; x < w; ++x) {
    if (calculatedOnly && (b[x] || !r[x])) continue;
    const float fx = static_cast<float>(x);
    const float terms[9] = {1.0f,    fx,        fy,      v[x],     fx * fx,
                            fx * fy, v[x] * fx, fy * fy, v[x] * fy};
    for (int k = 0; k < 9; ++k) m.s[k] += terms[k];
    if (m.first < 0) m.first = x;
    m.last = x;
  }
  return m;
}

// Rows in parallel, added up in row order: the same sums with any number of
// threads.
moments momentsOf(const zel::arrayStore<float, 2>& field, const zel::arrayStore<bool, 2>& bkgr,
                  const zel::arrayStore<bool, 2>& ROI, bool calculatedOnly) {
  const int w = field.width(), h = field.height();
  std::vector<rowMoments> rows(static_cast<std::size_t>(h));
  zel::forEachRow(h, field.count, [&](int y) {
    rows[static_cast<std::size_t>(y)] =
        rowOf(field.row(y), bkgr.row(y), ROI.row(y), w, y, calculatedOnly);
  });
  moments m;
  m.x0 = w, m.y0 = h;
  for (int y = 0; y < h; ++y) {
    const rowMoments& r = rows[static_cast<std::size_t>(y)];
    if (r.first < 0) continue;
    for (int k = 0; k < 9; ++k) m.s[k] += r.s[k];
    m.x0 = std::min(m.x0, r.first), m.x1 = std::max(m.x1, r.last);
    m.y0 = std::min(m.y0, y), m.y1 = y;
  }
  return m;
}

float rmsDistance(const plane& p, const zel::arrayStore<float, 2>& field,
                  const zel::arrayStore<bool, 2>& bkgr, const zel::arrayStore<bool, 2>& ROI,
                  bool calculatedOnly, double count) {
  const int w = field.width(), h = field.height();
  std::vector<float> rows(static_cast<std::size_t>(h));
  zel::forEachRow(h, field.count, [&](int y) {
    const float* v = field.row(y);
    const bool* b = bkgr.row(y);
    const bool* r = ROI.row(y);
    float sum = 0.0f;
    for (int x = 0; x < w; ++x) {
      if (calculatedOnly && (b[x] || !r[x])) continue;
      const float d = p.at(x, y) - v[x];
      sum += d * d;
    }
    rows[static_cast<std::size_t>(y)] = sum;
  });
  double sum = 0.0;
  for (float r : rows) sum += r;
  return static_cast<float>(std::sqrt(sum / count));
}

// The normal equations of a0 + a1 x + a2 y over the unknowns `use` (0, 1,
// 2 for a0, a1, a2), solved into p; false when singular.
bool solveFor(const moments& m, std::initializer_list<int> use, plane& p) {
  auto mean = [&](int k) { return static_cast<float>(m.s[k] / m.s[0]); };
  const float S[3][3] = {{1.0f, mean(1), mean(2)}, {mean(1), mean(4), mean(5)},
                         {mean(2), mean(5), mean(7)}};
  const float V[3] = {mean(3), mean(6), mean(8)};
  const int n = static_cast<int>(use.size());
  float a[3][3] = {}, b[3] = {}, x[3] = {};
  int i = 0;
  for (int r : use) {
    int j = 0;
    for (int c : use) a[i][j++] = S[r][c];
    b[i++] = V[r];
  }
  if (!solveCompletePivot(a, b, n, x).solved) return false;
  float* out[3] = {&p.a0, &p.a1, &p.a2};
  i = 0;
  for (int r : use) *out[r] = x[i++];
  return true;
}

}  // namespace

plane planeFit(const zel::arrayStore<float, 2>& field, const zel::arrayStore<bool, 2>& bkgr,
               const zel::arrayStore<bool, 2>& ROI, int mode) {
  const bool calculatedOnly = mode == 0;
  const moments m = momentsOf(field, bkgr, ROI, calculatedOnly);
  plane p;
  if (m.s[0] == 0.0) return p;
  const bool oneColumn = m.x0 == m.x1, oneRow = m.y0 == m.y1;
  bool solved = false;
  if (!oneColumn && !oneRow) solved = solveFor(m, {0, 1, 2}, p);
  if (oneColumn && !oneRow) solved = solveFor(m, {0, 2}, p);
  if (oneRow && !oneColumn) solved = solveFor(m, {0, 1}, p);
  if (!solved) p = plane{static_cast<float>(m.s[3] / m.s[0]), 0.0f, 0.0f, 0.0f};
  p.sigma = rmsDistance(p, field, bkgr, ROI, calculatedOnly, m.s[0]);
  return p;
}

}  // namespace tamble
