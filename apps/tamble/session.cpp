#include "apps/tamble/session.h"

#include <sys/stat.h>

#include "apps/tamble/failure.h"

namespace tamble::cli {

void inputFiles::add(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) == 0) files.insert({info.st_dev, info.st_ino});
}

void inputFiles::checkWritable(const std::string& path) const {
  struct stat info {};
  if (stat(path.c_str(), &info) == 0 && files.count({info.st_dev, info.st_ino}))
    throw stepError("'" + path + "' was read as input; input files are never written");
}

session::session() {
  list.recording = true;
  setHostUi(&ui);
}

session::~session() { setHostUi(nullptr); }

loadedPlugin& session::plugin() {
  if (!loaded) loaded = std::make_unique<loadedPlugin>(loadedPlugin::defaultPath());
  return *loaded;
}

zel::image& session::image(const std::string& name) const {
  if (zel::image* found = list.find(name)) return *found;
  std::string names;
  for (int i = 0; i < list.size(); ++i) names += (names.empty() ? "" : ", ") + list[i]->fieldName();
  throw stepError("no image named '" + name +
                  "'; the images are: " + (names.empty() ? "(none)" : names));
}

}  // namespace tamble::cli
