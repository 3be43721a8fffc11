#include "apps/synth/projectWriter.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>

#include "api/camera.h"
#include "api/errors.h"
#include "api/markerFiles.h"
#include "apps/synth/modelMesh.h"
#include "apps/synth/scene.h"
#include "host/atomicFile.h"
#include "host/platform.h"
#include "host/project.h"
#include "host/resectData.h"

namespace tamble::synth {
namespace {

namespace fs = std::filesystem;

std::string number(double v) {
  char text[64];
  const auto [end, ec] = std::to_chars(text, text + sizeof text, v);
  return ec == std::errc() ? std::string(text, end) : std::string("nan");
}

std::string pair(vec2 v) { return number(v.x) + " " + number(v.y); }
std::string triple(vec3 v) { return number(v.x) + " " + number(v.y) + " " + number(v.z); }

struct markerFile {
  const char* name;
  zel::markersArray markers;
};

constexpr const char* portsFile = "ports.mrk";

// The taps as the project's pressure ports: the tap's pressure is also the
// third value (z), where the in-situ correction reads it.
zel::markersArray portMarkers(const std::vector<pressureTap>& taps) {
  zel::markersArray ports = tapMarkers(taps);
  ports.hasZ = true;
  for (marker& m : ports.items) m.z = m.f;
  return ports;
}

// The reference plates' pixels as the ROI of the project's reference
// regions, under the name "Set/Confirm References" gives them.
constexpr const char* referenceFile = "run_reference.imp";
// The regions of interest around the model, wind-off and wind-on.
constexpr const char* modelRegionFiles[2] = {"model_wind_off_ROI.imp", "model_wind_on_ROI.imp"};

// The model's grid, the true fields on it and the markers' two positions,
// as the resection data file names them (docs/resection-data.md); a run
// without markers or without a grid has none.
constexpr const char* resectFile = "run_resect.dat";
bool withResectionData(const syntheticRun& run) {
  return run.options.meshNodes() > 0 && !run.markers.empty();
}
std::vector<std::string> resectionFiles() {
  return {"run_resect.x", "run_resect_mesh_markers.mrk", "run_resect_image_markers.mrk",
          "run_resect.f", "run_resect.nam", resectFile};
}

std::vector<markerFile> markerFiles(const syntheticRun& run) {
  std::vector<markerFile> files;
  if (!run.markers.empty()) {
    files.push_back({"markers_model.mrk", modelPositions(run.markers)});
    files.push_back({"markers_wind_off.mrk", frameCentres(run.markers, false)});
    files.push_back({"markers_wind_on.mrk", frameCentres(run.markers, true)});
  }
  if (!run.taps.empty()) files.push_back({portsFile, portMarkers(run.taps)});
  return files;
}

zel::cameraFeatures cameraFile(const syntheticRun& run, bool reference) {
  zel::cameraFeatures c;
  c.camera_ID = "SYN-1";
  c.camera_name = "Tamble synthetic camera";
  c.default_length_unit = "mm";
  c.focus = run.camera.focus;
  c.dx = c.dy = run.camera.pitch;
  c.ncx = c.nfx = run.options.width;
  c.ncy = c.nfy = run.options.height;
  c.cx = run.lens.centre.x;
  c.cy = run.lens.centre.y;
  c.a2 = run.lens.a2;
  c.a4 = run.lens.a4;
  c.flat_file = reference ? "flat_refe.tif" : "flat_sens.tif";
  return c;
}

// The conversion that `tamble convert` runs on the run: dark and flat
// frames, the markers found by the ring search and filled up, the tunnel
// made background, the lens undone, the wind-on images aligned onto the
// wind-off sensor image by a cubic polynomial, the fields calculated and
// shifted onto the pressure taps. docs/synthetic-run.md tells why these.
void scenario(const syntheticRun& run, zel::vurStr& r) {
  auto set = [&r](const char* section, const char* key, const std::string& value) {
    r.setParameter(section, key, value);
  };
  const bool frames = run.find("wind_off_dark_sens") != nullptr;
  const std::string sign = run.options.sign == markerSign::dark ? "-1" : "1";
  const std::string D = number(run.options.diameter);
  set("ConvertBin_01", "m_CB01_Dark", frames ? "1" : "0");
  set("ConvertBin_01", "m_CB01_Flat", run.find("flat_sens") ? "1" : "0");
  set("ConvertBin_01", "m_CB01_Automarq", run.markers.empty() ? "0" : "1");
  set("ConvertBin_01", "m_CB01_Revise", "0");
  set("ConvertBin_01", "m_CB01_FillUpMark", run.markers.empty() ? "0" : "1");
  set("ConvertBin_01", "m_CB01_Filter", "0");
  set("ConvertBin_01", "m_CB01_BackGround", "1");
  set("ConvertBin_01", "m_CB01_Distortion", "1");
  set("ConvertBin_01", "m_CB01_Alignment", run.markers.empty() ? "0" : "1");
  set("ConvertBin_01", "m_CB01_Resim", "0");
  set("ConvertBin_01", "m_CB01_Convert", "1");
  set("ConvertBin_01", "m_CB01_FGThin", "0");
  set("ConvertBin_01", "m_CB01_FinalFilter", "0");
  set("ConvertBin_01", "m_CB01_Corr", "0");
  set("ConvertBin_01", "m_CB01_Resection", "0");
  set("ConvertBin_01", "m_CB01_ModMark", "0");
  set("Automarsc", "m_fixed", "0");
  set("Automarsc", "m_bmr", D);
  set("Automarsc", "pos_neg", sign);
  set("Automarsc", "rel", "1");
  set("Automarsc", "m_relative", "0.2");
  // Numbered after wind_off_sens: a dark spot that only a wind-on image
  // shows (a stagnation point) has no partner there and is dropped.
  set("Automarsc", "m_renumeration", "1");
  set("Automarsc", "m_box", "9");
  set("RevMarkers", "m_BiggestRadius", D);
  set("RevMarkers", "iposneg", sign);
  set("FillMark", "m_diameter", std::to_string(2 * static_cast<int>(run.options.diameter) + 1));
  set("BG_Dlg", "m_check_select", "1");
  set("BG_Dlg", "m_1_average", "0.5");
  set("BG_Dlg", "m_check_compensate", "0");
  set("Alignment", "m_micro", "0");
  set("Alignment", "m_no_trans", "1");
  set("Alignment", "pnumber", "10");
  set("Alignment", "rtype", "1");
  set("Alignment", "m_nsquare", "9");
  set("Alignment", "m_fixed", "0");
  set("Alignment", "nfixnumber", "0");
  set("Alignment", "m_macro", "0");
  set("Alignment", "m_immediate", "0");
  set("Alignment", "m_info", "0");
  set("Alignment", "m_QPED", "0");
  set("PPStart", "m_order", "0");
  set("PPStart", "m_correct", "1");
}

zel::vurStr projectRecord(const syntheticRun& run) {
  zel::vurStr r;
  const std::pair<const char*, std::string zel::vurStr::*> images[] = {
      {"wind_off_sens", &zel::vurStr::wind_off_sens_file},
      {"wind_on_sens", &zel::vurStr::wind_on_sens_file},
      {"wind_off_refe", &zel::vurStr::wind_off_refe_file},
      {"wind_on_refe", &zel::vurStr::wind_on_refe_file},
      {"wind_off_dark_sens", &zel::vurStr::wind_off_dark_sens_file},
      {"wind_on_dark_sens", &zel::vurStr::wind_on_dark_sens_file},
      {"wind_off_dark_refe", &zel::vurStr::wind_off_dark_refe_file},
      {"wind_on_dark_refe", &zel::vurStr::wind_on_dark_refe_file},
      {"flat_sens", &zel::vurStr::flat_sens_file},
      {"flat_refe", &zel::vurStr::flat_refe_file},
  };
  for (const auto& [name, field] : images)
    if (run.find(name)) r.*field = std::string(name) + ".tif";
  r.sens_camera_file = "sens.cam";
  r.refe_camera_file = "refe.cam";
  if (!run.plates.empty()) r.reference_file = referenceFile;
  // A single paint's ROI on wind_off_sens marks its reference regions: the
  // regions of interest are named for a double paint only.
  if (run.find("wind_off_refe")) {
    r.wind_off_sens_ROI_file = r.wind_off_refe_ROI_file = modelRegionFiles[0];
    r.wind_on_sens_ROI_file = r.wind_on_refe_ROI_file = modelRegionFiles[1];
  }
  if (!run.taps.empty()) r.ports_markers_file = portsFile;
  if (withResectionData(run)) r.resect_data_file = resectFile;
  scenario(run, r);
  // The result cards the paint can give.
  const bool temperature = run.options.paint == paintKind::temperaturePaint;
  r.setParameter("CreateCards", "m_ii", "1");
  r.setParameter("CreateCards", "m_p", temperature ? "0" : "1");
  r.setParameter("CreateCards", "m_pp", temperature ? "0" : "1");
  r.setParameter("CreateCards", "m_cp", temperature ? "0" : "1");
  r.setParameter("CreateCards", "m_t", temperature ? "1" : "0");
  return r;
}

void writeProject(const syntheticRun& run, const std::string& folder) {
  const paintPhysics& p = run.paint;
  zel::paintFeatures paint;
  std::copy(std::begin(p.law.c), std::end(p.law.c), paint.c);
  paint.paintUnit = p.unit;
  zel::flowFeatures flow;
  flow.P_wind_off = p.flow.P_wind_off;
  flow.P_static = p.flow.P_static;
  flow.P_dynamic = p.flow.P_dynamic;
  flow.T_wind_off = p.flow.T_wind_off;
  flow.T_wind_on = p.flow.T_wind_on;
  flow.flowPressureUnit = "pa";
  flow.flowTemperatureUnit = "c";
  // A fresh file renamed over any earlier one: the project holds exactly
  // this run, whatever the folder held before.
  const std::string target = (fs::path(folder) / projectFileName).string();
  const std::string fresh = (fs::path(folder) / ".run.vur.new").string();
  std::error_code ec;
  fs::remove(fresh, ec);
  zel::vurStr record = projectRecord(run);
  record.project_file = fresh;
  try {
    write_vur_data(fresh, record, paint, flow);
    fs::rename(fresh, target);
  } catch (const fs::filesystem_error& e) {
    fs::remove(fresh, ec);
    zel::raise<zel::FileError>(target + ": cannot be written (" + e.code().message() + ")");
  } catch (...) {
    fs::remove(fresh, ec);
    throw;
  }
}

void writeFrame(const frame& f, const std::string& path, bool floatFrames) {
  if (!floatFrames) {
    write_tiff16(path, f.values, tiff16Range::refuse, f.name);
    return;
  }
  zel::image img(f.values.width(), f.values.height());
  img.field() = f.values;
  img.setFieldName(f.name);
  write_image(path, img);
}

void section(std::string& text, const char* name) { text += std::string("\n[") + name + "]\n"; }
void line(std::string& text, const std::string& key, const std::string& value) {
  text += key + "=" + value + "\n";
}

}  // namespace

std::vector<std::string> runFiles(const syntheticRun& run) {
  std::vector<std::string> files;
  for (const frame& f : run.frames) files.push_back(f.name + ".tif");
  files.push_back("sens.cam");
  files.push_back("refe.cam");
  for (const markerFile& m : markerFiles(run)) files.push_back(m.name);
  for (const truthMap& t : run.truth) files.push_back("truth_" + t.name + ".imp");
  if (!run.plates.empty()) files.push_back(referenceFile);
  for (const char* f : modelRegionFiles) files.push_back(f);
  if (withResectionData(run))
    for (const std::string& f : resectionFiles()) files.push_back(f);
  files.push_back("truth.txt");
  files.push_back(projectFileName);
  return files;
}

std::string truthText(const syntheticRun& run) {
  const runOptions& o = run.options;
  const paintPhysics& p = run.paint;
  std::string t =
      "; A synthetic wind-tunnel run made by `tamble synth` (docs/synthetic-run.md).\n"
      "; Model lengths in mm, frame positions in pixels, pressures in Pa,\n"
      "; temperatures in degrees Celsius, angles in radians.\n";
  section(t, "options");
  for (const std::string& word : optionWords(o)) {
    const std::size_t equals = word.find('=');
    line(t, word.substr(0, equals), word.substr(equals + 1));
  }
  section(t, "flow");
  line(t, "P_wind_off", number(p.flow.P_wind_off));
  line(t, "P_static", number(p.flow.P_static));
  line(t, "P_dynamic", number(p.flow.P_dynamic));
  line(t, "T_wind_off", number(p.flow.T_wind_off));
  line(t, "T_wind_on", number(p.flow.T_wind_on));
  section(t, "paint");
  line(t, "kind", paintName(o.paint));
  line(t, "unit", p.unit);
  static const char* const names[9] = {"A0", "A1", "A2", "B0", "B1", "B2", "C0", "C1", "C2"};
  for (int i = 0; i < 9; ++i) line(t, names[i], number(p.law.c[i]));
  line(t, "wind_off_ratio", number(p.windOffRatio));
  if (o.paint == paintKind::temperaturePaint) {
    line(t, "wind_off_pressure", number(p.windOffPressure));
    line(t, "wind_on_pressure", number(p.windOnPressure));
  }
  if (o.paint == paintKind::doublePaint) line(t, "reference_light", number(p.referenceLight()));
  // Reference values that make a single paint's ratio right exist only
  // while the wind-on light is the wind-off light times `lamp`.
  if (o.paint != paintKind::doublePaint && run.lampTilt == 0.0) {
    section(t, "ForSingle");
    line(t, "key_unit_value", "1");
    line(t, "wind_off_refe_value", "1");
    line(t, "wind_on_refe_value", number(run.lamp));
  }
  section(t, "camera");
  line(t, "focus", number(run.camera.focus));
  line(t, "pitch", number(run.camera.pitch));
  line(t, "optical_centre", pair(run.camera.centre));
  line(t, "position", triple(run.camera.position));
  for (int i = 0; i < 3; ++i)
    line(t, std::string("axis_") + "xyz"[i],
         triple({run.camera.rotation[i][0], run.camera.rotation[i][1], run.camera.rotation[i][2]}));
  line(t, "a2", number(run.lens.a2));
  line(t, "a4", number(run.lens.a4));
  section(t, "motion");
  line(t, "centre", pair(run.motion.centre));
  line(t, "half_size", number(run.motion.halfSize));
  line(t, "angle", number(run.motion.angle));
  line(t, "shift", pair(run.motion.shift));
  line(t, "bend_x", number(run.motion.bendX));
  line(t, "bend_y", number(run.motion.bendY));
  line(t, "shear", number(run.motion.shear));
  section(t, "light");
  line(t, "lamp", number(run.lamp));
  line(t, "lamp_tilt", number(run.lampTilt));
  line(t, "background", number(backgroundLevel));
  line(t, "peak_signal", number(peakSignal));
  line(t, "counts_per_light", number(run.countsPerLight));
  if (o.light == lightKind::plane)
    line(t, "plane",
         number(planeLight[0]) + " " + number(planeLight[1]) + " " + number(planeLight[2]));
  if (!run.plates.empty()) {
    section(t, "plates");
    line(t, "brightness", number(run.paint.referenceLight()));
    for (std::size_t i = 0; i < run.plates.size(); ++i) {
      const referencePlate& p = run.plates[i];
      line(t, "plate_" + std::to_string(i + 1),
           std::to_string(p.x0) + " " + std::to_string(p.y0) + " " + std::to_string(p.x1) + " " +
               std::to_string(p.y1));
    }
  }
  section(t, "sensor");
  line(t, "counts_per_electron", number(sensorTraits::countsPerElectron));
  line(t, "read_noise", number(sensorTraits::readNoise));
  line(t, "dark_level", number(sensorTraits::darkLevel));
  line(t, "wind_on_dark_rise", number(sensorTraits::windOnDarkRise));
  line(t, "flat_level_sens", number(sensorFlatLevel));
  line(t, "flat_level_refe", number(referenceFlatLevel));
  section(t, "markers");
  line(t, "count", std::to_string(run.markers.size()));
  line(t, "light_factor",
       number(o.sign == markerSign::dark ? markerCoverage::darkFactor
                                         : markerCoverage::brightFactor));
  line(t, "taps", std::to_string(run.taps.size()));
  section(t, "frames");
  for (const frame& f : run.frames) {
    const auto [low, high] = std::minmax_element(f.values.data, f.values.data + f.values.count);
    line(t, f.name, number(*low) + " " + number(*high));
  }
  return t;
}

void writeRun(const syntheticRun& run, const std::string& folder) {
  std::error_code ec;
  fs::create_directories(folder, ec);
  if (!fs::is_directory(folder))
    zel::raise<zel::FileError>(folder + ": the folder cannot be made" +
                               (ec ? " (" + ec.message() + ")" : std::string()));
  auto in = [&](const std::string& name) { return (fs::path(folder) / name).string(); };
  for (const frame& f : run.frames) writeFrame(f, in(f.name + ".tif"), run.options.floatFrames);
  for (bool reference : {false, true}) {
    const std::string path = in(reference ? "refe.cam" : "sens.cam");
    if (!zel::write_camera(path, cameraFile(run, reference)))
      zel::raise<zel::FileError>(path + ": cannot be written");
  }
  for (const markerFile& m : markerFiles(run)) zel::write_mrk(in(m.name), m.markers);
  for (const truthMap& t : run.truth) write_image(in("truth_" + t.name + ".imp"), *t.image);
  if (!run.plates.empty()) write_array(in(referenceFile), run.plateRegions);
  for (int state = 0; state < 2; ++state)
    write_array(in(modelRegionFiles[state]), run.modelRegions[state]);
  if (withResectionData(run)) tamble::writeResectData(in(resectFile), modelData(run));
  const std::string text = truthText(run);
  tamble::writeAtomically(in("truth.txt"), [&](std::FILE* out) {
    return std::fwrite(text.data(), 1, text.size(), out) == text.size();
  });
  writeProject(run, folder);
}

}  // namespace tamble::synth
