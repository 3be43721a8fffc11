// The damped spline and the 5 by 5 block interpolation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <tuple>
#include <vector>

#include "geometry/spline.h"
#include "tests/support/sessionUi.h"

namespace {

using tamble::splgn;

struct spline {
  std::vector<float> y, b, c, d;
  explicit spline(std::vector<float> knots, float h = 1.0f)
      : y(std::move(knots)), b(y.size()), c(y.size()), d(y.size()) {
    splgn(h, nullptr, y.data(), static_cast<int>(y.size()), b.data(), c.data(), d.data());
  }
  float at(int i, float t) const {
    return tamble::splineValue(y.data(), b.data(), c.data(), d.data(), i, t);
  }
  // The farthest the curve between the knots strays beyond the knots' range.
  float overshoot() const {
    const auto [lo, hi] = std::minmax_element(y.begin(), y.end());
    float worst = 0;
    for (std::size_t i = 0; i + 1 < y.size(); ++i)
      for (int k = 0; k <= 100; ++k) {
        const float v = at(static_cast<int>(i), k * 0.01f);
        worst = std::max({worst, *lo - v, v - *hi});
      }
    return worst;
  }
};

// The f32 solve rounds (1/3.5 is no float), so a line comes back to within a
// few units in the last place of its values, no closer.
TEST(SplineSolve, StraightLineIsReproduced) {
  for (const auto& [y0, slope, n] : {std::tuple{3.0f, 2.0f, 5}, {100.0f, -10.0f, 7}}) {
    std::vector<float> knots;
    for (int i = 0; i < n; ++i) knots.push_back(y0 + slope * i);
    const spline s(knots);
    const float tol = 4 * FLT_EPSILON * std::max(std::abs(knots.front()), std::abs(knots.back()));
    for (int i = 0; i < n; ++i) {
      EXPECT_NEAR(s.b[i], slope, tol);
      EXPECT_NEAR(s.c[i], 0.0f, tol);
      EXPECT_NEAR(s.d[i], 0.0f, tol);
      for (float t : {0.25f, 0.5f, 0.75f}) EXPECT_NEAR(s.at(i, t), y0 + slope * (i + t), tol);
    }
  }
}

// y = 3 + a*(i - x0)^2 with slopes well below 1 per knot: the slope ratios stay
// near 1 and this is the natural cubic spline. Its ends assume no curvature,
// which leaves a slope error of a/7 at the knot next to the centre, and at
// most (a/7)*(4/27), about 0.021*a, in the centre piece.
TEST(SplineSolve, QuadraticIsFollowedClosely) {
  const float a = 0.05f;
  for (float x0 : {0.0f, 2.0f, 2.3f, 4.5f}) {
    std::vector<float> knots;
    for (int i = 0; i < 5; ++i) knots.push_back(3 + a * (i - x0) * (i - x0));
    const spline s(knots);
    for (int k = 0; k <= 20; ++k) {
      const float x = 2 + k * 0.05f;
      EXPECT_NEAR(s.at(2, k * 0.05f), 3 + a * (x - x0) * (x - x0), 0.025f * a) << x0 << " " << x;
    }
  }
}

// Hand solution for (0, 1, 0): the natural spline 1.5t - 0.5t^3 and its
// mirror. With h = 2 the same knots give b, c, d divided by h, h^2, h^3.
TEST(SplineSolve, SmallCaseByHandAndSpacing) {
  const spline s({0, 1, 0});
  const float b[3] = {1.5f, 0, -1.5f}, c[3] = {0, -1.5f, 0}, d[3] = {-0.5f, 0.5f, 0.5f};
  const spline wide({0, 1, 0}, 2.0f);
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(s.b[i], b[i], 1e-6f) << i;
    EXPECT_NEAR(s.c[i], c[i], 1e-6f) << i;
    EXPECT_NEAR(s.d[i], d[i], 1e-6f) << i;
    EXPECT_NEAR(wide.b[i], b[i] / 2, 1e-6f) << i;
    EXPECT_NEAR(wide.c[i], c[i] / 4, 1e-6f) << i;
    EXPECT_NEAR(wide.d[i], d[i] / 8, 1e-6f) << i;
  }
}

// Each piece ends on the next knot with the next knot's slope, and the last
// piece continues the one before it, whatever the data and spacing.
TEST(SplineSolve, PiecesJoinSmoothly) {
  for (float h : {1.0f, 0.5f}) {
    const spline s({4, 9, 2, 2.5f, 30, 31, 7}, h);
    for (int i = 0; i + 1 < 7; ++i) {
      EXPECT_NEAR(s.at(i, h), s.y[i + 1], 1e-3f) << i;
      EXPECT_NEAR(s.b[i] + 2 * s.c[i] * h + 3 * s.d[i] * h * h, s.b[i + 1], 1e-2f) << i;
    }
    for (float t : {0.5f, 1.0f}) EXPECT_NEAR(s.at(6, t), s.at(5, h + t), 1e-2f) << t;
  }
}

// A step of 1000 has slope ratios near 1000; damped by the power 2 they pin the
// slopes beside the step to almost nothing. A unit step (ratio sqrt 2) is not
// damped and rings like any cubic spline, by some 10 percent.
TEST(SplineSolve, DampingStopsOvershootAtSteps) {
  for (int at = 1; at < 5; ++at) {
    std::vector<float> up(5, 0.0f), down(5, 1000.0f);
    for (int i = at; i < 5; ++i) up[i] = 1000, down[i] = 0;
    EXPECT_LT(spline(up).overshoot(), 1e-5f * 1000) << at;
    EXPECT_LT(spline(down).overshoot(), 1e-5f * 1000) << at;
  }
  EXPECT_GT(spline({0, 0, 0, 1, 1}).overshoot(), 0.05f);
}

// Fewer than three knots are refused with a notice; nothing is written.
TEST(SplineSolve, FewerThanThreeKnotsAreRefused) {
  tamble::testing::sessionUi ui;
  const float y[3] = {1, 2, 4};
  float b[3] = {7, 7, 7}, c[3] = {7, 7, 7}, d[3] = {7, 7, 7};
  splgn(1.0f, nullptr, y, 2, b, c, d);
  ASSERT_EQ(ui.ui.notices, std::vector<std::string>{"splgn: n < 3 Operation Canceled"});
  splgn(1e-11f, nullptr, y, 3, b, c, d);  // knots at x: not provided, nothing happens
  EXPECT_EQ(ui.ui.notices.size(), 1u);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(b[i] == 7 && c[i] == 7 && d[i] == 7);
  splgn(1.0f, nullptr, y, 3, b, c, d);
  EXPECT_EQ(ui.ui.notices.size(), 1u);
  EXPECT_NE(b[0], 7.0f);
}

// The block's value along one axis, straight from the definition: splgn with
// h = 1 and the piece that bisection over the knots 0 to 4 finds.
float along(const float (&v)[5], float at) {
  int lo = 1, hi = 5;  // knots counted from 1, at positions 0 to 4
  while (hi - lo > 1) {
    const int k = (hi + lo) / 2;
    (static_cast<float>(k - 1) > at ? hi : lo) = k;
  }
  float b[5], c[5], d[5];
  splgn(1.0f, nullptr, v, 5, b, c, d);
  return tamble::splineValue(v, b, c, d, lo - 1, at - static_cast<float>(lo - 1));
}

// The block's two values interpolate columns first and rows first.
TEST(SplineBlock, OrdersFollowTheirAxes) {
  float block[5][5];
  for (int r = 0; r < 5; ++r)
    for (int c = 0; c < 5; ++c)
      block[r][c] = 0.37f * static_cast<float>((r * 7 + c * c * 3) % 11) + 0.1f * r;
  const float at[] = {-1.5f, -0.25f, 0, 0.5f, 1, 1.999f, 2, 2.5f, 3, 3.7f, 4, 4.25f, 4.5f, 5.5f};
  int differ = 0;
  for (float x : at)
    for (float y : at) {
      float columns[5], rows[5];
      for (int k = 0; k < 5; ++k) {
        const float column[5] = {block[0][k], block[1][k], block[2][k], block[3][k], block[4][k]};
        columns[k] = along(column, y);
        rows[k] = along(block[k], x);
      }
      float a = 0, b = 0;
      tamble::SplineBlock(x, y, block, a, b);
      EXPECT_EQ(a, along(columns, x)) << x << " " << y;
      EXPECT_EQ(b, along(rows, y)) << x << " " << y;
      differ += a != b;
    }
  EXPECT_GT(differ, 0);  // the two orders are told apart
}

}  // namespace
