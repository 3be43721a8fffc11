// The projection of a camera computed from paired image and model points.
//
// Image points are first normalised by the camera: the offset from the
// optical centre in pixels becomes a length on the sensor,
//   xn = (x - cx) / sx,  yn = (y - cy) / sy,  sx = nfx / (ncx dx), sy = nfy / (ncy dy),
// in the camera's length unit. A radial correction then takes a measured
// (normalised) point to where an ideal lens would have put it:
//   c = 1 + k1 r^2 + k2 r^4,  r^2 = xn^2 + yn^2,  ideal = c * measured,
// with k1, k2 the camera's a2, a4 ("correction terms").
//
// The coefficient record maps a model point (X, Y, Z) to the ideal point:
//   u = (a0x + a1x X + a2x Y + a3x Z) / (a4x + a5x X + a6x Y + a7x Z),
//   v = (a0y + a1y X + a2y Y + a3y Z) / (a4y + a5y X + a6y Y + a7y Z).
// The closed methods give a7x = a7y = 1.
//
// Going back from the ideal point to the image (the projection) divides by
// the lens factor of the ideal radius, f = 1 / (1 + k1' r^2 + k2' r^4) with
// r^2 = u^2 + v^2, then scales to pixels: x = sx f u + cx, y = sy f v + cy.
// k1', k2' ("projection terms") are not the correction terms: dividing by
// the factor of the ideal radius only approximates the inverse of
// multiplying by the factor of the measured one. projectionLens and
// cameraLens convert between the two forms over the sensor's radius.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "api/camera.h"
#include "api/markers.h"

namespace tamble {

// a0x..a7x in ax[0..7], a0y..a7y in ay[0..7], as the file keys name them.
struct resectCoefficients {
  std::array<double, 8> ax{};
  std::array<double, 8> ay{};
};

// Two radial lens terms, in the correction or the projection form (above).
struct lensTerms {
  double k1 = 0.0;
  double k2 = 0.0;
};

// What the resection takes from a camera file.
struct resectCamera {
  double sx = 1.0;  // pixels per length unit on the sensor
  double sy = 1.0;
  double cx = 0.0;  // optical centre, pixels
  double cy = 0.0;
  lensTerms lens;       // the correction terms, a2 and a4
  double radius = 0.0;  // half the sensor's diagonal, in its length unit
};

// The camera's scale and lens; nothing when dx, dy, ncx, ncy, nfx and nfy are
// not all positive (and finite): such a camera has no pixel scale.
std::optional<resectCamera> resectCameraOf(const zel::cameraFeatures& camera);

// Correction terms to projection terms and back: the least-squares fit of
// the other form over radii from 0 to `radius`, weighted by the radius so
// that the positions, not the factors, agree. Zero terms stay zero.
lensTerms projectionLens(const lensTerms& correction, double radius);
lensTerms cameraLens(const lensTerms& projection, double radius);

// A coefficient record with the camera it belongs to and the projection
// terms of its lens: everything that takes a model point to the image.
struct cameraProjection {
  resectCoefficients coefficients;
  resectCamera camera;
  lensTerms lens;  // projection terms

  // The image point (pixels) of the model point (X, Y, Z). A denominator
  // smaller than 1e-30 in size counts as 1e-30 of its sign (0 as positive),
  // as in the calibration solver.
  void project(double X, double Y, double Z, double& x, double& y) const;
};

// The projection of a closed method's record with the camera it was computed
// with (the camera's lens terms turned into projection terms); nothing when
// the camera has no pixel scale.
std::optional<cameraProjection> projectionOf(const resectCoefficients& coefficients,
                                             const zel::cameraFeatures& camera);

// The ideal (normalised, corrected) point of a measured image point.
void correctedPoint(const resectCamera& camera, double x, double y, double& u, double& v);

// Marker arrays as the plain arrays of the methods: image marker i with
// model marker i (over the shorter array), a pair active when both are.
struct markerPairs {
  int n = 0;
  std::vector<double> X, Y, Z, x, y;
  std::unique_ptr<bool[]> active;
};
markerPairs pairsOf(const zel::markersArray& image, const zel::markersArray& model);

// "Resect 2", the projective method: for each axis a linear least-squares
// system of seven unknowns, one row per active pair, with the radial
// correction of the camera applied first; the Z coefficient of each
// denominator is 1. The pairs are (X[i], Y[i], Z[i]) of the model and (x[i],
// y[i]) of the image, in pixels; active[i] says whether pair i counts. False,
// with `out` unchanged, when the active pairs do not determine the
// coefficients (fewer than seven, all on one line or in one plane, a number
// that is not finite).
bool resectProjective(const double* X, const double* Y, const double* Z, const double* x,
                      const double* y, const bool* active, int n, const resectCamera& camera,
                      resectCoefficients& out);
// The same on marker arrays: image marker i pairs with model marker i, and a
// pair counts when both are active. False also when the arrays differ in
// length or the camera has no pixel scale.
bool resectProjective(const zel::markersArray& image, const zel::markersArray& model,
                      const zel::cameraFeatures& camera, resectCoefficients& out);

// "Resect 1", the method of Tsai, on the same pairs and with the same
// correction: the radial alignment constraint (seven unknowns, one row per
// active pair) gives the first two rows of the rotation, the x and y
// translation and the ratio of the axes' scales; the third row is their
// cross product; the focal length and the z translation solve a second
// system. The record is divided by its Z coefficient (both denominators
// alike) unless the camera looks nearly across Z. False, with `out`
// unchanged, as for the projective method.
bool resectTsai(const double* X, const double* Y, const double* Z, const double* x, const double* y,
                const bool* active, int n, const resectCamera& camera, resectCoefficients& out);

// The residuals of the active pairs in the image: dx, dy are the projected
// minus the measured coordinates, in pixels.
struct resectErrors {
  int pairs = 0;        // active pairs measured
  double maxDx = 0.0;   // largest |dx|
  int maxDxIndex = -1;  // its pair, counting from 0 over all pairs
  double maxDy = 0.0;
  int maxDyIndex = -1;
  double meanDx = 0.0;  // mean |dx|
  double meanDy = 0.0;
  double meanSquareDx = 0.0;  // mean dx^2
  double meanSquareDy = 0.0;
};

resectErrors residualErrors(const cameraProjection& projection, const double* X, const double* Y,
                            const double* Z, const double* x, const double* y, const bool* active,
                            int n);

// The error report: "Resection: " name, a blank line, then
// "x Max error = " value ",  n = " pair "\ny Max error = " value ",  n = " pair,
// "\nx Average error = " mean "\ny Average error = " mean. The maxima have 6
// significant digits, the means 10, and n counts the pairs from 1 as marker
// files number them. With no pair:
// "There are no pairs to transform Image.\nCopy is available only.\n\n".
// The same on marker arrays, paired as resectProjective pairs them.
resectErrors residualErrors(const cameraProjection& projection, const zel::markersArray& image,
                            const zel::markersArray& model);

std::string resectErrorText(const std::string& name, const resectErrors& errors);

}  // namespace tamble
