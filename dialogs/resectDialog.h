// "Resection Methods ": how an image is carried onto the model's mesh.
#pragma once

#include "host/paramRecord.h"

namespace tamble {

struct CdlgResect {
  int m_type = 0;  // key "Resect Type": 0 "Resect 1" (Tsai), 1 "Resect 2" (projective)
  int m_opt = 1;   // run the camera solver after the first estimate
  int m_err = 1;   // show the errors
  int m_fix = 0;   // fixed markers of the matching: 0, 1, 2, 3 and more
  int m_mall = 0;  // all markers are fixed, paired by their index
  int m_win = 9;   // half window of the matching, pixels
  int m_pow = 3;   // polynomial terms of the matching: 0, 3, 6 or 10
  static const recordDescriptor<CdlgResect>& descriptor();
};

// The matching's polynomial order of the stored term count: 0 gives 0, 3
// gives 1, 6 gives 2, anything else 3.
int resectPolyOrder(int terms);

}  // namespace tamble
