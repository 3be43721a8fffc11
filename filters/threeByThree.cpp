// The 3 by 3 filter set, the 3 by 3 gradients and the Prewitt window.
//
// A 3 by 3 filter sums its nine kernel terms in row order (the row above
// first) from +0, zero entries included; a neighbour that is blocked or lies
// outside the image reads as 0. Each iteration reads a padded snapshot of
// the work image, so rows run in parallel and every pixel sees the input of
// its iteration only.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "api/errors.h"
#include "api/parallel.h"
#include "api/report.h"
#include "filters/circleWork.h"
#include "filters/morphology.h"

namespace tamble {
namespace {

struct s3x3Kind {
  int entry[9];  // row above first
  int divisor;
  bool midOffset;  // offset (lo + hi)/2, else 0
};

constexpr s3x3Kind s3x3Table[s3x3Kinds] = {
    {{1, 2, 1, 2, 4, 2, 1, 2, 1}, 16, false},         // Smoothing
    {{-1, -2, -1, 0, 0, 0, 1, 2, 1}, 4, true},        // Sobel North
    {{-2, -1, 0, -1, 0, 1, 0, 1, 2}, 4, true},        // Sobel North-West
    {{-1, 0, 1, -2, 0, 2, -1, 0, 1}, 4, true},        // Sobel West
    {{0, 1, 2, -1, 0, 1, -2, -1, 0}, 4, true},        // Sobel South-West
    {{1, 2, 1, 0, 0, 0, -1, -2, -1}, 4, true},        // Sobel South
    {{2, 1, 0, 1, 0, -1, 0, -1, -2}, 4, true},        // Sobel South-East
    {{1, 0, -1, 2, 0, -2, 1, 0, -1}, 4, true},        // Sobel East
    {{0, -1, -2, 1, 0, -1, 2, 1, 0}, 4, true},        // Sobel North-East
    {{-1, 0, -1, 0, 4, 0, -1, 0, -1}, 1, true},       // Laplace Diagonal Cross
    {{-1, -1, -1, -1, 8, -1, -1, -1, -1}, 1, true},   // Laplace Flat
    {{-1, -1, -1, -1, 16, -1, -1, -1, -1}, 8, false}, // Edge Enhancement Low
    {{-1, -1, -1, -1, 12, -1, -1, -1, -1}, 4, false}, // Edge Enhancement Normal
    {{-1, -1, -1, -1, 10, -1, -1, -1, -1}, 2, false}, // Edge Enhancement High
    {{-1, -1, -1, -1, 9, -1, -1, -1, -1}, 1, false},  // Edge Enhancement Hard
    {{0, -1, 0, -1, 5, -1, 0, -1, 0}, 1, false},      // Thin Edge Enhance Normal
    {{1, -2, 1, -2, 5, -2, 1, -2, 1}, 1, false},      // Thin Edge Enhance High
    {{-1, -2, -1, -2, 13, -2, -1, -2, -1}, 1, false}, // Thin Edge Enhance Hard
    {{1, -2, 1, -2, 4, -2, 1, -2, 1}, 1, true},       // Thin Laplace Square Diagonal
};

// The interior of a row whose window holds no blocked pixel: x = 1 .. W-2
// from the rows a (above), b and c (below).
TAMBLE_CLONES void cleanRow(const float* a, const float* b, const float* c, const float* k,
                            float offset, float lo, float hi, float* __restrict out, int W) {
  for (int x = 1; x < W - 1; ++x) {
    float s = 0.0f;
    s += k[0] * a[x - 1];
    s += k[1] * a[x];
    s += k[2] * a[x + 1];
    s += k[3] * b[x - 1];
    s += k[4] * b[x];
    s += k[5] * b[x + 1];
    s += k[6] * c[x - 1];
    s += k[7] * c[x];
    s += k[8] * c[x + 1];
    out[x] = std::min(std::max(s + offset, lo), hi);
  }
}

// One pass of the 3 by 3 set on a row. A neighbour outside the image or
// blocked reads as 0, and its term is left out: adding k*0 (+0 or -0) to a
// sum that starts at +0 never changes its bits.
struct s3x3Row {
  const float* k;
  float offset, lo, hi;
  int W;

  float pixel(const circle::window& w, int x) const {
    float s = 0.0f;
    for (int i = 0; i < 9; ++i) {
      const float* r = w.rows[i / 3];
      const std::uint8_t* blk = w.blocked[i / 3];
      const int sx = x + i % 3 - 1;
      if (!r || sx < 0 || sx >= W || (blk && blk[sx])) continue;
      s += k[i] * r[sx];
    }
    return std::min(std::max(s + offset, lo), hi);
  }

  void operator()(const circle::window& w, float* out) const {
    const float* own = w.rows[1];
    const std::uint8_t* ownBlocked = w.blocked[1];
    if (w.clean() && W > 2) {
      cleanRow(w.rows[0], w.rows[1], w.rows[2], k, offset, lo, hi, out, W);
      out[0] = pixel(w, 0);
      out[W - 1] = pixel(w, W - 1);
      return;
    }
    for (int x = 0; x < W; ++x) out[x] = ownBlocked && ownBlocked[x] ? own[x] : pixel(w, x);
  }
};

void checkExtents(const filterField& field, const filterMask& bkgr, const filterMask& ROI) {
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
}

}  // namespace

// Each iteration is one pass in place on the field (blocked pixels keep
// their values meanwhile and are never read); the frame and the blocked
// pixels are set to 0 at the end.
void S3X3ITER(filterField& field, const filterMask& bkgr, const filterMask& ROI, int iterations,
              int kind) {
  checkExtents(field, bkgr, ROI);
  const int W = field.width(), H = field.height();
  float lo = 0, hi = 0;
  FieldMinMax(field, bkgr, ROI, lo, hi);
  const float mid = (lo + hi) * 0.5f;
  float k[9] = {};
  float offset = 0.0f;
  if (kind >= 1 && kind <= s3x3Kinds) {
    const s3x3Kind& t = s3x3Table[kind - 1];
    for (int i = 0; i < 9; ++i)
      k[i] = static_cast<float>(t.entry[i]) / static_cast<float>(t.divisor);
    offset = t.midOffset ? mid : 0.0f;
  } else {
    zel::report().notice("S3X3ITER: NonRealized Filter Set");
  }
  for (int pass = 0; pass < iterations; ++pass)
    circle::inPlacePass(field.data, bkgr.data, ROI.data, W, H, 1,
                        [&] { return s3x3Row{k, offset, lo, hi, W}; });
  zel::forEachRow(H, field.count, [&](int y) {
    float* out = field.row(y);
    if (y == 0 || y == H - 1) {
      std::fill(out, out + W, 0.0f);
      return;
    }
    thread_local std::vector<std::uint8_t> flags;
    flags.resize(W);
    if (circle::blockedRow(bkgr.data, ROI.data, W, y, flags.data()))
      for (int x = 0; x < W; ++x)
        if (flags[x]) out[x] = 0.0f;
    out[0] = out[W - 1] = 0.0f;
  });
}

namespace {

// The eight neighbours and the centre of (x, y), n being the row above.
struct around {
  float c, n, s, e, w, ne, nw, se, sw;
  around(const filterField& f, int x, int y)
      : c(f(x, y)),
        n(f(x, y - 1)),
        s(f(x, y + 1)),
        e(f(x + 1, y)),
        w(f(x - 1, y)),
        ne(f(x + 1, y - 1)),
        nw(f(x - 1, y - 1)),
        se(f(x + 1, y + 1)),
        sw(f(x - 1, y + 1)) {}
};

float sobelX(const around& p) {
  return p.ne + 2.0f * p.e + p.se - (p.nw + 2.0f * p.w + p.sw);
}
float sobelY(const around& p) {
  return p.nw + 2.0f * p.n + p.ne - (p.sw + 2.0f * p.s + p.se);
}

// Kirsch: the compass masks turn around the ring n, ne, e, se, s, sw, w, nw;
// three adjacent neighbours weigh 5, the other five, in ring order, -3.
float kirsch(const around& p) {
  const float ring[8] = {p.n, p.ne, p.e, p.se, p.s, p.sw, p.w, p.nw};
  float best = 0.0f;
  for (int k = 0; k < 8; ++k) {
    const float three = ring[k] + ring[(k + 1) % 8] + ring[(k + 2) % 8];
    float five = 0.0f;
    for (int i = 3; i < 8; ++i) five += ring[(k + i) % 8];
    best = std::max(best, std::fabs(5.0f * three - 3.0f * five));
  }
  return best;
}

// Volterra: the largest |4c - a1 - a2 - b1 - b2| along the row, the column
// and the two diagonals, a on the side of lower x (or lower y for the
// column), b on the other.
float volterra(const filterField& f, int x, int y) {
  const float c = f(x, y);
  const int dir[4][2] = {{1, 0}, {0, 1}, {1, 1}, {1, -1}};
  float best = 0.0f;
  for (const auto& d : dir) {
    const float a1 = f(x - d[0], y - d[1]), a2 = f(x - 2 * d[0], y - 2 * d[1]);
    const float b1 = f(x + d[0], y + d[1]), b2 = f(x + 2 * d[0], y + 2 * d[1]);
    best = std::max(best, std::fabs(4.0f * c - a1 - a2 - b1 - b2));
  }
  return best;
}

float maltianCross(const filterField& f, int x, int y) {
  return f(x + 1, y) + f(x - 1, y) + f(x, y - 1) + f(x, y + 1) -
         (f(x + 2, y) + f(x - 2, y) + f(x, y - 2) + f(x, y + 2));
}

float gradientAt(const filterField& f, int x, int y, int kind) {
  if (kind == 7) return volterra(f, x, y);
  if (kind == 9) return maltianCross(f, x, y);
  const around p(f, x, y);
  switch (kind) {
    case 1: {
      const float d1 = p.c - p.se, d2 = p.s - p.e;
      return std::sqrt(d1 * d1 + d2 * d2);
    }
    case 2: return std::fabs(p.c - p.se) + std::fabs(p.s - p.e);
    case 3: {
      const float gx = sobelX(p), gy = sobelY(p);
      return std::sqrt(gx * gx + gy * gy);
    }
    case 4: return std::fabs(sobelX(p)) + std::fabs(sobelY(p));
    case 5: return kirsch(p);
    default:  // 6, adaptive
      return 3.0f * p.c * p.c - 0.5f * p.se * p.nw - 0.5f * p.ne * p.sw - p.w * p.e - p.n * p.s;
  }
}

}  // namespace

void Gradients3x3(filterField& field, const filterMask& bkgr, const filterMask& ROI, int kind) {
  checkExtents(field, bkgr, ROI);
  const int W = field.width(), H = field.height();
  if (kind < 1 || kind > gradientKinds) return;
  filterField buffer(W, H);
  buffer.fill(0.0f);
  if (kind == 8) {
    filterField magnitude = field, direction(W, H);
    PrewittWindow(magnitude, bkgr, ROI, direction, 3);
    zel::forEachRow(H, field.count, [&](int y) {
      if (y < 1 || y > H - 2) return;
      for (int x = 1; x < W - 1; ++x)
        if (!bkgr(x, y) && ROI(x, y)) buffer(x, y) = magnitude(x, y);
    });
  } else {
    const int m = kind == 7 || kind == 9 ? 2 : 1;  // the margin left out
    const bool everyPixel = kind == 9;
    zel::forEachRow(H, field.count, [&](int y) {
      if (y < m || y > H - 1 - m) return;
      for (int x = m; x < W - m; ++x)
        if (everyPixel || (!bkgr(x, y) && ROI(x, y))) buffer(x, y) = gradientAt(field, x, y, kind);
    });
  }
  zel::forEachRow(H, field.count, [&](int y) {
    for (int x = 0; x < W; ++x)
      if (!bkgr(x, y) && ROI(x, y)) field(x, y) = buffer(x, y);
  });
}

void PrewittWindow(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                   filterField& direction, int N) {
  checkExtents(field, bkgr, ROI);
  if (!field.sameExtent(direction)) zel::raise<zel::DimError>();
  const int W = field.width(), H = field.height();
  const int R = N / 2;
  if (R < 1) return;
  const float k = 1.0f / static_cast<float>(R * (2 * R + 1));
  const filterField in = field;
  zel::forEachRow(H, field.count, [&](int y) {
    if (y < R || y > H - 1 - R) return;
    for (int x = R; x < W - R; ++x) {
      if (bkgr(x, y) || !ROI(x, y)) continue;
      float A = 0, B = 0, C = 0, D = 0;  // right, left, below, above
      for (int dy = -R; dy <= R; ++dy)
        for (int dx = -R; dx <= R; ++dx) {
          const float v = in(x + dx, y + dy);
          if (dx > 0) A += v;
          if (dx < 0) B += v;
          if (dy > 0) C += v;
          if (dy < 0) D += v;
        }
      A *= k, B *= k, C *= k, D *= k;
      const float gx = A - B, gy = C - D;
      field(x, y) = std::sqrt(gx * gx + gy * gy);
      const float yy = std::fabs(A) >= std::fabs(B) ? std::fabs(gx) : -std::fabs(gx);
      const float xx = std::fabs(C) >= std::fabs(D) ? std::fabs(gy) : -std::fabs(gy);
      float angle = yy == 0.0f || xx == 0.0f ? 0.0f : std::atan2(yy, xx);
      if (angle <= 0.0f) angle += 3.1415927f;
      direction(x, y) = angle * 57.295776f;
    }
  });
}

}  // namespace tamble
