#include "filters/spectra.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "api/report.h"
#include "filters/circleFilters.h"
#include "geometry/warp.h"

namespace tamble {

namespace {

void subtract(spectrumField& image, float value) {
  for (std::uint64_t i = 0; i < image.count; ++i) image.data[i] -= value;
}

// The radial Blackman window; weights below 0 count as 0.
void applyWindow(spectrumField& image) {
  const radialWindow window(image.width(), image.height());
  for (int j = 0; j < image.height(); ++j) {
    float* row = image.row(j);
    for (int i = 0; i < image.width(); ++i) {
      float b = 0.0f;
      if (!window.inside(i, j, b))
        row[i] = 0.0f;
      else
        row[i] *= b < 0.0f ? 0.0f : b;
    }
  }
}

struct span {
  float lo = 1e30f, hi = -1e30f;
};

span spanOf(const spectrumField& field) {
  span s;
  for (std::uint64_t i = 0; i < field.count; ++i) {
    s.lo = std::min(s.lo, field.data[i]);
    s.hi = std::max(s.hi, field.data[i]);
  }
  return s;
}

// The frame of the amplitude transforms around `step` on the work image.
template <class Step>
void amplitudeFrame(spectrumField& field, const spectrumMask& bkgr, const spectrumMask& ROI,
                    Step step) {
  const span before = spanOf(field);
  const float range = before.hi - before.lo;
  const int S = std::max(field.width(), field.height());
  const int N = powerOfTwoAbove(S);
  spectrumField work = squareCanvas(field, N);
  step(work, N);
  const int ox = (N - field.width()) / 2, oy = (N - field.height()) / 2;
  for (int y = 0; y < field.height(); ++y)
    for (int x = 0; x < field.width(); ++x)
      if (!bkgr(x, y) && ROI(x, y)) field(x, y) = work(x + ox, y + oy);
  const span after = spanOf(field);
  const float range2 = after.hi - after.lo;
  for (std::uint64_t i = 0; i < field.count; ++i)
    field.data[i] = (field.data[i] - after.lo) * range / range2 + before.lo;
}

}  // namespace

void SpectrumImage(spectrumField& field, bool removeMean, bool window, bool logOutput) {
  spectrumField A = field;
  if (removeMean) subtract(A, plainMean(A));
  if (window) applyWindow(A);
  const int N = powerOfTwoAbove(std::max(A.width(), A.height()));
  spectrumField B = squareCanvas(A, N);
  Spectrum2D(B, N);
  fromCanvas(B, A);
  float mx = -1e30f;
  for (std::uint64_t i = 0; i < A.count; ++i) {
    if (A.data[i] < 0.0f) A.data[i] = 0.0f;
    mx = std::max(mx, A.data[i]);
  }
  const float scale = 1.0f / mx;
  for (std::uint64_t i = 0; i < A.count; ++i) {
    A.data[i] *= scale;
    if (logOutput) A.data[i] = 20.0f * std::log10(std::max(A.data[i], 0.00001f));
  }
  std::copy(A.data, A.data + A.count, field.data);
}

void PolarLogMap(spectrumField& field, spectrumMask& bkgr) {
  const int W = field.width(), H = field.height();
  const int cx = W / 2, cy = H / 2;
  const int Rmax = std::min(W, H) / 2 - 1;
  const float L = std::log(static_cast<float>(Rmax)) + 1.0f;
  bkgr.fill(true);
  spectrumField buffer(W, H);
  buffer.fill(0.0f);
  for (int r = 0; r < H; ++r) {
    const float ratio = static_cast<float>(r) / static_cast<float>(H - 1);
    const double rho = std::exp(static_cast<double>(ratio * L) - 1.0);
    if (rho > Rmax) continue;
    for (int c = 0; c < W; ++c) {
      const float t = static_cast<float>(c) * 3.1415927f / static_cast<float>(W);
      const double x = std::cos(t) * rho + cx, y = std::sin(t) * rho + cy;
      bool bad = false;
      BilinearSample(field, W, H, static_cast<float>(x), static_cast<float>(y), buffer(c, r), bad);
      bkgr(c, r) = bad;
    }
  }
  float lowest = 1e30f;
  for (std::uint64_t i = 0; i < field.count; ++i) lowest = std::min(lowest, buffer.data[i]);
  for (std::uint64_t i = 0; i < field.count; ++i)
    field.data[i] = bkgr.data[i] ? lowest : buffer.data[i];
}

void WhitenSpectrum(spectrumField& work, int N, float p) {
  ComplexPlane data(2 * N * N);
  ImageToComplex(work, data, N);
  const int dims[2] = {N, N};
  FFT2D(data, dims, 2, 1);
  for (std::uint64_t i = 0; i + 1 < data.count; i += 2) {
    const float re = data.data[i], im = data.data[i + 1];
    const float divisor = std::max(std::pow(std::sqrt(re * re + im * im), p), 1e-30f);
    data.data[i] = re / divisor;
    data.data[i + 1] = im / divisor;
  }
  FFT2D(data, dims, 2, -1);
  ComplexRealPart(data, work, N);
}

void ForMcClellan(ComplexPlane& data, int N, float p) {
  if (N < 1) return;
  for (std::uint64_t i = 0; i + 1 < data.count; i += 2) {
    const float x = data.data[i], y = data.data[i + 1];
    const float base = std::sqrt(y * y + x * x);
    float phase = 0.0f;
    if (x == 0.0f && y == 0.0f)
      zel::report().notice("ForMcClellan: Zero Phase!");
    else
      phase = std::atan2(y, x);
    const float a = std::pow(base, p);
    data.data[i] = std::cos(phase) * a;
    data.data[i + 1] = std::sin(phase) * a;
  }
}

void McClellanSpectrum(spectrumField& work, int N, float p) {
  ComplexPlane data(2 * N * N);
  ImageToComplex(work, data, N);
  const int dims[2] = {N, N};
  FFT2D(data, dims, 2, 1);
  ForMcClellan(data, N, p);
  FFT2D(data, dims, 2, -1);
  ComplexRealPart(data, work, N);
}

void Whiten(spectrumField& field, const spectrumMask& bkgr, const spectrumMask& ROI, float p) {
  amplitudeFrame(field, bkgr, ROI, [p](spectrumField& work, int N) { WhitenSpectrum(work, N, p); });
}

void McClellanTransform(spectrumField& field, const spectrumMask& bkgr, const spectrumMask& ROI,
                        float p) {
  const int S = std::max(field.width(), field.height());
  zel::report().notice("Original  Space Span=" + std::to_string(S) +
                       "\nResulting Space Span=" + std::to_string(powerOfTwoAbove(S)));
  amplitudeFrame(field, bkgr, ROI,
                 [p](spectrumField& work, int N) { McClellanSpectrum(work, N, p); });
}

void PhaseOnlyRetrieve(spectrumField& field, spectrumMask& bkgr, spectrumMask& ROI) {
  bkgr.fill(false);
  ROI.fill(true);
  subtract(field, plainMean(field));
  Whiten(field, bkgr, ROI, 1.0f);
  GaussSeparable(field, bkgr, ROI, 1, 3.001f);
  subtract(field, plainMean(field));
}

}  // namespace tamble
