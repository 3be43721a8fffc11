// Painting from a marker set: clean synthetic spots at the markers' places
// ("Draw Artificial Markers...") and the mesh of triangles between them that
// triangulated alignment would use ("Triangulation Draw"), with the line and
// mark routines both draw with.
#pragma once

#include "api/arrayWorks.h"
#include "api/markers.h"

namespace tamble {

using drawField = zel::arrayStore<float, 2>;
using drawMask = zel::arrayStore<bool, 2>;

// Replaces the spots under the markers by Gauss-like spots of diameter D,
// bright for `sign` 1 and dark for any other sign. The old spots are filled
// up first (brush N = max(trunc(5D), 3)); then, marker by marker, m is the
// mean of the valid pixels within D/2 of the marker (in the square of
// half-width N/2 about its rounded position; 0 if there are none) and every
// valid pixel within N of the rounded position gains
// +-m*exp(-((px - x)/D)^2 - ((py - y)/D)^2). A spot's depth thus follows the
// local level. Only valid pixels change. An empty array is reported ("No
// markers in active zone. Procedure is terminated", unless quiet) and
// nothing changes. zel::DimError if the layers differ in extent, and
// zel::AlgoError for a D not above 0 or above 1e6, before any change.
void DrawMarkers(drawField& field, const drawMask& bkgr, const drawMask& ROI,
                 const zel::markersArray& markers, int sign, double D);

// Draws the Delaunay mesh of the markers at the largest value of the field:
// a mark at each corner and three-pixel-wide sides. Needs 9 markers ("Markers
// Number < 9" otherwise, and nothing is drawn). A triangle with a corner off
// the image is not drawn. Tells the count of triangles, which were not drawn
// and why, and how many points and triangles were used, in one notice.
void TriangulationDraw(drawField& field, const zel::markersArray& markers);

// A one-pixel line from (x0, y0) to (x1, y1), both ends first moved into the
// image; the longer axis steps by one pixel, the other is rounded.
void DrawSegment(int x0, int y0, int x1, int y1, float value, drawField& image);
// The same line drawn at the nine offsets of a 3 by 3 square: three pixels
// wide. The ends are moved into the image before the offsets.
void DrawSegment3(int x0, int y0, int x1, int y1, float value, drawField& image);
// A star of reach 2 about (x, y): the pixels on the row, the column and both
// diagonals through it, up to 2 away; those off the image are left out.
void DrawCross(int x, int y, float value, drawField& image);

}  // namespace tamble
