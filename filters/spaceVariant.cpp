// The space-variant enhancement: a Laplacian weighted by the local gradient,
// and the separable Mexican-hat Laplacian behind its "WaveLet" kind.
#include <algorithm>
#include <cmath>
#include <vector>

#include "api/errors.h"
#include "api/parallel.h"
#include "api/report.h"
#include "filters/enhancement.h"

namespace tamble {
namespace {

bool blocked(const filterMask& bkgr, const filterMask& ROI, std::size_t i) {
  return bkgr.data[i] || !ROI.data[i];
}

// out = taps along x (alongRows) or y, a blocked or outside sample taking
// the centre's value; every pixel is computed.
void convolve(const filterField& in, const filterMask& bkgr, const filterMask& ROI,
              const std::vector<float>& taps, bool alongRows, filterField& out) {
  const int W = in.width(), H = in.height(), R = static_cast<int>(taps.size()) / 2;
  zel::forEachRow(H, in.count, [&](int y) {
    for (int x = 0; x < W; ++x) {
      const float centre = in(x, y);
      float s = 0.0f;
      for (int t = -R; t <= R; ++t) {
        const int sx = alongRows ? x + t : x, sy = alongRows ? y : y + t;
        const bool outside = sx < 0 || sy < 0 || sx >= W || sy >= H;
        const float v = outside || blocked(bkgr, ROI, static_cast<std::size_t>(sy) * W + sx)
                            ? centre
                            : in(sx, sy);
        s += taps[t + R] * v;
      }
      out(x, y) = s;
    }
  });
}

// False (with its notice) when the taps of nll are too short to hold both
// lobes of the wavelet.
bool convLaplace(filterField& work, const filterMask& bkgr, const filterMask& ROI, int nll) {
  if (nll < 5) {
    zel::report().notice("ConvLaplace: NLI < 5 , Procedure is Canceled");
    return false;
  }
  const int R = nll / 2, K = 2 * R + 1;
  const float root2 = std::sqrt(2.0f);
  const float k = static_cast<float>(R) * 0.5f / root2;
  const float c = 1.0f / (root2 * k * 5.0f / static_cast<float>(K));
  std::vector<float> A(K), B(K);
  float positive = 0.0f, negative = 0.0f;
  for (int t = -R; t <= R; ++t) {
    const float u = static_cast<float>(t) * c;
    A[t + R] = std::exp(-(u * u) / (2.0f * k * k)) / (k * k);
    B[t + R] = (k * k - u * u) * A[t + R];
    (B[t + R] > 0 ? positive : negative) += B[t + R];
  }
  if (positive < 1e-6f || !(negative < -1e-6f)) {
    zel::report().notice("ConvLaplace: Too short WaveLet Filter, Procedure Canceled");
    return false;
  }
  float sumA = 0.0f, sumB = 0.0f;
  for (int i = 0; i < K; ++i) sumA += A[i], sumB += B[i];
  const float meanB = sumB / static_cast<float>(K);
  float positiveB = 0.0f;
  for (int i = 0; i < K; ++i) {
    A[i] /= sumA;
    B[i] -= meanB;
    if (B[i] > 0) positiveB += B[i];
  }
  const float inverse = 1.0f / positiveB;
  for (float& tap : B) tap *= inverse;
  const int W = work.width(), H = work.height();
  filterField across(W, H), r1(W, H), r2(W, H);
  convolve(work, bkgr, ROI, B, true, across);
  convolve(across, bkgr, ROI, A, false, r1);
  convolve(work, bkgr, ROI, A, true, across);
  convolve(across, bkgr, ROI, B, false, r2);
  zel::forEachRow(H, work.count, [&](int y) {
    for (int x = 0; x < W; ++x)
      if (!blocked(bkgr, ROI, static_cast<std::size_t>(y) * W + x))
        work(x, y) = (r1(x, y) + r2(x, y)) * 0.5f;
  });
  return true;
}

// The Laplacians of kinds 1 to 3 at (x, y), neighbours in row order.
float laplacian(const filterField& f, int x, int y, int kind) {
  const float c = f(x, y);
  const float nw = f(x - 1, y - 1), n = f(x, y - 1), ne = f(x + 1, y - 1);
  const float w = f(x - 1, y), e = f(x + 1, y);
  const float sw = f(x - 1, y + 1), s = f(x, y + 1), se = f(x + 1, y + 1);
  switch (kind) {
    case 1: return 8.0f * c - nw - n - ne - w - e - sw - s - se;
    case 2: return 4.0f * c - nw - ne - sw - se;
    default: return 4.0f * c - n - w - e - s;
  }
}

float sobel(const filterField& f, int x, int y) {
  const float nw = f(x - 1, y - 1), n = f(x, y - 1), ne = f(x + 1, y - 1);
  const float w = f(x - 1, y), e = f(x + 1, y);
  const float sw = f(x - 1, y + 1), s = f(x, y + 1), se = f(x + 1, y + 1);
  const float gx = ne + 2.0f * e + se - (nw + 2.0f * w + sw);
  const float gy = nw + 2.0f * n + ne - (sw + 2.0f * s + se);
  return std::sqrt(gx * gx + gy * gy);
}

}  // namespace

void ConvLaplace(filterField& work, const filterMask& bkgr, const filterMask& ROI, int nll) {
  if (!work.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
  convLaplace(work, bkgr, ROI, nll);
}

void DIP1Enhancement(filterField& field, const filterMask& bkgr, const filterMask& ROI, int kind,
                     int nll, int nlg, float scale, float fade) {
  if (!field.sameExtent(bkgr) || !bkgr.sameExtent(ROI)) zel::raise<zel::DimError>();
  const char* refusal = nll < 5 ? "DIP1Enhancement: NLL < 5 , Procedure is Canceled"
                        : kind < 1 || kind > 4
                            ? "DIP1Enhancement: Enhancement Module Incorrect Kind, Procedure is Canceled"
                        : scale < 0.000001f
                            ? "DIP1Enhancement: Too Small Scale ( < 0.000001 ), Procedure is Canceled"
                        : scale > 1e6f
                            ? "DIP1Enhancement: Too Big Scale ( > 1.000.000 ), Procedure is Canceled"
                            : nullptr;
  if (refusal) {
    zel::report().notice(refusal);
    return;
  }
  const int W = field.width(), H = field.height();
  auto valid = [&](int x, int y) { return !blocked(bkgr, ROI, static_cast<std::size_t>(y) * W + x); };
  auto interior = [&](int x, int y) { return x > 0 && y > 0 && x < W - 1 && y < H - 1; };
  filterField L(W, H), S(W, H);
  L.fill(0.0f);
  S.fill(0.0f);
  if (kind == 4) {
    for (std::size_t i = 0; i < field.count; ++i)
      if (!blocked(bkgr, ROI, i)) L.data[i] = field.data[i];
    if (!convLaplace(L, bkgr, ROI, nll)) return;
  }
  std::vector<float> rowTop(H, 0.0f);
  zel::forEachRow(H, field.count, [&](int y) {
    for (int x = 0; x < W; ++x) {
      if (!valid(x, y) || !interior(x, y)) continue;
      if (kind != 4) L(x, y) = laplacian(field, x, y, kind);
      const float g = sobel(field, x, y);
      rowTop[y] = std::max(rowTop[y], g);
      S(x, y) = g / scale;
    }
  });
  if (!(*std::max_element(rowTop.begin(), rowTop.end()) > 0.0f)) {
    zel::report().notice("DIP1Enhancement: Sobel Gradient <= 0.0 , Procedure is Canceled");
    return;
  }
  if (nlg >= 1) GaussSeparable(S, bkgr, ROI, 1, static_cast<float>(nlg));
  zel::forEachRow(H, field.count, [&](int y) {
    for (int x = 0; x < W; ++x)
      if (valid(x, y)) field(x, y) = fade * (L(x, y) * S(x, y)) + field(x, y);
  });
}

}  // namespace tamble
