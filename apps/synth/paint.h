// The paints of a synthetic run and the light they give. The light is made
// so that the field calculation, which inverts the paint's calibration
// anchored at the wind-off state, returns the true pressure (or temperature)
// from perfect images.
#pragma once

namespace tamble::synth {

enum class paintKind {
  doublePaint,      // pressure paint with a reference paint in the same layer
  singlePaint,      // pressure paint alone
  temperaturePaint  // temperature paint alone
};

// value = A(s) + B(s) r + C(s) r^2 with A(s) = c[0] + c[1] s + c[2] s^2 and
// B, C alike from c[3..5] and c[6..8]. For a pressure paint the value is the
// pressure and s the temperature (degrees Celsius); for a temperature paint
// the value is the temperature and s the pressure, in the paint's unit.
struct calibrationLaw {
  double c[9] = {};

  double A(double s) const { return c[0] + c[1] * s + c[2] * s * s; }
  double B(double s) const { return c[3] + c[4] * s + c[5] * s * s; }
  double C(double s) const { return c[6] + c[7] * s + c[8] * s * s; }
  double value(double s, double r) const { return A(s) + B(s) * r + C(s) * r * r; }
  // The ratio at which the law gives `value` at s: the root
  // (sqrt(D) - B) / (2 C), D = B^2 - 4 C (A - value), which the field
  // calculation takes, here in the form 2 (value - A) / (sqrt(D) + B) that
  // loses nothing to cancellation.
  double ratio(double s, double value) const;
};

// The flow state of the run, in Pa and degrees Celsius.
struct flowState {
  double P_wind_off = 100000.0;
  double P_static = 70000.0;
  double P_dynamic = 20000.0;
  double T_wind_off = 20.0;
  double T_wind_on = 25.0;
};

class paintPhysics {
 public:
  explicit paintPhysics(paintKind kind, flowState flow = {});

  paintKind kind;
  flowState flow;
  // The calibration; its coefficients are single-precision numbers, so the
  // field calculation reads exactly these.
  calibrationLaw law;
  // The pressure unit of the calibration: Pa for the pressure paints, bar
  // for the temperature paint.
  const char* unit = "pa";
  double unitPerPascal = 1.0;
  // s of the temperature paint's law: the wind-off pressure and the wind-on
  // pressure the field calculation takes, P_static + P_dynamic, in the
  // paint's unit and single precision as it forms them.
  double windOffPressure = 0.0;
  double windOnPressure = 0.0;
  // The ratio of the wind-off state, r0.
  double windOffRatio = 1.0;

  // The wind-on ratio r of a point where the flow has pressure P and the
  // surface temperature T: for a pressure paint the law at T_wind_on solved
  // for P; for a temperature paint the law at P_static + P_dynamic (the
  // wind-on pressure the field calculation takes) solved for T.
  double windOnRatio(double P, double T) const;

  // The light of the paints per unit of excitation and thickness. The
  // sensor paint gives 1 / r, so that between wind-off and wind-on its light
  // changes by r0 / r; the reference paint does not respond to the flow.
  static double sensorLight(double ratio) { return 1.0 / ratio; }
  double referenceLight() const { return referenceBrightness / windOffRatio; }
  static constexpr double referenceBrightness = 0.85;

  // Coefficients all exact in single precision.
  static calibrationLaw pressureCalibration();     // Pa, C
  static calibrationLaw temperatureCalibration();  // C, bar
};

}  // namespace tamble::synth
