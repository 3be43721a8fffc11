// The pressure ports: "Pressure Ports..." fits and corrects the current image
// with the ports of a marker file; "Correct Output Fields in situ..." is the
// conversion stage that corrects a result with the project's ports (the
// list's own markers) and recomputes the results that depend on it.
#pragma once

#include <string>
#include <vector>

namespace zel {
class imagesList;
}

namespace tamble {

inline constexpr const char* portsMarkerFilter = "Markers files (*.mrk)|*.mrk||";
inline constexpr const char* portsReportFilter = "Pressure_Port files (*.txt)|*.txt||";
inline constexpr const char* noActiveFieldText =
    "No Correction due to absence of choosen active field";
inline constexpr const char* noPortsText = "No File Marker_CORR";

// "Pressure Port Approximation Data": the report's lines; on OK ("Save
// Data") the host's file choice, and the lines go to the chosen file.
void PPortDataOut(const std::vector<std::string>& lines);

// The handler of "Pressure Ports..." (Tools).
bool PressurePortsCommand(zel::imagesList& list);

// The stage: false when the dialog was cancelled, true otherwise.
bool InSituCorrection(zel::imagesList& list, bool interactive);
// The handler of "Correct Output Fields in situ..." (B Convert).
bool InSituCorrectionCommand(zel::imagesList& list);

// The lines of a report as the files hold them, one per line.
void writePortsReport(const std::string& path, const std::vector<std::string>& lines);

}  // namespace tamble
