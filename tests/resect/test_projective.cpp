// The projective method ("Resect 2") recovers a camera from exact pairs to
// machine precision, honours the camera's lens correction, ignores inactive
// pairs and refuses points that cannot determine a camera; the residual
// figures and their text are those of hand-made residuals.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "bench/cameraScenes.h"
#include "resect/resectCoefficients.h"

namespace {

using namespace tamble;
using namespace tamble::camerabench;

std::vector<char> allActive(int n) { return std::vector<char>(static_cast<std::size_t>(n), 1); }
const bool* flags(const std::vector<char>& v) { return reinterpret_cast<const bool*>(v.data()); }

bool fit(const pointSet& s, const std::vector<char>& active, const resectCamera& cam,
         resectCoefficients& out) {
  return resectProjective(s.X.data(), s.Y.data(), s.Z.data(), s.x.data(), s.y.data(),
                          flags(active), s.size(), cam, out);
}

// Largest distance in pixels between the projection and the true image of
// fresh points.
double heldOutError(const cameraProjection& p, const trueCamera& truth) {
  const pointSet fresh = scatter(truth, 200, 0.0, 99);
  double worst = 0.0;
  for (int i = 0; i < fresh.size(); ++i) {
    double x = 0, y = 0;
    p.project(fresh.X[i], fresh.Y[i], fresh.Z[i], x, y);
    worst = std::max(worst, std::hypot(x - fresh.x[i], y - fresh.y[i]));
  }
  return worst;
}

struct exactCase {
  const char* name;
  trueCamera (*camera)();
  int points;
};
void PrintTo(const exactCase& c, std::ostream* os) { *os << c.name << " " << c.points; }

class ExactPairs : public ::testing::TestWithParam<exactCase> {};

// A lens-free camera known exactly: the residuals and the error at points
// not used are at the level of rounding (the image spans 2048 pixels).
TEST_P(ExactPairs, ReproduceTheCameraToRounding) {
  trueCamera truth = GetParam().camera();
  truth.lens = {};
  const pointSet s = scatter(truth, GetParam().points, 0.0, 7);
  const resectCamera cam = *resectCameraOf(truth.exactFile());
  cameraProjection p{{}, cam, {}};
  ASSERT_TRUE(fit(s, allActive(s.size()), cam, p.coefficients));
  EXPECT_EQ(p.coefficients.ax[7], 1.0);
  EXPECT_EQ(p.coefficients.ay[7], 1.0);
  const std::vector<char> on = allActive(s.size());
  const resectErrors e =
      residualErrors(p, s.X.data(), s.Y.data(), s.Z.data(), s.x.data(), s.y.data(), flags(on), s.size());
  EXPECT_EQ(e.pairs, s.size());
  EXPECT_LT(e.maxDx, 1e-7);
  EXPECT_LT(e.maxDy, 1e-7);
  EXPECT_LT(heldOutError(p, truth), 1e-6);
}

INSTANTIATE_TEST_SUITE_P(Cameras, ExactPairs,
                         ::testing::Values(exactCase{"overhead", overheadCamera, 9},
                                           exactCase{"overhead", overheadCamera, 100},
                                           exactCase{"wide", wideCamera, 9},
                                           exactCase{"wide", wideCamera, 20},
                                           exactCase{"wide", wideCamera, 500}));

// Image points that the camera's correction takes exactly to the pinhole's
// picture: the method finds the pinhole to rounding, and the projection,
// with the correction's terms turned into projection terms, lands within a
// tenth of a pixel of the measured points even for the 30 pixel barrel of
// the wide lens (two terms of one form only approximate the other).
TEST(ProjectiveMethod, CorrectsTheLensBeforeItSolves) {
  for (trueCamera (*make)() : {overheadCamera, wideCamera}) {
    trueCamera pinhole = make();
    const lensTerms correction = cameraLens(pinhole.lens, pinhole.radius());
    pinhole.lens = {};
    const zel::cameraFeatures file = pinhole.file(pinhole.cx, pinhole.cy, correction);
    const resectCamera cam = *resectCameraOf(file);
    pointSet s = scatter(pinhole, 60, 0.0, 3);
    for (int i = 0; i < s.size(); ++i) {  // measured m with c(|m|) m = ideal
      const double ux = (s.x[i] - cam.cx) / cam.sx, uy = (s.y[i] - cam.cy) / cam.sy;
      double mx = ux, my = uy;
      for (int k = 0; k < 100; ++k) {
        const double r2 = mx * mx + my * my, c = 1 + correction.k1 * r2 + correction.k2 * r2 * r2;
        mx = ux / c;
        my = uy / c;
      }
      s.x[i] = cam.cx + cam.sx * mx;
      s.y[i] = cam.cy + cam.sy * my;
    }
    cameraProjection ideal{{}, cam, {}};
    ASSERT_TRUE(fit(s, allActive(s.size()), cam, ideal.coefficients));
    ideal.camera.lens = {};
    EXPECT_LT(heldOutError(ideal, pinhole), 1e-6);
    cameraProjection p{ideal.coefficients, cam, projectionLens(correction, cam.radius)};
    const std::vector<char> on = allActive(s.size());
    const resectErrors e = residualErrors(p, s.X.data(), s.Y.data(), s.Z.data(), s.x.data(),
                                          s.y.data(), flags(on), s.size());
    EXPECT_LT(std::max(e.maxDx, e.maxDy), 0.1);
  }
}

// Converting the lens terms there and back gives the terms again to 1 %, and
// each form moves every radius of the sensor where the other says, to a
// tenth of a pixel.
TEST(LensTerms, ConvertBetweenCorrectionAndProjection) {
  for (trueCamera (*make)() : {overheadCamera, wideCamera}) {
    const trueCamera c = make();
    const double R = c.radius();
    const lensTerms correction = cameraLens(c.lens, R);
    const lensTerms back = projectionLens(correction, R);
    EXPECT_NEAR(back.k1, c.lens.k1, 1e-2 * std::fabs(c.lens.k1));
    for (double rho : {0.25 * R, 0.6 * R, R}) {
      const double f = 1 + c.lens.k1 * rho * rho + c.lens.k2 * std::pow(rho, 4);
      const double m = rho / f;
      const double cm = 1 + correction.k1 * m * m + correction.k2 * std::pow(m, 4);
      EXPECT_NEAR(m * cm, rho, 0.1 * c.pitch);
    }
  }
  EXPECT_EQ(projectionLens({}, 5.0).k1, 0.0);
  EXPECT_EQ(cameraLens({1e-3, 0.0}, 0.0).k1, 0.0);
}

struct badCase {
  const char* name;
  void (*spoil)(pointSet&, std::vector<char>&);
  bool solvable;
};
void PrintTo(const badCase& c, std::ostream* os) { *os << c.name; }

class PointsThatDoNotDetermineACamera : public ::testing::TestWithParam<badCase> {};

// Each spoiled set gives false and leaves the coefficients as they were;
// the rows that are only odd still solve.
TEST_P(PointsThatDoNotDetermineACamera, AreRefused) {
  const trueCamera truth = overheadCamera();
  pointSet s = scatter(truth, 20, 0.0, 5);
  std::vector<char> active = allActive(s.size());
  GetParam().spoil(s, active);
  resectCoefficients out;
  out.ax.fill(-7.0);
  const bool solved = fit(s, active, *resectCameraOf(truth.exactFile()), out);
  EXPECT_EQ(solved, GetParam().solvable);
  if (!solved) {
    EXPECT_EQ(out.ax[3], -7.0);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Sets, PointsThatDoNotDetermineACamera,
    ::testing::Values(
        badCase{"on one line",
                [](pointSet& s, std::vector<char>&) {
                  for (int i = 0; i < s.size(); ++i) {
                    s.X[i] = 100 + 10 * i, s.Y[i] = -50 + 4 * i, s.Z[i] = 3 * i;
                  }
                },
                false},
        badCase{"all at one point",
                [](pointSet& s, std::vector<char>&) {
                  for (int i = 0; i < s.size(); ++i) {
                    s.X[i] = 450, s.Y[i] = 10, s.Z[i] = 5, s.x[i] = 1000, s.y[i] = 900;
                  }
                },
                false},
        badCase{"in one plane",
                [](pointSet& s, std::vector<char>&) {
                  for (int i = 0; i < s.size(); ++i) s.Z[i] = 0.5 * s.X[i] - 0.25 * s.Y[i] + 40;
                },
                false},
        badCase{"a coordinate not a number",
                [](pointSet& s, std::vector<char>&) {
                  s.Y[4] = std::numeric_limits<double>::quiet_NaN();
                },
                false},
        badCase{"an image point infinite",
                [](pointSet& s, std::vector<char>&) {
                  s.x[2] = std::numeric_limits<double>::infinity();
                },
                false},
        badCase{"six active pairs",
                [](pointSet&, std::vector<char>& a) { std::fill(a.begin() + 6, a.end(), 0); },
                false},
        badCase{"seven active pairs", [](pointSet&, std::vector<char>& a) {
                  std::fill(a.begin() + 7, a.end(), 0);
                }, true},
        badCase{"not a number in an inactive pair",
                [](pointSet& s, std::vector<char>& a) {
                  s.X[0] = std::numeric_limits<double>::quiet_NaN();
                  a[0] = 0;
                },
                true}));

// Inactive pairs change nothing, bit for bit, in plain arrays and in marker
// arrays, where a pair counts only when both of its markers are active.
TEST(ProjectiveMethod, IgnoresInactivePairs) {
  const trueCamera truth = wideCamera();
  const pointSet s = scatter(truth, 30, 0.3, 11);
  const zel::cameraFeatures file = truth.exactFile();
  zel::markersArray image, model, imageOnly, modelOnly;
  for (int i = 0; i < s.size(); ++i) {
    const bool off = i % 3 == 1;
    image.add({s.x[i] + (off ? 400.0 : 0.0), s.y[i], 0, 0, i % 6 != 1, 0});
    model.add({s.X[i], s.Y[i] - (off ? 300.0 : 0.0), s.Z[i], 0, i % 6 != 4, 0});
    if (off) continue;
    imageOnly.add({s.x[i], s.y[i], 0, 0, true, 0});
    modelOnly.add({s.X[i], s.Y[i], s.Z[i], 0, true, 0});
  }
  resectCoefficients all, kept;
  ASSERT_TRUE(resectProjective(image, model, file, all));
  ASSERT_TRUE(resectProjective(imageOnly, modelOnly, file, kept));
  EXPECT_EQ(all.ax, kept.ax);
  EXPECT_EQ(all.ay, kept.ay);
  model.add({1, 2, 3, 0, true, 0});
  EXPECT_FALSE(resectProjective(image, model, file, all)) << "arrays of different lengths";
  zel::cameraFeatures noScale = file;
  noScale.dx = 0.0;
  EXPECT_FALSE(resectProjective(imageOnly, modelOnly, noScale, kept));
}

// A camera has a pixel scale only with a positive pitch and positive
// element and pixel counts.
TEST(ResectCamera, NeedsAPixelScale) {
  zel::cameraFeatures f;
  f.dx = 0.005, f.dy = 0.01, f.ncx = 1000, f.ncy = 500, f.nfx = 2000, f.nfy = 500;
  f.cx = 990, f.cy = 260, f.a2 = 1e-3, f.a4 = -2e-6;
  const std::optional<resectCamera> c = resectCameraOf(f);
  ASSERT_TRUE(c);
  EXPECT_DOUBLE_EQ(c->sx, 400.0);  // 2000 pixels over 1000 elements of 5 um
  EXPECT_DOUBLE_EQ(c->sy, 100.0);
  EXPECT_DOUBLE_EQ(c->radius, 0.5 * std::hypot(5.0, 5.0));
  EXPECT_EQ(c->lens.k1, 1e-3);
  EXPECT_EQ(c->lens.k2, -2e-6);
  const struct {
    double zel::cameraFeatures::*real;
    int zel::cameraFeatures::*whole;
  } zeros[] = {{&zel::cameraFeatures::dx, nullptr}, {&zel::cameraFeatures::dy, nullptr},
               {nullptr, &zel::cameraFeatures::ncx}, {nullptr, &zel::cameraFeatures::ncy},
               {nullptr, &zel::cameraFeatures::nfx}, {nullptr, &zel::cameraFeatures::nfy}};
  for (const auto& z : zeros) {
    zel::cameraFeatures bad = f;
    if (z.real) bad.*z.real = -1.0;
    if (z.whole) bad.*z.whole = 0;
    EXPECT_FALSE(resectCameraOf(bad));
  }
}

// The projection of a camera that shows (X, Y) at pixel (X, Y).
cameraProjection plainProjection() {
  cameraProjection p;
  p.coefficients.ax = {0, 1, 0, 0, 1, 0, 0, 0};
  p.coefficients.ay = {0, 0, 1, 0, 1, 0, 0, 0};
  return p;
}

// The figures and the text of measured points off their projections by
// known amounts; an inactive pair far off counts nowhere.
TEST(ErrorReport, GivesTheLargestAndMeanResidualsOfActivePairs) {
  const cameraProjection p = plainProjection();
  const double X[] = {10, 20, 30, 40, 50};
  const double Y[] = {5, 6, 7, 8, 9};
  const double Z[] = {1, 2, 3, 4, 5};
  const double offX[] = {0.1, -0.5, 0.0, 99.0, 0.2};
  const double offY[] = {0.0, 0.125, -0.25, 99.0, 0.125};
  const bool active[] = {true, true, true, false, true};
  double x[5], y[5];
  for (int i = 0; i < 5; ++i) x[i] = X[i] + offX[i], y[i] = Y[i] + offY[i];
  const resectErrors e = residualErrors(p, X, Y, Z, x, y, active, 5);
  EXPECT_EQ(e.pairs, 4);
  EXPECT_DOUBLE_EQ(e.maxDx, 0.5);
  EXPECT_EQ(e.maxDxIndex, 1);
  EXPECT_DOUBLE_EQ(e.maxDy, 0.25);
  EXPECT_EQ(e.maxDyIndex, 2);
  EXPECT_NEAR(e.meanDx, 0.8 / 4, 1e-15);
  EXPECT_NEAR(e.meanDy, 0.5 / 4, 1e-15);
  EXPECT_EQ(resectErrorText("wing", e),
            "Resection: wing\n\nx Max error = 0.5,  n = 2\ny Max error = 0.25,  n = 3\n"
            "x Average error = 0.2\ny Average error = 0.125");
  const bool none[] = {false, false, false, false, false};
  const resectErrors empty = residualErrors(p, X, Y, Z, x, y, none, 5);
  EXPECT_EQ(empty.pairs, 0);
  EXPECT_EQ(resectErrorText("wing", empty),
            "There are no pairs to transform Image.\nCopy is available only.\n\n");
}

// A denominator of zero is taken as 1e-30 of its sign: the projection stays
// finite.
TEST(Projection, GuardsAZeroDenominator) {
  cameraProjection p = plainProjection();
  p.coefficients.ax[4] = 0.0;  // u = X / X
  double x = 0, y = 0;
  p.project(0.0, 3.0, 0.0, x, y);
  EXPECT_EQ(x, 0.0);
  EXPECT_EQ(y, 3.0);
  p.coefficients.ax = {2e-30, 0, 0, 0, -0.0, 0, 0, 0};  // a denominator of -0 counts as positive
  p.project(-1.0, -1.0, -1.0, x, y);
  EXPECT_DOUBLE_EQ(x, 2.0);
}

}  // namespace
