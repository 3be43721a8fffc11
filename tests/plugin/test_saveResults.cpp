// Save Results on projects written into a folder of their own and opened as a
// user opens them: the files it writes, the names the project keeps, and what
// a later opening reads back.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <array>
#include <filesystem>
#include <map>

#include "api/imagesList.h"
#include "api/markerFiles.h"
#include "host/platform.h"
#include "host/project.h"
#include "plugin/projectCommands.h"
#include "plugin/projectState.h"
#include "plugin/saveResults.h"
#include "tests/support/projectTest.h"
#include "tests/support/textFile.h"

namespace {

using namespace tamble;
namespace fs = std::filesystem;
using pathField = std::string zel::vurStr::*;

// Values that the six significant digits of a marker file keep exactly.
zel::markersArray markersOf(double base, const std::string& function = {}) {
  zel::markersArray m;
  for (int i = 0; i < 3; ++i)
    m.add({base + i * 1.25, base / 2 + i, 0.5 * i, base * 10 + i, i != 1, i + 1});
  m.functionName = function;
  return m;
}

std::vector<marker> markersIn(const std::string& file) {
  zel::markersArray m;
  zel::read_mrk(file, m);
  return m.items;
}

std::vector<bool> maskIn(const zel::arrayStore<bool, 2>& m) {
  return std::vector<bool>(m.data, m.data + m.count);
}
std::vector<bool> maskIn(const std::string& file) {
  zel::arrayStore<bool, 2> m;
  read_array(file, m);
  return maskIn(m);
}

void expectSameLayers(const zel::image& got, const zel::image& want) {
  const auto& f = got.field();
  EXPECT_EQ(std::vector<float>(f.data, f.data + f.count),
            std::vector<float>(want.field().data, want.field().data + want.field().count));
  EXPECT_EQ(maskIn(got.bkgr()), maskIn(want.bkgr()));
  EXPECT_EQ(maskIn(got.ROI()), maskIn(want.ROI()));
}

class SaveResults : public tamble::testing::projectTest {
 protected:
  void SetUp() override {
    projectTest::SetUp();
    fs::create_directory(dir / "img");
  }
  // An empty folder and a fresh session for the next row of a table.
  void restart() {
    fs::remove_all(dir);
    fs::create_directories(dir / "img");
    session().reset();
    user.ui.notices.clear();
  }

  // The project run.vur, its camera images in img/ (the reference pair for a
  // double paint); with `marked` it names a marker file of wind_off_sens.
  void open(const std::string& paint, bool marked = false) {
    zel::vurStr r;
    r.wind_off_sens_file = image("img/off_sens.tif", 100);
    r.wind_on_sens_file = image("img/on_sens.tif", 90);
    if (paint == "double") {
      r.wind_off_refe_file = image("img/off_refe.tif", 50);
      r.wind_on_refe_file = image("img/on_refe.tif", 51);
    }
    if (marked) {
      zel::write_mrk(path("img/off_sens.mrk"), markersOf(10.0));
      r.wind_off_sens_markers_file = "img/off_sens.mrk";
    }
    r.project_file = path("run.vur");
    write_vur_data(r.project_file, r, zel::paintFeatures(), zel::flowFeatures());
    reopen(paint);
  }
  void reopen(const std::string& paint) {
    user.ui.fileChoices = {path("run.vur")};
    if (paint != "double") params({{"m_type", paint == "Tsingle" ? "T" : "P"}});
    OpenProject(list);
    ASSERT_EQ(paintKind(), paint);
  }

  // A result image with its own values, background, ROI and markers.
  zel::image& result(const char* name, float scale) {
    auto* img = new zel::image(6, 4);
    img->setFieldName(name);
    for (int y = 0; y < 4; ++y)
      for (int x = 0; x < 6; ++x) {
        img->field()(x, y) = scale * (x - 2.5f * y);
        img->bkgr()(x, y) = x == 5;
        img->ROI()(x, y) = y != 0;
      }
    img->markers = markersOf(scale, name);
    list.addImage(img);
    return *img;
  }

  void cards(const std::array<int, 5>& c) {  // ii, p, pp, cp, t
    conversionState& s = state();
    s.card_ii = c[0], s.card_p = c[1], s.card_pp = c[2], s.card_cp = c[3], s.card_t = c[4];
  }

  zel::vurStr savedProject() const {
    zel::vurStr r;
    read_vur_strings(path("run.vur"), r);
    return r;
  }

  std::size_t filesWith(const std::string& extension) const {
    std::size_t n = 0;
    for (const auto& e : fs::recursive_directory_iterator(dir))
      n += e.path().extension() == extension;
    return n;
  }
};

// A paint's results in the list, the cards chosen, and the file each result
// must get ("" for none).
struct roundTrip {
  const char* paint;
  std::array<int, 5> cards;
  struct expected {
    const char* image;
    pathField field;
    const char* file;
  };
  std::vector<expected> results;
};

const roundTrip roundTrips[] = {
    {"double",
     {1, 0, 1, 1, 0},
     {{names::Irefe_Isens, &zel::vurStr::Irefe_Isens_file, "img/on_sens_Irefe_Isens.imp"},
      {names::Pressure, &zel::vurStr::Pressure_file, ""},
      {names::P_Pstat, &zel::vurStr::P_Pstat_file, "img/on_sens_P_Pstat.imp"},
      {names::Cp, &zel::vurStr::Cp_file, "img/on_sens_Cp.imp"}}},
    {"Tsingle",
     {0, 0, 0, 0, 1},
     {{names::Irefe_Isens, &zel::vurStr::Irefe_Isens_file, ""},
      {names::T, &zel::vurStr::T_file, "img/on_sens_T.imp"}}},
    {"single",
     {0, 0, 0, 0, 0},  // nothing chosen: Cp
     {{names::Pressure, &zel::vurStr::Pressure_file, ""},
      {names::Cp, &zel::vurStr::Cp_file, "img/on_sens_Cp.imp"}}},
};

// A saved project opens again with its results' names, and every file reads
// back as the images, masks and markers were; a result not chosen leaves no
// image file but keeps its markers and region.
TEST_F(SaveResults, ASavedProjectOpensAgainAndReadsBackItsResults) {
  for (const roundTrip& row : roundTrips) {
    SCOPED_TRACE(row.paint);
    open(row.paint);
    std::map<std::string, zel::image> saved;
    float scale = 1.5f;
    for (const auto& r : row.results) {
      saved[r.image] = result(r.image, scale += 1.0f);
      list.find(r.image)->fileInfo.name = path("img/interim.imp");  // the calculation's name
    }
    cards(row.cards);
    // The master image's markers moved since they were stored.
    zel::image& off = *list.find(names::wind_off_sens);
    state().primaryMarkers[1] = markersOf(40.5);
    off.markers = markersOf(41.0);
    off.ROI()(3, 0) = false;
    const zel::image offSaved = off;
    reg_set_string("Gauss", "m_diameter", "7");  // changed since the opening

    SaveResultsCommand(list);
    EXPECT_TRUE(user.ui.notices.empty());  // no marker file was named: no question
    ASSERT_NE(savedProject().parameter("Gauss", "m_diameter"), nullptr);
    EXPECT_EQ(*savedProject().parameter("Gauss", "m_diameter"), "7");
    std::size_t chosen = 0;
    for (const auto& r : row.results) chosen += *r.file ? 1 : 0;
    // The chosen results under their names, a region file for each result
    // and the master.
    EXPECT_EQ(filesWith(".imp"), chosen + row.results.size() + 1);
    for (const auto& r : row.results)
      EXPECT_EQ(list.find(r.image)->fileInfo.name, path(*r.file ? r.file : "img/interim.imp"));

    reopen(row.paint);
    const zel::vurStr& reopened = get_vur();
    for (const auto& r : row.results) {
      SCOPED_TRACE(r.image);
      EXPECT_EQ(reopened.*r.field, r.file);
      if (*r.file) {
        const auto got = read_image(path(r.file));
        EXPECT_EQ(got->fieldName(), r.image);
        expectSameLayers(*got, saved.at(r.image));
      }
      const std::string stem = path(std::string("img/on_sens_") + r.image);
      EXPECT_EQ(markersIn(stem + ".mrk"), saved.at(r.image).markers.items);
      EXPECT_EQ(maskIn(stem + "_ROI.imp"), maskIn(saved.at(r.image).ROI()));
    }
    // The master image opens with its markers as stored, and its region.
    EXPECT_EQ(reopened.wind_off_sens_markers_file, "img/off_sens.mrk");
    EXPECT_EQ(reopened.wind_off_sens_ROI_file, "img/off_sens_ROI.imp");
    EXPECT_EQ(list.find(names::wind_off_sens)->markers.items, markersOf(40.5).items);
    expectSameLayers(*list.find(names::wind_off_sens), offSaved);
    EXPECT_EQ(reopened.wind_on_sens_markers_file + reopened.wind_on_sens_ROI_file, "");
    restart();
  }
}

// "No" at the question keeps every marker file as it was, the results'
// included; "Yes" writes the stored sets and the results' markers; the form
// of a list project writes the results' markers only, without a question.
TEST_F(SaveResults, MarkerFilesFollowTheAnswerAndTheForm) {
  struct row {
    bool listForm, yes;
    bool sources, results;
  };
  for (const row& r : {row{false, false, false, false}, row{false, true, true, true},
                       row{true, false, false, true}}) {
    SCOPED_TRACE(std::to_string(r.listForm) + std::to_string(r.yes));
    open("double", true);
    for (zel::markersArray& m : state().primaryMarkers) m = markersOf(20.0);
    for (const char* name : {names::wind_off_refe, names::wind_on_refe, names::wind_on_sens})
      list.find(name)->markers = markersOf(21.0);
    result(names::Cp, 3.0f);
    user.ui.answers = {r.yes};

    r.listForm ? SaveResultsList(list) : (void)SaveResultsCommand(list);
    EXPECT_EQ(user.ui.notices.size(), r.listForm ? 0u : 1u);
    EXPECT_EQ(markersIn(path("img/off_sens.mrk")), markersOf(r.sources ? 20.0 : 10.0).items);
    for (const char* other : {"img/off_refe.mrk", "img/on_refe.mrk", "img/on_sens.mrk"})
      EXPECT_EQ(fs::exists(path(other)), r.sources) << other;
    EXPECT_EQ(savedProject().Cp_markers_file, r.results ? "img/on_sens_Cp.mrk" : "");
    if (r.results) {
      EXPECT_EQ(markersIn(path("img/on_sens_Cp.mrk")), markersOf(3.0).items);
    }
    EXPECT_TRUE(fs::exists(path("img/on_sens_Cp.imp")));  // the results whatever the answer
    restart();
  }
}

// Before any field calculation nothing is chosen: the paint's main result
// is chosen in the state (a pressure paint's Cp: see the round trip), and
// stays so, though no image file is written.
TEST_F(SaveResults, CardDefaultsApplyBeforeAnyFieldCalculation) {
  struct row {
    const char* paint;
    std::array<int, 5> before, after;  // ii, p, pp, cp, t
  };
  const row rows[] = {
      {"single", {0, 0, 0, 0, 1}, {0, 0, 0, 1, 1}},  // a temperature card does not count
      {"double", {0, 1, 0, 0, 0}, {0, 1, 0, 0, 0}},
      {"single", {1, 0, 0, 0, 0}, {1, 0, 0, 0, 0}},
      {"Tsingle", {0, 0, 0, 0, 0}, {0, 0, 0, 0, 1}},
      {"Tsingle", {0, 0, 0, 1, 0}, {0, 0, 0, 1, 1}},  // nor a pressure card here
      {"Tsingle", {1, 0, 0, 0, 0}, {1, 0, 0, 0, 0}},
  };
  for (const row& r : rows) {
    SCOPED_TRACE(r.paint);
    open(r.paint);
    cards(r.before);
    SaveResultsCommand(list);
    const conversionState& s = state();
    EXPECT_EQ((std::array<int, 5>{s.card_ii, s.card_p, s.card_pp, s.card_cp, s.card_t}), r.after);
    EXPECT_EQ(filesWith(".imp"), 0u);
  }
}

// A region is kept in a file while the image selects part of itself, under
// the name the project gives it (a fresh one: see the round trip); an image
// that selects all of itself, or is absent, loses its entry.
TEST_F(SaveResults, RegionEntriesFollowWhatTheImagesSelect) {
  struct row {
    const char* image;
    pathField entry;
    const char* before;
    bool selects;
    const char* after;
  };
  using v = zel::vurStr;
  const row rows[] = {
      {names::wind_off_sens, &v::wind_off_sens_ROI_file, "img/old_ROI.imp", false, ""},
      {names::wind_off_sens, &v::wind_off_sens_ROI_file, "img/kept_ROI.imp", true,
       "img/kept_ROI.imp"},
      {names::wind_on_T, &v::wind_on_T_ROI_file, "img/t_ROI.imp", false, ""},
      {names::Cp, &v::Cp_ROI_file, "img/cp_ROI.imp", false, ""},
  };
  for (const row& r : rows) {
    SCOPED_TRACE(std::string(r.image) + " " + r.before);
    open("double");
    get_vur().*r.entry = r.before;
    if (zel::image* img = list.find(r.image)) {
      img->fillROI(true);
      img->ROI()(2, 1) = !r.selects;
    }
    SaveResultsCommand(list);
    EXPECT_EQ(get_vur().*r.entry, r.after);
    EXPECT_EQ(savedProject().*r.entry, r.after);
    if (*r.after) {
      EXPECT_EQ(maskIn(path(r.after)), maskIn(list.find(r.image)->ROI()));
    }
  }
}

// A write that fails ends the saving there: the files before it stay, those
// after it and the project file are not written, and the user reads which
// file failed.
TEST_F(SaveResults, AFailingWriteLeavesEarlierFilesAndTellsTheUser) {
  struct row {
    const char* blocked;  // a folder stands where this file goes
    std::vector<const char*> written, notWritten;
  };
  const row rows[] = {
      {"img/off_sens.mrk",
       {"img/off_refe.mrk", "img/on_refe.mrk"},
       {"img/on_sens.mrk", "img/on_sens_Cp.mrk", "img/on_sens_Cp.imp"}},
      {"img/on_sens_Cp.imp",
       {"img/off_sens.mrk", "img/on_sens_Cp.mrk"},
       {"img/on_sens_Cp_ROI.imp", "img/off_sens_ROI.imp"}},
      {"img/off_sens_ROI.imp",
       {"img/on_sens_Cp.imp", "img/off_refe_ROI.imp"},
       {"img/on_sens_Cp_ROI.imp"}},
  };
  for (const row& r : rows) {
    SCOPED_TRACE(r.blocked);
    open("double");
    const std::string before = tamble::testing::readText(path("run.vur"));
    for (zel::markersArray& m : state().primaryMarkers) m = markersOf(5.0);
    for (const char* name :
         {names::wind_off_refe, names::wind_on_refe, names::wind_off_sens, names::wind_on_sens}) {
      list.find(name)->markers = markersOf(6.0);
      list.find(name)->ROI()(0, 0) = false;
    }
    result(names::Cp, 2.0f);
    fs::create_directory(path(r.blocked));

    std::string said;
    try {
      SaveResultsCommand(list);
    } catch (const zel::FileError& e) {
      said = e.message;
    }
    EXPECT_EQ(said.rfind(path(r.blocked), 0), 0u) << said;
    for (const char* f : r.written) EXPECT_TRUE(fs::is_regular_file(path(f))) << f;
    for (const char* f : r.notWritten) EXPECT_FALSE(fs::exists(path(f))) << f;
    EXPECT_EQ(tamble::testing::readText(path("run.vur")), before);
    EXPECT_EQ(get_vur().wind_on_sens_file, "img/on_sens.tif");  // the relative form again
    restart();
  }
}

}  // namespace
