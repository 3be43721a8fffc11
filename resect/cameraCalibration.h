// A camera calibrated from an image's markers and the model's: the
// coefficients, their residuals and report, and the camera file improved by
// what the projection shows (focal length, lens terms and, when asked, the
// optical centre).
#pragma once

#include <string>

#include "api/camera.h"
#include "api/markers.h"
#include "resect/resection.h"

namespace tamble {

struct calibrationOutcome {
  bool solved = false;
  std::string report;  // calcResectCoefficients' report, or its refusal
  cameraProjection projection;
  resectErrors errors;
  zel::cameraFeatures camera;  // the improved camera file
  int centreRounds = 0;        // calibrations run to settle the optical centre
};

// calcResectCoefficients (without notices) and improvedCamera. With
// `centre` the optical centre moves to the principal point the projection
// shows and the calibration runs again, until the centre moves by less than
// 0.01 pixel or 10 rounds have run; the rounds are added to the report.
// The camera's distortion centre is its optical centre, so a centre that is
// pixels off leaves residuals no solver can take out.
calibrationOutcome calibrateFromMarkers(const zel::markersArray& image,
                                        const zel::markersArray& model,
                                        const zel::cameraFeatures& camera, int method,
                                        bool optimize, bool centre, const std::string& name);

}  // namespace tamble
