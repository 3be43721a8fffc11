// Polynomial alignment: the markers of two images of the model are paired,
// a polynomial from the second image to the first is fitted, and the first
// image is warped onto the second, its markers with it. Triangulated
// alignment (align/triAlign.h) starts from it.
#pragma once

#include <functional>
#include <string>

#include "api/image.h"
#include "geometry/polynomialMap.h"

namespace tamble {

// A yes/no question to the user; an empty one answers yes.
using alignQuestion = std::function<bool(const std::string&)>;

struct alignSettings {
  int fixed = 0;   // the first markers that are the same on both images; 4: all, by index
  int rtype = 1;   // 1 "Link" (triangles of like shape), 2 "Move && Rotate" (a scan)
  int box = 9;     // the farthest a pair may lie apart, pixels
  int order = 10;  // polynomial terms: 0 (fit reported, image kept), 3, 6 or 10
  bool showErrors = false;  // the fit's report is a question before the warp
  bool skip = false;        // leave the image as it is
  bool macro = false;       // order 10: blend orders 3, 2 and 1 by the distance to a marker
};

// The fits of the three orders that macro alignment blends (source of an
// output pixel of the second image in the first).
struct blendMaps {
  double cubicX[10] = {}, cubicY[10] = {};
  double quadraticX[10] = {}, quadraticY[10] = {};
  double linearX[10] = {}, linearY[10] = {};
};

struct alignOutcome {
  bool warped = false;   // the first image was resampled
  bool stop = false;     // the user chose to end a batch of alignments
  // The image was to be warped and could not be: no markers, too few, no
  // pairs, no fit. Not set when it was aligned already or was to stay.
  bool failed = false;
  int pairs = 0;         // marker pairs the fit used
  std::string report;    // the fit's errors, as shown
};

// Aligns `first` onto `second`; `map` receives the fitted polynomials and
// their order (forward: second image to first; inverse: first to second).
// Every failure is a notice (unless quiet) and leaves `first` as it was.
alignOutcome ImageAlign(zel::image& first, const zel::image& second, const alignSettings& settings,
                        polynomialState& map, const alignQuestion& ask = {});

// Resamples `img` through map.forward and moves its markers by map.inverse;
// with `blend` (order 10 only), each pixel's map is blended from the three
// orders by its distance to the nearest moved marker.
void WarpImage(zel::image& img, const polynomialState& map, const blendMaps* blend = nullptr);

// The image's name as the report shows it: cut at its first "_al".
std::string alignedName(const std::string& name);

}  // namespace tamble
