// "Automatic Convert...": the stages that the scenario's flags choose, run
// one after the other without a dialog, with the time each took. The source
// images leave the run as they came (a copy taken at its start is put back),
// and the results stay in the list.
#pragma once

#include <array>
#include <string>

#include "dialogs/conversionDialogs.h"

namespace zel {
class imagesList;
}

namespace tamble {

// The stages of a conversion in the order they run, as the scenario names them.
enum class stage {
  dark,
  flat,
  marking,
  positioning,
  fillUp,
  filtering,
  background,
  distortion,
  alignment,
  resectImages,
  fieldCalculation,
  thinning,
  finalFilter,
  inSitu,
  resectResults
};
inline constexpr int stageCount = 15;

// The scenario's flag of a stage, and its line in the report ("Dark subtraction: ").
int& stageFlag(CConvertBin_01& scenario, stage s);
const char* stageLabel(stage s);

// Which check boxes of the scenario dialog can be changed, given the list:
// dark and flat frames, pressure ports and complete resection data each
// enable their stage, and the output stages need "Field Calculation".
std::array<bool, stageCount> scenarioAvailability(const zel::imagesList& list);

// The whole run. False when the user cancelled the scenario, the cards ask
// for a temperature of a pressure paint, the references of a single paint
// were refused, or an image could not be aligned. In every case the four
// source images are put back as they were (their markers then replaced by
// the primary ones when "Modify" is on).
bool AutomaticConvert(zel::imagesList& list, bool interactive);

// The report of the last run: a line per stage and the total time.
const std::string& lastConvertReport();

}  // namespace tamble
