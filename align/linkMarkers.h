// Which marker of one image is which marker of another: two lists in no
// agreed order and of unequal length are paired. `LinkMarkers` finds a
// general small distortion through triangles of like shape;
// `MoveRotateMarkers` a rigid shift and rotation by scanning. Both end in
// the same four refinement passes of growing polynomial order.
//
// The routines use the forward arrays of the polynomial state they are given
// as their work map (the commands pass the session's): on return forwardX
// and forwardY hold the last fit made, the order and the inverse arrays are
// not touched. They never throw on data; the notices of failures are dropped
// while the program runs quietly, except that of a fit that is not positive.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "api/markers.h"
#include "geometry/polynomialMap.h"

namespace tamble {

inline constexpr const char* sameExtremesNotice = "***LINK*** P1 == P2 ? Check Please.\n";
inline constexpr const char* collinearNotice = "***LINK*** P3 is on (P1, P2) ? Check Please.\n";

// A marker list as the linking sees it: positions and weights.
struct markerPoints {
  std::vector<double> x, y, w;
  int size() const { return static_cast<int>(x.size()); }
};

// The positions of an array's markers (all of them, in array order) with the
// weights of markerWeights.
markerPoints pointsOf(const zel::markersArray& markers);

// The best pairing found so far: indices into A and into B, pair by pair,
// and its score (pairs^4 / sqrt(max(rms, 1e-4))).
struct bestPairs {
  std::vector<int> a, b;
  double score = 0.0;
  int count() const { return static_cast<int>(a.size()); }
};

// Maps every point of A by the forward polynomial of order m and pairs it
// with the nearest point of B (a tie goes to the lower index) when that point
// lies within sqrt(dmax2) and no earlier point of A has taken it; a point
// whose nearest is taken gets no second choice. With 6 pairs or more the
// forward arrays become the fit of order m from the mapped points to their
// partners, and the run replaces `best` if it scores higher. Answers that
// fit's rms, or -1 when there were fewer than 6 pairs or the fit failed.
double MatchPairs(int m, double dmax2, const markerPoints& A, const markerPoints& B,
                  bestPairs& best, polynomialState& state);
// The same with A moved by (dx, dy) in place of the polynomial.
double MatchPairsShifted(int m, double dmax2, double dx, double dy, const markerPoints& A,
                         const markerPoints& B, bestPairs& best, polynomialState& state);

// The outcome of a linking, in the order of the first list: whether each
// entry is linked, and its partner's position and weight (0 when unlinked).
struct linkResult {
  bool ok = false;
  std::vector<std::uint8_t> linked;
  std::vector<double> linkX, linkY, linkW;
  int count = 0;  // the pairs found (entries repeating their successor not counted)
};

// `box` is the largest distance of a pair in pixels; `fixed` (0 to 3 or more)
// says that the first `fixed` entries of both lists are the same markers in
// the same order. An empty list links nothing and succeeds.
linkResult LinkMarkers(const markerPoints& first, const markerPoints& second, int box, int fixed,
                       polynomialState& state);
linkResult MoveRotateMarkers(const markerPoints& first, const markerPoints& second, int box,
                             int fixed, polynomialState& state);

}  // namespace tamble
