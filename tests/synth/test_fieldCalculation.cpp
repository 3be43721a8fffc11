// "Field Calculation..." returns the true maps of a synthetic run to single
// precision, through the commands a user picks: Open Project, the dark and
// flat stages, Set/Confirm References for a single paint and the field
// calculation with the project's cards.
#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>

#include "api/imagesList.h"
#include "convert/closedRegions.h"
#include "host/platform.h"
#include "host/project.h"
#include "plugin/darkFlatCommands.h"
#include "plugin/fieldCalculationCommand.h"
#include "plugin/projectCommands.h"
#include "plugin/projectState.h"
#include "plugin/referencesCommand.h"
#include "tests/support/projectTest.h"
#include "tests/synth/synthRunTest.h"

namespace {

using namespace tamble;

struct truthCase {
  const char* name;
  std::vector<std::string> words;  // besides the undisturbed ones
  const char* paintType;           // the answer for a single paint: "P" or "T"
  bool plane;                      // the answer to the plane question
};

void PrintTo(const truthCase& c, std::ostream* os) { *os << c.name; }

// The largest error over the pixels wholly on the model, each measured by
// `error(result, truth)`.
template <class Error>
double worstOnModel(const zel::image& result, const zel::image& truth, Error error) {
  double worst = 0.0;
  int n = 0;
  for (int y = 0; y < truth.height(); ++y)
    for (int x = 0; x < truth.width(); ++x) {
      if (truth.bkgr()(x, y) || !truth.ROI()(x, y)) continue;
      worst = std::max(worst, error(double(result.field()(x, y)), double(truth.field()(x, y))));
      ++n;
    }
  EXPECT_GT(n, 256 * 256 / 10);
  return worst;
}

double relative(double got, double want) { return std::fabs(got - want) / std::fabs(want); }

// See tests/synth/test_truth.cpp: about twenty single-precision roundings
// along the chain, the root r0 losing a factor of about 7.
constexpr double chainTolerance = 2e-6;

class FieldTruth : public tamble::testing::projectTest,
                   public ::testing::WithParamInterface<truthCase> {
 protected:
  std::unique_ptr<zel::image> truth(const std::string& name) {
    return read_image(path("truth_" + name + ".imp"));
  }
  const zel::image& result(const char* name) {
    const zel::image* img = list.find(name);
    EXPECT_NE(img, nullptr) << name;
    return *img;
  }
};

TEST_P(FieldTruth, ReturnsTheTrueMaps) {
  const truthCase& c = GetParam();
  std::vector<std::string> words{"size=256",    "noise=0",    "motion=0", "distortion=0",
                                 "depth=float", "markers=12", "seed=5"};
  words.insert(words.end(), c.words.begin(), c.words.end());
  synth::writeRun(*synth::makeRun(synth::parseRunOptions(words)), dir.string());
  const bool single = c.paintType[0] != 0, temperature = c.paintType == std::string("T");

  user.ui.fileChoices = {path("run.vur")};
  if (single) params({{"m_type", c.paintType}});
  OpenProject(list);
  DarkFrameStageCommand(list);
  FlatFieldStageCommand(list);
  if (single) {
    // The project names the plates as its reference regions; the regions
    // are closed, so the plane question follows.
    user.ui.answers = {c.plane};
    SetConfirmReferencesCommand(list);
    ASSERT_TRUE(user.ui.answers.empty()) << "the plane question was not asked";
    EXPECT_EQ(state().plane_approximation, c.plane);
  }
  FieldCalculationCommand(list);
  ASSERT_TRUE(user.ui.notices.size() == (single ? 1u : 0u)) << user.ui.notices.front();

  if (temperature) {
    // Degrees: the law's terms reach about 120 degrees and cancel to ~25.
    EXPECT_LT(worstOnModel(result(names::T), *truth("T"),
                           [](double got, double want) { return std::fabs(got - want); }),
              chainTolerance * 120.0);
    return;
  }
  const double P_static = get_flow().P_static;
  EXPECT_LT(worstOnModel(result(names::Pressure), *truth("Pressure"), relative), chainTolerance);
  EXPECT_LT(worstOnModel(result(names::P_Pstat), *truth("Pressure"),
                         [&](double got, double want) { return relative(got, want / P_static); }),
            chainTolerance);
  // Cp takes the pressure's error times P / P_dynamic (at most 110000 / 20000).
  EXPECT_LT(worstOnModel(result(names::Cp), *truth("Cp"),
                         [](double got, double want) { return std::fabs(got - want); }),
            chainTolerance * 5.5);
  EXPECT_LT(worstOnModel(result(names::Irefe_Isens), *truth("Irefe_Isens"), relative),
            chainTolerance);
}

const truthCase truthCases[] = {
    {"DoublePaint", {"paint=double"}, "", false},
    // The wind-on light is 0.95 of the wind-off: equal reference values
    // would be 5 % off.
    {"SinglePaintWithReferenceRegions", {"paint=single", "plates=4", "lamp=0.95"}, "P", false},
    // The wind-on light also tilts by 1.2 % across the frame: only a plane
    // through the plates follows it.
    {"SinglePaintWithThePlaneApproximation",
     {"paint=single", "plates=4", "light=plane", "lamp=0.95"},
     "P",
     true},
    {"TemperaturePaintWithReferenceRegions",
     {"paint=temperature", "plates=3", "lamp=0.95"},
     "T",
     false},
    {"TemperaturePaintWithThePlaneApproximation",
     {"paint=temperature", "plates=4", "light=plane", "lamp=1.05"},
     "T",
     true},
};

INSTANTIATE_TEST_SUITE_P(Runs, FieldTruth, ::testing::ValuesIn(truthCases),
                         [](const auto& info) { return std::string(info.param.name); });

using SynthPlates = tamble::testing::synthRunTest;

// The plates are the project's reference regions: closed squares (their
// place off the model and their means the single paint's truth above
// proves); runs without them name none.
TEST_F(SynthPlates, PlatesAreTheProjectsReferenceRegions) {
  for (int plates : {1, 4}) {
    const std::string run =
        make({"paint=single", "size=200x160", "motion=6", "plates=" + std::to_string(plates)},
             "plates" + std::to_string(plates));
    read_vur_data(run + "/run.vur", false);
    ASSERT_EQ(get_vur().reference_file, "run_reference.imp");
    zel::arrayStore<bool, 2> regions, clear(200, 160);
    read_array(run + "/run_reference.imp", regions);
    zel::arrayStore<float, 2> field(200, 160);
    field.fill(1.0f);
    clear.fill(false);
    EXPECT_EQ(closedRegions(field, clear, regions).count, plates);
  }
  const std::string plain = make({"paint=single", "size=200x160"}, "plain");
  read_vur_data(plain + "/run.vur", false);
  EXPECT_EQ(get_vur().reference_file, "");
  EXPECT_FALSE(std::filesystem::exists(plain + "/run_reference.imp"));
  EXPECT_THROW(synth::parseRunOptions({"plates=5"}), synth::optionError);
  EXPECT_THROW(synth::parseRunOptions({"light=sun"}), synth::optionError);
}

}  // namespace
