#include "resect/calibrationSolver.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "api/numbers.h"
#include "resect/resectCoefficients.h"
#include "resect/searches.h"

namespace tamble {
namespace {

double pointX[solverCapacity], pointY[solverCapacity], pointZ[solverCapacity];
double measuredX[solverCapacity], measuredY[solverCapacity];
double computedU[solverCapacity], computedV[solverCapacity];
int pointCount = 0;
double scaleX = 1.0, scaleY = 1.0, centreX = 0.0, centreY = 0.0;
double lensRadius = 1.0;  // half the sensor's diagonal
solverRecord record;

double guarded(double d) {
  if (std::fabs(d) < 1e-30) return d < 0.0 ? -1e-30 : 1e-30;
  return d;
}

// Projects every point with p into u, v; the mean squared distance.
double projectAll(const double* p) {
  double a[8], b[8];
  for (int i = 0; i < 8; ++i) a[i] = p[2 * i], b[i] = p[2 * i + 1];
  const double k1 = p[16], k2 = p[17];
  double sum = 0.0;
  for (int i = 0; i < pointCount; ++i) {
    const double X = pointX[i], Y = pointY[i], Z = pointZ[i];
    const double d1 = guarded(a[4] + a[5] * X + a[6] * Y + a[7] * Z);
    double u = (a[0] + a[1] * X + a[2] * Y + a[3] * Z) / d1;
    const double d2 = guarded(b[4] + b[5] * X + b[6] * Y + b[7] * Z);
    double v = (b[0] + b[1] * X + b[2] * Y + b[3] * Z) / d2;
    const double r2 = u * u + v * v;
    const double f = 1.0 / (1.0 + k1 * r2 + k2 * r2 * r2);
    u = scaleX * (u * f) + centreX;
    v = scaleY * (v * f) + centreY;
    computedU[i] = u;
    computedV[i] = v;
    sum += (measuredX[i] - u) * (measuredX[i] - u) + (measuredY[i] - v) * (measuredY[i] - v);
  }
  const double F = pointCount > 0 ? sum / pointCount : 0.0;
  return std::isnan(F) ? HUGE_VAL : F;
}

std::string number(double v) { return zel::numberText(v, 6, zel::decimalMark::point); }

std::string pearsonLine() {
  return "Pearson Series Delta Correlation Coefficient : " + number(pearsonDelta()) + "\n";
}

// The best parameters back in place, with their u, v.
void restoreBest(double* p) {
  std::copy(record.p.begin(), record.p.end(), p);
  projectAll(p);
}

}  // namespace

void packParameters(const double* a, const double* b, const double* distortion, double* p) {
  for (int i = 0; i < 8; ++i) p[2 * i] = a[i], p[2 * i + 1] = b[i];
  p[16] = distortion[0];
  p[17] = distortion[1];
}

void unpackParameters(const double* p, double* a, double* b, double* distortion) {
  for (int i = 0; i < 8; ++i) a[i] = p[2 * i], b[i] = p[2 * i + 1];
  distortion[0] = p[16];
  distortion[1] = p[17];
}

bool setSolverPoints(const double* X, const double* Y, const double* Z, const double* x,
                     const double* y, int n, const zel::cameraFeatures& camera) {
  const std::optional<resectCamera> scale = resectCameraOf(camera);
  if (!scale || n < 0 || n > solverCapacity) return false;
  std::copy(X, X + n, pointX);
  std::copy(Y, Y + n, pointY);
  std::copy(Z, Z + n, pointZ);
  std::copy(x, x + n, measuredX);
  std::copy(y, y + n, measuredY);
  pointCount = n;
  scaleX = scale->sx;
  scaleY = scale->sy;
  centreX = scale->cx;
  centreY = scale->cy;
  lensRadius = scale->radius > 0.0 ? scale->radius : 1.0;
  return true;
}

double solverObjective(const double* p) {
  const double F = projectAll(p);
  ++record.evaluations;
  if (F < record.best) {
    record.best = F;
    std::copy(p, p + solverParameters, record.p.begin());
    record.bestEvaluation = record.evaluations;
  }
  return F;
}

double pearsonDelta() {
  const int n = pointCount;
  if (n == 0) return 1.0;
  double m1 = 0.0, m2 = 0.0;
  for (int i = 0; i < n; ++i) m1 += measuredX[i], m2 += measuredY[i];
  m1 /= n;
  m2 /= n;
  double A = 0.0, B = 0.0, C = 0.0, D = 0.0;
  for (int i = 0; i < n; ++i) {
    A += (computedU[i] - m1) * (computedU[i] - m1);
    B += (computedV[i] - m2) * (computedV[i] - m2);
    C += (measuredX[i] - m1) * (measuredX[i] - m1);
    D += (measuredY[i] - m2) * (measuredY[i] - m2);
  }
  if (C * D == 0.0) return 1.0;
  const double delta = std::sqrt(std::sqrt(std::fabs(1.0 - (A * B) / (C * D)))) / n;
  return std::isnan(delta) ? 1.0 : std::min(delta, 1.0);
}

const solverRecord& solverBest() { return record; }

void resetSolverBest() { record = solverRecord{}; }

namespace {

constexpr int simplexSteps = 50000;
constexpr long foton = 400000;

// Configuration stage: the simplex scaled by the parameters themselves.
void configurationStage(double* p, std::string& text) {
  double scale[solverParameters], tolerance[solverParameters];
  for (int j = 0; j < solverParameters; ++j) {
    scale[j] = p[j];
    tolerance[j] = p[j] * 1e-06;  // keeps the sign: a negative one is never met
  }
  text += pearsonLine();
  text += "Before Configuration Method Steps: " + std::to_string(simplexSteps) +
          "  F=" + number(record.best) + "\n";
  const simplexResult r =
      simplexSearch(solverObjective, solverParameters, p, scale, 0.1, simplexSteps, tolerance);
  text += "After Configuration method Steps: " + std::to_string(r.steps) + " / " +
          std::to_string(record.evaluations) + "  F=" + number(record.best) + "  at  " +
          std::to_string(record.bestEvaluation) + "\n";
  restoreBest(p);
  text += pearsonLine();
}

// How far each parameter moves the projected points: a change of p[j] by
// unit[j] moves them by about one pixel (RMS). A parameter that moves
// nothing gets 0. A parameter at 0 is probed on the scale of the sensor for
// the lens terms and of 1 for the rest.
void influenceUnits(const double* p, double* unit) {
  projectAll(p);
  const std::vector<double> u(computedU, computedU + pointCount),
      v(computedV, computedV + pointCount);
  const double R2 = lensRadius * lensRadius;
  double q[solverParameters];
  std::copy(p, p + solverParameters, q);
  for (int j = 0; j < solverParameters; ++j) {
    const double floor = j == 16 ? 1.0 / R2 : j == 17 ? 1.0 / (R2 * R2) : 1.0;
    const double h = 1e-6 * (p[j] != 0.0 ? std::fabs(p[j]) : floor);
    q[j] = p[j] + h;
    projectAll(q);
    q[j] = p[j];
    double sum = 0.0;
    for (int i = 0; i < pointCount; ++i)
      sum += (computedU[i] - u[i]) * (computedU[i] - u[i]) +
             (computedV[i] - v[i]) * (computedV[i] - v[i]);
    const double moved = pointCount > 0 ? std::sqrt(sum / pointCount) : 0.0;
    unit[j] = moved > 0.0 && std::isfinite(moved) ? h / moved : 0.0;
  }
  projectAll(p);
}

// Foton stage: quasi-Newton from the best point, the counts reset. The
// iteration runs on the parameters measured from that point in the units
// above: its difference steps (1e-3 of a coordinate, at least 1e-4) are then
// small against the fit whatever size the parameters have, and a lens term
// at 0, which the simplex cannot move, is found here.
void fotonStage(double* p, std::string& text) {
  record.evaluations = 0;
  record.bestEvaluation = 0;
  text +=
      "Before Foton Method Steps: " + std::to_string(foton) + "  F=" + number(record.best) + "\n";
  double start[solverParameters], unit[solverParameters], y[solverParameters] = {};
  double q[solverParameters];
  std::copy(p, p + solverParameters, start);
  influenceUnits(start, unit);
  const searchObjective measured = [&](const double* at) {
    for (int j = 0; j < solverParameters; ++j) q[j] = start[j] + unit[j] * at[j];
    return solverObjective(q);
  };
  const quasiNewtonResult r = quasiNewtonSearch(measured, solverParameters, 6, foton, 0, y);
  text += "Code #" + std::to_string(r.code) + "\n";
  text += "After Foton  Method Steps: " + std::to_string(r.evaluations) + " / " +
          std::to_string(record.evaluations) + "  F=" + number(record.best) + "  at  " +
          std::to_string(record.bestEvaluation) + "\n";
  restoreBest(p);
  text += pearsonLine();
}

}  // namespace

bool calibrateCamera(const double* X, const double* Y, const double* Z, const double* x,
                     const double* y, int n, const zel::cameraFeatures& camera, double* a,
                     double* b, double* distortion, std::string& report) {
  if (!setSolverPoints(X, Y, Z, x, y, n, camera)) return false;
  double p[solverParameters];
  packParameters(a, b, distortion, p);
  resetSolverBest();
  const double F0 = projectAll(p);
  std::string text =
      "Initial Tsai or Brelin Method                 F=" + number(F0) + "\n" + pearsonLine();
  solverObjective(p);
  record.evaluations = 0;
  record.bestEvaluation = 0;
  configurationStage(p, text);
  fotonStage(p, text);
  report = text;
  if (!(record.best <= F0)) return false;
  unpackParameters(record.p.data(), a, b, distortion);
  return true;
}

}  // namespace tamble
