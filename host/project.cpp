// The project library: the project held by the process, its opening and its
// images (docs/project-file.md).
#include "host/project.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "api/errors.h"
#include "api/imagesList.h"
#include "api/log.h"
#include "api/markerFiles.h"
#include "host/platform.h"
#include "host/projectFile.h"

namespace fs = std::filesystem;

namespace zel {

const std::string* vurStr::parameter(const std::string& section, const std::string& key) const {
  for (const vurParameter& p : parameters)
    if (p.section == section && p.key == key) return &p.value;
  return nullptr;
}

void vurStr::setParameter(const std::string& section, const std::string& key,
                          const std::string& value) {
  for (vurParameter& p : parameters)
    if (p.section == section && p.key == key) {
      p.value = value;
      return;
    }
  parameters.push_back({section, key, value});
}

}  // namespace zel

namespace {

using tamble::vur::fileUse;
using tamble::vur::pathKey;

struct heldProject {
  zel::vurStr record;
  zel::paintFeatures paint;
  zel::flowFeatures flow;
  zel::cameraFeatures sensCamera;
  zel::cameraFeatures refeCamera;
};

heldProject& held() {
  static heldProject project;
  return project;
}

bool& projectAvailable() {
  static bool available = true;
  return available;
}

// What is wrong with a file that must be read, or empty.
std::string unreadable(const std::string& path) {
  std::error_code ec;
  const fs::file_status status = fs::status(path, ec);
  if (status.type() == fs::file_type::not_found) return "file not found";
  if (ec) return "cannot be examined (" + ec.message() + ")";
  if (status.type() != fs::file_type::regular) return "not a regular file";
  if (::access(path.c_str(), R_OK) != 0) return "cannot be read (no permission)";
  return {};
}

// Every input file the project names must be there before anything changes.
void checkInputs(const tamble::vur::contents& project) {
  const std::string folder = tamble::vur::project_folder(project.record);
  for (const tamble::vur::located& at : project.paths) {
    const auto keys = tamble::vur::path_keys();
    const auto key = std::find_if(keys.begin(), keys.end(), [&](const pathKey& k) {
      return at.section == k.section && at.key == k.key;
    });
    const bool listEntry = at.section == tamble::vur::listSection;
    if (!listEntry && (key == keys.end() || key->use == fileUse::other)) continue;
    const std::string file = tamble::vur::absolute_in(at.value, folder);
    const std::string problem = unreadable(file);
    if (!problem.empty())
      zel::raise<zel::FileError>(project.record.project_file + ":" + std::to_string(at.line) +
                                 ": [" + at.section + "] " + at.key + ": " + file + ": " + problem);
  }
}

void readCamera(const std::string& name, const std::string& folder, zel::cameraFeatures& camera) {
  if (!name.empty()) zel::read_camera(tamble::vur::absolute_in(name, folder), camera);
}

void reportUnknownKeys(const tamble::vur::contents& project, bool interactive,
                       const vurNotice& notice) {
  if (project.unknown.empty()) return;
  std::string text = project.record.project_file + ": keys the project file does not use:";
  for (const tamble::vur::located& at : project.unknown) {
    const std::string where =
        "line " + std::to_string(at.line) + ": [" + at.section + "] " + at.key;
    zel::get_log()
        .level(2)
        .write(project.record.project_file)
        .write(": unknown key, ")
        .write(where);
    text += "\n" + where;
  }
  if (interactive && notice) notice(text);
}

// ---- Images ----------------------------------------------------------------

// One image of the list and the keys of its files in the held record.
struct imageSlot {
  const char* name;
  const pathKey* image = nullptr;
  const pathKey* markers = nullptr;
  const pathKey* roi = nullptr;
};

std::vector<imageSlot> imageSlots() {
  std::vector<imageSlot> slots;
  for (const pathKey& key : tamble::vur::path_keys())
    if (key.use == fileUse::image) slots.push_back({key.image, &key});
  for (const pathKey& key : tamble::vur::path_keys())
    for (imageSlot& slot : slots)
      if (key.image && slot.name == std::string(key.image)) {
        if (key.use == fileUse::markers) slot.markers = &key;
        if (key.use == fileUse::roi) slot.roi = &key;
      }
  return slots;
}

class imageReader {
 public:
  explicit imageReader(const zel::vurStr& r) : record(r), folder(tamble::vur::project_folder(r)) {}

  // The image of a slot with its markers and ROI, or nullptr when the
  // project names no file for it.
  std::unique_ptr<zel::image> read(const imageSlot& slot) const {
    std::string label = std::string("[") + slot.image->section + "] " + slot.image->key;
    std::string name = record.*slot.image->field;
    if (name.empty()) {
      // A list project without its own wind-on pair starts with its first run.
      const std::string slotName = slot.name;
      const std::vector<std::string>* list = slotName == "wind_on_sens" ? &record.wind_on_sens_list
                                             : slotName == "wind_on_refe"
                                                 ? &record.wind_on_refe_list
                                                 : nullptr;
      if (!list || list->empty()) return nullptr;
      name = list->front();
      label = std::string("[") + tamble::vur::listSection + "] first " + slotName + " entry";
    }
    const std::string file = input(label, name);
    std::unique_ptr<zel::image> img;
    guard(label, [&] { img = read_image(file); });
    img->setFieldName(slot.name);
    if (slot.markers) readMarkers(*slot.markers, *img);
    if (slot.roi) readROI(*slot.roi, *img);
    return img;
  }

  // The markers of a key's file (rows counted from the top of an image of
  // `height`, for the formats that count from the bottom); nothing when the
  // project names no file.
  std::optional<zel::markersArray> markersOf(const pathKey& key, int height) const {
    const std::string& name = record.*key.field;
    if (name.empty()) return std::nullopt;
    const std::string label = labelOf(key);
    const std::string file = input(label, name);
    zel::markersArray markers;
    guard(label, [&] { zel::load_markers(file, markers, height); });
    return markers;
  }

 private:
  [[noreturn]] void fail(const std::string& label, const std::string& what) const {
    zel::raise<zel::FileError>(record.project_file + ": " + label + ": " + what);
  }

  template <class Work>
  void guard(const std::string& label, Work work) const {
    try {
      work();
    } catch (const zel::GenericError& e) {
      fail(label, e.message);
    }
  }

  // The absolute name of a file that must be read.
  std::string input(const std::string& label, const std::string& name) const {
    const std::string file = tamble::vur::absolute_in(name, folder);
    const std::string problem = unreadable(file);
    if (!problem.empty()) fail(label, file + ": " + problem);
    return file;
  }

  static std::string labelOf(const pathKey& key) {
    return std::string("[") + key.section + "] " + key.key;
  }

  void readMarkers(const pathKey& key, zel::image& img) const {
    if (auto markers = markersOf(key, img.height())) img.markers = std::move(*markers);
  }

  void readROI(const pathKey& key, zel::image& img) const {
    const std::string& name = record.*key.field;
    if (name.empty()) return;
    const std::string label = labelOf(key);
    const std::string file = input(label, name);
    zel::arrayStore<bool, 2> mask(img.width(), img.height());
    guard(label, [&] { read_array(file, mask); });
    zel::arrayStore<bool, 2>& roi = img.ROI();
    const std::string layerName = roi.name;
    roi = mask;
    roi.name = layerName;
  }

  const zel::vurStr& record;
  std::string folder;
};

}  // namespace

bool empty_vur() { return held().record.project_file.empty(); }

void clear_vur() { held() = heldProject{}; }

zel::vurStr& get_vur() { return held().record; }
zel::paintFeatures& get_paint() { return held().paint; }
zel::flowFeatures& get_flow() { return held().flow; }
zel::cameraFeatures& get_sens_cam() { return held().sensCamera; }
zel::cameraFeatures& get_refe_cam() { return held().refeCamera; }

void read_vur_data(const std::string& path, bool interactive, const vurNotice& notice) {
  tamble::vur::contents project = tamble::vur::read_project(path, true);
  checkInputs(project);
  const std::string folder = tamble::vur::project_folder(project.record);
  heldProject next{project.record, project.paint, project.flow, {}, {}};
  readCamera(next.record.sens_camera_file, folder, next.sensCamera);
  readCamera(next.record.refe_camera_file, folder, next.refeCamera);
  zel::get_log()
      .level(4)
      .write(interactive ? "Project opened: " : "Project read: ")
      .write(next.record.project_file);
  reportUnknownKeys(project, interactive, notice);
  held() = std::move(next);
}

void read_vur_images(zel::imagesList& list, bool replace) {
  if (empty_vur()) return;
  const imageReader reader(held().record);
  std::vector<std::unique_ptr<zel::image>> images;
  for (const imageSlot& slot : imageSlots())
    if (auto img = reader.read(slot)) images.push_back(std::move(img));
  // The ports lie on the wind-off frames, the master image.
  int masterHeight = 0;
  for (const auto& img : images)
    if (img->fieldName() == "wind_off_sens") masterHeight = img->height();
  std::optional<zel::markersArray> ports;
  for (const pathKey& key : tamble::vur::path_keys())
    if (key.use == fileUse::markers && !key.image) ports = reader.markersOf(key, masterHeight);
  if (replace)
    list.markers = ports.value_or(zel::markersArray());
  else if (ports && list.markers.count() == 0)
    list.markers = std::move(*ports);
  for (std::unique_ptr<zel::image>& img : images) {
    if (replace)
      list.replaceImage(img.release());
    else if (!list.find(img->fieldName()))
      list.addImage(img.release());
  }
}

void make_available_vur_project(bool available) { projectAvailable() = available; }
bool vur_project_available() { return projectAvailable(); }
