// The thinning of steep regions: on a border whose Prewitt gradient exceeds
// the threshold, each pixel moves toward the nearer extreme of its window.
#include <algorithm>
#include <cmath>
#include <vector>

#include "api/errors.h"
#include "api/parallel.h"
#include "filters/enhancement.h"
#include "filters/morphology.h"

namespace tamble {

void SteepThinning(filterField& field, const filterMask& bkgr, const filterMask& ROI, int nl,
                   float threshold, float power) {
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
  if (!(threshold >= 0.0f && threshold <= 1.0f)) return;
  const int W = field.width(), H = field.height(), R = nl / 2;
  float lo = 0, hi = 0;
  FieldMinMax(field, bkgr, ROI, lo, hi);
  // The gradient where the Prewitt window reaches; 0 (not steep) in the band
  // of R pixels along the edges and at blocked pixels.
  filterField Gm = field, direction(W, H);
  PrewittWindow(Gm, bkgr, ROI, direction, nl);
  auto valid = [&](int x, int y) { return !bkgr(x, y) && ROI(x, y); };
  auto reached = [&](int x, int y) {
    return valid(x, y) && x >= R && y >= R && x < W - R && y < H - R;
  };
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x)
      if (!reached(x, y)) Gm(x, y) = 0.0f;
  const float t = (hi - lo) * threshold + lo;
  const int need = (nl * nl) / 2;
  filterField out = field;
  zel::forEachRow(H, field.count, [&](int y) {
    for (int x = 0; x < W; ++x) {
      if (!reached(x, y) || !(Gm(x, y) > t)) continue;
      int count = 0;
      float mn = 0, mx = 0;
      for (int dy = -R; dy <= R; ++dy)
        for (int dx = -R; dx <= R; ++dx) {
          const int sx = x + dx, sy = y + dy;
          if (!valid(sx, sy) || !(Gm(sx, sy) > t)) continue;
          const float v = field(sx, sy);
          mn = count ? std::min(mn, v) : v;
          mx = count ? std::max(mx, v) : v;
          ++count;
        }
      const float v = field(x, y);
      if (count <= need || mx - mn < 1e-30f || !(mn < v && v < mx)) continue;
      const float b = (v - mn) / (mx - mn);
      const float e = b >= 0.5f ? 1.0f / power : power;
      out(x, y) = mn + std::pow(b, e) * (mx - mn);
    }
  });
  field = out;
}

}  // namespace tamble
