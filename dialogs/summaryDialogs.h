// The records of "Summary...": the mode to compute, and the list of rows
// that shows the figures.
#pragma once

#include <string>
#include <vector>

#include "dialogs/markerStatsDialog.h"
#include "host/paramRecord.h"

namespace tamble {

// "Statistics Summary Conditions": 0 "Easy and Quick", 1 "Advanced and
// Slow", 2 "Processing w/o Trend".
struct CStatStart {
  int advanced = 0;
  static const recordDescriptor<CStatStart>& descriptor();
};

// "Image Summary Statistics": the rows, read and closed; OK is "Save
// Summary" in a host that offers it.
class Stat : public CMarkOut {
 public:
  using CMarkOut::CMarkOut;
  const std::string& className() const override;
  const std::string& title() const override;
};

}  // namespace tamble
