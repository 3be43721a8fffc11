// An image carried onto the model's mesh: every node goes through the
// camera's projection into the image and takes the value there, unless the
// camera cannot see it.
//
// A node is skipped (it keeps the missing value) when
//  - it projects outside the image or lies behind the camera,
//  - the model hides it: a surface of the mesh lies nearer the camera at all
//    four pixels around its point (a depth buffer of the mesh's surfaces:
//    surface blocks, and the six faces of volume blocks; within a pixel of an
//    edge of a nearer surface a node may count as seen),
//  - it faces away from the camera: on a surface block, its normal turns
//    from the camera while most seen nodes of its block turn towards it, or
//    the camera sees the surface at less than 6 degrees (grazing),
//  - its pixel neighbourhood holds no usable value (background or NaN).
// A seen node takes the bilinear value of the four pixels around its point
// (pixel (i, j) centred on (i, j)); background and NaN pixels drop out and
// the weights of the others are renormalised.
#pragma once

#include <cstddef>
#include <vector>

#include "api/image.h"
#include "host/fieldData.h"
#include "resect/resectCoefficients.h"

namespace tamble {

// The bilinear value at (x, y) over those of the four pixels around it that
// are neither background nor NaN, their weights renormalised; false when
// none is usable. Pixel (i, j) is centred on (i, j).
bool maskedBilinear(const zel::image& img, double x, double y, double& value);

// Why nodes were skipped, and how many were seen.
struct samplingCounts {
  std::size_t nodes = 0;
  std::size_t seen = 0;
  std::size_t outside = 0;     // off the image or behind the camera
  std::size_t hidden = 0;      // behind a surface of the model
  std::size_t facingAway = 0;  // turned from the camera, or grazing
  std::size_t unusable = 0;    // only background or NaN pixels around
};

// The values of `img` at the nodes of `mesh`, per block and node, with
// zel::field_data<double>::missing for the nodes skipped. `projection` takes
// mesh coordinates to pixels. Rows of nodes run in parallel; the result does
// not depend on the number of threads.
samplingCounts sampleMesh(const zel::field_data<double>& mesh,
                          const cameraProjection& projection, const zel::image& img,
                          std::vector<std::vector<double>>& values);

}  // namespace tamble
