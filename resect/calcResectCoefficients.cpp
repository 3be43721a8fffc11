#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "api/errors.h"
#include "api/report.h"
#include "resect/calibrationSolver.h"
#include "resect/resection.h"

namespace tamble {
namespace {

bool finitePair(const markerPairs& p, int i) {
  return std::isfinite(p.X[i]) && std::isfinite(p.Y[i]) && std::isfinite(p.Z[i]) &&
         std::isfinite(p.x[i]) && std::isfinite(p.y[i]);
}

// A rational function and any multiple of it are the same projection; the
// solver lets the scale drift, so the record is put back with a Z
// coefficient of 1 in each denominator, as the closed methods give it
// (unless that coefficient is 0: a camera looking across Z).
void unitZ(std::array<double, 8>& a) {
  double largest = 0.0;
  for (double v : a) largest = std::max(largest, std::fabs(v));
  if (!(std::fabs(a[7]) > 1e-12 * largest)) return;
  const double z = a[7];
  for (double& v : a) v /= z;
  a[7] = 1.0;
}

// The solver on the active pairs; its text, and the record and lens
// replaced when it found a fit no worse than the start.
std::string optimise(const markerPairs& p, const zel::cameraFeatures& camera,
                     cameraProjection& projection) {
  std::vector<double> X, Y, Z, x, y;
  for (int i = 0; i < p.n; ++i) {
    if (!p.active[i]) continue;
    X.push_back(p.X[i]), Y.push_back(p.Y[i]), Z.push_back(p.Z[i]);
    x.push_back(p.x[i]), y.push_back(p.y[i]);
  }
  const int n = static_cast<int>(X.size());
  if (n > solverCapacity)
    return "The camera solver takes at most " + std::to_string(solverCapacity) +
           " pairs; the closed method's coefficients stand\n";
  double distortion[2] = {projection.lens.k1, projection.lens.k2};
  std::string text;
  if (calibrateCamera(X.data(), Y.data(), Z.data(), x.data(), y.data(), n, camera,
                      projection.coefficients.ax.data(), projection.coefficients.ay.data(),
                      distortion, text)) {
    projection.lens = {distortion[0], distortion[1]};
    unitZ(projection.coefficients.ax);
    unitZ(projection.coefficients.ay);
  }
  return text;
}

}  // namespace

bool calcResectCoefficients(const zel::markersArray& imageMarkers,
                            const zel::markersArray& geometryMarkers,
                            const zel::cameraFeatures& camera, int resectType, bool optimize,
                            resectCoefficients& coefficients, resectErrors& errorsRecord,
                            lensTerms& distortion, bool showErrors, const std::string& name,
                            std::string* report) {
  if (resectType != 0 && resectType != 1)  // raised from the module's own source path
    throw zel::AlgoError("resect_coeff", __LINE__, "Wrong resect type",
                         zel::AlgoError::standardCode);
  const auto done = [&](const std::string& text, bool result) {
    if (report) *report = text;
    if (showErrors) zel::noticeUnlessQuiet(text);
    return result;
  };
  const std::string head = "Resection: " + name + "\n\n";
  if (imageMarkers.count() != geometryMarkers.count())
    return done(head + "Different count of the Geometry and Image markers", false);
  const markerPairs p = pairsOf(imageMarkers, geometryMarkers);
  int active = 0;
  for (int i = 0; i < p.n; ++i) active += p.active[i] ? 1 : 0;
  if (active < 9) return done(head + "Real count of the markers is too small", false);
  const std::optional<resectCamera> scale = resectCameraOf(camera);
  if (!scale)
    return done(
        head + "The camera has no pixel scale: dx, dy, ncx, ncy, nfx and nfy must be positive",
        false);
  for (int i = 0; i < p.n; ++i)
    if (p.active[i] && !finitePair(p, i))
      return done(
          head + "Marker No " + std::to_string(i + 1) + " has a coordinate that is not a number",
          false);
  cameraProjection projection{{}, *scale, projectionLens(scale->lens, scale->radius)};
  using closedMethod =
      bool (*)(const double*, const double*, const double*, const double*, const double*,
               const bool*, int, const resectCamera&, resectCoefficients&);
  const closedMethod method =
      resectType == 0 ? closedMethod(resectTsai) : closedMethod(resectProjective);
  if (!method(p.X.data(), p.Y.data(), p.Z.data(), p.x.data(), p.y.data(), p.active.get(), p.n,
              *scale, projection.coefficients))
    return done("Resection: Can not calculate transformation coeffitients", false);
  const std::string solverText = optimize ? optimise(p, camera, projection) : std::string();
  const resectErrors errors = residualErrors(projection, p.X.data(), p.Y.data(), p.Z.data(),
                                             p.x.data(), p.y.data(), p.active.get(), p.n);
  coefficients = projection.coefficients;
  errorsRecord = errors;
  distortion = projection.lens;
  return done(solverText + (solverText.empty() ? "" : "\n") + resectErrorText(name, errors), true);
}

}  // namespace tamble
