#include "plugin/resectCommands.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "api/errors.h"
#include "api/image.h"
#include "api/imagesList.h"
#include "api/log.h"
#include "dialogs/resectDialog.h"
#include "host/interaction.h"
#include "host/meshOutput.h"
#include "host/project.h"
#include "host/projectFile.h"
#include "host/resectData.h"
#include "host/resectionService.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"
#include "plugin/projectState.h"
#include "resect/resection.h"

namespace tamble {

namespace {

using namespace names;

constexpr const char* incomplete = "Resection Data is NOT full!";
constexpr const char* unreadable = "Error reading resect Data!";
constexpr const char* nameTaken =
    "The function name alredy exist. Would you like to add symbols _rs to name?";

[[noreturn]] void guardFailed(const char* text) {
  throw zel::AlgoError("resect_image", 0, text, zel::AlgoError::standardCode);
}

std::string lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return s;
}

// Units differ only when both are named.
bool unitsDiffer(const std::string& a, const std::string& b) {
  return !a.empty() && !b.empty() && lower(a) != lower(b);
}

// Asks to bring `markers` into the mesh's unit and converts them on Yes.
bool adjustMarkers(zel::markersArray& markers, const std::string& meshUnit, const char* head) {
  if (!unitsDiffer(markers.lengthUnit, meshUnit)) return true;
  if (!message(std::string(head) + "Would you like to adjust marker's length unit?", true))
    return false;
  for (marker& m : markers.items) {
    m.x = zel::convert_length(m.x, markers.lengthUnit, meshUnit);
    m.y = zel::convert_length(m.y, markers.lengthUnit, meshUnit);
    m.z = zel::convert_length(m.z, markers.lengthUnit, meshUnit);
  }
  zel::get_log().write("Resection: changing markers unit from [" + markers.lengthUnit + "] to [" +
                       meshUnit + "]");
  markers.lengthUnit = meshUnit;
  return true;
}

// The camera's lengths in the mesh's unit: the focal length and the pixel
// pitch scale with the unit, the radial terms (of lengths squared and to the
// fourth) inversely. The project's camera itself is not changed.
bool adjustCamera(zel::cameraFeatures& camera, const std::string& meshUnit) {
  if (!unitsDiffer(camera.default_length_unit, meshUnit)) return true;
  if (!message("Mesh and camera have different length unit.\n\n"
               "Would you like to adjust camera's length unit?",
               true))
    return false;
  const double s = zel::convert_length(1.0, camera.default_length_unit, meshUnit);
  camera.focus *= s;
  camera.dx *= s;
  camera.dy *= s;
  camera.a2 /= s * s;
  camera.a4 /= s * s * s * s;
  zel::get_log().write("Resection: changing camera unit from [" + camera.default_length_unit +
                       "] to [" + meshUnit + "]");
  camera.default_length_unit = meshUnit;
  return true;
}

// The name the new function takes: on a clash the user may add "_rs";
// otherwise the function of that name is replaced.
std::string functionNameFor(const zel::field_data<double>& data, std::string name) {
  if (data.findFunction(name) >= 0 && message(nameTaken, true)) name += "_rs";
  return name;
}

struct lastRun {
  std::string function;
  samplingCounts counts;
};

lastRun& last() {
  static lastRun run;
  return run;
}

}  // namespace

resectRun resectRunOf(const CdlgResect& record, const zel::cameraFeatures& camera) {
  resectRun run;
  run.resectType = record.m_type;
  run.link.mode = 1;
  run.link.window = 2 * record.m_win + 1;
  run.link.polyOrder = resectPolyOrder(record.m_pow);
  run.link.fixed = record.m_fix;
  if (record.m_mall) {
    run.link.polyOrder = -1;
    run.link.fixed = 4;
  }
  run.optimize = record.m_opt != 0;
  run.camera = camera;
  return run;
}

std::string resectFunctionName(const std::string& fieldName, const std::string& projectFile) {
  return fieldName + " - (" + std::filesystem::path(projectFile).stem().string() + ")";
}

bool ResectImage(zel::field_data<double>& data, const resectRun& run, bool showInfo) {
  if (!data.current) guardFailed("ResectImage: bitmap  is undefined");
  if (data.meshMarkers.count() == 0) guardFailed("ResectImage: mesh markers are undefined");
  if (data.imageMarkers.count() == 0) guardFailed("ResectImage: image markers are undefined");
  if (data.meshEmpty()) guardFailed("ResectImage: mesh is empty");
  if (!adjustMarkers(data.meshMarkers, data.lengthUnit,
                     "Mesh and markers have different length unit.\n\n") ||
      !adjustMarkers(data.imageMarkers, data.lengthUnit,
                     "Mesh and base markers have different length unit.\n\n"))
    return false;
  zel::cameraFeatures camera = run.camera;
  if (!adjustCamera(camera, data.lengthUnit)) return false;

  zel::image work(*data.current);
  const std::string name =
      resectFunctionName(data.current->fieldName(), get_vur().project_file);
  zel::markersArray pairs;
  linkStatistics statistics;
  if (!align_markers(work, data.imageMarkers, run.link, showInfo, pairs, statistics,
                     [](const std::string& q) { return message(q, true); })) {
    if (statistics.pairs == 0)  // not the user's No: the matching failed
      message("Resection: " + name + "\n\nThe image's markers cannot be matched to the standard "
              "markers",
              false);
    return false;
  }
  resectCoefficients coefficients;
  resectErrors errors;
  lensTerms lens;
  if (!calcResectCoefficients(pairs, data.meshMarkers, camera, run.resectType, run.optimize,
                              coefficients, errors, lens, showInfo, name))
    return false;
  const std::optional<resectCamera> scale = resectCameraOf(camera);
  if (!scale) return false;  // calcResectCoefficients has refused such a camera already
  const cameraProjection projection{coefficients, *scale, lens};
  std::vector<std::vector<double>> values;
  const samplingCounts counts = sampleMesh(data, projection, work, values);
  const std::string function = functionNameFor(data, name);
  data.addFunction(function).values = std::move(values);
  last() = {function, counts};
  zel::get_log().write("Resection: " + function + ": " + std::to_string(counts.seen) + " of " +
                       std::to_string(counts.nodes) + " nodes seen");
  return true;
}

bool ResectCommand(zel::image& img, bool& interactive) {
  CdlgResect values;
  boundRecord<CdlgResect> record(CdlgResect::descriptor(), values);
  if (interactive) {
    interactive = false;
    if (!showDialog(record)) return false;
  } else {
    loadRecord(record);
  }
  const resectRun run = resectRunOf(values, get_refe_cam());
  zel::field_data<double>& data = get_field_data();
  data.current = &img;
  if (!data.complete()) {
    message(incomplete, false);
    return false;
  }
  return ResectImage(data, run, values.m_err != 0);
}

namespace {

bool resectEach(zel::imagesList& list, bool interactive, const std::vector<const char*>& names) {
  bool ok = true;
  for (const char* name : names)
    if (zel::image* img = list.find(name)) {
      if (!ResectCommand(*img, interactive)) {
        ok = false;
        break;
      }
    }
  get_field_data().current = nullptr;
  return ok;
}

}  // namespace

bool ResectImagesHandler(zel::imagesList& list, bool interactive) {
  return resectEach(list, interactive, {wind_off_sens, wind_on_sens, wind_off_refe, wind_on_refe});
}

bool ResectOutputHandler(zel::imagesList& list, bool interactive) {
  return resectEach(list, interactive, {Irefe_Isens, Pressure, P_Pstat, Cp, T});
}

bool readProjectResection() {
  try {
    readResectionForProject(get_vur());
    return true;
  } catch (...) {  // a damaged file of any kind: the data set stays empty
    get_field_data().clear();
    message(unreadable, false);
    return false;
  }
}

void writeProjectResection(zel::vurStr& project) {
  const zel::field_data<double>& data = get_field_data();
  if (!data.complete()) return;
  if (project.resect_data_file.empty())
    project.resect_data_file =
        std::filesystem::path(project.project_file).stem().string() + ".dat";
  const std::filesystem::path file =
      vur::absolute_in(project.resect_data_file, vur::project_folder(project));
  write_field(file.string(), data);
  if (!data.functions.empty())
    writeMeshVtk(data, (file.parent_path() / file.stem()).string());
}

const samplingCounts& lastResection() { return last().counts; }

namespace {

bool ResectImagesCommand(zel::imagesList& list) {
  return runStage(list, ResectImagesHandler, afterStage::keepCurrent);
}
bool ResectOutputCommand(zel::imagesList& list) {
  return runStage(list, ResectOutputHandler, afterStage::keepCurrent);
}

constexpr const char* help = "BConvert.chm::/html/BConvert_resect.htm";

// One image for hosts besides the menu: the dialog once, then the image.
imageResection resectOne(zel::image& img) {
  imageResection out;
  last() = {};
  bool interactive = true;
  out.done = ResectCommand(img, interactive);
  get_field_data().current = nullptr;
  if (!out.done) return out;
  const samplingCounts& c = last().counts;
  out.function = last().function;
  out.nodes = c.nodes;
  out.seen = c.seen;
  out.outside = c.outside;
  out.hidden = c.hidden;
  out.facingAway = c.facingAway;
  out.unusable = c.unusable;
  return out;
}

const bool registered = (registerResection(resectOne), true);

const commandRegistration commands[] = {
    commandRegistration({"resect-images", "B Convert", "Resect Images...", "1", help,
                         available::project_images_present, {freshRecord<CdlgResect>},
                         ResectImagesCommand}),
    commandRegistration({"resect-output-fields", "B Convert", "Resect Output Fields...", "1", help,
                         available::output_fields_and_mesh_present, {freshRecord<CdlgResect>},
                         ResectOutputCommand}),
};

}  // namespace

}  // namespace tamble
