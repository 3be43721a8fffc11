// Contrast and sharpness: the limited unsharp mask, the space-variant
// enhancement, the nonlinear contrast, the histogram/plateau equalisation and
// the thinning of steep regions. Statistics are taken over valid pixels
// (bkgr clear, ROI set) and only valid pixels are written. A refusal is a
// notice, and the field is then left as it was.
#pragma once

#include "filters/circleFilters.h"

namespace tamble {

// Sharpens by f*a - b*G(f) where the blurred difference |G(f - G(f))|
// exceeds `threshold` (flat regions stay), G the separable Gauss of the
// diameter (an even one grows by one). autoMinMax 0 keeps the values, 1
// shifts them to start at 0 and stretches them to the input's span, 2 also
// shifts them to the input's minimum. The result is mixed in by `fade`.
void UnSharpMask(filterField& field, const filterMask& bkgr, const filterMask& ROI, int diameter,
                 float a, float b, bool forceB, int autoMinMax, float threshold, float fade);

// Adds fade*L*S to the field: L a Laplacian (kind 1 "Flat", 2 "Diagonal",
// 3 "Cross", 4 "WaveLet" of nll taps), S the Sobel magnitude over `scale`,
// smoothed by a Gauss of nlg when nlg is 1 or more.
void DIP1Enhancement(filterField& field, const filterMask& bkgr, const filterMask& ROI, int kind,
                     int nll, int nlg, float scale, float fade);

// The Mexican-hat Laplacian of nll taps (nll/2 each side) at every valid
// pixel, the mean of its two separable orders; a sample that is blocked or
// outside the image takes the centre's value, so a flat neighbourhood
// gives 0.
void ConvLaplace(filterField& work, const filterMask& bkgr, const filterMask& ROI, int nll);

// v = (v/max)^power * max at valid pixels, max the valid maximum; refused
// when that maximum is not above 0.
void NonlinearContrast(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                       float power);

// Histogram equalisation over 256 levels with two boundaries per level:
// method 1 the middle of a level's output span, 2 a random place in it, 3
// the level nearest the mean of the eight neighbours. The equalised value
// is mixed with the input by `fade`, in the valid span. Method 2 draws from
// a generator seeded by the time of day; `seed` (seconds) fixes it.
void WeightedHybridMap(filterField& field, const filterMask& bkgr, const filterMask& ROI, int method,
                       float fade);
void WeightedHybridMap(filterField& field, const filterMask& bkgr, const filterMask& ROI, int method,
                       float fade, double seed);

// Pushes each pixel of a steep border toward the nearer of its window's
// extremes by the power law: x^power below the middle, x^(1/power) above.
void SteepThinning(filterField& field, const filterMask& bkgr, const filterMask& ROI, int nl,
                   float threshold, float power);

}  // namespace tamble
