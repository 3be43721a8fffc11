// The camera calibration solver: refines the 18 numbers of a closed method's
// camera (the two rational projections and the two lens terms) so that the
// projected model points fall on the measured image points, by a downhill
// simplex ("Configuration Method") and then a quasi-Newton iteration
// ("Foton Method"), and hands back the best point any evaluation met when it
// is no worse than the start.
//
// The points live in module-wide static arrays (an evaluation allocates
// nothing), so the solver serves one caller at a time.
#pragma once

#include <array>
#include <string>

#include "api/camera.h"

namespace tamble {

inline constexpr int solverParameters = 18;
inline constexpr int solverCapacity = 8192;  // the most points the solver takes

// Parameters interleaved: p[2i] = a[i], p[2i + 1] = b[i] for i < 8, then
// p[16] = k1, p[17] = k2 (projection terms).
void packParameters(const double* a, const double* b, const double* distortion, double* p);
void unpackParameters(const double* p, double* a, double* b, double* distortion);

// Loads the model points, the measured image points and the camera's scale
// and centre into the module's arrays. False, with nothing loaded, for more
// than solverCapacity points or a camera without a pixel scale.
bool setSolverPoints(const double* X, const double* Y, const double* Z, const double* x,
                     const double* y, int n, const zel::cameraFeatures& camera);

// One evaluation at p: every point projected (its u, v kept), F the mean of
// the squared distances in pixels; a denominator below 1e-30 in size counts
// as 1e-30 of its sign. Counts the evaluation, and a new lowest F becomes the
// best record with p and the evaluation's number.
double solverObjective(const double* p);

// sqrt(sqrt(|1 - A B / (C D)|)) / n, at most 1: A, B the spreads of the
// computed u, v about the means of the measured x, y, and C, D those of the
// measured points themselves (1 when C D is 0).
double pearsonDelta();

struct solverRecord {
  double best = 1e+30;
  std::array<double, solverParameters> p{};
  long evaluations = 0;
  long bestEvaluation = 0;
};
const solverRecord& solverBest();
// The best back to 1e+30 and the counts to 0.
void resetSolverBest();

// The whole solver on n pairs (at most solverCapacity): true when a, b and
// distortion (the projection terms k1, k2) were replaced by a fit no worse
// than the start. `report` receives the composed text of both stages.
bool calibrateCamera(const double* X, const double* Y, const double* Z, const double* x,
                     const double* y, int n, const zel::cameraFeatures& camera, double* a,
                     double* b, double* distortion, std::string& report);

}  // namespace tamble
