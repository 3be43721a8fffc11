// The projective method ("Resect 2") honours the camera's lens correction,
// and the projection with the lens's terms converted lands on the measured
// points; the residual figures and their text are those of hand-made
// residuals. (Exact pairs, inactive pairs and
// refusals: test_resection.cpp.)
#include <gtest/gtest.h>

#include <cmath>
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
  return resectProjective(s.X.data(), s.Y.data(), s.Z.data(), s.x.data(), s.y.data(), flags(active),
                          s.size(), cam, out);
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
    const cameraProjection p = *projectionOf(ideal.coefficients, file);
    const std::vector<char> on = allActive(s.size());
    const resectErrors e = residualErrors(p, s.X.data(), s.Y.data(), s.Z.data(), s.x.data(),
                                          s.y.data(), flags(on), s.size());
    EXPECT_LT(std::max(e.maxDx, e.maxDy), 0.1);
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
  EXPECT_NEAR(e.meanSquareDx, (0.01 + 0.25 + 0.04) / 4, 1e-15);
  EXPECT_NEAR(e.meanSquareDy, (0.015625 + 0.0625 + 0.015625) / 4, 1e-15);
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
