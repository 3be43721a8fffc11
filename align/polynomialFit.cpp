// The polynomial fit. Its work arrays are fixed-size locals: the marker
// linking calls it once for every triangle that passes the shape tests.
#include "align/polynomialFit.h"

#include <algorithm>
#include <cmath>

#include "api/errors.h"
#include "api/report.h"
#include "geometry/polynomialMap.h"

namespace tamble {
namespace {

constexpr int maxTerms = 10;

// The basis in its order: 1, x, y, x*x, y*y, x*y, x*x*x, y*y*y, x*x*y,
// y*y*x, scaled so that pixel coordinates keep the normal matrix in range.
void basis(double x, double y, int m, double (&phi)[maxTerms]) {
  phi[0] = 1.0;
  if (m < 3) return;
  phi[1] = x * 0.01;
  phi[2] = y * 0.01;
  if (m < 6) return;
  phi[3] = x * x * 1e-4;
  phi[4] = y * y * 1e-4;
  phi[5] = x * y * 1e-4;
  if (m < 10) return;
  phi[6] = x * x * x * 1e-6;
  phi[7] = y * y * y * 1e-6;
  phi[8] = x * x * y * 1e-6;
  phi[9] = y * y * x * 1e-6;
}

// The solution in basis order, unscaled into the coefficient layout.
void unscale(const double (&s)[maxTerms], int m, double (&out)[10]) {
  out[0] = s[0];
  if (m < 3) return;
  out[1] = s[1] * 0.01;
  out[2] = s[2] * 0.01;
  if (m < 6) return;
  out[3] = s[5] * 1e-4;
  out[4] = s[3] * 1e-4;
  out[5] = s[4] * 1e-4;
  if (m < 10) return;
  out[6] = s[8] * 1e-6;
  out[7] = s[9] * 1e-6;
  out[8] = s[6] * 1e-6;
  out[9] = s[7] * 1e-6;
}

struct normalEquations {
  double a[maxTerms][maxTerms] = {};  // lower triangle of A^T A
  double bx[maxTerms] = {};
  double by[maxTerms] = {};
};

// Cholesky in place on the lower triangle, keeping the reciprocal diagonal.
// A pivot whose reduced value adds nothing to its original diagonal (or is
// not a number) means the matrix is not positive.
bool choleskyInPlace(double (&a)[maxTerms][maxTerms], int m, double (&rdiag)[maxTerms]) {
  for (int j = 0; j < m; ++j) {
    const double c = a[j][j];
    double x = c;
    for (int k = 0; k < j; ++k) x -= a[j][k] * a[j][k];
    if (!(c + x / (16.0 * m) > c)) return false;
    a[j][j] = std::sqrt(x);
    rdiag[j] = 1.0 / a[j][j];
    for (int i = j + 1; i < m; ++i) {
      double v = a[i][j];
      for (int k = 0; k < j; ++k) v -= a[i][k] * a[j][k];
      a[i][j] = v * rdiag[j];
    }
  }
  return true;
}

void substitute(const double (&l)[maxTerms][maxTerms], const double (&rdiag)[maxTerms], int m,
                const double (&b)[maxTerms], double (&s)[maxTerms]) {
  double t[maxTerms] = {};
  for (int i = 0; i < m; ++i) {
    double v = b[i];
    for (int k = 0; k < i; ++k) v -= l[i][k] * t[k];
    t[i] = v * rdiag[i];
  }
  for (int i = m - 1; i >= 0; --i) {
    double v = t[i];
    for (int k = i + 1; k < m; ++k) v -= l[k][i] * s[k];
    s[i] = v * rdiag[i];
  }
}

void requireSameLength(std::size_t a, std::size_t b, std::size_t c, std::size_t d) {
  if (a != b || a != c || a != d)
    zel::raise<zel::AlgoError>("The fit's point lists differ in length");
}

}  // namespace

bool ZlMatrix(std::span<const double> srcX, std::span<const double> srcY,
              std::span<const double> dstX, std::span<const double> dstY, int m, double (&outX)[10],
              double (&outY)[10]) {
  requireSameLength(srcX.size(), srcY.size(), dstX.size(), dstY.size());
  if (!isPolynomialOrder(m))
    zel::raise<zel::AlgoError>("Polynomial order must be 0, 1, 3, 6 or 10");
  std::fill(std::begin(outX), std::end(outX), 0.0);
  std::fill(std::begin(outY), std::end(outY), 0.0);
  if (m == 0) {
    outX[1] = 1.0;
    outY[2] = 1.0;
    return true;
  }
  const std::size_t n = srcX.size();
  if (n > static_cast<std::size_t>(maxFitPoints) || n < static_cast<std::size_t>(m)) return false;
  normalEquations ne;
  double phi[maxTerms] = {};
  for (std::size_t i = 0; i < n; ++i) {
    basis(srcX[i], srcY[i], m, phi);
    // Order 1 moves the point by its term: the fit is of the displacement.
    const double tx = m == 1 ? dstX[i] - srcX[i] : dstX[i];
    const double ty = m == 1 ? dstY[i] - srcY[i] : dstY[i];
    for (int r = 0; r < m; ++r) {
      for (int c = 0; c <= r; ++c) ne.a[r][c] += phi[r] * phi[c];
      ne.bx[r] += phi[r] * tx;
      ne.by[r] += phi[r] * ty;
    }
  }
  double rdiag[maxTerms] = {};
  if (!choleskyInPlace(ne.a, m, rdiag)) {
    zel::report().notice(notPositiveNotice);
    return false;
  }
  double sx[maxTerms] = {}, sy[maxTerms] = {};
  substitute(ne.a, rdiag, m, ne.bx, sx);
  substitute(ne.a, rdiag, m, ne.by, sy);
  unscale(sx, m, outX);
  unscale(sy, m, outY);
  return true;
}

fitErrors FitErrors(std::span<const double> srcX, std::span<const double> srcY,
                    std::span<const double> dstX, std::span<const double> dstY, int m,
                    const double (&cx)[10], const double (&cy)[10]) {
  requireSameLength(srcX.size(), srcY.size(), dstX.size(), dstY.size());
  fitErrors e;
  const std::size_t n = srcX.size();
  if (n < static_cast<std::size_t>(std::max(m, 0))) {
    e.tooFew = true;
    return e;
  }
  double sum = 0.0, squares = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    const mappedPoint p = mapPoint(cx, cy, m, srcX[i], srcY[i]);
    const double ex = p.x - dstX[i], ey = p.y - dstY[i];
    const double d = std::sqrt(ex * ex + ey * ey);
    sum += d;
    squares += d * d;
    e.max = std::max(e.max, d);
  }
  if (n == 0) return e;
  e.mean = sum / static_cast<double>(n);
  e.rms = std::sqrt(squares / static_cast<double>(std::max<std::size_t>(n - 1, 1)));
  return e;
}

std::vector<double> markerWeights(std::span<const double> x, std::span<const double> y) {
  if (x.size() != y.size()) zel::raise<zel::AlgoError>("The marker lists differ in length");
  const std::size_t n = x.size();
  std::vector<double> w(n, 1.0);
  if (n == 0) return w;
  double cx = 0.0, cy = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    cx += x[i];
    cy += y[i];
  }
  cx /= static_cast<double>(n);
  cy /= static_cast<double>(n);
  std::vector<double> r(n);
  double R = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    r[i] = std::hypot(x[i] - cx, y[i] - cy);
    R = std::max(R, r[i]);
  }
  if (!(R > 0.0)) return w;
  const double h = R * 0.5;
  for (std::size_t i = 0; i < n; ++i) {
    const double t = (r[i] - h) / h;
    w[i] = std::exp(-(t * t));
  }
  return w;
}

}  // namespace tamble
