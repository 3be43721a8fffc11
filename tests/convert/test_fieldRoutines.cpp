// The paint routines of the field calculation where the synthetic runs do
// not reach (tests/synth/test_fieldCalculation.cpp checks their values on
// the model): the zero guards, the masks, the threshold of the quadratic
// term and the changes of temperature unit.
#include <gtest/gtest.h>

#include <utility>

#include "api/camera.h"
#include "api/image.h"
#include "convert/fieldRoutines.h"
#include "host/project.h"

namespace {

using namespace tamble;

// An image of one row holding `values`; masks clear.
zel::image rowImage(std::initializer_list<float> values) {
  zel::image img(static_cast<int>(values.size()), 1);
  std::copy(values.begin(), values.end(), img.field().data);
  return img;
}

// P = -16400 + 100600 r + c6 r^2 Pa; a ratio of 1 gives back P_wind_off.
calibration sternVolmer(float c6 = 8500.0f) {
  calibration cal;
  cal.c[0] = -16400.0f, cal.c[3] = 100600.0f, cal.c[6] = c6;
  return cal;
}
flowState flow() {
  flowState f;
  f.P_wind_off = 100000.0f, f.P_static = 70000.0f, f.P_dynamic = 20000.0f;
  f.T_wind_off = f.T_wind_on = 20.0f;
  return f;
}

// A quadratic term counts from 1e-10 on.
TEST(AnchoredLaw, TheQuadraticTermHasAThreshold) {
  anchoredLaw law;
  EXPECT_EQ(pressureLaw(sternVolmer(1e-11f), flow(), law), anchorFault::noQuadraticTerm);
  EXPECT_EQ(pressureLaw(sternVolmer(1e-9f), flow(), law), anchorFault::none);
}

// A reference too small to divide by gives a 0 quotient, and a wind-on
// quotient of 0 leaves the result at 0, whatever the law makes of 0.
TEST(FieldRoutines, ZeroGuardsOfTheRatio) {
  const zel::image offS = rowImage({6, 6, 6, 6, 5e-11f});
  const zel::image offR = rowImage({2, 0, 2, 2, 2});
  const zel::image onS = rowImage({3, 3, 3, 0, 3});
  const zel::image onR = rowImage({2, 1, 0, 1, 1});
  zel::image target(5, 1), pressure(5, 1);
  ASSERT_EQ(ratioDouble(offS, offR, onS, onR, target), fieldFault::none);
  const float want[] = {2.0f, 0.0f, 0.0f, 0.0f, 5e-11f / 2.0f / 3.0f};
  for (int x = 0; x < 5; ++x) EXPECT_FLOAT_EQ(target.field()(x, 0), want[x]) << x;
  ASSERT_EQ(pressureDouble(offS, offR, onS, onR, sternVolmer(), flow(), pressure),
            fieldFault::none);
  EXPECT_EQ(pressure.field()(2, 0), 0.0f);
  EXPECT_EQ(pressure.field()(3, 0), 0.0f);
  ASSERT_EQ(ratioSingle(offS, onS, 1.0f, 0.0f, target), fieldFault::none);
  EXPECT_EQ(target.field()(0, 0), 0.0f);
}

// The result is background where any input is, in the ROI where all are,
// and 0 where it is not calculated; P / P_static and Cp take its masks.
TEST(FieldRoutines, MasksCombineAnyBackgroundAndEveryROI) {
  zel::image in[4] = {rowImage({1, 1, 1, 1, 1, 1, 1, 1, 1}), rowImage({1, 1, 1, 1, 1, 1, 1, 1, 1}),
                      rowImage({1, 1, 1, 1, 1, 1, 1, 1, 1}), rowImage({1, 1, 1, 1, 1, 1, 1, 1, 1})};
  for (int i = 0; i < 4; ++i) {
    in[i].bkgr()(i, 0) = true;      // pixels 0 to 3: one input's background
    in[i].ROI()(4 + i, 0) = false;  // pixels 4 to 7: one input's ROI left
  }
  zel::image target(9, 1), cp(9, 1);
  target.fillField(7.0f);
  ASSERT_EQ(ratioDouble(in[0], in[1], in[2], in[3], target), fieldFault::none);
  ASSERT_EQ(pressureCoefficient(target, 3.0f, 2.0f, cp), fieldFault::none);
  for (int x = 0; x < 9; ++x) {
    EXPECT_EQ(target.bkgr()(x, 0), x < 4) << x;
    EXPECT_EQ(target.ROI()(x, 0), x < 4 || x == 8) << x;
    EXPECT_EQ(target.field()(x, 0), x == 8 ? 1.0f : 0.0f) << x;
    EXPECT_EQ(cp.bkgr()(x, 0), x < 4) << x;
    EXPECT_EQ(cp.ROI()(x, 0), x < 4 || x == 8) << x;
    EXPECT_EQ(cp.field()(x, 0), x == 8 ? -1.0f : 0.0f) << x;
  }
  // A single paint's masks come from its two sensor images.
  ASSERT_EQ(ratioSingle(in[1], in[3], 1.0f, 1.0f, target), fieldFault::none);
  for (int x = 0; x < 9; ++x)
    EXPECT_EQ(target.field()(x, 0) == 1.0f, x != 1 && x != 3 && x != 5 && x != 7) << x;
}

// Temperatures reach Celsius from the flow's unit and results go back to
// it; "atm" has the factor of "bar".
TEST(FieldUnits, TemperaturesAndOddPressureUnits) {
  zel::paintFeatures paint;
  paint.paintUnit = "bar";
  zel::flowFeatures f;
  f.flowPressureUnit = "atm", f.flowTemperatureUnit = "f";
  f.P_wind_off = 1.5, f.T_wind_off = 68.0;
  const flowState s = flowInPaintUnits(paint, f);
  EXPECT_NEAR(s.P_wind_off, 1.5, 1e-6);
  EXPECT_NEAR(s.T_wind_off, 20.0, 2e-4);  // 68 F, through the kelvin of 273.16
  EXPECT_EQ(temperatureChange("c", "k").apply(0.0f), 273.16f);
  EXPECT_NEAR(temperatureChange("c", "f").apply(100.0f), 212.0f, 1e-3f);
  EXPECT_TRUE(pressureChange("bar", "BAR").identity());
  // A pressure change is the conversion's own, to the last bit of a float.
  const std::pair<const char*, const char*> changes[] = {
      {"bar", "psi"}, {"mm_hg", "pa"}, {"atm", "kg/sm2"}};
  for (const auto& [from, to] : changes)
    for (float v : {0.5f, 123.456f, 1e5f})
      EXPECT_EQ(pressureChange(from, to).apply(v),
                static_cast<float>(zel::convert_pressure(v, from, to)))
          << from << " " << to;
}

}  // namespace
