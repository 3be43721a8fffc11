// The resection data file (a project's `resect_data_file`, ".dat"): an ini
// file naming the model's grid, its length unit, the model positions of the
// markers, the standard image markers and the functions already computed
// on the grid (docs/resection-data.md).
#pragma once

#include <string>

#include "host/fieldData.h"

namespace zel {
struct vurStr;
}

namespace tamble {

inline constexpr const char* resectionSection = "Resection";
// The message of a mesh marker file that is missing, unreadable or empty.
inline constexpr const char* geometryMarkersMissing = "Geometry markers are absent or wrong";

// Reads the file and the files it names into `data`, all or nothing: on any
// failure `data` is as it was and zel::FileError tells what is wrong, naming
// the file (the mesh markers' failure has the text above, the marker file
// goes to the log). The image pointer `current` is kept.
void readResectData(const std::string& path, zel::field_data<double>& data);

// Writes `data` as a resection data file: the mesh and image marker files
// and the functions (docs/resection-data.md) beside it, then the .dat. The
// grid is not rewritten when `gridFile` names an existing file; otherwise it
// is written beside the .dat. Every file atomically. zel::StateError when
// the data are not complete; zel::FileError when a file cannot be written.
void writeResectData(const std::string& path, const zel::field_data<double>& data);

// Open Project's reading: clears the host's field data, then reads the
// project's `resect_data_file` (relative to the project's folder) into it
// when the record names one. Exceptions pass to the caller.
void readResectionForProject(const zel::vurStr& record);

}  // namespace tamble

// The host's names for the same operations on a field data set.
void read_field(const std::string& path, zel::field_data<double>& data);
void write_field(const std::string& path, const zel::field_data<double>& data);
