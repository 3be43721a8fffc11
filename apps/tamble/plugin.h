// The plug-in as this host sees it: a shared library opened with dlopen whose
// one entry, GetInfo2DAPI, hands over the command table. A Tamble plug-in
// also registers its commands' descriptors with the host library when it
// loads; for one that does not, descriptors are made from its table.
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

  // The menus in order, separators included.
  const std::vector<menuEntry>& menu() const { return naming->menu(); }
  const commandNames& names() const { return *naming; }

 private:
  const plg2dapiInfo* table = nullptr;
  std::unique_ptr<commandNames> naming;
};

}  // namespace tamble::cli
