// The parameter records of the directional filters and of "1D DeBlur".
#pragma once

#include "host/paramRecord.h"

namespace tamble {

// The window of a directional filter and where its direction comes from:
// the typed angle, or the image's first two markers (two more set a taper).
struct directionalValues {
  float m_length = 9.0f;  // along the direction, pixels
  float m_width = 1.0f;   // across it, pixels
  float m_angle = 0.0f;   // degrees, counterclockwise from the x axis
  int m_iter = 1;
  int m_source = 0;  // 0 the typed angle, 1 the markers
};

// "Directional Gauss Filter".
struct CDirGauss : directionalValues {
  static const recordDescriptor<CDirGauss>& descriptor();
};

// "Directional Median Filter".
struct CDirMedian : directionalValues {
  static const recordDescriptor<CDirMedian>& descriptor();
};

// "1D DeBlur": the smear's length and direction (typed, or from two
// markers), the noise-to-signal ratio and the most steps.
struct CDeBlur1D {
  float m_length = 5.0f;
  float m_angle = 0.0f;
  float m_noise = 0.01f;
  int m_iter = 50;
  static const recordDescriptor<CDeBlur1D>& descriptor();
};

}  // namespace tamble
