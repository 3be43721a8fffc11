// "Resect 1", the method of Tsai for points not in one plane. The radial
// alignment constraint (an image point lies on the line from the image
// centre along the direction of its model point's offset from the optical
// axis) is linear in seven ratios of the pose; they give the first two rows
// of the rotation, the x and y translation and the scale ratio of the axes.
// The third row is their cross product, and the focal length and the z
// translation follow from a second linear system. The result is written as
// the coefficient record of the projection.
#include <cmath>
#include <vector>

#include "resect/leastSquares.h"
#include "resect/resectCoefficients.h"

namespace tamble {
namespace {

struct vec {
  double x = 0.0, y = 0.0, z = 0.0;
};
double dot(vec a, vec b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
vec scaled(vec a, double s) { return {a.x * s, a.y * s, a.z * s}; }
vec minus(vec a, vec b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
vec cross(vec a, vec b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double norm(vec a) { return std::sqrt(dot(a, a)); }

// The active pairs: model points about the origin chosen below, ideal
// image points.
struct pairs {
  std::vector<vec> P;
  std::vector<double> u, v;
  vec origin;
  int size() const { return static_cast<int>(P.size()); }
};

// The constraint divides by the y translation, the camera's y of the model's
// origin; it must stay clear of 0. The model point seen farthest from the
// image's x axis makes the best origin: its camera y is the largest.
pairs collect(const double* X, const double* Y, const double* Z, const double* x, const double* y,
              const bool* active, int n, const resectCamera& camera) {
  pairs p;
  double farthest = -1.0;
  for (int i = 0; i < n; ++i) {
    if (!active[i]) continue;
    double u = 0.0, v = 0.0;
    correctedPoint(camera, x[i], y[i], u, v);
    p.P.push_back({X[i], Y[i], Z[i]});
    p.u.push_back(u);
    p.v.push_back(v);
    if (std::fabs(v) > farthest) farthest = std::fabs(v), p.origin = p.P.back();
  }
  for (vec& q : p.P) q = minus(q, p.origin);
  return p;
}

// Row [v X, v Y, v Z, v, -u X, -u Y, -u Z], right side u.
bool radialAlignment(const pairs& p, double* L) {
  const int rows = p.size();
  std::vector<double> m(static_cast<std::size_t>(rows) * 7), right(rows);
  for (int i = 0; i < rows; ++i) {
    double* row = &m[static_cast<std::size_t>(i) * 7];
    const vec q = p.P[i];
    row[0] = p.v[i] * q.x, row[1] = p.v[i] * q.y, row[2] = p.v[i] * q.z, row[3] = p.v[i];
    row[4] = -p.u[i] * q.x, row[5] = -p.u[i] * q.y, row[6] = -p.u[i] * q.z;
    right[i] = p.u[i];
  }
  return leastSquares(m.data(), right.data(), 7, rows, L);
}

struct pose {
  vec r1, r2, r3;  // rows of the rotation
  double tx = 0.0, ty = 0.0, tz = 0.0;
  double sx = 1.0;  // x scale over y scale
  double f = 0.0;
};

// Rows that are nearly orthonormal made exactly so, each taking half of
// their mutual error.
void orthonormalise(vec& a, vec& b) {
  a = scaled(a, 1.0 / norm(a));
  b = scaled(b, 1.0 / norm(b));
  const double e = dot(a, b);
  const vec a2 = minus(a, scaled(b, 0.5 * e)), b2 = minus(b, scaled(a, 0.5 * e));
  a = scaled(a2, 1.0 / norm(a2));
  b = scaled(b2, 1.0 / norm(b2));
}

// |Ty| and the scale ratio from the ratios L; the sign of Ty is the one
// that puts the camera x and y of the points on the side of their image
// points (by the sum over all pairs rather than one point).
bool rotationRows(const pairs& p, const double* L, pose& c) {
  const vec first{L[0], L[1], L[2]}, second{L[4], L[5], L[6]};
  const double n2 = norm(second);
  if (!(n2 > 0.0) || !(norm(first) > 0.0)) return false;
  const double ty = 1.0 / n2;
  c.sx = ty * norm(first);
  double agree = 0.0;
  for (int i = 0; i < p.size(); ++i) {
    const double xc = (dot(first, p.P[i]) + L[3]) * ty / c.sx;
    const double yc = (dot(second, p.P[i]) + 1.0) * ty;
    agree += p.u[i] * xc + p.v[i] * yc;
  }
  c.ty = agree < 0.0 ? -ty : ty;
  c.r1 = scaled(first, c.ty / c.sx);
  c.r2 = scaled(second, c.ty);
  c.tx = L[3] * c.ty / c.sx;
  orthonormalise(c.r1, c.r2);
  c.r3 = cross(c.r1, c.r2);
  return true;
}

// u (w + Tz) = sx f xc and v (w + Tz) = f yc with w = r3 . P: rows
// [sx xc, -u] and [yc, -v] for (f, Tz), right sides u w and v w.
bool focalLength(const pairs& p, pose& c) {
  const int rows = 2 * p.size();
  std::vector<double> m(static_cast<std::size_t>(rows) * 2), right(rows);
  for (int i = 0; i < p.size(); ++i) {
    const vec q = p.P[i];
    const double xc = dot(c.r1, q) + c.tx, yc = dot(c.r2, q) + c.ty, w = dot(c.r3, q);
    m[4 * i] = c.sx * xc, m[4 * i + 1] = -p.u[i], right[2 * i] = p.u[i] * w;
    m[4 * i + 2] = yc, m[4 * i + 3] = -p.v[i], right[2 * i + 1] = p.v[i] * w;
  }
  double ft[2];
  if (!leastSquares(m.data(), right.data(), 2, rows, ft)) return false;
  c.f = ft[0];
  c.tz = ft[1];
  return true;
}

// u = sx f (r1 . P + Tx) / (r3 . P + Tz), v = f (r2 . P + Ty) / (r3 . P + Tz)
// about the origin, moved back to the model's origin and divided by the Z
// coefficient of the denominator unless the camera looks across Z.
resectCoefficients recordOf(const pose& c, vec origin) {
  const double fx = c.sx * c.f, fy = c.f;
  resectCoefficients out;
  out.ax = {fx * c.tx, fx * c.r1.x, fx * c.r1.y, fx * c.r1.z, c.tz, c.r3.x, c.r3.y, c.r3.z};
  out.ay = {fy * c.ty, fy * c.r2.x, fy * c.r2.y, fy * c.r2.z, c.tz, c.r3.x, c.r3.y, c.r3.z};
  for (auto* a : {&out.ax, &out.ay}) {
    (*a)[0] -= (*a)[1] * origin.x + (*a)[2] * origin.y + (*a)[3] * origin.z;
    (*a)[4] -= (*a)[5] * origin.x + (*a)[6] * origin.y + (*a)[7] * origin.z;
  }
  const double z = c.r3.z;
  if (std::fabs(z) > 1e-6)
    for (auto* a : {&out.ax, &out.ay})
      for (double& value : *a) value /= z;
  return out;
}

}  // namespace

bool resectTsai(const double* X, const double* Y, const double* Z, const double* x, const double* y,
                const bool* active, int n, const resectCamera& camera, resectCoefficients& out) {
  const pairs p = collect(X, Y, Z, x, y, active, n, camera);
  if (p.size() < 7) return false;
  double L[7];
  pose c;
  if (!radialAlignment(p, L) || !rotationRows(p, L, c) || !focalLength(p, c)) return false;
  const resectCoefficients found = recordOf(c, p.origin);
  for (int i = 0; i < 8; ++i)
    if (!std::isfinite(found.ax[i]) || !std::isfinite(found.ay[i])) return false;
  out = found;
  return true;
}

}  // namespace tamble
