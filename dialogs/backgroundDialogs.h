// The parameter records of the background commands: "BackGround..." and the
// conversion's "Background Work...", and the two foreground commands.
#pragma once

#include "host/paramRecord.h"

namespace tamble {

// "BackGround Select/Compensate". The two rule choices are remembered for the
// session only; every other key is stored.
struct CBG_Dlg {
  int m_check_compensate = 0;  // subtract a background
  int m_check_select = 1;      // rebuild bkgr
  int r1 = 2;                  // select rule, 1 to 5
  int r2 = 3;                  // compensate rule, 1 to 6
  float m_1_average = 0.5f;    // select 2: the scale of the image mean
  float m_1_relative = 0.1f;   // select 4: the share of the value range
  float m_1_threshold = 0.0f;  // select 1
  int m_2_2side = 10;          // compensate 4: the strips' width
  int m_2_4side_indent = 0;    // compensate 5: the strips' distance from the edges
  float m_2_value = 0.0f;      // compensate 1
  int m_2_4side_width = 10;    // compensate 5: the strips' width
  static const recordDescriptor<CBG_Dlg>& descriptor();
};

// "Thinning": how many pixels "ForeGround Thinning..." takes from the foreground.
struct CThinning {
  int m_depth = 10;
  static const recordDescriptor<CThinning>& descriptor();
};

// "Spread": how many pixels "ForeGround Expansion..." adds to the foreground.
struct CSpread {
  int m_spread = 10;
  static const recordDescriptor<CSpread>& descriptor();
};

}  // namespace tamble
