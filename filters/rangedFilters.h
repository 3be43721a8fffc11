// The ranged filter: the field is clipped to a user's band, and the noise
// threshold of the adaptive kinds is derived from the band that remains.
#pragma once

#include "filters/pointOperations.h"

namespace tamble {

// The intensity range of a smoothed copy of the field: for a diameter whose
// integer part is above 3, a median (3, or 5 from 7 up) and a Gaussian of the
// diameter first. Minimum and maximum over valid pixels; both 0 if none.
void RangedRange(const fieldStore& field, const maskStore& bkgr, const maskStore& ROI,
                 float diameter, float& min, float& max);

// The kinds of "Ranged Filters...".
enum rangedKind { rangedWiener = 1, rangedGauss = 2, rangedMedian = 3, rangedFast3D = 4 };

// What one run found, for the report.
struct rangedResult {
  float rangeMin = 0, rangeMax = 0, threshold = 0;
};

// Clips to [minValue, maxValue], takes RangedRange, and filters by `kind`
// with the threshold (rangeMax - rangeMin)*thresholdScale.
rangedResult RangedFilter(fieldStore& field, maskStore& bkgr, maskStore& ROI, int kind,
                          int iterations, float minValue, float maxValue, float diameter,
                          float thresholdScale);

}  // namespace tamble
