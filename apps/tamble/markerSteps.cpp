// The steps on marker files, camera files and units.
#include <cctype>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "api/camera.h"
#include "api/errors.h"
#include "api/markerFiles.h"
#include "api/paths.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/output.h"
#include "apps/tamble/session.h"
#include "apps/tamble/steps.h"
#include "host/cameraCalibration.h"

namespace tamble::cli {
namespace {

// The image model's dispatch does nothing for an extension it does not know
// (upper case included); here that is a mistake worth saying.
std::string markerKind(const std::string& file, bool reading) {
  const std::string kind = zel::extension(file);
  if (kind == "mrk" || kind == "mpt") return kind;
  if (kind == "inm" || kind == "apm") {
    if (reading) return kind;
    throw usageError(file + ": markers are written as .mrk or .mpt, not ." + kind);
  }
  throw usageError(file + ": not a marker file; the extensions are " +
                   (reading ? ".mrk, .mpt, .inm and .apm" : ".mrk and .mpt") + " (lower case)");
}

void requireFile(const std::string& file) {
  std::error_code ec;
  if (!std::filesystem::is_regular_file(file, ec)) throw stepError(file + ": file not found");
}

bool holdsUnitLine(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(in), {}};
  return text.find("<LengthUnit>0/<LengthUnit>") != std::string::npos;
}

// The model's "File error!" says neither which file nor why.
[[noreturn]] void markerFileError(const std::string& file, const zel::GenericError& e,
                                  bool reading) {
  std::string text = file + ": " + errorText(e);
  if (reading && zel::extension(file) == "mrk" && holdsUnitLine(file))
    text += "; a .mrk file with a length unit line is not well-formed XML and cannot be read";
  throw stepError(text);
}

const zel::cameraKey& cameraKeyOf(const std::string& name) {
  std::string known;
  for (const zel::cameraKey& key : zel::camera_keys()) {
    if (name == key.key) return key;
    known += (known.empty() ? "" : ", ") + std::string(key.key);
  }
  throw usageError("unknown camera key '" + name + "'; the keys are " + known);
}

// Numbers as typed on the command line, whole ones for the pixel counts.
void setCameraValue(zel::cameraFeatures& camera, const zel::cameraKey& key,
                    const std::string& text) {
  if (key.text) {
    camera.*key.text = text;
    return;
  }
  const auto parsed = parseNumber(text);
  if (!parsed) throw usageError(key.key + (": '" + text + "' is not a number"));
  const double value = *parsed;
  if (key.real) {
    camera.*key.real = value;
    return;
  }
  if (value != std::floor(value) || std::fabs(value) > 2147483647.0)
    throw usageError(key.key + (": '" + text + "' is not a whole number"));
  camera.*key.whole = static_cast<int>(value);
}

double convertBy(const std::string& quantity, double value, const std::string& from,
                 const std::string& to) {
  if (quantity == "length") return zel::convert_length(value, from, to);
  if (quantity == "pressure") return zel::convert_pressure(value, from, to);
  return zel::convert_temperature(value, from, to);
}

// Whether a .mrk file holds the coordinate or function block `id`: the
// image model's reader leaves the array's flags as they were, and a fresh
// array claims every block, so the step sets them from the file.
bool hasBlock(const std::string& text, const char* id) {
  return text.find(std::string("id=\"") + id + "\"") != std::string::npos;
}

void flagsFromFile(const std::string& file, zel::markersArray& markers) {
  if (zel::extension(file) != "mrk") return;
  std::ifstream in(file, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(in), {}};
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  markers.hasZ = hasBlock(text, "z");
  markers.hasF = hasBlock(text, "f");
}

// A marker file read whole, as load-markers reads it; `height` turns .inm rows.
zel::markersArray readMarkers(const std::string& file, int height) {
  markerKind(file, true);
  requireFile(file);
  zel::markersArray read;
  try {
    zel::load_markers(file, read, height);
  } catch (const zel::GenericError& e) {
    markerFileError(file, e, true);
  }
  return read;
}

bool onOff(const std::string& key, const std::string& value) {
  if (value == "on") return true;
  if (value == "off") return false;
  throw usageError(key + ": '" + value + "' is neither on nor off");
}

// method=1|2 ("Resect 1", "Resect 2"), solver=on|off, centre=on|off.
void calibrationOptions(const std::vector<std::string>& words, cameraCalibrationRequest& r) {
  for (const std::string& word : words) {
    const auto [key, value] = splitPair(word, "key=value");
    if (key == "method" && (value == "1" || value == "2"))
      r.method = value == "1" ? 0 : 1;
    else if (key == "method")
      throw usageError("method: '" + value + "' is neither 1 (Tsai) nor 2 (projective)");
    else if (key == "solver")
      r.optimize = onOff(key, value);
    else if (key == "centre")
      r.centre = onOff(key, value);
    else
      throw usageError("unknown option '" + key + "'; the options are method, solver and centre");
  }
}

std::string tenDigits(double v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.10g", v);
  return text;
}

void printCalibration(const cameraCalibrationResult& r, const std::string& out, bool centre) {
  std::printf("%s\n", r.report.c_str());
  for (int i = 0; i < 8; ++i)
    std::printf("a%dx=%s  a%dy=%s\n", i, tenDigits(r.ax[i]).c_str(), i, tenDigits(r.ay[i]).c_str());
  std::printf("projection lens: k1=%s  k2=%s\n", tenDigits(r.k1).c_str(), tenDigits(r.k2).c_str());
  std::printf("%s: focus=%s  a2=%s  a4=%s", out.c_str(), tenDigits(r.camera.focus).c_str(),
              tenDigits(r.camera.a2).c_str(), tenDigits(r.camera.a4).c_str());
  if (centre)
    std::printf("  cx=%s  cy=%s", tenDigits(r.camera.cx).c_str(), tenDigits(r.camera.cy).c_str());
  std::printf("\n");
}

}  // namespace

// Everything is read and checked before the plug-in calculates; the camera
// file is written only for a solved camera, never over an input.
void calibrateStep(session& s, const stepArgs& a) {
  const std::string& out = a.output;
  cameraCalibrationRequest request;
  calibrationOptions(a.words, request);
  requireFile(a.file);
  zel::read_camera(a.file, request.camera);
  request.image = readMarkers(a.imageMarkers, request.camera.nfy);
  request.model = readMarkers(a.modelMarkers, request.camera.nfy);
  request.name = a.imageMarkers;
  for (const std::string* read : {&a.imageMarkers, &a.modelMarkers, &a.file}) s.inputs.add(*read);
  s.inputs.checkWritable(out);
  s.plugin();
  const cameraCalibration calculate = registeredCameraCalibration();
  if (!calculate) throw stepError("the plug-in offers no camera calibration");
  const cameraCalibrationResult result = calculate(request);
  if (!result.solved) {
    std::printf("%s\n", result.report.c_str());
    throw stepError("no camera was calibrated; " + out + " is not written");
  }
  printCalibration(result, out, request.centre);
  if (!zel::write_camera(out, result.camera))
    throw stepError(out + ": the camera file cannot be written");
}

// Read whole before the image changes, so that a failed read leaves it.
void loadMarkersStep(session& s, const stepArgs& a) {
  zel::image& img = s.image(a.name);
  // A fresh array: loading replaces the markers wholly, flags and function
  // name included, rather than reading over what the image had.
  zel::markersArray read = readMarkers(a.file, img.height());
  flagsFromFile(a.file, read);
  s.inputs.add(a.file);
  s.list.saveImage(&img, true, "load-markers " + a.file);
  img.markers = std::move(read);
}

void saveMarkersStep(session& s, const stepArgs& a) {
  const zel::image& img = s.image(a.name);
  markerKind(a.file, false);
  s.inputs.checkWritable(a.file);
  if (img.markers.count() == 0) {
    std::printf("note: '%s' has no markers; %s is not written\n", a.name.c_str(), a.file.c_str());
    return;
  }
  try {
    zel::save_markers(a.file, img.markers);
  } catch (const zel::GenericError& e) {
    markerFileError(a.file, e, false);
  }
}

void markersStep(session& s, const stepArgs& a) {
  const zel::markersArray& markers = s.image(a.name).markers;
  std::printf("%d marker%s", markers.count(), markers.count() == 1 ? "" : "s");
  if (!markers.functionName.empty()) std::printf(", f is %s", markers.functionName.c_str());
  if (!markers.lengthUnit.empty()) std::printf(", lengths in %s", markers.lengthUnit.c_str());
  std::printf("\n");
  if (markers.count() > 0) std::printf("id  x  y  z  f  active\n");
  for (const marker& m : markers.items)
    std::printf("%d  %s  %s  %s  %s  %s\n", m.id, numberText(m.x).c_str(), numberText(m.y).c_str(),
                numberText(m.z).c_str(), numberText(m.f).c_str(), m.active ? "yes" : "no");
}

void cameraShowStep(session& s, const stepArgs& a) {
  requireFile(a.file);
  zel::cameraFeatures camera;
  zel::read_camera(a.file, camera);
  s.inputs.add(a.file);
  for (const zel::cameraKey& key : zel::camera_keys())
    std::printf("%s=%s\n", key.key, zel::camera_text(camera, key).c_str());
}

// Keys not given keep what the file holds (or zero and empty for a new file).
void cameraSaveStep(session& s, const stepArgs& a) {
  zel::cameraFeatures camera;
  std::error_code ec;
  if (std::filesystem::exists(a.file, ec)) {
    requireFile(a.file);
    zel::read_camera(a.file, camera);
  }
  for (const std::string& word : a.words) {
    const auto [key, text] = splitPair(word, "key=value");
    setCameraValue(camera, cameraKeyOf(key), text);
  }
  s.inputs.checkWritable(a.file);
  if (!zel::write_camera(a.file, camera))
    throw stepError(a.file + ": the camera file cannot be written");
}

void unitsStep(session&, const stepArgs& a) {
  std::printf("%s\n", numberText(convertBy(a.quantity, a.value, a.from, a.to)).c_str());
}

}  // namespace tamble::cli
