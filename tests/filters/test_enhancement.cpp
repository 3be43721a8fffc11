// The contrast and sharpness routines against their definitions, their
// refusals, and the effects they promise on constructed images.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "filters/enhancement.h"
#include "plugin/session.h"
#include "tests/filters/filterReferences.h"
#include "tests/support/sessionUi.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::noticesOf;
using tamble::testing::randomLayers;
using tamble::testing::referenceGauss;
using tamble::testing::sameBits;

void expectClose(const layers& got, const layers& want, float tolerance, const std::string& what) {
  for (std::size_t i = 0; i < got.field.count; ++i)
    ASSERT_NEAR(got.field.data[i], want.field.data[i], tolerance) << what << " at " << i;
}

// The limited unsharp mask by its steps.
void referenceUnsharp(layers& l, int D, float a, float b, int autoMinMax, float threshold,
                      float fade) {
  auto valid = [&](std::size_t i) { return !l.bkgr.data[i] && l.ROI.data[i]; };
  float lo = 1e30f, hi = -1e30f;
  for (std::size_t i = 0; i < l.field.count; ++i)
    if (valid(i)) lo = std::min(lo, l.field.data[i]), hi = std::max(hi, l.field.data[i]);
  layers G = l, M = l;
  referenceGauss(G, 1, static_cast<float>(D));
  for (std::size_t i = 0; i < l.field.count; ++i)
    if (valid(i)) {
      const float f = l.field.data[i];
      M.field.data[i] = f - G.field.data[i];
      G.field.data[i] = f * a - b * G.field.data[i];
    }
  referenceGauss(M, 1, static_cast<float>(D));
  std::vector<float> R(l.field.count);
  float rlo = 1e30f, rhi = -1e30f;
  for (std::size_t i = 0; i < l.field.count; ++i) {
    if (!valid(i)) continue;
    R[i] = std::fabs(M.field.data[i]) > threshold ? G.field.data[i] : l.field.data[i];
    rlo = std::min(rlo, R[i]), rhi = std::max(rhi, R[i]);
  }
  const float ratio = (hi - lo) / (rhi - rlo);
  for (std::size_t i = 0; i < l.field.count; ++i) {
    if (!valid(i)) continue;
    float v = R[i];
    if (autoMinMax > 0) v = (v - rlo) * ratio + (autoMinMax == 2 ? lo : 0.0f);
    l.field.data[i] = (1 - fade) * l.field.data[i] + fade * v;
  }
}

TEST(UnSharpMask, EqualsItsStepsAndLeavesFlatRegions) {
  const struct {
    int D;
    float a, b;
    int autoMinMax;
    float threshold, fade;
  } cases[] = {{5, 5, 4, 0, 0, 1}, {4, 3, 2.5f, 1, 2, 0.7f}, {7, 2, 1, 2, 1, 1}};
  for (const auto& c : cases) {
    layers fast = randomLayers(24, 19, 0.1, 8u), plain = fast;
    UnSharpMask(fast.field, fast.bkgr, fast.ROI, c.D, c.a, c.b, false, c.autoMinMax, c.threshold,
                c.fade);
    referenceUnsharp(plain, c.D % 2 ? c.D : c.D + 1, c.a, c.b, c.autoMinMax, c.threshold, c.fade);
    expectClose(fast, plain, 1e-3f, "D " + std::to_string(c.D));
  }
  // Fade 0 keeps the image; a threshold above every blurred difference
  // keeps it too (the limited mask sharpens nothing).
  for (auto [threshold, fade] : {std::pair{0.0f, 0.0f}, {1e6f, 1.0f}}) {
    layers l = randomLayers(20, 20, 0.1, 3u);
    const layers before = l;
    UnSharpMask(l.field, l.bkgr, l.ROI, 5, 5, 4, false, 0, threshold, fade);
    EXPECT_TRUE(sameBits(l.field, before.field)) << threshold;
  }
}

TEST(UnSharpMask, RefusesWhatItCannotDo) {
  const struct {
    float a, b;
    bool forceB;
    int autoMinMax;
    bool flat;
    const char* notice;
  } cases[] = {{4, 4, false, 0, false, "A must be greater than B !"},
               {4, 9, false, 0, false, "A must be greater than B !"},
               {5, 4, false, 3, false, "AutoMinMax must be 0, 1, 2 only!"},
               {2, 1, false, 0, true, "Resulting RMin=RMax ? ..."}};
  for (const auto& c : cases) {
    layers l = randomLayers(12, 12, 0.0, 4u);
    if (c.flat) l.field.fill(0.0f);
    const layers before = l;
    EXPECT_EQ(noticesOf([&] {
                UnSharpMask(l.field, l.bkgr, l.ROI, 3, c.a, c.b, c.forceB, c.autoMinMax, 0, 1);
              }),
              std::vector<std::string>{c.notice});
    EXPECT_TRUE(sameBits(l.field, before.field)) << c.notice;
  }
  // Forcing B = A - 1 makes a typed B above A acceptable.
  layers l = randomLayers(12, 12, 0.0, 4u);
  EXPECT_TRUE(noticesOf([&] { UnSharpMask(l.field, l.bkgr, l.ROI, 3, 4, 9, true, 0, 0, 1); }).empty());
}

// Kinds 1 to 3 by the definition: the Laplacian times the Sobel magnitude
// over the scale (smoothed), faded onto the image.
TEST(DIP1Enhancement, EqualsTheDefinition) {
  for (int kind = 1; kind <= 3; ++kind)
    for (int nlg : {0, 5}) {
      layers fast = randomLayers(18, 15, 0.1, 6u), plain = fast;
      DIP1Enhancement(fast.field, fast.bkgr, fast.ROI, kind, 9, nlg, 100.0f, 10.0f);
      layers L = plain, S = plain;
      L.field.fill(0), S.field.fill(0);
      for (int y = 1; y < plain.H() - 1; ++y)
        for (int x = 1; x < plain.W() - 1; ++x) {
          if (plain.blocked(x, y)) continue;
          auto f = [&](int dx, int dy) { return plain.field(x + dx, y + dy); };
          const float corners = f(-1, -1) + f(1, -1) + f(-1, 1) + f(1, 1);
          const float cross = f(0, -1) + f(-1, 0) + f(1, 0) + f(0, 1);
          L.field(x, y) = kind == 1   ? 8 * f(0, 0) - corners - cross
                          : kind == 2 ? 4 * f(0, 0) - corners
                                      : 4 * f(0, 0) - cross;
          const float gx = f(1, -1) + 2 * f(1, 0) + f(1, 1) - (f(-1, -1) + 2 * f(-1, 0) + f(-1, 1));
          const float gy = f(-1, -1) + 2 * f(0, -1) + f(1, -1) - (f(-1, 1) + 2 * f(0, 1) + f(1, 1));
          S.field(x, y) = std::hypot(gx, gy) / 100.0f;
        }
      if (nlg) referenceGauss(S, 1, static_cast<float>(nlg));
      for (std::size_t i = 0; i < plain.field.count; ++i)
        if (!plain.bkgr.data[i] && plain.ROI.data[i])
          plain.field.data[i] += 10.0f * (L.field.data[i] * S.field.data[i]);
      expectClose(fast, plain, 0.05f, "kind " + std::to_string(kind));
    }
}

TEST(DIP1Enhancement, RefusalsComeInTheirOrder) {
  const struct {
    int kind, nll;
    float scale;
    bool flat;
    const char* notice;
  } cases[] = {
      {9, 3, 0.0f, false, "DIP1Enhancement: NLL < 5 , Procedure is Canceled"},
      {5, 5, 100.0f, false,
       "DIP1Enhancement: Enhancement Module Incorrect Kind, Procedure is Canceled"},
      {1, 5, 1e-7f, false,
       "DIP1Enhancement: Too Small Scale ( < 0.000001 ), Procedure is Canceled"},
      {1, 5, 2e6f, false, "DIP1Enhancement: Too Big Scale ( > 1.000.000 ), Procedure is Canceled"},
      {1, 5, 100.0f, true, "DIP1Enhancement: Sobel Gradient <= 0.0 , Procedure is Canceled"},
  };
  for (const auto& c : cases) {
    layers l = randomLayers(10, 10, 0.0, 2u);
    if (c.flat) l.field.fill(7.0f);
    const layers before = l;
    EXPECT_EQ(noticesOf([&] { DIP1Enhancement(l.field, l.bkgr, l.ROI, c.kind, c.nll, 3, c.scale, 1); }),
              std::vector<std::string>{c.notice});
    EXPECT_TRUE(sameBits(l.field, before.field)) << c.notice;
  }
}

// The wavelet Laplacian: 0 on a flat image, also beside blocked pixels
// (whose samples take the centre's value); 0 on a sloped plane away from
// them; a Mexican hat on a peak: positive at it, negative on a ring three
// pixels out, and nothing in sum.
TEST(ConvLaplace, ZeroOnPlanesAHatOnAPeak) {
  for (float slope : {0.0f, 0.5f}) {
    layers l(21, 21);
    for (int y = 0; y < 21; ++y)
      for (int x = 0; x < 21; ++x) l.field(x, y) = 10 + slope * x;
    l.bkgr(12, 10) = true;
    ConvLaplace(l.field, l.bkgr, l.ROI, 7);
    if (slope == 0) {
      EXPECT_NEAR(l.field(10, 10), 0.0f, 1e-4f);
    }
    EXPECT_NEAR(l.field(6, 4), 0.0f, 1e-4f) << slope;
    EXPECT_EQ(l.field(12, 10), 10 + slope * 12);  // blocked: not written
  }
  layers p(21, 21);
  p.field(10, 10) = 1.0f;
  ConvLaplace(p.field, p.bkgr, p.ROI, 9);
  double sum = 0;
  for (std::size_t i = 0; i < p.field.count; ++i) sum += p.field.data[i];
  EXPECT_GT(p.field(10, 10), 0.1f);
  EXPECT_LT(p.field(13, 10), 0.0f);
  EXPECT_LT(p.field(10, 7), 0.0f);
  EXPECT_NEAR(sum, 0.0, 1e-5);
}

TEST(NonlinearContrast, PowersTheShareOfTheMaximum) {
  const struct {
    float power, value, want;
  } cases[] = {{1, 3, 3}, {2, 3, 9.0f / 12}, {0.5f, 3, std::sqrt(3.0f / 12) * 12}};
  for (const auto& c : cases) {
    layers l = layers::row({c.value, 12, 0});
    l.bkgr(2, 0) = true;
    l.field(2, 0) = 100;  // blocked: neither the maximum nor changed
    NonlinearContrast(l.field, l.bkgr, l.ROI, c.power);
    EXPECT_NEAR(l.field(0, 0), c.want, 1e-5f) << c.power;
    EXPECT_EQ(l.field(1, 0), 12.0f);
    EXPECT_EQ(l.field(2, 0), 100.0f);
  }
  layers negative = layers::row({-3, -1});
  EXPECT_EQ(noticesOf([&] { NonlinearContrast(negative.field, negative.bkgr, negative.ROI, 2); }),
            std::vector<std::string>{"Image is Absent or Negative"});
  EXPECT_EQ(negative.field(0, 0), -3.0f);
}

// A skewed histogram (v = x^3 over a row of 64 levels, repeated over rows)
// comes out near-uniform: the middle pixel of the span lands near the middle
// of the range. A flat image stays, and fade 0 keeps the image.
TEST(WeightedHybridMap, FlattensAHistogram) {
  layers l(66, 10);
  for (int y = 0; y < 10; ++y)
    for (int x = 0; x < 66; ++x) l.field(x, y) = static_cast<float>(x * x * x);
  const float lo = 0, hi = 65.0f * 65 * 65;
  for (int method : {1, 2, 3}) {
    layers m = l;
    WeightedHybridMap(m.field, m.bkgr, m.ROI, method, 1.0f, 12345.0);
    // x = 33 is the median column: about the middle of the span after
    // equalisation, while it sat at an eighth before.
    EXPECT_NEAR((m.field(33, 5) - lo) / (hi - lo), 0.5f, 0.06f) << method;
    EXPECT_LT((l.field(33, 5) - lo) / (hi - lo), 0.14f);
  }
  layers again = l, twice = l;
  WeightedHybridMap(again.field, again.bkgr, again.ROI, 2, 1.0f, 777.0);
  WeightedHybridMap(twice.field, twice.bkgr, twice.ROI, 2, 1.0f, 777.0);
  EXPECT_TRUE(sameBits(again.field, twice.field));  // a seed fixes the random choice

  layers flat(8, 8);
  flat.field.fill(4.0f);
  WeightedHybridMap(flat.field, flat.bkgr, flat.ROI, 1, 1.0f);
  EXPECT_EQ(flat.field(3, 3), 4.0f);
  layers kept = l;
  WeightedHybridMap(kept.field, kept.bkgr, kept.ROI, 1, 0.0f);
  for (std::size_t i = 0; i < kept.field.count; ++i)
    EXPECT_NEAR(kept.field.data[i], l.field.data[i], 0.05f);
}

// A blurred step grows steeper: the pixels on the slope move to the nearer
// side; a flat image has nothing steep.
TEST(SteepThinning, SteepensABlurredStep) {
  layers l(20, 9);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 20; ++x) l.field(x, y) = 100.0f * std::clamp((x - 7) / 6.0f, 0.0f, 1.0f);
  const layers before = l;
  SteepThinning(l.field, l.bkgr, l.ROI, 5, 0.05f, 3.0f);
  EXPECT_LT(l.field(8, 4), before.field(8, 4));   // below the window's middle: lower
  EXPECT_GT(l.field(12, 4), before.field(12, 4)); // above: higher
  EXPECT_EQ(l.field(2, 4), 0.0f);                 // the flat parts stay
  EXPECT_EQ(l.field(17, 4), 100.0f);
  layers flat(10, 10);
  flat.field.fill(5.0f);
  SteepThinning(flat.field, flat.bkgr, flat.ROI, 5, 0.2f, 2.0f);
  EXPECT_EQ(flat.field(5, 5), 5.0f);
}

}  // namespace
