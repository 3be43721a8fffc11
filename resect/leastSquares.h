// The linear least-squares solver of the resection: the closed methods and
// the lens-term conversions solve their over-determined systems with it.
#pragma once

namespace tamble {

// Solves `matrix` * solution = `rightSide` in the least-squares sense.
// `matrix` holds `rows` rows of `unknowns` numbers each, row by row. The
// columns are first scaled to unit length, so that unknowns of very
// different sizes (a focal length in millimetres beside a coordinate in
// metres) do not hide a column that depends on the others; then Householder
// reflections bring the matrix to triangular form. False, with `solution`
// unchanged, when there are fewer rows than unknowns, a number is not finite,
// or the columns are dependent (a diagonal element of the triangle below
// 1e-10 of the largest): the points then do not determine the unknowns.
bool leastSquares(const double* matrix, const double* rightSide, int unknowns, int rows,
                  double* solution);

}  // namespace tamble
