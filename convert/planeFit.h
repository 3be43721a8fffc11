// The least-squares plane of an image's field, and the small linear solver
// under it (also used by the pressure ports' second-order fit).
#pragma once

#include "api/arrayWorks.h"

namespace tamble {

// Solves a x = b for n unknowns (n at most 3) by Gaussian elimination with
// complete pivoting in single precision. A pivot of exactly 0 (or not a
// number) means the system is singular: `solved` false, and x is left as it
// was. A pivot not above `tolerance` times the first (largest) one only
// flags a loss of significance: normal equations in camera coordinates
// reach that long before they are singular.
struct solveOutcome {
  bool solved = false;
  bool significanceLost = false;
};
solveOutcome solveCompletePivot(float (&a)[3][3], float (&b)[3], int n, float (&x)[3],
                                float tolerance = 1e-6f);

// a0 + a1 x + a2 y, x the column and y the row, and the root mean square
// distance of the pixels from it.
struct plane {
  float a0 = 0.0f, a1 = 0.0f, a2 = 0.0f;
  float sigma = 0.0f;
  float at(int x, int y) const {
    return a0 + a1 * static_cast<float>(x) + a2 * static_cast<float>(y);
  }
};

// The plane through the pixels: in mode 0 over the calculated pixels (bkgr
// false, ROI true), in any other mode over all. The moments are means of
// single-precision terms (row sums in single precision, added up over the
// rows in double, so that a large image keeps its accuracy); the normal
// equations are solved by solveCompletePivot. With no pixel the plane is 0;
// pixels in one column or one row give the line through them (a plane
// constant across it), a single point or a singular set its mean level.
plane planeFit(const zel::arrayStore<float, 2>& field, const zel::arrayStore<bool, 2>& bkgr,
               const zel::arrayStore<bool, 2>& ROI, int mode);

}  // namespace tamble
