// The camera calibration that the plug-in offers to hosts besides its menu:
// the projection of a camera from an image's markers and the model's, and
// the camera file improved by it. The plug-in registers the calculation
// when it loads (as it registers its menu); a host asks for it here.
#pragma once

#include <array>
#include <string>

#include "api/camera.h"
#include "api/markers.h"

namespace tamble {

struct cameraCalibrationRequest {
  zel::markersArray image;  // image points, pixels
  zel::markersArray model;  // the same points on the model; pairs by index
  zel::cameraFeatures camera;
  int method = 0;        // 0 "Resect 1" (Tsai), 1 "Resect 2" (projective)
  bool optimize = true;  // the calibration solver after the closed method
  bool centre = false;   // move the optical centre to where the projection puts it
  std::string name;      // for the report
};

struct cameraCalibrationResult {
  bool solved = false;
  std::string report;                // the report, or why nothing was solved
  zel::cameraFeatures camera;        // the improved camera
  std::array<double, 8> ax{}, ay{};  // the coefficients a0x..a7x, a0y..a7y
  double k1 = 0.0, k2 = 0.0;         // the lens terms of the projection
};

using cameraCalibration = cameraCalibrationResult (*)(const cameraCalibrationRequest&);

void registerCameraCalibration(cameraCalibration calculation);
// The registered calculation; null when no plug-in registered one.
cameraCalibration registeredCameraCalibration();

}  // namespace tamble
