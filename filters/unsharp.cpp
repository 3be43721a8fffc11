// The limited unsharp mask. Passes over rows run in parallel; the ranges are
// taken per row and then over the rows in order.
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "api/errors.h"
#include "api/parallel.h"
#include "api/report.h"
#include "filters/enhancement.h"

namespace tamble {
namespace {

constexpr float inf = std::numeric_limits<float>::infinity();

struct range {
  float lo = inf, hi = -inf;
  void take(float v) {
    lo = std::min(lo, v);
    hi = std::max(hi, v);
  }
};

// rowFn(y, range&) over the rows in parallel, then the rows' ranges merged.
template <class RowFn>
range rowsInRange(int H, std::uint64_t pixels, RowFn&& rowFn) {
  std::vector<range> rows(H);
  zel::forEachRow(H, pixels, [&](int y) { rowFn(y, rows[y]); });
  range all;
  for (const range& r : rows) all.lo = std::min(all.lo, r.lo), all.hi = std::max(all.hi, r.hi);
  return all;
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
  auto valid = [&](std::size_t i) { return !bkgr.data[i] && ROI.data[i]; };
  auto eachValid = [&](int y, auto&& pixelFn) {
    const std::size_t at = static_cast<std::size_t>(y) * W;
    for (std::size_t i = at; i < at + W; ++i)
      if (valid(i)) pixelFn(i);
  };
  const range input = rowsInRange(H, field.count, [&](int y, range& r) {
    eachValid(y, [&](std::size_t i) { r.take(field.data[i]); });
  });
  filterField G = field, M(W, H);
  GaussSeparable(G, bkgr, ROI, 1, D);
  const float* f = field.data;
  const range sharp = rowsInRange(H, field.count, [&](int y, range& r) {
    const std::size_t at = static_cast<std::size_t>(y) * W;
    for (std::size_t i = at; i < at + W; ++i) {
      if (!valid(i)) {
        M.data[i] = f[i];
        continue;
      }
      M.data[i] = f[i] - G.data[i];
      G.data[i] = f[i] * a - b * G.data[i];
      r.take(G.data[i]);
    }
  });
  GaussSeparable(M, bkgr, ROI, 1, D);
  const float span = sharp.hi - (autoMinMax != 2 ? sharp.lo : 0.0f);
  if (!(span > 0.0f)) {
    zel::report().notice("Resulting RMin=RMax ? ...");
    return;
  }
  // R: the sharpened value where the blurred difference exceeds the
  // threshold, the input elsewhere.
  auto R = [&](std::size_t i) { return std::fabs(M.data[i]) > threshold ? G.data[i] : f[i]; };
  const range result = rowsInRange(H, field.count, [&](int y, range& r) {
    eachValid(y, [&](std::size_t i) { r.take(R(i)); });
  });
  const float ratio = (input.hi - input.lo) / (result.hi - result.lo);
  zel::forEachRow(H, field.count, [&](int y) {
    eachValid(y, [&](std::size_t i) {
      float v = R(i);
      if (autoMinMax == 1) v = (v - result.lo) * ratio;
      if (autoMinMax == 2) v = (v - result.lo) * ratio + input.lo;
      field.data[i] = (1.0f - fade) * field.data[i] + fade * v;
    });
  });
}

}  // namespace tamble
