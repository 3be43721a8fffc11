// The paint's calibration anchored at the wind-off state, and the flow state
// in the units the calculation works in. Everything here is single
// precision: the project's doubles are narrowed on the way in.
#pragma once

#include <string>

namespace zel {
struct paintFeatures;
struct flowFeatures;
}  // namespace zel

namespace tamble {

// value = A(s) + B(s) r + C(s) r^2, each a quadratic in s.
struct calibration {
  float c[9] = {};
  float A(float s) const { return c[0] + c[1] * s + c[2] * s * s; }
  float B(float s) const { return c[3] + c[4] * s + c[5] * s * s; }
  float C(float s) const { return c[6] + c[7] * s + c[8] * s * s; }
};
calibration narrowed(const zel::paintFeatures& paint);

// The flow state with pressures in the paint's unit and temperatures in
// degrees Celsius, and the units to convert results back to.
struct flowState {
  float P_wind_off = 0, P_static = 0, P_dynamic = 0, T_wind_off = 0, T_wind_on = 0;
  std::string paintUnit, flowPressureUnit, flowTemperatureUnit;
};
flowState flowInPaintUnits(const zel::paintFeatures& paint, const zel::flowFeatures& flow);

// The law at the wind-on state, scaled so that a measured ratio of 1 gives
// the wind-off value: value(q) = A1 + B1 r + C1 r^2 with r = q * r0.
struct anchoredLaw {
  float r0 = 0, A1 = 0, B1 = 0, C1 = 0;
  float value(float q) const {
    const float r = q * r0;
    return A1 + B1 * r + C1 * r * r;
  }
};

enum class anchorFault {
  none,
  noQuadraticTerm,  // |C(s0)| below 1e-10
  badCoefficients,  // no real ratio gives the wind-off value
};

// Solves which ratio r0 the calibration predicts at s0 for the wind-off
// value `target`, and evaluates A, B, C at s1. A pressure paint: s0 =
// T_wind_off, target = P_wind_off, s1 = T_wind_on. A temperature paint: s0 =
// P_wind_off, target = T_wind_off, s1 = P_static + P_dynamic.
anchorFault anchorLaw(const calibration& cal, float s0, float target, float s1, anchoredLaw& out);
anchorFault pressureLaw(const calibration& cal, const flowState& flow, anchoredLaw& out);
anchorFault temperatureLaw(const calibration& cal, const flowState& flow, anchoredLaw& out);

}  // namespace tamble
