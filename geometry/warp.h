// The two resampling engines: they rewrite an image in place through a
// polynomial map (output position to source position) and move the markers
// by its inverse.
//
// Both read the map with its order (0 and 1 keep the identity part, see
// mapPoint). An output pixel whose source lies off the image gets value 0 and
// bkgr set; its ROI is cleared only if the source ROI had a hole somewhere.
// Every output pixel reads a copy of the layers taken before the first is
// written, and the result is the same, bit for bit, with any number of
// threads and on any x86-64 (AVX2 or not). An unknown
// kind or map order raises zel::AlgoError, layers of different sizes
// zel::DimError; nothing has changed then. There are no zones yet: `zones`
// true works exactly as false.
#pragma once

#include <functional>

#include "api/arrayWorks.h"
#include "api/markers.h"
#include "geometry/polynomialMap.h"

namespace tamble {

// Bilinear resampling with its own mask rules. The source (fx, fy) counts as
// inside when (trunc(fx), trunc(fy)) lies in the image, so fx in (-1, 0)
// extrapolates from column 0. bkgr and ROI come from (ix+1, iy), (ix, iy+1)
// and (ix+1, iy+1) as far as the case uses them, never from (ix, iy) itself;
// the last column interpolates along y only, the last row along x only.
void WarpBilinearMS(zel::arrayStore<float, 2>& field, zel::arrayStore<bool, 2>& bkgr,
                    zel::arrayStore<bool, 2>& ROI, zel::markersArray& markers, bool zones,
                    const polynomialState& map);

// Where the output pixels (x0 + i, y), i < n, take their value from: fills
// xs[i] and ys[i] with the source position. Called for pieces of rows, from
// several threads at once, so it must not change shared state.
using sourceRows = std::function<void(int y, int x0, int n, double* xs, double* ys)>;

// WarpBilinearMS through any map: the same sampling and mask rules, with the
// source positions given by `where`, which must not read the layers: they are
// rewritten row by row. The markers are the caller's to move.
void WarpBilinearMSBy(zel::arrayStore<float, 2>& field, zel::arrayStore<bool, 2>& bkgr,
                      zel::arrayStore<bool, 2>& ROI, const sourceRows& where);

// Kind 0 nearest neighbour, 1 bilinear, 2 damped bicubic spline. The source
// counts as inside when the nearest pixel (trunc(fx + 0.5), trunc(fy + 0.5))
// lies in the image: fx in (-1.5, W - 0.5), likewise fy; bkgr and ROI are
// that pixel's. Kinds 1 and 2 read the image extended by its edge pixels.
// Bilinear sums (here and in WarpBilinearMS) are f64, as the fractions are,
// narrowed once; kind 2 is f32 throughout, its fractions narrowed to f32.
void WarpInterp(zel::arrayStore<float, 2>& field, zel::arrayStore<bool, 2>& bkgr,
                zel::arrayStore<bool, 2>& ROI, zel::markersArray& markers, bool zones, int kind,
                const polynomialState& map);

// The bilinear value of `field` (W by H) at (x, y), in floats, for the
// spectra's polar-log map: (trunc(x), trunc(y)) must lie in the image, else
// value 0 and bad. The last column interpolates along y only, the last row
// along x only, the last pixel is taken as it is.
void BilinearSample(const zel::arrayStore<float, 2>& field, int W, int H, float x, float y,
                    float& value, bool& bad);

}  // namespace tamble
