// The camera's normalisation, the two forms of its lens terms, the
// projection of a model point and the residual report.
#include "resect/resectCoefficients.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "api/numbers.h"
#include "resect/leastSquares.h"

namespace tamble {
namespace {

bool positive(double v) { return std::isfinite(v) && v > 0.0; }

double lensFactor(const lensTerms& lens, double r2) {
  return 1.0 + lens.k1 * r2 + lens.k2 * r2 * r2;
}

// Fits terms t of the other form with t.k1 r^2 + t.k2 r^4 = wanted(r) - 1
// at 32 radii up to `radius`, the rows weighted by r.
template <class Wanted>
lensTerms fitTerms(double radius, Wanted wanted) {
  constexpr int samples = 32;
  double matrix[samples * 2], right[samples], solution[2];
  for (int i = 0; i < samples; ++i) {
    double r = 0.0, factor = 1.0;
    wanted(radius * (i + 1) / samples, r, factor);
    const double r2 = r * r;
    matrix[2 * i] = r * r2;
    matrix[2 * i + 1] = r * r2 * r2;
    right[i] = r * (factor - 1.0);
  }
  if (!leastSquares(matrix, right, 2, samples, solution)) return {};
  return {solution[0], solution[1]};
}

double guardedDenominator(double d) {
  if (std::fabs(d) < 1e-30) return d < 0.0 ? -1e-30 : 1e-30;  // -0 and 0 alike positive
  return d;
}

}  // namespace

std::optional<resectCamera> resectCameraOf(const zel::cameraFeatures& c) {
  if (!positive(c.dx) || !positive(c.dy) || c.ncx <= 0 || c.ncy <= 0 || c.nfx <= 0 || c.nfy <= 0)
    return std::nullopt;
  if (!std::isfinite(c.cx) || !std::isfinite(c.cy) || !std::isfinite(c.a2) || !std::isfinite(c.a4))
    return std::nullopt;
  resectCamera out;
  out.sx = c.nfx / (c.ncx * c.dx);
  out.sy = c.nfy / (c.ncy * c.dy);
  out.cx = c.cx;
  out.cy = c.cy;
  out.lens = {c.a2, c.a4};
  out.radius = 0.5 * std::hypot(c.ncx * c.dx, c.ncy * c.dy);
  return out;
}

// The ideal radius of a measured one m is m c(m); the projection form must
// give back m from it: 1 + k1' rho^2 + k2' rho^4 = rho / m = c(m).
lensTerms projectionLens(const lensTerms& correction, double radius) {
  if ((correction.k1 == 0.0 && correction.k2 == 0.0) || !(radius > 0.0)) return {};
  return fitTerms(radius, [&](double m, double& rho, double& factor) {
    factor = lensFactor(correction, m * m);
    rho = m * factor;
  });
}

// The projection form takes the ideal radius rho to m = rho / f(rho); the
// correction form must give back rho from m: c(m) = rho / m.
lensTerms cameraLens(const lensTerms& projection, double radius) {
  if ((projection.k1 == 0.0 && projection.k2 == 0.0) || !(radius > 0.0)) return {};
  return fitTerms(radius, [&](double rho, double& m, double& factor) {
    factor = lensFactor(projection, rho * rho);
    m = rho / factor;
  });
}

void cameraProjection::project(double X, double Y, double Z, double& x, double& y) const {
  const auto& a = coefficients.ax;
  const auto& b = coefficients.ay;
  const double d1 = guardedDenominator(a[4] + a[5] * X + a[6] * Y + a[7] * Z);
  double u = (a[0] + a[1] * X + a[2] * Y + a[3] * Z) / d1;
  const double d2 = guardedDenominator(b[4] + b[5] * X + b[6] * Y + b[7] * Z);
  double v = (b[0] + b[1] * X + b[2] * Y + b[3] * Z) / d2;
  const double r2 = u * u + v * v;
  const double f = 1.0 / (1.0 + lens.k1 * r2 + lens.k2 * r2 * r2);
  u *= f;
  v *= f;
  x = camera.sx * u + camera.cx;
  y = camera.sy * v + camera.cy;
}

markerPairs pairsOf(const zel::markersArray& image, const zel::markersArray& model) {
  markerPairs p;
  p.n = std::min(image.count(), model.count());
  const auto size = static_cast<std::size_t>(p.n);
  p.X.resize(size), p.Y.resize(size), p.Z.resize(size), p.x.resize(size), p.y.resize(size);
  p.active = std::make_unique<bool[]>(size);
  for (int i = 0; i < p.n; ++i) {
    p.X[i] = model[i].x;
    p.Y[i] = model[i].y;
    p.Z[i] = model[i].z;
    p.x[i] = image[i].x;
    p.y[i] = image[i].y;
    p.active[i] = image[i].active && model[i].active;
  }
  return p;
}

void correctedPoint(const resectCamera& camera, double x, double y, double& u, double& v) {
  const double xn = (x - camera.cx) / camera.sx, yn = (y - camera.cy) / camera.sy;
  const double c = lensFactor(camera.lens, xn * xn + yn * yn);
  u = c * xn;
  v = c * yn;
}

resectErrors residualErrors(const cameraProjection& projection, const double* X, const double* Y,
                            const double* Z, const double* x, const double* y, const bool* active,
                            int n) {
  resectErrors e;
  double sumX = 0.0, sumY = 0.0, squaresX = 0.0, squaresY = 0.0;
  for (int i = 0; i < n; ++i) {
    if (!active[i]) continue;
    double px = 0.0, py = 0.0;
    projection.project(X[i], Y[i], Z[i], px, py);
    const double dx = std::fabs(px - x[i]), dy = std::fabs(py - y[i]);
    if (e.maxDxIndex < 0 || dx > e.maxDx) e.maxDx = dx, e.maxDxIndex = i;
    if (e.maxDyIndex < 0 || dy > e.maxDy) e.maxDy = dy, e.maxDyIndex = i;
    sumX += dx;
    sumY += dy;
    squaresX += dx * dx;
    squaresY += dy * dy;
    ++e.pairs;
  }
  if (e.pairs > 0) {
    e.meanDx = sumX / e.pairs;
    e.meanDy = sumY / e.pairs;
    e.meanSquareDx = squaresX / e.pairs;
    e.meanSquareDy = squaresY / e.pairs;
  }
  return e;
}

resectErrors residualErrors(const cameraProjection& projection, const zel::markersArray& image,
                            const zel::markersArray& model) {
  const markerPairs p = pairsOf(image, model);
  return residualErrors(projection, p.X.data(), p.Y.data(), p.Z.data(), p.x.data(), p.y.data(),
                        p.active.get(), p.n);
}

std::optional<cameraProjection> projectionOf(const resectCoefficients& coefficients,
                                             const zel::cameraFeatures& camera) {
  const std::optional<resectCamera> scale = resectCameraOf(camera);
  if (!scale) return std::nullopt;
  return cameraProjection{coefficients, *scale, projectionLens(scale->lens, scale->radius)};
}

std::string resectErrorText(const std::string& name, const resectErrors& e) {
  if (e.pairs == 0) return "There are no pairs to transform Image.\nCopy is available only.\n\n";
  const auto digits = [](double v, int precision) {
    return zel::numberText(v, precision, zel::decimalMark::point);
  };
  return "Resection: " + name + "\n\n" + "x Max error = " + digits(e.maxDx, 6) +
         ",  n = " + std::to_string(e.maxDxIndex + 1) + "\ny Max error = " + digits(e.maxDy, 6) +
         ",  n = " + std::to_string(e.maxDyIndex + 1) +
         "\nx Average error = " + digits(e.meanDx, 10) +
         "\ny Average error = " + digits(e.meanDy, 10);
}

}  // namespace tamble
