// Triangulated alignment ("Micro Alignment"): the markers of both images are
// paired and numbered alike, the reference image's markers are cut into
// triangles, and each triangle of the first image is mapped onto its partner
// by an affine map of its own, so that every marker lands on its partner.
#pragma once

#include <string>

#include "align/displacementTable.h"
#include "api/image.h"
#include "geometry/polynomialMap.h"

namespace tamble {

struct triSettings {
  int box = 9;            // the farthest a pair may lie apart, pixels
  bool paired = false;    // the markers are paired by index already: no search
  bool drawMesh = false;  // draw the triangles' sides into the result
};

struct triOutcome {
  bool warped = false;
  long filled = 0;           // pixels inside a triangle
  int trianglesUsed = 0;     // triangles that filled at least one pixel
  int triangles = 0;
  std::string report;        // the text shown
  displacementMap source;    // where each filled pixel came from
};

// Aligns `first` onto `second` (the reference). Pixels outside every
// triangle keep the first image's values and masks; the first image's
// markers take the reference markers' positions. Every refusal is a notice
// and leaves `first` as it was. `map` receives the order-10 fit of the
// pairing step and then the affine map of the last triangle.
triOutcome TriAlign(zel::image& first, const zel::image& second, const triSettings& settings,
                    polynomialState& map);

}  // namespace tamble
