// The camera calibration that hosts reach besides the menu (tamble's
// calibrate step): registered with the host library when the plug-in loads.
// It runs the resection routines and never throws: a method other than 0 or
// 1 is refused with a text.
#include "host/cameraCalibration.h"
#include "resect/cameraCalibration.h"

namespace tamble {
namespace {

cameraCalibrationResult calibrate(const cameraCalibrationRequest& request) {
  cameraCalibrationResult result;
  result.camera = request.camera;
  if (request.method != 0 && request.method != 1) {
    result.report = "Wrong resect type";
    return result;
  }
  const calibrationOutcome o =
      calibrateFromMarkers(request.image, request.model, request.camera, request.method,
                           request.optimize, request.centre, request.name);
  result.solved = o.solved;
  result.report = o.report;
  if (!o.solved) return result;
  result.camera = o.camera;
  result.ax = o.projection.coefficients.ax;
  result.ay = o.projection.coefficients.ay;
  result.k1 = o.projection.lens.k1;
  result.k2 = o.projection.lens.k2;
  return result;
}

const bool registered = (registerCameraCalibration(calibrate), true);

}  // namespace
}  // namespace tamble
