// What a host and a 2D plug-in exchange: the command table.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zel {
class imagesList;
}

// One row of a plug-in's command table; a separator is a row too.
struct plg2dapiFormatInfo {
  std::string group;  // "MC", "Edit", "Transform", "Markers", "Tools", "B Convert"
  std::string label;
  std::string tooltip;
  bool (*handler)(zel::imagesList&) = nullptr;  // its result is not looked at
  bool (*enabled)(const zel::imagesList&) = nullptr;
  void (*simulator)(zel::imagesList&) = nullptr;
  std::string helpFile;
  std::string helpTopic;

  bool isSeparator() const { return handler == nullptr; }
};

struct plg2dapiInfo {
  std::uint64_t reserved = 0;
  std::vector<plg2dapiFormatInfo> commands;
  std::string name;
};

// The one entry of a plug-in.
using GetInfo2DAPI_t = plg2dapiInfo* (*)();
