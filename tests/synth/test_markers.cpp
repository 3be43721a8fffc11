// The markers of a synthetic run: their true centres are where the frames
// show them (to a few hundredths of a pixel, which needs the spots' edges
// rendered smooth), and their model positions with the camera file describe
// one pinhole camera, as a resection will need.
#include <array>
#include <cmath>

#include "api/markerFiles.h"
#include "host/projectDialogs.h"
#include "tests/synth/synthRunTest.h"

namespace {

using tamble::testing::synthRunTest;
using SynthMarkers = synthRunTest;

zel::markersArray markersOf(const std::string& file) {
  zel::markersArray m;
  zel::load_markers(file, m, 0);
  return m;
}

// The centre of what a marker covers: the share of the paint's light it
// takes away, (frame without markers - frame with them) / (frame without -
// dark frame), which is the marker's cover of each pixel whatever the
// paint's light there.
std::array<double, 2> centroid(const zel::image& plain, const zel::image& marked,
                               const zel::image& dark, const marker& m, int reach) {
  double sum = 0.0, sx = 0.0, sy = 0.0;
  const int x0 = static_cast<int>(std::lround(m.x)), y0 = static_cast<int>(std::lround(m.y));
  for (int y = y0 - reach; y <= y0 + reach; ++y)
    for (int x = x0 - reach; x <= x0 + reach; ++x) {
      const double d = (plain.field()(x, y) - marked.field()(x, y)) /
                       (plain.field()(x, y) - dark.field()(x, y));
      sum += d;
      sx += d * x;
      sy += d * y;
    }
  return {sx / sum, sy / sum};
}

// The true centres are where the frames show the spots, wind-off and wind-on.
TEST_F(SynthMarkers, TrueCentresAreWhereTheFramesShowTheSpots) {
  const std::vector<std::string> common{"size=384", "noise=0", "depth=float", "motion=4",
                                        "distortion=3", "diameter=6", "seed=9"};
  std::vector<std::string> marked = common, plain = common;
  marked.push_back("markers=20");
  plain.push_back("markers=0");
  const std::string withMarkers = make(marked, "marked"), without = make(plain, "plain");
  EXPECT_FALSE(std::filesystem::exists(without + "/markers_wind_off.mrk"));
  for (const char* state : {"wind_off", "wind_on"}) {
    const auto centres = markersOf(withMarkers + "/markers_" + state + ".mrk");
    ASSERT_EQ(centres.count(), 20);
    const auto spots = frameOf(withMarkers, std::string(state) + "_sens");
    const auto paint = frameOf(without, std::string(state) + "_sens");
    const auto dark = frameOf(without, std::string(state) + "_dark_sens");
    double worst = 0.0;
    for (const marker& m : centres.items) {
      const auto c = centroid(*paint, *spots, *dark, m, 6);
      worst = std::max({worst, std::fabs(c[0] - m.x), std::fabs(c[1] - m.y)});
    }
    EXPECT_LT(worst, 0.01) << state;
  }
  // The wind-on centres are not the wind-off ones: the model moved.
  const auto off = markersOf(withMarkers + "/markers_wind_off.mrk");
  const auto on = markersOf(withMarkers + "/markers_wind_on.mrk");
  double moved = 0.0;
  for (int i = 0; i < off.count(); ++i) {
    EXPECT_EQ(off[i].id, on[i].id);
    moved = std::max(moved, std::hypot(on[i].x - off[i].x, on[i].y - off[i].y));
  }
  EXPECT_GT(moved, 2.0);
  EXPECT_LE(moved, 4.0 * 1.05);  // the lens stretches the motion a little
}

// Solves the 11 coefficients of the projective camera u = (L0 X + L1 Y +
// L2 Z + L3) / (L8 X + L9 Y + L10 Z + 1), v alike with L4..L7, by least
// squares on normalised coordinates; answers the largest residual, pixels.
double projectiveResidual(const std::vector<std::array<double, 3>>& model,
                          const std::vector<std::array<double, 2>>& image) {
  const std::size_t n = model.size();
  std::array<double, 3> mm{}, ms{};
  std::array<double, 2> im{};
  double is = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    for (int k = 0; k < 3; ++k) mm[k] += model[i][k] / n;
    for (int k = 0; k < 2; ++k) im[k] += image[i][k] / n;
  }
  for (std::size_t i = 0; i < n; ++i) {
    for (int k = 0; k < 3; ++k) ms[k] += std::fabs(model[i][k] - mm[k]) / n;
    for (int k = 0; k < 2; ++k) is += std::fabs(image[i][k] - im[k]) / (2 * n);
  }
  double m[11][12] = {};
  auto row = [&](const double* a, double rhs) {
    for (int r = 0; r < 11; ++r) {
      for (int c = 0; c < 11; ++c) m[r][c] += a[r] * a[c];
      m[r][11] += a[r] * rhs;
    }
  };
  auto normal = [&](std::size_t i, double* X) {
    for (int k = 0; k < 3; ++k) X[k] = (model[i][k] - mm[k]) / ms[k];
  };
  for (std::size_t i = 0; i < n; ++i) {
    double X[3];
    normal(i, X);
    const double u = (image[i][0] - im[0]) / is, v = (image[i][1] - im[1]) / is;
    const double a[11] = {X[0], X[1], X[2], 1, 0, 0, 0, 0, -u * X[0], -u * X[1], -u * X[2]};
    const double b[11] = {0, 0, 0, 0, X[0], X[1], X[2], 1, -v * X[0], -v * X[1], -v * X[2]};
    row(a, u);
    row(b, v);
  }
  for (int c = 0; c < 11; ++c) {
    int pivot = c;
    for (int r = c + 1; r < 11; ++r)
      if (std::fabs(m[r][c]) > std::fabs(m[pivot][c])) pivot = r;
    for (int k = 0; k < 12; ++k) std::swap(m[c][k], m[pivot][k]);
    for (int r = 0; r < 11; ++r) {
      if (r == c) continue;
      const double f = m[r][c] / m[c][c];
      for (int k = c; k < 12; ++k) m[r][k] -= f * m[c][k];
    }
  }
  double L[11];
  for (int c = 0; c < 11; ++c) L[c] = m[c][11] / m[c][c];
  double worst = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    double X[3];
    normal(i, X);
    const double d = L[8] * X[0] + L[9] * X[1] + L[10] * X[2] + 1.0;
    const double u = (L[0] * X[0] + L[1] * X[1] + L[2] * X[2] + L[3]) / d * is + im[0];
    const double v = (L[4] * X[0] + L[5] * X[1] + L[6] * X[2] + L[7]) / d * is + im[1];
    worst = std::max({worst, std::fabs(u - image[i][0]), std::fabs(v - image[i][1])});
  }
  return worst;
}

// Model positions and the camera file describe one pinhole camera.
TEST_F(SynthMarkers, ModelPositionsAndCameraFileDescribeOnePinholeCamera) {
  const std::string run = make({"size=512", "markers=40", "distortion=4", "seed=4"});
  read_vur_data(run + "/run.vur", false);
  // The markers are numbered after wind_off_sens, not after the model's.
  EXPECT_EQ(get_vur().geometry_markers_file, "");
  const zel::cameraFeatures cam = get_sens_cam();
  EXPECT_NE(cam.a2, 0.0);
  EXPECT_EQ(cam.nfx, 512);
  const auto model = markersOf(run + "/markers_model.mrk");
  const auto frame = markersOf(run + "/markers_wind_off.mrk");
  ASSERT_EQ(model.count(), 40);
  ASSERT_EQ(frame.count(), 40);
  std::vector<std::array<double, 3>> points;
  std::vector<std::array<double, 2>> ideal, raw;
  double zLow = 1e9, zHigh = -1e9;
  for (int i = 0; i < 40; ++i) {
    points.push_back({model[i].x, model[i].y, model[i].z});
    zLow = std::min(zLow, model[i].z);
    zHigh = std::max(zHigh, model[i].z);
    // The lens as the camera file states it: e / (1 + a2 r^2 + a4 r^4).
    const double ex = frame[i].x - cam.cx, ey = frame[i].y - cam.cy;
    const double r2 = ex * ex + ey * ey;
    const double s = cam.a4 * r2 * r2 + cam.a2 * r2 + 1.0;
    ideal.push_back({cam.cx + ex / s, cam.cy + ey / s});
    raw.push_back({frame[i].x, frame[i].y});
  }
  EXPECT_GT(zHigh - zLow, 10.0) << "the markers do not lie in one plane";
  const double withLens = projectiveResidual(points, ideal);
  EXPECT_LT(withLens, 0.01);
  // Without the lens's correction the pinhole does not fit.
  EXPECT_GT(projectiveResidual(points, raw), 10.0 * withLens);
}

}  // namespace
