#include "align/displacementTable.h"

#include <cstdio>

#include "host/atomicFile.h"

namespace tamble {

displacementMap polynomialDisplacement(const polynomialState& map) {
  return [map](double x, double y, double& u, double& v) {
    const mappedPoint p = mapPoint(map.forwardX, map.forwardY, map.order, x, y);
    u = p.x;
    v = p.y;
    return true;
  };
}

void writeDisplacementTable(const std::string& path, int width, int height, int cell, int step,
                            const displacementMap& source) {
  writeAtomically(path, [&](std::FILE* out) {
    if (std::fprintf(out, "# x y dx dy: cell %d, step %d, image %d x %d (pixels)\n", cell, step,
                     width, height) < 0)
      return false;
    const double half = cell * 0.5;
    for (double y = half; y + half <= height; y += step)
      for (double x = half; x + half <= width; x += step) {
        double u = 0.0, v = 0.0;
        if (!source(x, y, u, v)) continue;
        if (std::fprintf(out, "%.1f %.1f %.4f %.4f\n", x, y, u - x, v - y) < 0) return false;
      }
    return true;
  });
}

}  // namespace tamble
