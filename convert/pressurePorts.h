// Pressure ports: the taps in the model give a few trusted pressures, the
// paint gives the field around each. A polynomial of order 0, 1 or 2 from
// paint pressure to tap pressure is fitted over the ports and, on request,
// applied to the whole field. Also the routines that recompute the other
// result fields from a corrected one.
#pragma once

#include <string>
#include <vector>

#include "api/arrayWorks.h"
#include "api/markers.h"
#include "convert/fieldRoutines.h"

namespace zel {
class image;
}

namespace tamble {

inline constexpr int portsCapacity = 1000;

// One port of the table, with its place in the port set (from 1).
struct portRow {
  int n = 0;
  double x = 0, y = 0;
  double Ptaps = 0;     // the tap's pressure (the marker's third value, z)
  double Ppsp = 0;      // the paint's mean over the port's circle
  double Delta = 0;     // Ptaps - Ppsp
  double PpspCorr = 0;  // Ppsp through the fitted polynomial
  double D = 0;         // Ptaps - PpspCorr
};

// The fit: Ppsp,corr = A0 + A1 Ppsp + A2 Ppsp^2 (order 0: A1 = 1, A2 = 0;
// order 1: A2 = 0). D0..D2 are the standard errors of A0..A2 by least
// squares, from the residual variance with n - 1 - order degrees of freedom
// (0 when there are none left: an order-2 fit through 3 ports). The
// dispersions are the root mean squares of Delta (initial) and of D
// (final); the maximum deflection is the largest |D|, with its port.
struct portsFit {
  int order = 0;
  bool limited = false;  // more than 1000 markers: only the first 1000 were used
  std::vector<portRow> ports;
  double A0 = 0, A1 = 1, A2 = 0;
  double D0 = 0, D1 = 0, D2 = 0;
  double initialDispersion = 0, finalDispersion = 0;
  double maxDeflection = 0;
  int maxPort = 0;
  double maxPressure = 0, maxX = 0, maxY = 0;
};

enum class portsFault {
  none,
  noMarkers,         // "Data Error. Markers Number equals Zero."
  tooFewActive,      // "Active markers number is less than 3 !"
  noImagePoints,     // "Data Error. No Image Points Found."
  tooFewPorts,       // "Markers Number is less than 3 !"
  precisionFailed1,  // "Data Error. Precision failed (1)"
  precisionFailed2,  // "Data Error. Precision failed (2)"
  badOrder,          // an order other than 0, 1, 2
  differentDimensions,
};
// The message of a fault; empty for none.
const char* portsFaultText(portsFault fault);
// Shown, not a fault: the fit goes on with the first 1000 markers.
inline constexpr const char* portsLimitText = "Markers Number is limited by 1000 !";

// Averages the field over a circle of `diameter` pixels around each active
// port (pixels inside the image whose bkgr is false), fits the polynomial of
// `order` and, when `correct`, applies it to every pixel whose bkgr is false
// and whose ROI is true. A fault leaves the field as it was; `result` then
// holds what was found before the fault.
portsFault fitPorts(zel::arrayStore<float, 2>& field, const zel::arrayStore<bool, 2>& bkgr,
                    const zel::arrayStore<bool, 2>& roi, const zel::markersArray& ports,
                    portsFit& result, int order, bool correct, float diameter);

// The report of a fit, one line per entry, as the report dialog lists them
// and the "_CORR.txt" file holds them.
std::vector<std::string> portsReportLines(const portsFit& fit);

// Recomputing the other results from a corrected one. Each target takes the
// source's bkgr and ROI; a pixel that is not calculated becomes 0. The
// sizes must agree ("Working Bitmaps Have Different Dimensions!").
// Pressure := Cp * P_dynamic + P_static ("Dynamic Pressure Value is Too
// Small!" when |P_dynamic| is below 1e-10).
fieldFault pressureFromCp(const zel::image& cp, float P_static, float P_dynamic,
                          zel::image& target);
// Pressure := P_Pstat * P_static ("Static Pressure Value is Too Small!").
fieldFault pressureFromStaticRatio(const zel::image& ratio, float P_static, zel::image& target);
// The anchored law at each pixel's intensity ratio.
fieldFault fieldFromRatio(const zel::image& ratio, const anchoredLaw& law, zel::image& target);

}  // namespace tamble
