// Fill-up: the pixels of a region take values interpolated from the region's
// rim, seen from each pixel in eight directions, so that marker spots and
// other defects vanish from the field.
#pragma once

#include "api/arrayWorks.h"
#include "api/markers.h"

namespace tamble {

using fillField = zel::arrayStore<float, 2>;
using fillMask = zel::arrayStore<bool, 2>;

// Fills the region, the pixels whose ROI is clear. From each region pixel a
// walk in each of the eight directions (north first, clockwise; rows grow to
// the south) goes to the first pixel outside the region, or, when it leaves
// the image, to the last pixel inside; its value counts with the weight
// 1/distance (n steps on an axis, n*sqrt(2) on a diagonal). With
// `fillBackground` false, region pixels in bkgr stay and a walk that ends on
// bkgr counts for nothing; with it true they are filled and their bkgr
// cleared. A `scale` of 0.01 or more divides the distances along the axis of
// `direction` (0 and 4 north-south, 1 and 5, 2 and 6, 3 and 7) by it, so
// that axis weighs more when `scale` is above 1; a direction outside 0 to 7
// then stops the routine with "LOUT" and the image stays. A `scale` below
// 0.001 is reported and used as it is. Values are read from the field as it
// was before the call, so the order of pixels does not matter; a pixel that
// no direction reaches stays, and so does an image that is region
// everywhere. zel::DimError, before any change, if the layers differ in
// extent.
void FillUp(fillField& field, fillMask& bkgr, const fillMask& ROI, bool fillBackground,
            int direction, float scale);

// Removes the markers from the field with the brush diameter N. About each
// enabled marker whose rounded position is a valid pixel, a median of 3
// smooths the surroundings (the valid pixels within N), and the spot (the
// valid pixels within N/2) is filled up from them, background ends counting.
// Only spot pixels change; the masks stay. An empty array is reported and
// nothing changes. Groups of markers that stand apart are worked on one
// window at a time, with the result the whole image would give.
void FillUpMarkers(fillField& field, const fillMask& bkgr, const fillMask& ROI,
                   const zel::markersArray& markers, int N);

}  // namespace tamble
