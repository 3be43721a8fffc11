// The Fourier transform against the plain textbook loop and against the
// transform's own laws, the spectra of known pictures, and the amplitude
// transforms by what they must preserve.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "api/errors.h"
#include "filters/fft.h"
#include "filters/spectra.h"
#include "geometry/warp.h"
#include "tests/support/layers.h"
#include "tests/support/sessionUi.h"

namespace {

using namespace tamble;
using tamble::testing::noticesOf;

// The multidimensional decimation as textbooks write it, one index per
// float, the last dimension first; the butterfly in floats with the
// twiddles narrowed from their recurrence in doubles.
void plainTransform(std::vector<float>& d, int rows, int columns, int sign) {
  const long nn[2] = {rows, columns};
  const long ntot = static_cast<long>(rows) * columns;
  long nprev = 1;
  for (int dim = 1; dim >= 0; --dim) {
    const long n = nn[dim], nrem = ntot / (n * nprev);
    const long ip1 = nprev * 2, ip2 = ip1 * n, ip3 = ip2 * nrem;
    long i2rev = 1;
    for (long i2 = 1; i2 <= ip2; i2 += ip1) {
      if (i2 < i2rev)
        for (long i1 = i2; i1 <= i2 + ip1 - 2; i1 += 2)
          for (long i3 = i1; i3 <= ip3; i3 += ip2) {
            const long i3rev = i2rev + i3 - i2;
            std::swap(d[i3 - 1], d[i3rev - 1]);
            std::swap(d[i3], d[i3rev]);
          }
      long ibit = ip2 >> 1;
      while (ibit >= ip1 && i2rev > ibit) {
        i2rev -= ibit;
        ibit >>= 1;
      }
      i2rev += ibit;
    }
    for (long ifp1 = ip1; ifp1 < ip2; ifp1 *= 2) {
      const long ifp2 = ifp1 * 2;
      const double theta = sign * 6.28318530717959 / static_cast<double>(ifp2 / ip1);
      const double s = std::sin(0.5 * theta);
      const double wpr = -2.0 * s * s, wpi = std::sin(theta);
      double wr = 1.0, wi = 0.0;
      for (long i3 = 1; i3 <= ifp1; i3 += ip1) {
        const float fr = static_cast<float>(wr), fi = static_cast<float>(wi);
        for (long i1 = i3; i1 <= i3 + ip1 - 2; i1 += 2)
          for (long i2 = i1; i2 <= ip3; i2 += ifp2) {
            const long k1 = i2 - 1, k2 = k1 + ifp1;
            const float tr = fr * d[k2] - fi * d[k2 + 1];
            const float ti = fr * d[k2 + 1] + fi * d[k2];
            d[k2] = d[k1] - tr;
            d[k2 + 1] = d[k1 + 1] - ti;
            d[k1] += tr;
            d[k1 + 1] += ti;
          }
        const double old = wr;
        wr = wr * wpr - wi * wpi + wr;
        wi = wi * wpr + old * wpi + wi;
      }
    }
    nprev *= n;
  }
}

ComplexPlane randomPlane(int rows, int columns, unsigned seed) {
  ComplexPlane p(2 * rows * columns);
  std::mt19937 gen(seed);
  std::uniform_real_distribution<float> v(-50.0f, 50.0f);
  for (std::uint64_t i = 0; i < p.count; ++i) p.data[i] = v(gen);
  return p;
}

struct sizeCase {
  int rows, columns;
};
// Square and oblong, below and above the size at which threads start, and a
// side narrower than the blocks of lines the transform works in.
const sizeCase sizes[] = {{1, 1}, {2, 2}, {4, 8}, {16, 2}, {32, 32}, {64, 128}, {512, 256}};

TEST(FFT2D, GivesTheBitsOfThePlainLoop) {
  for (const sizeCase& s : sizes)
    for (int sign : {1, -1}) {
      ComplexPlane p = randomPlane(s.rows, s.columns, 3u + s.rows);
      std::vector<float> plain(p.data, p.data + p.count);
      const int dims[2] = {s.rows, s.columns};
      FFT2D(p, dims, 2, sign);
      plainTransform(plain, s.rows, s.columns, sign);
      EXPECT_EQ(std::memcmp(p.data, plain.data(), p.count * sizeof(float)), 0)
          << s.rows << "x" << s.columns << " sign " << sign;
    }
}

TEST(FFT2D, ForwardThenBackwardGivesTheInputTimesTheArea) {
  for (const sizeCase& s : sizes) {
    const ComplexPlane in = randomPlane(s.rows, s.columns, 7u);
    ComplexPlane p = in;
    const int dims[2] = {s.rows, s.columns};
    FFT2D(p, dims, 2, 1);
    FFT2D(p, dims, 2, -1);
    const float area = static_cast<float>(s.rows * s.columns);
    for (std::uint64_t i = 0; i < p.count; ++i)
      ASSERT_NEAR(p.data[i] / area, in.data[i], 1e-3f) << s.rows << "x" << s.columns << " at " << i;
  }
}

TEST(FFT2D, KeepsTheEnergyTimesTheArea) {  // Parseval
  for (const sizeCase& s : sizes) {
    ComplexPlane p = randomPlane(s.rows, s.columns, 11u);
    double before = 0.0, after = 0.0;
    for (std::uint64_t i = 0; i < p.count; ++i) before += double(p.data[i]) * p.data[i];
    const int dims[2] = {s.rows, s.columns};
    FFT2D(p, dims, 2, -1);
    for (std::uint64_t i = 0; i < p.count; ++i) after += double(p.data[i]) * p.data[i];
    EXPECT_NEAR(after / (before * s.rows * s.columns), 1.0, 1e-5) << s.rows << "x" << s.columns;
  }
}

// A delta at (x0, y0) has the spectrum exp(sign 2 pi i (k x0 + l y0) / N):
// the sign of the exponent shows in the imaginary parts.
TEST(FFT2D, TransformsADeltaIntoTheRotatingPhase) {
  const int N = 16;
  struct deltaCase {
    int x0, y0, sign;
  };
  for (const deltaCase c : {deltaCase{0, 0, 1}, {3, 0, 1}, {3, 0, -1}, {1, 5, 1}, {7, 9, -1}}) {
    ComplexPlane p(2 * N * N);
    p.fill(0.0f);
    p.data[2 * (c.y0 * N + c.x0)] = 1.0f;
    const int dims[2] = {N, N};
    FFT2D(p, dims, 2, c.sign);
    for (int l = 0; l < N; ++l)
      for (int k = 0; k < N; ++k) {
        const double phase = c.sign * 2 * M_PI * (k * c.x0 + l * c.y0) / N;
        ASSERT_NEAR(p.data[2 * (l * N + k)], std::cos(phase), 1e-5) << k << "," << l;
        ASSERT_NEAR(p.data[2 * (l * N + k) + 1], std::sin(phase), 1e-5) << k << "," << l;
      }
  }
}

TEST(FFT2D, RefusesWrongShapesAndLeavesTheData) {
  struct badCase {
    const char* what;
    int rows, columns, ndim;
    int length;
  };
  const badCase cases[] = {{"one dimension", 4, 4, 1, 32},
                           {"side of 3", 3, 4, 2, 24},
                           {"side of 0", 0, 4, 2, 0},
                           {"short plane", 4, 4, 2, 30},
                           {"long plane", 4, 4, 2, 34}};
  for (const badCase& c : cases) {
    ComplexPlane p = randomPlane(1, c.length / 2 == 0 ? 1 : c.length / 2, 5u);
    const ComplexPlane before = p;
    const int dims[2] = {c.rows, c.columns};
    EXPECT_THROW(FFT2D(p, dims, c.ndim, 1), zel::DimError) << c.what;
    EXPECT_EQ(std::memcmp(p.data, before.data, p.count * sizeof(float)), 0) << c.what;
  }
}

spectrumField cosine(int N, int kx, int ky, float amplitude) {
  spectrumField f(N, N);
  for (int y = 0; y < N; ++y)
    for (int x = 0; x < N; ++x)
      f(x, y) = amplitude * static_cast<float>(std::cos(2 * M_PI * (kx * x + ky * y) / N));
  return f;
}

// Each peak of a cosine of amplitude A holds A/2 after the division by N*N,
// on either side of the centre; every other bin is empty.
TEST(Spectrum2D, PutsACosineIntoTwoBinsAboutTheCentre) {
  const int N = 64;
  struct cosineCase {
    int kx, ky;
    float amplitude;
  };
  for (const cosineCase c : {cosineCase{5, 0, 2.0f}, {0, 3, 1.0f}, {4, 7, 8.0f}, {-6, 2, 1.0f}}) {
    spectrumField f = cosine(N, c.kx, c.ky, c.amplitude);
    Spectrum2D(f, N);
    for (int y = 0; y < N; ++y)
      for (int x = 0; x < N; ++x) {
        const bool peak = (x == N / 2 + c.kx && y == N / 2 + c.ky) ||
                          (x == N / 2 - c.kx && y == N / 2 - c.ky);
        ASSERT_NEAR(f(x, y), peak ? c.amplitude / 2 : 0.0f, 1e-4f) << x << "," << y;
      }
  }
}

TEST(Spectrum2D, SpreadsADeltaEvenly) {
  const int N = 32;
  for (const std::pair<int, int>& at : {std::pair{0, 0}, {5, 9}, {31, 31}}) {
    spectrumField f(N, N);
    f.fill(0.0f);
    f(at.first, at.second) = 4.0f;
    Spectrum2D(f, N);
    for (std::uint64_t i = 0; i < f.count; ++i)
      ASSERT_NEAR(f.data[i], 4.0f / (N * N), 1e-7f) << at.first << "," << at.second;
  }
}

TEST(SpectrumImage, NormalisesTheTwoCosinePeaksToOne) {
  const int N = 128;
  for (const bool window : {false, true}) {
    spectrumField f = cosine(N, 9, 4, 3.0f);
    SpectrumImage(f, true, window, false);
    EXPECT_FLOAT_EQ(f(N / 2 + 9, N / 2 + 4), 1.0f) << window;
    EXPECT_FLOAT_EQ(f(N / 2 - 9, N / 2 - 4), 1.0f) << window;
    int large = 0;
    for (std::uint64_t i = 0; i < f.count; ++i) large += f.data[i] > 0.5f;
    EXPECT_EQ(large == 2, !window);  // the window widens the peaks
  }
}

TEST(SpectrumImage, GivesDecibelsDownToMinus100) {
  const int N = 64;
  spectrumField f = cosine(N, 3, 0, 1.0f);
  SpectrumImage(f, false, false, true);
  EXPECT_FLOAT_EQ(f(N / 2 + 3, N / 2), 0.0f);
  EXPECT_FLOAT_EQ(f(N / 2 + 1, N / 2 + 5), -100.0f);  // an empty bin
}

// A 40 by 24 image lies on the 64 canvas at (12, 20); outside, its edges
// repeat.
TEST(SquareCanvas, ExtendsTheEdgesOutwards) {
  spectrumField img(40, 24);
  for (int y = 0; y < 24; ++y)
    for (int x = 0; x < 40; ++x) img(x, y) = static_cast<float>(x + 100 * y);
  EXPECT_EQ(powerOfTwoAbove(40), 64);
  const spectrumField c = squareCanvas(img, 64);
  struct at {
    int cx, cy, x, y;
  };
  for (const at a : {at{12, 20, 0, 0}, {51, 43, 39, 23}, {0, 0, 0, 0}, {63, 63, 39, 23},
                     {30, 2, 18, 0}, {2, 30, 0, 10}, {63, 30, 39, 10}, {30, 63, 18, 23}})
    EXPECT_EQ(c(a.cx, a.cy), img(a.x, a.y)) << a.cx << "," << a.cy;
  spectrumField back(40, 24);
  fromCanvas(c, back);
  EXPECT_TRUE(tamble::testing::sameBits(back, img));
}

TEST(Quaterc, MovesTheCornerToTheCentre) {
  for (const int N : {2, 8, 16}) {
    spectrumField f(N, N), before(N, N);
    for (int i = 0; i < N * N; ++i) before.data[i] = f.data[i] = static_cast<float>(i);
    quaterc(f, N);
    for (int y = 0; y < N; ++y)
      for (int x = 0; x < N; ++x)
        ASSERT_EQ(f((x + N / 2) % N, (y + N / 2) % N), before(x, y)) << N;
  }
}

TEST(Quaterc, SaysSoForANonSquareImage) {
  spectrumField odd(5, 5), oblong(8, 4);
  odd.fill(1.0f);
  oblong.fill(2.0f);
  odd(0, 0) = 3.0f;
  const auto notices = noticesOf([&] {
    quaterc(odd, 5);     // odd: nothing happens
    quaterc(oblong, 4);  // the 4 by 4 corner is exchanged
  });
  EXPECT_EQ(odd(0, 0), 3.0f);
  EXPECT_EQ(notices, std::vector<std::string>{"quaterc: Error in Dimensions"});
}

TEST(ComplexProducts, MultiplyAndNormalise) {
  ComplexPlane a(6), b(6);
  const float av[6] = {3, 4, 0, 0, 1, -2}, bv[6] = {1, 2, 5, 5, -3, 0};
  std::copy(av, av + 6, a.data);
  std::copy(bv, bv + 6, b.data);
  ComplexPlane product = a, normal = a;
  CMulData(product, b, 0);
  CNormData(normal, b, 0);
  const float expected[6] = {3 - 8, 6 + 4, 0, 0, -3, 6};
  for (int i = 0; i < 6; ++i) EXPECT_FLOAT_EQ(product.data[i], expected[i]) << i;
  EXPECT_NEAR(std::hypot(normal.data[0], normal.data[1]), 1.0, 1e-6);
  EXPECT_FLOAT_EQ(normal.data[0] * std::sqrt(5.0f) * 5, expected[0]);
  EXPECT_EQ(normal.data[2], 0.0f);  // |a| |b| = 0: left as the product
  ComplexConjugate(a, 0);
  EXPECT_EQ(a.data[1], -4.0f);
  EXPECT_EQ(a.data[5], 2.0f);
}

TEST(ComplexProducts, RefuseDifferentLengths) {
  ComplexPlane a(4), b(6);
  a.fill(1.0f);
  b.fill(2.0f);
  const auto notices = noticesOf([&] {
    CMulData(a, b, 0);
    CNormData(a, b, 0);
  });
  EXPECT_EQ(notices,
            (std::vector<std::string>{"CMulData: Error in Dimensions", "CNormData: Error in Dimensions"}));
  for (int i = 0; i < 4; ++i) EXPECT_EQ(a.data[i], 1.0f);
}

// f = 3x + 5y + 1 is bilinear: every sample inside is exact.
TEST(BilinearSample, InterpolatesInsideAndRefusesOutside) {
  const int W = 6, H = 4;
  spectrumField f(W, H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) f(x, y) = 3.0f * x + 5.0f * y + 1.0f;
  struct sampleCase {
    float x, y;
    bool bad;
  };
  const sampleCase cases[] = {{2.25f, 1.5f, false}, {5.0f, 2.5f, false},  {3.5f, 3.0f, false},
                              {5.0f, 3.0f, false},  {-0.5f, 1.0f, false}, {6.0f, 1.0f, true},
                              {1.0f, 4.2f, true},   {-1.0f, 1.0f, true}};
  for (const sampleCase& c : cases) {
    float v = -7.0f;
    bool bad = !c.bad;
    BilinearSample(f, W, H, c.x, c.y, v, bad);
    EXPECT_EQ(bad, c.bad) << c.x << "," << c.y;
    EXPECT_FLOAT_EQ(v, c.bad ? 0.0f : 3.0f * c.x + 5.0f * c.y + 1.0f) << c.x << "," << c.y;
  }
}

// On the field x - W/2 the bilinear samples are exact: row r, column c
// holds rho(r) cos(c pi / W).
TEST(PolarLogMap, SamplesAlongLogRadiusAndAngle) {
  const int W = 64, H = 48;
  spectrumField f(W, H);
  spectrumMask bkgr(W, H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) f(x, y) = static_cast<float>(x - W / 2);
  PolarLogMap(f, bkgr);
  const double Rmax = 23, L = std::log(Rmax) + 1;
  for (const int r : {0, 10, 30, H - 2})
    for (const int c : {0, 16, 32, 63}) {
      const double rho = std::exp(r * L / (H - 1) - 1), t = c * M_PI / W;
      EXPECT_FALSE(bkgr(c, r)) << r << "," << c;
      EXPECT_NEAR(f(c, r), rho * std::cos(t), 2e-4 * Rmax) << r << "," << c;
    }
}

void fillWave(spectrumField& f) {
  for (int y = 0; y < f.height(); ++y)
    for (int x = 0; x < f.width(); ++x)
      f(x, y) = 10.0f + 3.0f * std::sin(0.3f * x) * std::cos(0.17f * y) + 0.05f * x;
}

// Power 0 of whitening and power 1 of McClellan change nothing but the
// rounding, on a square and on a padded image alike.
TEST(AmplitudeTransforms, NeutralPowersGiveThePictureBack) {
  struct neutralCase {
    const char* what;
    int W, H;
    void (*run)(spectrumField&, const spectrumMask&, const spectrumMask&);
  };
  const neutralCase cases[] = {
      {"whiten 0", 32, 32, [](auto& f, auto& b, auto& r) { Whiten(f, b, r, 0.0f); }},
      {"whiten 0 padded", 37, 20, [](auto& f, auto& b, auto& r) { Whiten(f, b, r, 0.0f); }},
      {"mcclellan 1", 32, 32, [](auto& f, auto& b, auto& r) { McClellanTransform(f, b, r, 1.0f); }},
      {"mcclellan 1 padded", 20, 45,
       [](auto& f, auto& b, auto& r) { McClellanTransform(f, b, r, 1.0f); }},
  };
  for (const neutralCase& c : cases) {
    tamble::testing::layers l(c.W, c.H);
    fillWave(l.field);
    const spectrumField before = l.field;
    noticesOf([&] { c.run(l.field, l.bkgr, l.ROI); });
    for (std::uint64_t i = 0; i < before.count; ++i)
      ASSERT_NEAR(l.field.data[i], before.data[i], 1e-3f) << c.what << " at " << i;
  }
}

// Whitening flattens the spectrum: a picture of two cosines of amplitudes 8
// and 1 comes out with both of the same strength, and only valid pixels take
// the result (the blocked one keeps its value, moved by the rescaling).
TEST(AmplitudeTransforms, WhiteningEqualisesTheAmplitudes) {
  const int N = 32;
  tamble::testing::layers l(N, N);
  for (int y = 0; y < N; ++y)
    for (int x = 0; x < N; ++x)
      l.field(x, y) = 8.0f * std::cos(2 * M_PI * 3 * x / N) + std::cos(2 * M_PI * 5 * y / N);
  l.field(0, 0) = 0.5f;
  l.bkgr(0, 0) = true;
  const float blocked = l.field(0, 0);
  Whiten(l.field, l.bkgr, l.ROI, 1.0f);
  spectrumField s = l.field;
  s(0, 0) = s(1, 0);  // out of the spectrum's way
  Spectrum2D(s, N);
  EXPECT_NEAR(s(N / 2 + 3, N / 2) / s(N / 2, N / 2 + 5), 1.0f, 0.1f);
  EXPECT_NE(l.field(0, 0), blocked);
}

TEST(AmplitudeTransforms, McClellanSaysWhereThePhaseIsZero) {
  ComplexPlane p(8);
  const float v[8] = {0, 0, 3, 4, 0, 0, -2, 0};
  std::copy(v, v + 8, p.data);
  const auto notices = noticesOf([&] { ForMcClellan(p, 2, 0.0f); });
  EXPECT_EQ(notices, std::vector<std::string>(2, "ForMcClellan: Zero Phase!"));
  const float expected[8] = {1, 0, 0.6f, 0.8f, 1, 0, -1, 0};
  for (int i = 0; i < 8; ++i) EXPECT_NEAR(p.data[i], expected[i], 1e-6f) << i;
}

TEST(PhaseOnlyRetrieve, OpensTheWholeImageAndRemovesTheMean) {
  tamble::testing::layers l = tamble::testing::randomLayers(40, 30, 0.2, 9u);
  noticesOf([&] { PhaseOnlyRetrieve(l.field, l.bkgr, l.ROI); });
  double sum = 0.0;
  for (std::uint64_t i = 0; i < l.field.count; ++i) {
    sum += l.field.data[i];
    ASSERT_FALSE(l.bkgr.data[i]);
    ASSERT_TRUE(l.ROI.data[i]);
  }
  EXPECT_NEAR(sum / l.field.count, 0.0, 1e-3);
}

}  // namespace
