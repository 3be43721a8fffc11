// The two-dimensional transform: bit reversal, then Danielson-Lanczos
// butterflies of doubling length, first along every row, then along every
// column. Each butterfly is the classic one,
//   t = w * b;  b = a - t;  a = a + t,
// in floats, with w taken from a recurrence in doubles that starts at 1 for
// every length. Only the order in which memory is walked differs from the
// textbook loop: a block of lines is gathered into split real and imaginary
// buffers (bit-reversed on the way), transformed side by side so that one
// twiddle serves the whole block in vector lanes, and scattered back. Every
// value sees the same operations in the same order, so the bits are those of
// the plain loop, and the blocks, being independent, run in parallel.
#include "filters/fft.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "api/errors.h"
#include "api/parallel.h"
#include "api/report.h"

namespace tamble {

int powerOfTwoAbove(int size) {
  int n = 1;
  while (n < size && n < (1 << 30)) n *= 2;
  return n;
}

namespace {

bool isPowerOfTwo(int n) { return n > 0 && (n & (n - 1)) == 0; }

// The twiddles of all butterfly lengths 2, 4, ..., n, each length's run of
// n/2 ... values starting at offset len/2 - 1, as floats.
struct twiddleTable {
  std::vector<float> re, im;
  twiddleTable(int n, int sign) {
    for (int len = 2; len <= n; len *= 2) {
      const double theta = sign * 6.28318530717959 / len;
      const double half = std::sin(0.5 * theta);
      const double wpr = -2.0 * half * half;
      const double wpi = std::sin(theta);
      double wr = 1.0, wi = 0.0;
      for (int m = 0; m < len / 2; ++m) {
        re.push_back(static_cast<float>(wr));
        im.push_back(static_cast<float>(wi));
        const double old = wr;
        wr += wr * wpr - wi * wpi;
        wi += wi * wpr + old * wpi;
      }
    }
  }
};

std::vector<int> bitReversal(int n) {
  std::vector<int> rev(static_cast<std::size_t>(n), 0);
  int bits = 0;
  while ((1 << bits) < n) ++bits;
  for (int k = 0; k < n; ++k) {
    int r = 0;
    for (int b = 0; b < bits; ++b) r |= ((k >> b) & 1) << (bits - 1 - b);
    rev[static_cast<std::size_t>(k)] = r;
  }
  return rev;
}

// The butterfly lengths 2 half for half in [from, to) over `count` values
// of `lanes` lines each, stored as re[k * lanes + lane]. Built for wider
// vectors too: the lanes only multiply, add and subtract (never fused:
// -ffp-contract=off), so every width gives the same bits.
__attribute__((target_clones("avx512f", "avx2", "default"))) void stages(
    float* __restrict re, float* __restrict im, int count, int lanes, const twiddleTable& tw,
    int from, int to) {
  for (int half = from; half < to; half *= 2) {
    const float* wre = tw.re.data() + (half - 1);
    const float* wim = tw.im.data() + (half - 1);
    for (int m = 0; m < half; ++m) {
      const float wr = wre[m], wi = wim[m];
      for (int s = m; s < count; s += 2 * half) {
        float* __restrict r1 = re + static_cast<std::ptrdiff_t>(s) * lanes;
        float* __restrict i1 = im + static_cast<std::ptrdiff_t>(s) * lanes;
        float* __restrict r2 = r1 + static_cast<std::ptrdiff_t>(half) * lanes;
        float* __restrict i2 = i1 + static_cast<std::ptrdiff_t>(half) * lanes;
        for (int b = 0; b < lanes; ++b) {
          const float tr = wr * r2[b] - wi * i2[b];
          const float ti = wr * i2[b] + wi * r2[b];
          r2[b] = r1[b] - tr;
          i2[b] = i1[b] - ti;
          r1[b] += tr;
          i1[b] += ti;
        }
      }
    }
  }
}

// All butterfly lengths over lines of n values in bit-reversed order. The
// short lengths pair values within aligned chunks, so each chunk small
// enough for the first-level cache runs through them alone; the long
// lengths then run over the whole buffer. Independent butterflies change
// order, none changes its operands.
void butterflies(float* re, float* im, int n, int lanes, const twiddleTable& tw) {
  int chunk = 2;
  while (chunk < n && chunk * lanes < 4096) chunk *= 2;
  if (chunk > n) chunk = n;
  for (int c = 0; c < n; c += chunk) {
    const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(c) * lanes;
    stages(re + at, im + at, chunk, lanes, tw, 1, chunk);
  }
  stages(re, im, n, lanes, tw, chunk, n);
}

// One direction of the transform: `lines` lines of n complex values; value
// k of line l sits at complex index l * lineStep + k * step.
struct passShape {
  int n, lines;
  std::int64_t step, lineStep;
};

constexpr int blockLanes = 16;

void transformBlock(float* data, const passShape& p, int first, int lanes, const std::vector<int>& rev,
                    const twiddleTable& tw, std::vector<float>& buffer) {
  const std::size_t plane = static_cast<std::size_t>(p.n) * static_cast<std::size_t>(lanes);
  buffer.resize(2 * plane);
  float* re = buffer.data();
  float* im = re + plane;
  // Walk whichever index is contiguous in memory innermost. Value k of a
  // line goes to slot rev[k]: the reversal is its own inverse.
  if (p.step == 1) {
    for (int b = 0; b < lanes; ++b) {
      const float* line = data + 2 * (first + b) * p.lineStep;
      for (int k = 0; k < p.n; ++k) {
        const std::size_t to = static_cast<std::size_t>(rev[static_cast<std::size_t>(k)]) * lanes + b;
        re[to] = line[2 * k];
        im[to] = line[2 * k + 1];
      }
    }
  } else {
    for (int k = 0; k < p.n; ++k) {
      const float* __restrict v = data + 2 * (k * p.step + first);
      const std::size_t to = static_cast<std::size_t>(rev[static_cast<std::size_t>(k)]) * lanes;
      float* __restrict r = re + to;
      float* __restrict i = im + to;
      for (int b = 0; b < lanes; ++b) {
        r[b] = v[2 * b];
        i[b] = v[2 * b + 1];
      }
    }
  }
  butterflies(re, im, p.n, lanes, tw);
  if (p.step == 1) {
    for (int b = 0; b < lanes; ++b) {
      float* line = data + 2 * (first + b) * p.lineStep;
      for (int k = 0; k < p.n; ++k) {
        const std::size_t from = static_cast<std::size_t>(k) * lanes + b;
        line[2 * k] = re[from];
        line[2 * k + 1] = im[from];
      }
    }
  } else {
    for (int k = 0; k < p.n; ++k) {
      float* __restrict v = data + 2 * (k * p.step + first);
      const float* __restrict r = re + static_cast<std::size_t>(k) * lanes;
      const float* __restrict i = im + static_cast<std::size_t>(k) * lanes;
      for (int b = 0; b < lanes; ++b) {
        v[2 * b] = r[b];
        v[2 * b + 1] = i[b];
      }
    }
  }
}

void transformLines(float* data, const passShape& p, int sign) {
  if (p.n < 2) return;
  const twiddleTable tw(p.n, sign);
  const std::vector<int> rev = bitReversal(p.n);
  const int blocks = (p.lines + blockLanes - 1) / blockLanes;
  const std::uint64_t values = static_cast<std::uint64_t>(p.n) * static_cast<std::uint64_t>(p.lines);
#pragma omp parallel if (values >= zel::parallelThreshold)
  {
    std::vector<float> buffer;
#pragma omp for schedule(static)
    for (int block = 0; block < blocks; ++block) {
      const int first = block * blockLanes;
      const int lanes = p.lines - first < blockLanes ? p.lines - first : blockLanes;
      transformBlock(data, p, first, lanes, rev, tw, buffer);
    }
  }
}

}  // namespace

void FFT2D(ComplexPlane& data, const int dims[2], int ndim, int sign) {
  if (ndim != 2 || !isPowerOfTwo(dims[0]) || !isPowerOfTwo(dims[1]) ||
      data.count != 2ull * static_cast<std::uint64_t>(dims[0]) * static_cast<std::uint64_t>(dims[1]))
    zel::raise<zel::DimError>();
  const int rows = dims[0], columns = dims[1];
  // Along each row first (the fastest index), then along each column.
  transformLines(data.data, {columns, rows, 1, columns}, sign);
  transformLines(data.data, {rows, columns, columns, 1}, sign);
}

namespace {

void requirePlane(const spectrumField& image, const ComplexPlane& data, int N) {
  const std::uint64_t n = static_cast<std::uint64_t>(N);
  if (image.width() != N || image.height() != N || data.count != 2 * n * n)
    zel::raise<zel::DimError>();
}

float inverseArea(int N) { return 1.0f / static_cast<float>(N * N); }

}  // namespace

void ImageToComplex(const spectrumField& image, ComplexPlane& data, int N) {
  requirePlane(image, data, N);
  for (std::uint64_t i = 0; i < image.count; ++i) {
    data.data[2 * i] = image.data[i];
    data.data[2 * i + 1] = 0.0f;
  }
}

void ComplexModulus(const ComplexPlane& data, spectrumField& image, int N) {
  requirePlane(image, data, N);
  const float factor = inverseArea(N);
  for (std::uint64_t i = 0; i < image.count; ++i) {
    const float re = data.data[2 * i], im = data.data[2 * i + 1];
    image.data[i] = std::sqrt(re * re + im * im) * factor;
  }
}

void ComplexRealPart(const ComplexPlane& data, spectrumField& image, int N) {
  requirePlane(image, data, N);
  const float factor = inverseArea(N);
  for (std::uint64_t i = 0; i < image.count; ++i) image.data[i] = data.data[2 * i] * factor;
}

void ComplexConjugate(ComplexPlane& data, int /*N*/) {
  for (std::uint64_t i = 1; i < data.count; i += 2) data.data[i] = -data.data[i];
}

void CMulData(ComplexPlane& a, const ComplexPlane& b, int /*N*/) {
  if (a.count != b.count) {
    zel::report().notice("CMulData: Error in Dimensions");
    return;
  }
  for (std::uint64_t i = 0; i + 1 < a.count; i += 2) {
    const float ar = a.data[i], ai = a.data[i + 1], br = b.data[i], bi = b.data[i + 1];
    a.data[i] = ar * br - ai * bi;
    a.data[i + 1] = ar * bi + ai * br;
  }
}

void CNormData(ComplexPlane& a, const ComplexPlane& b, int /*N*/) {
  if (a.count != b.count) {
    zel::report().notice("CNormData: Error in Dimensions");
    return;
  }
  for (std::uint64_t i = 0; i + 1 < a.count; i += 2) {
    const float ar = a.data[i], ai = a.data[i + 1], br = b.data[i], bi = b.data[i + 1];
    float re = ar * br - ai * bi;
    float im = ar * bi + ai * br;
    const float norm = std::sqrt(ar * ar + ai * ai) * std::sqrt(br * br + bi * bi);
    if (norm > 0.0f) {
      re /= norm;
      im /= norm;
    }
    a.data[i] = re;
    a.data[i + 1] = im;
  }
}

void quaterc(spectrumField& image, int N) {
  if (image.width() != image.height()) zel::report().notice("quaterc: Error in Dimensions");
  if (N % 2 != 0 || N > image.width() || N > image.height()) return;
  const int h = N / 2;
  for (int y = 0; y < h; ++y) {
    float* top = image.row(y);
    float* bottom = image.row(y + h);
    for (int x = 0; x < h; ++x) {
      std::swap(top[x], bottom[x + h]);
      std::swap(top[x + h], bottom[x]);
    }
  }
}

void Spectrum2D(spectrumField& image, int N) {
  ComplexPlane data(2 * N * N);
  ImageToComplex(image, data, N);
  const int dims[2] = {N, N};
  FFT2D(data, dims, 2, 1);
  ComplexModulus(data, image, N);
  quaterc(image, N);
}

spectrumField squareCanvas(const spectrumField& image, int N) {
  const int W = image.width(), H = image.height();
  const int ox = (N - W) / 2, oy = (N - H) / 2;
  spectrumField canvas(N, N);
  for (int y = 0; y < N; ++y) {
    const int sy = y - oy < 0 ? 0 : (y - oy >= H ? H - 1 : y - oy);
    const float* src = image.row(sy);
    float* dst = canvas.row(y);
    for (int x = 0; x < N; ++x) {
      const int sx = x - ox < 0 ? 0 : (x - ox >= W ? W - 1 : x - ox);
      dst[x] = src[sx];
    }
  }
  return canvas;
}

void fromCanvas(const spectrumField& canvas, spectrumField& image) {
  const int W = image.width(), H = image.height(), N = canvas.width();
  const int ox = (N - W) / 2, oy = (N - H) / 2;
  for (int y = 0; y < H; ++y) {
    const float* src = canvas.row(y + oy) + ox;
    std::copy(src, src + W, image.row(y));
  }
}

radialWindow::radialWindow(int width, int height) : W(width), H(height) {
  const int M = (W < H ? W : H) - 1;
  rmax = static_cast<float>(M / 2 - 1);
  a = 6.2831855f / static_cast<float>(M);
}

bool radialWindow::inside(int i, int j, float& weight) const {
  const int di = i + 1 - (W / 2 + 1), dj = j + 1 - (H / 2 + 1);
  const float r = std::sqrt(static_cast<float>(di * di + dj * dj));
  if (r > rmax) return false;
  weight = 0.42f + 0.5f * std::cos(r * a) + 0.08f * std::cos(2.0f * r * a);
  return true;
}

float plainMean(const spectrumField& image) {
  float sum = 0.0f;
  for (std::uint64_t i = 0; i < image.count; ++i) sum += image.data[i];
  return sum / static_cast<float>(image.count);
}

}  // namespace tamble
