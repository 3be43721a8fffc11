// Marker search by reference: the markers of a marked image of the same
// scene are carried over, each by the shift that correlating a small patch
// around it measures between the two images.
#pragma once

#include <string>

#include "api/arrayWorks.h"
#include "api/markers.h"

namespace tamble {

using referenceField = zel::arrayStore<float, 2>;
using referenceMask = zel::arrayStore<bool, 2>;

// The peak of `surface` near the pixel (ix, iy) to a fraction of a pixel:
// the least-squares quadratic through its 3 by 3 neighbourhood, and its top.
// False when the neighbourhood leaves the surface, when the quadratic has no
// maximum, or when the top lies more than a pixel from (ix, iy); x and y are
// then (ix, iy).
bool PeakFit3(const referenceField& surface, int ix, int iy, double& x, double& y);

// Moves each enabled marker of the active image (1) by the shift between the
// N-pixel patch around it and the patch around the marker of the same index
// on the pattern image (2), measured by correlation in up to five passes,
// each re-centring the active patch on the shift found so far. A marker
// whose shift cannot be measured, or exceeds N/4, keeps its place; disabled
// markers are left alone. Pixels that are background or outside the ROI on
// either image, or near 0 on both, do not take part. Refusals (no markers,
// unequal counts or sizes) are notices, and nothing changes. `sign` (1 peaks,
// -1 pits) is the marker polarity of the command; the correlation itself
// does not depend on it. Answers the number of markers that failed (0 after
// a refusal).
int MARKERSHIFTCC(const referenceField& field1, const referenceMask& bkgr1,
                  const referenceMask& ROI1, zel::markersArray& markers1,
                  const referenceField& field2, const referenceMask& bkgr2,
                  const referenceMask& ROI2, const zel::markersArray& markers2, int sign, int N);

}  // namespace tamble
