#include "apps/synth/paint.h"

#include <cmath>

namespace tamble::synth {

double calibrationLaw::ratio(double s, double v) const {
  const double a = A(s), b = B(s), c = C(s);
  const double d = b * b - 4.0 * c * (a - v);
  return 2.0 * (v - a) / (std::sqrt(d) + b);
}

// A Stern-Volmer-like pressure paint: at 20 C, P = -16400 + 100600 r +
// 8500 r^2 Pa; at a fixed ratio the pressure falls by about 350 Pa for each
// degree the paint is warmer.
calibrationLaw paintPhysics::pressureCalibration() {
  return {{-18000.0, 100.0, -1.0, 110000.0, -500.0, 1.5, 8000.0, 20.0, 0.25}};
}

// A temperature paint losing about 1.5 % of its light per degree, with a
// faint response to pressure: at 1 bar T = -46.375 + 62 r + 4.125 r^2 C.
calibrationLaw paintPhysics::temperatureCalibration() {
  return {{-45.0, -1.5, 0.125, 60.0, 2.0, 0.0, 5.0, -1.0, 0.125}};
}

paintPhysics::paintPhysics(paintKind k, flowState f) : kind(k), flow(f) {
  const bool temperaturePaint = kind == paintKind::temperaturePaint;
  law = temperaturePaint ? temperatureCalibration() : pressureCalibration();
  if (temperaturePaint) {
    unit = "bar";
    unitPerPascal = 1e-5;
  }
  auto single = [](double v) { return static_cast<double>(static_cast<float>(v)); };
  for (double& c : law.c) c = single(c);
  flow.P_wind_off = single(flow.P_wind_off);
  flow.P_static = single(flow.P_static);
  flow.P_dynamic = single(flow.P_dynamic);
  flow.T_wind_off = single(flow.T_wind_off);
  flow.T_wind_on = single(flow.T_wind_on);
  windOffPressure = single(flow.P_wind_off * unitPerPascal);
  windOnPressure = single(static_cast<float>(single(flow.P_static * unitPerPascal)) +
                          static_cast<float>(single(flow.P_dynamic * unitPerPascal)));
  windOffRatio = temperaturePaint ? law.ratio(windOffPressure, flow.T_wind_off)
                                  : law.ratio(flow.T_wind_off, flow.P_wind_off);
}

double paintPhysics::windOnRatio(double P, double T) const {
  if (kind == paintKind::temperaturePaint) return law.ratio(windOnPressure, T);
  return law.ratio(flow.T_wind_on, P);
}

}  // namespace tamble::synth
