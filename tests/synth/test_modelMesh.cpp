// The run's resection data: the grid's nodes lie on the model's surface, its
// functions hold the true fields there (by the model's own formulas, and as
// the true images show them where the camera sees the node), the markers'
// model positions lie on the surface, and the project names the file.
#include <algorithm>
#include <cmath>
#include <filesystem>

#include "api/iniFile.h"
#include "api/markerFiles.h"
#include "apps/synth/modelMesh.h"
#include "host/meshField.h"
#include "host/resectData.h"
#include "tests/synth/synthRunTest.h"

namespace {

using tamble::testing::synthRunTest;
using namespace tamble::synth;
using SynthMesh = synthRunTest;

double flowValue(const std::string& folder, const char* key) {
  zel::zel_ini_file ini;
  ini.open(folder + "/truth.txt", true);
  return std::stod(ini.get("flow", key).value_or("nan"));
}

zel::field_data<double> readData(const std::string& folder) {
  zel::zel_ini_file vur;
  vur.open(folder + "/run.vur", true);
  const std::string file = vur.get("data", "resect_data_file").value_or("");
  EXPECT_FALSE(file.empty());
  zel::field_data<double> d;
  tamble::readResectData(folder + "/" + file, d);
  return d;
}

// Every node lies on the model (not beside its outline), at the height of
// the surface, and the functions are the model's pressure and Cp there.
TEST_F(SynthMesh, NodesLieOnTheModelWithTheTrueFields) {
  const std::string folder = make({"size=256", "markers=12", "mesh=3000"});
  const zel::field_data<double> d = readData(folder);
  ASSERT_TRUE(d.complete());
  EXPECT_EQ(d.lengthUnit, "mm");
  EXPECT_GT(d.nodeCount(), 2400u);
  EXPECT_LT(d.nodeCount(), 3600u);
  const int cp = d.findFunction("Cp"), pressure = d.findFunction("Pressure");
  ASSERT_GE(cp, 0);
  ASSERT_GE(pressure, 0);
  const double pStatic = flowValue(folder, "P_static"), pDynamic = flowValue(folder, "P_dynamic");
  const windTunnelModel model;
  std::size_t checked = 0;
  for (std::size_t b = 0; b < d.blocks.size(); ++b) {
    EXPECT_EQ(d.blocks[b].nk, 1);
    for (std::size_t n = 0; n < d.blocks[b].count(); ++n) {
      const auto& at = d.blocks[b].nodes[n];
      const surfacePoint s = model.locate(at.x, at.y);
      ASSERT_NE(s.part, modelPart::none) << "block " << b << " node " << n;
      ASSERT_EQ(at.z, model.height(at.x, at.y));
      ASSERT_EQ(d.functions[static_cast<std::size_t>(cp)].values[b][n], model.cp(s));
      ASSERT_NEAR(d.functions[static_cast<std::size_t>(pressure)].values[b][n],
                  pStatic + model.cp(s) * pDynamic, 1e-9 * pStatic);
      ++checked;
    }
  }
  EXPECT_EQ(checked, d.nodeCount());
}

// Where the camera sees a node, the true Cp image holds (near enough) the
// node's value: the grid and the frames show one model.
TEST_F(SynthMesh, TheTrueImageAgreesAtTheProjectedNodes) {
  const auto run = makeRun(parseRunOptions({"size=512", "markers=0", "mesh=2000"}));
  const zel::field_data<double> d = modelData(*run);
  const zel::image& truth = *run->findTruth("Cp")->image;
  const int f = d.findFunction("Cp");
  std::vector<double> differences;
  for (std::size_t b = 0; b < d.blocks.size(); ++b)
    for (std::size_t n = 0; n < d.blocks[b].count(); ++n) {
      const auto& at = d.blocks[b].nodes[n];
      const vec2 pixel = run->lens.distort(run->camera.project({at.x, at.y, at.z}));
      const int x = static_cast<int>(std::lround(pixel.x)), y = static_cast<int>(std::lround(pixel.y));
      if (x < 0 || y < 0 || x >= truth.width() || y >= truth.height() || truth.bkgr()(x, y))
        continue;
      differences.push_back(
          std::fabs(truth.field()(x, y) - d.functions[static_cast<std::size_t>(f)].values[b][n]));
    }
  ASSERT_GT(differences.size(), d.nodeCount() / 2);
  std::sort(differences.begin(), differences.end());
  EXPECT_LT(differences[differences.size() / 2], 0.01);
  EXPECT_LT(differences[differences.size() * 9 / 10], 0.05);
}

// The grid's blocks face up: the normal at every node (of the model seen
// from above) has a positive height, and agrees with the surface's slope.
TEST_F(SynthMesh, NormalsFaceUp) {
  const auto run = makeRun(parseRunOptions({"size=128", "markers=0", "mesh=2000"}));
  const zel::field_data<double> d = modelData(*run);
  const auto normals = tamble::meshNormals(d);
  ASSERT_EQ(normals.size(), d.blocks.size());
  const windTunnelModel model;
  for (std::size_t b = 0; b < normals.size(); ++b) {
    ASSERT_EQ(normals[b].size(), d.blocks[b].count());
    for (std::size_t n = 0; n < normals[b].size(); ++n) {
      const auto& v = normals[b][n];
      ASSERT_NEAR(v.x * v.x + v.y * v.y + v.z * v.z, 1.0, 1e-12) << b << " " << n;
      ASSERT_GT(v.z, 0.5) << b << " " << n;
      // The slope across the span, by the model's own height: the normal
      // leans against it.
      const auto& at = d.blocks[b].nodes[n];
      const double slopeY = (model.height(at.x, at.y + 0.01) - model.height(at.x, at.y - 0.01)) / 0.02;
      if (std::fabs(slopeY) > 0.2) {
        ASSERT_LT(v.y * slopeY, 0.0) << b << " " << n;
      }
    }
  }
}

// The markers' model positions lie on the surface; the standard image
// markers are their wind-off centres, in the same numbering.
TEST_F(SynthMesh, MarkersPairModelAndFrame) {
  const std::string folder = make({"size=256", "markers=12", "mesh=2000"});
  const zel::field_data<double> d = readData(folder);
  const windTunnelModel model;
  ASSERT_EQ(d.meshMarkers.count(), d.imageMarkers.count());
  EXPECT_EQ(d.meshMarkers.lengthUnit, "mm");
  zel::markersArray centres;
  zel::read_mrk(folder + "/markers_wind_off.mrk", centres);
  ASSERT_EQ(centres.count(), d.imageMarkers.count());
  for (int i = 0; i < d.meshMarkers.count(); ++i) {
    const marker& m = d.meshMarkers[i];
    EXPECT_NEAR(m.z, model.height(m.x, m.y), 0.01) << i;
    EXPECT_NE(model.locate(m.x, m.y).part, modelPart::none) << i;
    EXPECT_EQ(d.imageMarkers[i].id, centres[i].id);
    EXPECT_EQ(d.imageMarkers[i].x, centres[i].x);
  }
}

// No grid asked for, or no markers to pair: no resection data.
TEST_F(SynthMesh, RunsWithoutMarkersOrGridHaveNone) {
  const struct {
    const char* words;
    const char* folder;
  } rows[] = {{"mesh=off", "nogrid"}, {"markers=0", "nomarkers"}};
  for (const auto& [words, name] : rows) {
    const std::string folder = make({"size=128", words}, name);
    EXPECT_FALSE(std::filesystem::exists(folder + "/run_resect.dat")) << words;
    EXPECT_EQ(zel::ini_read(folder + "/run.vur", "data", "resect_data_file", ""), "") << words;
  }
  EXPECT_THROW(parseRunOptions({"mesh=10"}), optionError);
  EXPECT_EQ(parseRunOptions({"mesh=off"}).meshNodes(), 0);
  EXPECT_EQ(parseRunOptions({"size=2048"}).meshNodes(), 100000);
  EXPECT_EQ(parseRunOptions({"size=1024"}).meshNodes(), 25000);
  EXPECT_EQ(parseRunOptions({"size=128"}).meshNodes(), 2000);
}

}  // namespace
