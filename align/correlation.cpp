#include "align/correlation.h"

#include <algorithm>
#include <cmath>

#include "api/report.h"
#include "filters/circleFilters.h"
#include "filters/fft.h"
#include "geometry/transforms.h"

namespace tamble {
namespace {

void correlate(correlationField& first, const correlationField& second, int N, bool phase) {
  ComplexPlane a(2 * N * N), b(2 * N * N);
  const int dims[2] = {N, N};
  ImageToComplex(first, a, N);
  FFT2D(a, dims, 2, 1);
  ImageToComplex(second, b, N);
  FFT2D(b, dims, 2, 1);
  ComplexConjugate(b, N);
  if (phase)
    CNormData(a, b, N);
  else
    CMulData(a, b, N);
  FFT2D(a, dims, 2, -1);
  ComplexRealPart(a, first, N);
  quaterc(first, N);
}

// Both images windowed alike: 0 outside the circle, the weight held at 0
// or more inside.
void windowBoth(correlationField& P, correlationField& Q) {
  const radialWindow window(P.width(), P.height());
  for (int j = 0; j < P.height(); ++j)
    for (int i = 0; i < P.width(); ++i) {
      float b = 0.0f;
      if (window.inside(i, j, b)) {
        b = std::max(0.0f, b);
        P(i, j) *= b;
        Q(i, j) *= b;
      } else {
        P(i, j) = 0.0f;
        Q(i, j) = 0.0f;
      }
    }
}

void subtractMean(correlationField& image) {
  const float mean = plainMean(image);
  for (std::uint64_t i = 0; i < image.count; ++i) image.data[i] -= mean;
}

zel::arrayStore<bool, 2> filledMask(int W, int H, bool value) {
  zel::arrayStore<bool, 2> mask(W, H);
  mask.fill(value);
  return mask;
}

// The surface turned by half a circle, smoothed if asked, scaled to an
// absolute maximum of 1.
void finishSurface(correlationField& P, bool smooth) {
  const int W = P.width(), H = P.height();
  correlationField turned(W, H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) turned(x, y) = P(W - 1 - x, H - 1 - y);
  P = turned;
  if (smooth)
    GaussSeparable(P, filledMask(W, H, false), filledMask(W, H, true), 1, 5.001f);
  float largest = -1e30f;
  for (std::uint64_t i = 0; i < P.count; ++i) largest = std::max(largest, std::fabs(P.data[i]));
  const float scale = 1.0f / largest;
  for (std::uint64_t i = 0; i < P.count; ++i) P.data[i] *= scale;
}

}  // namespace

void CorrelatePhase(correlationField& first, const correlationField& second, int N) {
  correlate(first, second, N, true);
}

void CorrelateFull(correlationField& first, const correlationField& second, int N) {
  correlate(first, second, N, false);
}

void CrossCorrelation(const correlationField& first, const correlationField& second,
                      correlationField& result, bool phaseOnly, bool removeMean, bool window,
                      bool smooth, int& dx, int& dy) {
  if (!first.sameExtent(second) || !first.sameExtent(result)) {
    zel::report().notice(differentDimensions);
    return;
  }
  const int W = first.width(), H = first.height();
  correlationField P = first, Q = second;
  if (removeMean) {
    subtractMean(P);
    subtractMean(Q);
  }
  if (window) windowBoth(P, Q);
  const int N = powerOfTwoAbove(std::max(W, H));
  correlationField A = squareCanvas(P, N);
  const correlationField B = squareCanvas(Q, N);
  if (phaseOnly)
    CorrelatePhase(A, B, N);
  else
    CorrelateFull(A, B, N);
  fromCanvas(A, P);
  finishSurface(P, smooth);
  float best = -1e30f;
  int px = 0, py = 0;
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x)
      if (P(x, y) > best) {
        best = P(x, y);
        px = x;
        py = y;
      }
  dx = px - W / 2 + 1;
  dy = py - H / 2 + 1;
  std::copy(P.data, P.data + P.count, result.data);  // values only: `result` keeps its name
}

void correlationShift(const correlationField& surface, int dx, int dy, double& sx, double& sy) {
  const int W = surface.width(), H = surface.height();
  double x = 0.0, y = 0.0;
  BiCubic100(surface, W / 2 + dx - 1, H / 2 + dy - 1, x, y);
  sx = x - static_cast<float>(W / 2 - 1);
  sy = y - static_cast<float>(H / 2 - 1);
}

}  // namespace tamble
