// Optical distortion correction: the image and its markers are resampled
// through the radial model of the lens. A camera pixel at offset e from the
// optical centre shows what an ideal lens puts at e / s(|e|^2), with
// s(r2) = a4*r2*r2 + a2*r2 + 1.
#pragma once

#include "api/arrayWorks.h"
#include "api/markers.h"

namespace tamble {

// s(r2) of the radial model, in that order of operations.
double radialFactor(double a2, double a4, double r2);

// Each output pixel at offset d from (centreX, centreY) takes the camera
// pixel at e = d * s(|e|^2), found by fixed-point iteration from s(|d|^2)
// (up to 99 steps, until s changes by 1e-6 or less; none when s(|d|^2) is
// within 1e-6 of 1), sampled bilinearly with the mask rules of the
// polynomial warp: a source off the image gives 0 in the background. Every
// marker moves to the ideal position in one step, e / s(|e|^2); a factor of
// 0 leaves it. All layers are replaced; rows run in parallel with the same
// bits as on one thread. zel::DimError, before any change, if the layers
// differ in extent.
void UndistortImage(zel::arrayStore<float, 2>& field, zel::arrayStore<bool, 2>& bkgr,
                    zel::arrayStore<bool, 2>& ROI, zel::markersArray& markers, double centreX,
                    double centreY, double a2, double a4);

}  // namespace tamble
