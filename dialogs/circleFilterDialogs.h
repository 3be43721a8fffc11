// The parameter records of the circle-window filters.
#pragma once

#include "filters/circleFilters.h"
#include "host/paramRecord.h"

namespace tamble {

// "Median Filter..." and "Median Fast Filter..." (and the directional median).
struct CMedian {
  int m_diameter = 3;
  int m_iter = 1;
  static const recordDescriptor<CMedian>& descriptor();
};

// "Gauss Filter Fast..." and the other Gauss dialogs.
struct CGauss {
  int m_diameter = 3;
  int m_iter = 1;
  static const recordDescriptor<CGauss>& descriptor();
};

// "3D Filter...": MIN and MAX are shown only, filled by the command.
struct CD3Filter {
  float m_rl = 3.0f;
  float m_rlev = 10.0f;
  int m_iter = 1;
  float m_min = 0.0f, m_max = 0.0f;
  static const recordDescriptor<CD3Filter>& descriptor();
};

// "Filter/Threshold...".
struct CFilterThreshold {
  int m_kind = 1;
  int m_width = 5, m_height = 5;
  double m_low = -1e30, m_high = 1e30;
  int m_fillPercent = 50, m_heightPercent = 10;
  int m_iterations = 1;
  FilterThresholdParams params() const;
  static const recordDescriptor<CFilterThreshold>& descriptor();
};

}  // namespace tamble
