// The resampling engines. Every output pixel depends on the source alone, so
// the output is cut into tiles whose source stays in the cache, bands of
// tiles run in parallel, and the bits are the same with any number of
// threads. The new layers are built in work buffers and replace the old ones
// only after the last pixel.
//
// The map is read with its order; there are no zones yet, so `zones` true
// resamples exactly as false does.
#include "geometry/warp.h"

#include <omp.h>
#ifdef __SSE__
#include <xmmintrin.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "api/errors.h"
#include "api/parallel.h"
#include "geometry/polynomialMap.h"
#include "geometry/spline.h"

namespace tamble {
namespace {

using fieldStore = zel::arrayStore<float, 2>;
using maskStore = zel::arrayStore<bool, 2>;

// The layers as they were; every output pixel reads them. Passed by value, so
// that its pointers stay in registers (a store through a bool* could
// otherwise change them); `target` likewise.
struct source {
  int W = 0, H = 0;
  const float* field = nullptr;
  const bool* bkgr = nullptr;
  const bool* roi = nullptr;
  bool holes = false;  // some pixel lies outside the ROI

  std::size_t at(int x, int y) const { return static_cast<std::size_t>(y) * W + x; }
  std::uint64_t pixels() const { return static_cast<std::uint64_t>(W) * H; }
};

// Where the new layers go.
struct target {
  float* field;
  bool* bkgr;
  bool* roi;

  // A pixel whose source lies off the image: background, and out of the ROI
  // only if the image had a hole in its ROI already.
  void outside(std::size_t i, bool holes) const {
    field[i] = 0.0f;
    bkgr[i] = true;
    roi[i] = !holes;
  }
  void copyMasks(std::size_t i, const source& src, std::size_t from) const {
    bkgr[i] = src.bkgr[from];
    roi[i] = src.roi[from];
  }
};

// The new layers, complete before any of them replaces an old one.
struct result {
  zel::Array<float> field;
  zel::Array<bool> bkgr, roi;

  explicit result(std::size_t n) : field(n), bkgr(n), roi(n) {}
  target view() { return {field.p, bkgr.p, roi.p}; }
};

// Checks everything before anything changes.
source prepare(const fieldStore& field, const maskStore& bkgr, const maskStore& ROI,
               const polynomialState& map) {
  if (!field.sameExtent(bkgr) || !field.sameExtent(ROI)) zel::raise<zel::DimError>();
  if (!isPolynomialOrder(map.order))
    zel::raise<zel::AlgoError>("Warp: the polynomial map has no valid order");
  source src;
  src.W = field.width();
  src.H = field.height();
  src.field = field.data;
  src.bkgr = bkgr.data;
  src.roi = ROI.data;
  const bool* roi = ROI.data;
  src.holes = std::find(roi, roi + ROI.count, false) != roi + ROI.count;
  return src;
}

void moveMarkers(zel::markersArray& markers, const polynomialState& map) {
  for (marker& m : markers.items) {
    const mappedPoint p = mapPoint(map.inverseX, map.inverseY, map.order, m.x, m.y);
    m.x = p.x;
    m.y = p.y;
  }
}

void replaceLayers(const result& out, fieldStore& field, maskStore& bkgr, maskStore& ROI) {
  std::memcpy(field.data, out.field.p, field.count * sizeof(float));
  std::memcpy(bkgr.data, out.bkgr.p, bkgr.count * sizeof(bool));
  std::memcpy(ROI.data, out.roi.p, ROI.count * sizeof(bool));
}

// A tile's source, under maps near scale 1, fits the first-level cache.
constexpr int tileWidth = 64, tileHeight = 32, tilePixels = tileWidth * tileHeight;

struct tile {
  int x0, y0, w, h;
};

// Calls tileFn(tile, scratch) over the output. Bands of tiles run in
// parallel; each thread has its own Scratch, made once per call. Small images
// are not worth the threads.
template <class Scratch, class TileFn>
void forEachTile(const source& src, TileFn tileFn) {
  const int threads = src.pixels() >= zel::parallelThreshold ? omp_get_max_threads() : 1;
  std::vector<Scratch> scratch(static_cast<std::size_t>(threads));
  const int bands = (src.H + tileHeight - 1) / tileHeight;
#pragma omp parallel for schedule(static) num_threads(threads)
  for (int band = 0; band < bands; ++band) {
    Scratch& s = scratch[static_cast<std::size_t>(omp_get_thread_num())];
    const int y0 = band * tileHeight, h = std::min(tileHeight, src.H - y0);
    for (int x0 = 0; x0 < src.W; x0 += tileWidth)
      tileFn(tile{x0, y0, std::min(tileWidth, src.W - x0), h}, s);
  }
}

// Where the forward map puts the pixels of one tile row.
struct rowScratch {
  double xs[tileWidth], ys[tileWidth];
};

template <class RowFn>
void forEachMappedRow(const source& src, const polynomialState& map, RowFn rowFn) {
  forEachTile<rowScratch>(src, [&](const tile& t, rowScratch& s) {
    for (int y = t.y0; y < t.y0 + t.h; ++y) {
      mapRow(map.forwardX, map.forwardY, map.order, t.x0, t.w, y, s.xs, s.ys);
      rowFn(y, t.x0, t.w, s.xs, s.ys);
    }
  });
}

// The bilinear value at fractions (tx, ty) past column x0 of row `upper`,
// first along y, then along x; x1 is the next column, `lower` the next row.
// On the last column only along y, on the last row only along x. The
// fractions are f64, so are the sums; the value is narrowed once.
float bilinear(const float* upper, const float* lower, int x0, int x1, bool lastColumn,
               bool lastRow, double tx, double ty) {
  if (lastColumn && lastRow) return upper[x0];
  if (lastColumn) return static_cast<float>(upper[x0] * (1 - ty) + lower[x0] * ty);
  if (lastRow) return static_cast<float>(upper[x0] * (1 - tx) + upper[x1] * tx);
  const double left = upper[x0] * (1 - ty) + lower[x0] * ty;
  const double right = upper[x1] * (1 - ty) + lower[x1] * ty;
  return static_cast<float>(left * (1 - tx) + right * tx);
}

// WarpBilinearMS: trunc(f) must lie in the image, so f in (-1, n) is inside
// (NaN is not).
bool truncInside(double f, int n) { return f > -1.0 && f < n; }

void bilinearMSRow(const source src, const target out, int y, int x0, int w, const double* xs,
                   const double* ys) {
  for (int i = 0; i < w; ++i) {
    const std::size_t o = src.at(x0 + i, y);
    const double fx = xs[i], fy = ys[i];
    if (!truncInside(fx, src.W) || !truncInside(fy, src.H)) {
      out.outside(o, src.holes);
      continue;
    }
    const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
    const bool lastColumn = ix == src.W - 1, lastRow = iy == src.H - 1;
    const std::size_t at = src.at(ix, iy), below = at + static_cast<std::size_t>(src.W);
    const float* upper = src.field + src.at(0, iy);
    out.field[o] =
        bilinear(upper, upper + src.W, ix, ix + 1, lastColumn, lastRow, fx - ix, fy - iy);
    // Only the neighbours count, not (ix, iy) itself: the edge of a mask
    // stays thin instead of growing by the interpolation's reach.
    bool bkgr = false, roi = true;
    auto consult = [&](std::size_t j) {
      bkgr = bkgr || src.bkgr[j];
      roi = roi && src.roi[j];
    };
    if (!lastColumn) consult(at + 1);
    if (!lastRow) consult(below);
    if (!lastColumn && !lastRow) consult(below + 1);
    out.bkgr[o] = bkgr;
    out.roi[o] = roi;
  }
}

// WarpInterp: the nearest pixel trunc(f + 0.5) must lie in the image, which
// for negative f reaches down to -1.5, since trunc goes toward zero.
bool nearestInside(double f, int n) {
  const double s = f + 0.5;
  return s > -1.0 && s < n;
}

// Read access to a padded plane, passed by value.
struct grid {
  const float* origin;  // pixel (0, 0)
  std::ptrdiff_t stride;
  const float* at(int x, int y) const { return origin + y * stride + x; }
};

// The field with `margin` copies of its edge pixels on every side: the 5 by 5
// block about any inside point (ix, iy in -1 .. W-1, H-1) needs no checks.
class padded {
 public:
  static constexpr int margin = 3;
  const std::ptrdiff_t stride;

  explicit padded(const source& src)
      : stride(src.W + 2 * margin),
        values_(static_cast<std::size_t>(stride) * (src.H + 2 * margin)) {
    zel::forEachRow(src.H + 2 * margin, src.pixels(), [&](int py) {
      const float* from = src.field + src.at(0, std::clamp(py - margin, 0, src.H - 1));
      float* to = values_.p + static_cast<std::size_t>(py) * stride;
      std::fill(to, to + margin, from[0]);
      std::copy(from, from + src.W, to + margin);
      std::fill(to + margin + src.W, to + stride, from[src.W - 1]);
    });
  }
  grid view() const { return {values_.p + margin * stride + margin, stride}; }

 private:
  zel::Array<float> values_;
};

// Kinds 0 and 1; both take the masks of the nearest pixel.
template <int Kind>
void interpRow(const source src, const target out, int y, int x0, int w, const double* xs,
               const double* ys) {
  for (int i = 0; i < w; ++i) {
    const std::size_t o = src.at(x0 + i, y);
    const double fx = xs[i], fy = ys[i];
    if (!nearestInside(fx, src.W) || !nearestInside(fy, src.H)) {
      out.outside(o, src.holes);
      continue;
    }
    const std::size_t nearest = src.at(static_cast<int>(fx + 0.5), static_cast<int>(fy + 0.5));
    out.copyMasks(o, src, nearest);
    if constexpr (Kind == 0) {
      out.field[o] = src.field[nearest];
    } else {
      // ix and iy reach -1, where the edge pixel stands in (as padding would).
      const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
      const float* upper = src.field + src.at(0, std::max(iy, 0));
      const float* lower = src.field + src.at(0, iy + 1);
      out.field[o] = bilinear(upper, lower, std::max(ix, 0), ix + 1, ix == src.W - 1,
                              iy == src.H - 1, fx - ix, fy - iy);
    }
  }
}

// Kind 2. A pixel needs twelve splines: ten that depend on the data alone (one
// down each column of its block, one across each row) and two through the
// values these give at its fractions. Only piece 2 of each is used. The ten
// are shared with neighbouring pixels, so a tile solves them once per source
// position into tables, unless its pixels lie so far apart (a strong
// reduction) that solving them pixel by pixel is cheaper. Solves run four at
// a time side by side. Every way runs the same f32 operations in the same
// order on the same values, so none changes a bit.

// Four lanes. GCC's vector extension computes lane by lane in IEEE
// arithmetic, so a lane gives exactly the bits of the scalar operations.
using lanes = float __attribute__((vector_size(16)));
constexpr int laneCount = 4;

lanes load(const float* p) {
  lanes v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// Piece 2 (b, c, d) of splines through five knots, h = 1.
struct pieces {
  lanes b, c, d;
};

lanes squareRoot(lanes v) {
#ifdef __SSE__
  return _mm_sqrt_ps(v);  // correctly rounded, as std::sqrt
#else
  for (int l = 0; l < laneCount; ++l) v[l] = std::sqrt(v[l]);
  return v;
#endif
}

// splgn's slope ratios (slopeRatio in spline.cpp with hh = 1), into w. The damping
// exponents are formed for all lanes; std::pow runs only for the lanes
// outside 1/3 to 3, found from one mask rather than a branch per lane, which
// noise would make unpredictable.
void slopeRatios(lanes p, lanes q, lanes r, lanes dm, lanes& w) {
  w = squareRoot((q * q + 1.0f) / (p * p + 1.0f));
  const auto low = w < 0.33333334f, high = w >= 3.0f;
  unsigned damped = 0;
  for (int l = 0; l < laneCount; ++l) damped |= (low[l] | high[l]) ? 1u << l : 0u;
  if (damped == 0) return;
  const lanes e = low ? 2.0f / (r * r + 1.0f) : 2.0f / (dm * dm + 1.0f);
  for (; damped != 0; damped &= damped - 1) {
    const int l = __builtin_ctz(damped);
    w[l] = std::pow(w[l], e[l]);
  }
}

// splgn(1.0f, x, y, 5, ...) up to piece 2, for G groups of four splines:
// the same operations in the same order, without the factors of h = 1
// (multiplying by 1 changes no bit), and the back substitution stopped once
// piece 2 is known. Each step runs over the groups, so that their
// independent chains of divisions overlap.
template <int G>
void centrePieces(const lanes (&y)[G][5], pieces (&out)[G]) {
  lanes D0[G], D1[G], D2[G], D3[G], w[G], c1[G], d1[G], c2[G], d2[G], c3[G], d3[G];
  for (int g = 0; g < G; ++g) {
    D0[g] = y[g][1] - y[g][0];
    D1[g] = y[g][2] - y[g][1];
    D2[g] = y[g][3] - y[g][2];
    D3[g] = y[g][4] - y[g][3];
  }
  for (int g = 0; g < G; ++g) slopeRatios(D0[g], D1[g], D2[g], lanes{}, w[g]);
  for (int g = 0; g < G; ++g) {
    const lanes d0 = 1.5f * D0[g];
    c1[g] = -1.0f / ((-0.5f + 2.0f) * w[g] + 2.0f);
    d1[g] = (w[g] * d0 - (w[g] * D0[g] + D1[g]) * 3.0f) * c1[g];
  }
  for (int g = 0; g < G; ++g) slopeRatios(D1[g], D2[g], D3[g], D0[g], w[g]);
  for (int g = 0; g < G; ++g) {
    c2[g] = -1.0f / ((c1[g] + 2.0f) * w[g] + 2.0f);
    d2[g] = (w[g] * d1[g] - (w[g] * D1[g] + D2[g]) * 3.0f) * c2[g];
  }
  for (int g = 0; g < G; ++g) slopeRatios(D2[g], D3[g], y[g][4] - y[g][4], D1[g], w[g]);
  for (int g = 0; g < G; ++g) {
    c3[g] = -1.0f / ((c2[g] + 2.0f) * w[g] + 2.0f);
    d3[g] = (w[g] * d2[g] - (w[g] * D2[g] + D3[g]) * 3.0f) * c3[g];
  }
  for (int g = 0; g < G; ++g) {
    const lanes b4 = (D3[g] * 3.0f - d3[g]) / (c3[g] + 2.0f);
    const lanes b3 = c3[g] * b4 + d3[g];
    const lanes b2 = c2[g] * b3 + d2[g];
    const lanes s = b2 + b3;
    out[g] = {b2, D2[g] * 3.0f - s - b2, s - D2[g] * 2.0f};
  }
}

// splineValue of piece 2 at t, for a knot value y.
template <class T>
T pieceValue(T y, T b, T c, T d, T t) {
  const T t2 = t * t, t3 = t2 * t;
  return y + b * t + c * t2 + d * t3;
}

// One solved piece, as the tables keep it.
struct piece {
  float b, c, d;
};

// Solves n splines (n up to 4G) side by side: spline i has its knots at
// knot[i] + j*step[i], j = 0..4, and its piece goes to out[i]. Lanes past n
// repeat spline 0.
template <int G>
void solve(const float* const* knot, const std::ptrdiff_t* step, int n, piece* out) {
  lanes y[G][5];
  for (int g = 0; g < G; ++g)
    for (int l = 0; l < laneCount; ++l) {
      const int i = g * laneCount + l < n ? g * laneCount + l : 0;
      for (int j = 0; j < 5; ++j) y[g][j][l] = knot[i][j * step[i]];
    }
  pieces s[G];
  centrePieces(y, s);
  for (int i = 0; i < n; ++i) {
    const pieces& g = s[i / laneCount];
    out[i] = {g.b[i % laneCount], g.c[i % laneCount], g.d[i % laneCount]};
  }
}

// One thread's work space for kind 2.
struct tileScratch {
  int count = 0;       // inside pixels of the tile
  int x0, x1, y0, y1;  // bounding box of their block centres
  double xs[tileWidth], ys[tileWidth];
  int index[tilePixels];  // output pixel, counted from the tile's first
  int ix[tilePixels], iy[tilePixels];
  alignas(16) float tx[tilePixels + laneCount], ty[tilePixels + laneCount];
  // The five values at the pixel's fraction of the column (across) and row
  // (down) splines: the knots of its last two splines.
  alignas(16) float across[5][tilePixels + laneCount], down[5][tilePixels + laneCount];
  std::vector<piece> columns, rows;  // the tables
  piece own[12];                     // one pixel's ten pieces, solved alone

  tileScratch() : columns(tableSize), rows(tableSize) {}
  // Tables beyond this would cost more than solving pixel by pixel.
  static constexpr int piecesPerPixel = 10, tableSize = piecesPerPixel * tilePixels;
};

// Maps the tile, settles its outside pixels and the masks, and collects the
// inside ones with their block centres and fractions.
void collectTile(const source src, const polynomialState& map, const tile& t, tileScratch& s,
                 const target out) {
  s.count = 0;
  s.x0 = s.y0 = src.W + src.H;
  s.x1 = s.y1 = -1;
  for (int r = 0; r < t.h; ++r) {
    mapRow(map.forwardX, map.forwardY, map.order, t.x0, t.w, t.y0 + r, s.xs, s.ys);
    for (int c = 0; c < t.w; ++c) {
      const std::size_t o = src.at(t.x0 + c, t.y0 + r);
      const double fx = s.xs[c], fy = s.ys[c];
      if (!nearestInside(fx, src.W) || !nearestInside(fy, src.H)) {
        out.outside(o, src.holes);
        continue;
      }
      out.copyMasks(o, src, src.at(static_cast<int>(fx + 0.5), static_cast<int>(fy + 0.5)));
      const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
      const int k = s.count++;
      s.index[k] = r * src.W + c;
      s.ix[k] = ix;
      s.iy[k] = iy;
      s.tx[k] = static_cast<float>(fx - ix);
      s.ty[k] = static_cast<float>(fy - iy);
      s.x0 = std::min(s.x0, ix);
      s.x1 = std::max(s.x1, ix);
      s.y0 = std::min(s.y0, iy);
      s.y1 = std::max(s.y1, iy);
    }
  }
}

// Solves the pieces of `count` splines, the i-th with its knot 0 at
// first(i) and the others `step` apart, into out[0..count), eight at a time.
template <class First>
void solveRun(int count, std::ptrdiff_t step, First first, piece* out) {
  constexpr int wide = 2 * laneCount;
  const float* knot[wide];
  const std::ptrdiff_t steps[wide] = {step, step, step, step, step, step, step, step};
  for (int i = 0; i < count; i += wide) {
    const int n = std::min(wide, count - i);
    for (int l = 0; l < n; ++l) knot[l] = first(i + l);
    if (n > laneCount)
      solve<2>(knot, steps, n, out + i);
    else
      solve<1>(knot, steps, n, out + i);
  }
}

// Column pieces for centre rows y0..y1 and columns x0-2..x1+2, row pieces for
// centre columns x0..x1 and rows y0-2..y1+2.
void solveTables(const grid pad, tileScratch& s) {
  const int bw = s.x1 - s.x0 + 1;
  for (int y = s.y0; y <= s.y1; ++y)
    solveRun(
        bw + 4, pad.stride, [&](int i) { return pad.at(s.x0 - 2 + i, y - 2); },
        s.columns.data() + (y - s.y0) * (bw + 4));
  for (int y = s.y0 - 2; y <= s.y1 + 2; ++y)
    solveRun(
        bw, 1, [&](int i) { return pad.at(s.x0 - 2 + i, y); }, s.rows.data() + (y - s.y0 + 2) * bw);
}

// The ten data splines at the pixel's fractions: the knots of its last two.
void firstStage(const grid pad, tileScratch& s, int k, bool tabled) {
  const int ix = s.ix[k], iy = s.iy[k], bw = s.x1 - s.x0 + 1;
  const float* p = pad.at(ix, iy);
  const piece *columns = s.own, *rows = s.own + 5;
  if (tabled) {
    columns = s.columns.data() + (iy - s.y0) * (bw + 4) + (ix - s.x0);
    rows = s.rows.data() + (iy - s.y0) * bw + (ix - s.x0);
  } else {  // five columns down, five rows across, knot 0 at the block's edge
    const float* knot[10];
    std::ptrdiff_t step[10];
    for (int j = 0; j < 5; ++j) {
      knot[j] = p + (j - 2) - 2 * pad.stride;
      step[j] = pad.stride;
      knot[5 + j] = p + (j - 2) * pad.stride - 2;
      step[5 + j] = 1;
    }
    solve<3>(knot, step, 10, s.own);
  }
  const std::ptrdiff_t rowStep = tabled ? bw : 1;
  for (int j = 0; j < 5; ++j) {
    const piece& c = columns[j];
    const piece& r = rows[j * rowStep];
    s.across[j][k] = pieceValue(p[j - 2], c.b, c.c, c.d, s.ty[k]);
    s.down[j][k] = pieceValue(p[(j - 2) * pad.stride], r.b, r.c, r.d, s.tx[k]);
  }
}

// The last two splines, four pixels at a time, and the mean of both orders.
void secondStage(tileScratch& s, float* tileOut) {
  for (int j = 0; j < 5; ++j) {  // quiet lanes past the end
    std::fill_n(&s.across[j][s.count], laneCount, 0.0f);
    std::fill_n(&s.down[j][s.count], laneCount, 0.0f);
  }
  std::fill_n(s.tx + s.count, laneCount, 0.0f);
  std::fill_n(s.ty + s.count, laneCount, 0.0f);
  for (int k = 0; k < s.count; k += laneCount) {
    lanes y[2][5];  // across, then down
    for (int j = 0; j < 5; ++j) {
      y[0][j] = load(&s.across[j][k]);
      y[1][j] = load(&s.down[j][k]);
    }
    pieces a[2];
    centrePieces(y, a);
    const lanes first = pieceValue(y[0][2], a[0].b, a[0].c, a[0].d, load(&s.tx[k]));
    const lanes second = pieceValue(y[1][2], a[1].b, a[1].c, a[1].d, load(&s.ty[k]));
    const lanes value = (first + second) * 0.5f;
    for (int l = 0; l < laneCount && k + l < s.count; ++l) tileOut[s.index[k + l]] = value[l];
  }
}

void bicubicTile(const source src, const grid pad, const polynomialState& map, const tile& t,
                 tileScratch& s, const target out) {
  collectTile(src, map, t, s, out);
  if (s.count == 0) return;
  const std::int64_t bw = s.x1 - s.x0 + 1, bh = s.y1 - s.y0 + 1;
  const std::int64_t tableCost = (bw + 4) * bh + bw * (bh + 4);
  const bool tabled = tableCost < std::int64_t{tileScratch::piecesPerPixel} * s.count;
  if (tabled) solveTables(pad, s);
  for (int k = 0; k < s.count; ++k) firstStage(pad, s, k, tabled);
  secondStage(s, out.field + src.at(t.x0, t.y0));
}

}  // namespace

void WarpBilinearMS(zel::arrayStore<float, 2>& field, zel::arrayStore<bool, 2>& bkgr,
                    zel::arrayStore<bool, 2>& ROI, zel::markersArray& markers, bool /*zones*/,
                    const polynomialState& map) {
  const source src = prepare(field, bkgr, ROI, map);
  result out(field.count);
  moveMarkers(markers, map);
  if (field.count == 0) return;
  const target to = out.view();
  forEachMappedRow(src, map, [&](int y, int x0, int w, const double* xs, const double* ys) {
    bilinearMSRow(src, to, y, x0, w, xs, ys);
  });
  replaceLayers(out, field, bkgr, ROI);
}

void WarpBilinearMSBy(zel::arrayStore<float, 2>& field, zel::arrayStore<bool, 2>& bkgr,
                      zel::arrayStore<bool, 2>& ROI, const sourceRows& where) {
  const source src = prepare(field, bkgr, ROI, polynomialState{});
  result out(field.count);
  if (field.count == 0) return;
  const target to = out.view();
  forEachTile<rowScratch>(src, [&](const tile& t, rowScratch& s) {
    for (int y = t.y0; y < t.y0 + t.h; ++y) {
      where(y, t.x0, t.w, s.xs, s.ys);
      bilinearMSRow(src, to, y, t.x0, t.w, s.xs, s.ys);
    }
  });
  replaceLayers(out, field, bkgr, ROI);
}

void WarpInterp(zel::arrayStore<float, 2>& field, zel::arrayStore<bool, 2>& bkgr,
                zel::arrayStore<bool, 2>& ROI, zel::markersArray& markers, bool /*zones*/, int kind,
                const polynomialState& map) {
  if (kind < 0 || kind > 2) zel::raise<zel::AlgoError>("WarpInterp: kind must be 0, 1 or 2");
  const source src = prepare(field, bkgr, ROI, map);
  result out(field.count);
  moveMarkers(markers, map);
  if (field.count == 0) return;
  const target to = out.view();
  if (kind == 0) {
    forEachMappedRow(src, map, [&](int y, int x0, int w, const double* xs, const double* ys) {
      interpRow<0>(src, to, y, x0, w, xs, ys);
    });
  } else if (kind == 1) {
    forEachMappedRow(src, map, [&](int y, int x0, int w, const double* xs, const double* ys) {
      interpRow<1>(src, to, y, x0, w, xs, ys);
    });
  } else {
    const padded pad(src);
    const grid view = pad.view();
    forEachTile<tileScratch>(
        src, [&](const tile& t, tileScratch& s) { bicubicTile(src, view, map, t, s, to); });
  }
  replaceLayers(out, field, bkgr, ROI);
}

}  // namespace tamble
