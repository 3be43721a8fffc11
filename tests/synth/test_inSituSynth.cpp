// The in-situ correction end to end on a synthetic run: a calibration
// mis-stated at the wind-on temperature gives a pressure off by a constant
// or by a factor; the run's own ports (named by its project) correct it, and
// Cp and P/Pstat computed again agree with the truth.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <ostream>

#include "api/imagesList.h"
#include "apps/synth/projectWriter.h"
#include "apps/synth/scene.h"
#include "host/paramRecord.h"
#include "host/platform.h"
#include "host/project.h"
#include "host/projectDialogs.h"
#include "plugin/darkFlatCommands.h"
#include "plugin/fieldCalculationCommand.h"
#include "plugin/pressurePortsCommands.h"
#include "plugin/projectCommands.h"
#include "plugin/projectState.h"
#include "tests/support/projectTest.h"
#include "tests/support/textFile.h"

namespace {

using namespace tamble;

// The paint's calibration with its temperature terms changed so that the
// law is the same at the wind-off temperature s0 and off at the wind-on
// temperature s1: each row X of A, B, C gets alpha s + beta s^2 added, zero
// at s0 and `change(X(s1))` at s1. The anchoring (at s0) is untouched, so
// the pressure comes out as the true one put through `change`: a constant
// (offset) or a factor (gain) -- what a paint whose temperature
// sensitivity was mis-calibrated does.
struct misCalibration {
  const char* what;
  double offset;     // added to A(s1)
  double gain;       // A(s1), B(s1), C(s1) times this
  int order;         // of the correction
  double tolerance;  // of the corrected pressure against the truth, in P_dynamic
};

void PrintTo(const misCalibration& m, std::ostream* out) { *out << m.what; }

void misState(zel::paintFeatures& paint, const zel::flowFeatures& flow, const misCalibration& m) {
  const double s0 = flow.T_wind_off, s1 = flow.T_wind_on;
  for (int row = 0; row < 3; ++row) {
    double* c = paint.c + 3 * row;
    const double at1 = c[0] + c[1] * s1 + c[2] * s1 * s1;
    const double wanted = (m.gain - 1.0) * at1 + (row == 0 ? m.offset : 0.0);
    const double beta = wanted / (s1 * s1 - s0 * s1);  // alpha = -beta s0
    c[1] += -beta * s0;
    c[2] += beta;
  }
}

class InSituSynth : public tamble::testing::projectTest,
                    public ::testing::WithParamInterface<misCalibration> {
 protected:
  // Writes the run, and beside its project one with the mis-stated paint.
  std::string makeRun(const misCalibration& m) {
    const auto run = synth::makeRun(synth::parseRunOptions(
        {"size=256", "depth=float", "noise=0", "motion=0", "distortion=0", "markers=0"}));
    synth::writeRun(*run, dir.string());
    read_vur_data(path("run.vur"), false);
    zel::vurStr record = get_vur();
    zel::paintFeatures paint = get_paint();
    misState(paint, get_flow(), m);
    record.project_file = path("misset.vur");
    write_vur_data(record.project_file, record, paint, get_flow());
    clear_vur();
    return record.project_file;
  }

  // Opens the project, runs dark, flat, the field calculation and the
  // in-situ correction; answers the largest error of the pressure before
  // the correction.
  double convertAndCorrect(const std::string& project, const misCalibration& m,
                           const zel::image& truth) {
    user.ui.fileChoices = {project};
    EXPECT_TRUE(OpenProject(list));
    EXPECT_EQ(paintKind(), "double");
    EXPECT_EQ(list.markers.count(), 12);  // the run's taps, through its project
    DarkSubtraction(list, false);
    FlatCorrection(list, false);
    FieldCalculationCommand(list);
    const zel::image* pressure = list.find(names::Pressure);
    if (!pressure) return 0.0;
    const double before = largestError(*pressure, truth, 1.0);
    write_param("PPStart", "m_order", m.order);
    write_param("PPStart", "m_correct", 1);
    write_param("PPStart", "m_gageDiameter", 3.0f);
    EXPECT_TRUE(InSituCorrection(list, false));
    EXPECT_TRUE(user.ui.notices.empty()) << user.ui.notices.front();
    return before;
  }

  // The largest difference from scale times the truth over the model (the
  // truth's calculated pixels).
  static double largestError(const zel::image& result, const zel::image& truth, double scale) {
    double worst = 0.0;
    for (int y = 0; y < truth.height(); ++y)
      for (int x = 0; x < truth.width(); ++x)
        if (!truth.bkgr()(x, y) && truth.ROI()(x, y))
          worst = std::max(worst, std::fabs(result.field()(x, y) - scale * truth.field()(x, y)));
    return worst;
  }
};

// The three pressure results after the correction, kept past the project.
struct corrected {
  zel::image P, Cp, PP;
  explicit corrected(const zel::imagesList& list)
      : P(*list.find(names::Pressure)), Cp(*list.find(names::Cp)), PP(*list.find(names::P_Pstat)) {}
};

// Least squares fit the tap pressures to the paint's pressures, and an
// offset or a gain of the paint's pressures changes the fit, not its
// result: the mis-stated run corrects to what the right one corrects to,
// to single precision. What the correction itself leaves is the ports'
// sampling: each averages the 3 by 3 pixels about the rounded tap position,
// and the two taps at 12 % chord sit in the suction peak, where at this
// image size the pressure changes by several hundred pascals per pixel;
// the report shows them 400 and 600 Pa from their taps, the other ten
// within 0.005 P_dynamic. An order-0 shift averages the twelve, within
// 0.01 P_dynamic; an order-1 line is tilted by those two and carried to
// the pressures of the whole model, within 0.025 P_dynamic.
TEST_P(InSituSynth, TheRunsPortsUndoAMisStatedCalibration) {
  const misCalibration m = GetParam();
  const std::string misSet = makeRun(m);
  const auto truthP = read_image(path("truth_Pressure.imp"));
  const auto truthCp = read_image(path("truth_Cp.imp"));

  // The right calibration: the field calculation gives the truth.
  EXPECT_LT(convertAndCorrect(path("run.vur"), m, *truthP), 1e-6 * 150000);
  ASSERT_NE(list.find(names::Cp), nullptr);
  const corrected right(list);
  CloseProject(list);

  EXPECT_GT(convertAndCorrect(misSet, m, *truthP), 0.05 * 20000) << "the mis-statement shows";
  ASSERT_NE(list.find(names::Cp), nullptr);
  const corrected wrong(list);
  const zel::flowFeatures flow = get_flow();
  EXPECT_LT(largestError(wrong.P, right.P, 1.0), 1e-6 * 150000);
  EXPECT_LT(largestError(wrong.Cp, right.Cp, 1.0), 1e-6 * 150000 / flow.P_dynamic);
  EXPECT_LT(largestError(wrong.PP, right.PP, 1.0), 1e-6 * 150000 / flow.P_static);

  const double tolerance = m.tolerance * flow.P_dynamic;
  EXPECT_LT(largestError(wrong.P, *truthP, 1.0), tolerance);
  EXPECT_LT(largestError(wrong.Cp, *truthCp, 1.0), tolerance / flow.P_dynamic);
  EXPECT_LT(largestError(wrong.PP, *truthP, 1.0 / flow.P_static), tolerance / flow.P_static);
  // The report went beside the project: the header, twelve ports, the fit.
  const std::string report = tamble::testing::readText(dir / "misset_CORR.txt");
  EXPECT_EQ(std::count(report.begin(), report.end(), '\n'), 2 + 12 + 1 + 4) << report;
}

INSTANTIATE_TEST_SUITE_P(MisStated, InSituSynth,
                         ::testing::Values(misCalibration{"offset", 2000.0, 1.0, 0, 0.01},
                                           misCalibration{"gain", 0.0, 1.04, 1, 0.025}));

}  // namespace
