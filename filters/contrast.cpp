// The nonlinear contrast and the histogram/plateau equalisation.
#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <vector>

#include "api/errors.h"
#include "api/parallel.h"
#include "api/report.h"
#include "filters/enhancement.h"

namespace tamble {

void NonlinearContrast(filterField& field, const filterMask& bkgr, const filterMask& ROI,
                       float power) {
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
  auto valid = [&](std::size_t i) { return !bkgr.data[i] && ROI.data[i]; };
  float mx = -1e30f;
  for (std::size_t i = 0; i < field.count; ++i)
    if (valid(i) && field.data[i] > mx) mx = field.data[i];
  if (!(mx > 0.0f)) {
    zel::report().notice("Image is Absent or Negative");
    return;
  }
  const int W = field.width();
  zel::forEachRow(field.height(), field.count, [&](int y) {
    const std::size_t at = static_cast<std::size_t>(y) * W;
    for (std::size_t i = at; i < at + W; ++i)
      if (valid(i)) field.data[i] = std::pow(field.data[i] / mx, power) * mx;
  });
}

namespace {

// The uniform generator of the random choice: s <- s*16807 mod (2^31 - 1).
struct uniformDraws {
  double s;
  double next() {
    s = std::fmod(s * 16807.0, 2147483647.0);
    return s * 4.656612873077393e-10;
  }
};

// Each level's output span [L, R] by the classic two-boundaries scheme: the
// output level climbs by one for every `avg` pixels walked.
struct levelSpans {
  std::array<int, 256> L{}, R{};
  levelSpans(const std::array<double, 256>& hist, double avg) {
    double sum = 0;
    int z = 0;
    for (int j = 0; j < 256; ++j) {
      L[j] = z;
      sum += hist[j];
      while (sum > avg) {
        sum -= avg;
        ++z;
      }
      R[j] = z;
    }
  }
};

int clampLevel(long v) { return static_cast<int>(std::clamp(v, 0L, 255L)); }

}  // namespace

void WeightedHybridMap(filterField& field, const filterMask& bkgr, const filterMask& ROI, int method,
                       float fade) {
  WeightedHybridMap(field, bkgr, ROI, method, fade, static_cast<double>(std::time(nullptr)));
}

void WeightedHybridMap(filterField& field, const filterMask& bkgr, const filterMask& ROI, int method,
                       float fade, double seed) {
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
  const int W = field.width(), H = field.height();
  auto valid = [&](std::size_t i) { return !bkgr.data[i] && ROI.data[i]; };
  float lo = 0, hi = 0;
  FieldMinMax(field, bkgr, ROI, lo, hi);
  // A flat image (or none valid) has nothing to equalise.
  if (!(hi - lo > 0.0f)) return;
  const float span = hi - lo;
  std::vector<int> I(field.count);
  std::array<double, 256> hist{};
  double count = 0;
  for (std::size_t i = 0; i < field.count; ++i) {
    const float t = std::trunc((field.data[i] - lo) * 255.0f / span);
    I[i] = t > 0 ? (t < 255 ? static_cast<int>(t) : 255) : 0;
    if (valid(i)) hist[I[i]] += 1, count += 1;
  }
  const levelSpans spans(hist, count / 256.0);
  uniformDraws draws{seed};
  if (method == 2) {
    const double r = draws.next();
    const double skip = std::trunc(std::sqrt(static_cast<double>(W) * H) * (r + 1.0) + 0.5);
    for (double k = 0; k < skip; ++k) draws.next();
  }
  // Each valid pixel of the interior takes its equalised level; the others
  // keep their own. The random choice draws in row order.
  std::vector<int> out = I;
  auto equalised = [&](int x, int y) {
    const std::size_t i = static_cast<std::size_t>(y) * W + x;
    const int j = I[i], L = spans.L[j], R = spans.R[j];
    if (L == R) return clampLevel(L);
    if (method == 1) return clampLevel((L + R) / 2);
    if (method == 2) return clampLevel(static_cast<long>(std::trunc((R - L) * draws.next())) + L);
    long sum = 0;
    for (int dy = -1; dy <= 1; ++dy)
      for (int dx = -1; dx <= 1; ++dx)
        if (dx || dy) sum += I[static_cast<std::size_t>(y + dy) * W + x + dx];
    return std::clamp(clampLevel(sum / 8), std::min(L, 255), std::min(R, 255));
  };
  auto equaliseRow = [&](int y) {
    if (y < 1 || y > H - 2) return;
    for (int x = 1; x < W - 1; ++x)
      if (valid(static_cast<std::size_t>(y) * W + x)) out[static_cast<std::size_t>(y) * W + x] = equalised(x, y);
  };
  if (method == 2)
    for (int y = 0; y < H; ++y) equaliseRow(y);
  else
    zel::forEachRow(H, field.count, equaliseRow);
  // The input's place in its span and the equalised level, mixed by fade
  // and put back into the span.
  zel::forEachRow(H, field.count, [&](int y) {
    const std::size_t at = static_cast<std::size_t>(y) * W;
    for (std::size_t i = at; i < at + W; ++i) {
      if (!valid(i)) continue;
      const float N = (field.data[i] - lo) / span;
      const float mixed = (1.0f - fade) * N + fade * (static_cast<float>(out[i]) / 255.0f);
      field.data[i] = lo + mixed * span;
    }
  });
}

}  // namespace tamble
