// The directional filters of the "Edit" group and "1D DeBlur".
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

inline constexpr const char* directionMarkersNeeded =
    "There Must Be 2/4 Markers for Direction/Tapering\n\n------- STOP -------";
inline constexpr const char* tooManySmearMarkers =
    "There Must Be Not More Than 2 Markers for Smear Direction Set";

bool DirectionalGaussCommand(zel::imagesList& list);   // "Directional Gauss Filter..."
bool DirectionalMedianCommand(zel::imagesList& list);  // "Directional Median Filter..."
bool DeBlur1DCommand(zel::imagesList& list);           // "1D DeBlur"

}  // namespace tamble
