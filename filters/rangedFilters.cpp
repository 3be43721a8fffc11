#include "filters/rangedFilters.h"

#include <cmath>

#include "filters/circleFilters.h"
#include "filters/wiener.h"

namespace tamble {

void RangedRange(const fieldStore& field, const maskStore& bkgr, const maskStore& ROI,
                 float diameter, float& min, float& max) {
  const int d = static_cast<int>(std::trunc(diameter));
  if (d <= 3) {  // no smoothing: the copy would equal the field
    FieldMinMax(field, bkgr, ROI, min, max);
    return;
  }
  fieldStore smooth(field);
  MedianCircle(smooth, bkgr, ROI, 1, d < 7 ? 3 : 5);
  GaussSeparable(smooth, bkgr, ROI, 1, diameter);
  FieldMinMax(smooth, bkgr, ROI, min, max);
}

rangedResult RangedFilter(fieldStore& field, maskStore& bkgr, maskStore& ROI, int kind,
                          int iterations, float minValue, float maxValue, float diameter,
                          float thresholdScale) {
  CutOffIntensities(field, bkgr, ROI, true, maxValue, true, minValue);
  rangedResult r;
  RangedRange(field, bkgr, ROI, diameter, r.rangeMin, r.rangeMax);
  r.threshold = (r.rangeMax - r.rangeMin) * thresholdScale;
  switch (kind) {
    case rangedWiener: WienerFilter(field, bkgr, ROI, diameter, r.threshold); break;
    case rangedGauss: GaussSeparable(field, bkgr, ROI, iterations, diameter); break;
    case rangedMedian:
      MedianCircle(field, bkgr, ROI, iterations, static_cast<int>(std::trunc(diameter)));
      break;
    case rangedFast3D: Filter3D(field, bkgr, ROI, iterations, diameter, r.threshold, true); break;
    default: break;
  }
  return r;
}

}  // namespace tamble
