// Camera data (".cam" ini files) and the unit conversions of lengths,
// pressures and temperatures.
#pragma once

#include <span>
#include <string>

namespace zel {

struct cameraFeatures {
  std::string camera_ID;
  std::string camera_name;
  std::string default_length_unit;  // unit of the lengths below
  double focus = 0.0;
  double dx = 0.0;  // pixel pitch
  double dy = 0.0;
  int ncx = 0;  // sensor elements
  int ncy = 0;
  int nfx = 0;  // pixels in a frame
  int nfy = 0;
  double cx = 0.0;  // optical centre
  double cy = 0.0;
  double a2 = 0.0;  // radial distortion
  double a4 = 0.0;
  std::string flat_file;  // flat-field image of this camera
};

// One key of section "camera": exactly one of the three members is set.
struct cameraKey {
  const char* key;
  std::string cameraFeatures::*text = nullptr;
  double cameraFeatures::*real = nullptr;
  int cameraFeatures::*whole = nullptr;
};

// The keys in the order of the file.
std::span<const cameraKey> camera_keys();
// The value as the file holds it: doubles with 16 significant digits.
std::string camera_text(const cameraFeatures& features, const cameraKey& key);
// Sets the field from text as the reader does ("," read as "."); false, with
// the field unchanged, when a number does not parse.
bool set_camera_text(cameraFeatures& features, const cameraKey& key, const std::string& text);

// What write_camera puts under "version" in section "head".
inline constexpr const char* cameraFileVersion = "Tamble 1";

// An empty name does nothing. A key that is missing leaves its field as it
// was; a missing or unreadable file reads every key as empty text, which
// empties the text fields and leaves the numbers.
void read_camera(const std::string& file, cameraFeatures& features);
// Writes "version" and every key, changing only those lines of an existing
// file. An empty name does nothing; false when the file cannot be written
// (it is then left as it was).
bool write_camera(const std::string& file, const cameraFeatures& features);

// value * factor(from) / factor(to). Unit names in any case; an unknown one
// is reported on standard error and counts as a factor of 1.
double convert_length(double value, const std::string& from, const std::string& to);
double convert_pressure(double value, const std::string& from, const std::string& to);
// Through kelvin: K = value * a(from) + b(from), answer (K - b(to)) / a(to).
// An unknown unit counts as a = 1, b = 0.
double convert_temperature(double value, const std::string& from, const std::string& to);

// Whether the conversions know a unit (any case), without a complaint.
bool is_length_unit(const std::string& unit);
bool is_pressure_unit(const std::string& unit);
bool is_temperature_unit(const std::string& unit);
// The unit names of each table, in its order, joined by ", ".
std::string length_unit_names();
std::string pressure_unit_names();
std::string temperature_unit_names();

}  // namespace zel
