// The background of an image is its bkgr layer: pixels that are not paint
// (tunnel walls, the space around the model). selectAndCompensate marks such
// pixels by one of five rules and subtracts from the field the light they
// show: a constant, a mean, a line per row, a surface from four strips or a
// plane. "BackGround..." runs it on the current image, "Background Work..."
// on every source image of a project.
#pragma once

#include "api/arrayWorks.h"

namespace tamble {

using bgField = zel::arrayStore<float, 2>;
using bgMask = zel::arrayStore<bool, 2>;

// Select rules (r1).
enum selectRule : int {
  selectThreshold = 1,  // field below the threshold
  selectAverage = 2,    // field below the image mean times the scale
  selectFromROI = 3,    // the pixels outside the ROI become background
  selectRelative = 4,   // field below lo + (hi - lo) * relative
  selectPlane = 5,      // field below the plane fitted through all pixels
};

// Compensate rules (r2).
enum compensateRule : int {
  compensateValue = 1,      // a constant
  compensateROIMean = 2,    // the mean inside the ROI
  compensateBkgrMean = 3,   // the mean over the background
  compensateTwoSide = 4,    // per row, the line through a left and a right strip
  compensateFourSide = 5,   // the surface through four edge strips
  compensateBkgrPlane = 6,  // the plane fitted through the background
};

// What refuses a run. Each is found before any layer changes.
enum class backgroundFault {
  none,
  twoSideWidth,    // "Two Side Strap Width Less Than 1 !"
  fourSideWidth,   // "Four Side Strap Width Less Than 1 !"
  fourSideIndent,  // "Four Side Indent Less Than 0 !"
  stripsTooWide,   // "Side Strips Do Not Fit in the Image !": no span between them
};

// Whether the mask has a true pixel.
bool holdsTrue(const bgMask& mask);

// The message of a fault; empty for none.
const char* backgroundFaultText(backgroundFault fault);

struct backgroundParams {
  int select = 0, compensate = 0;  // the two modes, 0 or 1
  int r1 = selectThreshold, r2 = compensateValue;
  float threshold = 0.0f;  // rule 1
  float scale = 1.0f;      // rule 2
  float relative = 0.0f;   // rule 4
  float value = 0.0f;      // compensate rule 1
  int side2 = 1;           // compensate rule 4: strip width
  int indent4 = 0;         // compensate rule 5: strips' distance from the edges
  int width4 = 1;          // compensate rule 5: strip width
  // Whether the caller counts the layer as present when it has no true pixel.
  bool roiPresent = true, bkgrPresent = true;
};

// The fault the parameters have on an image of that size, found before
// anything changes (only the strip rules can have one, and only when
// compensating).
backgroundFault backgroundParameterFault(const backgroundParams& p, int width, int height);

// Selects (when `select`) and compensates (when `compensate`), in place. A
// rule that lacks what it needs ends the routine without a fault: selection
// from a ROI the image lacks, rule 4 on a constant image (nothing selected),
// a mean over no pixels, a background too narrow for its plane. Every
// compensation clips at 0: no pixel is negative afterwards.
backgroundFault selectAndCompensate(bgField& field, bgMask& bkgr, bgMask& roi,
                                    const backgroundParams& p);

// The same with the parameters in the order the dialog lists them.
backgroundFault selectAndCompensate(bgField& field, bgMask& bkgr, bgMask& roi, int select,
                                    int compensate, int r1, int r2, float threshold, float scale,
                                    float relative, float value, int side2, int indent4, int width4,
                                    bool roiPresent, bool bkgrPresent);

}  // namespace tamble
