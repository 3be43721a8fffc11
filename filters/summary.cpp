// The figures of "Summary...".
//
// A set of pixels (all, or the valid ones) is measured in two passes: the
// first takes the extremes, the sum and the moments of the plane, the
// second the deviation about the mean and the pixels less the plane; further
// second passes refine the plane until it no longer moves. Each image row is
// summed on its own, in eight lanes by column (x mod 8), the lanes added in
// order, and the rows added in order, so the figures are the same whatever
// the number of threads.
#include "filters/summary.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <vector>

#include "api/errors.h"
#include "api/parallel.h"
#include "filters/circleWork.h"

namespace tamble {
namespace {

constexpr int lanes = 8;
constexpr double inf = std::numeric_limits<double>::infinity();

// An extreme with the first column that holds it; x -1 while none.
struct extreme {
  double value;
  int x = -1, y = 0;
};

// Takes v at (x, y) when it is below (lower) or above the kept value.
inline void keepExtreme(extreme& e, double v, int x, int y, bool lower) {
  if (lower ? v < e.value : v > e.value) e = {v, x, y};
}

// Merges lane or row extremes: the lower (higher) value, and of equal ones
// the earlier position.
inline void mergeExtreme(extreme& into, const extreme& e, bool lower) {
  if (e.x < 0) return;
  const bool better = lower ? e.value < into.value : e.value > into.value;
  const bool earlier = e.value == into.value && (e.y < into.y || (e.y == into.y && e.x < into.x));
  if (into.x < 0 || better || earlier) into = e;
}

// The first pass over one row: count, sums of v, x v, x and x^2, extremes.
struct firstRow {
  double n = 0, sum = 0, sumXV = 0, sumX = 0, sumXX = 0;
  extreme lo{inf}, hi{-inf};
};

TAMBLE_CLONES void measureFirst(const float* v, const std::uint8_t* blk, int W, int y,
                                firstRow& out) {
  double n[lanes] = {}, s[lanes] = {}, sxv[lanes] = {}, sx[lanes] = {}, sxx[lanes] = {};
  extreme lo[lanes], hi[lanes];
  for (int k = 0; k < lanes; ++k) lo[k] = {inf}, hi[k] = {-inf};
  for (int x0 = 0; x0 < W; x0 += lanes)
    for (int k = 0; k < lanes && x0 + k < W; ++k) {
      const int x = x0 + k;
      if (blk && blk[x]) continue;
      const double d = v[x], dx = x;
      n[k] += 1.0;
      s[k] += d;
      sxv[k] += dx * d;
      sx[k] += dx;
      sxx[k] += dx * dx;
      keepExtreme(lo[k], d, x, y, true);
      keepExtreme(hi[k], d, x, y, false);
    }
  for (int k = 0; k < lanes; ++k) {
    out.n += n[k];
    out.sum += s[k];
    out.sumXV += sxv[k];
    out.sumX += sx[k];
    out.sumXX += sxx[k];
    mergeExtreme(out.lo, lo[k], true);
    mergeExtreme(out.hi, hi[k], false);
  }
}

// The second pass over one row: the deviation about the mean, and the
// pixels less the plane c + b x: their sums, x-weighted sum, squares and
// extremes.
struct secondRow {
  double deviation = 0, r = 0, xr = 0, rr = 0;
  extreme lo{inf}, hi{-inf};
};

TAMBLE_CLONES void measureSecond(const float* v, const std::uint8_t* blk, int W, int y, double mean,
                                 double c, double b, secondRow& out) {
  double dev[lanes] = {}, r[lanes] = {}, xr[lanes] = {}, rr[lanes] = {};
  extreme lo[lanes], hi[lanes];
  for (int k = 0; k < lanes; ++k) lo[k] = {inf}, hi[k] = {-inf};
  for (int x0 = 0; x0 < W; x0 += lanes)
    for (int k = 0; k < lanes && x0 + k < W; ++k) {
      const int x = x0 + k;
      if (blk && blk[x]) continue;
      const double d = v[x], dx = x;
      const double e = d - mean, q = d - (c + b * dx);
      dev[k] += e * e;
      r[k] += q;
      xr[k] += dx * q;
      rr[k] += q * q;
      keepExtreme(lo[k], q, x, y, true);
      keepExtreme(hi[k], q, x, y, false);
    }
  for (int k = 0; k < lanes; ++k) {
    out.deviation += dev[k];
    out.r += r[k];
    out.xr += xr[k];
    out.rr += rr[k];
    mergeExtreme(out.lo, lo[k], true);
    mergeExtreme(out.hi, hi[k], false);
  }
}

// Rows without a blocked pixel, the same sums lane by lane as the loops
// above (lane k takes the columns x = k mod 8, in order), as vectors: four
// doubles per half, the extremes as eight floats with their columns.
typedef double dlanes __attribute__((vector_size(32)));
typedef long long ilanes __attribute__((vector_size(32)));
typedef float flanes __attribute__((vector_size(16)));

// The halves of eight floats as doubles.
inline void widen(const circle::lanes8& f, dlanes& low, dlanes& high) {
  const flanes a = {f[0], f[1], f[2], f[3]}, b = {f[4], f[5], f[6], f[7]};
  low = __builtin_convertvector(a, dlanes);
  high = __builtin_convertvector(b, dlanes);
}

// Keeps in lo and hi (with their columns) the extremes of f at columns x.
inline void keepLanes(const circle::lanes8& f, const circle::mask8& x, circle::lanes8& lo,
                      circle::mask8& loX, circle::lanes8& hi, circle::mask8& hiX) {
  const circle::mask8 lower = f < lo, higher = f > hi;
  lo = lower ? f : lo;
  loX = lower ? x : loX;
  hi = higher ? f : hi;
  hiX = higher ? x : hiX;
}

// Lane k's extremes into the row's, lanes in order (the earlier column of
// equal values kept).
inline void mergeLanes(const circle::lanes8& lo, const circle::mask8& loX,
                       const circle::lanes8& hi, const circle::mask8& hiX, int y, extreme& rowLo,
                       extreme& rowHi) {
  for (int k = 0; k < lanes; ++k) {
    if (loX[k] >= 0) mergeExtreme(rowLo, {lo[k], loX[k], y}, true);
    if (hiX[k] >= 0) mergeExtreme(rowHi, {hi[k], hiX[k], y}, false);
  }
}

TAMBLE_CLONES void measureFirstClean(const float* v, int W, int y, firstRow& out) {
  dlanes s[2] = {}, sxv[2] = {};
  circle::lanes8 lo, hi;
  circle::mask8 loX, hiX, column;
  for (int k = 0; k < lanes; ++k) lo[k] = inf, hi[k] = -inf, loX[k] = hiX[k] = -1, column[k] = k;
  const circle::mask8 eight = column - column + lanes;
  int x0 = 0;
  for (; x0 + lanes <= W; x0 += lanes, column += eight) {
    circle::lanes8 f;
    std::memcpy(&f, v + x0, sizeof f);
    dlanes d[2], dx[2];
    widen(f, d[0], d[1]);
    const flanes c0 = {float(x0), float(x0 + 1), float(x0 + 2), float(x0 + 3)};
    dx[0] = __builtin_convertvector(c0, dlanes);
    dx[1] = dx[0] + 4.0;
    for (int h = 0; h < 2; ++h) {
      s[h] += d[h];
      sxv[h] += dx[h] * d[h];
    }
    keepLanes(f, column, lo, loX, hi, hiX);
  }
  for (int x = x0; x < W; ++x) {
    const int k = x - x0;
    const double d = v[x], dx = x;
    s[k / 4][k % 4] += d;
    sxv[k / 4][k % 4] += dx * d;
    if (v[x] < lo[k]) lo[k] = v[x], loX[k] = x;
    if (v[x] > hi[k]) hi[k] = v[x], hiX[k] = x;
  }
  for (int k = 0; k < lanes; ++k) {
    out.sum += s[k / 4][k % 4];
    out.sumXV += sxv[k / 4][k % 4];
  }
  // Whole numbers: exact in any order.
  out.n = W;
  out.sumX = 0.5 * W * (W - 1.0);
  out.sumXX = (W - 1.0) * W * (2.0 * W - 1.0) / 6.0;
  mergeLanes(lo, loX, hi, hiX, y, out.lo, out.hi);
}

// The second pass's sums; the extremes of the pixels less the plane only
// when `extremes` (Block D).
TAMBLE_CLONES void measureSecondClean(const float* v, int W, int y, double mean, double c, double b,
                                      bool extremes, secondRow& out) {
  dlanes dev[2] = {}, r[2] = {}, xr[2] = {}, rr[2] = {};
  dlanes lo[2], hi[2];
  ilanes loX[2], hiX[2], column[2];
  for (int k = 0; k < lanes; ++k) {
    lo[k / 4][k % 4] = inf, hi[k / 4][k % 4] = -inf;
    loX[k / 4][k % 4] = hiX[k / 4][k % 4] = -1;
    column[k / 4][k % 4] = k;
  }
  int x0 = 0;
  for (; x0 + lanes <= W; x0 += lanes) {
    circle::lanes8 f;
    std::memcpy(&f, v + x0, sizeof f);
    dlanes d[2], dx[2];
    widen(f, d[0], d[1]);
    const flanes c0 = {float(x0), float(x0 + 1), float(x0 + 2), float(x0 + 3)};
    dx[0] = __builtin_convertvector(c0, dlanes);
    dx[1] = dx[0] + 4.0;
    for (int h = 0; h < 2; ++h) {
      const dlanes e = d[h] - mean, q = d[h] - (c + b * dx[h]);
      dev[h] += e * e;
      r[h] += q;
      xr[h] += dx[h] * q;
      rr[h] += q * q;
      if (extremes) {
        const ilanes lower = q < lo[h], higher = q > hi[h];
        lo[h] = lower ? q : lo[h];
        loX[h] = lower ? column[h] : loX[h];
        hi[h] = higher ? q : hi[h];
        hiX[h] = higher ? column[h] : hiX[h];
      }
      column[h] += lanes;
    }
  }
  for (int x = x0; x < W; ++x) {
    const int k = x - x0;
    const double d = v[x], dx = x;
    const double e = d - mean, q = d - (c + b * dx);
    dev[k / 4][k % 4] += e * e;
    r[k / 4][k % 4] += q;
    xr[k / 4][k % 4] += dx * q;
    rr[k / 4][k % 4] += q * q;
    if (extremes) {
      if (q < lo[k / 4][k % 4]) lo[k / 4][k % 4] = q, loX[k / 4][k % 4] = x;
      if (q > hi[k / 4][k % 4]) hi[k / 4][k % 4] = q, hiX[k / 4][k % 4] = x;
    }
  }
  for (int k = 0; k < lanes; ++k) {
    const int h = k / 4, j = k % 4;
    out.deviation += dev[h][j];
    out.r += r[h][j];
    out.xr += xr[h][j];
    out.rr += rr[h][j];
    if (loX[h][j] >= 0) mergeExtreme(out.lo, {lo[h][j], static_cast<int>(loX[h][j]), y}, true);
    if (hiX[h][j] >= 0) mergeExtreme(out.hi, {hi[h][j], static_cast<int>(hiX[h][j]), y}, false);
  }
}

// Solves a x = b (3 by 3) by elimination with partial pivoting; false when
// a pivot vanishes against the matrix's scale.
bool solve3(std::array<std::array<double, 3>, 3> a, std::array<double, 3> b,
            std::array<double, 3>& x) {
  double scale = 0;
  for (const auto& row : a)
    for (double v : row) scale = std::max(scale, std::fabs(v));
  if (!(scale > 0)) return false;
  for (int c = 0; c < 3; ++c) {
    int p = c;
    for (int r = c + 1; r < 3; ++r)
      if (std::fabs(a[r][c]) > std::fabs(a[p][c])) p = r;
    if (!(std::fabs(a[p][c]) > 1e-12 * scale)) return false;
    std::swap(a[p], a[c]);
    std::swap(b[p], b[c]);
    for (int r = c + 1; r < 3; ++r) {
      const double f = a[r][c] / a[c][c];
      for (int k = c; k < 3; ++k) a[r][k] -= f * a[c][k];
      b[r] -= f * b[c];
    }
  }
  for (int c = 2; c >= 0; --c) {
    double s = b[c];
    for (int k = c + 1; k < 3; ++k) s -= a[c][k] * x[k];
    x[c] = s / a[c][c];
  }
  return true;
}

// What one set of pixels gives: its figures, its plane and the field less
// the plane.
struct setFigures {
  pixelFigures figures, flat;
  planeFigures plane;
};

pixelFigures fromExtremes(double n, double sum, const extreme& lo, const extreme& hi) {
  pixelFigures f;
  f.count = static_cast<long long>(n);
  if (f.count == 0) return f;
  f.sum = sum;
  f.mean = sum / n;
  f.min = lo.value, f.minX = lo.x, f.minY = lo.y;
  f.max = hi.value, f.maxX = hi.x, f.maxY = hi.y;
  return f;
}

constexpr int refinementSteps = 4;

// The figures of the pixels that `blocked` does not flag (all of them when
// it is null); the extremes of the field less the plane only with
// `flatExtremes`.
setFigures measureSet(const filterField& field, const circle::blockedPlane* blocked,
                      bool flatExtremes) {
  const int W = field.width(), H = field.height();
  auto flags = [&](int y) { return blocked ? blocked->row(y, W) : nullptr; };
  std::vector<firstRow> first(H);
  zel::forEachRow(H, field.count, [&](int y) {
    if (const std::uint8_t* blk = flags(y))
      measureFirst(field.row(y), blk, W, y, first[y]);
    else
      measureFirstClean(field.row(y), W, y, first[y]);
  });
  // Moments about the image's centre, which keeps the normal equations
  // well scaled.
  const double cx = (W - 1) * 0.5, cy = (H - 1) * 0.5;
  double n = 0, sum = 0, su = 0, sw = 0, suu = 0, suw = 0, sww = 0, suv = 0, swv = 0;
  extreme lo{inf}, hi{-inf};
  for (int y = 0; y < H; ++y) {
    const firstRow& r = first[y];
    const double w = y - cy, u = r.sumX - cx * r.n;
    n += r.n;
    sum += r.sum;
    su += u;
    sw += w * r.n;
    suu += r.sumXX - 2 * cx * r.sumX + cx * cx * r.n;
    suw += w * u;
    sww += w * w * r.n;
    suv += r.sumXV - cx * r.sum;
    swv += w * r.sum;
    mergeExtreme(lo, r.lo, true);
    mergeExtreme(hi, r.hi, false);
  }
  setFigures out;
  out.figures = fromExtremes(n, sum, lo, hi);
  if (n == 0) return out;
  const std::array<std::array<double, 3>, 3> M = {
      {{n, su, sw}, {su, suu, suw}, {sw, suw, sww}}};
  std::array<double, 3> p = {out.figures.mean, 0, 0};  // level, slopes in x and y
  const bool solvable = solve3(M, {sum, suv, swv}, p);
  const double range = out.figures.max - out.figures.min;
  std::vector<secondRow> second(H);
  for (int step = 1;; ++step) {
    zel::forEachRow(H, field.count, [&](int y) {
      second[y] = {};
      const double c = p[0] + p[2] * (y - cy) - p[1] * cx;
      if (const std::uint8_t* blk = flags(y))
        measureSecond(field.row(y), blk, W, y, out.figures.mean, c, p[1], second[y]);
      else
        measureSecondClean(field.row(y), W, y, out.figures.mean, c, p[1], flatExtremes, second[y]);
    });
    double deviation = 0, r = 0, ur = 0, wr = 0, rr = 0;
    extreme flo{inf}, fhi{-inf};
    for (int y = 0; y < H; ++y) {
      const secondRow& s = second[y];
      deviation += s.deviation;
      r += s.r;
      ur += s.xr - cx * s.r;
      wr += (y - cy) * s.r;
      rr += s.rr;
      mergeExtreme(flo, s.lo, true);
      mergeExtreme(fhi, s.hi, false);
    }
    out.figures.deviation = std::sqrt(deviation / n);
    out.flat = fromExtremes(n, r, flo, fhi);
    out.flat.deviation = std::sqrt(std::max(0.0, rr / n - out.flat.mean * out.flat.mean));
    out.plane = {p[0] - p[1] * cx - p[2] * cy, p[1], p[2], std::sqrt(rr / n), false};
    std::array<double, 3> d = {0, 0, 0};
    if (!solvable || !solve3(M, {r, ur, wr}, d)) break;
    // The largest change of the plane over the image.
    const double move = std::fabs(d[0]) + std::fabs(d[1]) * cx + std::fabs(d[2]) * cy;
    if (move <= 1e-6 * range) {
      out.plane.byPrecision = true;
      break;
    }
    if (step == refinementSteps) break;
    for (int k = 0; k < 3; ++k) p[k] += d[k];
  }
  return out;
}

// 256 levels over the whole image's range: trunc(v/scale + offset), held to
// 0 .. 255; a level l stands for the intensity (l - offset)*scale.
struct byteView {
  double scale = 1, offset = 0;
  byteView(double min, double max) {
    if (max > min) scale = (max - min) / 255.999;
    offset = -min / scale;
  }
  int level(float v) const {
    const double t = std::trunc(v / scale + offset);
    return t > 0 ? (t < 255 ? static_cast<int>(t) : 255) : 0;
  }
  double intensity(double l) const { return (l - offset) * scale; }
};

using histogram = std::array<double, 256>;

// The levels of n pixels.
TAMBLE_CLONES void levelsOf(const float* v, const byteView& view, std::uint8_t* __restrict out,
                            int n) {
  const double scale = view.scale, offset = view.offset;
  for (int i = 0; i < n; ++i) {
    const double t = std::trunc(v[i] / scale + offset);
    out[i] = static_cast<std::uint8_t>(t > 0 ? (t < 255 ? t : 255) : 0);
  }
}

// The histograms of the view over all pixels and over the valid ones:
// bands of rows in parallel, their counts added up (whole numbers: exact in
// any order).
void levelCounts(const filterField& field, const circle::blockedPlane& blocked, const byteView& view,
                 histogram& whole, histogram& active) {
  const int W = field.width(), H = field.height();
  constexpr int bandRows = 64;
  const int bands = (H + bandRows - 1) / bandRows;
  using counts = std::array<std::uint32_t, 256>;
  std::vector<counts> bandWhole(bands), bandActive(bands);
  zel::forEachRow(bands, field.count, [&](int band) {
    counts& w = bandWhole[band];
    counts& a = bandActive[band];
    w.fill(0), a.fill(0);
    std::vector<std::uint8_t> levels(W);
    for (int y = band * bandRows; y < std::min(H, (band + 1) * bandRows); ++y) {
      levelsOf(field.row(y), view, levels.data(), W);
      const std::uint8_t* blk = blocked.row(y, W);
      for (int x = 0; x < W; ++x) ++w[levels[x]];
      if (!blk)
        for (int x = 0; x < W; ++x) ++a[levels[x]];
      else
        for (int x = 0; x < W; ++x) a[levels[x]] += blk[x] == 0;
    }
  });
  whole.fill(0), active.fill(0);
  for (int band = 0; band < bands; ++band)
    for (int l = 0; l < 256; ++l) whole[l] += bandWhole[band][l], active[l] += bandActive[band][l];
}

double total(const histogram& h) {
  double n = 0;
  for (double c : h) n += c;
  return n;
}

// Shannon entropy in bits and energy (sum of p^2) of a histogram.
void entropyEnergy(const histogram& h, double& entropy, double& energy) {
  const double n = total(h);
  entropy = energy = 0;
  if (n == 0) return;
  for (double c : h) {
    if (c == 0) continue;
    const double p = c / n;
    entropy -= p * std::log2(p);
    energy += p * p;
  }
}

// Full scale over the spread of the histogram between its 0.5% and 99.5%
// points; 0 when it has no spread.
double pdfGain(const histogram& h, const byteView& view, double fullScale) {
  const double n = total(h);
  if (n == 0) return 0;
  double below = 0;
  int low = -1, high = 255;
  for (int l = 0; l < 256; ++l) {
    below += h[l];
    if (low < 0 && below > 0.005 * n) low = l;
    if (below >= 0.995 * n) {
      high = l;
      break;
    }
  }
  const double spread = view.intensity(high + 1) - view.intensity(low);
  return spread > 0 ? fullScale / spread : 0;
}

// Kapur's threshold: the level that makes the entropies of the two classes
// largest in sum; the threshold is the upper edge of that level.
void entropyThreshold(const histogram& h, const byteView& view, double& threshold, double& best) {
  const double n = total(h);
  threshold = view.intensity(0), best = 0;
  if (n == 0) return;
  bool found = false;
  for (int t = 0; t < 255; ++t) {
    double below = 0;
    for (int l = 0; l <= t; ++l) below += h[l];
    const double above = n - below;
    if (below == 0 || above == 0) continue;
    double e = 0;
    for (int l = 0; l < 256; ++l) {
      if (h[l] == 0) continue;
      const double p = h[l] / (l <= t ? below : above);
      e -= p * std::log2(p);
    }
    if (!found || e > best) found = true, best = e, threshold = view.intensity(t + 1);
  }
}

// Tsai's moment-preserving threshold: two levels z0 < z1 and a share p0 that
// keep the first three moments; the threshold is the upper edge of the
// p0-tile, and the second figure is z1 as an intensity.
void momentThreshold(const histogram& h, const byteView& view, double& threshold, double& upper) {
  const double n = total(h);
  threshold = upper = view.intensity(0);
  if (n == 0) return;
  double m1 = 0, m2 = 0, m3 = 0;
  for (int l = 0; l < 256; ++l) {
    const double p = h[l] / n, z = l + 0.5;
    m1 += p * z, m2 += p * z * z, m3 += p * z * z * z;
  }
  const double cd = m2 - m1 * m1;
  if (!(cd > 1e-12)) {
    threshold = upper = view.intensity(m1);
    return;
  }
  const double c0 = (m1 * m3 - m2 * m2) / cd, c1 = (m1 * m2 - m3) / cd;
  const double root = std::sqrt(std::max(0.0, c1 * c1 - 4 * c0));
  const double z0 = 0.5 * (-c1 - root), z1 = 0.5 * (-c1 + root);
  const double p0 = z1 > z0 ? (z1 - m1) / (z1 - z0) : 1.0;
  double below = 0;
  int t = 255;
  for (int l = 0; l < 256; ++l) {
    below += h[l] / n;
    if (below >= p0) {
      t = l;
      break;
    }
  }
  threshold = view.intensity(t + 1);
  upper = view.intensity(z1);
}

// Mean, standard deviation, skewness and excess kurtosis of the histogram's
// intensities (level centres).
void pdfMoments(const histogram& h, const byteView& view, summaryRecord& r) {
  const double n = total(h);
  if (n == 0) return;
  double mean = 0;
  for (int l = 0; l < 256; ++l) mean += h[l] / n * view.intensity(l + 0.5);
  double m2 = 0, m3 = 0, m4 = 0;
  for (int l = 0; l < 256; ++l) {
    const double d = view.intensity(l + 0.5) - mean, p = h[l] / n;
    m2 += p * d * d, m3 += p * d * d * d, m4 += p * d * d * d * d;
  }
  r.pdfMean = mean;
  r.pdfRms = std::sqrt(m2);
  if (m2 > 0) {
    r.asymmetry = m3 / (m2 * r.pdfRms);
    r.excess = m4 / (m2 * m2) - 3;
  }
}

// Otsu's split into three classes (background, segment, foreground) by the
// two levels that make the variance between the classes largest; the
// classes' mean intensities and the foreground's share of the pixels.
void threeClasses(const histogram& h, const byteView& view, summaryRecord& r) {
  const double n = total(h);
  if (n == 0) return;
  std::array<double, 257> c{}, s{};  // prefix counts and level sums
  for (int l = 0; l < 256; ++l) c[l + 1] = c[l] + h[l], s[l + 1] = s[l] + h[l] * (l + 0.5);
  auto classMean = [&](int a, int b) { return c[b] > c[a] ? (s[b] - s[a]) / (c[b] - c[a]) : 0.0; };
  double best = -1;
  int t1 = 0, t2 = 0;  // classes [0, t1), [t1, t2), [t2, 256)
  for (int a = 1; a < 255; ++a)
    for (int b = a + 1; b < 256; ++b) {
      double between = 0;
      for (auto [lo, hi] : {std::pair{0, a}, {a, b}, {b, 256}}) {
        const double m = classMean(lo, hi);
        between += (c[hi] - c[lo]) * m * m;
      }
      if (between > best) best = between, t1 = a, t2 = b;
    }
  auto meanIntensity = [&](int a, int b) {
    return c[b] > c[a] ? view.intensity(classMean(a, b)) : 0.0;
  };
  r.backgroundMean = meanIntensity(0, t1);
  r.segmentMean = meanIntensity(t1, t2);
  r.foregroundMean = meanIntensity(t2, 256);
  r.squaresRatio = 100.0 * (c[256] - c[t2]) / n;
}

// The largest and the mean local range (maximum less minimum) over the N by
// N squares around the included pixels, the squares clipped to the image
// and holding included pixels only.
void overfall(const filterField& field, const std::uint8_t* blocked, int N, double& largest,
              double& mean) {
  const int W = field.width(), H = field.height(), h = N / 2;
  std::vector<float> rowMax(field.count), rowMin(field.count);
  auto excluded = [&](std::size_t i) { return blocked && blocked[i]; };
  zel::forEachRow(H, field.count, [&](int y) {
    for (int x = 0; x < W; ++x) {
      float mx = -std::numeric_limits<float>::infinity(), mn = -mx;
      for (int s = std::max(0, x - h); s <= std::min(W - 1, x + h); ++s) {
        const std::size_t i = static_cast<std::size_t>(y) * W + s;
        if (excluded(i)) continue;
        mx = std::max(mx, field.data[i]);
        mn = std::min(mn, field.data[i]);
      }
      rowMax[static_cast<std::size_t>(y) * W + x] = mx;
      rowMin[static_cast<std::size_t>(y) * W + x] = mn;
    }
  });
  std::vector<double> rowLargest(H, 0), rowSum(H, 0), rowCount(H, 0);
  zel::forEachRow(H, field.count, [&](int y) {
    for (int x = 0; x < W; ++x) {
      if (excluded(static_cast<std::size_t>(y) * W + x)) continue;
      float mx = -std::numeric_limits<float>::infinity(), mn = -mx;
      for (int r = std::max(0, y - h); r <= std::min(H - 1, y + h); ++r) {
        const std::size_t i = static_cast<std::size_t>(r) * W + x;
        mx = std::max(mx, rowMax[i]);
        mn = std::min(mn, rowMin[i]);
      }
      const double range = static_cast<double>(mx) - mn;
      rowLargest[y] = std::max(rowLargest[y], range);
      rowSum[y] += range;
      rowCount[y] += 1;
    }
  });
  double n = 0, sum = 0;
  largest = 0;
  for (int y = 0; y < H; ++y) largest = std::max(largest, rowLargest[y]), sum += rowSum[y], n += rowCount[y];
  mean = n > 0 ? sum / n : 0;
}

// The least and the largest standard deviation of the valid pixels over the
// rows (columns) that hold any.
void lineDeviations(const filterField& field, const circle::blockedPlane& blocked, bool rows,
                    double& least, double& largest) {
  const int W = field.width(), H = field.height();
  const int lines = rows ? H : W, length = rows ? W : H;
  least = largest = 0;
  bool any = false;
  for (int a = 0; a < lines; ++a) {
    double n = 0, sum = 0;
    auto at = [&](int b) { return rows ? static_cast<std::size_t>(a) * W + b : static_cast<std::size_t>(b) * W + a; };
    for (int b = 0; b < length; ++b)
      if (!blocked.flags[at(b)]) n += 1, sum += field.data[at(b)];
    if (n == 0) continue;
    const double mean = sum / n;
    double dev = 0;
    for (int b = 0; b < length; ++b)
      if (!blocked.flags[at(b)]) dev += (field.data[at(b)] - mean) * (field.data[at(b)] - mean);
    const double d = std::sqrt(dev / n);
    least = any ? std::min(least, d) : d;
    largest = any ? std::max(largest, d) : d;
    any = true;
  }
}

// Haralick's maximum probability: the largest entry of the symmetric
// co-occurrence matrix of the 256 levels over pairs of valid neighbours
// (right and below), in percent.
double haralickMaximum(const filterField& field, const circle::blockedPlane& blocked,
                       const byteView& view) {
  const int W = field.width(), H = field.height();
  std::vector<double> m(256 * 256, 0);
  double pairs = 0;
  auto pair = [&](std::size_t i, std::size_t j) {
    if (blocked.flags[i] || blocked.flags[j]) return;
    const int a = view.level(field.data[i]), b = view.level(field.data[j]);
    m[a * 256 + b] += 1, m[b * 256 + a] += 1;
    pairs += 2;
  };
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      const std::size_t i = static_cast<std::size_t>(y) * W + x;
      if (x + 1 < W) pair(i, i + 1);
      if (y + 1 < H) pair(i, i + W);
    }
  return pairs > 0 ? 100.0 * *std::max_element(m.begin(), m.end()) / pairs : 0.0;
}

// The camera's full scale: the smallest of the usual depths that holds the
// maximum, else the maximum.
double fullScaleFor(double max) {
  for (double depth : {255.0, 1023.0, 4095.0, 16383.0, 65535.0})
    if (max <= depth) return depth;
  return max;
}

double gain(double fullScale, const pixelFigures& f) {
  return f.max > f.min ? fullScale / (f.max - f.min) : 0.0;
}

// The relative deviation in percent, only for a mean above 1e-10.
std::optional<double> relative(double deviation, double mean) {
  if (!(mean > 1e-10)) return std::nullopt;
  return 100.0 * deviation / mean;
}

}  // namespace

void ImageSummary(const filterField& field, const filterMask& bkgr, const filterMask& ROI,
                  summaryRecord& r) {
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
  const int W = field.width(), H = field.height();
  r.width = W, r.height = H;
  const circle::blockedPlane blocked(bkgr.data, ROI.data, W, H);
  const double all = static_cast<double>(field.count);
  const setFigures active = measureSet(field, &blocked, r.mode == summaryWithoutTrend);
  r.active = active.figures;
  r.activePlane = active.plane;
  r.activeFlat = active.flat;
  r.activeRatio = all > 0 ? 100.0 * r.active.count / all : 0;
  if (r.mode == summaryEasy) {
    r.activeRelative = relative(r.active.deviation, r.active.mean);
    r.activeFlatRelative = relative(r.activeFlat.deviation, r.active.mean);
    return;
  }
  // Without a blocked pixel the whole image is the active one: the same
  // rows through the same sums.
  const setFigures whole =
      blocked.any ? measureSet(field, nullptr, r.mode == summaryWithoutTrend) : active;
  r.whole = whole.figures;
  r.wholePlane = whole.plane;
  r.wholeFlat = whole.flat;
  r.integral = r.whole.sum;
  r.fullScale = fullScaleFor(r.whole.max);
  r.saturatedRatio = all > 0 ? 100.0 * r.integral / (all * r.fullScale) : 0;
  r.wholeGain = gain(r.fullScale, r.whole);
  r.activeGain = gain(r.fullScale, r.active);
  const byteView view(r.whole.min, r.whole.max);
  histogram wholeLevels, activeLevels;
  levelCounts(field, blocked, view, wholeLevels, activeLevels);
  r.wholePdfGain = pdfGain(wholeLevels, view, r.fullScale);
  r.activePdfGain = pdfGain(activeLevels, view, r.fullScale);
  if (r.mode != summaryAdvanced) return;

  r.activePercent = r.activeRatio;
  for (std::size_t i = 0; i < field.count; ++i) r.zeroCount += field.data[i] == 0.0f;
  r.zeroPercent = all > 0 ? 100.0 * r.zeroCount / all : 0;
  entropyEnergy(wholeLevels, r.wholeEntropy, r.wholeEnergy);
  entropyEnergy(activeLevels, r.activeEntropy, r.activeEnergy);
  entropyThreshold(wholeLevels, view, r.entropyThreshold, r.entropyThresholdMax);
  momentThreshold(wholeLevels, view, r.momentThreshold, r.momentThresholdMax);
  pdfMoments(activeLevels, view, r);
  threeClasses(activeLevels, view, r);
  const int sizes[3] = {3, 5, 7};
  for (int k = 0; k < 3; ++k) {
    overfall(field, nullptr, sizes[k], r.overfallMax[0][k], r.overfallMean[0][k]);
    overfall(field, blocked.flags.data(), sizes[k], r.overfallMax[1][k], r.overfallMean[1][k]);
  }
  lineDeviations(field, blocked, true, r.rowDeviationMin, r.rowDeviationMax);
  lineDeviations(field, blocked, false, r.columnDeviationMin, r.columnDeviationMax);
  r.haralick = haralickMaximum(field, blocked, view);
}

namespace {

std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));
std::string format(const char* pattern, ...) {
  va_list args;
  va_start(args, pattern);
  char buffer[512];
  std::vsnprintf(buffer, sizeof buffer, pattern, args);
  va_end(args);
  return buffer;
}

// A row whose figure is missing: its caption alone.
std::string captionOnly(std::string pattern) {
  pattern = pattern.substr(0, pattern.find('%'));
  while (!pattern.empty() && pattern.back() == ' ') pattern.pop_back();
  return pattern;
}

void addPlaneRows(std::vector<std::string>& rows, const planeFigures& p, bool whole) {
  if (whole) {
    rows.push_back(format("Approximation Whole Image by Plane (Z=Ao+Ax*X+Ay*Y)  Ao   %g", p.a0));
    rows.push_back(format("Approximation Whole Image by Plane (Z=Ao+Ax*X+Ay*Y)  Ax   %g", p.ax));
    rows.push_back(format("Approximation Whole Image by Plane (Z=Ao+Ax*X+Ay*Y)  Ay   %g", p.ay));
    rows.push_back(
        format("Average Deviation of  Whole Image vs Plane  (Dispersion)  %g", p.dispersion));
  } else {
    rows.push_back(format("Approximation Active Image by Plane (Z=Ao+Ax*X+Ay*Y) Ao   %g", p.a0));
    rows.push_back(format("Approximation Active Image by Plane (Z=Ao+Ax*X+Ay*Y) Ax   %g", p.ax));
    rows.push_back(format("Approximation Active Image by Plane (Z=Ao+Ax*X+Ay*Y) Ay   %g", p.ay));
    rows.push_back(
        format("Average Deviation of  Active Image vs Plane (Dispersion)  %g", p.dispersion));
  }
  rows.push_back(p.byPrecision ? "Exit By Precision" : "Exit By StepNumber");
}

void blockA(std::vector<std::string>& rows, const summaryRecord& r) {
  const pixelFigures &w = r.whole, &a = r.active;
  rows.push_back(format("Image Length in Horizontal Direction (X)                 %d", r.width));
  rows.push_back(format("Image Length in Vertical Direction (Y)                   %d", r.height));
  rows.push_back(format("Intensity_Integral Total Pixels Intensity Sum            %f", r.integral));
  rows.push_back(
      format("Ratio_of_Saturated(in percent%%) =relative(nx*ny*Imax)    %f", r.saturatedRatio));
  rows.push_back(format("Whole Image Min                                          %f at X=%d Y=%d",
                        w.min, w.minX, w.minY));
  rows.push_back(format("Whole Image Max                                          %f at X=%d Y=%d",
                        w.max, w.maxX, w.maxY));
  rows.push_back(format("Whole Image Mean                                         %f", w.mean));
  rows.push_back(format("Whole Image Standard Deviation                           %f", w.deviation));
  rows.push_back(format("Whole_Image_Max_Linear_Gain=(Imax_CCD-0.0)/(Imax-Imin)   %f", r.wholeGain));
  rows.push_back(format("Whole Image PDF Based Max Gain                           %f", r.wholePdfGain));
  rows.push_back(format("Active_Image_Pixels_Number_Ratio in percents             %f", r.activeRatio));
  rows.push_back(format("Active Image Min                                         %f at X=%d Y=%d",
                        a.min, a.minX, a.minY));
  rows.push_back(format("Active Image Max                                         %f at X=%d Y=%d",
                        a.max, a.maxX, a.maxY));
  rows.push_back(format("Active Image Mean                                        %f", a.mean));
  rows.push_back(format("Active Image Standard Deviation                          %f", a.deviation));
  rows.push_back(format("Active_Image_Max_Linear_Gain=(Imax_CCD-0.0)/(Imax-Imin)  %f", r.activeGain));
  rows.push_back(format("Active Image PDF Based Max Gain                          %f", r.activePdfGain));
}

void blockB(std::vector<std::string>& rows, const summaryRecord& r) {
  rows.push_back(format("Whole_Pixels_Number=nx*ny                                %d",
                        static_cast<int>(r.whole.count)));
  rows.push_back(format("Active Pixels Number                                     %d",
                        static_cast<int>(r.active.count)));
  rows.push_back(format("%%: 100.0*Active_Pixels_Number/Whole_Pixels_Number        %f", r.activePercent));
  rows.push_back(format("Zero Pixels Number                                       %d",
                        static_cast<int>(r.zeroCount)));
  rows.push_back(format("%%: 100.0*Zero_Pixels_Number/Whole_Pixels_Number          %f", r.zeroPercent));
  rows.push_back(format("Whole Image Entropy                                      %f", r.wholeEntropy));
  rows.push_back(format("Whole Image Energy                                       %f", r.wholeEnergy));
  rows.push_back(format("Active Image Entropy                                     %f", r.activeEntropy));
  rows.push_back(format("Active Image Energy                                      %f", r.activeEnergy));
  rows.push_back(
      format("Entropy_Based_Threshold for Whole Image Binarization     %f", r.entropyThreshold));
  rows.push_back(
      format("Entropy_Based_Threshold_Max for Whole Image Binarization %f", r.entropyThresholdMax));
  rows.push_back(format("Moments_Conservation_Threshold                           %f", r.momentThreshold));
  rows.push_back(
      format("Moments_Conservation_Threshold_Max                       %f", r.momentThresholdMax));
  rows.push_back(format("Probability Density Function Mean                        %f", r.pdfMean));
  rows.push_back(format("Probability Density Function Root_Mean_Square            %f", r.pdfRms));
  rows.push_back(format("Asymmetry Based on Standard Normal Distribution          %f", r.asymmetry));
  rows.push_back(format("Excess Based on Standard Normal Distribution             %f", r.excess));
  rows.push_back(format("PDF_Based_Background_Mean                                %f", r.backgroundMean));
  rows.push_back(format("PDF_Based_Segment_Mean                                   %f", r.segmentMean));
  rows.push_back(format("PDF_Based_Foreground_Mean                                %f", r.foregroundMean));
  rows.push_back(format("PDF_Ratio_of_Squares in %% (percents)                     %f", r.squaresRatio));
}

void blockC(std::vector<std::string>& rows, const summaryRecord& r) {
  const char* largest[2][3] = {{"Whole_Image Maximum OverFall in 3x3 Window     %f",
                                "Whole_Image Maximum OverFall in 5x5 Window     %f",
                                "Whole_Image Maximum OverFall in 7x7 Window     %f"},
                               {"Active_Image Maximum OverFall in 3x3 Window    %f",
                                "Active_Image Maximum OverFall in 5x5 Window    %f",
                                "Active_Image Maximum OverFall in 7x7 Window    %f"}};
  const char* mean[2][3] = {{"Whole_Image Mean OverFall in 3x3 Window                  %f",
                             "Whole_Image Mean OverFall in 5x5 Window                  %f",
                             "Whole_Image Mean OverFall in 7x7 Window                  %f"},
                            {"Active_Image Mean OverFall in 3x3 Window                 %f",
                             "Active_Image Mean OverFall in 5x5 Window                 %f",
                             "Active_Image Mean OverFall in 7x7 Window                 %f"}};
  for (int set = 0; set < 2; ++set) {
    for (int k = 0; k < 3; ++k) rows.push_back(format(largest[set][k], r.overfallMax[set][k]));
    for (int k = 0; k < 3; ++k) rows.push_back(format(mean[set][k], r.overfallMean[set][k]));
  }
  rows.push_back(
      format("Active_Image Min Standard Deviation over all Rows        %f", r.rowDeviationMin));
  rows.push_back(
      format("Active_Image Max Standard Deviation over all Rows        %f", r.rowDeviationMax));
  rows.push_back(
      format("Active_Image Min Standard Deviation over all Columns     %f", r.columnDeviationMin));
  rows.push_back(
      format("Active_Image Max Standard Deviation over all Columns     %f", r.columnDeviationMax));
  rows.push_back(format("Haralick ML Coefficient (%%) Shows Texture and its Type   %f", r.haralick));
  addPlaneRows(rows, r.wholePlane, true);
  addPlaneRows(rows, r.activePlane, false);
}

void blockD(std::vector<std::string>& rows, const summaryRecord& r) {
  const pixelFigures &w = r.wholeFlat, &a = r.activeFlat;
  rows.push_back(format("Whole Image Min w/o Trend                                %f at X=%d Y=%d",
                        w.min, w.minX, w.minY));
  rows.push_back(format("Whole Image Max  w/o Trend                               %f at X=%d Y=%d",
                        w.max, w.maxX, w.maxY));
  rows.push_back(format("Whole Image Mean  w/o Trend                              %f", w.mean));
  rows.push_back(format("Whole Image Standard Deviation w/o Trend                 %f", w.deviation));
  rows.push_back(format("Active Image Min w/o Trend                               %f at X=%d Y=%d",
                        a.min, a.minX, a.minY));
  rows.push_back(format("Active Image Max w/o Trend                               %f at X=%d Y=%d",
                        a.max, a.maxX, a.maxY));
  rows.push_back(format("Active Image Mean w/o Trend                              %f", a.mean));
  rows.push_back(format("Active Image Standard Deviation w/o Trend                %f", a.deviation));
}

void blockE(std::vector<std::string>& rows, const summaryRecord& r) {
  const pixelFigures &a = r.active, &f = r.activeFlat;
  rows.push_back(format("Active Pixels Number                                     %d",
                        static_cast<int>(a.count)));
  rows.push_back(format("Active_Image_Pixels_Number_Ratio in percents             %f", r.activeRatio));
  rows.push_back(format("Active Image Min                                         %f at X=%d Y=%d",
                        a.min, a.minX, a.minY));
  rows.push_back(format("Active Image Max                                         %f at X=%d Y=%d",
                        a.max, a.maxX, a.maxY));
  rows.push_back(format("Active Image Mean                                        %f", a.mean));
  rows.push_back(format("Active Image Standard Deviation Absolute                 %f", a.deviation));
  const char* relativeRow = "Active Image Standard Deviation Relative in pc           %f";
  rows.push_back(r.activeRelative ? format(relativeRow, *r.activeRelative) : captionOnly(relativeRow));
  rows.push_back(format("Active Image Mean w/o Trend                              %f", f.mean));
  rows.push_back(format("Active Image Standard Deviation w/o Trend Absolute       %f", f.deviation));
  const char* flatRow = "Active Image Standard Deviation w/o Trend Relative in pc %f";
  rows.push_back(r.activeFlatRelative ? format(flatRow, *r.activeFlatRelative) : captionOnly(flatRow));
}

}  // namespace

std::vector<std::string> summaryLines(const summaryRecord& r) {
  std::vector<std::string> rows;
  switch (r.mode) {
    case summaryAdvanced:
      blockA(rows, r);
      blockB(rows, r);
      blockC(rows, r);
      break;
    case summaryWithoutTrend:
      blockA(rows, r);
      blockD(rows, r);
      break;
    default: blockE(rows, r);
  }
  return rows;
}

}  // namespace tamble
