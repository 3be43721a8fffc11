// Sub-pixel position of a peak: the damped bicubic surface around a maximum
// pixel is sampled on a fine grid and its highest point taken.
#include <string>

#include "api/report.h"
#include "geometry/spline.h"
#include "geometry/transforms.h"

namespace tamble {
namespace {

struct searchGrid {
  float step;
  int count;  // positions per axis, spanning (ix - 1) to (ix + 1)
  const char* rowText;
  const char* columnText;
};

constexpr searchGrid grid40{0.05f, 41, "BiCubic40 : index jj out of range",
                            "BiCubic40 : index ii out of range"};
constexpr searchGrid grid100{0.02f, 101, "BiCubic100 : index jj out of range",
                             "BiCubic100 : index ii out of range"};

bool outside(int i, int n) { return i < 0 || i >= n; }

// Loads the 5 by 5 block centred on (cx, cy). A sample whose block reaches
// off the image is reported once: by its rows if they reach off, else by its
// columns. The cells off the image keep what the previous sample left.
void loadBlock(const fieldStore& field, int cx, int cy, const searchGrid& grid,
               float (&block)[5][5]) {
  const int w = field.width(), h = field.height();
  if (outside(cy - 2, h) || outside(cy + 2, h))
    zel::report().notice(grid.rowText);
  else if (outside(cx - 2, w) || outside(cx + 2, w))
    zel::report().notice(grid.columnText);
  for (int jj = 0; jj < 5; ++jj) {
    const int y = cy - 2 + jj;
    if (outside(y, h)) continue;
    for (int ii = 0; ii < 5; ++ii) {
      const int x = cx - 2 + ii;
      if (!outside(x, w)) block[jj][ii] = field(x, y);
    }
  }
}

// The first grid position of the highest mean of the two spline orders.
void search(const fieldStore& field, int ix, int iy, const searchGrid& grid, double& x, double& y) {
  float block[5][5] = {};
  float best = -1e30f;
  x = ix;
  y = iy;
  for (int j = 0; j < grid.count; ++j) {
    const float fy = static_cast<float>(j) * grid.step + static_cast<float>(iy - 1);
    const int cy = static_cast<int>(fy);
    for (int i = 0; i < grid.count; ++i) {
      const float fx = static_cast<float>(i) * grid.step + static_cast<float>(ix - 1);
      const int cx = static_cast<int>(fx);
      loadBlock(field, cx, cy, grid, block);
      float a = 0.0f, b = 0.0f;
      SplineBlock(fx - static_cast<float>(cx - 2), fy - static_cast<float>(cy - 2), block, a, b);
      const float mean = (a + b) * 0.5f;
      if (mean > best) {
        best = mean;
        x = fx;
        y = fy;
      }
    }
  }
}

}  // namespace

void BiCubic40(const fieldStore& field, int ix, int iy, double& x, double& y) {
  search(field, ix, iy, grid40, x, y);
}

void BiCubic100(const fieldStore& field, int ix, int iy, double& x, double& y) {
  search(field, ix, iy, grid100, x, y);
}

}  // namespace tamble
