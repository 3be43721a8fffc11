#include "apps/tamble/plugin.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <map>

#include "apps/tamble/failure.h"
#include "host/command.h"

namespace tamble::cli {
namespace {

namespace fs = std::filesystem;

std::string besideExecutable() {
  std::error_code error;
  const fs::path self = fs::read_symlink("/proc/self/exe", error);
  if (error) return {};
  return (self.parent_path() / "libtamble.so").string();
}

// The descriptors must describe the table the host was given, row for row.
void checkAgreement(const std::vector<menuEntry>& menu, const plg2dapiInfo& table,
                    const std::string& path) {
  bool agree = menu.size() == table.commands.size();
  for (std::size_t i = 0; agree && i < menu.size(); ++i) {
    const plg2dapiFormatInfo& row = table.commands[i];
    const commandDescriptor* d = menu[i].command;
    agree = d ? row.label == d->label && row.group == d->group && row.handler == d->handler
              : row.isSeparator() && row.group == menu[i].group;
  }
  if (!agree) throw stepError(path + ": the commands it describes differ from its command table");
}

// The menu each library registered when it was loaded, by its handle: a
// library opened again (by a later session, after another plug-in) does not
// register anew, and the registry then holds the other one's menu.
std::vector<menuEntry> menuOf(const std::string& path, void*& library) {
  static std::map<void*, std::vector<menuEntry>> menus;
  void* before = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (!before) registerMenu(nullptr);  // what registers while it loads is its own
  library = dlopen(path.c_str(), RTLD_NOW);
  if (before) dlclose(before);  // only the count that NOLOAD added
  if (!library) return {};
  auto [at, fresh] = menus.try_emplace(library);
  if (fresh) at->second = registeredMenu();
  return at->second;
}

}  // namespace

std::string loadedPlugin::defaultPath() {
  if (const char* path = std::getenv("TAMBLE_PLUGIN"); path && *path) return path;
  if (fs::exists(TAMBLE_PLUGIN_PATH)) return TAMBLE_PLUGIN_PATH;
  const std::string beside = besideExecutable();
  return fs::exists(beside) ? beside : std::string(TAMBLE_PLUGIN_PATH);
}

loadedPlugin::loadedPlugin(const std::string& path) {
  void* library = nullptr;
  std::vector<menuEntry> menu = menuOf(path, library);
  if (!library) throw stepError(std::string("cannot load the plug-in: ") + dlerror());
  auto entry = reinterpret_cast<GetInfo2DAPI_t>(dlsym(library, "GetInfo2DAPI"));
  if (!entry) throw stepError(path + " is not a plug-in: it has no GetInfo2DAPI");
  table = entry();
  if (!table) throw stepError(path + " gave no command table");
  if (menu.empty()) {
    naming = std::make_unique<commandNames>(table->commands);
    return;
  }
  checkAgreement(menu, *table, path);
  naming = std::make_unique<commandNames>(std::move(menu));
}

}  // namespace tamble::cli
