// The per-pixel routines of the field calculation. Each works on the field,
// bkgr and ROI of its images and writes one target image; a pixel is
// calculated where no input's bkgr is set and every input's ROI is, and all
// others are 0 with the target's bkgr set or ROI cleared as the inputs say.
// A routine that refuses leaves its target as it was and answers why; the
// commands decide whether the answer is shown (not in a list conversion).
#pragma once

#include <string>

#include "api/arrayWorks.h"
#include "convert/paintLaw.h"

namespace zel {
class image;
}

namespace tamble {

struct plane;

enum class fieldFault {
  none,
  differentDimensions,  // "Working Bitmaps Have Different Dimensions!"
  noQuadraticTerm,      // "Calibration coefficients for PSP acquisition are incorrect. ..."
  badCoefficients,      // "Error in Paint Calibration Coefficients"
  staticTooSmall,       // "Static Pressure Value is Too Small!"
  dynamicTooSmall,      // "Dynamic Pressure Value is Too Small!"
};
// The message of a fault of the field calculation; empty for none.
const char* fieldFaultText(fieldFault fault);

// The sensor intensity over its reference, wind-off over wind-on.
fieldFault ratioDouble(const zel::image& offSens, const zel::image& offRefe,
                       const zel::image& onSens, const zel::image& onRefe, zel::image& target);
fieldFault ratioSingle(const zel::image& offSens, const zel::image& onSens, float offRefeValue,
                       float onRefeValue, zel::image& target);

// The value of the anchored law at each calculated pixel's ratio.
fieldFault pressureDouble(const zel::image& offSens, const zel::image& offRefe,
                          const zel::image& onSens, const zel::image& onRefe,
                          const calibration& cal, const flowState& flow, zel::image& target);
fieldFault pressureSingle(const zel::image& offSens, const zel::image& onSens, float offRefeValue,
                          float onRefeValue, const calibration& cal, const flowState& flow,
                          zel::image& target);
fieldFault temperatureDouble(const zel::image& offSens, const zel::image& offRefe,
                             const zel::image& onSens, const zel::image& onRefe,
                             const calibration& cal, const flowState& flow, zel::image& target);
fieldFault temperatureSingle(const zel::image& offSens, const zel::image& onSens,
                             float offRefeValue, float onRefeValue, const calibration& cal,
                             const flowState& flow, zel::image& target);

// Pressure / P_static and (Pressure - P_static) / P_dynamic; the target takes
// the masks of `pressure`.
fieldFault staticPressureRatio(const zel::image& pressure, float P_static, zel::image& target);
fieldFault pressureCoefficient(const zel::image& pressure, float P_static, float P_dynamic,
                               zel::image& target);

// The reference image of a single paint under the plane approximation: the
// plane at every pixel, x the column and y the row.
void fillPlane(zel::arrayStore<float, 2>& field, const plane& p);

// A change of unit as zel::convert_pressure and zel::convert_temperature
// make it, with the units looked up once: ((v a_in + b_in) - b_out) / a_out
// in double, narrowed to float. An unknown unit is reported once, on the
// error stream, and counts with a = 1, b = 0 as the conversions take it.
struct unitChange {
  double scaleIn = 1.0, offsetIn = 0.0, scaleOut = 1.0, offsetOut = 0.0;
  float apply(float v) const {
    return static_cast<float>(((static_cast<double>(v) * scaleIn + offsetIn) - offsetOut) /
                              scaleOut);
  }
  bool identity() const { return scaleIn == scaleOut && offsetIn == offsetOut; }
};
unitChange pressureChange(const std::string& from, const std::string& to);
unitChange temperatureChange(const std::string& from, const std::string& to);
// Converts the calculated pixels (bkgr clear, ROI set) of a result.
void convertCalculated(zel::image& img, const unitChange& change);

}  // namespace tamble
