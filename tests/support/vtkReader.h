// A minimal reader of the VTK XML files that Tamble writes (structured grids
// with raw appended data, and the multi-block index), for the tests: enough
// to check what ParaView would be given.
#pragma once

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/textFile.h"

namespace tamble::testing {

// The value of attribute `name` in the tag starting at `at`; empty if none.
inline std::string xmlAttribute(const std::string& text, std::size_t at, const std::string& name) {
  const std::size_t end = text.find('>', at);
  const std::string key = " " + name + "=\"";
  const std::size_t k = text.find(key, at);
  if (k == std::string::npos || k > end) return {};
  const std::size_t start = k + key.size();
  std::string value = text.substr(start, text.find('"', start) - start);
  const std::pair<const char*, const char*> entities[] = {
      {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&amp;", "&"}};
  for (const auto& [entity, plain] : entities)
    for (std::size_t p; (p = value.find(entity)) != std::string::npos;)
      value.replace(p, std::strlen(entity), plain);
  return value;
}

struct vtkPiece {
  std::string wholeExtent;
  std::map<std::string, std::vector<double>> arrays;  // Float64 point arrays by name
  std::vector<std::uint8_t> ghost;                     // vtkGhostType
  std::vector<double> points;                          // x y z per point
  std::string scalars;                                 // PointData's Scalars
};

inline vtkPiece readVts(const std::filesystem::path& file) {
  const std::string text = readText(file);
  if (text.find("type=\"StructuredGrid\"") == std::string::npos ||
      text.find("header_type=\"UInt64\"") == std::string::npos)
    throw std::runtime_error(file.string() + ": not a structured grid of UInt64 headers");
  const std::size_t appended = text.find("<AppendedData encoding=\"raw\">");
  const std::size_t base = text.find('_', appended) + 1;
  if (appended == std::string::npos) throw std::runtime_error(file.string() + ": no data");
  vtkPiece piece;
  piece.wholeExtent = xmlAttribute(text, text.find("<StructuredGrid"), "WholeExtent");
  piece.scalars = xmlAttribute(text, text.find("<PointData"), "Scalars");
  for (std::size_t at = text.find("<DataArray"); at < appended;
       at = text.find("<DataArray", at + 1)) {
    const std::size_t offset = std::stoull(xmlAttribute(text, at, "offset"));
    std::uint64_t size = 0;
    std::memcpy(&size, text.data() + base + offset, sizeof size);
    const char* bytes = text.data() + base + offset + sizeof size;
    const std::string type = xmlAttribute(text, at, "type"), name = xmlAttribute(text, at, "Name");
    if (type == "UInt8") {
      piece.ghost.assign(bytes, bytes + size);
      continue;
    }
    std::vector<double> values(size / sizeof(double));
    std::memcpy(values.data(), bytes, values.size() * sizeof(double));
    if (name == "Points")
      piece.points = values;
    else
      piece.arrays[name] = values;
  }
  return piece;
}

// The files a .vtm index names, resolved against its folder.
inline std::vector<std::filesystem::path> readVtm(const std::filesystem::path& file) {
  const std::string text = readText(file);
  std::vector<std::filesystem::path> files;
  for (std::size_t at = text.find("<DataSet"); at != std::string::npos;
       at = text.find("<DataSet", at + 1))
    files.push_back(file.parent_path() / xmlAttribute(text, at, "file"));
  return files;
}

}  // namespace tamble::testing
