#include "resect/cameraPose.h"

#include <cmath>

namespace tamble {
namespace {

double dot3(const double* a, const double* b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

// Each rational function scaled so that its denominator's X, Y, Z part has
// length 1 and both point the same way; the shared row is their mean.
bool projectionMatrix(const resectCoefficients& c, double P[3][4]) {
  const auto& a = c.ax;
  const auto& b = c.ay;
  const double na = std::sqrt(a[5] * a[5] + a[6] * a[6] + a[7] * a[7]);
  double nb = std::sqrt(b[5] * b[5] + b[6] * b[6] + b[7] * b[7]);
  if (!(na > 0.0) || !(nb > 0.0)) return false;
  if (a[5] * b[5] + a[6] * b[6] + a[7] * b[7] < 0.0) nb = -nb;
  const double rows[2][4] = {{a[1] / na, a[2] / na, a[3] / na, a[0] / na},
                             {b[1] / nb, b[2] / nb, b[3] / nb, b[0] / nb}};
  for (int j = 0; j < 4; ++j) P[0][j] = rows[0][j], P[1][j] = rows[1][j];
  const int den[4] = {5, 6, 7, 4};
  for (int j = 0; j < 4; ++j) P[2][j] = 0.5 * (a[den[j]] / na + b[den[j]] / nb);
  return true;
}

double determinant(const double m[3][3]) {
  return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
         m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
         m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

}  // namespace

// M = K R by Gram-Schmidt from the last row up; the position solves
// M C = -p4 by Cramer's rule.
bool poseOf(const resectCoefficients& record, cameraPose& out) {
  double P[3][4];
  if (!projectionMatrix(record, P)) return false;
  double M[3][3];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) M[i][j] = P[i][j];
  const double det = determinant(M);
  const double n3 = std::sqrt(dot3(M[2], M[2]));
  if (!std::isfinite(det) || det == 0.0 || !(n3 > 0.0)) return false;
  cameraPose c;
  double r1[3], r2[3], r3[3];
  for (int j = 0; j < 3; ++j) r3[j] = M[2][j] / n3;
  double m2[3], m1[3];
  for (int j = 0; j < 3; ++j) m2[j] = M[1][j] / n3, m1[j] = M[0][j] / n3;
  c.py = dot3(m2, r3);
  for (int j = 0; j < 3; ++j) r2[j] = m2[j] - c.py * r3[j];
  c.fy = std::sqrt(dot3(r2, r2));
  for (int j = 0; j < 3; ++j) r2[j] /= c.fy;
  c.px = dot3(m1, r3);
  c.skew = dot3(m1, r2);
  for (int j = 0; j < 3; ++j) r1[j] = m1[j] - c.skew * r2[j] - c.px * r3[j];
  c.fx = std::sqrt(dot3(r1, r1));
  for (int j = 0; j < 3; ++j) r1[j] /= c.fx;
  const double R[3][3] = {{r1[0], r1[1], r1[2]}, {r2[0], r2[1], r2[2]}, {r3[0], r3[1], r3[2]}};
  const double sign = determinant(R) < 0.0 ? -1.0 : 1.0;  // -M = K (-R)
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) c.axes[i][j] = sign * R[i][j];
  for (int k = 0; k < 3; ++k) {
    double Mk[3][3];
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) Mk[i][j] = j == k ? -P[i][3] : M[i][j];
    c.position[k] = determinant(Mk) / det;
  }
  if (!std::isfinite(c.fx) || !std::isfinite(c.fy) || !(c.fx > 0.0) || !(c.fy > 0.0)) return false;
  out = c;
  return true;
}

zel::cameraFeatures improvedCamera(const zel::cameraFeatures& start,
                                   const cameraProjection& projection) {
  cameraPose pose;
  if (!poseOf(projection.coefficients, pose)) return start;
  zel::cameraFeatures out = start;
  out.focus = 0.5 * (pose.fx + pose.fy);
  // Terms that are the camera's own, converted, go back unchanged rather
  // than converted there and back.
  const lensTerms own = projectionLens(projection.camera.lens, projection.camera.radius);
  if (own.k1 == projection.lens.k1 && own.k2 == projection.lens.k2) return out;
  const lensTerms correction = cameraLens(projection.lens, projection.camera.radius);
  out.a2 = correction.k1;
  out.a4 = correction.k2;
  return out;
}

}  // namespace tamble
