// "Field Calculation...": the ratio, pressure, P/Pstat, Cp or temperature
// of a run from its prepared camera images and the paint's calibration.
#pragma once

#include <string>

namespace zel {
class imagesList;
}

namespace tamble {

// The stage: the five results (those whose card is off are computed and
// dropped), their masks, markers, display limits and in-memory file names.
// Routine faults are shown (not in a list conversion, but for the
// calibration's quadratic term) and the stage goes on; it answers true.
bool FieldCalculation(zel::imagesList& list, bool interactive);

// The project's folder and the stem of its file with `suffix` behind it:
// where its results, reference regions and reports are named.
std::string projectNamed(const std::string& suffix);

// The menu row: the cards' dialog (refusing cards the paint cannot give),
// the card images, the stage; the last result chosen becomes current.
bool FieldCalculationCommand(zel::imagesList& list);

}  // namespace tamble
