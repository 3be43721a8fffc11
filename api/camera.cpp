#include "api/camera.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <locale>
#include <sstream>
#include <system_error>

#include "api/errors.h"
#include "api/iniFile.h"
#include "api/paths.h"

namespace zel {
namespace {

constexpr const char* section = "camera";
constexpr const char* noKey = "no key";

const cameraKey keys[] = {
    {"camera_ID", &cameraFeatures::camera_ID},
    {"camera_name", &cameraFeatures::camera_name},
    {"default_length_unit", &cameraFeatures::default_length_unit},
    {"focus", nullptr, &cameraFeatures::focus},
    {"dx", nullptr, &cameraFeatures::dx},
    {"dy", nullptr, &cameraFeatures::dy},
    {"ncx", nullptr, nullptr, &cameraFeatures::ncx},
    {"ncy", nullptr, nullptr, &cameraFeatures::ncy},
    {"nfx", nullptr, nullptr, &cameraFeatures::nfx},
    {"nfy", nullptr, nullptr, &cameraFeatures::nfy},
    {"cx", nullptr, &cameraFeatures::cx},
    {"cy", nullptr, &cameraFeatures::cy},
    {"a2", nullptr, &cameraFeatures::a2},
    {"a4", nullptr, &cameraFeatures::a4},
    {"flat_file", &cameraFeatures::flat_file},
};

// By stream, as the parameter store reads: "," taken as "."; a text that
// does not start with a number leaves `value`.
template <class T>
bool parseStream(std::string text, T& value) {
  std::replace(text.begin(), text.end(), ',', '.');
  std::istringstream in(text);
  in.imbue(std::locale::classic());
  T parsed{};
  if (!(in >> parsed)) return false;
  value = parsed;
  return true;
}

struct unitFactor {
  const char* unit;
  double factor;
};

constexpr unitFactor lengths[] = {
    {"mm", 0.001}, {"sm", 0.01}, {"dm", 0.1}, {"m", 1.0}, {"km", 1000.0},
};

// "atm" is the same as "bar" here, not the standard atmosphere: files have
// been calibrated with it.
constexpr unitFactor pressures[] = {
    {"bar", 100000.0},   {"atm", 100000.0},  {"kg/sm2", 98066.5}, {"kg/m2", 9.80665},
    {"mm_h2o", 9.80665}, {"mm_hg", 133.322}, {"torr", 133.322},   {"psi", 6894.76},
    {"psia", 6894.76},   {"pa", 1.0},
};

struct temperatureScale {
  const char* unit;
  double a;
  double b;
};

// The offset 273.16 and the "r" factor 1.8 (where 5/9 would be expected) are
// what existing files were calibrated with.
constexpr temperatureScale temperatures[] = {
    {"c", 1.0, 273.16},
    {"f", 0.5555555555555556, 255.382222},
    {"r", 1.8, 0.0},
    {"k", 1.0, 0.0},
};

template <class Row, std::size_t N>
const Row* findUnit(const Row (&rows)[N], const std::string& unit, const char* complaint) {
  const std::string name = lower(unit);
  for (const Row& row : rows)
    if (name == row.unit) return &row;
  std::fprintf(stderr, "%s%s\n", unit.c_str(), complaint);
  return nullptr;
}

template <std::size_t N>
double factorOf(const unitFactor (&rows)[N], const std::string& unit, const char* complaint) {
  const unitFactor* row = findUnit(rows, unit, complaint);
  return row ? row->factor : 1.0;
}

template <class Row, std::size_t N>
bool knownUnit(const Row (&rows)[N], const std::string& unit) {
  const std::string name = lower(unit);
  return std::any_of(std::begin(rows), std::end(rows),
                     [&](const Row& row) { return name == row.unit; });
}

template <class Row, std::size_t N>
std::string unitNames(const Row (&rows)[N]) {
  std::string names;
  for (const Row& row : rows) names += (names.empty() ? "" : ", ") + std::string(row.unit);
  return names;
}

}  // namespace

std::span<const cameraKey> camera_keys() { return keys; }

std::string camera_text(const cameraFeatures& features, const cameraKey& key) {
  if (key.text) return features.*key.text;
  std::ostringstream out;
  out.imbue(std::locale::classic());
  out.precision(16);
  if (key.real)
    out << features.*key.real;
  else
    out << features.*key.whole;
  return out.str();
}

bool set_camera_text(cameraFeatures& features, const cameraKey& key, const std::string& text) {
  if (key.text) {
    features.*key.text = text;
    return true;
  }
  return key.real ? parseStream(text, features.*key.real) : parseStream(text, features.*key.whole);
}

void read_camera(const std::string& file, cameraFeatures& features) {
  if (file.empty()) return;
  const std::string path = resolve_path(file);
  for (const cameraKey& key : keys) {
    if (key.text) {
      features.*key.text = ini_read(path, section, key.key, features.*key.text);
      continue;
    }
    const std::string text = ini_read(path, section, key.key, noKey);
    if (text.compare(0, 6, noKey) != 0) set_camera_text(features, key, text);
  }
}

// All keys in one rewrite, so that a failure leaves the whole file as it was
// (and removes the empty file that opening made, if there was none).
bool write_camera(const std::string& file, const cameraFeatures& features) {
  if (file.empty()) return true;
  const std::string path = resolve_path(file);
  std::error_code ec;
  const bool existed = std::filesystem::exists(path, ec);
  zel_ini_file ini;
  try {
    ini.open(path, false);
    ini.set("head", "version", cameraFileVersion);
    for (const cameraKey& key : keys) ini.set(section, key.key, camera_text(features, key));
    ini.save();
    return true;
  } catch (const GenericError&) {
    if (!existed && ini.isOpened()) std::filesystem::remove(path, ec);
    return false;
  }
}

// The `from` side is looked up first, so that its complaint comes first.
double convert_length(double value, const std::string& from, const std::string& to) {
  const double in = factorOf(lengths, from, ": Incorrect length unit");
  const double out = factorOf(lengths, to, ": Incorrect new length unit");
  return value * in / out;
}

double convert_pressure(double value, const std::string& from, const std::string& to) {
  const double in = factorOf(pressures, from, ": Incorrect pressure unit");
  const double out = factorOf(pressures, to, ": Incorrect new pressure unit");
  return value * in / out;
}

double convert_temperature(double value, const std::string& from, const std::string& to) {
  const temperatureScale unknown{"", 1.0, 0.0};
  const temperatureScale* in = findUnit(temperatures, from, ": Incorrect temperature unit");
  const temperatureScale* out = findUnit(temperatures, to, ": Incorrect new temperature unit");
  if (!in) in = &unknown;
  if (!out) out = &unknown;
  const double kelvin = value * in->a + in->b;
  return (kelvin - out->b) / out->a;
}

bool is_length_unit(const std::string& unit) { return knownUnit(lengths, unit); }
bool is_pressure_unit(const std::string& unit) { return knownUnit(pressures, unit); }
bool is_temperature_unit(const std::string& unit) { return knownUnit(temperatures, unit); }
std::string length_unit_names() { return unitNames(lengths); }
std::string pressure_unit_names() { return unitNames(pressures); }
std::string temperature_unit_names() { return unitNames(temperatures); }

}  // namespace zel
