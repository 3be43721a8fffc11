// The parameter record of "Wiener Filter...".
#pragma once

#include "host/paramRecord.h"

namespace tamble {

// "Adaptive Wiener Filter": the window diameter and the noise level. The
// captions promise narrower ranges than the dialog accepts; the accepted
// ranges are the ones users' stored values and scripts already rely on.
struct CAuto_Wiener_filter {
  float m_rl = 3.0f;  // filter diameter
  float m_sc = 1.0f;  // noise level (scale coefficient)
  static const recordDescriptor<CAuto_Wiener_filter>& descriptor();
};

}  // namespace tamble
