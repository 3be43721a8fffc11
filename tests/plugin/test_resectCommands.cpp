// The resection of an image onto the model's mesh, end to end: a curved
// model seen by a pinhole camera, its markers found in an image that has
// moved since the standard markers were taken; the mesh receives the image's
// values where the camera sees it.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "api/errors.h"
#include "api/imagesList.h"
#include "dialogs/resectDialog.h"
#include "host/project.h"
#include "plugin/resectCommands.h"
#include "tests/support/commandTest.h"

namespace {

using namespace tamble;
using vec = zel::xyzVec<double>;

constexpr int W = 800, H = 600;
constexpr double focus = 25.0, pitch = 0.013;  // mm: 1923 pixels of focal length
constexpr double height = 1500.0;              // mm above the model

// The model: a bump on a plate, in mm.
double surface(double X, double Y) { return 40.0 * std::exp(-(X * X + Y * Y) / (150.0 * 150.0)); }

// The camera looks straight down; x grows with X, y with Y.
struct point {
  double x, y;
};
point projectMm(double X, double Y, double Z) {
  const double f = focus / pitch;
  return {W / 2.0 + f * X / (height - Z), H / 2.0 + f * Y / (height - Z)};
}

zel::cameraFeatures camera() {
  zel::cameraFeatures c;
  c.default_length_unit = "mm";
  c.focus = focus;
  c.dx = c.dy = pitch;
  c.ncx = c.nfx = W;
  c.ncy = c.nfy = H;
  c.cx = W / 2.0;
  c.cy = H / 2.0;
  return c;
}

// The image has moved by this much since the standard markers were taken.
constexpr double shiftX = 6.25, shiftY = -3.5;
// Its value is linear in the pixel position, so that warping and bilinear
// sampling keep it exactly.
double brightness(double x, double y) { return 0.5 * x + 0.25 * y + 100.0; }

class Resection : public tamble::testing::commandTest {
 protected:
  void SetUp() override {
    commandTest::SetUp();
    get_vur().project_file = "/data/run7.vur";
    get_refe_cam() = camera();
    zel::field_data<double>& data = get_field_data();
    data.clear();
    data.lengthUnit = "mm";
    zel::meshBlock b;
    b.ni = 61;
    b.nj = 41;
    b.nk = 1;
    for (int j = 0; j < b.nj; ++j)
      for (int i = 0; i < b.ni; ++i) {
        const double X = -300.0 + 10.0 * i, Y = -200.0 + 10.0 * j;
        b.nodes.push_back({X, Y, surface(X, Y)});
      }
    data.blocks.push_back(b);
    // 30 markers over the model; the image finds them moved and in reverse.
    data.meshMarkers.lengthUnit = "mm";
    img = new zel::image(W, H);
    img->setFieldName("Cp");
    img->bkgr().fill(false);
    img->ROI().fill(true);
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x) img->field()(x, y) = static_cast<float>(brightness(x, y));
    for (int k = 0; k < 30; ++k) {
      const double X = -260.0 + 104.0 * (k % 6) + 7.0 * (k % 4), Y = -170.0 + 85.0 * (k / 6);
      const double Z = surface(X, Y);
      data.meshMarkers.add({X, Y, Z, 0.0, true, 0});
      const point p = projectMm(X, Y, Z);
      data.imageMarkers.add({p.x, p.y, 0.0, 0.0, true, 0});
    }
    for (int k = 29; k >= 0; --k)
      img->markers.add({data.imageMarkers[k].x + shiftX, data.imageMarkers[k].y + shiftY, 0.0,
                        0.0, true, 0});
    list.addImage(img);
    data.current = img;
  }
  void TearDown() override {
    get_field_data().clear();
    get_vur() = zel::vurStr();
    get_refe_cam() = zel::cameraFeatures();
    commandTest::TearDown();
  }

  resectRun run(int type) const {
    CdlgResect record;
    record.m_type = type;
    record.m_opt = 0;
    return resectRunOf(record, camera());
  }

  zel::image* img = nullptr;
};

class ResectionByMethod : public Resection, public ::testing::WithParamInterface<int> {};

TEST_P(ResectionByMethod, NodesTakeTheImageValueAtTheirProjection) {
  zel::field_data<double>& data = get_field_data();
  ASSERT_TRUE(ResectImage(data, run(GetParam()), false));
  const int f = data.findFunction("Cp - (run7)");
  ASSERT_GE(f, 0);
  const auto& values = data.functions[f].values[0];
  double worst = 0.0;
  std::size_t seen = 0;
  for (std::size_t k = 0; k < values.size(); ++k) {
    const vec& n = data.blocks[0].nodes[k];
    const point p = projectMm(n.x, n.y, n.z);
    if (values[k] == zel::field_data<double>::missing) {
      // Only nodes off the image (or within a pixel of its edge) are missing.
      EXPECT_TRUE(p.x < 1.0 || p.y < 1.0 || p.x > W - 2.0 || p.y > H - 2.0) << p.x << "," << p.y;
      continue;
    }
    ++seen;
    // The image was warped back onto the standard markers.
    worst = std::max(worst, std::fabs(values[k] - brightness(p.x + shiftX, p.y + shiftY)));
  }
  EXPECT_LT(worst, 0.02);  // hundredths of a pixel
  EXPECT_GT(seen, values.size() * 9 / 10);
  EXPECT_EQ(lastResection().seen, seen);
}

INSTANTIATE_TEST_SUITE_P(Methods, ResectionByMethod, ::testing::Values(0, 1));

TEST_F(Resection, GuardsNameWhatIsMissing) {
  struct row {
    const char* text;
    void (*breakIt)(zel::field_data<double>&);
  };
  const row rows[] = {
      {"ResectImage: bitmap  is undefined", [](auto& d) { d.current = nullptr; }},
      {"ResectImage: mesh markers are undefined", [](auto& d) { d.meshMarkers.items.clear(); }},
      {"ResectImage: image markers are undefined", [](auto& d) { d.imageMarkers.items.clear(); }},
      {"ResectImage: mesh is empty", [](auto& d) { d.blocks.clear(); }},
  };
  for (const row& r : rows) {
    zel::field_data<double> data = get_field_data();
    r.breakIt(data);
    try {
      ResectImage(data, run(1), false);
      ADD_FAILURE() << r.text;
    } catch (const zel::AlgoError& e) {
      EXPECT_STREQ(e.message, r.text);
      EXPECT_STREQ(e.file, "resect_image");
    }
  }
}

TEST_F(Resection, MarkersInAnotherUnitAreConvertedWhenTheUserAgrees) {
  zel::field_data<double>& data = get_field_data();
  for (marker& m : data.meshMarkers.items) {
    m.x /= 1000.0;
    m.y /= 1000.0;
    m.z /= 1000.0;
  }
  data.meshMarkers.lengthUnit = "M";
  const zel::markersArray before = data.meshMarkers;
  user.ui.answers = {false};
  EXPECT_FALSE(ResectImage(data, run(1), false));
  EXPECT_EQ(data.meshMarkers.items, before.items);
  EXPECT_EQ(user.ui.notices.back(),
            "Mesh and markers have different length unit.\n\n"
            "Would you like to adjust marker's length unit?");
  EXPECT_EQ(data.findFunction("Cp - (run7)"), -1);

  user.ui.answers = {true};
  ASSERT_TRUE(ResectImage(data, run(1), false));
  EXPECT_EQ(data.meshMarkers.lengthUnit, "mm");
  EXPECT_NEAR(data.meshMarkers[7].x, before[7].x * 1000.0, 1e-9);
  EXPECT_GE(data.findFunction("Cp - (run7)"), 0);
}

TEST_F(Resection, ACameraInAnotherUnitIsConvertedForTheRunOnly) {
  zel::cameraFeatures metres = camera();
  metres.default_length_unit = "m";
  metres.focus /= 1000.0;
  metres.dx /= 1000.0;
  metres.dy /= 1000.0;
  resectRun r = run(1);
  r.camera = metres;
  user.ui.answers = {true};
  ASSERT_TRUE(ResectImage(get_field_data(), r, false));
  EXPECT_EQ(user.ui.notices.front(),
            "Mesh and camera have different length unit.\n\n"
            "Would you like to adjust camera's length unit?");
  EXPECT_EQ(get_refe_cam().default_length_unit, "mm");  // the project's camera is untouched
  user.ui.answers = {false};
  EXPECT_FALSE(ResectImage(get_field_data(), r, false));
}

TEST_F(Resection, ASecondRunAsksToKeepTheFirstFunction) {
  zel::field_data<double>& data = get_field_data();
  ASSERT_TRUE(ResectImage(data, run(1), false));
  user.ui.answers = {true};
  ASSERT_TRUE(ResectImage(data, run(1), false));
  EXPECT_EQ(user.ui.notices.back(),
            "The function name alredy exist. Would you like to add symbols _rs to name?");
  EXPECT_GE(data.findFunction("Cp - (run7)_rs"), 0);
  user.ui.answers = {false};  // No: the function of that name is replaced
  ASSERT_TRUE(ResectImage(data, run(1), false));
  EXPECT_EQ(data.functions.size(), 2u);
}

TEST_F(Resection, TheDialogShowsOnceForAllResults) {
  for (const char* name : {"Pressure", "P_Pstat", "Irefe_Isens", "T"}) {
    auto* copy = new zel::image(*img);
    copy->setFieldName(name);
    list.addImage(copy);
  }
  user.ui.dialogOk = {true, false};  // a second dialog would cancel
  ASSERT_TRUE(ResectOutputHandler(list, true));
  EXPECT_EQ(user.ui.dialogOk.size(), 1u);
  for (const char* name : {"Irefe_Isens - (run7)", "Pressure - (run7)", "P_Pstat - (run7)",
                           "Cp - (run7)", "T - (run7)"})
    EXPECT_GE(get_field_data().findFunction(name), 0) << name;
}

TEST_F(Resection, IncompleteDataStopTheStage) {
  get_field_data().imageMarkers.items.clear();
  EXPECT_FALSE(ResectOutputHandler(list, false));
  EXPECT_EQ(user.ui.notices, std::vector<std::string>{"Resection Data is NOT full!"});
}

TEST(ResectRun, TheRecordBecomesTheRunParameters) {
  struct row {
    int pow, all, fix, win;
    int order, fixed, window;
  };
  const row rows[] = {
      {0, 0, 2, 9, 0, 2, 19},  {3, 0, 0, 9, 1, 0, 19},   {6, 0, 1, 4, 2, 1, 9},
      {10, 0, 3, 9, 3, 3, 19}, {7, 0, 0, 9, 3, 0, 19},   // a count that is not a term count
      {3, 1, 2, 9, -1, 4, 19},  // "All" overrides the radio buttons
  };
  for (const row& r : rows) {
    CdlgResect record;
    record.m_pow = r.pow;
    record.m_mall = r.all;
    record.m_fix = r.fix;
    record.m_win = r.win;
    const resectRun run = resectRunOf(record, {});
    EXPECT_EQ(run.link.polyOrder, r.order) << r.pow;
    EXPECT_EQ(run.link.fixed, r.fixed) << r.pow;
    EXPECT_EQ(run.link.window, r.window) << r.pow;
    EXPECT_EQ(run.link.mode, 1);
    EXPECT_EQ(run.matchingMode, 2);
  }
}

}  // namespace
