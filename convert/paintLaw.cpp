#include "convert/paintLaw.h"

#include <cmath>

#include "api/camera.h"
#include "host/project.h"

namespace tamble {

namespace {

// The limit below which a coefficient or divisor counts as zero; the
// single-precision value is widened before it is compared.
constexpr double zeroLimit = 1e-10;

float pressureIn(double value, const std::string& from, const std::string& to) {
  return static_cast<float>(zel::convert_pressure(static_cast<float>(value), from, to));
}

float temperatureIn(double value, const std::string& from) {
  return static_cast<float>(zel::convert_temperature(static_cast<float>(value), from, "c"));
}

}  // namespace

calibration narrowed(const zel::paintFeatures& paint) {
  calibration cal;
  for (int i = 0; i < 9; ++i) cal.c[i] = static_cast<float>(paint.c[i]);
  return cal;
}

flowState flowInPaintUnits(const zel::paintFeatures& paint, const zel::flowFeatures& flow) {
  flowState s;
  s.paintUnit = paint.paintUnit;
  s.flowPressureUnit = flow.flowPressureUnit;
  s.flowTemperatureUnit = flow.flowTemperatureUnit;
  s.P_wind_off = pressureIn(flow.P_wind_off, s.flowPressureUnit, s.paintUnit);
  s.P_static = pressureIn(flow.P_static, s.flowPressureUnit, s.paintUnit);
  s.P_dynamic = pressureIn(flow.P_dynamic, s.flowPressureUnit, s.paintUnit);
  s.T_wind_off = temperatureIn(flow.T_wind_off, s.flowTemperatureUnit);
  s.T_wind_on = temperatureIn(flow.T_wind_on, s.flowTemperatureUnit);
  return s;
}

anchorFault anchorLaw(const calibration& cal, float s0, float target, float s1, anchoredLaw& out) {
  const float A0 = cal.A(s0), B0 = cal.B(s0), C0 = cal.C(s0);
  const double c0 = std::fabs(static_cast<double>(C0));
  if (c0 < zeroLimit) return anchorFault::noQuadraticTerm;
  const float D = B0 * B0 - 4.0f * C0 * (A0 - target);
  if (D < 0.0f) return anchorFault::badCoefficients;
  float r0 = 0.0f;
  if (c0 > zeroLimit) {
    r0 = (std::sqrt(D) - B0) / (2.0f * C0);
  } else {
    // |C0| exactly at the limit: the law is taken as linear in the ratio.
    if (!(std::fabs(static_cast<double>(B0)) > zeroLimit)) return anchorFault::badCoefficients;
    r0 = (target - A0) / B0;
  }
  out = anchoredLaw{r0, cal.A(s1), cal.B(s1), cal.C(s1)};
  return anchorFault::none;
}

anchorFault pressureLaw(const calibration& cal, const flowState& flow, anchoredLaw& out) {
  return anchorLaw(cal, flow.T_wind_off, flow.P_wind_off, flow.T_wind_on, out);
}

anchorFault temperatureLaw(const calibration& cal, const flowState& flow, anchoredLaw& out) {
  // The wind-on pressure of a temperature paint is always the static plus the
  // dynamic pressure, never a stored wind-on value.
  return anchorLaw(cal, flow.P_wind_off, flow.T_wind_off, flow.P_static + flow.P_dynamic, out);
}

}  // namespace tamble
