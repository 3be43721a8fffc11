// The two resampling engines: they rewrite an image in place through the
// process-wide polynomial map (output position to source position) and move
// the markers by its inverse.
#pragma once

#include "api/arrayWorks.h"
#include "api/markers.h"

namespace tamble {

// Bilinear resampling with its own mask rules.
void WarpBilinearMS(zel::arrayStore<float, 2>& field, zel::arrayStore<bool, 2>& bkgr,
                    zel::arrayStore<bool, 2>& ROI, zel::markersArray& markers, bool zones);

// Kind 0 nearest neighbour, 1 bilinear, 2 damped bicubic spline.
void WarpInterp(zel::arrayStore<float, 2>& field, zel::arrayStore<bool, 2>& bkgr,
                zel::arrayStore<bool, 2>& ROI, zel::markersArray& markers, bool zones, int kind);

}  // namespace tamble
