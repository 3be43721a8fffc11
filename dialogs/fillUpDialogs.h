// The parameter records of the fill-up commands.
#pragma once

#include "host/paramRecord.h"

namespace tamble {

// "Fill Up Markers": the brush diameter, shared with the conversion's fill-up
// of all markers.
struct CFillMark {
  int m_diameter = 9;
  static const recordDescriptor<CFillMark>& descriptor();
};

// "Eight Connected Float Fill Up", the record of "Fill Up...".
struct ecfillup {
  float m_scale = 1.0f;  // weight of the preferred axis
  int bg_fill_flag = 0;  // check box: fill background regions as well
  int direction = 0;     // the preferred axis, 0 north to 7 north-west
  static const recordDescriptor<ecfillup>& descriptor();
};

}  // namespace tamble
