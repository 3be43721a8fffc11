// Geometric commands' routines: scale, rotate and shift; resize; trim or
// lengthen the canvas; flips and quarter turns. Markers follow the geometry.
#pragma once

#include "api/arrayWorks.h"
#include "api/markers.h"
#include "geometry/polynomialMap.h"

namespace tamble {

using fieldStore = zel::arrayStore<float, 2>;
using maskStore = zel::arrayStore<bool, 2>;

// kind: -1 WarpBilinearMS, 0 nearest, 1 bilinear, 2 damped bicubic; any other
// value does nothing. Both set `map` to the affine transform they resample by.
void ScaleRotateShift(fieldStore& field, maskStore& bkgr, maskStore& ROI,
                      zel::markersArray& markers, double scaleX, double scaleY, double alpha,
                      double shiftX, double shiftY, int kind, polynomialState& map);
void ScaleRotateRelative(fieldStore& field, maskStore& bkgr, maskStore& ROI,
                         zel::markersArray& markers, double scaleX, double scaleY, double x1,
                         double y1, double x2, double y2, double alpha, int kind,
                         polynomialState& map);

// Resamples the source into the destination, whose layers the caller has
// sized, through ScaleRotateRelative (which sets `map`). Sizes below 3 or
// above 16368 are refused with a notice.
void ImageResize(const fieldStore& srcField, const maskStore& srcBkgr, const maskStore& srcROI,
                 const zel::markersArray& srcMarkers, fieldStore& dstField, maskStore& dstBkgr,
                 maskStore& dstROI, zel::markersArray& dstMarkers, int kind, polynomialState& map);

// Places the source on a canvas of the destination's size at the anchor
// (-1, 0, 1 on each axis). Sizes below 10 or above 16368 are refused.
void ImageCrop(const fieldStore& srcField, const maskStore& srcBkgr, const maskStore& srcROI,
               const zel::markersArray& srcMarkers, fieldStore& dstField, maskStore& dstBkgr,
               maskStore& dstROI, zel::markersArray& dstMarkers, int anchorX, int anchorY);

// regime 0 half turn, 1 +90 (CCW), 2 -90 (CW), 3 horizontal flip, 4 vertical
// flip, 5 transpose, 6 alternative transpose; 1, 2, 5, 6 need a square image
// ("Image Must Be Square!").
void FlipRotate(fieldStore& field, maskStore& bkgr, maskStore& ROI, zel::markersArray& markers,
                int regime);

// The sub-pixel position of a peak near (ix, iy), searched on grids of step
// 0.05 (41 positions per axis) and 0.02 (101 positions).
void BiCubic40(const fieldStore& field, int ix, int iy, double& x, double& y);
void BiCubic100(const fieldStore& field, int ix, int iy, double& x, double& y);

}  // namespace tamble
