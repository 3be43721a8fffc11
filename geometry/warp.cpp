// The resampling engines. Every output pixel depends on the source alone, so
// the source is first copied, with a border, into a snapshot; the output is
// then cut into tiles whose source stays in the cache, bands of tiles run in
// parallel and write straight into the layers, and the bits are the same
// with any number of threads.
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
#include "filters/circleWork.h"
#include "geometry/polynomialMap.h"

namespace tamble {
namespace {

using fieldStore = zel::arrayStore<float, 2>;
using maskStore = zel::arrayStore<bool, 2>;

// A pixel's two masks in one byte, so that one load fetches both and the
// masks of WarpBilinearMS's three neighbours combine by a plain OR.
using maskCode = std::uint8_t;
constexpr maskCode background = 1, offROI = 2;

// The layers as they were, with a border of `margin` pixels on every side.
// Values repeat the edge pixels, as kinds 1 and 2 read the image; mask codes
// are 0 there, so a neighbour past the edge adds nothing to WarpBilinearMS's
// rule. Both planes share one layout: one index reaches value and masks.
class snapshot {
 public:
  static constexpr int margin = 4;
  // Slack after the last row: eight-lane loads may run past a row's end.
  static constexpr int slack = 8;

  snapshot(const fieldStore& field, const maskStore& bkgr, const maskStore& ROI)
      : W(field.width()),
        H(field.height()),
        stride(W + 2 * margin),
        values_(static_cast<std::size_t>(stride) * (H + 2 * margin) + slack),
        codes_(static_cast<std::size_t>(stride) * (H + 2 * margin) + slack) {
    std::vector<char> rowHoles(static_cast<std::size_t>(H + 2 * margin), 0);
    zel::forEachRow(H + 2 * margin, field.count, [&](int py) {
      copyRow(field, py);
      rowHoles[static_cast<std::size_t>(py)] = packRow(bkgr, ROI, py);
    });
    std::fill_n(values_.p + (values_.size - slack), slack, 0.0f);
    std::fill_n(codes_.p + (codes_.size - slack), slack, maskCode{0});
    holes = std::find(rowHoles.begin(), rowHoles.end(), 1) != rowHoles.end();
    outside = holes ? background | offROI : background;
  }

  const int W, H;
  const std::ptrdiff_t stride;
  bool holes = false;  // some pixel lies outside the ROI
  maskCode outside;    // the masks of a pixel whose source lies off the image

  // Index of pixel (x, y), x and y from -margin.
  std::ptrdiff_t at(int x, int y) const { return (y + margin) * stride + x + margin; }
  const float* values() const { return values_.p; }
  const maskCode* codes() const { return codes_.p; }

 private:
  // A buffer that is not initialised: every element is written once.
  template <class T>
  struct buffer {
    explicit buffer(std::size_t n) : size(n), p(new T[n]) {}
    ~buffer() { delete[] p; }
    buffer(const buffer&) = delete;
    buffer& operator=(const buffer&) = delete;
    std::size_t size;
    T* p;
  };

  void copyRow(const fieldStore& field, int py) {
    const float* from = field.data + static_cast<std::size_t>(std::clamp(py - margin, 0, H - 1)) * W;
    float* to = values_.p + static_cast<std::size_t>(py) * stride;
    std::fill(to, to + margin, from[0]);
    std::copy(from, from + W, to + margin);
    std::fill(to + margin + W, to + stride, from[W - 1]);
  }

  // True if the row has a pixel outside the ROI.
  bool packRow(const maskStore& bkgr, const maskStore& ROI, int py) {
    maskCode* to = codes_.p + static_cast<std::size_t>(py) * stride;
    std::fill(to, to + stride, maskCode{0});
    const int y = py - margin;
    if (y < 0 || y >= H) return false;
    const std::size_t first = static_cast<std::size_t>(y) * W;
    const bool* b = bkgr.data + first;
    const bool* r = ROI.data + first;
    maskCode off = 0;
    for (int x = 0; x < W; ++x) {
      const maskCode c = static_cast<maskCode>(b[x] | (!r[x]) << 1);
      to[margin + x] = c;
      off |= c;
    }
    return (off & offROI) != 0;
  }

  buffer<float> values_;
  buffer<maskCode> codes_;
};

// Where the new layers go, in place: they are read only through the snapshot.
struct target {
  float* field;
  bool* bkgr;
  bool* roi;

  void write(std::size_t i, float value, maskCode code) const {
    field[i] = value;
    bkgr[i] = (code & background) != 0;
    roi[i] = (code & offROI) == 0;
  }
};

// Checks everything before anything changes.
void check(const fieldStore& field, const maskStore& bkgr, const maskStore& ROI,
           const polynomialState& map) {
  if (!field.sameExtent(bkgr) || !field.sameExtent(ROI)) zel::raise<zel::DimError>();
  if (!isPolynomialOrder(map.order))
    zel::raise<zel::AlgoError>("Warp: the polynomial map has no valid order");
}

void moveMarkers(zel::markersArray& markers, const polynomialState& map) {
  for (marker& m : markers.items) {
    const mappedPoint p = mapPoint(map.inverseX, map.inverseY, map.order, m.x, m.y);
    m.x = p.x;
    m.y = p.y;
  }
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
void forEachTile(const snapshot& src, TileFn tileFn) {
  const std::uint64_t pixels = static_cast<std::uint64_t>(src.W) * src.H;
  const int threads = pixels >= zel::parallelThreshold ? omp_get_max_threads() : 1;
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

// Where the output pixels of two tile rows take their value from: the row
// being resampled and the next.
struct rowScratch {
  double xs[2][tileWidth], ys[2][tileWidth];
};

// Asks the cache for the source lines that the positions will read, a row
// ahead: each source line is read about once, along a path across the rows
// that the processor's own prefetching cannot follow.
void prefetchSources(const snapshot& src, int n, const double* xs, const double* ys) {
  const float* values = src.values() + src.at(0, 0);
  const maskCode* codes = src.codes() + src.at(0, 0);
  for (int i = 0; i < n; i += 8) {
    if (!(xs[i] > -1.0 && xs[i] < src.W && ys[i] > -1.0 && ys[i] < src.H)) continue;
    const std::ptrdiff_t at = static_cast<int>(ys[i]) * src.stride + static_cast<int>(xs[i]);
    __builtin_prefetch(values + at);
    __builtin_prefetch(values + at + src.stride);
    __builtin_prefetch(codes + at);
  }
}

// rowFn(first output index, count, xs, ys) for every tile row; `where`
// fills the source positions.
template <class Where, class RowFn>
void forEachSourceRow(const snapshot& src, Where where, RowFn rowFn) {
  forEachTile<rowScratch>(src, [&](const tile& t, rowScratch& s) {
    where(t.y0, t.x0, t.w, s.xs[0], s.ys[0]);
    for (int y = t.y0; y < t.y0 + t.h; ++y) {
      const int now = (y - t.y0) & 1, next = now ^ 1;
      if (y + 1 < t.y0 + t.h) {
        where(y + 1, t.x0, t.w, s.xs[next], s.ys[next]);
        prefetchSources(src, t.w, s.xs[next], s.ys[next]);
      }
      rowFn(static_cast<std::size_t>(y) * src.W + t.x0, t.w, s.xs[now], s.ys[now]);
    }
  });
}

// The snapshot as the pixel loops read it, passed by value so that its
// pointers stay in registers (a store through a bool* could otherwise
// change them): `values` and `codes` point at pixel (0, 0).
struct plane {
  const float* values;
  const maskCode* codes;
  std::ptrdiff_t stride;
  int W, H;
  maskCode outside;

  explicit plane(const snapshot& s)
      : values(s.values() + s.at(0, 0)),
        codes(s.codes() + s.at(0, 0)),
        stride(s.stride),
        W(s.W),
        H(s.H),
        outside(s.outside) {}
  std::ptrdiff_t at(int x, int y) const { return y * stride + x; }
};

// The bilinear value at fractions (tx, ty) from pixel p, first along y, then
// along x; on the last column only along y, on the last row only along x.
// The fractions are f64, so are the sums; the value is narrowed once.
float bilinear(const float* p, std::ptrdiff_t stride, bool lastColumn, bool lastRow, double tx,
               double ty) {
  if (!(lastColumn | lastRow)) [[likely]] {
    const double left = p[0] * (1 - ty) + p[stride] * ty;
    const double right = p[1] * (1 - ty) + p[stride + 1] * ty;
    return static_cast<float>(left * (1 - tx) + right * tx);
  }
  if (lastColumn && lastRow) return p[0];
  if (lastColumn) return static_cast<float>(p[0] * (1 - ty) + p[stride] * ty);
  return static_cast<float>(p[0] * (1 - tx) + p[1] * tx);
}

// WarpBilinearMS: trunc(f) must lie in the image, so f in (-1, n) is inside
// (NaN is not).
bool truncInside(double f, int n) { return f > -1.0 && f < n; }

// The pixel loops decide inside or outside without a branch and truncate
// only positions that are inside; an outside pixel reads pixel (0, 0) and
// drops what it read.
void bilinearMSRow(const plane src, const target out, std::size_t o, int n, const double* xs,
                   const double* ys) {
  for (int i = 0; i < n; ++i, ++o) {
    const bool inside = truncInside(xs[i], src.W) & truncInside(ys[i], src.H);
    const double fx = inside ? xs[i] : 0.0, fy = inside ? ys[i] : 0.0;
    const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
    const std::ptrdiff_t at = src.at(ix, iy);
    const float value = bilinear(src.values + at, src.stride, ix == src.W - 1, iy == src.H - 1,
                                 fx - ix, fy - iy);
    // Only the neighbours count, not (ix, iy) itself: the edge of a mask
    // stays thin instead of growing by the interpolation's reach.
    const maskCode* c = src.codes + at;
    const maskCode code = c[1] | c[src.stride] | c[src.stride + 1];
    out.write(o, inside ? value : 0.0f, inside ? code : src.outside);
  }
}

// WarpInterp: the nearest pixel trunc(f + 0.5) must lie in the image, which
// for negative f reaches down to -1.5, since trunc goes toward zero.
bool nearestInside(double f, int n) {
  const double s = f + 0.5;
  return s > -1.0 && s < n;
}

// Kinds 0 and 1; both take the masks of the nearest pixel. ix and iy reach
// -1, where the border stands in for the edge pixel.
template <int Kind>
void interpRow(const plane src, const target out, std::size_t o, int n, const double* xs,
               const double* ys) {
  for (int i = 0; i < n; ++i, ++o) {
    const bool inside = nearestInside(xs[i], src.W) & nearestInside(ys[i], src.H);
    const double fx = inside ? xs[i] : 0.0, fy = inside ? ys[i] : 0.0;
    const std::ptrdiff_t nearest =
        src.at(static_cast<int>(fx + 0.5), static_cast<int>(fy + 0.5));
    float value = src.values[nearest];
    if constexpr (Kind == 1) {
      const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
      value = bilinear(src.values + src.at(ix, iy), src.stride, ix == src.W - 1,
                       iy == src.H - 1, fx - ix, fy - iy);
    }
    out.write(o, inside ? value : 0.0f, inside ? src.codes[nearest] : src.outside);
  }
}

// Kind 2. A pixel needs twelve splines: ten that depend on the data alone (one
// down each column of its 5 by 5 block, one across each row) and two through
// the values these give at its fractions. Only piece 2 of each is used. The
// ten are shared with neighbouring pixels, so a tile solves them once per
// source position into tables, unless its pixels lie so far apart (a strong
// reduction) that solving them pixel by pixel is cheaper. Every way runs the
// same f32 operations in the same order on the same values, so none changes
// a bit.

// Eight lanes. GCC's vector extension computes lane by lane in IEEE
// arithmetic, so a lane gives exactly the bits of the scalar operations; a
// target with four-lane vectors runs each as two halves. Groups pass by
// reference: a target without AVX has no registers to pass them in.
constexpr int laneCount = 8;
using lanes = float __attribute__((vector_size(laneCount * sizeof(float))));
using laneMask = int __attribute__((vector_size(laneCount * sizeof(int))));

void load(lanes& v, const float* p) { std::memcpy(&v, p, sizeof v); }
void store(float* p, const lanes& v) { std::memcpy(p, &v, sizeof v); }

#ifdef __SSE__
// The halves of a group, in registers: a round trip through memory would
// stall on the store of one width and the load of another.
using half = float __attribute__((vector_size(4 * sizeof(float))));
half low(const lanes& v) { return __builtin_shufflevector(v, v, 0, 1, 2, 3); }
half high(const lanes& v) { return __builtin_shufflevector(v, v, 4, 5, 6, 7); }
#endif

void squareRoot(lanes& v) {
#ifdef __SSE__
  const half a = _mm_sqrt_ps(low(v)), b = _mm_sqrt_ps(high(v));  // correctly rounded
  v = __builtin_shufflevector(a, b, 0, 1, 2, 3, 4, 5, 6, 7);
#else
  for (int l = 0; l < laneCount; ++l) v[l] = std::sqrt(v[l]);
#endif
}

// Bit l set where lane l of a comparison holds.
unsigned laneBits(const laneMask& m) {
#ifdef __SSE__
  const lanes v = reinterpret_cast<const lanes&>(m);
  return static_cast<unsigned>(_mm_movemask_ps(low(v)) | _mm_movemask_ps(high(v)) << 4);
#else
  unsigned bits = 0;
  for (int l = 0; l < laneCount; ++l) bits |= m[l] ? 1u << l : 0u;
  return bits;
#endif
}

// The set lanes of each mask of eight, in order: lists of the lanes to damp
// grow without a branch per lane.
struct setLanes {
  std::uint8_t lane[256][laneCount];
  std::uint8_t count[256];
};
constexpr setLanes laneLists = [] {
  setLanes t{};
  for (unsigned bits = 0; bits < 256; ++bits)
    for (int l = 0; l < laneCount; ++l)
      if (bits >> l & 1) t.lane[bits][t.count[bits]++] = static_cast<std::uint8_t>(l);
  return t;
}();

// Appends first + l for the set lanes l of `bits`; `list` has room for eight.
void appendLanes(unsigned bits, int first, int* list, int& count) {
  for (int l = 0; l < laneCount; ++l) list[count + l] = first + laneLists.lane[bits][l];
  count += laneLists.count[bits];
}

// A knot's weight, splgn's slope ratio with hh = 1 (slopeRatio in
// spline.cpp): w = sqrt((q*q + 1)/(p*p + 1)) of the differences p before and
// q after it. Outside 1/3 to 3 it is damped, raised to e = 2/(r*r + 1) when
// small, r the difference after q, and to 2/(dm*dm + 1) when large, dm the
// difference before p. `bits` marks the lanes to damp; e is theirs.
void weigh(const lanes& p, const lanes& q, const lanes& r, const lanes& dm, lanes& w, lanes& e,
           unsigned& bits) {
  w = (q * q + 1.0f) / (p * p + 1.0f);
  squareRoot(w);
  const laneMask low = w < 0.33333334f;
  const lanes x = low ? r : dm;
  e = 2.0f / (x * x + 1.0f);
  bits = laneBits(low | (w >= 3.0f));
}

// splineValue of piece 2 at t, for a knot value y.
template <class T>
T pieceValue(T y, T b, T c, T d, T t) {
  const T t2 = t * t, t3 = t2 * t;
  return y + b * t + c * t2 + d * t3;
}

// Knot j of spline i stands at y[j][i]; piece 2 of spline i goes to b[i],
// c[i], d[i]. Loads and stores run in whole groups of eight, up to seven
// past the last spline: callers leave that much room.
struct knotRows {
  const float* y[5];
  knotRows from(int i) const { return {{y[0] + i, y[1] + i, y[2] + i, y[3] + i, y[4] + i}}; }
};
struct pieceRows {
  float *b, *c, *d;
  pieceRows from(std::size_t i) const { return {b + i, c + i, d + i}; }
};

// Knots 0..4 of eight splines and their four differences.
struct knotGroup {
  lanes y[5], D[4];
  knotGroup(const knotRows& k, int i) {
    for (int j = 0; j < 5; ++j) load(y[j], k.y[j] + i);
    for (int j = 0; j < 4; ++j) D[j] = y[j + 1] - y[j];
  }
};

// splgn(1.0f, x, y, 5, ...) from its weights at knots 1, 2 and 3 (w1, w2,
// w3) on: the forward sweep and the back substitution down to piece 2, the
// same operations in the same order, without the factors of h = 1
// (multiplying by 1 changes no bit).
[[gnu::always_inline]] inline void sweep(const knotRows& k, int m, const float* w1,
                                         const float* w2, const float* w3, const pieceRows& out) {
  lanes a, b, c;
  for (int i = 0; i < m; i += laneCount) {
    const knotGroup g(k, i);
    const lanes &D0 = g.D[0], &D1 = g.D[1], &D2 = g.D[2], &D3 = g.D[3];
    load(a, w1 + i);
    load(b, w2 + i);
    load(c, w3 + i);
    const lanes d0 = 1.5f * D0;
    const lanes c1 = -1.0f / ((-0.5f + 2.0f) * a + 2.0f);
    const lanes d1 = (a * d0 - (a * D0 + D1) * 3.0f) * c1;
    const lanes c2 = -1.0f / ((c1 + 2.0f) * b + 2.0f);
    const lanes d2 = (b * d1 - (b * D1 + D2) * 3.0f) * c2;
    const lanes c3 = -1.0f / ((c2 + 2.0f) * c + 2.0f);
    const lanes d3 = (c * d2 - (c * D2 + D3) * 3.0f) * c3;
    const lanes b4 = (D3 * 3.0f - d3) / (c3 + 2.0f);
    const lanes b3 = c3 * b4 + d3;
    const lanes b2 = c2 * b3 + d2;
    const lanes s = b2 + b3;
    store(out.b + i, b2);
    store(out.c + i, D2 * 3.0f - s - b2);
    store(out.d + i, s - D2 * 2.0f);
  }
}

// sweep for the tables, whose weights are shared between splines.
TAMBLE_CLONES void sweepAt(const knotRows& k, int m, const float* w1, const float* w2,
                           const float* w3, const pieceRows& out) {
  sweep(k, m, w1, w2, w3, out);
}

// The damped weights go through std::pow in one run of calls after the
// weighing, which keeps branches and lane juggling out of the vector loops.
constexpr int chunk = 256;

// Splines solved side by side, each with its own three weights.
class splineBatch {
 public:
  TAMBLE_CLONES void solve(const knotRows& k, int n, const pieceRows& out) {
    for (int i = 0; i < n; i += chunk) {
      const int m = std::min(chunk, n - i);
      weighAll(k.from(i), m);
      for (int j = 0; j < count_; ++j) w_[list_[j]] = std::pow(w_[list_[j]], e_[list_[j]]);
      sweep(k.from(i), m, w_, w_ + chunk, w_ + 2 * chunk, out.from(static_cast<std::size_t>(i)));
    }
  }

 private:
  // Knot 1 has dm = 0; knot 3 has r = y4 - y4.
  [[gnu::always_inline]] void weighAll(const knotRows& k, int m) {
    int count = 0;  // not count_: a store to list_ could change that
    for (int i = 0; i < m; i += laneCount) {
      const knotGroup g(k, i);
      const lanes r[3] = {g.D[2], g.D[3], g.y[4] - g.y[4]}, dm[3] = {lanes{}, g.D[0], g.D[1]};
      const unsigned valid = m - i < laneCount ? (1u << (m - i)) - 1 : 0xffu;
      for (int j = 0; j < 3; ++j) {
        lanes w, e;
        unsigned bits;
        weigh(g.D[j], g.D[j + 1], r[j], dm[j], w, e, bits);
        store(w_ + j * chunk + i, w);
        store(e_ + j * chunk + i, e);
        appendLanes(bits & valid, j * chunk + i, list_, count);
      }
    }
    count_ = count;
  }

  alignas(32) float w_[3 * chunk];  // knots 1, 2, 3 one after another
  alignas(32) float e_[3 * chunk];
  int list_[3 * chunk + laneCount];
  int count_ = 0;
};

// The weights of knots whose neighbours stand at y[0..4] (two before, the
// knot, two after), each the three ways the splines through five knots use
// it: as knot 1 of the spline centred after it (a; dm = 0 there), knot 2 of
// the one centred on it (b) and knot 3 of the one before (c; r = 0 there,
// y4 - y4 for a finite y4, the only y4 a small weight allows). A damped knot
// thus takes two powers instead of three, and each weight is weighed once.
class knotWeights {
  // Out of the compiler's sight: std::pow(w, 2.0f) would become w * w, which
  // is not always the bits of powf, and splgn calls powf.
  static inline const volatile float two = 2.0f;

 public:
  TAMBLE_CLONES void weigh(const knotRows& k, int n, float* a, float* b, float* c) {
    for (int i = 0; i < n; i += chunk) {
      const int m = std::min(chunk, n - i);
      weighAll(k.from(i), m, a + i, b + i, c + i);
      for (int j = 0; j < count_; ++j) {
        const int at = i + list_[j];
        const float w = b[at], power = std::pow(w, e_[list_[j]]), square = std::pow(w, two);
        const bool low = w < 0.33333334f;
        a[at] = low ? power : square;
        b[at] = power;
        c[at] = low ? square : power;
      }
    }
  }

 private:
  [[gnu::always_inline]] void weighAll(const knotRows& k, int m, float* a, float* b, float* c) {
    int count = 0;
    for (int i = 0; i < m; i += laneCount) {
      const knotGroup g(k, i);
      lanes w, e;
      unsigned bits;
      ::tamble::weigh(g.D[1], g.D[2], g.D[3], g.D[0], w, e, bits);
      store(a + i, w);
      store(b + i, w);
      store(c + i, w);
      store(e_ + i, e);
      appendLanes(bits & (m - i < laneCount ? (1u << (m - i)) - 1 : 0xffu), i, list_, count);
    }
    count_ = count;
  }

  alignas(32) float e_[chunk];
  int list_[chunk + laneCount];
  int count_ = 0;
};

// A growable run of floats with room for a group of eight past its end.
struct floats {
  std::vector<float> v;
  float* reserve(std::size_t n) {
    if (v.size() < n + laneCount) v.resize(n + laneCount);
    return v.data();
  }
};

// Pieces b, c, d of many splines, side by side.
struct pieceTable {
  floats b, c, d;
  pieceRows reserve(std::size_t n) { return {b.reserve(n), c.reserve(n), d.reserve(n)}; }
};

// One thread's work space for kind 2.
struct tileScratch {
  int count = 0;       // inside pixels of the tile
  int x0, x1, y0, y1;  // bounding box of their block centres
  double xs[tileWidth], ys[tileWidth];
  std::size_t index[tilePixels];  // output pixel
  int ix[tilePixels], iy[tilePixels];
  float tx[tilePixels], ty[tilePixels];
  // The five values at the pixel's fraction of the column (across) and row
  // (down) splines: the knots of its last two splines.
  float across[5][tilePixels + laneCount], down[5][tilePixels + laneCount];
  pieceTable columns, rows, last;  // the tables; the last two splines
  floats weights[3];               // the tables' knot weights
  floats knots[5];                 // pixel by pixel: the knots of the data splines
  splineBatch batch;
  knotWeights knotBatch;
};

// Maps the tile, settles its outside pixels and the masks, and collects the
// inside ones with their block centres and fractions.
void collectTile(const plane src, const polynomialState& map, const tile& t, tileScratch& s,
                 const target out) {
  s.count = 0;
  s.x0 = s.y0 = src.W + src.H;
  s.x1 = s.y1 = -1;
  for (int r = 0; r < t.h; ++r) {
    const int y = t.y0 + r;
    mapRow(map.forwardX, map.forwardY, map.order, t.x0, t.w, y, s.xs, s.ys);
    for (int c = 0; c < t.w; ++c) {
      const std::size_t o = static_cast<std::size_t>(y) * src.W + t.x0 + c;
      const double fx = s.xs[c], fy = s.ys[c];
      if (!nearestInside(fx, src.W) || !nearestInside(fy, src.H)) {
        out.write(o, 0.0f, src.outside);
        continue;
      }
      const maskCode code =
          src.codes[src.at(static_cast<int>(fx + 0.5), static_cast<int>(fy + 0.5))];
      out.write(o, 0.0f, code);  // the value follows once the tile is solved
      const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
      const int k = s.count++;
      s.index[k] = o;
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

// Column pieces for centre rows y0..y1 and columns x0-2..x1+2: the knots of a
// table row lie side by side in five rows of the snapshot, and so do the
// weights of its knots, rows y0-1..y1+1 (which reach row y0-3: the
// snapshot's border is four deep). Rows are solved in order, so a row's
// groups of eight may spill into the next before it is solved.
void solveColumns(const plane src, tileScratch& s) {
  const int n = s.x1 - s.x0 + 5, knotRowsCount = s.y1 - s.y0 + 3;
  const std::size_t size = static_cast<std::size_t>(n) * knotRowsCount;
  float *a = s.weights[0].reserve(size), *b = s.weights[1].reserve(size),
        *c = s.weights[2].reserve(size);
  auto around = [&](int y) {  // rows y-2 .. y+2 from column x0-2
    const float* p = src.values + src.at(s.x0 - 2, y - 2);
    const std::ptrdiff_t r = src.stride;
    return knotRows{{p, p + r, p + 2 * r, p + 3 * r, p + 4 * r}};
  };
  for (int k = 0; k < knotRowsCount; ++k) {
    const std::size_t at = static_cast<std::size_t>(k) * n;
    s.knotBatch.weigh(around(s.y0 - 1 + k), n, a + at, b + at, c + at);
  }
  const pieceRows out = s.columns.reserve(static_cast<std::size_t>(n) * (s.y1 - s.y0 + 1));
  for (int y = s.y0; y <= s.y1; ++y) {
    const std::size_t k = static_cast<std::size_t>(y - s.y0) * n;  // knot y - 1
    sweepAt(around(y), n, a + k, b + k + n, c + k + 2 * n, out.from(k));
  }
}

// Row pieces for centre columns x0..x1 and rows y0-2..y1+2, a row at a time:
// the weights of knots x0-1..x1+1, then the pieces.
void solveRows(const plane src, tileScratch& s) {
  const int n = s.x1 - s.x0 + 1;
  float *a = s.weights[0].reserve(n + 2), *b = s.weights[1].reserve(n + 2),
        *c = s.weights[2].reserve(n + 2);
  const pieceRows out = s.rows.reserve(static_cast<std::size_t>(n) * (s.y1 - s.y0 + 5));
  for (int y = s.y0 - 2; y <= s.y1 + 2; ++y) {
    const float* p = src.values + src.at(s.x0 - 3, y);  // two before knot x0 - 1
    s.knotBatch.weigh({{p, p + 1, p + 2, p + 3, p + 4}}, n + 2, a, b, c);
    sweepAt({{p + 1, p + 2, p + 3, p + 4, p + 5}}, n, a, b + 1, c + 2,
            out.from(static_cast<std::size_t>(y - s.y0 + 2) * n));
  }
}

// The ten data splines at each pixel's fractions, from the tables.
void firstStageTabled(const plane src, tileScratch& s) {
  const int bw = s.x1 - s.x0 + 1;
  const pieceRows c = {s.columns.b.v.data(), s.columns.c.v.data(), s.columns.d.v.data()};
  const pieceRows r = {s.rows.b.v.data(), s.rows.c.v.data(), s.rows.d.v.data()};
  for (int k = 0; k < s.count; ++k) {
    const float* p = src.values + src.at(s.ix[k], s.iy[k]);
    const std::size_t ci = static_cast<std::size_t>(s.iy[k] - s.y0) * (bw + 4) + (s.ix[k] - s.x0);
    const std::size_t ri = static_cast<std::size_t>(s.iy[k] - s.y0) * bw + (s.ix[k] - s.x0);
    const float tx = s.tx[k], ty = s.ty[k];
    for (int j = 0; j < 5; ++j) {
      s.across[j][k] = pieceValue(p[j - 2], c.b[ci + j], c.c[ci + j], c.d[ci + j], ty);
      const std::size_t rj = ri + static_cast<std::size_t>(j) * bw;
      s.down[j][k] = pieceValue(p[(j - 2) * src.stride], r.b[rj], r.c[rj], r.d[rj], tx);
    }
  }
}

// The ten data splines solved for each pixel alone: five columns down and
// five rows across its block, side by side, a run of pixels at a time.
void firstStageAlone(const plane src, tileScratch& s) {
  constexpr int run = 64;
  float* knot[5];
  for (int j = 0; j < 5; ++j) knot[j] = s.knots[j].reserve(10 * run);
  const pieceRows pieces = s.last.reserve(10 * run);
  const std::ptrdiff_t r = src.stride;
  for (int k0 = 0; k0 < s.count; k0 += run) {
    const int n = std::min(run, s.count - k0), rows = 5 * n;  // columns first, then rows
    for (int k = 0; k < n; ++k) {
      const float* p = src.values + src.at(s.ix[k0 + k], s.iy[k0 + k]);
      for (int m = 0; m < 5; ++m)
        for (int j = 0; j < 5; ++j) {
          knot[j][5 * k + m] = p[(m - 2) + (j - 2) * r];         // column m, its row j
          knot[j][rows + 5 * k + m] = p[(j - 2) + (m - 2) * r];  // row m, its column j
        }
    }
    s.batch.solve({{knot[0], knot[1], knot[2], knot[3], knot[4]}}, 10 * n, pieces);
    for (int k = 0; k < n; ++k) {
      const float* p = src.values + src.at(s.ix[k0 + k], s.iy[k0 + k]);
      for (int m = 0; m < 5; ++m) {
        const int a = 5 * k + m, d = rows + a;
        s.across[m][k0 + k] =
            pieceValue(p[m - 2], pieces.b[a], pieces.c[a], pieces.d[a], s.ty[k0 + k]);
        s.down[m][k0 + k] =
            pieceValue(p[(m - 2) * r], pieces.b[d], pieces.c[d], pieces.d[d], s.tx[k0 + k]);
      }
    }
  }
}

// The last two splines and the mean of both orders.
void secondStage(tileScratch& s, const target out) {
  const pieceRows a = s.last.reserve(2 * static_cast<std::size_t>(tilePixels) + laneCount);
  const pieceRows d = a.from(tilePixels + laneCount);
  s.batch.solve({{s.across[0], s.across[1], s.across[2], s.across[3], s.across[4]}}, s.count, a);
  s.batch.solve({{s.down[0], s.down[1], s.down[2], s.down[3], s.down[4]}}, s.count, d);
  for (int k = 0; k < s.count; ++k) {
    const float first = pieceValue(s.across[2][k], a.b[k], a.c[k], a.d[k], s.tx[k]);
    const float other = pieceValue(s.down[2][k], d.b[k], d.c[k], d.d[k], s.ty[k]);
    out.field[s.index[k]] = (first + other) * 0.5f;
  }
}

void bicubicTile(const plane src, const polynomialState& map, const tile& t, tileScratch& s,
                 const target out) {
  collectTile(src, map, t, s, out);
  if (s.count == 0) return;
  const std::int64_t bw = s.x1 - s.x0 + 1, bh = s.y1 - s.y0 + 1;
  const std::int64_t tableCost = (bw + 4) * bh + bw * (bh + 4);
  // Tables beyond ten pieces a pixel would cost more than solving alone.
  if (tableCost < std::int64_t{10} * s.count) {
    solveColumns(src, s);
    solveRows(src, s);
    firstStageTabled(src, s);
  } else {
    firstStageAlone(src, s);
  }
  secondStage(s, out);
}

template <class Engine>
void resample(fieldStore& field, maskStore& bkgr, maskStore& ROI, Engine engine) {
  if (field.count == 0) return;
  const snapshot src(field, bkgr, ROI);
  engine(src, target{field.data, bkgr.data, ROI.data});
}

}  // namespace

void WarpBilinearMS(zel::arrayStore<float, 2>& field, zel::arrayStore<bool, 2>& bkgr,
                    zel::arrayStore<bool, 2>& ROI, zel::markersArray& markers, bool /*zones*/,
                    const polynomialState& map) {
  check(field, bkgr, ROI, map);
  moveMarkers(markers, map);
  resample(field, bkgr, ROI, [&](const snapshot& src, const target to) {
    const plane p(src);
    auto where = [&](int y, int x0, int n, double* xs, double* ys) {
      mapRow(map.forwardX, map.forwardY, map.order, x0, n, y, xs, ys);
    };
    forEachSourceRow(src, where, [&](std::size_t o, int n, const double* xs, const double* ys) {
      bilinearMSRow(p, to, o, n, xs, ys);
    });
  });
}

void WarpBilinearMSBy(zel::arrayStore<float, 2>& field, zel::arrayStore<bool, 2>& bkgr,
                      zel::arrayStore<bool, 2>& ROI, const sourceRows& where) {
  check(field, bkgr, ROI, polynomialState{});
  resample(field, bkgr, ROI, [&](const snapshot& src, const target to) {
    const plane p(src);
    forEachSourceRow(src, where, [&](std::size_t o, int n, const double* xs, const double* ys) {
      bilinearMSRow(p, to, o, n, xs, ys);
    });
  });
}

void WarpInterp(zel::arrayStore<float, 2>& field, zel::arrayStore<bool, 2>& bkgr,
                zel::arrayStore<bool, 2>& ROI, zel::markersArray& markers, bool /*zones*/, int kind,
                const polynomialState& map) {
  if (kind < 0 || kind > 2) zel::raise<zel::AlgoError>("WarpInterp: kind must be 0, 1 or 2");
  check(field, bkgr, ROI, map);
  moveMarkers(markers, map);
  resample(field, bkgr, ROI, [&](const snapshot& src, const target to) {
    const plane p(src);
    auto where = [&](int y, int x0, int n, double* xs, double* ys) {
      mapRow(map.forwardX, map.forwardY, map.order, x0, n, y, xs, ys);
    };
    if (kind == 0)
      forEachSourceRow(src, where, [&](std::size_t o, int n, const double* xs, const double* ys) {
        interpRow<0>(p, to, o, n, xs, ys);
      });
    else if (kind == 1)
      forEachSourceRow(src, where, [&](std::size_t o, int n, const double* xs, const double* ys) {
        interpRow<1>(p, to, o, n, xs, ys);
      });
    else
      forEachTile<tileScratch>(
          src, [&](const tile& t, tileScratch& s) { bicubicTile(p, map, t, s, to); });
  });
}

}  // namespace tamble
