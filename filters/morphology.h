// The small-window filter sets of the "Transform" menu (3 by 3 filters and
// gradients, grey-level morphology over a disc, the two speckle removers) and
// the wipe of small closed regions of a mask layer.
//
// A pixel is blocked when its bkgr is set or its ROI clear, valid otherwise.
// Each routine below says which pixels it reads and writes.
#pragma once

#include "filters/circleFilters.h"

namespace tamble {

// The kinds of S3X3ITER, 1 "Smoothing" to 19 "Thin Laplace Square Diagonal".
inline constexpr int s3x3Kinds = 19;

// Per iteration every valid pixel becomes the sum of the kernel times its
// nine neighbours (blocked ones and those outside the image read as 0), plus
// the kind's offset, held to the valid range [lo, hi]. At the end the whole
// field is 0 but for the valid pixels of the interior (one pixel from every
// edge), which take the result. An unknown kind gives a notice and works
// with a zero kernel.
void S3X3ITER(filterField& field, const filterMask& bkgr, const filterMask& ROI, int iterations,
              int kind);

// Kinds 1 "Roberts" to 9 "Maltian Cross". Neighbours are read whatever their
// masks; every valid pixel is written, those of the unprocessed margin (one
// pixel, two for kinds 7 and 9) with 0.
inline constexpr int gradientKinds = 9;
void Gradients3x3(filterField& field, const filterMask& bkgr, const filterMask& ROI, int kind);

// For valid pixels at least N/2 from every edge: `field` takes the gradient
// magnitude of the N by N window (masks not consulted inside it), `direction`
// (of the field's size) its angle in degrees, in (0, 180].
void PrewittWindow(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                   filterField& direction, int N);

// Grey-level morphology over the disc dx^2 + dy^2 <= (D/2)^2, |dx|, |dy| <=
// trunc(D + 0.5)/2; kinds 1 "Dilation" to 16 "Close-Open Filter". Blocked
// pixels are neither sources nor targets. A disc below 3 or above 99 cells
// across does nothing.
inline constexpr int morphKinds = 16;
void MorphFilter(filterField& field, const filterMask& bkgr, const filterMask& ROI, float diameter,
                 int kind);
void OpenCloseFilter(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                     float diameter);  // kind 3, then kind 4
void CloseOpenFilter(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                     float diameter);  // kind 4, then kind 3

// In place: every valid pixel takes the maximum (dilate) or the minimum of
// the field over the valid cells of MorphFilter's disc that lie in the image,
// starting from -1e30 or 1e30; blocked pixels keep their values. Masks may
// be null: nothing is blocked. Among values that compare equal (+0 and -0)
// which one is taken is not defined.
void DiscExtreme(filterField& field, const filterMask* bkgr, const filterMask* ROI,
                 float diameter, bool dilate);

// A bilateral filter whose intensity scale follows the local contrast, over
// the square of side 2R + 1, R = (trunc(D + 0.5) + 1)/2; reads and writes
// valid pixels; reports progress.
void SpeckleCell(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                 float diameter, int iterations);

// Crimmins' speckle removal on the field scaled to 0..255: each iteration
// lifts a pixel darker than its neighbours along an axis by one level and
// then lowers a brighter one. The scaling touches every pixel; the result is
// written back at valid pixels.
void SpeckleCrimmins(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                     int iterations);

// Clears islands of set pixels that a square ring of clear pixels surrounds,
// boxes up to diameter/2 in half width; polarity 0 works on the inverted
// mask. The scan works in place, row by row.
void ClosedRegionsWipe(filterMask& mask, int polarity, int iterations, int diameter);

}  // namespace tamble
