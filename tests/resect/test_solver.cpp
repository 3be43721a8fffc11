// The calibration solver: its objective and Pearson term on series known by
// hand, its record of the best evaluation, and the runs of the edge cases:
// a zero denominator, a negative parameter, a start that cannot be
// improved, too many points; and it finds a lens from half of it.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "bench/cameraScenes.h"
#include "resect/calibrationSolver.h"
#include "resect/resection.h"

namespace {

using namespace tamble;

// A camera of one pixel per length unit centred on 0: the image point is
// the rational projection itself.
zel::cameraFeatures unitCamera() {
  zel::cameraFeatures c;
  c.dx = c.dy = 1.0;
  c.ncx = c.nfx = c.ncy = c.nfy = 1000;
  return c;
}

// u = a0 + a1 X, v = Y: a = {a0, a1, 0, 0, 1, 0, 0, 0}, b = {0, 0, 1, 0, 1, 0, 0, 0}.
std::array<double, solverParameters> line(double a0, double a1) {
  const double a[8] = {a0, a1, 0, 0, 1, 0, 0, 0}, b[8] = {0, 0, 1, 0, 1, 0, 0, 0}, k[2] = {0, 0};
  std::array<double, solverParameters> p;
  packParameters(a, b, k, p.data());
  return p;
}

struct pearsonCase {
  const char* name;
  std::vector<double> x;  // measured x; X the same, Y = y = 0, 1, 2...
  double a0, a1;
  double expected;
};

// pearsonDelta = sqrt(sqrt(|1 - A B / (C D)|)) / n, at most 1.
TEST(Pearson, MeasuresTheSpreadOfTheComputedSeries) {
  const pearsonCase cases[] = {
      {"perfect", {0, 2, 5, 7}, 0.0, 1.0, 0.0},
      {"spread doubled", {0, 2}, -1.0, 2.0, std::pow(3.0, 0.25) / 2},  // u = -1, 3: A B / C D = 4
      {"capped", {0, 2}, -4.0, 5.0, 1.0},                              // A B / C D = 25
      {"no spread measured", {3, 3, 3}, 0.0, 1.0, 1.0}};
  for (const pearsonCase& c : cases) {
    const int n = static_cast<int>(c.x.size());
    std::vector<double> Y(n), Z(n, 0.0);
    for (int i = 0; i < n; ++i) Y[i] = i;
    ASSERT_TRUE(
        setSolverPoints(c.x.data(), Y.data(), Z.data(), c.x.data(), Y.data(), n, unitCamera()));
    solverObjective(line(c.a0, c.a1).data());
    EXPECT_DOUBLE_EQ(pearsonDelta(), c.expected) << c.name;
  }
}

// F is the mean squared distance; the best record keeps the lowest F, the
// parameters that gave it and the number of its evaluation, a tie leaving
// the earlier one.
TEST(Objective, KeepsTheBestEvaluation) {
  const double X[] = {1, 2, 3}, Y[] = {4, 5, 6}, Z[] = {0, 0, 0};
  ASSERT_TRUE(setSolverPoints(X, Y, Z, X, Y, 3, unitCamera()));
  resetSolverBest();
  const struct {
    double shift, F, best;
    long bestEvaluation;
    double bestShift;
  } steps[] = {{2, 4, 4, 1, 2},
               {1, 1, 1, 2, 1},
               {3, 9, 1, 2, 1},
               {-1, 1, 1, 2, 1},
               {0.5, 0.25, 0.25, 5, 0.5}};
  long evaluation = 0;
  for (const auto& s : steps) {
    const auto p = line(s.shift, 1.0);
    EXPECT_DOUBLE_EQ(solverObjective(p.data()), s.F);
    ++evaluation;
    EXPECT_EQ(solverBest().evaluations, evaluation);
    EXPECT_DOUBLE_EQ(solverBest().best, s.best);
    EXPECT_EQ(solverBest().bestEvaluation, s.bestEvaluation);
    EXPECT_EQ(solverBest().p[0], s.bestShift);
  }
}

struct runCase {
  const char* name;
  double a0;  // u = a0 + X, the measured x = X + shift
  double shift;
  bool allSteps;  // the simplex runs to its 50000 steps
};
void PrintTo(const runCase& c, std::ostream* os) { *os << c.name; }

class SolverRuns : public ::testing::TestWithParam<runCase> {};

std::string stepsOfConfiguration(const std::string& report) {
  const std::string key = "After Configuration method Steps: ";
  const std::size_t at = report.find(key);
  return at == std::string::npos
             ? ""
             : report.substr(at + key.size(), report.find(' ', at + key.size()) - at - key.size());
}

// A start that fits exactly cannot be improved: true, the coefficients as
// they were. A negative parameter, exact or not, keeps the simplex to its
// limit of steps, which the report shows; without one it settles sooner.
TEST_P(SolverRuns, EndOnTheStartOrBetter) {
  const runCase& c = GetParam();
  std::vector<double> X, Y, Z, x;
  for (int i = 0; i < 12; ++i) {
    X.push_back(i * 3.5 - 7), Y.push_back((i * 7) % 5), Z.push_back(i % 3);
    x.push_back(X.back() + c.shift);
  }
  double a[8] = {c.a0, 1, 0, 0, 1, 0, 0, 0}, b[8] = {0, 0, 1, 0, 1, 0, 0, 0}, k[2] = {0, 0};
  const std::vector<double> a0(a, a + 8), b0(b, b + 8);
  std::string report;
  ASSERT_TRUE(calibrateCamera(X.data(), Y.data(), Z.data(), x.data(), Y.data(), 12, unitCamera(), a,
                              b, k, report));
  const bool exact = c.a0 == c.shift;
  if (exact) {
    EXPECT_EQ(std::vector<double>(a, a + 8), a0);
    EXPECT_EQ(std::vector<double>(b, b + 8), b0);
    EXPECT_EQ(k[0], 0.0);
    EXPECT_EQ(report.rfind("Initial Tsai or Brelin Method                 F=0\n", 0), 0u) << report;
  } else {
    EXPECT_LT(std::fabs(a[0] / a[4] - c.shift), std::fabs(c.a0 - c.shift));
  }
  const std::string steps = stepsOfConfiguration(report);
  if (c.allSteps) {
    EXPECT_EQ(steps, "50000") << report;
  } else {
    EXPECT_LT(std::stoi(steps), 50000) << report;
  }
}

INSTANTIATE_TEST_SUITE_P(Starts, SolverRuns,
                         ::testing::Values(runCase{"exact, no negative parameter", 0.0, 0.0, false},
                                           runCase{"exact with a negative parameter", -1.0, -1.0,
                                                   true},
                                           runCase{"off by 0.5, negative", -1.5, -1.0, true}));

// Points on which a denominator is zero (X = 0 with u = X / X) do not stop
// the run: 1e-30 stands in for the denominator, F stays a number.
TEST(Solver, RunsThroughAZeroDenominator) {
  const double X[] = {0, 1, 2, 3, 4, 5, 6, 7, 8}, Y[] = {1, 2, 3, 1, 2, 3, 1, 2, 3};
  const double Z[] = {0, 0, 0, 1, 1, 1, 2, 2, 2}, x[] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
  ASSERT_TRUE(setSolverPoints(X, Y, Z, x, Y, 9, unitCamera()));
  const double a[8] = {0, 1, 0, 0, 0, 1, 0, 0}, b[8] = {0, 0, 1, 0, 1, 0, 0, 0}, k[2] = {0, 0};
  double p[solverParameters];
  packParameters(a, b, k, p);
  EXPECT_TRUE(std::isfinite(solverObjective(p)));
  double a1[8], b1[8], k1[2];
  unpackParameters(p, a1, b1, k1);
  std::string report;
  EXPECT_TRUE(calibrateCamera(X, Y, Z, x, Y, 9, unitCamera(), a1, b1, k1, report));
  EXPECT_NE(report.find("After Foton  Method Steps: "), std::string::npos);
}

// More points than the arrays hold: nothing runs and nothing changes.
TEST(Solver, TakesAtMost8192Points) {
  const int n = solverCapacity + 1;
  std::vector<double> v(n, 1.0);
  double a[8] = {1, 2, 3, 4, 5, 6, 7, 8}, b[8] = {}, k[2] = {0.5, 0.25};
  std::string report = "untouched";
  EXPECT_FALSE(calibrateCamera(v.data(), v.data(), v.data(), v.data(), v.data(), n, unitCamera(), a,
                               b, k, report));
  EXPECT_EQ(a[1], 2.0);
  EXPECT_EQ(report, "untouched");
}

// Exact pairs of a camera whose file knows its centre but half its lens, or
// none of it (terms at 0, which only the second stage can move): the closed
// method leaves residuals of a tenth of a pixel or more, the solver takes
// them to nothing and finds the lens's shift at the frame's corner.
TEST(Solver, FindsTheLensTheFileDoesNotKnow) {
  using namespace tamble::camerabench;
  const trueCamera truth = overheadCamera();
  const pointSet s = scatter(truth, 60, 0.0, 17);
  const lensTerms correction = cameraLens(truth.lens, truth.radius());
  zel::markersArray image, model;
  for (int i = 0; i < s.size(); ++i) {
    image.add({s.x[i], s.y[i], 0, 0, true, 0});
    model.add({s.X[i], s.Y[i], s.Z[i], 0, true, 0});
  }
  const double R = truth.radius();
  const auto shift = [&](lensTerms t) {
    return (R - R / (1 + t.k1 * R * R + t.k2 * R * R * R * R)) / truth.pitch;
  };
  for (double share : {0.5, 0.0}) {
    const zel::cameraFeatures file =
        truth.file(truth.cx, truth.cy, {share * correction.k1, share * correction.k2});
    resectCoefficients c;
    resectErrors before, after;
    lensTerms lens;
    ASSERT_TRUE(calcResectCoefficients(image, model, file, 1, false, c, before, lens, false, "s"));
    ASSERT_TRUE(calcResectCoefficients(image, model, file, 1, true, c, after, lens, false, "s"));
    EXPECT_GT(before.maxDx + before.maxDy, 0.1) << share;
    EXPECT_LT(after.maxDx + after.maxDy, 1e-4) << share;
    EXPECT_NEAR(shift(lens), shift(truth.lens), 0.01) << share;
  }
}

}  // namespace
