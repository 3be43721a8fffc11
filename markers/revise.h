// Marker revision: every enabled marker of an image moves onto the centre of
// the spot it stands on, to a fraction of a pixel. Only x and y change;
// nothing is added, dropped or renumbered, and disabled markers stay.
//
// A pixel is blocked when its bkgr is set or its ROI is clear, valid
// otherwise. `sign` is 1 for spots brighter than their surroundings ("Peaks")
// and -1 for darker ones ("Pits"); D is the marker diameter in pixels. The
// layers stay as they are. zel::DimError, before any change, if the layers
// differ in extent.
#pragma once

#include "api/arrayWorks.h"
#include "api/markers.h"
#include "geometry/polynomialMap.h"

namespace tamble {

using markerField = zel::arrayStore<float, 2>;
using markerMask = zel::arrayStore<bool, 2>;

// The notice of both routines for an empty array (not shown while quiet).
inline constexpr const char* noMarkersInZone = "No markers in active zone. Procedure is terminated";

// The start that the revision and the marker statistics share: `Q` is the
// field, smoothed near the markers when D is above 7; `R` the wide median
// background, which holds where `near` is set (the valid pixels within 1.5 D
// of an enabled marker on a valid pixel). `zone`, the pixels within 2 D, is
// kept only when D is 11 or more (the filters then work on a shrunk image).
struct spotImages {
  markerField Q, R;
  markerMask near, zone;
};
spotImages spotFront(const markerField& field, const markerMask& bkgr, const markerMask& ROI,
                     const zel::markersArray& markers, double D, polynomialState& map);

// The spot's peak in the difference from a wide median background, a rough
// centre weighted by the squared difference, and a fine centre weighted by
// the squared height above the spot's surroundings. Only valid pixels are
// looked at near the markers; the wide median itself, like MedianSquare,
// reads every pixel of its window. A marker whose rounded position is
// blocked or outside the image stays; a move of D or more is refused on its
// axis. Where the wide median is the fast one, its resizing leaves its map in
// `map` (see MedianFast).
void ReviseMarkers(const markerField& field, const markerMask& bkgr, const markerMask& ROI,
                   zel::markersArray& markers, int sign, double D, polynomialState& map);

// On the image smoothed over 2D near the markers: the centroid of the disk of
// radius 2D, then the centroid of the cubed height above the frame around
// the smoothed peak. These sums read every pixel of their windows, blocked or
// not; a marker nearer than h + 1 pixels to the edge (h = trunc(D + 0.5)),
// or whose frame is not lower than its top, stays where it is.
void ReviseMarkersCenters(const markerField& field, const markerMask& bkgr, const markerMask& ROI,
                          zel::markersArray& markers, int sign, double D);

}  // namespace tamble
