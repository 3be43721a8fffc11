// calcResectCoefficients: the camera's projection from an image's markers
// and the model's (geometry) markers by "Resect 1" or "Resect 2", refined by
// the calibration solver when asked, with the residuals in the image.
#pragma once

#include <string>

#include "api/camera.h"
#include "api/markers.h"
#include "resect/resectCoefficients.h"

namespace tamble {

// Image marker i pairs with geometry marker i; a pair counts when both are
// active. resectType 0 is "Resect 1" (Tsai), 1 "Resect 2" (projective); any
// other throws zel::AlgoError "Wrong resect type". With `optimize` the
// calibration solver runs on the active pairs (at most 8192) after the
// closed method; its record is then divided by the Z coefficient of each
// denominator, so that a7x = a7y = 1 as the closed methods give them.
//
// On success: `coefficients`, the residual figures in `errorsRecord` and the
// projection terms of the lens in `distortion` (the camera's own, converted,
// unless the solver replaced them); together with the camera they make the
// projection (cameraProjection). With `showErrors` the report (the solver's
// text, then the error report) is a notice; `report`, when given, receives
// it whatever `showErrors` says.
//
// On failure false, the outputs unchanged, and with `showErrors` a notice:
// "Resection: " name "\n\n" then "Different count of the Geometry and Image
// markers", "Real count of the markers is too small" (fewer than 9 active
// pairs), "The camera has no pixel scale: dx, dy, ncx, ncy, nfx and nfy must
// be positive", or "Marker No " k " has a coordinate that is not a number";
// or "Resection: Can not calculate transformation coeffitients" when the
// points do not determine a camera (on one line, in one plane, all at one
// point). `report` receives the same text.
bool calcResectCoefficients(const zel::markersArray& imageMarkers,
                            const zel::markersArray& geometryMarkers,
                            const zel::cameraFeatures& camera, int resectType, bool optimize,
                            resectCoefficients& coefficients, resectErrors& errorsRecord,
                            lensTerms& distortion, bool showErrors, const std::string& name,
                            std::string* report = nullptr);

}  // namespace tamble
