// The records of the pressure ports: "Correction in situ (Field by Gages)",
// the fit's parameters shared by "Pressure Ports..." and "Correct Output
// Fields in situ...", and "Pressure Port Approximation Data", the report.
#pragma once

#include <string>
#include <vector>

#include "dialogs/markerStatsDialog.h"
#include "host/paramRecord.h"

namespace tamble {

// The order of the polynomial from paint to tap pressure, whether the field
// is corrected or only fitted, and the diameter of the circle the paint is
// averaged over around each port. Three pixels: the 3 by 3 square about the
// tap, which quiets the paint's noise nine-fold in variance while the
// circle stays small against the pressure's gradients near a leading edge.
struct CPPStart {
  int m_order = 0;    // 0, 1, 2
  int m_correct = 1;  // 0: fit and report only
  float m_gageDiameter = 3.0f;
  static const recordDescriptor<CPPStart>& descriptor();
};

// The report: each line one shown-only field, as "Markers Statistics" shows
// its lines; nothing is stored.
class CPPortData : public CMarkOut {
 public:
  using CMarkOut::CMarkOut;
  const std::string& className() const override;
  const std::string& title() const override;
};

}  // namespace tamble
