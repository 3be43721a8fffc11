// The in-situ correction on a hand-made run whose results follow one paint
// law: whichever result is corrected, the others are computed again from
// it; the refusals, the report and its files, "Pressure Ports..." and the
// project's ports.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "api/imagesList.h"
#include "api/markerFiles.h"
#include "convert/paintLaw.h"
#include "host/paramRecord.h"
#include "host/platform.h"
#include "host/project.h"
#include "plugin/pressurePortsCommands.h"
#include "plugin/projectCommands.h"
#include "plugin/projectState.h"
#include "tests/support/projectTest.h"
#include "tests/support/textFile.h"

namespace {

using namespace tamble;
using tamble::testing::readText;
using misSetting = std::function<double(double)>;

constexpr int W = 12, H = 10;
constexpr double P_static = 80000, P_dynamic = 20000;

class InSitu : public tamble::testing::projectTest {
 protected:
  void SetUp() override {
    projectTest::SetUp();
    paintIn("pa");
  }

  // The paint -20000 + 90000 r + 30000 r^2 Pa, its law written in `unit`;
  // r0 = 1 at the wind-off 100000 Pa. The truth: the ratio q = 0.9 + 0.01 x
  // + 0.02 y, and the pressure the law gives it, in Pa.
  void paintIn(const std::string& unit) {
    const zel::paintFeatures pascals{{-20000, 0, 0, 90000, 0, 0, 30000}, "pa"};
    zel::flowFeatures& flow = get_flow();
    flow.P_wind_off = 100000, flow.P_static = P_static, flow.P_dynamic = P_dynamic;
    flow.T_wind_off = flow.T_wind_on = 20;
    ASSERT_EQ(pressureLaw(narrowed(pascals), flowInPaintUnits(pascals, flow), law),
              anchorFault::none);
    get_paint() = pascals;
    for (double& c : get_paint().c) c = zel::convert_pressure(c, "pa", unit);
    get_paint().paintUnit = unit;
    paintKind() = "double";
  }
  float q(int x, int y) const { return 0.9f + 0.01f * x + 0.02f * y; }
  double P(int x, int y) const { return law.value(q(x, y)); }
  double truth(const std::string& name, int x, int y) const {
    if (name == names::Irefe_Isens) return q(x, y);
    if (name == names::Cp) return (P(x, y) - P_static) / P_dynamic;
    if (name == names::P_Pstat) return P(x, y) / P_static;
    return P(x, y);
  }

  // A result of the truth changed by `misSet`, with one pixel in the
  // background and one outside the ROI.
  void addResult(const std::string& name, const misSetting& misSet) {
    auto* img = new zel::image(W, H);
    img->setFieldName(name);
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x)
        img->field()(x, y) = static_cast<float>(misSet(truth(name, x, y)));
    img->bkgr()(0, 0) = true, img->ROI()(W - 1, H - 1) = false;
    img->field()(0, 0) = img->field()(W - 1, H - 1) = 0.0f;
    list.addImage(img);
  }

  // Taps on pixel centres with the true pressure.
  void addPorts(int count = 8) {
    list.markers = zel::markersArray();
    for (int i = 0; i < count; ++i)
      list.markers.add(marker{1.0 + i % 2 * 5, 1.0 + i, P(1 + i % 2 * 5, 1 + i), 0, true, 0});
  }

  void settings(int ii, int p, int pp, int cp, int order) {
    const std::pair<const char*, int> cards[] = {
        {"m_ii", ii}, {"m_p", p}, {"m_pp", pp}, {"m_cp", cp}, {"m_t", 0}};
    for (const auto& [key, on] : cards) write_param("CreateCards", key, on);
    write_param("PPStart", "m_order", order);
    write_param("PPStart", "m_correct", 1);
    write_param("PPStart", "m_gageDiameter", 1.0f);
  }

  // Every calculated pixel agrees with the truth; the others are 0.
  void expectTruth(const std::string& name, double tolerance) {
    const zel::image* img = list.find(name);
    ASSERT_NE(img, nullptr) << name;
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x) {
        const bool excluded = (x == 0 && y == 0) || (x == W - 1 && y == H - 1);
        EXPECT_EQ(img->bkgr()(x, y) || !img->ROI()(x, y), excluded) << name;
        EXPECT_NEAR(img->field()(x, y), excluded ? 0.0 : truth(name, x, y), tolerance)
            << name << " " << x << "," << y;
      }
  }

  anchoredLaw law;
};

struct activeCase {
  const char* what;
  const char* unit;    // of the paint's law
  int ii, p, pp, cp;   // the cards
  const char* active;  // the result that is mis-set and corrected
  misSetting misSet;
  int order;
  std::vector<std::string> absent;  // results the list lacks at the start
  std::vector<std::string> after;   // results the list then holds, all true
};
void PrintTo(const activeCase& c, std::ostream* out) { *out << c.what; }

class ActiveField : public InSitu, public ::testing::WithParamInterface<activeCase> {};

// Whichever result the cards make active, a mis-setting of it is undone by
// the ports, and the results that follow from it are computed again (they
// start out wrong); a new result joins the list only with its card on. (The
// pressure with its law in pascals: tests/synth/test_inSituSynth.cpp.)
TEST_P(ActiveField, CorrectsItAndRecomputesTheOthers) {
  const activeCase& c = GetParam();
  paintIn(c.unit);
  settings(c.ii, c.p, c.pp, c.cp, c.order);
  for (const char* name : {names::Irefe_Isens, names::Pressure, names::P_Pstat, names::Cp}) {
    if (std::count(c.absent.begin(), c.absent.end(), name)) continue;
    const bool ratio = std::string(name) == names::Irefe_Isens;  // never computed back
    const misSetting wrong = [](double) { return -1.0; }, right = [](double v) { return v; };
    addResult(name, name == std::string(c.active) ? c.misSet : ratio ? right : wrong);
  }
  addPorts();
  ASSERT_TRUE(InSituCorrection(list, false));
  EXPECT_EQ(user.ui.notices, std::vector<std::string>{});
  ASSERT_EQ(list.size(), static_cast<int>(c.after.size()));
  const std::pair<std::string, double> scales[] = {
      {names::Pressure, 150000}, {names::Cp, 5}, {names::P_Pstat, 2}, {names::Irefe_Isens, 1.3}};
  for (const auto& [name, scale] : scales)
    if (std::count(c.after.begin(), c.after.end(), name)) expectTruth(name, 2e-6 * scale);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Results, ActiveField, ::testing::Values(
    activeCase{"Pressure offset, law in bar", "bar", 0, 1, 1, 1, names::Pressure,
               [](double v) { return v - 2500; }, 0, {}, {"Irefe_Isens", "Pressure", "P_Pstat", "Cp"}},
    activeCase{"P_Pstat gain", "pa", 0, 0, 1, 1, names::P_Pstat,
               [](double v) { return 1.03 * v; }, 1, {}, {"Irefe_Isens", "Pressure", "P_Pstat", "Cp"}},
    activeCase{"Cp offset, no Pressure card", "pa", 0, 0, 0, 1, names::Cp,
               [](double v) { return v + 0.05; }, 0, {"Pressure"}, {"Irefe_Isens", "P_Pstat", "Cp"}},
    activeCase{"Cp gain, new Pressure", "pa", 0, 1, 0, 1, names::Cp,
               [](double v) { return 0.9 * v - 0.02; }, 1, {"Pressure", "P_Pstat"},
               {"Irefe_Isens", "Cp", "Pressure"}},
    activeCase{"ratio gain", "pa", 1, 0, 0, 0, names::Irefe_Isens,
               [](double v) { return 0.97 * v; }, 1, {}, {"Irefe_Isens", "Pressure", "P_Pstat", "Cp"}}));
// clang-format on

// What the stage says when it cannot work, with nothing changed and no report.
TEST_F(InSitu, RefusalsLeaveEverythingAndWriteNoReport) {
  get_vur().project_file = path("run.vur");
  const struct {
    int ports, cardP;
    const char* text;
  } cases[] = {{0, 1, "No File Marker_CORR"},
               {8, 0, "No Correction due to absence of choosen active field"},
               {2, 1, "Active markers number is less than 3 !"}};
  for (const auto& c : cases) {
    list.clear();
    user.ui.notices.clear();
    settings(0, c.cardP, 0, 0, 0);
    addResult(names::Pressure, [](double v) { return v + 10; });
    addPorts(c.ports);
    EXPECT_TRUE(InSituCorrection(list, false));
    EXPECT_EQ(user.ui.notices, std::vector<std::string>{c.text});
    EXPECT_EQ(list.find(names::Pressure)->field()(3, 3), static_cast<float>(P(3, 3) + 10));
    EXPECT_EQ(list.size(), 1);
    EXPECT_FALSE(std::filesystem::exists(path("run_CORR.txt"))) << c.text;
  }
}

// From the menu: Cancel changes nothing; after OK the report dialog's Save
// Data writes what the project's "_CORR.txt" holds.
TEST_F(InSitu, TheReportGoesBesideTheProjectAndToTheChosenFile) {
  get_vur().project_file = path("run.vur");
  settings(0, 1, 0, 0, 0);
  addResult(names::Pressure, [](double v) { return v + 700; });
  addPorts();
  user.ui.dialogOk = {false};
  EXPECT_FALSE(InSituCorrection(list, true));
  EXPECT_FALSE(list.undoAvailable());
  EXPECT_FALSE(std::filesystem::exists(path("run_CORR.txt")));

  user.ui.fileChoices = {path("chosen.txt")};
  EXPECT_TRUE(InSituCorrectionCommand(list));
  expectTruth(names::Pressure, 0.02);  // an exact shift, to single precision
  const std::string report = readText(path("run_CORR.txt"));
  EXPECT_NE(report.find("\nWhere A0=-700.000000, D0=0.000000\n"), std::string::npos) << report;
  EXPECT_EQ(readText(path("chosen.txt")), report);
  EXPECT_EQ(user.ui.fileFilters.back(), "Pressure_Port files (*.txt)|*.txt||");
  EXPECT_TRUE(list.undoAvailable());
}

// "Pressure Ports...": the ports of a marker file correct the current image.
TEST_F(InSitu, PressurePortsCorrectTheCurrentImageFromAMarkerFile) {
  addResult(names::Pressure, [](double v) { return 0.5 * v; });
  addPorts();
  zel::save_markers(path("taps.mrk"), list.markers);
  list.markers = zel::markersArray();
  params({{"m_order", "1"}, {"m_gageDiameter", "1"}});
  user.ui.fileChoices = {path("taps.mrk"), path("saved.txt")};
  ASSERT_TRUE(PressurePortsCommand(list));
  expectTruth(names::Pressure, 1.0);  // a marker file keeps six digits: taps to 0.5 Pa
  EXPECT_EQ(user.ui.fileFilters.front(), "Markers files (*.mrk)|*.mrk||");
  const std::string saved = readText(path("saved.txt"));
  EXPECT_EQ(std::count(saved.begin(), saved.end(), '\n'), 15);
}

// A project's ports (read as the synthetic runs' ports) go with it when it
// closes; a project without ports leaves the list none.
TEST_F(InSitu, TheProjectsPortsGoWithIt) {
  write_image(path("off.tif"), zel::image(W, H));
  write_image(path("on.tif"), zel::image(W, H));
  addPorts();
  zel::save_markers(path("taps.mrk"), list.markers);
  zel::vurStr r;
  r.wind_off_sens_file = "off.tif", r.wind_on_sens_file = "on.tif";
  r.project_file = path("run.vur");
  params({{"m_type", "P"}});
  for (const char* ports : {"taps.mrk", ""}) {
    r.ports_markers_file = ports;
    write_vur_data(r.project_file, r, get_paint(), get_flow());
    user.ui.fileChoices = {r.project_file};
    ASSERT_TRUE(OpenProject(list));
    EXPECT_EQ(list.markers.count(), *ports ? 8 : 0);
    ASSERT_TRUE(CloseProject(list));
    EXPECT_EQ(list.markers.count(), 0);
  }
}

}  // namespace
