// The limited unsharp mask. Passes over rows run in parallel, each row
// without branches over its pixels; the ranges are taken per row and then
// over the rows in order, as one fold over the image would take them. The
// range of the result and of the input are only taken where the output
// needs them (autoMinMax 1 and 2).
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "api/errors.h"
#include "api/parallel.h"
#include "api/report.h"
#include "filters/circleWork.h"
#include "filters/enhancement.h"

namespace tamble {
namespace {

struct range {
  float lo = 1e30f, hi = -1e30f;
  bool any = false;
};

// The rows' ranges of the plane that rowFn(y) leaves, merged in order.
template <class RowFn>
range rowsInRange(const filterField& plane, const filterMask& bkgr, const filterMask& ROI,
                  RowFn&& rowFn) {
  const int W = plane.width(), H = plane.height();
  std::vector<range> rows(H);
  zel::forEachRow(H, plane.count, [&](int y) {
    rowFn(y);
    circle::validRowRange(plane.row(y), bkgr.row(y), ROI.row(y), W, rows[y].lo, rows[y].hi,
                          rows[y].any);
  });
  range all;
  for (const range& r : rows) {
    if (!r.any) continue;
    all.any = true;
    all.lo = std::min(all.lo, r.lo);
    all.hi = std::max(all.hi, r.hi);
  }
  return all;
}

// At valid pixels M = f - G and G = f*a - b*G; blocked ones keep G and take
// f into M (never read).
TAMBLE_CLONES void sharpenRow(const float* f, float* __restrict G, float* __restrict M,
                              const bool* bkgr, const bool* ROI, float a, float b, int W) {
  for (int x = 0; x < W; ++x) {
    const bool valid = !bkgr[x] && ROI[x];
    const float g = G[x];
    M[x] = valid ? f[x] - g : f[x];
    G[x] = valid ? f[x] * a - b * g : g;
  }
}

// R: the sharpened value where the blurred difference exceeds the
// threshold, the input elsewhere; written over M (R and M may be one row).
TAMBLE_CLONES void limitRow(const float* f, const float* G, const float* M, float threshold,
                            float* R, int W) {
  for (int x = 0; x < W; ++x) R[x] = std::fabs(M[x]) > threshold ? G[x] : f[x];
}

// f = (1 - fade)*f + fade*R' at valid pixels, R' by autoMinMax.
TAMBLE_CLONES void fadeRow(float* __restrict f, const float* R, const bool* bkgr, const bool* ROI,
                           int autoMinMax, float rlo, float ratio, float lo, float fade, int W) {
  for (int x = 0; x < W; ++x) {
    float v = R[x];
    if (autoMinMax == 1) v = (v - rlo) * ratio;
    if (autoMinMax == 2) v = (v - rlo) * ratio + lo;
    const float mixed = (1.0f - fade) * f[x] + fade * v;
    f[x] = !bkgr[x] && ROI[x] ? mixed : f[x];
  }
}

}  // namespace

void UnSharpMask(filterField& field, const filterMask& bkgr, const filterMask& ROI, int diameter,
                 float a, float b, bool forceB, int autoMinMax, float threshold, float fade) {
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
  if (diameter % 2 == 0) ++diameter;
  if (forceB) b = a - 1.0f;
  if (b >= a) {
    zel::report().notice("A must be greater than B !");
    return;
  }
  if (autoMinMax < 0 || autoMinMax > 2) {
    zel::report().notice("AutoMinMax must be 0, 1, 2 only!");
    return;
  }
  const int W = field.width(), H = field.height();
  const float D = static_cast<float>(diameter);
  filterField G = field, M(W, H);
  GaussSeparable(G, bkgr, ROI, 1, D);
  const range sharp = rowsInRange(G, bkgr, ROI, [&](int y) {
    sharpenRow(field.row(y), G.row(y), M.row(y), bkgr.row(y), ROI.row(y), a, b, W);
  });
  GaussSeparable(M, bkgr, ROI, 1, D);
  const float minG = sharp.any ? sharp.lo : 1e30f, maxG = sharp.any ? sharp.hi : -1e30f;
  const float span = maxG - (autoMinMax != 2 ? minG : 0.0f);
  if (!(span > 0.0f)) {
    zel::report().notice("Resulting RMin=RMax ? ...");
    return;
  }
  // R goes into M, which is not read again.
  float lo = 0, hi = 0, rlo = 0, ratio = 1;
  if (autoMinMax != 0) {
    FieldMinMax(field, bkgr, ROI, lo, hi);
    const range result = rowsInRange(M, bkgr, ROI, [&](int y) {
      limitRow(field.row(y), G.row(y), M.row(y), threshold, M.row(y), W);
    });
    rlo = result.lo;
    ratio = (hi - lo) / (result.hi - result.lo);
  } else {
    zel::forEachRow(H, field.count, [&](int y) {
      limitRow(field.row(y), G.row(y), M.row(y), threshold, M.row(y), W);
      fadeRow(field.row(y), M.row(y), bkgr.row(y), ROI.row(y), 0, 0, 1, 0, fade, W);
    });
    return;
  }
  zel::forEachRow(H, field.count, [&](int y) {
    fadeRow(field.row(y), M.row(y), bkgr.row(y), ROI.row(y), autoMinMax, rlo, ratio, lo, fade, W);
  });
}

}  // namespace tamble
