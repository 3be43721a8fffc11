// Opening and closing projects through the file choice, and the helpers
// the stages use on the project's images.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdlib.h>

#include <filesystem>

#include "api/errors.h"
#include "api/imagesList.h"
#include "host/paramRecord.h"
#include "host/platform.h"
#include "host/project.h"
#include "plugin/projectCommands.h"
#include "plugin/projectState.h"
#include "tests/support/projectTest.h"

namespace {

using namespace tamble;

// Projects written into a folder of their own, opened through the file
// choice as a user would.
class ProjectCommands : public tamble::testing::projectTest {
 protected:
  // A sensor pair, with the reference pair of a double paint when `double_`.
  zel::vurStr record(bool double_) {
    zel::vurStr r;
    r.wind_off_sens_file = image("off_sens.tif", 100);
    r.wind_on_sens_file = image("on_sens.tif", 90);
    if (double_) {
      r.wind_off_refe_file = image("off_refe.tif", 50);
      r.wind_on_refe_file = image("on_refe.tif", 51);
    }
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
};

// A double-paint project replaces the list's images with its own, by name,
// without a question; closing forgets it all.
TEST_F(ProjectCommands, ADoublePaintOpensUnderItsNamesWithoutAQuestion) {
  addRamp(3, 3, "scratch");
  zel::vurStr r = record(true);
  r.wind_on_dark_refe_file = image("dark4.tif", 4);
  open(write("run.vur", r));
  EXPECT_EQ(list.size(), 5);
  EXPECT_EQ(list.find("scratch"), nullptr);
  EXPECT_EQ(list.find(names::wind_off_sens)->field()(0, 0), 100.0f);
  EXPECT_EQ(list.find(names::wind_on_dark_refe)->field()(0, 0), 4.0f);
  EXPECT_EQ(paintKind(), "double");
  EXPECT_TRUE(state().projectOpen && state().referenceFilePending);
  EXPECT_FALSE(vur_project_available());
  EXPECT_TRUE(user.ui.notices.empty());

  CloseProject(list);
  EXPECT_EQ(list.size(), 0);
  EXPECT_FALSE(state().projectOpen);
  EXPECT_TRUE(empty_vur());
  EXPECT_TRUE(vur_project_available());
  // Closing with no images ends the project state alone.
  state().projectOpen = true;
  make_available_vur_project(false);
  CloseProject(list);
  EXPECT_FALSE(state().projectOpen || !vur_project_available());
}

// A single pair of images is pressure or temperature paint as the user answers.
TEST_F(ProjectCommands, APairOfImagesIsPressureOrTemperatureAsTheUserSays) {
  const std::string project = write("single.vur", record(false));
  params({{"m_type", "T"}});
  open(project);
  EXPECT_EQ(paintKind(), "Tsingle");
  params({{"m_type", "P"}});
  open(project);
  EXPECT_EQ(paintKind(), "single");
  EXPECT_TRUE(user.ui.notices.empty());
}

// Cancel in the paint type leaves the images read but no project open.
TEST_F(ProjectCommands, CancellingThePaintTypeLeavesTheImagesButNoProject) {
  user.ui.dialogOk = {false};
  open(write("single.vur", record(false)));
  EXPECT_EQ(user.ui.notices,
            std::vector<std::string>{"Unknown Paint Type. Processing is Canceled"});
  EXPECT_EQ(paintKind(), "");
  EXPECT_FALSE(state().projectOpen);
  EXPECT_EQ(list.size(), 2);
}

// A project without both sensor images is not opened.
TEST_F(ProjectCommands, WithoutTheSensorPairTheProjectIsForgotten) {
  zel::vurStr r;
  r.wind_on_sens_file = image("on_sens.tif", 90);
  open(write("half.vur", r));
  EXPECT_EQ(list.size(), 0);
  EXPECT_TRUE(empty_vur());
  EXPECT_FALSE(state().projectOpen);
}

// A failed opening, a missing file or a stage value out of range, keeps what was open.
TEST_F(ProjectCommands, AFailedOpeningKeepsTheProjectAndImagesOfBefore) {
  const std::string good = write("good.vur", record(true));
  open(good);
  zel::vurStr broken = record(false);
  broken.flat_sens_file = "missing.tif";
  user.ui.fileChoices = {write("broken.vur", broken)};
  EXPECT_THROW(OpenProject(list), zel::FileError);
  EXPECT_EQ(list.size(), 4);
  EXPECT_EQ(get_vur().project_file, good);
  EXPECT_EQ(paintKind(), "double");

  // A stage value out of its range is refused before anything changes.
  zel::vurStr outOfRange = record(false);
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
  zel::vurStr r = record(true);
  r.setParameter("GaussBS", "m_diameter", "7");
  r.setParameter("SomeFutureStage", "m_depth", "3");
  open(write("run.vur", r));
  EXPECT_EQ(read_param("GaussBS", "m_diameter", 0), 7);
  EXPECT_EQ(read_param("GaussBS", "m_iter", 0), 4);  // the project lacks it
  EXPECT_EQ(read_param("GaussFBS", "m_diameter", 0), 11);
  // The held project carries the whole block, unknown sections included.
  EXPECT_NE(get_vur().parameter("GaussFBS", "m_diameter"), nullptr);
  EXPECT_NE(get_vur().parameter("SomeFutureStage", "m_depth"), nullptr);
}

// A list project whose two lists differ in length is told so and runs by
// the sensor list: its own pair, then each entry, a report each.
TEST_F(ProjectCommands, AListProjectOfUnequalListsRunsByTheSensorList) {
  zel::vurStr r = record(true);
  r.wind_on_sens_list = {image("run1_sens.tif", 80), image("run2_sens.tif", 70)};
  r.wind_on_refe_list = {image("run1_refe.tif", 40)};
  open(write("list.vur", r));
  ASSERT_FALSE(user.ui.notices.empty());
  EXPECT_EQ(user.ui.notices.front(), "LST SENS != REFE not really, though!");
  const auto reports = std::count_if(user.ui.notices.begin(), user.ui.notices.end(),
                                     [](const std::string& n) { return n.rfind("Dark", 0) == 0; });
  EXPECT_EQ(reports, 3);
  EXPECT_EQ(get_vur().wind_on_sens_file, "run2_sens.tif");
  EXPECT_TRUE(state().projectOpen);
  EXPECT_FALSE(state().batchMode);
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
