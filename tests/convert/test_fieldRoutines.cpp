// The paint routines of the field calculation: the anchored law, the ratio
// with its masks and zero guards, the results of the pressure and the
// changes of unit. (Refusals: tests/convert/test_fieldCalculation.cpp.)
#include <gtest/gtest.h>

#include <cmath>

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

// A pressure paint P = A + B r + C r^2 without temperature terms, and a flow
// whose wind-on temperature is the wind-off one: a ratio of 1 then gives
// back P_wind_off.
calibration sternVolmer() {
  calibration cal;
  cal.c[0] = -16400.0f, cal.c[3] = 100600.0f, cal.c[6] = 8500.0f;
  return cal;
}
flowState flow(float P_wind_off = 100000.0f) {
  flowState f;
  f.P_wind_off = P_wind_off, f.P_static = 70000.0f, f.P_dynamic = 20000.0f;
  f.T_wind_off = f.T_wind_on = 20.0f;
  return f;
}

// The anchor solves the law at the wind-off state: its ratio gives back the
// wind-off value, and a temperature paint's wind-on pressure is always the
// static plus the dynamic pressure.
TEST(AnchoredLaw, TheRatioOfOneGivesTheWindOffValue) {
  anchoredLaw law;
  ASSERT_EQ(pressureLaw(sternVolmer(), flow(), law), anchorFault::none);
  EXPECT_NEAR(law.value(1.0f), 100000.0f, 0.2f);  // 2e-6 of it: the root loses to cancellation
  EXPECT_GT(law.r0, 0.0f);

  // T = s + 60 r + 5 r^2 with s the pressure: wind-on minus wind-off at the
  // same ratio is P_static + P_dynamic - P_wind_off, whatever T_wind_on says.
  calibration tsp;
  tsp.c[1] = 1.0f, tsp.c[3] = 60.0f, tsp.c[6] = 5.0f;
  flowState f = flow(1.0f);
  f.P_static = 0.7f, f.P_dynamic = 0.2f, f.T_wind_off = 25.0f, f.T_wind_on = 99.0f;
  ASSERT_EQ(temperatureLaw(tsp, f, law), anchorFault::none);
  EXPECT_NEAR(law.value(1.0f) - 25.0f, 0.7f + 0.2f - 1.0f, 2e-5f);
}

// A law without a quadratic term, or without a real root, is refused.
TEST(AnchoredLaw, RefusesCoefficientsWithoutARoot) {
  struct row {
    float c6, target;
    anchorFault want;
  };
  const row rows[] = {{0.0f, 100000.0f, anchorFault::noQuadraticTerm},
                      {1e-11f, 100000.0f, anchorFault::noQuadraticTerm},
                      // B^2 - 4 C (A - P) < 0: the parabola never reaches P.
                      {8500.0f, -1e9f, anchorFault::badCoefficients},
                      {1e-9f, 100000.0f, anchorFault::none}};
  for (const row& r : rows) {
    calibration cal = sternVolmer();
    cal.c[6] = r.c6;
    anchoredLaw law;
    EXPECT_EQ(pressureLaw(cal, flow(r.target), law), r.want) << r.c6 << " " << r.target;
  }
}

// Pixel by pixel: the sensor over its reference, wind-off over wind-on; a
// reference too small to divide by gives a 0 quotient, and a wind-on
// quotient of 0 leaves the result at 0.
TEST(FieldRoutines, RatioOfTheNormalisedIntensities) {
  const zel::image offS = rowImage({6, 6, 6, 6, 5e-11f});
  const zel::image offR = rowImage({2, 0, 2, 2, 2});
  const zel::image onS = rowImage({3, 3, 3, 0, 3});
  const zel::image onR = rowImage({2, 1, 0, 1, 1});
  zel::image target(5, 1);
  ASSERT_EQ(ratioDouble(offS, offR, onS, onR, target), fieldFault::none);
  const float want[] = {2.0f, 0.0f, 0.0f, 0.0f, 5e-11f / 2.0f / 3.0f};
  for (int x = 0; x < 5; ++x) EXPECT_FLOAT_EQ(target.field()(x, 0), want[x]) << x;

  // A reference pixel of exactly 0 yields 0 in every result.
  zel::image pressure(5, 1);
  ASSERT_EQ(pressureDouble(offS, offR, onS, onR, sternVolmer(), flow(), pressure),
            fieldFault::none);
  EXPECT_EQ(pressure.field()(2, 0), 0.0f);
  EXPECT_GT(pressure.field()(0, 0), 100000.0f);  // a ratio of 2: more pressure

  // One number as the reference of each state; 1 and 1 give Ioff / Ion.
  ASSERT_EQ(ratioSingle(offS, onS, 1.0f, 1.0f, target), fieldFault::none);
  EXPECT_EQ(target.field()(0, 0), 2.0f);
  EXPECT_EQ(target.field()(3, 0), 0.0f);
  ASSERT_EQ(ratioSingle(offS, onS, 1.0f, 0.0f, target), fieldFault::none);
  EXPECT_EQ(target.field()(0, 0), 0.0f);
}

// The result is background where any input is, in the ROI where all are,
// and 0 where it is not calculated.
TEST(FieldRoutines, MasksCombineAnyBackgroundAndEveryROI) {
  zel::image in[4] = {rowImage({1, 1, 1, 1, 1, 1, 1, 1, 1}), rowImage({1, 1, 1, 1, 1, 1, 1, 1, 1}),
                      rowImage({1, 1, 1, 1, 1, 1, 1, 1, 1}), rowImage({1, 1, 1, 1, 1, 1, 1, 1, 1})};
  for (int i = 0; i < 4; ++i) {
    in[i].bkgr()(i, 0) = true;      // pixels 0 to 3: one input's background
    in[i].ROI()(4 + i, 0) = false;  // pixels 4 to 7: one input's ROI left
  }
  zel::image target(9, 1);
  target.fillField(7.0f);
  ASSERT_EQ(ratioDouble(in[0], in[1], in[2], in[3], target), fieldFault::none);
  for (int x = 0; x < 9; ++x) {
    EXPECT_EQ(target.bkgr()(x, 0), x < 4) << x;
    EXPECT_EQ(target.ROI()(x, 0), x < 4 || x == 8) << x;
    EXPECT_EQ(target.field()(x, 0), x == 8 ? 1.0f : 0.0f) << x;
  }
  // A single paint's masks come from its two sensor images.
  ASSERT_EQ(ratioSingle(in[1], in[3], 1.0f, 1.0f, target), fieldFault::none);
  for (int x = 0; x < 9; ++x)
    EXPECT_EQ(target.field()(x, 0) == 1.0f, x != 1 && x != 3 && x != 5 && x != 7) << x;
}

// P / P_static and Cp take the masks of the pressure.
TEST(FieldRoutines, StaticRatioAndCpFollowThePressure) {
  zel::image pressure = rowImage({91000, 70000, 50000, 123});
  pressure.bkgr()(3, 0) = true;
  zel::image ratio(4, 1), cp(4, 1);
  ASSERT_EQ(staticPressureRatio(pressure, 70000.0f, ratio), fieldFault::none);
  ASSERT_EQ(pressureCoefficient(pressure, 70000.0f, 20000.0f, cp), fieldFault::none);
  const float wantRatio[] = {1.3f, 1.0f, 5.0f / 7.0f, 0.0f}, wantCp[] = {1.05f, 0.0f, -1.0f, 0.0f};
  for (int x = 0; x < 4; ++x) {
    EXPECT_FLOAT_EQ(ratio.field()(x, 0), wantRatio[x]) << x;
    EXPECT_FLOAT_EQ(cp.field()(x, 0), wantCp[x]) << x;
    EXPECT_EQ(cp.bkgr()(x, 0), x == 3);
  }
}

// Pressures reach the paint's unit from the flow's and come back; "atm"
// has the factor of "bar"; temperatures go to Celsius.
TEST(FieldUnits, FlowStateInThePaintsUnitAndBack) {
  struct row {
    const char* flowUnit;
    const char* paintUnit;
    double pascalsPerFlowUnit;
    double pascalsPerPaintUnit;
  };
  const row rows[] = {{"bar", "pa", 100000.0, 1.0},
                      {"psi", "bar", 6894.76, 100000.0},
                      {"mm_hg", "psi", 133.322, 6894.76},
                      {"atm", "bar", 100000.0, 100000.0},
                      {"PA", "kg/sm2", 1.0, 98066.5}};
  for (const row& r : rows) {
    zel::paintFeatures paint;
    paint.paintUnit = r.paintUnit;
    zel::flowFeatures f;
    f.flowPressureUnit = r.flowUnit;
    f.flowTemperatureUnit = "f";
    f.P_wind_off = 1.5, f.P_static = 0.75, f.P_dynamic = 0.25, f.T_wind_off = 68.0;
    const flowState s = flowInPaintUnits(paint, f);
    const double scale = r.pascalsPerFlowUnit / r.pascalsPerPaintUnit;
    EXPECT_NEAR(s.P_wind_off, 1.5 * scale, 1.5 * scale * 1e-6) << r.flowUnit;
    EXPECT_NEAR(s.P_dynamic, 0.25 * scale, 0.25 * scale * 1e-6) << r.flowUnit;
    EXPECT_NEAR(s.T_wind_off, 20.0, 2e-4);  // 68 F, through the kelvin of 273.16
    const unitChange back = pressureChange(r.paintUnit, r.flowUnit);
    EXPECT_NEAR(back.apply(s.P_static), 0.75f, 1e-6f) << r.flowUnit;
    // The change is the conversion's own, to the last bit of a float.
    for (float v : {0.5f, 123.456f, 1e5f})
      EXPECT_EQ(back.apply(v),
                static_cast<float>(zel::convert_pressure(v, r.paintUnit, r.flowUnit)));
  }
  EXPECT_EQ(temperatureChange("c", "k").apply(0.0f), 273.16f);
  EXPECT_NEAR(temperatureChange("c", "f").apply(100.0f), 212.0f, 1e-3f);
  EXPECT_TRUE(pressureChange("bar", "BAR").identity());
}

}  // namespace
