// The calibration and deformation files: two cameras that see the model
// from different sides, a model whose markers move by a known amount at
// wind-on, and the files that must give back the cameras' projections and
// that move.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "api/imagesList.h"
#include "api/markerFiles.h"
#include "host/project.h"
#include "plugin/calibrationOutput.h"
#include "resect/resectCoefficients.h"
#include "tests/support/projectTest.h"

namespace {

using namespace tamble;

struct point3 {
  double x, y, z;
};

// A pinhole camera at `centre` turned by `yaw` about the model's y axis,
// looking along its own z, with focal length f (mm) and 0.01 mm pixels on
// a 1000 by 1000 frame: the coefficient record of its projection.
struct view {
  zel::cameraFeatures features;
  cameraProjection projection;
};

view makeView(double yaw, point3 centre, double f) {
  view v;
  zel::cameraFeatures& c = v.features;
  c.focus = f, c.dx = c.dy = 0.01, c.ncx = c.ncy = c.nfx = c.nfy = 1000, c.cx = c.cy = 500;
  const double R[3][3] = {{std::cos(yaw), 0, -std::sin(yaw)}, {0, 1, 0},
                          {std::sin(yaw), 0, std::cos(yaw)}};
  const double C[3] = {centre.x, centre.y, centre.z};
  auto row = [&](int r, double scale, std::array<double, 8>& a, int at) {
    const double t = -(R[r][0] * C[0] + R[r][1] * C[1] + R[r][2] * C[2]);
    a[at] = scale * t;
    for (int k = 0; k < 3; ++k) a[at + 1 + k] = scale * R[r][k];
  };
  resectCoefficients& k = v.projection.coefficients;
  row(0, f, k.ax, 0), row(2, 1.0, k.ax, 4), row(1, f, k.ay, 0), row(2, 1.0, k.ay, 4);
  for (auto* a : {&k.ax, &k.ay}) {  // the Z coefficient of the denominator becomes 1
    const double z = (*a)[7];
    for (double& e : *a) e /= z;
  }
  v.projection.camera = *resectCameraOf(c);
  return v;
}

zel::markersArray markersAt(const std::vector<point3>& points, const view* v) {
  zel::markersArray a;
  for (std::size_t i = 0; i < points.size(); ++i) {
    marker m;
    m.id = static_cast<int>(i) + 1;
    m.active = true;
    if (v) {
      v->projection.project(points[i].x, points[i].y, points[i].z, m.x, m.y);
    } else {
      m.x = points[i].x, m.y = points[i].y, m.z = points[i].z;
    }
    a.add(m);
  }
  if (!v) a.hasZ = true;
  return a;
}

class CalibrationOutput : public tamble::testing::projectTest {
 protected:
  // The model's markers on a curved plate, and their wind-on places moved
  // by a known amount.
  void SetUp() override {
    projectTest::SetUp();
    for (int i = 0; i < 25; ++i) {
      const double x = -100 + 50 * (i % 5), y = -100 + 50 * (i / 5);
      model.push_back({x, y, 0.002 * (x * x + y * y) / 2});
      moved.push_back({x + 0.3, y - 0.2, model.back().z + 0.5 + 0.01 * x});
    }
    sens = makeView(-0.38, {400, 0, -1000}, 25);
    refe = makeView(0.38, {-400, 20, -1000}, 25);
    zel::vurStr& p = get_vur();
    p.project_file = path("run.vur");
    p.sens_camera_file = "sens.cam";
    p.refe_camera_file = "refe.cam";
    p.geometry_markers_file = "model.mrk";
    get_sens_cam() = sens.features;
    get_refe_cam() = refe.features;
    zel::write_mrk(path("model.mrk"), markersAt(model, nullptr));
    const std::pair<const char*, std::pair<const view*, const std::vector<point3>*>> images[] = {
        {"wind_off_sens", {&sens, &model}}, {"wind_on_sens", {&sens, &moved}},
        {"wind_off_refe", {&refe, &model}}, {"wind_on_refe", {&refe, &moved}}};
    for (const auto& [name, seen] : images) {
      auto* img = new zel::image(1000, 1000);
      img->setFieldName(name);
      img->markers = markersAt(*seen.second, seen.first);
      list.addImage(img);
    }
  }

  std::vector<point3> model, moved;
  view sens, refe;
};

std::vector<std::vector<double>> rowsOf(const std::string& file) {
  std::ifstream in(file);
  std::vector<std::vector<double>> rows;
  std::string line;
  std::getline(in, line);  // the header
  while (std::getline(in, line)) {
    std::istringstream words(line);
    std::vector<double> row;
    for (double v; words >> v;) row.push_back(v);
    rows.push_back(row);
  }
  return rows;
}

// The calibration gives back each camera's record, to its exact points;
// the deformation finds every marker's place and move in space from the
// two views.
TEST_F(CalibrationOutput, GivesTheCamerasAndTheMoveOfEveryMarker) {
  ASSERT_TRUE(for_calibration(list, false));
  std::ifstream in(calibrationFile());
  for (const view* v : {&sens, &refe}) {
    for (int i = 0; i < 8; ++i) {
      double ax = 0, ay = 0;
      ASSERT_TRUE(in >> ax >> ay);
      EXPECT_NEAR(ax, v->projection.coefficients.ax[i],
                  1e-6 * (1 + std::fabs(v->projection.coefficients.ax[i])));
      EXPECT_NEAR(ay, v->projection.coefficients.ay[i],
                  1e-6 * (1 + std::fabs(v->projection.coefficients.ay[i])));
    }
    std::string line;
    for (int i = 0; i < 6; ++i) std::getline(in, line);  // the rest of the line, lens, errors
    EXPECT_EQ(line.rfind("y_ever_err= ", 0), 0u) << line;
  }
  ASSERT_TRUE(for_deformation(list, false));
  const auto rows = rowsOf(deformationFile());
  ASSERT_EQ(rows.size(), model.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    ASSERT_EQ(rows[i].size(), 7u);
    const double d[3] = {moved[i].x - model[i].x, moved[i].y - model[i].y,
                         moved[i].z - model[i].z};
    EXPECT_NEAR(rows[i][0], model[i].x, 1e-3) << i;
    EXPECT_NEAR(rows[i][2], model[i].z, 1e-3) << i;
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(rows[i][3 + k], d[k], 1e-3) << i << " " << k;
    EXPECT_NEAR(rows[i][6], std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]), 1e-3);
  }
}

// What is missing stops each file with its message; the deformation file
// then holds its header alone.
TEST_F(CalibrationOutput, MissingPiecesStopWithTheirMessage) {
  get_vur().refe_camera_file.clear();
  EXPECT_FALSE(for_calibration(list, true));
  EXPECT_EQ(user.ui.notices.back(), "for_calibration: Refe_Camera_File is absent");
  EXPECT_FALSE(std::filesystem::exists(calibrationFile()));
  list.find("wind_on_refe")->markers = {};
  EXPECT_FALSE(for_deformation(list, true));
  EXPECT_EQ(user.ui.notices.back(), "for_deformation: Wind_On_Refe Markers are Absent");
  EXPECT_TRUE(rowsOf(deformationFile()).empty());
  list.find("wind_on_refe")->markers = list.find("wind_off_refe")->markers;
  list.find("wind_on_sens")->markers.items.pop_back();
  EXPECT_FALSE(for_deformation(list, true));
  EXPECT_EQ(user.ui.notices.back(), "for_deformation: Different number of 2D-2D markers");
}

}  // namespace
