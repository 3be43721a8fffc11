#include "plugin/saveResults.h"

#include <algorithm>
#include <filesystem>
#include <string>

#include "api/errors.h"
#include "api/imagesList.h"
#include "api/markerFiles.h"
#include "api/paths.h"
#include "host/interaction.h"
#include "host/platform.h"
#include "host/project.h"
#include "plugin/availability.h"
#include "plugin/resectCommands.h"
#include "plugin/catalogue.h"
#include "plugin/projectParameters.h"
#include "plugin/projectState.h"

namespace tamble {

const char* const overwriteMarkersQuestion = "Overwrite markers?";

namespace {

using pathField = std::string zel::vurStr::*;
using card = int conversionState::*;

// A result image: its file suffix and the project's fields for its files.
struct resultKind {
  const char* image;
  const char* suffix;
  pathField markers, file, roi;
  card shown;
};

// In the order of the markers step.
constexpr resultKind results[] = {
    {names::Pressure, "_Pressure", &zel::vurStr::Pressure_markers_file, &zel::vurStr::Pressure_file,
     &zel::vurStr::Pressure_ROI_file, &conversionState::card_p},
    {names::P_Pstat, "_P_Pstat", &zel::vurStr::P_Pstat_markers_file, &zel::vurStr::P_Pstat_file,
     &zel::vurStr::P_Pstat_ROI_file, &conversionState::card_pp},
    {names::Cp, "_Cp", &zel::vurStr::Cp_markers_file, &zel::vurStr::Cp_file,
     &zel::vurStr::Cp_ROI_file, &conversionState::card_cp},
    {names::T, "_T", &zel::vurStr::T_markers_file, &zel::vurStr::T_file, &zel::vurStr::T_ROI_file,
     &conversionState::card_t},
    {names::Irefe_Isens, "_Irefe_Isens", &zel::vurStr::Irefe_Isens_markers_file,
     &zel::vurStr::Irefe_Isens_file, &zel::vurStr::Irefe_Isens_ROI_file, &conversionState::card_ii},
};
const resultKind& pressure = results[0];
const resultKind& pressureRatio = results[1];
const resultKind& cp = results[2];
const resultKind& temperature = results[3];
const resultKind& ratio = results[4];

// A camera image of the project: its own file and the fields of its markers
// and region; `primary` indexes conversionState::primaryMarkers (-1: none).
struct sourceKind {
  const char* image;
  pathField file, markers, roi;
  int primary;
};

// In the order of the markers step.
constexpr sourceKind markedSources[] = {
    {names::wind_off_refe, &zel::vurStr::wind_off_refe_file,
     &zel::vurStr::wind_off_refe_markers_file, &zel::vurStr::wind_off_refe_ROI_file, 3},
    {names::wind_on_refe, &zel::vurStr::wind_on_refe_file, &zel::vurStr::wind_on_refe_markers_file,
     &zel::vurStr::wind_on_refe_ROI_file, 2},
    {names::wind_off_sens, &zel::vurStr::wind_off_sens_file,
     &zel::vurStr::wind_off_sens_markers_file, &zel::vurStr::wind_off_sens_ROI_file, 1},
    {names::wind_on_sens, &zel::vurStr::wind_on_sens_file, &zel::vurStr::wind_on_sens_markers_file,
     &zel::vurStr::wind_on_sens_ROI_file, 0},
};
constexpr sourceKind temperatureSources[] = {
    {names::wind_off_T, &zel::vurStr::wind_off_T_file, nullptr, &zel::vurStr::wind_off_T_ROI_file,
     -1},
    {names::wind_on_T, &zel::vurStr::wind_on_T_file, nullptr, &zel::vurStr::wind_on_T_ROI_file, -1},
};

// A folder and a file name without extension; outputs add a suffix.
struct stemPath {
  std::string folder, stem;
  std::string with(const std::string& suffix) const {
    return (std::filesystem::path(folder) / (stem + suffix)).string();
  }
};

stemPath stemOf(const std::string& file) {
  return {std::filesystem::path(file).parent_path().string(), zel::base_name(file)};
}

// The names of all outputs come from the wind-on sensor image's file. A list
// project may name it only in its list: then the image's own file counts.
stemPath outputStem(const zel::imagesList& list, const zel::vurStr& project) {
  std::string file = project.wind_on_sens_file;
  if (file.empty())
    if (const zel::image* img = list.find(names::wind_on_sens)) file = img->fileInfo.name;
  if (file.empty())
    zel::raise<zel::FileError>(
        "Save Results: the project names no wind-on sensor image to name the results after");
  return stemOf(file);
}

// A source image's own folder and name: its project field, else its file.
stemPath sourceStem(const zel::image& img, const std::string& projectFile,
                    const stemPath& outputs) {
  const std::string& file = projectFile.empty() ? img.fileInfo.name : projectFile;
  if (file.empty()) return {outputs.folder, img.fieldName()};
  return stemOf(file);
}

// The paths of the record in absolute form for the routine's span; the
// relative form comes back however the routine ends.
class absolutePaths {
 public:
  explicit absolutePaths(zel::vurStr& record) : record_(record), flipped_(!record.absolutePaths) {
    if (flipped_) alt_path(record_);
  }
  ~absolutePaths() {
    if (flipped_ && record_.absolutePaths) alt_path(record_);
  }
  absolutePaths(const absolutePaths&) = delete;
  absolutePaths& operator=(const absolutePaths&) = delete;

 private:
  zel::vurStr& record_;
  bool flipped_;
};

struct waitCursor {
  waitCursor() { wait_cursor(true); }
  ~waitCursor() { wait_cursor(false); }
  waitCursor(const waitCursor&) = delete;
  waitCursor& operator=(const waitCursor&) = delete;
};

// The marker writer says only "File error!": the user is told which file.
void writeMarkers(const std::string& file, const zel::markersArray& markers) {
  try {
    zel::save_markers(file, markers);
  } catch (const zel::FileError&) {
    zel::raise<zel::FileError>(file + ": the marker file cannot be written");
  }
}

bool sourceMarkerFileNamed(const zel::vurStr& project) {
  return std::any_of(std::begin(markedSources), std::end(markedSources),
                     [&](const sourceKind& s) { return !(project.*s.markers).empty(); });
}

// The markers as found or stored by the user, not the images' present ones.
void writeSourceMarkers(const zel::imagesList& list, zel::vurStr& project,
                        const stemPath& outputs) {
  for (const sourceKind& s : markedSources) {
    const zel::image* img = list.find(s.image);
    const zel::markersArray& primary = state().primaryMarkers[static_cast<std::size_t>(s.primary)];
    if (!img || img->markers.count() == 0 || primary.count() == 0) continue;
    std::string& file = project.*s.markers;
    if (file.empty())
      file = stemPath{outputs.folder, sourceStem(*img, project.*s.file, outputs).stem}.with(".mrk");
    writeMarkers(file, primary);
  }
}

void writeResultMarkers(const zel::imagesList& list, zel::vurStr& project,
                        const stemPath& outputs) {
  for (const resultKind& r : results) {
    const zel::image* img = list.find(r.image);
    if (!img || img->markers.count() == 0) continue;
    std::string& file = project.*r.markers;
    if (file.empty()) file = outputs.with(std::string(r.suffix) + ".mrk");
    writeMarkers(file, img->markers);
  }
}

// With no result chosen, the paint's main result is saved.
void applyCardDefaults(conversionState& s) {
  if (s.paintKind == "Tsingle") {
    if (s.card_t == 0 && s.card_ii == 0) s.card_t = 1;
  } else if (s.card_cp == 0 && s.card_pp == 0 && s.card_p == 0 && s.card_ii == 0) {
    s.card_cp = 1;
  }
}

void writeResultImages(zel::imagesList& list, zel::vurStr& project, const stemPath& outputs) {
  for (const resultKind* r : {&ratio, &pressure, &pressureRatio, &cp, &temperature}) {
    zel::image* img = list.find(r->image);
    if (state().*r->shown == 0 || !img) continue;
    const std::string file = outputs.with(std::string(r->suffix) + ".imp");
    write_image(file, *img);
    img->fileInfo.name = file;
    project.*r->file = file;
  }
}

bool selects(const zel::image& img) {
  if (!img.hasROI()) return false;
  const zel::arrayStore<bool, 2>& roi = img.ROI();
  return std::find(roi.data, roi.data + roi.count, false) != roi.data + roi.count;
}

// An image that selects part of itself keeps its region in a file; the
// project forgets the region of any other.
void writeRegion(const zel::image* img, std::string& field, const std::string& fresh) {
  if (!img || !selects(*img)) {
    field.clear();
    return;
  }
  if (field.empty()) field = fresh;
  write_array(field, img->ROI());
}

void writeSourceRegion(const zel::imagesList& list, zel::vurStr& project, const sourceKind& s,
                       const stemPath& outputs) {
  const zel::image* img = list.find(s.image);
  const std::string fresh = img ? sourceStem(*img, project.*s.file, outputs).with("_ROI.imp") : "";
  writeRegion(img, project.*s.roi, fresh);
}

void writeRegions(const zel::imagesList& list, zel::vurStr& project, const stemPath& outputs) {
  const sourceKind& offRefe = markedSources[0];
  const sourceKind& onRefe = markedSources[1];
  const sourceKind& offSens = markedSources[2];
  const sourceKind& onSens = markedSources[3];
  for (const sourceKind* s :
       {&offRefe, &offSens, &onRefe, &onSens, &temperatureSources[0], &temperatureSources[1]})
    writeSourceRegion(list, project, *s, outputs);
  for (const resultKind* r : {&pressure, &pressureRatio, &cp, &ratio, &temperature})
    writeRegion(list.find(r->image), project.*r->roi,
                outputs.with(std::string(r->suffix) + "_ROI.imp"));
}

void saveResults(zel::imagesList& list, bool menu) {
  const waitCursor cursor;
  if (empty_vur())
    zel::raise<zel::FileError>("Save Results: no project is open to save the results of");
  zel::vurStr& project = get_vur();
  const absolutePaths absolute(project);
  const stemPath outputs = outputStem(list, project);
  const bool markers =
      !menu || !sourceMarkerFileNamed(project) || message(overwriteMarkersQuestion, true);
  if (markers) {
    if (menu) writeSourceMarkers(list, project, outputs);
    writeResultMarkers(list, project, outputs);
  }
  applyCardDefaults(state());
  writeResultImages(list, project, outputs);
  writeRegions(list, project, outputs);
  writeProjectResection(project);
  // The project keeps the parameters of the conversion that made its results.
  parametersToProject();
  write_vur_strings(project.project_file, project);
}

}  // namespace

void SaveResultsMenu(zel::imagesList& list) { saveResults(list, true); }

void SaveResultsList(zel::imagesList& list) { saveResults(list, false); }

// A failed write passes out to the host, which shows it (tamble fails the
// step): the files before it stay, the rest and the project are not written.
bool SaveResultsCommand(zel::imagesList& list) {
  SaveResultsMenu(list);
  return true;
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"save-results",
                         "B Convert",
                         "Save Results",
                         "1",
                         "BConvert.chm::/html/BConvert_save.htm",
                         available::project_images_present,
                         {},
                         SaveResultsCommand,
                         {{userChoice::kind::question, overwriteMarkersQuestion}}}),
};
}  // namespace

}  // namespace tamble
