// Marker files, told apart by their extension: ".mrk" (XML, keeps
// everything), ".mpt" (a text table), ".inm" and ".apm" (text tables of an
// outside tool, read only). docs/file-formats.md describes each format.
//
// Every operation returns at once for an empty file name. Names are resolved
// against the current folder. A writer given an empty array writes nothing
// and leaves any file of that name as it was.
#pragma once

#include <string>

#include "api/markers.h"

namespace zel {

// The XML form. A file that cannot be written raises zel::FileError.
void write_mrk(const std::string& file, const markersArray& markers);
// Sets `name` to the resolved file name; a missing file ends there, silently.
// Any parser failure raises zel::FileError; so does a marker count larger
// than the file's size in bytes, which no real file has.
void read_mrk(const std::string& file, markersArray& markers);
// One marker a line: x, y, two zeros and the active flag.
void write_mpt(const std::string& file, const markersArray& markers);
// Three numbers per marker (x, y, z), whatever the line ends say.
void read_mpt(const std::string& file, markersArray& markers);
// Five values a line: x, y and three integers of which the last is the active
// flag. For ".inm" y counts up from the bottom row and is turned into an
// image row, `height` - y - 1; ".apm" keeps it.
void read_inm(const std::string& file, markersArray& markers, int height);

// By extension, compared exactly: "mpt", "mrk"; anything else writes nothing.
// Any failure inside becomes zel::FileError "File error!".
void save_markers(const std::string& file, const markersArray& markers);
// By extension, compared exactly: "mpt", "inm", "apm", "mrk"; anything else
// reads nothing. Any failure inside becomes zel::FileError "File error!".
void load_markers(const std::string& file, markersArray& markers, int height);

}  // namespace zel
