#include <gtest/gtest.h>

#include <cmath>

#include "convert/planeFit.h"

namespace {

using namespace tamble;

struct planeCase {
  const char* what;
  int w, h;
  float a0, a1, a2;
  int mode;
  int holeEvery;  // every n-th pixel is background (0: none); mode 0 skips them
};

// Plane values with a stray value on the background pixels, which mode 0
// must not see and mode 1 must.
void fill(const planeCase& c, zel::arrayStore<float, 2>& f, zel::arrayStore<bool, 2>& bkgr,
          zel::arrayStore<bool, 2>& roi) {
  int i = 0;
  for (int y = 0; y < c.h; ++y)
    for (int x = 0; x < c.w; ++x, ++i) {
      const bool hole = c.holeEvery && i % c.holeEvery == 0;
      f(x, y) = hole ? 1e4f : c.a0 + c.a1 * x + c.a2 * y;
      bkgr(x, y) = hole && y % 2 == 0;
      roi(x, y) = !(hole && y % 2 == 1);
    }
}

class PlaneFitCases : public ::testing::TestWithParam<planeCase> {};

TEST_P(PlaneFitCases, RecoversTheSampledPlane) {
  const planeCase c = GetParam();
  zel::arrayStore<float, 2> f(c.w, c.h);
  zel::arrayStore<bool, 2> bkgr(c.w, c.h), roi(c.w, c.h);
  fill(c, f, bkgr, roi);
  const plane p = planeFit(f, bkgr, roi, c.mode);
  const float scale = std::fabs(c.a0) + std::fabs(c.a1) * c.w + std::fabs(c.a2) * c.h;
  EXPECT_NEAR(p.a0, c.a0, 2e-5f * scale) << c.what;
  EXPECT_NEAR(p.a1 * c.w, c.a1 * c.w, 2e-5f * scale) << c.what;
  EXPECT_NEAR(p.a2 * c.h, c.a2 * c.h, 2e-5f * scale) << c.what;
  EXPECT_LT(p.sigma, 1e-5f * scale) << c.what;
}

INSTANTIATE_TEST_SUITE_P(
    Planes, PlaneFitCases,
    ::testing::Values(planeCase{"small tilted", 7, 5, 3.0f, 0.5f, -0.25f, 1, 0},
                      planeCase{"flat", 16, 16, 42.0f, 0.0f, 0.0f, 0, 0},
                      planeCase{"camera sized", 2048, 1536, 2500.0f, 0.31f, -0.17f, 1, 0},
                      planeCase{"masked pixels skipped", 300, 200, 800.0f, -1.5f, 2.0f, 0, 7}));

TEST(PlaneFit, SeesTheStrayPixelsOnlyOverAllPixels) {
  const planeCase c{"", 40, 30, 10.0f, 1.0f, 1.0f, 1, 5};
  zel::arrayStore<float, 2> f(c.w, c.h);
  zel::arrayStore<bool, 2> bkgr(c.w, c.h), roi(c.w, c.h);
  fill(c, f, bkgr, roi);
  EXPECT_GT(planeFit(f, bkgr, roi, 1).sigma, 100.0f);
  EXPECT_LT(planeFit(f, bkgr, roi, 0).sigma, 1e-3f);
}

// Pixels that span no plane: nothing, one column, one row, one point.
TEST(PlaneFit, DegenerateSetsGiveTheirLineOrMeanLevel) {
  struct row {
    int w, h;
    int chosen;  // pixels not background, from the first
    plane want;
  };
  const row rows[] = {{5, 4, 0, {0, 0, 0, 0}},
                      {1, 6, 6, {1, 0, 1, 0}},
                      {6, 1, 6, {1, 1, 0, 0}},
                      {3, 3, 1, {1, 0, 0, 0}}};
  for (const row& r : rows) {
    zel::arrayStore<float, 2> f(r.w, r.h);
    zel::arrayStore<bool, 2> bkgr(r.w, r.h), roi(r.w, r.h);
    for (std::uint64_t i = 0; i < f.count; ++i) {
      f.data[i] = 1.0f + static_cast<float>(i);
      bkgr.data[i] = static_cast<int>(i) >= r.chosen;
      roi.data[i] = true;
    }
    const plane p = planeFit(f, bkgr, roi, 0);
    EXPECT_NEAR(p.a0, r.want.a0, 1e-5f) << r.w << "x" << r.h;
    EXPECT_NEAR(p.a1, r.want.a1, 1e-5f) << r.w << "x" << r.h;
    EXPECT_NEAR(p.a2, r.want.a2, 1e-5f) << r.w << "x" << r.h;
  }
}

TEST(SolveCompletePivot, SolvesWhereTheDiagonalStartsAtZeroAndRefusesSingular) {
  float a[3][3] = {{0, 2, 1}, {1, 0, 3}, {4, 1, 0}};
  float b[3] = {2 * 2 + 3, 1 + 3 * 3, 4 * 1 + 2};  // x = (1, 2, 3)
  float x[3] = {};
  const solveOutcome done = solveCompletePivot(a, b, 3, x);
  ASSERT_TRUE(done.solved);
  EXPECT_FALSE(done.significanceLost);
  EXPECT_FLOAT_EQ(x[0], 1.0f);
  EXPECT_FLOAT_EQ(x[1], 2.0f);
  EXPECT_FLOAT_EQ(x[2], 3.0f);

  float s[3][3] = {{1, 2, 3}, {2, 4, 6}, {1, 0, 1}};
  float sb[3] = {1, 2, 3};
  float kept[3] = {7, 8, 9};
  EXPECT_FALSE(solveCompletePivot(s, sb, 3, kept).solved);
  EXPECT_EQ(kept[0], 7.0f);

  float two[3][3] = {{2, 1, 0}, {1, 3, 0}, {0, 0, 0}};
  float tb[3] = {5, 10, 0};  // (1, 3) in the first two unknowns
  float tx[3] = {};
  ASSERT_TRUE(solveCompletePivot(two, tb, 2, tx).solved);
  EXPECT_FLOAT_EQ(tx[0], 1.0f);
  EXPECT_FLOAT_EQ(tx[1], 3.0f);

  float weak[3][3] = {{1, 0, 0}, {0, 1e-7f, 0}, {0, 0, 1}};
  float wb[3] = {1, 1e-7f, 1};
  float wx[3] = {};
  const solveOutcome lost = solveCompletePivot(weak, wb, 3, wx);
  EXPECT_TRUE(lost.solved && lost.significanceLost);
  EXPECT_FLOAT_EQ(wx[1], 1.0f);
}

}  // namespace
