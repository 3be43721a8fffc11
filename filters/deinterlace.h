// Interlacing and deinterlacing of a frame whose two half-frames (odd and
// even scan lines) were exposed at different moments. The field layer only:
// bkgr and ROI are not consulted, every pixel takes part.
#pragma once

#include "filters/circleFilters.h"

namespace tamble {

// The methods of filling a missing scan line.
enum deinterlaceMethod {
  lineDoubling = -1,
  crossInterpolation = 0,
  adaptiveEdgeLine = 1,
  robustEdgeLine = 2,
  weightedMean = 3,
  morphologicalNeighbour = 4,
};

// action 1 blanks the half-frame not retained, 0 rebuilds it from the
// retained one by `method`. fieldToRetain 1 keeps the lines 1, 3, 5, ... of
// the image counted from 1 at the top, 2 the lines 2, 4, 6, ... (the frame
// is worked on upside down, as the camera stored it; with an even height
// that is the same). A method outside -2 .. 4
// ("Wrong Regime") or an odd width or height ("Horizontal/Vertical
// Dimension Must Be EVEN") is refused with a notice and nothing changes.
void DeInterlace(filterField& field, int action, int fieldToRetain, int method);

}  // namespace tamble
