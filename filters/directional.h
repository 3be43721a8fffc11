// Filters along one direction: a Gauss and a median over an elliptic window
// whose long axis follows the direction (streaks, flow-aligned structures,
// motion blur along a known axis), and the one-dimensional deblurring of a
// smear along a direction.
//
// Angles are in degrees, counterclockwise from the x axis as the image is
// shown (row 0 at the top): 0 runs along the rows, 90 up the columns. A
// pixel is blocked when its bkgr is set or its ROI clear; blocked pixels are
// neither read as samples nor written.
#pragma once

#include <optional>
#include <vector>

#include "filters/circleFilters.h"

namespace tamble {

// The angle of the line from (x1, y1) to (x2, y2), pixel coordinates (y down).
float directionAngle(double x1, double y1, double x2, double y2);

// A window cell: offset from the centre and its Gauss weight.
struct lineCell {
  int dx, dy;
  float weight;
};

// The cells of the window `length` long and `width` wide along `angle`, in
// row order: those whose centre lies in the ellipse of half axes length/2
// and max(width/2, 0.5), and the digital line through the centre (one cell
// per column, or per row for steep angles) over the length, so that a window
// one pixel wide has no gaps. The weight of a cell at (u along, v across) is
// exp(-(u/(length/2))^2 - (v/max(width/2, 0.5))^2).
std::vector<lineCell> lineWindow(float length, float width, float angle);

// Scales the window's length from 0 at `from` to the full length at `to`
// (projected on the line between them, held to 0 .. 1): a blur or streak that
// grows along the model. Lengths are taken in whole pixels, at least 1.
struct lengthTaper {
  double fromX, fromY, toX, toY;
};

// The weighted mean of the valid cells of each valid pixel's window; a
// pixel with no weight keeps its value.
void DirectionalGauss(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                      int iterations, float length, float width, float angle,
                      const std::optional<lengthTaper>& taper = std::nullopt);

// The median of the valid cells of each valid pixel's window, the lower
// middle of an even count.
void DirectionalMedian(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                       int iterations, float length, float width, float angle,
                       const std::optional<lengthTaper>& taper = std::nullopt);

// The smear: each valid pixel becomes the mean of the valid pixels on the
// digital line `length` long along `angle` through it. The blur that
// DeBlur1D undoes.
void Smear1D(filterField& field, const filterMask& bkgr, const filterMask& ROI, float length,
             float angle);

// Undoes Smear1D: the valid pixels x that minimise |Smear(x) - f|^2 +
// noise*|x - f|^2, f the field as given. Where the smear keeps a detail
// (|H| large) x is f deblurred, where it wiped it out (|H| near 0, below
// sqrt(noise)) x keeps f: `noise` is the noise-to-signal ratio up to which
// detail is restored, and levels (a flat image, the mean) stay as they are.
// Found by conjugate gradients from x = f, stopping after `iterations` steps
// or when the residual of the normal equations has fallen to 1e-5 of their
// right-hand side. Answers the steps taken.
int DeBlur1D(filterField& field, const filterMask& bkgr, const filterMask& ROI, float length,
             float angle, float noise, int iterations);

}  // namespace tamble
