// The separable Gauss filter. Each pass runs across a whole row with the taps
// in order, so every pixel sums its terms in the same order as one pixel at a
// time would, and the rows are independent.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

#include "api/parallel.h"
#include "filters/circleFilters.h"
#include "filters/circleWork.h"

namespace tamble {
namespace {

// The taps k[-R..R], stored from index 0.
std::vector<float> gaussTaps(float D) {
  int L = 0;
  double limit = 0.0;
  const float half = D / 2.0f;
  const double q = static_cast<double>(half) * half;
  if (D <= 3.0f) {
    L = static_cast<int>(std::trunc(3.0f * D + 0.5));
    limit = std::max(4.0, 9.0 * q);
  } else if (D <= 7.0f) {
    L = static_cast<int>(std::trunc(2.0f * D + 0.5));
    limit = std::max(4.0, 4.0 * q);
  } else {
    L = static_cast<int>(std::trunc(D + 0.5));
    limit = q;
  }
  const int R = std::max(L / 2, 2);
  std::vector<float> k(2 * R + 1);
  for (int t = -R; t <= R; ++t) {
    const float u = static_cast<float>(t) / half;
    k[t + R] = limit >= static_cast<double>(t) * t ? std::exp(-(u * u)) : 0.0f;
  }
  return k;
}

// One output row from the weighted sums: the mean where the weights carry,
// else the pixel keeps its value.
void finishRow(const float* s, const float* sw, const float* before, const std::uint8_t* blk,
               float* out, int W) {
  for (int x = 0; x < W; ++x) {
    if (blk[x]) continue;
    const float mean = s[x] / sw[x];
    out[x] = sw[x] > 1e-10 && std::fabs(mean) < 1e20 ? mean : before[x];
  }
}

// Adds k*in[x + shift] over the x whose sample lies in the row and is valid.
void addTap(float k, const float* in, const std::uint8_t* blk, int shift, int W, float* s,
            float* sw) {
  const int x0 = std::max(0, -shift), x1 = std::min(W, W - shift);
  // Adding +0 for a blocked sample leaves the sums' bits as they were: they
  // start at +0 and never become -0. The select keeps the loop branch-free.
  const std::uint32_t kBits = std::bit_cast<std::uint32_t>(k);
  for (int x = x0; x < x1; ++x) {
    // All ones for a valid sample, zero for a blocked one: a select by bits.
    const std::uint32_t keep = 0u - static_cast<std::uint32_t>(blk[x + shift] == 0);
    const float term = k * in[x + shift];
    s[x] += std::bit_cast<float>(std::bit_cast<std::uint32_t>(term) & keep);
    sw[x] += std::bit_cast<float>(kBits & keep);
  }
}

void verticalPass(const std::vector<float>& B, std::vector<float>& A,
                  const std::vector<std::uint8_t>& blocked, const std::vector<float>& k, int W,
                  int H) {
  const int R = static_cast<int>(k.size()) / 2;
  zel::forEachRow(H, B.size(), [&](int y) {
    thread_local std::vector<float> s, sw;  // reused row after row
    s.assign(W, 0.0f);
    sw.assign(W, 0.0f);
    for (int t = -R; t <= R; ++t) {
      if (y + t < 0 || y + t >= H) continue;
      const std::size_t at = static_cast<std::size_t>(y + t) * W;
      addTap(k[t + R], B.data() + at, blocked.data() + at, 0, W, s.data(), sw.data());
    }
    const std::size_t at = static_cast<std::size_t>(y) * W;
    finishRow(s.data(), sw.data(), B.data() + at, blocked.data() + at, A.data() + at, W);
  });
}

void horizontalPass(const std::vector<float>& B, std::vector<float>& A,
                    const std::vector<std::uint8_t>& blocked, const std::vector<float>& k, int W,
                    int H) {
  const int R = static_cast<int>(k.size()) / 2;
  zel::forEachRow(H, B.size(), [&](int y) {
    thread_local std::vector<float> s, sw;
    s.assign(W, 0.0f);
    sw.assign(W, 0.0f);
    const std::size_t at = static_cast<std::size_t>(y) * W;
    for (int t = -R; t <= R; ++t)
      addTap(k[t + R], B.data() + at, blocked.data() + at, t, W, s.data(), sw.data());
    finishRow(s.data(), sw.data(), B.data() + at, blocked.data() + at, A.data() + at, W);
  });
}

}  // namespace

void GaussSeparable(filterField& field, filterMask& bkgr, filterMask& ROI, int iterations,
                    float diameter) {
  if (iterations < 1) return;
  if (!field.sameExtent(bkgr)) zel::raise<zel::DimError>();
  const int W = field.width(), H = field.height();
  const std::vector<float> k = gaussTaps(diameter);
  const std::vector<std::uint8_t> blocked = circle::blockedMap(bkgr, ROI);
  std::vector<float> A(field.count), B(field.count);
  for (int pass = 0; pass < iterations; ++pass) {
    std::copy(field.data, field.data + field.count, A.begin());
    B = A;
    verticalPass(B, A, blocked, k, W, H);
    B = A;
    horizontalPass(B, A, blocked, k, W, H);
    std::copy(A.begin(), A.end(), field.data);
  }
}

void FieldMinMax(const filterField& field, const filterMask& bkgr, const filterMask& ROI,
                 float& min, float& max) {
  min = 1e30f;
  max = -1e30f;
  bool any = false;
  for (std::size_t i = 0; i < field.count; ++i) {
    if (bkgr.data[i] || !ROI.data[i]) continue;
    any = true;
    min = std::min(min, field.data[i]);
    max = std::max(max, field.data[i]);
  }
  if (!any) min = max = 0.0f;
}

}  // namespace tamble
