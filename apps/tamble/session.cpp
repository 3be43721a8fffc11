#include "apps/tamble/session.h"

#include <sys/stat.h>

#include "apps/tamble/failure.h"
#include "host/platform.h"

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

void session::loadPlugin(const std::string& path) { loaded = std::make_unique<loadedPlugin>(path); }

zel::image& session::image(const std::string& name) const {
  if (zel::image* found = list.find(name)) return *found;
  std::string names;
  for (int i = 0; i < list.size(); ++i) names += (names.empty() ? "" : ", ") + list[i]->fieldName();
  throw stepError("no image named '" + name +
                  "'; the images are: " + (names.empty() ? "(none)" : names));
}

void session::checkNewName(const std::string& name) const {
  if (name.empty()) throw usageError("an image needs a name");
  if (list.find(name)) throw stepError("an image named '" + name + "' is open already");
}

// New images are one host undo step each: the check point stops it.
zel::image& session::addImage(std::unique_ptr<zel::image> img, const std::string& step) {
  zel::image& added = *img;
  list.checkPoint(step);
  list.addImage(img.release());
  list.selectLast();
  return added;
}

zel::image& session::openImage(const std::string& path, const std::string& name) {
  if (!name.empty()) checkNewName(name);
  std::unique_ptr<zel::image> img = read_image(path);
  inputs.add(path);
  if (!name.empty()) img->setFieldName(name);
  checkNewName(img->fieldName());
  return addImage(std::move(img), "open " + path);
}

void session::saveImage(const std::string& name, const std::string& path) const {
  const zel::image& img = image(name);
  inputs.checkWritable(path);
  write_image(path, img);
}

}  // namespace tamble::cli
