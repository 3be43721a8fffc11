// The record of "DeInterlace...": nothing is stored or remembered, each
// opening starts from the defaults.
#pragma once

#include "host/paramRecord.h"

namespace tamble {

// "Interlace/DeInterlace Image".
struct CDeInterlace {
  int action = 1;  // 1 Interlace, 0 DeInterlace
  int field = 1;   // 1 odd lines, 2 even lines retained
  int method = -1;  // -1 Line Doubling .. 4 Nearest Neighbour (Morphological)
  static const recordDescriptor<CDeInterlace>& descriptor();
};

}  // namespace tamble
