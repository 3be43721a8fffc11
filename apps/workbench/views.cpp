#include "apps/workbench/views.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "api/numbers.h"
#include "apps/workbench/requestError.h"

namespace tamble::workbench {
namespace {

std::string queryWord(const std::map<std::string, std::string>& query, const std::string& key) {
  const auto found = query.find(key);
  return found == query.end() ? std::string() : found->second;
}

std::optional<double> numberWord(const std::map<std::string, std::string>& query,
                                 const std::string& key) {
  const std::string text = queryWord(query, key);
  if (text.empty()) return std::nullopt;
  const std::optional<double> value = zel::parseNumber(text);
  if (!value) throw requestError(key + ": '" + text + "' is not a number");
  return value;
}

bool flagWord(const std::map<std::string, std::string>& query, const std::string& key,
              bool otherwise) {
  const std::string text = queryWord(query, key);
  if (text.empty()) return otherwise;
  if (text != "0" && text != "1") throw requestError(key + ": give 0 or 1, not '" + text + "'");
  return text == "1";
}

void appendMask(std::string& out, const zel::image& img, const zel::arrayStore<bool, 2>* layer,
                char missing) {
  for (int y = 0; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x) out.push_back(layer ? static_cast<char>((*layer)(x, y)) : missing);
}

}  // namespace

json imagesJson(const zel::imagesList& list) {
  json images = json::array();
  for (int i = 0; i < list.size(); ++i) {
    const zel::image& img = *list[i];
    images.push_back({{"index", i},
                      {"name", img.hasField() ? img.fieldName() : std::string()},
                      {"width", img.width()},
                      {"height", img.height()},
                      {"file", img.fileInfo.name},
                      {"markers", img.markers.count()},
                      {"converted", img.converted},
                      {"hasBkgr", img.hasBkgr()},
                      {"hasROI", img.hasROI()}});
  }
  return {{"images", images}, {"current", list.currentIndex}, {"undo", !list.actions().empty()}};
}

json menuJson(const std::vector<menuEntry>& menu, const zel::imagesList& list) {
  json groups = json::array();
  for (const menuEntry& e : menu) {
    const std::string group = e.command ? e.command->group : e.group;
    if (groups.empty() || groups.back()["name"] != group)
      groups.push_back({{"name", group}, {"rows", json::array()}});
    json& rows = groups.back()["rows"];
    if (!e.command) {
      rows.push_back({{"separator", true}});
      continue;
    }
    const commandDescriptor& d = *e.command;
    rows.push_back({{"name", d.name},
                    {"label", d.label},
                    {"tooltip", d.tooltip},
                    {"help", d.helpTopic},
                    {"test", d.enabled.name ? d.enabled.name : ""},
                    {"available", !d.enabled.test || d.enabled.test(list)}});
  }
  return groups;
}

json markersJson(const zel::markersArray& markers) {
  json out = json::array();
  for (int i = 0; i < markers.count(); ++i)
    out.push_back({{"id", markers[i].id}, {"x", markers[i].x}, {"y", markers[i].y},
                   {"active", markers[i].active}});
  return out;
}

std::string pixelBytes(const zel::image& img) {
  static_assert(std::endian::native == std::endian::little, "the page reads little-endian floats");
  std::string out;
  const std::size_t pixels = static_cast<std::size_t>(img.width()) * img.height();
  out.reserve(pixels * 6);
  if (!img.hasField()) throw requestError("the image has no field layer");
  for (int y = 0; y < img.height(); ++y)
    out.append(reinterpret_cast<const char*>(img.field().row(y)), sizeof(float) * img.width());
  appendMask(out, img, img.hasBkgr() ? &img.bkgr() : nullptr, 0);
  appendMask(out, img, img.hasROI() ? &img.ROI() : nullptr, 1);
  return out;
}

renderOptions renderOptionsOf(const std::map<std::string, std::string>& query) {
  renderOptions options;
  const std::string map = queryWord(query, "colormap");
  if (!map.empty()) {
    const std::vector<std::string>& names = colormapNames();
    if (std::find(names.begin(), names.end(), map) == names.end())
      throw requestError("unknown colour map '" + map + "'");
    options.colormap = map;
  }
  options.low = numberWord(query, "low");
  options.high = numberWord(query, "high");
  options.colorbar = flagWord(query, "bar", true);
  options.markers = flagWord(query, "markers", true);
  return options;
}

}  // namespace tamble::workbench
