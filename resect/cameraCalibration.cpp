#include "resect/cameraCalibration.h"

#include <cmath>

#include "api/numbers.h"
#include "resect/cameraPose.h"

namespace tamble {
namespace {

calibrationOutcome once(const zel::markersArray& image, const zel::markersArray& model,
                        const zel::cameraFeatures& camera, int method, bool optimize,
                        const std::string& name) {
  calibrationOutcome o;
  o.camera = camera;
  o.projection.camera = resectCameraOf(camera).value_or(resectCamera{});
  o.solved =
      calcResectCoefficients(image, model, camera, method, optimize, o.projection.coefficients,
                             o.errors, o.projection.lens, false, name, &o.report);
  if (o.solved) o.camera = improvedCamera(camera, o.projection);
  o.centreRounds = 1;
  return o;
}

std::string pixels(double v) { return zel::numberText(v, 8, zel::decimalMark::point); }

}  // namespace

calibrationOutcome calibrateFromMarkers(const zel::markersArray& image,
                                        const zel::markersArray& model,
                                        const zel::cameraFeatures& camera, int method,
                                        bool optimize, bool centre, const std::string& name) {
  calibrationOutcome o = once(image, model, camera, method, optimize, name);
  if (!centre || !o.solved) return o;
  for (int round = 2; round <= 10; ++round) {
    cameraPose pose;
    if (!poseOf(o.projection.coefficients, pose)) break;
    const double moveX = pose.px * o.projection.camera.sx, moveY = pose.py * o.projection.camera.sy;
    if (std::hypot(moveX, moveY) < 0.01) break;
    zel::cameraFeatures moved = o.camera;
    moved.cx += moveX;
    moved.cy += moveY;
    calibrationOutcome next = once(image, model, moved, method, optimize, name);
    if (!next.solved) break;
    next.centreRounds = round;
    o = next;
  }
  o.report += "\n\nOptical centre: cx = " + pixels(o.camera.cx) + ", cy = " + pixels(o.camera.cy) +
              " after " + std::to_string(o.centreRounds) + " calibration" +
              (o.centreRounds == 1 ? "" : "s");
  return o;
}

}  // namespace tamble
