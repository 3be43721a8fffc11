// "Summary...": the figures of the current image in the chosen mode, shown as
// rows that can be saved as text. Nothing of the image changes.
#pragma once

#include <string>
#include <vector>

namespace zel {
class imagesList;
}

namespace tamble {

inline constexpr const char* summaryFileFilter = "Statistic files (*.txt)|*.txt||";
inline constexpr const char* summaryFileName = "Statistics";

bool SummaryCommand(zel::imagesList& list);  // "Summary..."

// Writes the rows one per line to `path` (".txt" added to a name without an
// extension), through a temporary file.
void saveSummary(std::string path, const std::vector<std::string>& rows);

}  // namespace tamble
