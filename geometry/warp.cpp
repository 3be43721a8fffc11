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
  // Slack after the last row: eight-lane loads may run past a row's end. Its
  // first element is the sentinel, value 0 with the outside masks, that
  // stands for every source off the image.
  static constexpr int slack = 8;

  snapshot(const fieldStore& field, const maskStore& bkgr, const maskStore& ROI)
      : W(field.width()),
        H(field.height()),
        stride(W + 2 * margin),
        size_(static_cast<std::size_t>(stride) * (H + 2 * margin)),
        values_(size_ + slack),
        codes_(size_ + slack) {
    std::vector<char> rowHoles(static_cast<std::size_t>(H + 2 * margin), 0);
    zel::forEachRow(H + 2 * margin, field.count, [&](int py) {
      copyRow(field, py);
      rowHoles[static_cast<std::size_t>(py)] = packRow(bkgr, ROI, py);
    });
    holes = std::find(rowHoles.begin(), rowHoles.end(), 1) != rowHoles.end();
    outside = holes ? background | offROI : background;
    std::fill_n(values_.p + size_, slack, 0.0f);
    std::fill_n(codes_.p + size_, slack, maskCode{0});
    codes_.p[sentinel()] = outside;
  }

  const int W, H;
  const std::ptrdiff_t stride;
  bool holes = false;  // some pixel lies outside the ROI
  maskCode outside;    // the masks of a pixel whose source lies off the image

  // Index of pixel (x, y), x and y from -margin.
  std::ptrdiff_t at(int x, int y) const { return (y + margin) * stride + x + margin; }
  std::ptrdiff_t sentinel() const { return static_cast<std::ptrdiff_t>(size_); }
  const float* values() const { return values_.p; }
  const maskCode* codes() const { return codes_.p; }

 private:
  void copyRow(const fieldStore& field, int py) {
    const float* from =
        field.data + static_cast<std::size_t>(std::clamp(py - margin, 0, H - 1)) * W;
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
    // A bool is the byte 0 or 1: read as bytes, the loop runs in vector lanes.
    const auto* b = reinterpret_cast<const unsigned char*>(bkgr.data + first);
    const auto* r = reinterpret_cast<const unsigned char*>(ROI.data + first);
    maskCode off = 0;
    for (int x = 0, w = W; x < w; ++x) {  // w: a store to `to` could change W
      const auto c = static_cast<maskCode>(b[x] | (r[x] ^ 1) << 1);
      to[margin + x] = c;
      off |= c;
    }
    return (off & offROI) != 0;
  }

  const std::size_t size_;  // the planes without the slack
  zel::Array<float> values_;
  zel::Array<maskCode> codes_;
};

// Where the new layers go, in place: they are read only through the snapshot.
struct target {
  float* field;
  bool* bkgr;
  bool* roi;

  void write(std::size_t i, float value, maskCode code) const {
    field[i] = value;
    writeMasks(i, code);
  }
  void writeMasks(std::size_t i, maskCode code) const {
    bkgr[i] = (code & background) != 0;
    roi[i] = (code & offROI) == 0;
  }
  // The masks of n pixels from i on. A bool is the byte 0 or 1, so the
  // masks are written as bytes, which runs in vector lanes.
  void writeMasks(std::size_t i, const maskCode* code, int n) const {
    static_assert(sizeof(bool) == 1);
    auto* b = reinterpret_cast<unsigned char*>(bkgr + i);
    auto* r = reinterpret_cast<unsigned char*>(roi + i);
    for (int k = 0; k < n; ++k) {
      b[k] = code[k] & background;
      r[k] = ((code[k] >> 1) & 1) ^ 1;
    }
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
// parallel, handed out one at a time, so that a thread slowed by other work
// holds up no one; each thread has its own Scratch, made once per call. Small
// images are not worth the threads.
template <class Scratch, class TileFn>
void forEachTile(const snapshot& src, TileFn tileFn) {
  const std::uint64_t pixels = static_cast<std::uint64_t>(src.W) * src.H;
  const int threads = pixels >= zel::parallelThreshold ? omp_get_max_threads() : 1;
  std::vector<Scratch> scratch(static_cast<std::size_t>(threads));
  const int bands = (src.H + tileHeight - 1) / tileHeight;
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
  for (int band = 0; band < bands; ++band) {
    Scratch& s = scratch[static_cast<std::size_t>(omp_get_thread_num())];
    const int y0 = band * tileHeight, h = std::min(tileHeight, src.H - y0);
    for (int x0 = 0; x0 < src.W; x0 += tileWidth)
      tileFn(tile{x0, y0, std::min(tileWidth, src.W - x0), h}, s);
  }
}

// Where the output pixels of one tile row take their value from.
struct rowScratch {
  double xs[tileWidth], ys[tileWidth];
};

// rowFn(first output index, count, xs, ys) for every tile row; `where`
// fills the source positions.
template <class Where, class RowFn>
void forEachSourceRow(const snapshot& src, Where where, RowFn rowFn) {
  forEachTile<rowScratch>(src, [&](const tile& t, rowScratch& s) {
    for (int y = t.y0; y < t.y0 + t.h; ++y) {
      where(y, t.x0, t.w, s.xs, s.ys);
      rowFn(static_cast<std::size_t>(y) * src.W + t.x0, t.w, s.xs, s.ys);
    }
  });
}

// The snapshot as the pixel loops read it, passed by value so that its
// pointers stay in registers (a store through a bool* could otherwise
// change them): `values` and `codes` point at pixel (0, 0).
struct plane {
  const float* values;
  const maskCode* codes;
  std::ptrdiff_t stride, sentinel;
  int W, H;
  maskCode outside;

  explicit plane(const snapshot& s)
      : values(s.values() + s.at(0, 0)),
        codes(s.codes() + s.at(0, 0)),
        stride(s.stride),
        sentinel(s.sentinel() - s.at(0, 0)),
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

// WarpInterp: the nearest pixel trunc(f + 0.5) must lie in the image, which
// for negative f reaches down to -1.5, since trunc goes toward zero; so f in
// (-1.5, n - 0.5) is inside, NaN is not.

// The index of each pixel's nearest source pixel, or the sentinel's for a
// source off the image: without a branch, so that it runs in vector lanes
// where the processor has them.
TAMBLE_CLONES void nearestIndices(const double* xs, const double* ys, int n, int W, int H,
                                  std::ptrdiff_t stride, std::ptrdiff_t sentinel,
                                  std::ptrdiff_t* at) {
  for (int i = 0; i < n; ++i) {
    const double sx = xs[i] + 0.5, sy = ys[i] + 0.5;
    const bool inside = (sx > -1.0) & (sx < W) & (sy > -1.0) & (sy < H);
    const double cx = inside ? sx : 0.0, cy = inside ? sy : 0.0;  // safe to truncate
    const std::ptrdiff_t p = static_cast<std::ptrdiff_t>(static_cast<int>(cy)) * stride;
    at[i] = inside ? p + static_cast<int>(cx) : sentinel;
  }
}

// Kind 0: the nearest pixel's value and masks.
void nearestRow(const plane src, const target out, std::size_t o, int n, const double* xs,
                const double* ys) {
  std::ptrdiff_t at[tileWidth];
  maskCode codes[tileWidth];
  nearestIndices(xs, ys, n, src.W, src.H, src.stride, src.sentinel, at);
  for (int i = 0; i < n; ++i) {
    out.field[o + i] = src.values[at[i]];
    codes[i] = src.codes[at[i]];
  }
  out.writeMasks(o, codes, n);
}

// The bilinear engines' positions: per pixel the block's first pixel
// (ix, iy), its index and its fractions, and the index of the pixel whose
// masks count, or the sentinel's for a source off the image. With half = 0.5
// that is the nearest pixel (WarpInterp); with half = 0 the block's own,
// trunc(f) (WarpBilinearMS: f in (-1, n) is inside). ix and iy reach -1 with half = 0.5, where the
// border stands in for the edge pixel; a source off the image gives pixel (0, 0). Without a branch,
// so that it runs in vector lanes.
struct blockRow {
  int ix[tileWidth], iy[tileWidth];
  std::ptrdiff_t at[tileWidth], nearest[tileWidth];
  double tx[tileWidth], ty[tileWidth];
};

TAMBLE_CLONES void blockIndices(const double* xs, const double* ys, int n, double half, int W,
                                int H, std::ptrdiff_t stride, std::ptrdiff_t sentinel,
                                blockRow& b) {
  for (int i = 0; i < n; ++i) {
    const double sx = xs[i] + half, sy = ys[i] + half;
    const bool inside = (sx > -1.0) & (sx < W) & (sy > -1.0) & (sy < H);
    const double fx = inside ? xs[i] : 0.0, fy = inside ? ys[i] : 0.0;  // safe to truncate
    const int ix = static_cast<int>(fx), iy = static_cast<int>(fy);
    const int rx = static_cast<int>(fx + half), ry = static_cast<int>(fy + half);
    b.ix[i] = ix;
    b.iy[i] = iy;
    b.at[i] = static_cast<std::ptrdiff_t>(iy) * stride + ix;
    b.nearest[i] = inside ? static_cast<std::ptrdiff_t>(ry) * stride + rx : sentinel;
    b.tx[i] = fx;
    b.ty[i] = fy;
  }
  for (int i = 0; i < n; ++i) {  // in a loop of their own, both run in vector lanes
    b.tx[i] -= b.ix[i];
    b.ty[i] -= b.iy[i];
  }
}

// WarpBilinearMS.
void bilinearMSRow(const plane src, const target out, std::size_t o, int n, const double* xs,
                   const double* ys) {
  blockRow b;
  maskCode codes[tileWidth];
  blockIndices(xs, ys, n, 0.0, src.W, src.H, src.stride, src.sentinel, b);
  for (int i = 0; i < n; ++i) {
    const float value = bilinear(src.values + b.at[i], src.stride, b.ix[i] == src.W - 1,
                                 b.iy[i] == src.H - 1, b.tx[i], b.ty[i]);
    // Only the neighbours count, not (ix, iy) itself: the edge of a mask
    // stays thin instead of growing by the interpolation's reach.
    const maskCode* c = src.codes + b.at[i];
    const bool inside = b.nearest[i] != src.sentinel;
    out.field[o + i] = inside ? value : 0.0f;
    codes[i] = inside ? c[1] | c[src.stride] | c[src.stride + 1] : src.outside;
  }
  out.writeMasks(o, codes, n);
}

// Kind 1: the bilinear value, the masks of the nearest pixel.
void bilinearRow(const plane src, const target out, std::size_t o, int n, const double* xs,
                 const double* ys) {
  blockRow b;
  maskCode codes[tileWidth];
  blockIndices(xs, ys, n, 0.5, src.W, src.H, src.stride, src.sentinel, b);
  for (int i = 0; i < n; ++i) {
    const float value = bilinear(src.values + b.at[i], src.stride, b.ix[i] == src.W - 1,
                                 b.iy[i] == src.H - 1, b.tx[i], b.ty[i]);
    out.field[o + i] = b.nearest[i] != src.sentinel ? value : 0.0f;
    codes[i] = src.codes[b.nearest[i]];
  }
  out.writeMasks(o, codes, n);
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

// Loads and stores of eight floats at any float's address, straight to and
// from a register.
using floatRun = float
    __attribute__((vector_size(laneCount * sizeof(float)), may_alias, aligned(alignof(float))));
void load(lanes& v, const float* p) { v = *reinterpret_cast<const floatRun*>(p); }
void store(float* p, const lanes& v) { *reinterpret_cast<floatRun*>(p) = v; }

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
  const lanes v = __builtin_bit_cast(lanes, m);
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
void weighLanes(const lanes& p, const lanes& q, const lanes& r, const lanes& dm, lanes& w, lanes& e,
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

// pieceValue in eight lanes, all at one t.
void pieceValues(const lanes& y, const lanes& b, const lanes& c, const lanes& d, float t,
                 lanes& v) {
  const float t2 = t * t, t3 = t2 * t;
  v = y + b * t + c * t2 + d * t3;
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
[[gnu::always_inline]] inline void sweep(const knotRows& k, int m, const float* w1, const float* w2,
                                         const float* w3, const pieceRows& out) {
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
        weighLanes(g.D[j], g.D[j + 1], r[j], dm[j], w, e, bits);
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
      weighLanes(g.D[1], g.D[2], g.D[3], g.D[0], w, e, bits);
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
  blockRow block;
  std::size_t index[tilePixels];  // output pixel
  int ix[tilePixels], iy[tilePixels];
  float tx[tilePixels + laneCount], ty[tilePixels + laneCount], values[tilePixels + laneCount];
  // The five values at the pixel's fraction of the column (across) and row
  // (down) splines: the knots of its last two splines.
  float across[5][tilePixels + laneCount], down[5][tilePixels + laneCount];
  pieceTable columns, rows, last;  // the tables; the last two splines
  floats weights[3];               // the tables' knot weights
  floats turned;                   // the tile's block turned over
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
  blockRow& b = s.block;
  for (int r = 0; r < t.h; ++r) {
    const int y = t.y0 + r;
    mapRow(map.forwardX, map.forwardY, map.order, t.x0, t.w, y, s.xs, s.ys);
    blockIndices(s.xs, s.ys, t.w, 0.5, src.W, src.H, src.stride, src.sentinel, b);
    for (int c = 0; c < t.w; ++c) {
      const std::size_t o = static_cast<std::size_t>(y) * src.W + t.x0 + c;
      if (b.nearest[c] == src.sentinel) {
        out.write(o, 0.0f, src.outside);
        continue;
      }
      out.writeMasks(o, src.codes[b.nearest[c]]);  // the value follows later
      const int k = s.count++;
      s.index[k] = o;
      s.ix[k] = b.ix[c];
      s.iy[k] = b.iy[c];
      s.tx[k] = static_cast<float>(b.tx[c]);
      s.ty[k] = static_cast<float>(b.ty[c]);
      s.x0 = std::min(s.x0, b.ix[c]);
      s.x1 = std::max(s.x1, b.ix[c]);
      s.y0 = std::min(s.y0, b.iy[c]);
      s.y1 = std::max(s.y1, b.iy[c]);
    }
  }
}

// The pieces of the splines down the columns of a block of rows, lanes
// 0..n-1 side by side in each row: `centre` points at the row of the first
// centre, the block reaches three rows beyond the first and last centres.
// Knot rows -1..count go through knotWeights, then each centre row's
// splines through one sweep; row r's pieces go to out at r * n. Rows are
// solved in order, so a row's groups of eight may spill into the next
// before it is solved.
void solveDown(const float* centre, std::ptrdiff_t stride, int count, int n, tileScratch& s,
               pieceTable& table) {
  const std::size_t size = static_cast<std::size_t>(n) * (count + 2);
  float *a = s.weights[0].reserve(size), *b = s.weights[1].reserve(size),
        *c = s.weights[2].reserve(size);
  auto around = [&](int r) {  // rows r-2 .. r+2
    const float* p = centre + (r - 2) * stride;
    return knotRows{{p, p + stride, p + 2 * stride, p + 3 * stride, p + 4 * stride}};
  };
  for (int k = 0; k < count + 2; ++k) {
    const std::size_t at = static_cast<std::size_t>(k) * n;
    s.knotBatch.weigh(around(k - 1), n, a + at, b + at, c + at);
  }
  const pieceRows out = table.reserve(static_cast<std::size_t>(n) * count);
  for (int r = 0; r < count; ++r) {
    const std::size_t k = static_cast<std::size_t>(r) * n;  // knot r - 1
    sweepAt(around(r), n, a + k, b + k + n, c + k + 2 * n, out.from(k));
  }
}

// The tables. Column pieces for centre rows y0..y1 and columns x0-2..x1+2
// straight from the snapshot (its border is four deep: the weights of knot
// row y0-1 reach row y0-3). Row pieces for centre columns x0..x1 and rows
// y0-2..y1+2 from the block turned over, x0-3..x1+3 by y0-2..y1+2, in
// which they run down the columns too and come out with the five a pixel
// needs side by side.
void solveTables(const plane src, tileScratch& s) {
  const int bw = s.x1 - s.x0 + 1, bh = s.y1 - s.y0 + 1;
  solveDown(src.values + src.at(s.x0 - 2, s.y0), src.stride, bh, bw + 4, s, s.columns);
  const int tw = bh + 4;  // a row of the turned block: one column of the source
  float* turned = s.turned.reserve(static_cast<std::size_t>(bw + 6) * tw);
  for (int y = 0; y < tw; ++y) {
    const float* from = src.values + src.at(s.x0 - 3, s.y0 - 2 + y);
    for (int x = 0; x < bw + 6; ++x) turned[x * tw + y] = from[x];
  }
  solveDown(turned + 3 * tw, tw, bw, tw, s, s.rows);
}

// The ten data splines at each pixel's fractions, from the tables: the five
// pieces of each order and their knots lie side by side, so one group of
// eight lanes evaluates them.
TAMBLE_CLONES void firstStageTabled(const plane src, tileScratch& s) {
  const int bw = s.x1 - s.x0 + 1, tw = s.y1 - s.y0 + 5;
  const pieceRows c = {s.columns.b.v.data(), s.columns.c.v.data(), s.columns.d.v.data()};
  const pieceRows r = {s.rows.b.v.data(), s.rows.c.v.data(), s.rows.d.v.data()};
  const float* turned = s.turned.v.data();
  lanes y, b, cc, d, v;
  for (int k = 0; k < s.count; ++k) {
    const int cx = s.ix[k] - s.x0, cy = s.iy[k] - s.y0;
    const std::size_t ci = static_cast<std::size_t>(cy) * (bw + 4) + cx;
    load(y, src.values + src.at(s.ix[k] - 2, s.iy[k]));
    load(b, c.b + ci);
    load(cc, c.c + ci);
    load(d, c.d + ci);
    pieceValues(y, b, cc, d, s.ty[k], v);
    for (int j = 0; j < 5; ++j) s.across[j][k] = v[j];
    const std::size_t ri = static_cast<std::size_t>(cx) * tw + cy;
    load(y, turned + static_cast<std::size_t>(cx + 3) * tw + cy);
    load(b, r.b + ri);
    load(cc, r.c + ri);
    load(d, r.d + ri);
    pieceValues(y, b, cc, d, s.tx[k], v);
    for (int j = 0; j < 5; ++j) s.down[j][k] = v[j];
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

// The mean of both orders, piece 2 of the spline across at tx and of the one
// down at ty, eight pixels at a time.
TAMBLE_CLONES void meanOfOrders(tileScratch& s, const pieceRows& a, const pieceRows& d,
                                float* values) {
  lanes y, b, c, e, t, first, other;
  for (int k = 0; k < s.count; k += laneCount) {
    load(y, s.across[2] + k);
    load(b, a.b + k);
    load(c, a.c + k);
    load(e, a.d + k);
    load(t, s.tx + k);
    first = y + b * t + c * (t * t) + e * (t * t * t);
    load(y, s.down[2] + k);
    load(b, d.b + k);
    load(c, d.c + k);
    load(e, d.d + k);
    load(t, s.ty + k);
    other = y + b * t + c * (t * t) + e * (t * t * t);
    store(values + k, (first + other) * 0.5f);
  }
}

// The last two splines, and the values into the layer.
void secondStage(tileScratch& s, const target out) {
  const pieceRows a = s.last.reserve(2 * static_cast<std::size_t>(tilePixels) + laneCount);
  const pieceRows d = a.from(tilePixels + laneCount);
  s.batch.solve({{s.across[0], s.across[1], s.across[2], s.across[3], s.across[4]}}, s.count, a);
  s.batch.solve({{s.down[0], s.down[1], s.down[2], s.down[3], s.down[4]}}, s.count, d);
  meanOfOrders(s, a, d, s.values);
  for (int k = 0; k < s.count; ++k) out.field[s.index[k]] = s.values[k];
}

void bicubicTile(const plane src, const polynomialState& map, const tile& t, tileScratch& s,
                 const target out) {
  collectTile(src, map, t, s, out);
  if (s.count == 0) return;
  const std::int64_t bw = s.x1 - s.x0 + 1, bh = s.y1 - s.y0 + 1;
  const std::int64_t tableCost = (bw + 4) * bh + bw * (bh + 4);
  // Tables beyond ten pieces a pixel would cost more than solving alone.
  if (tableCost < std::int64_t{10} * s.count) {
    solveTables(src, s);
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
        nearestRow(p, to, o, n, xs, ys);
      });
    else if (kind == 1)
      forEachSourceRow(src, where, [&](std::size_t o, int n, const double* xs, const double* ys) {
        bilinearRow(p, to, o, n, xs, ys);
      });
    else
      forEachTile<tileScratch>(
          src, [&](const tile& t, tileScratch& s) { bicubicTile(p, map, t, s, to); });
  });
}

}  // namespace tamble
