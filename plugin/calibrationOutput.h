// The calibration and deformation files of a double paint whose four images
// carry the same markers: the projection of each camera from the wind-off
// markers and the model's marker positions ("<project>_D_Calibr.dat"), and the
// move of every marker in space from wind-off to wind-on, each point found
// from the sensor and the reference camera's views ("<project>_D_Deform.dat").
// "Automatic Marking..." writes them when its markers are fixed.
#pragma once

#include <string>

namespace zel {
class imagesList;
}

namespace tamble {

// Each answers false, with its message shown only when `showErrors`, when a
// file or a marker set it needs is missing; what it opened is closed.
bool for_calibration(zel::imagesList& list, bool showErrors);
bool for_deformation(zel::imagesList& list, bool showErrors);

// The two files beside the project.
std::string calibrationFile();
std::string deformationFile();

}  // namespace tamble
