// The reference regions of a single paint: the closed regions a user drew
// as the ROI of the wind-off image, and the mean intensity over them.
#pragma once

#include "api/arrayWorks.h"

namespace tamble {

// The mean of the field over the calculated pixels (bkgr clear, ROI set);
// 0 when there is none. Row sums in single precision, added up over the
// rows in double, as the plane fit does.
float regionMean(const zel::arrayStore<float, 2>& field, const zel::arrayStore<bool, 2>& bkgr,
                 const zel::arrayStore<bool, 2>& ROI);

inline constexpr int regionRoom = 20;       // the result has room for this many regions
inline constexpr int regionsAnalysed = 11;  // the search stops after this many
inline constexpr int regionPassLimit = 8192;

struct regionsFound {
  int count = 0;
  int overflow = 0;  // 1: a region was still growing after the pass limit
  int area[regionRoom] = {};
  float meanX[regionRoom] = {}, meanY[regionRoom] = {}, meanI[regionRoom] = {};
};

// The 4-connected regions of the pixels with bkgr clear and ROI set, in the
// order their first pixel comes in a scan by rows. A region grows by passes
// from its seed; a pixel of the outermost row or column joins a region but
// does not spread it. With `overflow` the region that hit the pass limit is
// not counted and the search ends there.
regionsFound closedRegions(const zel::arrayStore<float, 2>& field,
                           const zel::arrayStore<bool, 2>& bkgr,
                           const zel::arrayStore<bool, 2>& ROI);

}  // namespace tamble
