// The adaptive Wiener filter: smooths strongly where the local deviation is
// near the noise level and leaves detail whose deviation is well above it.
#pragma once

#include "api/arrayWorks.h"

namespace tamble {

// Two stages of Gaussian smoothing over the circle of `diameter`, each pixel
// pulled towards the smoothed value by w = min(1, (noise/deviation)^2).
// A diameter below 2.5 leaves the image as it is. Blocked pixels (bkgr set or
// ROI clear) are neither read as samples nor changed.
void WienerFilter(zel::arrayStore<float, 2>& field, const zel::arrayStore<bool, 2>& bkgr,
                  const zel::arrayStore<bool, 2>& ROI, float diameter, float noise);

}  // namespace tamble
