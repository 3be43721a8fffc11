// The process-wide polynomial map between an image and its source: the last
// geometric transform or alignment leaves it here, and the warp engines read
// it. Coefficients stand in the order 1, x, y, x*y, x*x, y*y, x*x*y, x*y*y,
// x*x*x, y*y*y; the order (0, 1, 3, 6 or 10) says how many are used.
#pragma once

namespace tamble {

struct polynomialState {
  int order = 0;
  double forwardX[10] = {};  // output position to source X
  double forwardY[10] = {};  // output position to source Y
  double inverseX[10] = {};  // source position to output X
  double inverseY[10] = {};  // source position to output Y
};

polynomialState& polynomialMap();

// The polynomial of `order` terms with coefficients `c` at (x, y).
double evaluatePolynomial(const double (&c)[10], int order, double x, double y);

// Sets an affine map (order 3; the higher coefficients cleared) from the
// output-to-source coefficients, and its inverse.
void setAffineMap(double x0, double x1, double x2, double y0, double y1, double y2);

}  // namespace tamble
