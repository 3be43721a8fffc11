// The parameter records of opening a project.
#pragma once

#include "host/paramRecord.h"

namespace tamble {

// "SingleLayer Paint Type": a pair of images may be a pressure paint (0, "P")
// or a temperature paint (1, "T").
struct CPTselect {
  int m_type = 0;
  static const recordDescriptor<CPTselect>& descriptor();
};

}  // namespace tamble
