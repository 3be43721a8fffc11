#include "host/cameraCalibration.h"

namespace tamble {
namespace {

cameraCalibration& registered() {
  static cameraCalibration c = nullptr;
  return c;
}

}  // namespace

void registerCameraCalibration(cameraCalibration calculation) { registered() = calculation; }

cameraCalibration registeredCameraCalibration() { return registered(); }

}  // namespace tamble
