// Every synthetic run opens as a project, with "Open Project..." as a user
// would and through the project library, and `tamble synth` writes one from
// the command line.
#include <filesystem>

#include "api/imagesList.h"
#include "host/projectDialogs.h"
#include "plugin/projectCommands.h"
#include "plugin/projectState.h"
#include "tests/apps/cliHarness.h"
#include "tests/support/commandTest.h"
#include "tests/synth/synthRunTest.h"

namespace {

using namespace tamble;

class SynthProject : public tamble::testing::commandTest {
 protected:
  void SetUp() override {
    commandTest::SetUp();
    std::string pattern = (std::filesystem::temp_directory_path() / "tamble-synth-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir = pattern;
  }
  void TearDown() override {
    CloseProject(list);
    clear_vur();
    state() = conversionState();
    make_available_vur_project(true);
    std::filesystem::remove_all(dir);
    commandTest::TearDown();
  }

  std::string make(const std::string& paint) {
    const auto run = synth::makeRun(synth::parseRunOptions({"paint=" + paint, "size=160x128",
                                                            "markers=6"}));
    const std::string folder = (dir / paint).string();
    synth::writeRun(*run, folder);
    return folder + "/run.vur";
  }

  void open(const std::string& project) {
    user.ui.fileChoices = {project};
    ASSERT_TRUE(OpenProject(list));
  }

  std::filesystem::path dir;
};

// A double-paint run opens with its ten images, its cameras and the cards
// of the field calculation.
TEST_F(SynthProject, ADoublePaintRunOpensWithAllItsImages) {
  open(make("double"));
  EXPECT_EQ(paintKind(), "double");
  EXPECT_TRUE(state().projectOpen);
  EXPECT_TRUE(user.ui.notices.empty());
  ASSERT_EQ(list.size(), 10);
  for (const char* name : {names::wind_on_refe, names::wind_off_dark_sens, names::flat_refe}) {
    const zel::image* img = list.find(name);
    ASSERT_NE(img, nullptr) << name;
    EXPECT_EQ(img->width(), 160);
  }
  EXPECT_EQ(get_sens_cam().nfx, 160);
  EXPECT_NE(get_refe_cam().a2, 0.0);
  EXPECT_EQ(get_refe_cam().flat_file, "flat_refe.tif");
  EXPECT_EQ(reg_get_string("CreateCards", "m_cp", "?"), "1");
  EXPECT_EQ(reg_get_string("CreateCards", "m_t", "?"), "0");
}

// A single paint is pressure or temperature paint as the user answers.
TEST_F(SynthProject, SinglePaintRunsArePressureOrTemperatureAsTheUserAnswers) {
  params({{"m_type", "P"}});
  open(make("single"));
  EXPECT_EQ(paintKind(), "single");
  EXPECT_EQ(list.size(), 6);  // the sensor pair, its darks, both flats
  EXPECT_NE(list.find(names::flat_refe), nullptr);
  EXPECT_EQ(list.find(names::wind_off_refe), nullptr);

  params({{"m_type", "T"}});
  open(make("temperature"));
  EXPECT_EQ(paintKind(), "Tsingle");
  EXPECT_EQ(reg_get_string("CreateCards", "m_t", "?"), "1");
  EXPECT_TRUE(user.ui.notices.empty());
}

class SynthCommandLine : public tamble::testing::cliTest {};

// `tamble synth` writes a run whose frames the dark and flat stages correct.
TEST_F(SynthCommandLine, WritesARunThatTheStagesCorrect) {
  const auto made = tamble("synth out size=320x256 markers=10 seed=4");
  ASSERT_EQ(made.status, 0) << made.err;
  EXPECT_EQ(made.out, "out/run.vur: double paint, 320x256, 10 markers, 12 taps, seed 4\n");
  const auto r = script(
      "project out/run.vur\n"
      "value wind_on_sens 160 128\n"
      "run \"Dark Frame Subtraction\"\n"
      "run \"Flat Field Correction\"\n"
      "value wind_on_sens 160 128\n"
      "render wind_on_sens=on.png\n");
  ASSERT_EQ(r.status, 0) << r.err;
  const auto values = tamble::testing::lines(r.out);
  ASSERT_EQ(values.size(), 2u);
  EXPECT_NE(values[0], values[1]);
  EXPECT_TRUE(std::filesystem::exists(dir / "on.png"));
}

// Options it cannot do and files the session read are refused.
TEST_F(SynthCommandLine, RefusesWhatItCannotDo) {
  auto r = tamble("synth out paint=triple");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err.rfind("error: paint: 'triple'", 0), 0u) << r.err;
  EXPECT_FALSE(std::filesystem::exists(dir / "out"));
  r = tamble("synth out size=128 distortion=20");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("distortion"), std::string::npos);
  // A file it would write that the session read is an input: refused.
  ASSERT_EQ(tamble("synth out size=100").status, 0);
  r = script("open out/wind_off_sens.tif\nsynth out size=100\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("wind_off_sens.tif"), std::string::npos) << r.err;
}

}  // namespace
