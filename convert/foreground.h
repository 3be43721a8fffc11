// The foreground is the pixels with bkgr clear. Thinning eats it from its
// edges (and from the image's edges) by a number of pixels; expansion grows
// it into the background by a number of pixels, extrapolating its values.
// Both change only pixels inside the ROI.
#pragma once

#include "api/arrayWorks.h"

namespace tamble {

using fgField = zel::arrayStore<float, 2>;
using fgMask = zel::arrayStore<bool, 2>;

// What the commands tell a user whose image has no background to work from.
inline constexpr const char* noBackgroundText = "No BackGround. Operation terminated!";

// Each of `depth` rounds makes background every ROI pixel of the foreground
// that has background among its eight neighbours; outside the image counts
// as background. False, and nothing changes, when bkgr has no set pixel.
bool ForegroundThinning(const fgField& field, fgMask& bkgr, const fgMask& ROI, int depth);

// Each of `depth` rounds fills every background ROI pixel that has a
// foreground ROI pixel among its eight neighbours with the mean of those
// (with `ring` 1, of those of the whole 5 by 5 window), smooths the new ring
// of values along itself by GaussSeparable of diameter smooth + 0.5 (none
// for 0), and makes it foreground: the foreground grows by one pixel a
// round. False, and nothing changes, when bkgr has no set pixel.
bool ForegroundExpansion(fgField& field, fgMask& bkgr, const fgMask& ROI, int depth, int ring,
                         int smooth);

}  // namespace tamble
