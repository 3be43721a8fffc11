// Scale, rotate and shift: the affine output-to-source map that the two
// resampling engines read, built from the dialogs' values.
#include "geometry/transforms.h"

#include <cmath>

#include "geometry/polynomialMap.h"
#include "geometry/warp.h"

namespace tamble {
namespace {

// The routines' own angle convention: degrees in, radians of the opposite
// sign out. The constant is the one the stored maps were always made with.
double toRadians(double alpha) { return alpha * -3.14159265359 / 180.0; }

bool knownKind(int kind) { return kind >= -1 && kind <= 2; }

// Sets the affine map X = x0 + x1*x + x2*y, Y = y0 + y1*x + y2*y and lets
// the kind's engine rewrite the image and move the markers.
void resample(fieldStore& field, maskStore& bkgr, maskStore& ROI, zel::markersArray& markers,
              const double (&X)[3], const double (&Y)[3], int kind, polynomialState& map) {
  setAffineMap(map, X[0], X[1], X[2], Y[0], Y[1], Y[2]);
  if (kind == -1)
    WarpBilinearMS(field, bkgr, ROI, markers, false, map);
  else
    WarpInterp(field, bkgr, ROI, markers, false, kind, map);
}

}  // namespace

void ScaleRotateShift(fieldStore& field, maskStore& bkgr, maskStore& ROI,
                      zel::markersArray& markers, double scaleX, double scaleY, double alpha,
                      double shiftX, double shiftY, int kind, polynomialState& map) {
  if (!knownKind(kind)) return;
  const double sx = 1.0 / scaleX, sy = 1.0 / scaleY;
  const double a = toRadians(alpha);
  const double s = std::sin(a), c = std::cos(a);
  // The centre of turn and scale; integer division is part of the result.
  const double cx = field.width() / 2 + 1, cy = field.height() / 2 + 1;
  const double u = shiftX + cx, v = shiftY + cy;
  resample(field, bkgr, ROI, markers, {cx - u * c * sx + v * s * sx, c * sx, -(s * sx)},
           {cy - u * s * sy - v * c * sy, s * sy, c * sy}, kind, map);
}

void ScaleRotateRelative(fieldStore& field, maskStore& bkgr, maskStore& ROI,
                         zel::markersArray& markers, double scaleX, double scaleY, double x1,
                         double y1, double x2, double y2, double alpha, int kind,
                         polynomialState& map) {
  if (!knownKind(kind)) return;
  const double sx = 1.0 / scaleX, sy = 1.0 / scaleY;
  const double a = toRadians(alpha);
  const double s = std::sin(a), c = std::cos(a);
  // Output point (x2, y2) reads source point (x1, y1).
  resample(field, bkgr, ROI, markers, {x1 - x2 * c * sx - y2 * s * sx, c * sx, s * sx},
           {x2 * s * sy + y1 - y2 * c * sy, -(s * sy), c * sy}, kind, map);
}

}  // namespace tamble
