// Per-pixel operations of the "Edit" group: arithmetic with a constant or a
// second image, clipping, the conservative inversion and the ROI flood. All
// read and write valid pixels only (bkgr clear, ROI set) unless told.
#pragma once

#include "api/arrayWorks.h"

namespace tamble {

using fieldStore = zel::arrayStore<float, 2>;
using maskStore = zel::arrayStore<bool, 2>;

// op 1 v + c, 2 v - c, 3 c*v, 4 v/c; any other op does nothing. A divisor
// under 1e-10 in size is skipped silently.
void ArithmeticConstant(fieldStore& field, const maskStore& bkgr, const maskStore& ROI, int op,
                        float constant);

// Clips above maxValue (cutAbove), then below minValue (cutBelow).
void CutOffIntensities(fieldStore& field, const maskStore& bkgr, const maskStore& ROI,
                       bool cutAbove, float maxValue, bool cutBelow, float minValue);

// out = field1 op field2 where both are in their ROIs; a background pixel of
// either input gives value 0 and background; outside the ROIs value 0 and ROI
// clear. Different sizes or an unknown op: a notice and `failed` true.
void ImageArithmeticBM(const fieldStore& field1, const maskStore& bkgr1, const maskStore& ROI1,
                       const fieldStore& field2, const maskStore& bkgr2, const maskStore& ROI2,
                       fieldStore& outField, maskStore& outBkgr, maskStore& outROI, int op,
                       bool& failed);

// v becomes hi + lo - v, so the intensity limits stay; twice gives v back
// wherever the sums are exact.
void ConservativeInvert(fieldStore& field, const maskStore& bkgr, const maskStore& ROI);

// Valid pixels become background (toBackground) or take `value`.
void FloodROI(fieldStore& field, maskStore& bkgr, const maskStore& ROI, float value,
              bool toBackground);

}  // namespace tamble
