// calcResectCoefficients: both closed methods give the same projection on
// good data, the count of active pairs decides, inactive pairs count
// nowhere, and every refusal is a message, never a crash.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "api/errors.h"
#include "api/report.h"
#include "bench/cameraScenes.h"
#include "resect/resection.h"

namespace {

using namespace tamble;
using namespace tamble::camerabench;

// Keeps the notices.
class noticeLog : public zel::reportSink {
 public:
  noticeLog() { zel::setReport(this); }
  ~noticeLog() override { zel::setReport(nullptr); }
  void notice(const std::string& text) override { notices.push_back(text); }
  void progress(const std::string&, int) override {}
  bool quiet() const override { return false; }
  std::vector<std::string> notices;
};

struct markers {
  zel::markersArray image, model;
};

markers markersOf(const pointSet& s) {
  markers m;
  for (int i = 0; i < s.size(); ++i) {
    m.image.add({s.x[i], s.y[i], 0, 0, true, 0});
    m.model.add({s.X[i], s.Y[i], s.Z[i], 0, true, 0});
  }
  return m;
}

// A camera without lens, known exactly.
trueCamera pinhole(trueCamera (*make)()) {
  trueCamera c = make();
  c.lens = {};
  return c;
}

struct outcome {
  bool ok = false;
  cameraProjection projection;
  resectErrors errors;
  std::string report;
};

outcome run(const markers& m, const zel::cameraFeatures& file, int type, bool optimize,
            bool show = false) {
  outcome o;
  o.projection.camera = resectCameraOf(file).value_or(resectCamera{});
  o.ok = calcResectCoefficients(m.image, m.model, file, type, optimize, o.projection.coefficients,
                                o.errors, o.projection.lens, show, "wing", &o.report);
  return o;
}

double largestDifference(const cameraProjection& a, const cameraProjection& b, const pointSet& s) {
  double worst = 0.0;
  for (int i = 0; i < s.size(); ++i) {
    double xa, ya, xb, yb;
    a.project(s.X[i], s.Y[i], s.Z[i], xa, ya);
    b.project(s.X[i], s.Y[i], s.Z[i], xb, yb);
    worst = std::max(worst, std::hypot(xa - xb, ya - yb));
  }
  return worst;
}

struct methodCase {
  const char* name;
  trueCamera (*camera)();
  int points;
  double aspect;  // the file's dy over the true pitch: pixels that are not square
};
void PrintTo(const methodCase& c, std::ostream* os) {
  *os << c.name << " " << c.points << " aspect " << c.aspect;
}

class BothMethods : public ::testing::TestWithParam<methodCase> {};

// Exact pairs of a pinhole camera: Resect 1 and Resect 2 each reproduce
// them to rounding and project points they did not see alike; Tsai's
// record, too, has its Z coefficient at 1. A camera file whose pixels are
// not square (the x and y scales differ) is no exception.
TEST_P(BothMethods, GiveTheSameProjectionOnExactPairs) {
  const trueCamera truth = pinhole(GetParam().camera);
  const markers m = markersOf(scatter(truth, GetParam().points, 0.0, 21));
  zel::cameraFeatures file = truth.exactFile();
  file.dy *= GetParam().aspect;
  const outcome tsai = run(m, file, 0, false);
  const outcome projective = run(m, file, 1, false);
  ASSERT_TRUE(tsai.ok) << tsai.report;
  ASSERT_TRUE(projective.ok) << projective.report;
  EXPECT_LT(std::max(tsai.errors.maxDx, tsai.errors.maxDy), 1e-7);
  EXPECT_LT(std::max(projective.errors.maxDx, projective.errors.maxDy), 1e-7);
  EXPECT_NEAR(tsai.projection.coefficients.ax[7], 1.0, 1e-12);
  EXPECT_LT(largestDifference(tsai.projection, projective.projection, scatter(truth, 100, 0.0, 5)),
            1e-6);
}

INSTANTIATE_TEST_SUITE_P(Cameras, BothMethods,
                         ::testing::Values(methodCase{"overhead", overheadCamera, 9, 1.0},
                                           methodCase{"overhead", overheadCamera, 40, 1.0},
                                           methodCase{"overhead", overheadCamera, 40, 1.03},
                                           methodCase{"wide", wideCamera, 12, 1.0},
                                           methodCase{"wide", wideCamera, 200, 0.95}));

struct countCase {
  int active, inactive;
  bool passes;
};

// 9 active pairs are enough and 8 are not, whatever the inactive ones are.
TEST(ActivePairs, NineAreEnoughAndEightAreNot) {
  const countCase cases[] = {{9, 0, true},  {8, 0, false},  {8, 30, false},
                             {9, 30, true}, {0, 12, false}, {0, 0, false}};
  const trueCamera truth = pinhole(overheadCamera);
  for (const countCase& c : cases) {
    const pointSet s = scatter(truth, c.active + c.inactive, 0.0, 4);
    markers m = markersOf(s);
    for (int i = 0; i < c.inactive; ++i) m.image[c.active + i].active = false;
    for (int type : {0, 1}) {
      const outcome o = run(m, truth.exactFile(), type, false);
      EXPECT_EQ(o.ok, c.passes) << c.active << " active, " << c.inactive << " inactive";
      if (!c.passes) {
        EXPECT_EQ(o.report, "Resection: wing\n\nReal count of the markers is too small");
      }
    }
  }
}

// Inactive pairs, however wrong (not even numbers), change nothing; a pair
// is inactive when either of its markers is.
TEST(ActivePairs, InactiveOnesAreIgnored) {
  const trueCamera truth = wideCamera();
  const pointSet s = scatter(truth, 24, 0.2, 6);
  const markers clean = markersOf(s);
  markers spoiled = clean;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  spoiled.image.add({nan, 5, 0, 0, false, 0});
  spoiled.model.add({1, 2, 3, 0, true, 0});
  spoiled.image.add({1e9, -1e9, 0, 0, true, 0});
  spoiled.model.add({nan, 0, 0, 0, false, 0});
  for (int type : {0, 1}) {
    const outcome a = run(clean, truth.exactFile(), type, true);
    const outcome b = run(spoiled, truth.exactFile(), type, true);
    ASSERT_TRUE(a.ok && b.ok);
    EXPECT_EQ(a.projection.coefficients.ax, b.projection.coefficients.ax);
    EXPECT_EQ(a.projection.coefficients.ay, b.projection.coefficients.ay);
    EXPECT_EQ(a.errors.pairs, b.errors.pairs);
  }
}

struct refusal {
  const char* name;
  void (*spoil)(markers&, zel::cameraFeatures&);
  const char* message;
};
void PrintTo(const refusal& r, std::ostream* os) { *os << r.name; }

class Refusals : public ::testing::TestWithParam<refusal> {};

// Each bad input is refused with its message, shown as a notice only when
// errors are to be shown, and the outputs stay as they were.
TEST_P(Refusals, SayWhyAndChangeNothing) {
  const trueCamera truth = pinhole(overheadCamera);
  markers m = markersOf(scatter(truth, 15, 0.0, 2));
  zel::cameraFeatures file = truth.exactFile();
  GetParam().spoil(m, file);
  for (int type : {0, 1}) {
    noticeLog log;
    resectCoefficients c;
    c.ax.fill(3.0);
    resectErrors e;
    e.pairs = -5;
    lensTerms lens{7.0, 8.0};
    std::string report;
    EXPECT_FALSE(calcResectCoefficients(m.image, m.model, file, type, true, c, e, lens, true,
                                        "wing", &report));
    EXPECT_EQ(report, GetParam().message);
    ASSERT_EQ(log.notices.size(), 1u);
    EXPECT_EQ(log.notices[0], GetParam().message);
    EXPECT_EQ(c.ax[0], 3.0);
    EXPECT_EQ(e.pairs, -5);
    EXPECT_EQ(lens.k1, 7.0);
    EXPECT_FALSE(
        calcResectCoefficients(m.image, m.model, file, type, true, c, e, lens, false, "wing"));
    EXPECT_EQ(log.notices.size(), 1u) << "a notice without showErrors";
  }
}

const char* const cannot = "Resection: Can not calculate transformation coeffitients";

INSTANTIATE_TEST_SUITE_P(
    Inputs, Refusals,
    ::testing::Values(
        refusal{"lengths differ",
                [](markers& m, zel::cameraFeatures&) {
                  m.model.add({1, 2, 3, 0, true, 0});
                },
                "Resection: wing\n\nDifferent count of the Geometry and Image markers"},
        refusal{"all flags off",
                [](markers& m, zel::cameraFeatures&) {
                  for (marker& k : m.image.items) k.active = false;
                },
                "Resection: wing\n\nReal count of the markers is too small"},
        refusal{"on one line",
                [](markers& m, zel::cameraFeatures&) {
                  for (int i = 0; i < m.model.count(); ++i)
                    m.model[i] = {10.0 * i, 5.0 * i, -2.0 * i, 0, true, i + 1};
                },
                cannot},
        refusal{"all at one point",
                [](markers& m, zel::cameraFeatures&) {
                  for (marker& k : m.model.items) k.x = 100, k.y = 50, k.z = 5;
                  for (marker& k : m.image.items) k.x = 1000, k.y = 980;
                },
                cannot},
        refusal{"in one plane",
                [](markers& m, zel::cameraFeatures&) {
                  for (marker& k : m.model.items) k.z = 0.0;
                },
                cannot},
        refusal{"a coordinate not a number",
                [](markers& m, zel::cameraFeatures&) {
                  m.model[6].z = std::numeric_limits<double>::quiet_NaN();
                },
                "Resection: wing\n\nMarker No 7 has a coordinate that is not a number"},
        refusal{"an image point infinite",
                [](markers& m, zel::cameraFeatures&) {
                  m.image[0].y = -std::numeric_limits<double>::infinity();
                },
                "Resection: wing\n\nMarker No 1 has a coordinate that is not a number"},
        refusal{"a camera without pitch", [](markers&, zel::cameraFeatures& f) { f.dx = 0.0; },
                "Resection: wing\n\nThe camera has no pixel scale: dx, dy, ncx, ncy, nfx and nfy "
                "must be positive"}));

// An unknown method is an error of the module resect_coeff.
TEST(ResectType, OnlyZeroAndOneAreMethods) {
  const trueCamera truth = pinhole(overheadCamera);
  const markers m = markersOf(scatter(truth, 12, 0.0, 2));
  for (int type : {-1, 2}) {
    try {
      run(m, truth.exactFile(), type, false);
      ADD_FAILURE() << "type " << type << " accepted";
    } catch (const zel::AlgoError& e) {
      EXPECT_STREQ(e.message, "Wrong resect type");
      EXPECT_STREQ(e.file, "resect_coeff");
    }
  }
}

// The report of a solved camera: the solver's stages, then the error
// report, whose figures are those of the outputs' own projection, whose
// denominators have a Z coefficient of 1.
TEST(Report, HoldsTheSolverStagesAndTheResidualsOfTheResult) {
  const trueCamera truth = overheadCamera();
  const pointSet s = scatter(truth, 30, 0.2, 13);
  const markers m = markersOf(s);
  noticeLog log;
  const outcome o = run(m, truth.exactFile(), 1, true, true);
  ASSERT_TRUE(o.ok);
  ASSERT_EQ(log.notices.size(), 1u);
  EXPECT_EQ(log.notices[0], o.report);
  EXPECT_EQ(o.projection.coefficients.ax[7], 1.0) << "the solver's record is put back to a7 = 1";
  EXPECT_EQ(o.projection.coefficients.ay[7], 1.0);
  const char* order[] = {"Initial Tsai or Brelin Method                 F=",
                         "Before Configuration Method Steps: 50000  F=",
                         "After Configuration method Steps: ",
                         "Before Foton Method Steps: 400000",
                         "Code #",
                         "After Foton  Method Steps: ",
                         "\nResection: wing\n\n"};
  std::size_t at = 0;
  for (const char* part : order) {
    const std::size_t found = o.report.find(part, at);
    ASSERT_NE(found, std::string::npos) << part << "\n" << o.report;
    at = found;
  }
  const resectErrors again = residualErrors(o.projection, m.image, m.model);
  EXPECT_EQ(o.errors.maxDx, again.maxDx);
  EXPECT_EQ(o.errors.maxDyIndex, again.maxDyIndex);
  EXPECT_EQ(o.errors.meanDy, again.meanDy);
  EXPECT_EQ(o.report.substr(o.report.find("Resection: wing")), resectErrorText("wing", again));
}

}  // namespace
