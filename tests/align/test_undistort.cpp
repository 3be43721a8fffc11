// Optical distortion correction undoes the radial lens model: a smooth
// pattern seen through a lens comes back, and so do the markers. The command
// refuses a camera without coefficients or with its centre on the edge and
// then changes nothing, "UnDo" included.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "align/undistort.h"
#include "api/camera.h"
#include "api/errors.h"
#include "api/imagesList.h"
#include "apps/synth/model.h"
#include "plugin/distortionCommand.h"
#include "tests/support/commandTest.h"
#include "tests/support/layers.h"

namespace {

using namespace tamble;
using synth::lensDistortion;
using synth::vec2;
using tamble::testing::layers;
using tamble::testing::sameBits;

constexpr int W = 200, H = 160;

// What an ideal lens shows at (x, y): smooth enough that bilinear sampling
// stays within 0.26 of it (h^2/8 times the sum of the second derivatives).
double pattern(double x, double y) {
  return 1000 + 2 * x + 100 * std::sin(x / 9) * std::cos(y / 11);
}

// The camera's picture of the pattern: pixel e shows the ideal point e / s.
// The markers stand at `ideal` in the picture the lens would give.
layers photograph(const lensDistortion& lens, const std::vector<vec2>& ideal) {
  layers l(W, H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      const vec2 at = lens.undistort({double(x), double(y)});
      l.field(x, y) = static_cast<float>(pattern(at.x, at.y));
    }
  for (const vec2& p : ideal) l.markers.add({lens.distort(p).x, lens.distort(p).y, 0, 0, true, 0});
  return l;
}

struct lensCase {
  const char* name;
  lensDistortion lens;
};

void PrintTo(const lensCase& c, std::ostream* os) { *os << c.name; }

class Undistort : public ::testing::TestWithParam<lensCase> {};

// Inside the picture the pattern comes back to within the sampling's error;
// pixels whose camera point lies off the picture become background at 0.
// The markers return to their places, and one on the centre stays exactly.
TEST_P(Undistort, GivesBackThePatternAndTheMarkersTheLensMoved) {
  const lensDistortion& lens = GetParam().lens;
  const std::vector<vec2> ideal = {lens.centre, {5.5, 7.25}, {190.2, 150.9}, {-8.0, 80.0}};
  layers l = photograph(lens, ideal);
  const layers camera = l;
  UndistortImage(l.field, l.bkgr, l.ROI, l.markers, lens.centre.x, lens.centre.y, lens.a2, lens.a4);
  double worst = 0, bent = 0;
  int compared = 0;
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      const vec2 e = lens.distort({double(x), double(y)});
      if (e.x < -1.001 || e.x > W + 0.001 || e.y < -1.001 || e.y > H + 0.001) {
        EXPECT_EQ(l.field(x, y), 0.0f);
        EXPECT_TRUE(l.bkgr(x, y)) << x << "," << y;
      }
      if (e.x < 0 || e.x > W - 1 || e.y < 0 || e.y > H - 1) continue;
      EXPECT_FALSE(l.bkgr(x, y)) << x << "," << y;
      worst = std::max(worst, std::fabs(l.field(x, y) - pattern(x, y)));
      bent = std::max(bent, std::fabs(camera.field(x, y) - pattern(x, y)));
      ++compared;
    }
  EXPECT_GT(compared, W * H / 2);
  EXPECT_LT(worst, 0.3);
  EXPECT_GT(bent, 20.0) << "the lens must bend the picture for the test to mean anything";
  for (std::size_t i = 0; i < ideal.size(); ++i) {
    EXPECT_NEAR(l.markers[int(i)].x, ideal[i].x, 1e-9) << i;
    EXPECT_NEAR(l.markers[int(i)].y, ideal[i].y, 1e-9) << i;
  }
  EXPECT_EQ(l.markers[0].x, lens.centre.x);
}

lensDistortion lensOf(double cx, double cy, double a2, double a4) {
  lensDistortion lens;
  lens.centre = {cx, cy};
  lens.a2 = a2;
  lens.a4 = a4;
  return lens;
}

// The last row is the synthetic camera's lens (`tamble synth`, the far
// corner moved by 4 pixels).
const lensCase lenses[] = {
    {"Pincushion", lensOf(101.3, 77.6, 2e-6, 1e-11)},
    {"Barrel", lensOf(96.0, 83.0, -2.5e-6, -2e-11)},
    {"StrongPincushionOffCentre", lensOf(60.7, 100.2, 8e-6, 4e-11)},
    {"OnlyA4", lensOf(99.5, 79.5, 0.0, 3e-10)},
    {"SynthCamera", lensDistortion::forShift({103.6, 78.4}, 130.0, 4.0)},
};

INSTANTIATE_TEST_SUITE_P(Lenses, Undistort, ::testing::ValuesIn(lenses),
                         [](const auto& info) { return std::string(info.param.name); });

// The pixel on the centre looks at itself; a marker whose factor is 0 stays.
TEST(UndistortImage, TheCentrePixelAndAZeroFactorStay) {
  layers l = tamble::testing::randomLayers(40, 30, 0.0, 5u);
  const layers before = l;
  l.markers.add({19.0, 11.0, 0, 0, true, 0});  // offset (2, 0): s = 1 - 0.25 * 4 = 0
  UndistortImage(l.field, l.bkgr, l.ROI, l.markers, 17.0, 11.0, -0.25, 0.0);
  EXPECT_EQ(l.field(17, 11), before.field(17, 11));
  EXPECT_EQ(l.markers.items[0].x, 19.0);
  EXPECT_EQ(l.markers.items[0].y, 11.0);
}

class DistortionCommand : public tamble::testing::commandTest {
 protected:
  void SetUp() override {
    commandTest::SetUp();
    list.recording = true;  // the host's undo steps count
  }
  void TearDown() override {
    std::remove(file.c_str());
    commandTest::TearDown();
  }
  // A camera file with these values, answered to the file question.
  void camera(double cx, double cy, double a2, double a4) {
    zel::cameraFeatures c;
    c.cx = cx, c.cy = cy, c.a2 = a2, c.a4 = a4;
    ASSERT_TRUE(zel::write_camera(file, c));
    user.ui.fileChoices = {file};
  }
  const std::string file = ::testing::TempDir() + "lens_" + std::to_string(::getpid()) + ".cam";
};

// Refused cameras, a missing file and Cancel leave the image, the snapshot
// of the command before and the host's undo steps as they were.
TEST_F(DistortionCommand, RefusalsChangeNothingAndKeepUnDo) {
  struct refusalCase {
    double cx, cy, a2, a4;
    const char* notice;
  };
  const refusalCase cases[] = {
      {20, 15, 0.0, 0.0, distortionAbsent}, {20, 15, 1e-31, -1e-31, distortionAbsent},
      {0.99, 15, 1e-4, 0, centreOffImage},  {39, 15, 1e-4, 0, centreOffImage},
      {20, 0.5, 1e-4, 0, centreOffImage},   {20, 29.5, 0, 1e-8, centreOffImage},
      {-20, 15, 1e-4, 0, centreOffImage},
  };
  zel::image& img = addRamp(40, 30);
  img.markers.add({7.5, 8.5, 0, 0, true, 0});
  list.snapshot();  // what "UnDo" gives back now
  img.field()(3, 3) = -1.0f;
  const zel::image before = img;
  const std::size_t steps = list.actions().size();
  for (const refusalCase& c : cases) {
    user.ui.notices.clear();
    camera(c.cx, c.cy, c.a2, c.a4);
    EXPECT_TRUE(OpticalDistortionCommand(list));
    EXPECT_EQ(user.ui.notices, std::vector<std::string>{c.notice}) << c.cx << "," << c.cy;
    EXPECT_TRUE(sameBits(img.field(), before.field()));
    EXPECT_EQ(img.markers.items, before.markers.items);
    EXPECT_EQ(list.actions().size(), steps);
  }
  EXPECT_EQ(user.ui.fileFilters.back(), "Camera parameters files (*.cam)|*.cam||");
  EXPECT_EQ(user.ui.proposedFiles.back(), "*.cam");
  // A file that is not there is an error naming it; Cancel does nothing.
  const std::string missing = ::testing::TempDir() + "no_such_lens.cam";
  user.ui.fileChoices = {missing};
  try {
    OpticalDistortionCommand(list);
    ADD_FAILURE() << "no error";
  } catch (const zel::FileError& e) {
    EXPECT_NE(std::string(e.message).find(missing), std::string::npos) << e.message;
  }
  EXPECT_TRUE(OpticalDistortionCommand(list));
  EXPECT_TRUE(sameBits(img.field(), before.field()));
  EXPECT_EQ(list.actions().size(), steps);
  list.restoreSnapshot();
  EXPECT_EQ(list.current()->field()(3, 3), 33.0f);  // the snapshot from before the refusals
  EXPECT_EQ(user.ui.waitDepth, 0);
}

// A good camera corrects the image and its markers as the routine does, and
// "UnDo" brings them back.
TEST_F(DistortionCommand, CorrectsWithTheCamerasValues) {
  zel::image& img = addRamp(40, 30);
  img.markers.add({2.5, 3.5, 0, 0, true, 0});
  zel::image expected = img;
  const zel::image before = img;
  const std::size_t steps = list.actions().size();
  camera(21.4, 13.0, 3e-4, 1e-7);
  EXPECT_TRUE(OpticalDistortionCommand(list));
  UndistortImage(expected.field(), expected.bkgr(), expected.ROI(), expected.markers, 21.4, 13.0,
                 3e-4, 1e-7);
  EXPECT_TRUE(sameBits(img.field(), expected.field()));
  EXPECT_TRUE(sameBits(img.bkgr(), expected.bkgr()));
  EXPECT_EQ(img.markers.items, expected.markers.items);
  EXPECT_FALSE(sameBits(img.field(), before.field()));
  EXPECT_EQ(list.actions().size(), steps + 1);
  list.restoreSnapshot();
  EXPECT_TRUE(sameBits(list.current()->field(), before.field()));
  EXPECT_TRUE(user.ui.notices.empty());
}

}  // namespace
