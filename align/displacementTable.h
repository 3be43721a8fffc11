// The displacement table of an alignment: for a grid of cells over the
// aligned image, where each cell's centre came from in the image before the
// warp. A text file of four columns.
#pragma once

#include <functional>
#include <string>

#include "geometry/polynomialMap.h"

namespace tamble {

// Where the aligned image's point (x, y) came from; false where the warp left
// the point alone (outside every triangle of a triangulated alignment). An
// empty map: nothing was warped.
using displacementMap = std::function<bool(double x, double y, double& u, double& v)>;

// The polynomial's forward map (aligned image to the image before the warp).
displacementMap polynomialDisplacement(const polynomialState& map);

// Writes the table for an image of width by height: cells of `cell` pixels,
// one every `step` pixels, the first at (cell/2, cell/2) and the last whose
// cell still fits. A header line, then one line per cell centre that `source`
// maps: "x y dx dy" with (dx, dy) = source - centre, in pixels. Written to a
// temporary name and renamed into place; zel::FileError when that fails.
void writeDisplacementTable(const std::string& path, int width, int height, int cell, int step,
                            const displacementMap& source);

}  // namespace tamble
