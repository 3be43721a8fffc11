// The project library: the .vur file, its paths, the held project and the
// images it puts into the list. Every project lives in a fresh folder that
// is not the current one, so that relative paths must be taken against it.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "api/errors.h"
#include "api/imagesList.h"
#include "api/markerFiles.h"
#include "host/platform.h"
#include "host/project.h"
#include "host/projectDialogs.h"
#include "tests/support/scriptedUi.h"
#include "tests/support/tempFolder.h"
#include "tests/support/textFile.h"

namespace fs = std::filesystem;
using zel::vurStr;

namespace {

using tamble::testing::readText;
using tamble::testing::writeText;

// Every single path of the record, listed here rather than taken from the
// library, so that a field the file forgets shows up.
// clang-format off
#define FIELD(name) {#name, &vurStr::name}
const std::vector<std::pair<const char*, std::string vurStr::*>>& allPathFields() {
  static const std::vector<std::pair<const char*, std::string vurStr::*>> fields = {
      FIELD(wind_on_refe_file), FIELD(wind_off_refe_file), FIELD(wind_on_sens_file),
      FIELD(wind_off_sens_file), FIELD(wind_on_T_file), FIELD(wind_off_T_file),
      FIELD(wind_on_dark_refe_file), FIELD(wind_off_dark_refe_file), FIELD(wind_on_dark_sens_file),
      FIELD(wind_off_dark_sens_file), FIELD(flat_refe_file), FIELD(flat_sens_file),
      FIELD(wind_off_refe_markers_file), FIELD(wind_on_refe_markers_file),
      FIELD(wind_off_sens_markers_file), FIELD(wind_on_sens_markers_file),
      FIELD(Pressure_markers_file), FIELD(P_Pstat_markers_file), FIELD(Cp_markers_file),
      FIELD(T_markers_file), FIELD(Irefe_Isens_markers_file), FIELD(wind_off_refe_ROI_file),
      FIELD(wind_on_refe_ROI_file), FIELD(wind_off_sens_ROI_file), FIELD(wind_on_sens_ROI_file),
      FIELD(wind_on_T_ROI_file), FIELD(wind_off_T_ROI_file), FIELD(Pressure_ROI_file),
      FIELD(P_Pstat_ROI_file), FIELD(Cp_ROI_file), FIELD(T_ROI_file), FIELD(Irefe_Isens_ROI_file),
      FIELD(Irefe_Isens_file), FIELD(Pressure_file), FIELD(P_Pstat_file), FIELD(Cp_file),
      FIELD(T_file), FIELD(sens_camera_file), FIELD(refe_camera_file), FIELD(reference_file),
      FIELD(resect_data_file), FIELD(geometry_markers_file), FIELD(ports_markers_file),
  };
  return fields;
}
#undef FIELD
// clang-format on

void expectSameStrings(const vurStr& expected, const vurStr& actual) {
  for (const auto& [key, field] : allPathFields()) EXPECT_EQ(actual.*field, expected.*field) << key;
  EXPECT_EQ(actual.wind_on_sens_list, expected.wind_on_sens_list);
  EXPECT_EQ(actual.wind_on_refe_list, expected.wind_on_refe_list);
  EXPECT_EQ(actual.no_report, expected.no_report);
  ASSERT_EQ(actual.parameters.size(), expected.parameters.size());
  for (std::size_t i = 0; i < expected.parameters.size(); ++i) {
    EXPECT_EQ(actual.parameters[i].section, expected.parameters[i].section) << i;
    EXPECT_EQ(actual.parameters[i].key, expected.parameters[i].key) << i;
    EXPECT_EQ(actual.parameters[i].value, expected.parameters[i].value) << i;
  }
}

// The images of a double-paint project in list order, each in img/<name>.tif
// under the key <name>_file; image i holds i + 1 everywhere, so that each can
// be told from the others.
const std::string doubleImages[] = {"wind_on_sens",      "wind_off_sens",      "wind_on_refe",
                                    "wind_off_refe",     "wind_on_dark_sens",  "wind_off_dark_sens",
                                    "wind_on_dark_refe", "wind_off_dark_refe", "flat_sens",
                                    "flat_refe",         "wind_on_T",          "wind_off_T"};

constexpr int imageWidth = 5;
constexpr int imageHeight = 4;

class Project : public tamble::testing::tempFolderTest {
 protected:
  void SetUp() override {
    tempFolderTest::SetUp();
    clear_vur();
    make_available_vur_project(true);
  }
  void TearDown() override {
    clear_vur();
    tempFolderTest::TearDown();
  }

  std::string at(const std::string& name) const {
    const std::string p = path(name);
    fs::create_directories(fs::path(p).parent_path());
    return p;
  }

  void writeImage(const std::string& name, float value) const {
    zel::image img(imageWidth, imageHeight);
    img.field().fill(value);
    img.setFieldName("picture");
    write_image(at(name), img);
  }
  // Writes image i of the project and gives its line in [images].
  std::string imageLine(const std::string& name, int i) const {
    writeImage("img/" + name + ".tif", i + 1.0f);
    return name + "_file=img/" + name + ".tif\n";
  }
  // `n` active markers at (i + 1, 2).
  void writeMarkers(const std::string& name, int n) const {
    zel::markersArray markers;
    for (int i = 0; i < n; ++i) markers.add(marker{i + 1.0, 2.0, 0.0, 0.0, true, 0});
    zel::save_markers(at(name), markers);
  }
  // True everywhere but at (x, y).
  void writeROI(const std::string& name, int x, int y, int w = imageWidth,
                int h = imageHeight) const {
    zel::arrayStore<bool, 2> mask(w, h);
    mask.fill(true);
    mask(x, y) = false;
    mask.name = "ROI";
    write_array(at(name), mask);
  }

  // A double-paint project with every image, markers on two images and ROI
  // files on two; all paths relative. (Cameras: tests/synth.)
  std::string writeDoubleProject(const std::string& name = "run12.vur") {
    std::string text = "; run 12, double paint\n[project]\nno_report=1\n\n[images]\n";
    for (int i = 0; i < 12; ++i) text += imageLine(doubleImages[i], i);
    writeMarkers("mrk/off_sens.mrk", 3);
    writeMarkers("mrk/on_refe.mrk", 2);
    writeROI("roi/off_sens_ROI.imp", 1, 2);
    writeROI("roi/on_T_ROI.imp", 4, 0);
    text +=
        "\n[markers]\nwind_off_sens_markers_file=mrk/off_sens.mrk\n"
        "wind_on_refe_markers_file=mrk/on_refe.mrk\n"
        "\n[roi]\nwind_off_sens_ROI_file=roi/off_sens_ROI.imp\n"
        "wind_on_T_ROI_file=roi/on_T_ROI.imp\n"
        "\n[paint]\nA0=0,5\nB0=1,25\npaintUnit=bar\n"
        "\n[flow]\nP_wind_off=1,01\nflowPressureUnit=bar\nT_wind_off=20\n";
    writeText(at(name), text);
    return path(name);
  }

  // A single-paint project: the sensor pair, its dark frames and its flat.
  std::string writeSingleProject(const std::string& name = "single.vur") {
    std::string text = "[images]\n";
    for (int i : {0, 1, 4, 5, 8}) text += imageLine(doubleImages[i], i);
    text += "[paint]\nA1=2\npaintUnit=psi\n";
    writeText(at(name), text);
    return path(name);
  }

  tamble::testing::installedUi user;
  zel::imagesList list;
};

// The text of a zel::FileError raised by `work`.
template <class Work>
std::string failureOf(Work work) {
  try {
    work();
  } catch (const zel::FileError& e) {
    return e.message;
  }
  ADD_FAILURE() << "no zel::FileError";
  return {};
}

// ---- The file ----------------------------------------------------------------

// Every path, list, parameter, paint and flow field written comes back as it was.
TEST_F(Project, WriterAndReaderAgreeOnEveryField) {
  vurStr record;
  record.project_file = at("run/p.vur");
  int n = 0;
  for (const auto& [key, field] : allPathFields())
    record.*field = "files/" + std::string(key) + "_" + std::to_string(n++) + ".dat";
  record.wind_on_sens_list = {"list/s1.tif", "list/s2.tif", "list/s3.tif"};
  record.wind_on_refe_list = {"list/r1.tif", "list/r2.tif"};
  record.no_report = true;
  record.parameters = {
      {"Median", "m_diameter", "5"}, {"CreateCards", "m_cp", "1"}, {"Median", "m_gain", "0,25"}};
  zel::paintFeatures paint;
  const double c[9] = {0.1, 1.0 / 3.0, -2.5e-7, 101325, 0, -1, 7.125, 1e300, -0.0625};
  std::copy(std::begin(c), std::end(c), paint.c);
  paint.paintUnit = "psi";
  zel::flowFeatures flow{0.95, 0.5, 0.25, 18.5, -3.75, "bar", "k"};
  write_vur_data(record.project_file, record, paint, flow);

  // A section's parameters stand together in the file.
  vurStr grouped = record;
  std::swap(grouped.parameters[1], grouped.parameters[2]);
  vurStr strings;
  read_vur_strings(record.project_file, strings);
  expectSameStrings(grouped, strings);
  EXPECT_EQ(strings.project_file, record.project_file);
  EXPECT_FALSE(strings.absolutePaths);

  // Every file the project reads must exist before it can be held.
  for (const auto& [key, field] : allPathFields()) writeText(path("run/" + record.*field), "");
  for (const std::string& entry : record.wind_on_sens_list) writeText(path("run/" + entry), "");
  for (const std::string& entry : record.wind_on_refe_list) writeText(path("run/" + entry), "");
  read_vur_data(record.project_file, false);
  expectSameStrings(grouped, get_vur());
  for (int i = 0; i < 9; ++i) EXPECT_EQ(get_paint().c[i], c[i]) << i;
  EXPECT_EQ(get_paint().paintUnit, "psi");
  const zel::flowFeatures& f = get_flow();
  EXPECT_EQ(
      std::tie(f.P_wind_off, f.P_static, f.P_dynamic, f.T_wind_off, f.T_wind_on),
      std::tie(flow.P_wind_off, flow.P_static, flow.P_dynamic, flow.T_wind_off, flow.T_wind_on));
  EXPECT_EQ(std::tie(f.flowPressureUnit, f.flowTemperatureUnit), std::tie("bar", "k"));
}

// A new file has fixed sections in a fixed order and no temporary file is left.
TEST_F(Project, NewFileIsLaidOutForReadingByHand) {
  vurStr record;
  record.project_file = path("p.vur");
  record.wind_off_sens_file = "img/off.tif";
  record.wind_on_sens_file = "img/on.tif";
  record.Cp_file = "out/run_Cp.imp";
  record.parameters = {{"Median", "m_diameter", "5"}};
  zel::paintFeatures paint;
  paint.c[4] = -1e-5;
  write_vur_data(record.project_file, record, paint, {});
  EXPECT_EQ(readText(record.project_file),
            "; Tamble project, described in docs/project-file.md\n"
            "\n[project]\nversion=Tamble 1\nno_report=0\n"
            "\n[images]\nwind_on_sens_file=img/on.tif\nwind_off_sens_file=img/off.tif\n"
            "\n[results]\nCp_file=out/run_Cp.imp\n"
            "\n[paint]\nA0=0\nA1=0\nA2=0\nB0=0\nB1=-1e-05\nB2=0\nC0=0\nC1=0\nC2=0\n"
            "paintUnit=pa\n"
            "\n[flow]\nP_wind_off=0\nP_static=0\nP_dynamic=0\nT_wind_off=0\nT_wind_on=0\n"
            "flowPressureUnit=pa\nflowTemperatureUnit=c\n"
            "\n[Median]\nm_diameter=5\n");
  // No temporary file is left beside it.
  EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);
}

// Rewriting keeps comments, unknown keys, line ends and unchanged texts.
TEST_F(Project, WriterChangesOnlyTheLinesWhoseMeaningChanged) {
  const std::string file = at("camp/run/p.vur");
  writeText(at("camp/run/img/off.tif"), "");
  const std::string original =
      "; run 7 -- written by hand\r\n[project]\r\nno_report=no\r\n\r\n"
      "; the sensor pair\r\n[images]\r\nwind_off_sens_file = " +
      path("camp/run/img/off.tif") +
      "\r\nwind_on_sens_file=img\\on.tif\r\ncolour=blue\r\n"
      "[results]\r\nPressure_file=out/p.imp\r\nCp_file=out/cp.imp\r\n"
      "[list]\r\nwind_on_sens_12=runs/12.tif\r\nwind_on_sens_14=runs/14.tif\r\n"
      "wind_on_sens_20=\r\nwind_on_sens_30=runs/30.tif\r\n"
      "[Gauss]\r\n; sigma from the last campaign\r\nm_sigma=0,5\r\n"
      "[Old]\r\nm_x=1\r\n[Median]\r\nm_diameter=5\r\n";
  writeText(file, original);

  vurStr record;
  read_vur_strings(file, record);
  // The parameter block comes in file order, the unknown key stays out.
  ASSERT_EQ(record.parameters.size(), 3u);
  EXPECT_EQ(record.parameters[0].section, "Gauss");
  EXPECT_EQ(record.parameters[0].value, "0,5");
  EXPECT_EQ(record.parameters[1].section, "Old");
  EXPECT_EQ(record.parameters[2].key, "m_diameter");
  EXPECT_EQ(record.wind_on_sens_list,
            (std::vector<std::string>{"runs/12.tif", "runs/14.tif", "runs/30.tif"}));

  record.setParameter("Median", "m_diameter", "7");
  record.setParameter("Median", "m_gain", "0,1");
  record.setParameter("New", "m_a", "1");
  record.Pressure_file.clear();
  record.T_file = "out/t.imp";
  record.wind_on_sens_list = {"runs/12.tif", "runs/15.tif"};
  write_vur_strings(file, record);
  // Unchanged meanings keep their text (the absolute path, the backslash,
  // "no"); the emptied key stays empty; list keys keep their numbers.
  std::string expected = original;
  for (const auto& [from, to] : std::vector<std::pair<std::string, std::string>>{
           {"no_report=no\r\n", "no_report=no\r\nversion=Tamble 1\r\n"},
           {"Pressure_file=out/p.imp\r\n", "Pressure_file=\r\n"},
           {"Cp_file=out/cp.imp\r\n", "Cp_file=out/cp.imp\r\nT_file=out/t.imp\r\n"},
           {"runs/14.tif", "runs/15.tif"},
           {"wind_on_sens_30=runs/30.tif\r\n", ""},
           {"m_diameter=5\r\n", "m_diameter=7\r\nm_gain=0,1\r\n[New]\r\nm_a=1\r\n"}}) {
    ASSERT_NE(expected.find(from), std::string::npos) << from;
    expected.replace(expected.find(from), from.size(), to);
  }
  EXPECT_EQ(readText(file), expected);

  // Writing the record once more changes nothing.
  const std::string once = readText(file);
  write_vur_strings(file, record);
  EXPECT_EQ(readText(file), once);
}

// List entries are ordered by number; a number written twice names both lines.
TEST_F(Project, ListEntriesFollowTheirNumbers) {
  const std::string file = at("list.vur");
  writeText(file,
            "[list]\nwind_on_sens_3=c.tif\nwind_on_refe_2=rb.tif\nwind_on_sens_1=a.tif\n"
            "wind_on_sens_2=\nwind_on_sens_10=d.tif\nwind_on_refe_1=ra.tif\n"
            "wind_on_sens_x=ignored.tif\n");
  vurStr record;
  read_vur_strings(file, record);
  EXPECT_EQ(record.wind_on_sens_list, (std::vector<std::string>{"a.tif", "c.tif", "d.tif"}));
  EXPECT_EQ(record.wind_on_refe_list, (std::vector<std::string>{"ra.tif", "rb.tif"}));

  // Longer lists go on after the highest number.
  record.wind_on_refe_list.push_back("rc.tif");
  write_vur_strings(file, record);
  vurStr again;
  read_vur_strings(file, again);
  EXPECT_EQ(again.wind_on_refe_list, (std::vector<std::string>{"ra.tif", "rb.tif", "rc.tif"}));
  EXPECT_NE(readText(file).find("wind_on_refe_3=rc.tif\n"), std::string::npos);

  writeText(file, "[list]\nwind_on_sens_1=a.tif\nwind_on_sens_01=b.tif\n");
  const std::string failure = failureOf([&] { read_vur_strings(file, record); });
  EXPECT_NE(failure.find(file + ":3: [list] wind_on_sens_01:"), std::string::npos) << failure;
  EXPECT_NE(failure.find("line 2"), std::string::npos) << failure;
  EXPECT_EQ(record.wind_on_refe_list.size(), 3u);  // the record stays as it was
}

// Numbers read with comma or point; unchanged numbers are written back as they were.
TEST_F(Project, NumbersTakeEitherDecimalMark) {
  writeText(at("p.vur"),
            "[paint]\nA0=0,25\nA1=-1,5e-3\nB0=.5\npaintUnit=BAR\n"
            "[flow]\nP_wind_off=1,01325\nP_static=\nflowTemperatureUnit=K\n"
            "[Gauss]\nm_sigma=0,25\n");
  read_vur_data(path("p.vur"), false);
  EXPECT_EQ(get_paint().c[0], 0.25);
  EXPECT_EQ(get_paint().c[1], -1.5e-3);
  EXPECT_EQ(get_paint().c[3], 0.5);
  EXPECT_EQ(get_paint().paintUnit, "BAR");
  EXPECT_EQ(get_flow().P_wind_off, 1.01325);
  EXPECT_EQ(get_flow().P_static, 0.0);  // empty: not given
  EXPECT_EQ(get_flow().flowTemperatureUnit, "K");
  ASSERT_NE(get_vur().parameter("Gauss", "m_sigma"), nullptr);
  EXPECT_EQ(*get_vur().parameter("Gauss", "m_sigma"), "0,25");  // the store's text, as it is

  // Unchanged numbers keep their comma; a changed one is written with a point.
  zel::paintFeatures paint = get_paint();
  paint.c[1] = 0.75;
  write_vur_data(path("p.vur"), get_vur(), paint, get_flow());
  const std::string text = readText(path("p.vur"));
  EXPECT_NE(text.find("A0=0,25\nA1=0.75\n"), std::string::npos) << text;
  EXPECT_NE(text.find("P_wind_off=1,01325\n"), std::string::npos) << text;
  EXPECT_NE(text.find("m_sigma=0,25\n"), std::string::npos) << text;
}

// Unreadable parameters, units or numbers are refused and nothing on disk changes.
TEST_F(Project, WriterRefusesWhatItCouldNotReadBack) {
  const std::string file = at("p.vur");
  writeText(file, "; keep me\n[images]\nwind_on_sens_file=a.tif\n");
  const std::string before = readText(file);
  vurStr record;
  read_vur_strings(file, record);

  vurStr own = record;
  own.setParameter("paint", "m_x", "1");
  EXPECT_NE(failureOf([&] { write_vur_strings(file, own); }).find("[paint] m_x"),
            std::string::npos);
  vurStr broken = record;
  broken.setParameter("Median", "m_diameter", "5\n[images]");
  EXPECT_NE(failureOf([&] { write_vur_strings(file, broken); }).find("[Median] m_diameter"),
            std::string::npos);
  zel::paintFeatures paint;
  paint.paintUnit = "furlong";
  EXPECT_NE(failureOf([&] { write_vur_data(file, record, paint, {}); }).find("[paint] paintUnit"),
            std::string::npos);
  paint.paintUnit = "pa";
  paint.c[2] = std::nan("");
  EXPECT_NE(failureOf([&] { write_vur_data(file, record, paint, {}); }).find("[paint] A2"),
            std::string::npos);
  EXPECT_EQ(readText(file), before);

  // A new file in a folder that is not there: nothing is made.
  const std::string nowhere = path("missing/p.vur");
  EXPECT_NE(failureOf([&] { write_vur_strings(nowhere, record); }).find(nowhere),
            std::string::npos);
  EXPECT_FALSE(fs::exists(path("missing")));
  // A failed new file leaves no file and no temporary behind.
  EXPECT_NE(failureOf([&] { write_vur_strings(path("new.vur"), own); }), "");
  EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);
}

// ---- Paths -------------------------------------------------------------------

// alt_path turns relative paths absolute against the project folder and back.
TEST_F(Project, AltPathTurnsPathsBetweenTheTwoForms) {
  const std::string folder = path("camp/run");
  const struct {
    std::string vurStr::*field;
    std::string relative, absolute;
  } rows[] = {
      {&vurStr::wind_on_sens_file, "img/on.tif", folder + "/img/on.tif"},
      {&vurStr::wind_off_sens_file, "../cal/off.tif", path("camp/cal/off.tif")},
      {&vurStr::sens_camera_file, "/opt/tamble/cameras/sens.cam", "/opt/tamble/cameras/sens.cam"},
      {&vurStr::T_file, "out/t.imp", folder + "/out/t.imp"},
      {&vurStr::Cp_file, "", ""},
  };
  vurStr record;
  record.project_file = folder + "/p.vur";
  for (const auto& row : rows) record.*row.field = row.relative;
  record.T_file = "out\\t.imp";  // a folder mark of other systems
  record.wind_on_sens_list = {"runs/1.tif"};

  vurStr absolute = record;
  alt_path(absolute);
  EXPECT_TRUE(absolute.absolutePaths);
  for (const auto& row : rows) EXPECT_EQ(absolute.*row.field, row.absolute);
  EXPECT_EQ(absolute.wind_on_sens_list[0], folder + "/runs/1.tif");
  vurStr back = absolute;
  alt_path(back);
  EXPECT_FALSE(back.absolutePaths);
  for (const auto& row : rows) EXPECT_EQ(back.*row.field, row.relative);  // far away: stays
  EXPECT_EQ(back.wind_on_sens_list[0], "runs/1.tif");

  // Three folders up is too far for the relative form.
  absolute.refe_camera_file = dir.parent_path().string() + "/refe.cam";
  absolute.Cp_file = folder + "/sub/../cp.imp";
  alt_path(absolute);
  EXPECT_EQ(absolute.refe_camera_file, dir.parent_path().string() + "/refe.cam");
  EXPECT_EQ(absolute.Cp_file, "cp.imp");
}

// Relative paths are written relative to the folder of the file being written.
TEST_F(Project, WriterTakesPathsToTheFolderOfTheFileItWrites) {
  vurStr record;
  record.project_file = at("camp/run/p.vur");
  record.wind_on_sens_file = "img/on.tif";
  record.wind_off_sens_file = "/opt/far/off.tif";
  alt_path(record);  // as Save Results holds it while it writes
  write_vur_strings(record.project_file, record);
  std::string text = readText(record.project_file);
  EXPECT_NE(text.find("wind_on_sens_file=img/on.tif\n"), std::string::npos) << text;
  EXPECT_NE(text.find("wind_off_sens_file=/opt/far/off.tif\n"), std::string::npos) << text;

  // Saved elsewhere, the same files are named from the new folder.
  write_vur_strings(at("camp/copy/q.vur"), record);
  text = readText(path("camp/copy/q.vur"));
  EXPECT_NE(text.find("wind_on_sens_file=../run/img/on.tif\n"), std::string::npos) << text;
  vurStr copy;
  read_vur_strings(path("camp/copy/q.vur"), copy);
  alt_path(copy);
  EXPECT_EQ(copy.wind_on_sens_file, path("camp/run/img/on.tif"));
}

// ---- Opening a project -------------------------------------------------------

// A double-paint project loads each image under its own name, its markers, ROIs, paint and flow.
TEST_F(Project, DoublePaintImagesEnterTheListUnderTheirNames) {
  const std::string file = writeDoubleProject();
  read_vur_data(file, false);
  EXPECT_TRUE(get_vur().no_report);
  EXPECT_EQ(get_paint().c[3], 1.25);
  EXPECT_EQ(get_paint().paintUnit, "bar");
  EXPECT_EQ(get_flow().P_wind_off, 1.01);

  read_vur_images(list, true);
  ASSERT_EQ(list.size(), 12);
  for (int i = 0; i < 12; ++i) {
    const zel::image& img = *list[i];
    EXPECT_EQ(img.fieldName(), doubleImages[i]);
    EXPECT_EQ(img.field()(2, 1), i + 1.0f) << doubleImages[i];
    EXPECT_EQ(img.fileInfo.name, path("img/" + doubleImages[i] + ".tif"));
  }
  EXPECT_EQ(list.find("wind_off_sens")->markers.count(), 3);
  EXPECT_EQ(list.find("wind_on_refe")->markers.count(), 2);
  EXPECT_EQ(list.find("wind_on_sens")->markers.count(), 0);

  EXPECT_FALSE(list.find("wind_off_sens")->ROI()(1, 2));
  EXPECT_TRUE(list.find("wind_off_sens")->ROI()(2, 1));
  EXPECT_FALSE(list.find("wind_on_T")->ROI()(4, 0));
  EXPECT_TRUE(list.find("wind_on_sens")->ROI()(1, 2));
}

// Only a project's images are listed; those already in the list are kept or replaced in place.
TEST_F(Project, ReplaceDecidesAboutImagesAlreadyInTheList) {
  read_vur_images(list, true);  // nothing held, nothing read
  EXPECT_EQ(list.size(), 0);
  read_vur_data(writeSingleProject(), false);
  auto* mine = new zel::image(2, 2);
  mine->setFieldName("wind_off_sens");
  mine->field().fill(99.0f);
  list.addImage(mine);
  auto* other = new zel::image(2, 2);
  other->setFieldName("other");
  list.addImage(other);

  read_vur_images(list, false);
  EXPECT_EQ(list.find("wind_off_sens"), mine);  // kept
  EXPECT_EQ(list.size(), 6);

  read_vur_images(list, true);
  EXPECT_EQ(list.size(), 6);
  EXPECT_EQ(list.indexOf("wind_off_sens"), 0);  // in its place
  EXPECT_EQ(list.find("wind_off_sens")->field()(0, 0), 2.0f);
  EXPECT_EQ(list.find("other"), other);
}

// A list project without a wind-on image of its own shows its first run (own pair: tests/plugin).
TEST_F(Project, ListProjectWithoutItsOwnPairStartsWithItsFirstRun) {
  writeImage("off.tif", 1.0f);
  writeImage("runs/a.tif", 2.0f);
  writeImage("runs/b.tif", 3.0f);
  writeImage("runs/ra.tif", 4.0f);
  writeText(at("l.vur"),
            "[images]\nwind_off_sens_file=off.tif\n"
            "[list]\nwind_on_sens_2=runs/b.tif\nwind_on_sens_1=runs/a.tif\n"
            "wind_on_refe_1=runs/ra.tif\n");
  read_vur_data(path("l.vur"), false);
  EXPECT_EQ(get_vur().wind_on_sens_list, (std::vector<std::string>{"runs/a.tif", "runs/b.tif"}));
  EXPECT_EQ(get_vur().wind_on_refe_list, (std::vector<std::string>{"runs/ra.tif"}));
  read_vur_images(list, true);
  EXPECT_EQ(list.find("wind_on_sens")->field()(0, 0), 2.0f);
  EXPECT_EQ(list.find("wind_on_refe")->field()(0, 0), 4.0f);
  EXPECT_EQ(list.find("wind_on_sens")->fileInfo.name, path("runs/a.tif"));
}

// ---- Failures ----------------------------------------------------------------

// A faulty line is named by file, line, section and key; nothing held changes.
TEST_F(Project, AFaultyProjectLeavesTheHeldProjectAndTheListAsTheyWere) {
  const std::string good = writeSingleProject();
  read_vur_data(good, false);
  read_vur_images(list, true);
  const vurStr held = get_vur();
  const std::vector<zel::image*> images = {list[0], list[1], list[2], list[3], list[4]};
  writeImage("exists.tif", 1.0f);
  fs::create_directories(path("folder.tif"));

  struct faultyProject {
    const char* lines;  // the third line of the file is the faulty one
    std::vector<std::string> named;
  };
  const faultyProject cases[] = {
      {"[paint]\nA1=1,2x", {":3: [paint] A1: \"1,2x\" is not a number"}},
      {"[flow]\nP_static=nan", {":3: [flow] P_static:"}},
      {"[flow]\nP_dynamic=1e999", {":3: [flow] P_dynamic:"}},
      {"[paint]\npaintUnit=furlong",
       {":3: [paint] paintUnit: \"furlong\" is not a pressure unit", "psia"}},
      {"[flow]\nflowTemperatureUnit=celsius",
       {":3: [flow] flowTemperatureUnit:", "not a temperature unit (c, f, r, k)"}},
      {"[project]\nno_report=maybe", {":3: [project] no_report:"}},
      {"[images]\nwind_off_sens_file=img/missing.tif",
       {":3: [images] wind_off_sens_file: " + path("img/missing.tif") + ": file not found"}},
      {"[images]\nflat_refe_file=folder.tif", {":3: [images] flat_refe_file:", "not a regular"}},
      {"[data]\nrefe_camera_file=../nowhere.cam",
       {":3: [data] refe_camera_file: " + dir.parent_path().string() + "/nowhere.cam"}},
      {"[list]\nwind_on_refe_4=exists.tif\nwind_on_refe_2=gone.tif",
       {":4: [list] wind_on_refe_2: " + path("gone.tif")}},
      {"[images]\n[flow", {":3: a section header without its \"]\": \"[flow\""}},
      {"[images]\nwind_on_sens_file img/x.tif", {":3: a line that is no key"}},
      {"[images]\n=img/x.tif", {":3: a line that is no key"}},
      {"[Gauss]\nm_diameter=5\r3", {":3: a control character in"}},
  };
  for (const faultyProject& c : cases) {
    const std::string bad = at("bad.vur");
    writeText(bad, std::string("; faulty\n") + c.lines + "\n");
    const std::string failure = failureOf([&] { read_vur_data(bad, false); });
    EXPECT_EQ(failure.rfind(bad + ":", 0), 0u) << failure;
    for (const std::string& part : c.named)
      EXPECT_NE(failure.find(part), std::string::npos) << c.lines << "\n -> " << failure;
    EXPECT_EQ(get_vur().project_file, good);
    expectSameStrings(held, get_vur());
    EXPECT_EQ(get_paint().c[1], 2.0);
  }
  EXPECT_NE(failureOf([&] { read_vur_data(path("none.vur"), true); }).find(path("none.vur")),
            std::string::npos);
  writeText(path("bom.vur"), "\xEF\xBB\xBF[images]\nwind_on_sens_file=img/wind_on_sens.tif\n");
  EXPECT_NE(failureOf([&] { read_vur_data(path("bom.vur"), true); }).find(":1: the file begins"),
            std::string::npos);
  EXPECT_EQ(get_vur().project_file, good);
  ASSERT_EQ(list.size(), 5);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(list[i], images[i]);
  EXPECT_TRUE(user.ui.notices.empty());
}

// A damaged image, ROI or marker file is named and the list stays as it was.
TEST_F(Project, ADamagedImageLeavesTheListAsItWas) {
  read_vur_data(writeSingleProject(), false);
  read_vur_images(list, true);
  const zel::image* first = list[0];
  writeROI("small_ROI.imp", 0, 0, 3, 3);
  writeText(path("bad.mrk"), "<ObjectMarkers><NodesNumber>2");
  // A TIFF that is none, a ROI of another size, a broken marker file.
  const struct {
    std::string vurStr::*field;
    std::string file, named;
  } rows[] = {
      {&vurStr::flat_sens_file, "img/flat_sens.tif",
       get_vur().project_file + ": [images] flat_sens_file: " + path("img/flat_sens.tif")},
      {&vurStr::wind_on_sens_ROI_file, "small_ROI.imp",
       "[roi] wind_on_sens_ROI_file: " + path("small_ROI.imp")},
      {&vurStr::wind_off_sens_markers_file, "bad.mrk", "[markers] wind_off_sens_markers_file: "},
  };
  writeText(path("img/flat_sens.tif"), "this is no TIFF file");
  for (const auto& row : rows) {
    const std::string kept = get_vur().*row.field;
    get_vur().*row.field = row.file;
    const std::string failure = failureOf([&] { read_vur_images(list, true); });
    EXPECT_NE(failure.find(row.named), std::string::npos) << failure;
    EXPECT_EQ(list.size(), 5);
    EXPECT_EQ(list[0], first);
    if (row.field == &vurStr::flat_sens_file) writeImage("img/flat_sens.tif", 9.0f);
    get_vur().*row.field = kept;
  }
}

// Unknown keys are ignored, and listed with their lines only when a person opens it.
TEST_F(Project, UnknownKeysAreShownOnlyToAPerson) {
  writeImage("on.tif", 1.0f);
  writeText(at("typo.vur"),
            "[images]\nwind_on_sens_file=on.tif\nwind_of_sens_file=off.tif\n[paint]\nA9=1\n");
  read_vur_data(path("typo.vur"), false);
  EXPECT_TRUE(user.ui.notices.empty());
  EXPECT_TRUE(get_vur().wind_off_sens_file.empty());
  read_vur_data(path("typo.vur"), true);
  ASSERT_EQ(user.ui.notices.size(), 1u);
  EXPECT_NE(user.ui.notices[0].find("line 3: [images] wind_of_sens_file"), std::string::npos)
      << user.ui.notices[0];
  EXPECT_NE(user.ui.notices[0].find("line 5: [paint] A9"), std::string::npos);
}

// ---- The host's dialogs ---------------------------------------------------------

// The files dialog offers its extensions once each and drops empty choices.
TEST_F(Project, FilesListOffersItsExtensions) {
  dlgFilesList dialog;
  dialog.add_ext("vur");
  dialog.add_ext(".inf");
  dialog.add_ext("vur");
  user.ui.fileListChoices = {{path("a.vur"), "", path("b.inf")}, {}};
  EXPECT_TRUE(dialog.DoModal());
  EXPECT_EQ(dialog.files(), (std::vector<std::string>{path("a.vur"), path("b.inf")}));
  EXPECT_EQ(user.ui.fileFilters.back(), "Files (*.vur;*.inf)|*.vur;*.inf||");
  EXPECT_FALSE(dialog.DoModal());  // Cancel
  EXPECT_TRUE(dialog.files().empty());
}

}  // namespace
