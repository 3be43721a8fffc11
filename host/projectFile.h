// The .vur file behind the project library: its keys, the reader, the
// writer and the path forms (docs/project-file.md). Used by host/project.cpp;
// the plug-in goes through host/project.h.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "host/project.h"

namespace tamble::vur {

// What the library does with the file a path key names.
enum class fileUse {
  image,    // an image read into the list at opening
  markers,  // markers read with an image, or with no image: the list's own (the ports)
  roi,      // a region of interest read with an image
  camera,   // a .cam file read at opening
  other,    // written by the conversion, or read by the stage that needs it
};

struct pathKey {
  const char* section;
  const char* key;
  std::string zel::vurStr::*field;
  fileUse use;
  const char* image;  // the list name of the image the file belongs to, or nullptr
                      // (for markers: the list's own, the pressure ports)
};

// Every single path of the record, in the order of the file.
std::span<const pathKey> path_keys();

// The two list keys: "<prefix><number>" in section "list".
inline constexpr const char* listSection = "list";
inline constexpr const char* sensListPrefix = "wind_on_sens_";
inline constexpr const char* refeListPrefix = "wind_on_refe_";

// A value of the file and where it stands.
struct located {
  std::string section;
  std::string key;
  std::string value;
  int line = 0;
};

// One reading of a project file.
struct contents {
  zel::vurStr record;
  zel::paintFeatures paint;
  zel::flowFeatures flow;
  // The non-empty paths of the file (list entries included), with their lines.
  std::vector<located> paths;
  // Keys of the project's own sections that the format does not know.
  std::vector<located> unknown;
};

// Reads the file. `features` adds the paint and flow sections, with their
// numbers and units checked; otherwise those sections are skipped. A missing
// or unreadable file, a malformed value or an unknown unit raises
// zel::FileError "<file>:<line>: [<section>] <key>: <what is wrong>".
contents read_project(const std::string& path, bool features);

// Writes the record (and, when given, the paint and flow) into the file,
// changing only the lines whose meaning differs and adding what is missing;
// a new file is made. Atomic: on zel::FileError the file is as it was.
void write_project(const std::string& path, const zel::vurStr& record,
                   const zel::paintFeatures* paint, const zel::flowFeatures* flow);

// The absolute folder of the record's project file; the current folder when
// the record names none.
std::string project_folder(const zel::vurStr& record);
// A path of the record as an absolute, normalised path ("\" read as "/").
std::string absolute_in(const std::string& path, const std::string& folder);
// The project-relative form of an absolute path when the file lies under
// `folder` or at most `maxClimb` folders above it; otherwise the path as
// given. A relative path is returned as given.
inline constexpr int maxClimb = 2;
std::string relative_in(const std::string& path, const std::string& folder);

}  // namespace tamble::vur
