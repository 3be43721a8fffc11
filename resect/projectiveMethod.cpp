// "Resect 2": each image axis is a ratio of two linear functions of the
// model point, whose ten coefficients (the Z coefficient of the denominator
// fixed at 1) follow from one linear least-squares system per axis.
#include <cmath>
#include <vector>

#include "resect/leastSquares.h"
#include "resect/resectCoefficients.h"

namespace tamble {
namespace {

constexpr int unknowns = 7;

struct centredPairs {
  std::vector<double> X, Y, Z, u, v;  // model point less the centroid; ideal image point
  double mX = 0.0, mY = 0.0, mZ = 0.0;
};

// The active pairs, their image points corrected; the model points are
// taken about their centroid, which keeps the system well conditioned when
// the model lies far from its origin.
centredPairs collect(const double* X, const double* Y, const double* Z, const double* x,
                     const double* y, const bool* active, int n, const resectCamera& camera) {
  centredPairs p;
  for (int i = 0; i < n; ++i) {
    if (!active[i]) continue;
    double u = 0.0, v = 0.0;
    correctedPoint(camera, x[i], y[i], u, v);
    p.X.push_back(X[i]);
    p.Y.push_back(Y[i]);
    p.Z.push_back(Z[i]);
    p.u.push_back(u);
    p.v.push_back(v);
    p.mX += X[i];
    p.mY += Y[i];
    p.mZ += Z[i];
  }
  const double count = static_cast<double>(p.X.size());
  if (count == 0.0) return p;
  p.mX /= count;
  p.mY /= count;
  p.mZ /= count;
  for (std::size_t i = 0; i < p.X.size(); ++i) {
    p.X[i] -= p.mX;
    p.Y[i] -= p.mY;
    p.Z[i] -= p.mZ;
  }
  return p;
}

// Row [1, X, Y, Z, -u, -u X, -u Y], right side u Z, for the axis `u`.
bool solveAxis(const centredPairs& p, const std::vector<double>& u, double* a) {
  const int rows = static_cast<int>(u.size());
  std::vector<double> matrix(static_cast<std::size_t>(rows) * unknowns), right(rows);
  for (int i = 0; i < rows; ++i) {
    double* row = &matrix[static_cast<std::size_t>(i) * unknowns];
    row[0] = 1.0;
    row[1] = p.X[i];
    row[2] = p.Y[i];
    row[3] = p.Z[i];
    row[4] = -u[i];
    row[5] = -u[i] * p.X[i];
    row[6] = -u[i] * p.Y[i];
    right[i] = u[i] * p.Z[i];
  }
  return leastSquares(matrix.data(), right.data(), unknowns, rows, a);
}

// The coefficients about the centroid m, moved back to the model's origin:
// a + b (X - m) = (a - b m) + b X in numerator and denominator alike.
void uncentre(const double* a, const centredPairs& p, std::array<double, 8>& out) {
  out[0] = a[0] - a[1] * p.mX - a[2] * p.mY - a[3] * p.mZ;
  out[1] = a[1];
  out[2] = a[2];
  out[3] = a[3];
  out[4] = a[4] - a[5] * p.mX - a[6] * p.mY - p.mZ;
  out[5] = a[5];
  out[6] = a[6];
  out[7] = 1.0;
}

}  // namespace

bool resectProjective(const double* X, const double* Y, const double* Z, const double* x,
                      const double* y, const bool* active, int n, const resectCamera& camera,
                      resectCoefficients& out) {
  const centredPairs p = collect(X, Y, Z, x, y, active, n, camera);
  if (static_cast<int>(p.X.size()) < unknowns) return false;
  double a[unknowns], b[unknowns];
  if (!solveAxis(p, p.u, a) || !solveAxis(p, p.v, b)) return false;
  resectCoefficients found;
  uncentre(a, p, found.ax);
  uncentre(b, p, found.ay);
  for (int i = 0; i < 8; ++i)
    if (!std::isfinite(found.ax[i]) || !std::isfinite(found.ay[i])) return false;
  out = found;
  return true;
}

bool resectProjective(const zel::markersArray& image, const zel::markersArray& model,
                      const zel::cameraFeatures& camera, resectCoefficients& out) {
  const std::optional<resectCamera> scale = resectCameraOf(camera);
  if (!scale || image.count() != model.count()) return false;
  const markerPairs p = pairsOf(image, model);
  return resectProjective(p.X.data(), p.Y.data(), p.Z.data(), p.x.data(), p.y.data(),
                          p.active.get(), p.n, *scale, out);
}

}  // namespace tamble
