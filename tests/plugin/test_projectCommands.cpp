#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "api/errors.h"
#include "api/imagesList.h"
#include "host/paramRecord.h"
#include "host/platform.h"
#include "host/project.h"
#include "plugin/availability.h"
#include "plugin/projectCommands.h"
#include "plugin/projectState.h"
#include "tests/support/commandTest.h"

namespace {

using namespace tamble;

// Projects written into a folder of their own, opened through the file
// choice as a user would.
class ProjectCommands : public tamble::testing::commandTest {
 protected:
  void SetUp() override {
    commandTest::SetUp();
    std::string pattern = (std::filesystem::temp_directory_path() / "tamble-prj-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir = pattern;
  }
  void TearDown() override {
    session().reset();
    make_available_vur_project(true);
    std::filesystem::remove_all(dir);
    commandTest::TearDown();
  }

  std::string path(const std::string& name) const { return (dir / name).string(); }

  // An image file of 6 by 4 pixels of the value `v`.
  std::string image(const std::string& file, float v) {
    zel::image img(6, 4);
    for (std::uint64_t i = 0; i < img.field().count; ++i) img.field().data[i] = v;
    write_image(path(file), img);
    return file;
  }

  // A project whose sources are named by the setters given; frames of a
  // double paint when `frames`.
  zel::vurStr doubleRecord(bool frames) {
    zel::vurStr r;
    r.wind_off_sens_file = image("off_sens.tif", 100);
    r.wind_on_sens_file = image("on_sens.tif", 90);
    r.wind_off_refe_file = image("off_refe.tif", 50);
    r.wind_on_refe_file = image("on_refe.tif", 51);
    if (frames) {
      r.wind_off_dark_sens_file = image("dark1.tif", 1);
      r.wind_on_dark_sens_file = image("dark2.tif", 2);
      r.wind_off_dark_refe_file = image("dark3.tif", 3);
      r.wind_on_dark_refe_file = image("dark4.tif", 4);
      r.flat_sens_file = image("flat_sens.tif", 2);
      r.flat_refe_file = image("flat_refe.tif", 2);
    }
    return r;
  }

  zel::vurStr singleRecord() {
    zel::vurStr r;
    r.wind_off_sens_file = image("off_sens.tif", 100);
    r.wind_on_sens_file = image("on_sens.tif", 90);
    return r;
  }

  std::string write(const std::string& name, zel::vurStr record) {
    record.project_file = path(name);
    write_vur_data(record.project_file, record, zel::paintFeatures(), zel::flowFeatures());
    return record.project_file;
  }

  void open(const std::string& project) {
    user.ui.fileChoices = {project};
    OpenProject(list);
  }

  std::filesystem::path dir;
};

// A double-paint project opens its ten images by name; closing forgets it all.
TEST_F(ProjectCommands, ADoublePaintOpensUnderItsNamesWithoutAQuestion) {
  open(write("run.vur", doubleRecord(true)));
  EXPECT_EQ(list.size(), 10);
  EXPECT_EQ(list.find(names::wind_off_sens)->field()(0, 0), 100.0f);
  EXPECT_EQ(list.find(names::wind_on_dark_refe)->field()(0, 0), 4.0f);
  EXPECT_EQ(paintKind(), "double");
  EXPECT_TRUE(state().projectOpen);
  EXPECT_TRUE(state().referenceFilePending);
  EXPECT_FALSE(vur_project_available());
  EXPECT_FALSE(empty_vur());
  EXPECT_TRUE(user.ui.notices.empty());
  EXPECT_TRUE(dark_images_present(list));
  EXPECT_TRUE(flat_images_present(list));
  EXPECT_TRUE(project_images_present(list));

  CloseProject(list);
  EXPECT_EQ(list.size(), 0);
  EXPECT_FALSE(state().projectOpen);
  EXPECT_TRUE(empty_vur());
  EXPECT_TRUE(vur_project_available());
}

// Opening a project replaces the images the list held.
TEST_F(ProjectCommands, OpeningReplacesWhateverTheListHeld) {
  addRamp(3, 3, "scratch");
  addRamp(3, 3, names::wind_on_sens);
  open(write("run.vur", doubleRecord(false)));
  EXPECT_EQ(list.size(), 4);
  EXPECT_EQ(list.find("scratch"), nullptr);
  EXPECT_EQ(list.find(names::wind_on_sens)->width(), 6);
}

// A single pair of images is pressure or temperature paint as the user answers.
TEST_F(ProjectCommands, APairOfImagesIsPressureOrTemperatureAsTheUserSays) {
  const std::string project = write("single.vur", singleRecord());
  params({{"m_type", "T"}});
  open(project);
  EXPECT_EQ(paintKind(), "Tsingle");
  params({{"m_type", "P"}});
  open(project);
  EXPECT_EQ(paintKind(), "single");
  EXPECT_TRUE(single_paint_images_present(list));
  EXPECT_TRUE(user.ui.notices.empty());
}

// Cancel in the paint type leaves the images read but no project open.
TEST_F(ProjectCommands, CancellingThePaintTypeLeavesTheImagesButNoProject) {
  user.ui.dialogOk = {false};
  open(write("single.vur", singleRecord()));
  ASSERT_EQ(user.ui.notices.size(), 1u);
  EXPECT_EQ(user.ui.notices[0], "Unknown Paint Type. Processing is Canceled");
  EXPECT_EQ(paintKind(), "");
  EXPECT_FALSE(state().projectOpen);
  EXPECT_EQ(list.size(), 2);
  EXPECT_FALSE(project_images_present(list));
}

// A project without both sensor images is not opened.
TEST_F(ProjectCommands, WithoutTheSensorPairTheProjectIsForgotten) {
  zel::vurStr r;
  r.wind_on_sens_file = image("on_sens.tif", 90);
  r.flat_sens_file = image("flat.tif", 1);
  open(write("half.vur", r));
  EXPECT_EQ(list.size(), 0);
  EXPECT_TRUE(empty_vur());
  EXPECT_FALSE(state().projectOpen);
  EXPECT_TRUE(vur_project_available());
}

// A failed opening, a missing file or a stage value out of range, keeps what was open.
TEST_F(ProjectCommands, AFailedOpeningKeepsTheProjectAndImagesOfBefore) {
  const std::string good = write("good.vur", doubleRecord(false));
  open(good);
  zel::vurStr broken = singleRecord();
  broken.flat_sens_file = "missing.tif";
  user.ui.fileChoices = {write("broken.vur", broken)};
  EXPECT_THROW(OpenProject(list), zel::FileError);
  EXPECT_EQ(list.size(), 4);
  EXPECT_EQ(get_vur().project_file, good);
  EXPECT_EQ(paintKind(), "double");

  // A stage value out of its range is refused before anything changes.
  zel::vurStr outOfRange = singleRecord();
  outOfRange.setParameter("GaussBS", "m_diameter", "5000");
  user.ui.fileChoices = {write("range.vur", outOfRange)};
  try {
    OpenProject(list);
    ADD_FAILURE() << "a diameter of 5000 was taken";
  } catch (const zel::FileError& e) {
    EXPECT_NE(std::string(e.message).find("[GaussBS]"), std::string::npos) << e.message;
  }
  EXPECT_EQ(list.size(), 4);
  EXPECT_EQ(get_vur().project_file, good);
  EXPECT_TRUE(state().projectOpen);
}

// The stage values of the project go to the store; values it lacks stay there.
TEST_F(ProjectCommands, TheStoreTakesTheProjectsParametersAndKeepsTheRest) {
  write_param("GaussBS", "m_iter", 4);
  write_param("GaussFBS", "m_diameter", 11);
  zel::vurStr r = doubleRecord(false);
  r.setParameter("GaussBS", "m_diameter", "7");
  r.setParameter("ConvertBin_01", "m_CB01_Dark", "1");
  r.setParameter("SomeFutureStage", "m_depth", "3");
  const std::string project = write("run.vur", r);
  open(project);
  EXPECT_EQ(read_param("GaussBS", "m_diameter", 0), 7);
  EXPECT_EQ(read_param("GaussBS", "m_iter", 0), 4);  // the project lacks it
  EXPECT_EQ(read_param("ConvertBin_01", "m_CB01_Dark", 0), 1);
  EXPECT_EQ(read_param("GaussFBS", "m_diameter", 0), 11);
  // The held project carries the whole block, unknown sections included.
  const zel::vurStr& held = get_vur();
  ASSERT_NE(held.parameter("GaussFBS", "m_diameter"), nullptr);
  EXPECT_EQ(*held.parameter("GaussFBS", "m_diameter"), "11");
  ASSERT_NE(held.parameter("SomeFutureStage", "m_depth"), nullptr);
  EXPECT_EQ(*held.parameter("GaussBS", "m_diameter"), "7");
}

// A list project opens on its own pair and tells the user so.
TEST_F(ProjectCommands, AListProjectOpensWithItsOwnPairAndSaysSo) {
  zel::vurStr r = doubleRecord(false);
  r.wind_on_sens_list = {image("run1_sens.tif", 80), image("run2_sens.tif", 70)};
  r.wind_on_refe_list = {image("run1_refe.tif", 40)};
  open(write("list.vur", r));
  ASSERT_EQ(user.ui.notices.size(), 2u);
  EXPECT_EQ(user.ui.notices[0], "LST SENS != REFE not really, though!");
  EXPECT_EQ(user.ui.notices[1], listProjectNotice);
  EXPECT_EQ(paintKind(), "double");
  EXPECT_EQ(list.find(names::wind_on_sens)->field()(0, 0), 90.0f);
  EXPECT_TRUE(state().projectOpen);
  EXPECT_FALSE(state().batchMode);
}

// Closing with no images ends the project state alone.
TEST_F(ProjectCommands, ClosingAnEmptyListOnlyEndsTheProjectState) {
  state().projectOpen = true;
  make_available_vur_project(false);
  CloseProject(list);
  EXPECT_FALSE(state().projectOpen);
  EXPECT_TRUE(vur_project_available());
}

// Results are removed by name and the sources flagged as converted.
TEST_F(ProjectCommands, ResultsAreRemovedAndSourcesFlagged) {
  for (const char* n : {names::wind_off_sens, names::Pressure, names::Cp, names::T, "other"})
    addRamp(2, 2, n);
  markSourceFlags(list, true);
  EXPECT_TRUE(list.find(names::Cp)->converted);
  EXPECT_FALSE(list.find("other")->converted);
  removeResults(list);
  EXPECT_EQ(list.size(), 2);
  EXPECT_NE(list.find(names::wind_off_sens), nullptr);
  EXPECT_TRUE(setCurrentByName(list, "other"));
  EXPECT_EQ(list.current()->fieldName(), "other");
  EXPECT_FALSE(setCurrentByName(list, names::Cp));
}

}  // namespace
