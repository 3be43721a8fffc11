// Alignment by Fourier correlation: the correlation surface of two images,
// its peak to a fiftieth of a pixel, the shift that brings one image onto the
// other, and the Fourier-Mellin sequence that finds rotation and scale first.
//
// Sign convention: when `first` shows the picture of `second` moved by (s, t)
// pixels, the surface peaks at (W/2 - 1 - s, H/2 - 1 - t) and the integer
// shift reported is (-s, -t): the move that brings `first` back onto
// `second`.
#pragma once

#include <string>

#include "api/arrayWorks.h"
#include "api/image.h"
#include "geometry/polynomialMap.h"

namespace tamble {

using correlationField = zel::arrayStore<float, 2>;

// The text of a size mismatch, which ends the correlation (and the commands
// built on it) with nothing changed.
inline constexpr const char* differentDimensions =
    "CrossCorrelation: Different Images Dimensions. Operation is Canceled";

// The correlation surface of `first` and `second` into `result` (all three
// of one size), turned by half a circle and scaled to an absolute maximum of
// 1, and the shift of its first strict maximum (px, py): dx = px - W/2 + 1,
// dy = py - H/2 + 1. `removeMean` subtracts each image's mean, `window`
// applies the radial Blackman window to both, `phaseOnly` correlates the
// normalised cross-power spectrum, `smooth` passes the Gauss of diameter 5
// over the surface. Sizes that differ: the notice above, and dx, dy and
// `result` stay as they were.
void CrossCorrelation(const correlationField& first, const correlationField& second,
                      correlationField& result, bool phaseOnly, bool removeMean, bool window,
                      bool smooth, int& dx, int& dy);

// On two N by N work images: the correlation surface replaces `first`, zero
// shift at (N/2, N/2). Phase: the cross-power spectrum normalised value by
// value; full: the plain product.
void CorrelatePhase(correlationField& first, const correlationField& second, int N);
void CorrelateFull(correlationField& first, const correlationField& second, int N);

// The sub-pixel shift of a surface that CrossCorrelation made with the
// integer shift (dx, dy): the damped bicubic peak near it, less the centre.
void correlationShift(const correlationField& surface, int dx, int dy, double& sx, double& sy);

// "Shift Only Image Alignment...": the 3x3 gradients (kind 8) of both images
// correlated by phase with smoothing, and `first` (with its markers) moved
// by the sub-pixel shift through the damped bicubic spline.
struct shiftFound {
  int dx = 0, dy = 0;
  double sx = 0.0, sy = 0.0;
};
shiftFound ShiftOnlyAlign(zel::image& first, const zel::image& second, polynomialState& map);

// "Mellin Image Alignment...": the polar-log maps of both spectra (40 dB
// below the peak and up) correlated for the turn and the scale, `first`
// scaled and turned, then correlated again for the shift and moved.
struct mellinFound {
  int dR = 0, dS = 0;
  float Rp = 0.0f, Sp = 0.0f;
  float alpha = 0.0f, scale = 1.0f;
  shiftFound shift;
  // Seconds of the spectrum, the polar-log map, the correlation and the
  // resampling of the first image, and of the whole.
  double spectrum = 0, polarLog = 0, crossCorr = 0, scaleRotate = 0, total = 0;
};
mellinFound MellinAlign(zel::image& first, const zel::image& second, polynomialState& map);

// The reports of the two alignments.
std::string shiftText(const shiftFound& found);
std::string mellinText(const mellinFound& found);

}  // namespace tamble
