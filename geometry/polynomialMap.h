// The polynomial map between an image and its source: a geometric transform
// or alignment sets it, and the warp engines read it. The caller keeps it
// (the commands keep the last one in their session). Coefficients stand in
// the order 1, x, y, x*y, x*x, y*y, x*x*y, x*y*y, x*x*x, y*y*y; the order
// (0, 1, 3, 6 or 10) says how many are used.
#pragma once

namespace tamble {

struct polynomialState {
  int order = 0;
  double forwardX[10] = {};  // output position to source X
  double forwardY[10] = {};  // output position to source Y
  double inverseX[10] = {};  // source position to output X
  double inverseY[10] = {};  // source position to output Y
};

// The polynomial of `order` terms with coefficients `c` at (x, y), summed
// from the left in the coefficient order (order 0 is 0, order 1 is c[0]).
// Any other order raises zel::AlgoError.
double evaluatePolynomial(const double (&c)[10], int order, double x, double y);

// True for the orders a map can have: 0, 1, 3, 6 and 10.
bool isPolynomialOrder(int order);

// Where a map carries the point (x, y): `cx` gives the new x, `cy` the new y.
// Orders 3, 6 and 10 are the polynomials themselves; order 1 shifts the point
// by the constant terms and order 0 leaves it where it is, as the alignment
// defines them. Any other order raises zel::AlgoError.
struct mappedPoint {
  double x = 0.0;
  double y = 0.0;
};
mappedPoint mapPoint(const double (&cx)[10], const double (&cy)[10], int order, double x, double y);

// mapPoint for the n points (x0 + i, y) into xs[i], ys[i], with the same
// arithmetic: one call per image row keeps the order's dispatch off the pixels.
void mapRow(const double (&cx)[10], const double (&cy)[10], int order, int x0, int n, double y,
            double* xs, double* ys);

// Sets `map` to an affine map (order 3; the higher coefficients cleared) from
// the output-to-source coefficients, and its inverse.
void setAffineMap(polynomialState& map, double x0, double x1, double x2, double y0, double y1,
                  double y2);

}  // namespace tamble
