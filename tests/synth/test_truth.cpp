// The frames of a synthetic run give back its truth: through the dark and
// flat stages and the paint's law done by hand, exactly to single precision
// when nothing disturbs them, to the rounding's bound in 16-bit frames; and
// the frames keep their stated ranges.
#include <algorithm>
#include <cmath>
#include <filesystem>

#include "api/markerFiles.h"
#include "host/projectDialogs.h"
#include "tests/synth/synthRunTest.h"

namespace {

using tamble::testing::handCalculation;
using tamble::testing::synthRunTest;

using SynthTruth = synthRunTest;

// Nothing but the paint: no noise, no motion, no lens distortion, frames as
// floats.
std::vector<std::string> undisturbed(const std::string& paint) {
  return {"paint=" + paint, "size=256", "noise=0", "motion=0", "distortion=0", "depth=float",
          "markers=12",     "seed=5"};
}

// The pixels wholly on the model, where the truth holds.
template <class Visit>
int onModel(const zel::image& truth, Visit visit) {
  int n = 0;
  for (int y = 0; y < truth.height(); ++y)
    for (int x = 0; x < truth.width(); ++x)
      if (truth.ROI()(x, y) && !truth.bkgr()(x, y)) {
        visit(x, y);
        ++n;
      }
  return n;
}

// Along the chain (frames, dark, flat, two ratios, the anchor r0 and the
// law) about twenty single-precision roundings meet; the root r0 loses a
// factor of about 7 to cancellation. 2e-6 of the value covers them with
// room, and is still a hundred times finer than the 16-bit rounding.
constexpr double chainTolerance = 2e-6;

struct paintCase {
  const char* paint;
  const char* lamp;
  const char* truth;
  double tolerance;  // relative; degrees for the temperature
};

// The paint's law done by hand on the corrected frames gives the true field:
// a double paint's pressure from its two pairs, a single paint's from the
// reference values the run states (lamp ratio below 1), the temperature.
TEST_F(SynthTruth, ThePaintsLawGivesTheTruthToSinglePrecision) {
  // Degrees: the law's terms reach about 120 degrees (A near -46, B r near
  // 66) and cancel to a value near 25, so the tolerance is taken of them.
  const paintCase cases[] = {{"double", "lamp=0.97", "Pressure", chainTolerance},
                             {"single", "lamp=0.95", "Pressure", chainTolerance},
                             {"temperature", "lamp=1", "T", chainTolerance * 120.0}};
  for (const paintCase& c : cases) {
    std::vector<std::string> words = undisturbed(c.paint);
    words.push_back(c.lamp);
    const std::string run = make(words, std::string(c.paint) + c.lamp);
    const bool twoPaints = std::string(c.paint) == "double";
    const bool temperature = std::string(c.paint) == "temperature";
    EXPECT_EQ(std::filesystem::exists(run + "/wind_off_refe.tif"), twoPaints) << c.paint;
    const auto frames = corrected(run, twoPaints);
    const handCalculation law(run + "/run.vur", temperature);
    float off = 1.0f, on = 1.0f;  // the references of a single paint
    if (std::string(c.paint) == "single") {
      off = std::stof(truthValue(run, "ForSingle", "wind_off_refe_value"));
      on = std::stof(truthValue(run, "ForSingle", "wind_on_refe_value"));
    }
    const auto truth = truthOf(run, c.truth);
    const auto& offS = frames.at("wind_off_sens")->field();
    const auto& onS = frames.at("wind_on_sens")->field();
    double worst = 0.0, lowest = 1e30, highest = -1e30;
    const int n = onModel(*truth, [&](int x, int y) {
      const float a = twoPaints ? offS(x, y) / frames.at("wind_off_refe")->field()(x, y)
                                : offS(x, y) / off;
      const float b = twoPaints ? onS(x, y) / frames.at("wind_on_refe")->field()(x, y)
                                : onS(x, y) / on;
      const double want = truth->field()(x, y);
      const double error = std::fabs(double(law.value(a, b)) - want);
      worst = std::max(worst, temperature ? error : error / want);
      lowest = std::min(lowest, want);
      highest = std::max(highest, want);
    });
    EXPECT_GT(n, 256 * 256 / 10) << c.paint << " " << c.lamp;
    EXPECT_LT(worst, c.tolerance) << c.paint << " " << c.lamp;
    // The field is not flat: a suction peak, laminar and turbulent flow.
    EXPECT_GT(highest - lowest, temperature ? 2.0 : 1000.0) << c.paint;
  }
}

// The pressure coefficient, the ratio and the pressure agree with the flow
// state, and the tap files carry the true pressure where the taps are.
TEST_F(SynthTruth, TrueMapsAndTapsAgreeWithTheFlowState) {
  const std::string run = make({"size=320", "noise=0", "seed=3"});
  read_vur_data(run + "/run.vur", false);
  const zel::flowFeatures flow = get_flow();
  const auto pressure = truthOf(run, "Pressure"), cp = truthOf(run, "Cp");
  const auto ratio = truthOf(run, "Irefe_Isens");
  double cpLow = 1e9, cpHigh = -1e9;
  onModel(*pressure, [&](int x, int y) {
    const double p = pressure->field()(x, y);
    EXPECT_NEAR(cp->field()(x, y), (p - flow.P_static) / flow.P_dynamic, 1e-5);
    // Lower pressure, brighter paint: the ratio falls below 1 where the
    // pressure falls below the wind-off pressure.
    EXPECT_EQ(ratio->field()(x, y) < 1.0f, p < flow.P_wind_off);
    cpLow = std::min(cpLow, double(cp->field()(x, y)));
    cpHigh = std::max(cpHigh, double(cp->field()(x, y)));
  });
  // A suction peak, a plateau and a recovery: Cp spans well over one unit.
  EXPECT_LT(cpLow, -1.0);
  EXPECT_GT(cpHigh, 0.1);
  EXPECT_EQ(pressure->bkgr()(0, 0), true);
  EXPECT_EQ(pressure->field()(0, 0), 0.0f);

  zel::markersArray taps;
  zel::load_markers(run + "/ports.mrk", taps, 0);
  ASSERT_EQ(taps.count(), 12);
  EXPECT_EQ(taps.functionName, "Pressure");
  for (const marker& t : taps.items) {
    // Bilinear in the true map: the taps lie away from the model's edges.
    const int x = static_cast<int>(t.x), y = static_cast<int>(t.y);
    const double fx = t.x - x, fy = t.y - y;
    const auto& P = pressure->field();
    const double there = (1 - fy) * ((1 - fx) * P(x, y) + fx * P(x + 1, y)) +
                         fy * ((1 - fx) * P(x, y + 1) + fx * P(x + 1, y + 1));
    EXPECT_NEAR(t.f, there, 0.02 * flow.P_dynamic) << "tap " << t.id;
  }
}

// 16-bit frames round the signal to whole counts; the dark frames are whole
// already and the flats cancel in the two ratios. Without noise the ratio
// is therefore off by no more than half a count in each of the four frames.
TEST_F(SynthTruth, RoundingToWholeCountsIsTheOnlyErrorOfQuietFrames) {
  const std::string run =
      make({"paint=double", "size=256", "noise=0", "motion=0", "distortion=0", "markers=12"});
  const auto frames = corrected(run, true);
  const auto truth = truthOf(run, "Irefe_Isens");
  std::map<std::string, std::unique_ptr<zel::image>> raw, dark;
  for (const char* name : {"wind_off_sens", "wind_on_sens", "wind_off_refe", "wind_on_refe"}) {
    raw[name] = frameOf(run, name);
    const std::string n = name;
    dark[name] = frameOf(run, n.substr(0, n.rfind('_')) + "_dark" + n.substr(n.rfind('_')));
  }
  int beyond = 0;
  double worst = 0.0;
  onModel(*truth, [&](int x, int y) {
    double bound = 2e-6;
    for (const auto& [name, img] : raw) bound += 0.5 / (img->field()(x, y) - dark[name]->field()(x, y));
    const double a = frames.at("wind_off_sens")->field()(x, y) / frames.at("wind_off_refe")->field()(x, y);
    const double b = frames.at("wind_on_sens")->field()(x, y) / frames.at("wind_on_refe")->field()(x, y);
    const double error = std::fabs((a / b) / truth->field()(x, y) - 1.0);
    worst = std::max(worst, error);
    if (error > bound) ++beyond;
  });
  EXPECT_EQ(beyond, 0);
  EXPECT_GT(worst, 1e-6);  // the frames really are rounded
}

// Every camera image spans 12 to 14 bits above the lowest pixel and stays
// below 2^14; nothing touches either end of the 16-bit range.
TEST_F(SynthTruth, FramesKeepTheirRanges) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"paint=double", "size=384", "seed=2"},
        std::vector<std::string>{"paint=single", "size=384", "sign=bright", "noise=3"},
        std::vector<std::string>{"paint=temperature", "size=400x300", "motion=10"}}) {
    const auto run = tamble::synth::makeRun(tamble::synth::parseRunOptions(words));
    for (const auto& f : run->frames) {
      const auto [low, high] = std::minmax_element(f.values.data, f.values.data + f.values.count);
      EXPECT_GT(*low, 0.0f) << f.name;
      EXPECT_LT(*high, 65535.0f) << f.name;
      EXPECT_TRUE(std::all_of(f.values.data, f.values.data + f.values.count,
                              [](float v) { return v == std::nearbyint(v); }))
          << f.name << " holds whole counts";
      if (f.name.find("dark") != std::string::npos || f.name.find("flat") != std::string::npos)
        continue;
      EXPECT_LT(*high, 16384.0f) << f.name << " " << words[0];
      EXPECT_GE(*high - *low, 4096.0f) << f.name << " " << words[0];
    }
    // The flat frames stay within the sound band of the flat correction, so
    // that it divides every pixel and fills none up.
    for (const char* name : {"flat_sens", "flat_refe"}) {
      const auto& v = run->find(name)->values;
      double sum = 0.0;
      for (std::uint64_t i = 0; i < v.count; ++i) sum += v.data[i];
      const double mean = sum / v.count;
      const auto [low, high] = std::minmax_element(v.data, v.data + v.count);
      EXPECT_GT(*low / mean, 0.5) << name;
      EXPECT_LT(*high / mean, 1.5) << name;
    }
  }
}

}  // namespace
