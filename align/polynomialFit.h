// The least-squares polynomial on which marker linking and alignment rest,
// its residuals, and the weights of a marker list. Coefficients come out in
// the layout of polynomialState (1, x, y, x*y, x*x, y*y, x*x*y, x*y*y, x*x*x,
// y*y*y), so mapPoint evaluates them; the order m is 0, 1, 3, 6 or 10.
#pragma once

#include <span>
#include <vector>

namespace tamble {

// At most this many points enter a fit.
inline constexpr int maxFitPoints = 1000;

// The notice of a fit whose normal matrix is not positive (shown whatever
// the quiet flag says: the linking would go on with a wrong map otherwise).
inline constexpr const char* notPositiveNotice =
    "   ZlMatrix AT*A is NOT positive.\n   Rank [A] < NumPar";

// Fits the polynomial of order m that carries (srcX, srcY) to (dstX, dstY),
// by the normal equations on a scaled basis and a Cholesky decomposition.
// Both outputs are cleared first. m = 0 gives the identity; m = 1 is the
// shift x + a0, y + b0, so its one term is fitted to the displacement. False
// with more than 1000 points, fewer points than m, or a matrix that is not
// positive (with its notice). The four spans must be of one length, and m
// one of the orders, else zel::AlgoError.
bool ZlMatrix(std::span<const double> srcX, std::span<const double> srcY,
              std::span<const double> dstX, std::span<const double> dstY, int m, double (&outX)[10],
              double (&outY)[10]);

// The distances between the mapped sources and the destinations: mean,
// root mean square (over n - 1, or over 1 for a single point) and largest.
// With fewer points than m only `tooFew` is set.
struct fitErrors {
  double mean = 0.0;
  double rms = 0.0;
  double max = 0.0;
  bool tooFew = false;
};
fitErrors FitErrors(std::span<const double> srcX, std::span<const double> srcY,
                    std::span<const double> dstX, std::span<const double> dstY, int m,
                    const double (&cx)[10], const double (&cy)[10]);

// The weight of each marker of a list: with r its distance from the list's
// centroid and R the largest such distance, h = R/2 and
// exp(-((r - h)/h)^2), so that markers half way out weigh most. All weights
// are 1 when every marker stands on the centroid.
std::vector<double> markerWeights(std::span<const double> x, std::span<const double> y);

}  // namespace tamble
