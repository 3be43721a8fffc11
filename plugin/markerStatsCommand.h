// "Markers Statistics": the geometry of the current image's marker set and
// the spots under its markers, shown as a list.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

// The guard: the statistics need two markers at least.
inline constexpr const char* tooFewMarkersForStats = "Number of Markers Too Small.\nNo Statistics!";

bool MarkersStatisticsCommand(zel::imagesList& list);  // "Markers Statistics"

}  // namespace tamble
