// The searches on functions with a known minimum: the simplex's steps
// counted but not run once it repeats itself end where running them ends;
// the quasi-Newton iteration reaches the minimum, and its factor stands for
// the matrix it is updated to. (The simplex's stopping rule: the solver's
// runs in test_solver.cpp.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "resect/searches.h"

namespace {

using namespace tamble;

std::vector<double> dense(const ldlFactor& f) {
  const int n = f.n;
  std::vector<double> L(n * n, 0.0), D(n), B(n * n, 0.0);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < i; ++j) L[i * n + j] = f.packed[i * (i + 1) / 2 + j];
    L[i * n + i] = 1.0;
    D[i] = f.packed[i * (i + 1) / 2 + i];
  }
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      for (int k = 0; k < n; ++k) B[i * n + j] += L[i * n + k] * D[k] * L[j * n + k];
  return B;
}

// Updates by sigma z z^T, positive and negative, give the factor of the
// updated matrix; solving with it inverts that matrix.
TEST(LdlFactor, FollowsRankOneUpdates) {
  const int n = 4;
  ldlFactor f(n);
  std::vector<double> B(n * n, 0.0);
  for (int i = 0; i < n; ++i) B[i * n + i] = 1.0;
  const struct {
    double sigma;
    double z[4];
  } updates[] = {{2.0, {1, -2, 0.5, 3}},
                 {0.5, {0, 1, 1, -1}},
                 {-0.05, {1, 1, 0, 1}},
                 {3.0, {2, 0, -1, 0.25}},
                 {-0.1, {0.5, -1, 1, 0}}};
  for (const auto& u : updates) {
    f.update(u.sigma, u.z);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) B[i * n + j] += u.sigma * u.z[i] * u.z[j];
    const std::vector<double> got = dense(f);
    for (int i = 0; i < n * n; ++i) EXPECT_NEAR(got[i], B[i], 1e-12) << "element " << i;
    EXPECT_TRUE(f.positive());
  }
  const double rhs[4] = {1, 2, 3, 4};
  double x[4];
  f.solve(rhs, x);
  for (int i = 0; i < n; ++i) {
    double sum = 0.0;
    for (int j = 0; j < n; ++j) sum += B[i * n + j] * x[j];
    EXPECT_NEAR(sum, rhs[i], 1e-12);
  }
  const double z[4] = {0, 0, 5, 0};
  f.update(-1.0, z);  // would make the matrix indefinite
  EXPECT_TRUE(f.positive());
}

// A bowl with its bottom at (1, 2, 3, 4) and axes of very different
// curvature.
double bowl(const double* x) {
  const double c[4] = {1, 2, 3, 4}, w[4] = {1, 100, 0.01, 10};
  double s = 0.0;
  for (int j = 0; j < 4; ++j) s += w[j] * (x[j] - c[j]) * (x[j] - c[j]);
  return s;
}

double bowl2(const double* x) { return bowl(std::vector<double>{x[0], x[1], 3, 4}.data()); }

double rosenbrock(const double* x) {
  return 100.0 * (x[1] - x[0] * x[0]) * (x[1] - x[0] * x[0]) + (1 - x[0]) * (1 - x[0]);
}

// With a tolerance never met, the search's result is, bit for bit, that of
// every one of its steps run; it evaluates far less once the simplex has
// shrunk to within rounding of a point.
TEST(SimplexSearch, SkipsOnlyStepsThatRepeatThemselves) {
  const double start[4] = {2, 1, 5, 3}, scale[4] = {1, 1, 1, 1}, never[4] = {-1, -1, -1, -1};
  long counted = 0;
  const searchObjective F = [&](const double* x) { return ++counted, bowl(x); };
  double x[4] = {2, 1, 5, 3};
  const simplexResult r = simplexSearch(F, 4, x, scale, 0.1, 20000, never);
  EXPECT_EQ(r.steps, 20000);
  const long searched = counted;
  simplexState s(4);
  for (int j = 0; j < 4; ++j) s.vertex(0)[j] = start[j] - 0.1 * scale[j];
  for (int k = 1; k <= 4; ++k) {
    std::copy(start, start + 4, s.vertex(k));
    s.vertex(k)[k - 1] += 0.1 * scale[k - 1];
  }
  for (int i = 0; i <= 4; ++i) s.values[i] = F(s.vertex(i));
  s.sort();
  for (int step = 0; step < 20000; ++step) simplexStep(s, F);
  EXPECT_EQ(std::vector<double>(x, x + 4), std::vector<double>(s.vertex(0), s.vertex(0) + 4));
  EXPECT_LT(searched, (counted - searched) / 10);
  EXPECT_NEAR(x[1], 2.0, 1e-6);
}

struct newtonCase {
  const char* name;
  double (*F)(const double*);
  int n;
  std::vector<double> start, minimum;
  long limit;
  int code;
};
void PrintTo(const newtonCase& c, std::ostream* os) { *os << c.name; }

class QuasiNewton : public ::testing::TestWithParam<newtonCase> {};

// A quadratic bowl converges (code 0): central differences are exact on
// it. Rosenbrock's valley ends where differences of steps 1e-3 times the
// coordinates no longer give a descent (130), within 1e-4 of the minimum.
// A run out of evaluations ends with 131. Every run ends no worse than it
// started.
TEST_P(QuasiNewton, ReachesTheMinimumOrItsLimit) {
  const newtonCase& c = GetParam();
  std::vector<double> x = c.start;
  const double start = c.F(x.data());
  const quasiNewtonResult r = quasiNewtonSearch(c.F, c.n, 8, c.limit, 0, x.data());
  EXPECT_EQ(r.code, c.code);
  EXPECT_LE(c.F(x.data()), start);
  EXPECT_LE(r.evaluations, c.limit);
  if (c.code != 131) {
    for (int j = 0; j < c.n; ++j) EXPECT_NEAR(x[j], c.minimum[j], 1e-4) << j;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Functions, QuasiNewton,
    ::testing::Values(
        newtonCase{"bowl", bowl, 4, {2, 1, 5, 3}, {1, 2, 3, 4}, 100000, 0},
        newtonCase{"rosenbrock", rosenbrock, 2, {-1.2, 1}, {1, 1}, 100000, 130},
        newtonCase{"rosenbrock, 40 evaluations", rosenbrock, 2, {-1.2, 1}, {1, 1}, 40, 131}));

// Mode 1 starts from the caller's factor: one that is not positive ends at
// once with 129 and x as it was; a positive one is used.
TEST(QuasiNewtonMode, StartsFromTheCallersFactor) {
  double x[2] = {-1.2, 1};
  const double negative[3] = {1.0, 0.0, -1.0};
  EXPECT_EQ(quasiNewtonSearch(rosenbrock, 2, 8, 1000, 1, x, negative).code, 129);
  EXPECT_EQ(x[0], -1.2);
  const double scaled[3] = {2.0, 0.0, 0.5};
  EXPECT_NE(quasiNewtonSearch(bowl2, 2, 8, 100000, 1, x, scaled).code, 129);
  EXPECT_NEAR(x[0], 1.0, 1e-6);
  EXPECT_NEAR(x[1], 2.0, 1e-6);
}

}  // namespace
