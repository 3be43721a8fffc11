// The damped cubic spline and the 5 by 5 block interpolation built on it.
#pragma once

namespace tamble {

// Coefficients of S_i(t) = y[i] + b[i]*t + c[i]*t^2 + d[i]*t^3 through n
// knots spaced by h (|h| >= 1e-10; x is then unused). Slope ratios outside
// 1/3 to 3 are damped, which keeps the curve from overshooting at steps.
// With n < 3 it shows "splgn: n < 3 Operation Canceled" and does nothing.
// Knots at the positions x (|h| < 1e-10) are not provided: such a call
// changes nothing. All arithmetic is in f32.
void splgn(float h, const float* x, const float* y, int n, float* b, float* c, float* d);

// S_i(t) of splgn's coefficients, t measured from knot i in the units of h
// (piece i spans 0 to h): y[i] + b[i]*t + c[i]*(t*t) + d[i]*(t*t*t), summed
// from the left. t outside [0, h) extrapolates piece i.
float splineValue(const float* y, const float* b, const float* c, const float* d, int i, float t);

// Interpolates inside a 5 by 5 block (block[row][column]) at (x, y), both
// measured from the block's first element, so the centre interval is [2, 3).
// x is the column coordinate (x = 2.25 lies a quarter of the way from column
// 2 to column 3), y the row coordinate. On each axis the piece used is
// trunc(coordinate) clamped to 0..3, which is the interval a bisection over
// the knots 0 to 4 finds; t is the coordinate minus that index, so
// coordinates outside [0, 4) extrapolate the first or last piece. The splines
// have h = 1. `a` runs the splines down the columns first (the five column
// values at y, then one spline across them at x), `b` across the rows first.
void SplineBlock(float x, float y, const float (&block)[5][5], float& a, float& b);

}  // namespace tamble
