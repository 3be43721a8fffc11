// The correlation by the shifts it must report, and the two alignments by
// the moves they must undo on pictures moved by the project's own warp.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "align/correlation.h"
#include "filters/circleFilters.h"
#include "geometry/transforms.h"
#include "tests/support/layers.h"
#include "tests/support/sessionUi.h"

namespace {

using namespace tamble;
using tamble::testing::noticesOf;

// A random texture smoothed over a few pixels: a unique correlation peak.
correlationField texture(int W, int H, unsigned seed) {
  tamble::testing::layers l(W, H);
  std::mt19937 gen(seed);
  std::uniform_real_distribution<float> v(0.0f, 100.0f);
  for (std::uint64_t i = 0; i < l.field.count; ++i) l.field.data[i] = v(gen);
  GaussSeparable(l.field, l.bkgr, l.ROI, 2, 4.001f);
  return l.field;
}

// The picture moved by (s, t) pixels, what leaves one side coming back on
// the other: a pure shift for the transform.
correlationField rolled(const correlationField& f, int s, int t) {
  const int W = f.width(), H = f.height();
  correlationField out(W, H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) out((x + s + W) % W, (y + t + H) % H) = f(x, y);
  return out;
}

zel::image imageOf(const correlationField& field) {
  zel::image img(field.width(), field.height());
  img.field() = field;
  return img;
}

// The picture moved by the damped bicubic warp: scale about the centre,
// turn by alpha degrees, then shift.
zel::image moved(const correlationField& field, double scale, double alpha, double sx, double sy) {
  zel::image img = imageOf(field);
  polynomialState map;
  ScaleRotateShift(img.field(), img.bkgr(), img.ROI(), img.markers, scale, scale, alpha, sx, sy, 2,
                   map);
  return img;
}

struct shiftCase {
  int s, t;
  bool phase, window, removeMean;
};

// first = second moved by (s, t): the shift reported is (-s, -t), the surface
// peaks at 1 there. The window, centred on both, holds the peak at 0.
TEST(CrossCorrelation, ReportsAnIntegerShiftWithTheSignOfTheHalfTurn) {
  const int N = 64;
  const correlationField second = texture(N, N, 4u);
  const shiftCase cases[] = {{0, 0, true, false, false},  {3, -2, true, false, false},
                             {3, -2, false, false, true}, {-7, 5, true, false, true},
                             {12, 9, false, false, false}, {-1, 0, true, false, true},
                             {0, 0, true, true, false},   {0, 0, false, true, true}};
  for (const shiftCase& c : cases) {
    const correlationField first = rolled(second, c.s, c.t);
    correlationField result(N, N);
    int dx = 99, dy = 99;
    CrossCorrelation(first, second, result, c.phase, c.removeMean, c.window, false, dx, dy);
    EXPECT_EQ(dx, -c.s) << c.s << "," << c.t;
    EXPECT_EQ(dy, -c.t) << c.s << "," << c.t;
    EXPECT_FLOAT_EQ(result(N / 2 - 1 - c.s, N / 2 - 1 - c.t), 1.0f);
  }
}

// Anti-correlated pictures: the extreme is -1, and the strict maximum is
// something else.
TEST(CrossCorrelation, ScalesByTheLargestMagnitudeEvenWhenNegative) {
  const correlationField second = texture(64, 64, 5u);
  correlationField first = second;
  for (std::uint64_t i = 0; i < first.count; ++i) first.data[i] = -first.data[i];
  correlationField result(64, 64);
  int dx = 0, dy = 0;
  CrossCorrelation(first, second, result, false, true, false, false, dx, dy);
  EXPECT_FLOAT_EQ(result(31, 31), -1.0f);
  for (std::uint64_t i = 0; i < result.count; ++i) ASSERT_LT(result.data[i], 1.0f);
}

// Phase only gives a peak one pixel wide; the smoothing spreads it so that
// the spline finds a smooth top.
TEST(CrossCorrelation, SmoothingWidensTheSharpPhasePeak) {
  const correlationField second = texture(64, 64, 6u);
  for (const bool smooth : {false, true}) {
    correlationField result(64, 64);
    int dx = 0, dy = 0;
    CrossCorrelation(second, second, result, true, false, false, smooth, dx, dy);
    EXPECT_EQ(dx, 0);
    EXPECT_EQ(result(31, 31), 1.0f);
    EXPECT_EQ(result(32, 31) > 0.5f, smooth) << result(32, 31);
  }
}

TEST(CrossCorrelation, RefusesImagesOfDifferentSizes) {
  const correlationField a = texture(32, 32, 1u), b = texture(32, 16, 2u);
  struct sizeCase {
    const correlationField *first, *second;
    int resultW, resultH;
  };
  for (const sizeCase& c : {sizeCase{&a, &b, 32, 32}, {&b, &a, 32, 16}, {&a, &a, 16, 32}}) {
    correlationField result(c.resultW, c.resultH);
    result.fill(7.0f);
    int dx = 5, dy = 6;
    const auto notices = noticesOf(
        [&] { CrossCorrelation(*c.first, *c.second, result, true, false, false, false, dx, dy); });
    EXPECT_EQ(notices, std::vector<std::string>{differentDimensions});
    EXPECT_EQ(dx, 5);
    EXPECT_EQ(dy, 6);
    EXPECT_EQ(result(0, 0), 7.0f);
  }
}

// The project's warp moves the picture by fractions of a pixel; the
// alignment moves it back.
TEST(ShiftOnlyAlign, FindsFractionalShifts) {
  const correlationField second = texture(128, 128, 7u);
  const double shifts[][2] = {{0.0, 0.0}, {3.4, -2.2}, {-10.75, 6.5}, {0.3, 0.6}, {17.1, -15.9}};
  for (const auto& s : shifts) {
    zel::image first = moved(second, 1.0, 0.0, s[0], s[1]);
    polynomialState map;
    const shiftFound found = ShiftOnlyAlign(first, imageOf(second), map);
    EXPECT_NEAR(found.sx, -s[0], 0.1) << s[0] << "," << s[1];
    EXPECT_NEAR(found.sy, -s[1], 0.1) << s[0] << "," << s[1];
    EXPECT_EQ(found.dx, static_cast<int>(std::lround(-s[0]))) << s[0];
  }
}

// Turned and scaled about the centre: the alignment finds the inverse move.
TEST(MellinAlign, FindsTurnAndScale) {
  const int N = 256;
  const correlationField second = texture(N, N, 8u);
  struct turnCase {
    double alpha, scale;
  };
  for (const turnCase c : {turnCase{0.0, 1.0}, {6.0, 1.0}, {-4.0, 1.06}, {2.5, 0.93}}) {
    zel::image first = moved(second, c.scale, c.alpha, 0.0, 0.0);
    polynomialState map;
    const mellinFound found = MellinAlign(first, imageOf(second), map);
    EXPECT_NEAR(found.alpha, -c.alpha, 0.3) << c.alpha << " " << c.scale;
    EXPECT_NEAR(found.scale * c.scale, 1.0, 0.01) << c.alpha << " " << c.scale;
  }
}

}  // namespace
