// The damped cubic spline and the 5 by 5 block interpolation built on it.
#pragma once

namespace tamble {

// Coefficients of S_i(t) = y[i] + b[i]*t + c[i]*t^2 + d[i]*t^3 through n
// knots spaced by h (|h| >= 1e-10; x is then unused). Slope ratios outside
// 1/3 to 3 are damped, which keeps the curve from overshooting at steps.
// With n < 3 it shows "splgn: n < 3 Operation Canceled" and does nothing.
void splgn(float h, const float* x, const float* y, int n, float* b, float* c, float* d);

// Interpolates inside a 5 by 5 block (block[row][column]) at (x, y), both
// measured from the block's first element, so the centre interval is [2, 3).
// `a` runs the splines down the columns first, `b` across the rows first.
void SplineBlock(float x, float y, const float (&block)[5][5], float& a, float& b);

}  // namespace tamble
