// Which marker of an image is which marker of a standard set, when nothing
// but their geometry is known: a triangle that both sets share gives a first
// map, the map pulls the other markers in inside a tracking window, and a
// polynomial fitted over the pairs carries one set onto the other.
// align_markers does this for an image and then warps it onto the standard
// set, so that its markers pair with the model's by their index.
//
// Maps are polynomials of 0 (identity), 1 (shift), 3, 6 or 10 terms with the
// coefficient order 1, x, y, xy, x^2, y^2, x^2 y, x y^2, x^3, y^3.
#pragma once

#include <string>
#include <vector>

#include "align/imageAlign.h"
#include "api/image.h"
#include "api/markers.h"
#include "geometry/polynomialMap.h"

namespace tamble {

// The term count of a polynomial order 0..3 (1, 3, 6, 10); 0 otherwise.
int termsOfOrder(int polyOrder);

// (x, y) through the map of `terms` terms. Any count but 0, 1, 3, 6 and 10
// throws zel::AlgoError "Algorithm error!" from the source path `match`.
void applyMap(double x, double y, double& outX, double& outY, const double (&a)[10],
              const double (&b)[10], int terms);
// The least-squares map of `terms` terms from (srcX, srcY) to (dstX, dstY);
// false with too few points or a singular system (a and b then cleared).
bool fitMap(const double* srcX, const double* srcY, const double* dstX, const double* dstY, int n,
            int terms, double (&a)[10], double (&b)[10]);
// The distances between the mapped sources and the destinations: the root
// of their mean square, their mean, the largest and its point. False, with
// the outputs untouched, when n is less than the term count.
bool mapErrors(const double* srcX, const double* srcY, const double* dstX, const double* dstY,
               int n, int terms, const double (&a)[10], const double (&b)[10], double& meanSquare,
               double& meanAbs, double& maxAbs, int& maxIndex);

struct point2 {
  double x = 0.0;
  double y = 0.0;
};

// What makes three points in order recognisable in another set: sides a
// (1 to 2), b (2 to 3), c (3 to 1); the perimeter; each corner's cosine
// plus 1 (0 where one of its sides has length 0); and the orientation, 1
// when the turn from the first side to the third is positive, else -1.
struct triangleSignature {
  double perimeter = 0.0;
  double corner[3] = {};
  int orientation = -1;
};
triangleSignature signatureOf(point2 p1, point2 p2, point2 p3);

// The point of `points` farthest from the line through points a and b (the
// set turned so that the line is the x axis, the largest |y|); `a` when the
// two coincide.
int farthestFromLine(const std::vector<point2>& points, int a, int b);

// How the markers are linked: mode 1 the triangle search, 0 the nearest
// partner with no map; the window value w (the search box has side 2w + 1);
// the first `fixed` markers of both sets are the same markers (4: all of
// them, by index); the polynomial order 0..3 (any other: the identity).
struct linkParameters {
  int mode = 1;
  int window = 19;
  int fixed = 0;
  int polyOrder = 1;
};

// For each point of `image`, the index of its partner in `standard` or -1.
std::vector<int> TriAngleSearch(const std::vector<point2>& image,
                                const std::vector<point2>& standard, int side, int terms);
std::vector<int> nearestSearch(const std::vector<point2>& image,
                               const std::vector<point2>& standard, int side, int terms);

// The outcome of a linking: the pairs, the maps fitted over them (forward:
// standard to image; inverse: image to standard) and the errors of the
// inverse map at the standard markers.
struct linkStatistics {
  int standard = 0;  // markers of the standard set
  int pairs = 0;
  int terms = 0;
  polynomialState map;
  double meanSquare = 0.0;  // root of the mean square, pixels
  double meanAbs = 0.0;
  double maxAbs = 0.0;
  int maxMarker = 0;  // id of the standard marker with the largest error
};

// Links the active markers of `image` to those of `standard`. `result`
// becomes the image's markers renumbered as the standard set numbers them:
// one per standard marker, at the image position of its partner and active
// when it has one. False when the mode is not 0 or 1 or fewer pairs are
// found than the map needs (and never fewer than 3).
bool findMarkersLink(const zel::markersArray& image, const zel::markersArray& standard,
                     const linkParameters& parameters, zel::markersArray& result,
                     linkStatistics& statistics);

// "Markers Connection:    " and the figures of a linking.
std::string connectionText(const linkStatistics& statistics);

// Links the image's markers to the standard set and warps the image onto it
// (its markers move with it); `pairs` receives the moved markers in the
// standard numbering. The resampling keeps background out of the model: an
// output pixel takes the bilinear value of the usable (not background, not
// NaN) pixels around its source, renormalised, and is background only when
// none is usable. A count of markers that differs from the standard
// set's asks "Would You like to copy Image?"; No stops. The connection text
// is a notice with `showInfo` and goes to the log. With the identity map
// (no terms) the image is not resampled. False when the linking fails or the
// user stops; `statistics` holds the linking's figures once it succeeded.
bool align_markers(zel::image& image, const zel::markersArray& standard,
                   const linkParameters& parameters, bool showInfo, zel::markersArray& pairs,
                   linkStatistics& statistics, const alignQuestion& ask = {});

}  // namespace tamble
