// The plug-in as this host sees it: a shared library opened with dlopen whose
// one entry, GetInfo2DAPI, hands over the command table.
#pragma once

#include <memory>
#include <string>

#include "apps/tamble/commandNames.h"
#include "host/plugin2d.h"

namespace tamble::cli {

class loadedPlugin {
 public:
  // $TAMBLE_PLUGIN, else the plug-in this program was built with, else
  // libtamble.so beside the executable.
  static std::string defaultPath();

  // Opens the library (all symbols bound now) and reads its table once: the
  // table's addresses stay valid only until the entry is called again.
  explicit loadedPlugin(const std::string& path);
  // The library stays loaded until the process ends: images and buffers it
  // made may outlive this object.
  ~loadedPlugin() = default;
  loadedPlugin(const loadedPlugin&) = delete;
  loadedPlugin& operator=(const loadedPlugin&) = delete;

  const plg2dapiInfo& info() const { return *table; }
  const commandNames& names() const { return *naming; }

 private:
  const plg2dapiInfo* table = nullptr;
  std::unique_ptr<commandNames> naming;
};

// The name of the function at `address` ("image_is_present"), found in the
// dynamic symbols or, for a function the library keeps to itself, in its
// symbol table on disk. Empty when neither knows it (a stripped library).
std::string functionName(const void* address);

// What the availability test of `row` is called, for "... is not available:
// <reason>".
std::string testName(const plg2dapiFormatInfo& row);

}  // namespace tamble::cli
