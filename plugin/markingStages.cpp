#include "plugin/markingStages.h"

#include <filesystem>
#include <string>

#include "api/imagesList.h"
#include "api/markerFiles.h"
#include "api/paths.h"
#include "dialogs/fillUpDialogs.h"
#include "dialogs/markerDialogs.h"
#include "host/interaction.h"
#include "host/project.h"
#include "markers/fillUp.h"
#include "markers/numerate.h"
#include "markers/revise.h"
#include "plugin/availability.h"
#include "plugin/calibrationOutput.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"
#include "plugin/markerCommands.h"
#include "plugin/projectState.h"

namespace tamble {

namespace {

using namespace names;

void keepAsPrimary(const zel::image& img) {
  if (zel::markersArray* primary = primaryMarkersOf(img.fieldName())) *primary = img.markers;
}

// The end of every stage: the sources are shown as converted.
bool finish(zel::imagesList& list, bool result) {
  markSourceFlags(list, true);
  refreshList(list);
  return result;
}

std::string projectFile(const std::string& file) {
  const std::string folder = std::filesystem::path(get_vur().project_file).parent_path().string();
  return zel::resolve_path(file, folder);
}

// The set the sources are numbered after: the project's geometry markers
// when it names them, else the markers found on wind_off_sens.
zel::markersArray markingPattern(const zel::image& master) {
  zel::markersArray pattern;
  const std::string& file = get_vur().geometry_markers_file;
  if (file.empty()) return master.markers;
  zel::load_markers(projectFile(file), pattern, master.height());
  return pattern;
}

std::vector<const char*> markingOrder(const std::string& kind) {
  if (kind == "double") return {wind_off_sens, wind_on_refe, wind_off_refe, wind_on_sens};
  if (kind == "single" || kind == "Tsingle") return {wind_off_sens, wind_on_sens};
  return {};
}

// "Select only fixed markers": the markers the images hold are the ones; a
// double paint marked on all four images also gives the cameras' files.
void keepFixedMarkers(zel::imagesList& list, const CAutomarsc& record) {
  const char* sources[] = {wind_off_sens, wind_on_sens, wind_off_refe, wind_on_refe};
  bool allMarked = paintKind() == "double";
  for (const char* name : sources) {
    const zel::image* img = list.find(name);
    allMarked = allMarked && img && img->markers.count() > 0;
  }
  if (allMarked && for_calibration(list, record.m_errors != 0))
    for_deformation(list, record.m_errors != 0);
  for (const char* name : sources)
    if (const zel::image* img = list.find(name); img && img->markers.count() > 0)
      keepAsPrimary(*img);
}

void searchAll(zel::imagesList& list, const CAutomarsc& record) {
  zel::markersArray pattern;
  for (const char* name : markingOrder(paintKind())) {
    zel::image* img = list.find(name);
    if (!img) continue;
    SearchMarkers(*img, record, img->markers);
    if (name == std::string(wind_off_sens)) pattern = markingPattern(*img);
    // Numbered before they are kept, so that the kept sets carry the
    // pattern's numbers.
    if (record.m_renumeration)
      NumerateMarkers(pattern, img->markers, record.m_box, false, session().polynomial);
    keepAsPrimary(*img);
  }
}

}  // namespace

void StorePrimaryMarkers(zel::imagesList& list) {
  for (const char* name : {wind_off_refe, wind_on_refe, wind_off_sens, wind_on_sens})
    if (const zel::image* img = list.find(name); img && img->markers.count() > 0)
      keepAsPrimary(*img);
}

void UseWindOffSensMarkers(zel::imagesList& list, bool interactive) {
  wait_cursor(true);
  if (interactive) list.snapshot();
  const zel::image* master = list.find(wind_off_sens);
  if (master && master->markers.count() > 0)
    for (const char* name : {wind_on_refe, wind_off_refe, wind_on_sens})
      if (zel::image* img = list.find(name)) img->markers = master->markers;
  MarkersPrecisePositioning(list, false);
  StorePrimaryMarkers(list);
  wait_cursor(false);
}

bool AutomaticMarking(zel::imagesList& list, bool interactive) {
  clearPrimaryMarkers();
  CAutomarsc values;
  boundRecord<CAutomarsc> record(CAutomarsc::descriptor(), values);
  if (!stageParameters(list, record, interactive)) return finish(list, false);
  if (values.m_fixed) {
    keepFixedMarkers(list, values);
    return finish(list, true);
  }
  saveRecord(record);
  rememberSearch(values);
  searchAll(list, values);
  return finish(list, true);
}

bool MarkersPrecisePositioning(zel::imagesList& list, bool interactive) {
  clearPrimaryMarkers();
  CRevMarkers values;
  boundRecord<CRevMarkers> record(CRevMarkers::descriptor(), values);
  if (!stageParameters(list, record, interactive)) return finish(list, false);
  for (const char* name : paintSourceNames(paintKind())) {
    zel::image* img = list.find(name);
    if (!img) continue;
    ReviseMarkers(img->field(), img->bkgr(), img->ROI(), img->markers, values.iposneg,
                  values.m_BiggestRadius, session().polynomial);
    keepAsPrimary(*img);
  }
  return finish(list, true);
}

bool NumerateMarkersStage(zel::imagesList& list, bool interactive) {
  CCSNumerate values;
  boundRecord<CCSNumerate> record(CCSNumerate::descriptor(), values);
  if (!stageParameters(list, record, interactive)) return finish(list, false);
  const zel::image* master = list.find(wind_off_sens);
  if (!master) return finish(list, true);
  keepAsPrimary(*master);
  std::vector<const char*> others = {wind_on_sens, wind_off_refe, wind_on_refe};
  if (paintKind() != "double") others.resize(1);
  for (const char* name : others) {
    zel::image* img = list.find(name);
    if (!img) continue;
    NumerateMarkers(master->markers, img->markers, values.m_box, false, session().polynomial, {},
                    values.m_fix);
    keepAsPrimary(*img);
  }
  return finish(list, true);
}

bool FillUpAllMarkers(zel::imagesList& list, bool interactive) {
  CFillMark values;
  boundRecord<CFillMark> record(CFillMark::descriptor(), values);
  if (!stageParameters(list, record, interactive)) return finish(list, false);
  saveRecord(record);
  for (const char* name : paintSourceNames(paintKind()))
    if (zel::image* img = list.find(name))
      FillUpMarkers(img->field(), img->bkgr(), img->ROI(), img->markers, values.m_diameter);
  return finish(list, true);
}

namespace {

bool StorePrimaryMarkersCommand(zel::imagesList& list) {
  StorePrimaryMarkers(list);
  return true;
}

bool UseWindOffSensMarkersCommand(zel::imagesList& list) {
  UseWindOffSensMarkers(list, true);
  refreshList(list);
  return true;
}

bool AutomaticMarkingCommand(zel::imagesList& list) {
  return runStage(list, AutomaticMarking, afterStage::selectLast);
}

bool PrecisePositioningCommand(zel::imagesList& list) {
  return runStage(list, MarkersPrecisePositioning, afterStage::keepCurrent);
}

bool NumerateMarkersCommand(zel::imagesList& list) {
  return runStage(list, NumerateMarkersStage, afterStage::keepCurrent);
}

bool FillUpAllMarkersCommand(zel::imagesList& list) {
  return runStage(list, FillUpAllMarkers, afterStage::selectLast);
}

constexpr const char* revmark = "BConvert.chm::/html/BConvert_revmark.htm";

const commandRegistration commands[] = {
    commandRegistration({"store-primary-markers",
                         "B Convert",
                         "Store Primary Markers",
                         "Copy All Image Markers to Buffer",
                         revmark,
                         available::source_markers_present,
                         {},
                         StorePrimaryMarkersCommand}),
    commandRegistration({"use-wind-off-sens-markers",
                         "B Convert",
                         "USE \"Wind-Off-Sens\" Markers",
                         "Copy \"Wind-Off-Sens\" Markers to other images and correct positioning",
                         revmark,
                         available::wind_off_markers_present,
                         {},
                         UseWindOffSensMarkersCommand}),
    commandRegistration({"automatic-marking",
                         "B Convert",
                         "Automatic Marking...",
                         "1",
                         "BConvert.chm::/html/BConvert_automark.htm",
                         available::project_images_present,
                         {freshRecord<CAutomarsc>},
                         AutomaticMarkingCommand}),
    commandRegistration({"markers-precise-positioning",
                         "B Convert",
                         "Markers Precise Positioning...",
                         "1",
                         revmark,
                         available::source_markers_present,
                         {freshRecord<CRevMarkers>},
                         PrecisePositioningCommand}),
    commandRegistration({"numerate-markers",
                         "B Convert",
                         "Numerate Markers...",
                         "ReNumerate Markers according to Wind-OFF-Sense Markers Set",
                         revmark,
                         available::source_markers_present,
                         {freshRecord<CCSNumerate>},
                         NumerateMarkersCommand}),
    commandRegistration({"fill-up-all-markers",
                         "B Convert",
                         "Fill Up All Markers...",
                         "1",
                         "BConvert.chm::/html/BConvert_fillupmark.htm",
                         available::source_markers_present,
                         {freshRecord<CFillMark>},
                         FillUpAllMarkersCommand}),
};

}  // namespace

}  // namespace tamble
