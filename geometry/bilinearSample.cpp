#include <cmath>

#include "geometry/warp.h"

namespace tamble {

void BilinearSample(const zel::arrayStore<float, 2>& f, int W, int H, float x, float y,
                    float& value, bool& bad) {
  const float tix = std::trunc(x), tiy = std::trunc(y);
  if (!(tix >= 0.0f && tix <= static_cast<float>(W - 1) && tiy >= 0.0f &&
        tiy <= static_cast<float>(H - 1))) {
    value = 0.0f;
    bad = true;
    return;
  }
  bad = false;
  const int ix = static_cast<int>(tix), iy = static_cast<int>(tiy);
  const float tx = x - tix, ty = y - tiy;
  const bool lastColumn = ix == W - 1, lastRow = iy == H - 1;
  if (lastColumn && lastRow)
    value = f(ix, iy);
  else if (lastColumn)
    value = (1.0f - ty) * f(ix, iy) + ty * f(ix, iy + 1);
  else if (lastRow)
    value = (1.0f - tx) * f(ix, iy) + tx * f(ix + 1, iy);
  else
    value = (ty * f(ix, iy + 1) + (1.0f - ty) * f(ix, iy)) * (1.0f - tx) +
            (ty * f(ix + 1, iy + 1) + (1.0f - ty) * f(ix + 1, iy)) * tx;
}

}  // namespace tamble
