#include "plugin/availability.h"

#include <algorithm>
#include <initializer_list>

#include "api/imagesList.h"
#include "host/fieldData.h"
#include "host/interaction.h"
#include "host/project.h"
#include "plugin/memoryCell.h"
#include "plugin/projectState.h"

namespace tamble {
namespace {

bool anyOf(const zel::arrayStore<bool, 2>& mask, bool value) {
  return std::find(mask.data, mask.data + mask.count, value) != mask.data + mask.count;
}

bool allPresent(const zel::imagesList& list, std::initializer_list<const char*> names) {
  return std::all_of(names.begin(), names.end(),
                     [&list](const char* n) { return list.indexOf(n) >= 0; });
}

bool anyPresent(const zel::imagesList& list, std::initializer_list<const char*> names) {
  return std::any_of(names.begin(), names.end(),
                     [&list](const char* n) { return list.indexOf(n) >= 0; });
}

bool singleKind() { return paintKind() == "single" || paintKind() == "Tsingle"; }

}  // namespace

bool undo_available(const zel::imagesList& list) { return list.undoAvailable(); }

bool markers_present(const zel::imagesList& list) {
  const zel::image* img = list.current();
  return img && img->markers.count() > 0;
}

// A ROI that is true everywhere selects nothing.
bool roi_is_set(const zel::imagesList& list) {
  const zel::image* img = list.current();
  return img && anyOf(img->ROI(), false);
}

bool bkgr_is_set(const zel::imagesList& list) {
  const zel::image* img = list.current();
  return img && anyOf(img->bkgr(), true);
}

bool roi_buffer_is_set(const zel::imagesList&) { return anyOf(roiBuffer(), false); }

bool markers_buffer_filled(const zel::imagesList&) { return markersBuffer().count() > 0; }

bool project_is_empty(const zel::imagesList&) { return empty_vur(); }

bool list_markers_present(const zel::imagesList& list) { return list.markers.count() > 0; }

bool wind_off_markers_present(const zel::imagesList& list) {
  const zel::image* img = list.find("wind_off_sens");
  return img && img->markers.count() > 0;
}

bool flat_images_present(const zel::imagesList& list) {
  return allPresent(list, {"flat_refe", "flat_sens"});
}

bool dark_images_present(const zel::imagesList& list) {
  if (paintKind() == "double")
    return allPresent(list, {"wind_on_dark_refe", "wind_off_dark_refe", "wind_on_dark_sens",
                             "wind_off_dark_sens"});
  return singleKind() && allPresent(list, {"wind_on_dark_sens", "wind_off_dark_sens"});
}

bool project_images_present(const zel::imagesList& list) {
  if (paintKind() == "double")
    return allPresent(list, {"wind_off_refe", "wind_on_refe", "wind_off_sens", "wind_on_sens"});
  return singleKind() && allPresent(list, {"wind_off_sens", "wind_on_sens"});
}

bool single_paint_images_present(const zel::imagesList& list) {
  return singleKind() && allPresent(list, {"wind_off_sens", "wind_on_sens"});
}

bool source_markers_present(const zel::imagesList& list) {
  const bool sources =
      paintKind() == "double"
          ? allPresent(list, {"wind_off_refe", "wind_on_refe", "wind_off_sens", "wind_on_sens"})
          : allPresent(list, {"wind_off_sens", "wind_on_sens"});
  return sources && wind_off_markers_present(list);
}

bool output_fields_present(const zel::imagesList& list) {
  const std::string& kind = paintKind();
  if (kind == "double" || kind == "single")
    return anyPresent(list, {"Irefe_Isens", "Pressure", "P_Pstat", "Cp"});
  if (kind == "Tsingle") return anyPresent(list, {"Irefe_Isens", "T"});
  return false;
}

bool output_fields_and_mesh_present(const zel::imagesList& list) {
  return output_fields_present(list) && get_field_data().complete();
}

}  // namespace tamble
