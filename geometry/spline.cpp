// The damped cubic spline. The arithmetic is f32 in exactly the order written
// here: the bicubic warp depends on its bits (see centrePieces in warp.cpp).
#include "geometry/spline.h"

#include <algorithm>
#include <cmath>

#include "api/report.h"

namespace tamble {
namespace {

// The weight w = sqrt((q*q + hh)/(p*p + hh)) of a knot's right difference q
// against its left one p. A ratio beyond 1/3 or 3, a steep step, is damped
// by an exponent from the difference beyond it: r after q when w is small, dm
// before p when it is large. (The bicubic warp has this in four lanes.)
float slopeRatio(float p, float q, float r, float dm, float hh) {
  const float w = std::sqrt((q * q + hh) / (p * p + hh));
  if (w < 0.33333334f) {
    const float e = 2 * hh / (r * r + hh);
    return std::pow(w, e);
  }
  if (w >= 3) {
    const float e = 2 * hh / (dm * dm + hh);
    return std::pow(w, e);
  }
  return w;
}

// Piece `index` of the spline through five knots with h = 1, at t.
float pieceAt(const float (&y)[5], int index, float t) {
  float b[5], c[5], d[5];
  splgn(1.0f, nullptr, y, 5, b, c, d);
  return splineValue(y, b, c, d, index, t);
}

// The piece that the bisection over the knots 0 to 4 finds; NaN goes to 0.
int pieceIndex(float coordinate) {
  if (!(coordinate >= 1.0f)) return 0;
  if (coordinate >= 3.0f) return 3;
  return static_cast<int>(coordinate);
}

}  // namespace

void splgn(float h, const float* /*x*/, const float* y, int n, float* b, float* c, float* d) {
  if (n < 3) {
    zel::report().notice("splgn: n < 3 Operation Canceled");
    return;
  }
  if (!(std::fabs(h) >= 1e-10)) return;
  const float g = 1 / h, g2 = 2 * g, g3 = 3 * g, gg = g * g, hh = h * h;
  auto D = [y](int i) { return y[i + 1] - y[i]; };

  // Forward sweep of the tridiagonal system for the first derivatives.
  c[0] = -0.5f;
  d[0] = 1.5f * g * D(0);
  float dm = 0;
  for (int i = 2; i <= n - 1; ++i) {
    const float p = D(i - 2), q = D(i - 1), r = y[std::min(i + 2, n) - 1] - y[i];
    const float w = slopeRatio(p, q, r, dm, hh);
    const float m = -1 / ((c[i - 2] + 2) * w + 2);
    c[i - 1] = m;
    d[i - 1] = (w * d[i - 2] - (w * p + q) * g3) * m;
    dm = p;
  }

  // Back substitution gives the slopes b; each piece's c and d follow.
  b[n - 1] = (D(n - 2) * g3 - d[n - 2]) / (c[n - 2] + 2);
  for (int i = n - 2; i >= 0; --i) {
    const float t = D(i);
    b[i] = c[i] * b[i + 1] + d[i];
    const float s = b[i] + b[i + 1];
    c[i] = (t * g3 - s - b[i]) * g;
    d[i] = (s - t * g2) * gg;
  }
  // The last knot's piece continues the one before it.
  c[n - 1] = 3 * h * d[n - 2] + c[n - 2];
  d[n - 1] = d[n - 2];
}

float splineValue(const float* y, const float* b, const float* c, const float* d, int i, float t) {
  const float t2 = t * t, t3 = t2 * t;
  return y[i] + b[i] * t + c[i] * t2 + d[i] * t3;
}

void SplineBlock(float x, float y, const float (&block)[5][5], float& a, float& b) {
  const int ix = pieceIndex(x), iy = pieceIndex(y);
  const float tx = x - static_cast<float>(ix), ty = y - static_cast<float>(iy);
  float columns[5], rows[5];
  for (int k = 0; k < 5; ++k) {
    const float column[5] = {block[0][k], block[1][k], block[2][k], block[3][k], block[4][k]};
    columns[k] = pieceAt(column, iy, ty);
    rows[k] = pieceAt(block[k], ix, tx);
  }
  a = pieceAt(columns, ix, tx);
  b = pieceAt(rows, iy, ty);
}

}  // namespace tamble
