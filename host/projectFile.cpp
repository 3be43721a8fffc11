// The .vur file: the project's own sections and the stage dialogs' parameter
// sections in one ini file (docs/project-file.md).
#include "host/projectFile.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include "api/camera.h"
#include "api/errors.h"
#include "api/iniFile.h"
#include "api/numbers.h"
#include "api/paths.h"

namespace tamble::vur {
namespace {

namespace fs = std::filesystem;
using zel::vurStr;
using lineKind = zel::zel_ini_file::lineKind;

constexpr const char* projectSection = "project";
constexpr const char* paintSection = "paint";
constexpr const char* flowSection = "flow";
constexpr const char* versionKey = "version";
constexpr const char* noReportKey = "no_report";
constexpr const char* formatVersion = "Tamble 1";
constexpr const char* newFileComment = "; Tamble project, described in docs/project-file.md";

const pathKey pathKeys[] = {
    {"images", "wind_on_sens_file", &vurStr::wind_on_sens_file, fileUse::image, "wind_on_sens"},
    {"images", "wind_off_sens_file", &vurStr::wind_off_sens_file, fileUse::image, "wind_off_sens"},
    {"images", "wind_on_refe_file", &vurStr::wind_on_refe_file, fileUse::image, "wind_on_refe"},
    {"images", "wind_off_refe_file", &vurStr::wind_off_refe_file, fileUse::image, "wind_off_refe"},
    {"images", "wind_on_dark_sens_file", &vurStr::wind_on_dark_sens_file, fileUse::image,
     "wind_on_dark_sens"},
    {"images", "wind_off_dark_sens_file", &vurStr::wind_off_dark_sens_file, fileUse::image,
     "wind_off_dark_sens"},
    {"images", "wind_on_dark_refe_file", &vurStr::wind_on_dark_refe_file, fileUse::image,
     "wind_on_dark_refe"},
    {"images", "wind_off_dark_refe_file", &vurStr::wind_off_dark_refe_file, fileUse::image,
     "wind_off_dark_refe"},
    {"images", "flat_sens_file", &vurStr::flat_sens_file, fileUse::image, "flat_sens"},
    {"images", "flat_refe_file", &vurStr::flat_refe_file, fileUse::image, "flat_refe"},
    {"images", "wind_on_T_file", &vurStr::wind_on_T_file, fileUse::image, "wind_on_T"},
    {"images", "wind_off_T_file", &vurStr::wind_off_T_file, fileUse::image, "wind_off_T"},

    {"markers", "wind_on_sens_markers_file", &vurStr::wind_on_sens_markers_file, fileUse::markers,
     "wind_on_sens"},
    {"markers", "wind_off_sens_markers_file", &vurStr::wind_off_sens_markers_file, fileUse::markers,
     "wind_off_sens"},
    {"markers", "wind_on_refe_markers_file", &vurStr::wind_on_refe_markers_file, fileUse::markers,
     "wind_on_refe"},
    {"markers", "wind_off_refe_markers_file", &vurStr::wind_off_refe_markers_file, fileUse::markers,
     "wind_off_refe"},
    {"markers", "Irefe_Isens_markers_file", &vurStr::Irefe_Isens_markers_file, fileUse::other,
     nullptr},
    {"markers", "Pressure_markers_file", &vurStr::Pressure_markers_file, fileUse::other, nullptr},
    {"markers", "P_Pstat_markers_file", &vurStr::P_Pstat_markers_file, fileUse::other, nullptr},
    {"markers", "Cp_markers_file", &vurStr::Cp_markers_file, fileUse::other, nullptr},
    {"markers", "T_markers_file", &vurStr::T_markers_file, fileUse::other, nullptr},
    {"markers", "ports_markers_file", &vurStr::ports_markers_file, fileUse::markers, nullptr},

    {"roi", "wind_on_sens_ROI_file", &vurStr::wind_on_sens_ROI_file, fileUse::roi, "wind_on_sens"},
    {"roi", "wind_off_sens_ROI_file", &vurStr::wind_off_sens_ROI_file, fileUse::roi,
     "wind_off_sens"},
    {"roi", "wind_on_refe_ROI_file", &vurStr::wind_on_refe_ROI_file, fileUse::roi, "wind_on_refe"},
    {"roi", "wind_off_refe_ROI_file", &vurStr::wind_off_refe_ROI_file, fileUse::roi,
     "wind_off_refe"},
    {"roi", "wind_on_T_ROI_file", &vurStr::wind_on_T_ROI_file, fileUse::roi, "wind_on_T"},
    {"roi", "wind_off_T_ROI_file", &vurStr::wind_off_T_ROI_file, fileUse::roi, "wind_off_T"},
    {"roi", "Irefe_Isens_ROI_file", &vurStr::Irefe_Isens_ROI_file, fileUse::other, nullptr},
    {"roi", "Pressure_ROI_file", &vurStr::Pressure_ROI_file, fileUse::other, nullptr},
    {"roi", "P_Pstat_ROI_file", &vurStr::P_Pstat_ROI_file, fileUse::other, nullptr},
    {"roi", "Cp_ROI_file", &vurStr::Cp_ROI_file, fileUse::other, nullptr},
    {"roi", "T_ROI_file", &vurStr::T_ROI_file, fileUse::other, nullptr},

    {"results", "Irefe_Isens_file", &vurStr::Irefe_Isens_file, fileUse::other, nullptr},
    {"results", "Pressure_file", &vurStr::Pressure_file, fileUse::other, nullptr},
    {"results", "P_Pstat_file", &vurStr::P_Pstat_file, fileUse::other, nullptr},
    {"results", "Cp_file", &vurStr::Cp_file, fileUse::other, nullptr},
    {"results", "T_file", &vurStr::T_file, fileUse::other, nullptr},

    {"data", "sens_camera_file", &vurStr::sens_camera_file, fileUse::camera, nullptr},
    {"data", "refe_camera_file", &vurStr::refe_camera_file, fileUse::camera, nullptr},
    {"data", "reference_file", &vurStr::reference_file, fileUse::other, nullptr},
    {"data", "resect_data_file", &vurStr::resect_data_file, fileUse::other, nullptr},
    {"data", "geometry_markers_file", &vurStr::geometry_markers_file, fileUse::other, nullptr},
};

// The project's own sections, in the order a new file has them.
constexpr const char* ownSections[] = {projectSection, "images", listSection,  "markers",  "roi",
                                       "results",      "data",   paintSection, flowSection};

// c[0..8] of the paint: A(s) = A0 + A1 s + A2 s^2, and B, C alike.
constexpr const char* paintKeys[9] = {"A0", "A1", "A2", "B0", "B1", "B2", "C0", "C1", "C2"};
constexpr const char* paintUnitKey = "paintUnit";

struct flowNumber {
  const char* key;
  double zel::flowFeatures::*field;
};
constexpr flowNumber flowNumbers[] = {
    {"P_wind_off", &zel::flowFeatures::P_wind_off}, {"P_static", &zel::flowFeatures::P_static},
    {"P_dynamic", &zel::flowFeatures::P_dynamic},   {"T_wind_off", &zel::flowFeatures::T_wind_off},
    {"T_wind_on", &zel::flowFeatures::T_wind_on},
};
constexpr const char* flowPressureUnitKey = "flowPressureUnit";
constexpr const char* flowTemperatureUnitKey = "flowTemperatureUnit";

bool isOwnSection(const std::string& section) {
  return std::any_of(std::begin(ownSections), std::end(ownSections),
                     [&](const char* own) { return section == own; });
}

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

std::string withSlashes(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

std::string currentFolder() {
  std::error_code ec;
  return fs::current_path(ec).string();
}

// A number of the project file: either decimal mark, an optional sign and
// exponent, nothing else; finite.
std::optional<double> parseNumber(const std::string& text) {
  return zel::parseNumber(text, {.comma = true, .plus = true});
}

enum class quantity { pressure, temperature };

// Why the conversions would not know a unit, or empty.
std::string unitComplaint(const std::string& unit, quantity kind) {
  if (kind == quantity::pressure)
    return zel::is_pressure_unit(unit)
               ? std::string()
               : quoted(unit) + " is not a pressure unit (" + zel::pressure_unit_names() + ")";
  return zel::is_temperature_unit(unit)
             ? std::string()
             : quoted(unit) + " is not a temperature unit (" + zel::temperature_unit_names() + ")";
}

// Numbers are written as the shortest text that reads back the same.
using zel::numberText;

std::optional<bool> parseFlag(const std::string& text) {
  const std::string t = zel::lower(text);
  if (t.empty() || t == "0" || t == "false" || t == "no") return false;
  if (t == "1" || t == "true" || t == "yes") return true;
  return std::nullopt;
}

// The number of a list key "<prefix><digits>", at least 1.
std::optional<long> listNumber(const std::string& key, const std::string& prefix) {
  if (key.size() <= prefix.size() || key.compare(0, prefix.size(), prefix) != 0)
    return std::nullopt;
  const std::string digits = key.substr(prefix.size());
  if (digits.size() > 9 ||
      !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; }))
    return std::nullopt;
  const long number = std::stol(digits);
  if (number < 1) return std::nullopt;
  return number;
}

// ---- Reading -------------------------------------------------------------

class reader {
 public:
  reader(std::string f, bool withFeatures) : file(std::move(f)), features(withFeatures) {}

  contents read(const std::vector<zel::zel_ini_file::line>& lines) {
    out.record.project_file = file;
    std::set<std::pair<std::string, std::string>> seen;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      const auto& line = lines[i];
      if (line.kind != lineKind::key) continue;
      // The first of two equal keys counts.
      if (!seen.insert({line.section, line.key}).second) continue;
      take(located{line.section, line.key, line.value, static_cast<int>(i + 1)});
    }
    finishList(sens, out.record.wind_on_sens_list);
    finishList(refe, out.record.wind_on_refe_list);
    return std::move(out);
  }

 private:
  [[noreturn]] void fail(const located& at, const std::string& what) const {
    zel::raise<zel::FileError>(file + ":" + std::to_string(at.line) + ": [" + at.section + "] " +
                               at.key + ": " + what);
  }

  void take(const located& at) {
    if (!isOwnSection(at.section)) {
      if (at.section.empty())
        out.unknown.push_back(at);  // above the first section: belongs to nothing
      else
        out.record.parameters.push_back({at.section, at.key, at.value});
      return;
    }
    if (takePath(at) || takeList(at) || takeProject(at)) return;
    if (at.section == paintSection || at.section == flowSection) {
      if (!features || takePaint(at) || takeFlow(at)) return;
    }
    out.unknown.push_back(at);
  }

  bool takePath(const located& at) {
    for (const pathKey& key : pathKeys) {
      if (at.section != key.section || at.key != key.key) continue;
      out.record.*key.field = at.value;
      if (!at.value.empty()) out.paths.push_back(at);
      return true;
    }
    return false;
  }

  bool takeList(const located& at) {
    if (at.section != listSection) return false;
    if (const auto number = listNumber(at.key, sensListPrefix)) {
      sens.emplace(*number, at);
    } else if (const auto number = listNumber(at.key, refeListPrefix)) {
      refe.emplace(*number, at);
    } else {
      return false;
    }
    return true;
  }

  // Entries by number; empty ones are left out. Two keys of one number
  // ("wind_on_sens_1" and "wind_on_sens_01") are an error.
  void finishList(const std::multimap<long, located>& entries, std::vector<std::string>& list) {
    const located* previous = nullptr;
    long previousNumber = 0;
    for (const auto& [number, at] : entries) {
      if (previous && number == previousNumber)
        fail(at, "the entry number " + std::to_string(number) + " is given twice (line " +
                     std::to_string(previous->line) + ")");
      previous = &at;
      previousNumber = number;
      if (at.value.empty()) continue;
      list.push_back(at.value);
      out.paths.push_back(at);
    }
  }

  bool takeProject(const located& at) {
    if (at.section != projectSection) return false;
    if (at.key == versionKey) return true;
    if (at.key != noReportKey) return false;
    const auto flag = parseFlag(at.value);
    if (!flag) fail(at, quoted(at.value) + " is not a yes/no value (0, 1, no, yes, false, true)");
    out.record.no_report = *flag;
    return true;
  }

  double number(const located& at) const {
    if (at.value.empty()) return 0.0;
    const auto value = parseNumber(at.value);
    if (!value) fail(at, quoted(at.value) + " is not a number");
    return *value;
  }

  // An empty unit is not given: the default stays.
  std::string unit(const located& at, quantity kind, const std::string& def) const {
    if (at.value.empty()) return def;
    const std::string complaint = unitComplaint(at.value, kind);
    if (!complaint.empty()) fail(at, complaint);
    return at.value;
  }

  bool takePaint(const located& at) {
    if (at.section != paintSection) return false;
    for (int i = 0; i < 9; ++i)
      if (at.key == paintKeys[i]) {
        out.paint.c[i] = number(at);
        return true;
      }
    if (at.key != paintUnitKey) return false;
    out.paint.paintUnit = unit(at, quantity::pressure, zel::paintFeatures{}.paintUnit);
    return true;
  }

  bool takeFlow(const located& at) {
    if (at.section != flowSection) return false;
    for (const flowNumber& key : flowNumbers)
      if (at.key == key.key) {
        out.flow.*key.field = number(at);
        return true;
      }
    const zel::flowFeatures defaults;
    if (at.key == flowPressureUnitKey)
      out.flow.flowPressureUnit = unit(at, quantity::pressure, defaults.flowPressureUnit);
    else if (at.key == flowTemperatureUnitKey)
      out.flow.flowTemperatureUnit = unit(at, quantity::temperature, defaults.flowTemperatureUnit);
    else
      return false;
    return true;
  }

  std::string file;
  bool features;
  contents out;
  std::multimap<long, located> sens, refe;
};

// ---- Writing -------------------------------------------------------------

// Puts the record into the lines of an open file. A line is rewritten only
// when its meaning changes, so that a value written by hand keeps its form.
class editor {
 public:
  editor(zel::zel_ini_file& i, std::string f, std::string to, std::string from)
      : ini(i), file(std::move(f)), target(std::move(to)), source(std::move(from)) {}

  void record(const vurStr& r) {
    if (ini.get(projectSection, versionKey) != formatVersion)
      put(projectSection, versionKey, formatVersion);
    const auto noReport = ini.get(projectSection, noReportKey);
    if (!noReport || parseFlag(*noReport) != r.no_report)
      put(projectSection, noReportKey, r.no_report ? "1" : "0");
    for (const pathKey& key : pathKeys) path(key.section, key.key, r.*key.field);
    list(sensListPrefix, r.wind_on_sens_list);
    list(refeListPrefix, r.wind_on_refe_list);
    for (const zel::vurParameter& p : r.parameters) {
      if (isOwnSection(p.section))
        fail(p.section, p.key, "a parameter cannot stand in the project's own section");
      if (ini.get(p.section, p.key) != p.value) put(p.section, p.key, p.value);
    }
  }

  void paint(const zel::paintFeatures& paint) {
    for (int i = 0; i < 9; ++i) number(paintSection, paintKeys[i], paint.c[i]);
    unit(paintSection, paintUnitKey, paint.paintUnit, quantity::pressure);
  }

  void flow(const zel::flowFeatures& flow) {
    for (const flowNumber& key : flowNumbers) number(flowSection, key.key, flow.*key.field);
    unit(flowSection, flowPressureUnitKey, flow.flowPressureUnit, quantity::pressure);
    unit(flowSection, flowTemperatureUnitKey, flow.flowTemperatureUnit, quantity::temperature);
  }

 private:
  [[noreturn]] void fail(const std::string& section, const std::string& key,
                         const std::string& what) const {
    zel::raise<zel::FileError>(file + ": [" + section + "] " + key + ": " + what);
  }

  // Values that would read back as something else are refused here, with
  // the key, rather than by the ini file.
  void put(const std::string& section, const std::string& key, const std::string& value) {
    const bool blankEnds =
        !value.empty() && (std::string(" \t").find(value.front()) != std::string::npos ||
                           std::string(" \t").find(value.back()) != std::string::npos);
    if (blankEnds || value.find_first_of("\r\n") != std::string::npos)
      fail(section, key,
           quoted(value) + " cannot be kept in the file (line break or blanks at an end)");
    try {
      ini.set(section, key, value);
    } catch (const zel::GenericError& e) {
      fail(section, key, std::string("cannot be kept in the file (") + e.message + ")");
    }
  }

  // An empty field empties a key that has a value and adds none.
  void path(const std::string& section, const std::string& key, const std::string& value) {
    const auto existing = ini.get(section, key);
    if (value.empty()) {
      if (existing && !existing->empty()) put(section, key, {});
      return;
    }
    const std::string wanted = absolute_in(value, source);
    if (existing && !existing->empty() && absolute_in(*existing, target) == wanted) return;
    put(section, key, relative_in(wanted, target));
  }

  // The file's numbering stays: the entries take the file's non-empty keys
  // in the order of their numbers, further entries follow the highest
  // number, and keys left over are removed.
  void list(const std::string& prefix, const std::vector<std::string>& entries) {
    std::map<long, std::string> have;
    std::set<std::string> seen;
    for (const auto& line : ini.lines()) {
      if (line.kind != lineKind::key || line.section != listSection) continue;
      if (!seen.insert(line.key).second || line.value.empty()) continue;
      if (const auto number = listNumber(line.key, prefix)) have.emplace(*number, line.key);
    }
    long next = have.empty() ? 1 : have.rbegin()->first + 1;
    auto kept = have.begin();
    for (const std::string& entry : entries) {
      if (kept != have.end()) {
        path(listSection, kept->second, entry);
        ++kept;
      } else {
        path(listSection, prefix + std::to_string(next++), entry);
      }
    }
    for (; kept != have.end(); ++kept)
      while (ini.get(listSection, kept->second)) ini.remove(listSection, kept->second);
  }

  void number(const std::string& section, const std::string& key, double value) {
    if (!std::isfinite(value)) fail(section, key, numberText(value) + " is not a finite number");
    const auto existing = ini.get(section, key);
    if (existing && parseNumber(*existing) == value) return;
    put(section, key, numberText(value));
  }

  // A unit the reader would refuse is refused; one that differs only in
  // case keeps its text.
  void unit(const std::string& section, const std::string& key, const std::string& value,
            quantity kind) {
    const std::string complaint = unitComplaint(value, kind);
    if (!complaint.empty()) fail(section, key, complaint);
    const auto existing = ini.get(section, key);
    if (existing && zel::lower(*existing) == zel::lower(value)) return;
    put(section, key, value);
  }

  zel::zel_ini_file& ini;
  std::string file;
  std::string target;  // the folder of the file written
  std::string source;  // the folder the record's relative paths are taken against
};

// A new file starts with a comment and the headers of the sections it will
// hold, a blank line before each, so that it reads well by hand.
std::string newFileText(const vurStr& record, bool features) {
  std::vector<std::string> sections{projectSection};
  auto add = [&](const std::string& section) {
    if (std::find(sections.begin(), sections.end(), section) == sections.end())
      sections.push_back(section);
  };
  for (const char* section : ownSections) {
    const bool used =
        std::any_of(std::begin(pathKeys), std::end(pathKeys),
                    [&](const pathKey& key) {
                      return key.section == std::string(section) && !(record.*key.field).empty();
                    }) ||
        (section == std::string(listSection) &&
         (!record.wind_on_sens_list.empty() || !record.wind_on_refe_list.empty())) ||
        (features && (section == std::string(paintSection) || section == std::string(flowSection)));
    if (used) add(section);
  }
  for (const zel::vurParameter& p : record.parameters) add(p.section);
  std::string text = std::string(newFileComment) + "\n";
  for (const std::string& section : sections) text += "\n[" + section + "]\n";
  return text;
}

}  // namespace

std::span<const pathKey> path_keys() { return pathKeys; }

std::string project_folder(const zel::vurStr& record) {
  if (record.project_file.empty()) return currentFolder();
  return fs::path(absolute_in(record.project_file, currentFolder())).parent_path().string();
}

std::string absolute_in(const std::string& path, const std::string& folder) {
  const fs::path given(withSlashes(path));
  if (given.is_absolute()) return given.lexically_normal().string();
  return (fs::path(folder) / given).lexically_normal().string();
}

std::string relative_in(const std::string& path, const std::string& folder) {
  const fs::path given(withSlashes(path));
  if (!given.is_absolute()) return path;
  const fs::path relative = given.lexically_normal().lexically_relative(
      (fs::path(folder) / "").lexically_normal().parent_path());
  if (relative.empty()) return path;
  int climb = 0;
  for (const fs::path& part : relative) {
    if (part != "..") break;
    ++climb;
  }
  return climb > maxClimb ? path : relative.generic_string();
}

// A line that is neither blank, a comment, a section header nor a key, and
// a name or value holding a control character, is a fault of the file: a
// mistyped header or key would otherwise be passed over without a word.
void checkLine(const std::string& file, int number, const zel::zel_ini_file::line& line) {
  const auto where = [&] { return file + ":" + std::to_string(number) + ": "; };
  const std::string& text = line.text;
  const std::size_t first = text.find_first_not_of(" \t\r");
  if (line.kind == lineKind::other && first != std::string::npos &&
      text[first] != zel::zel_ini_file::commentMark) {
    const bool header = text[first] == zel::zel_ini_file::sectionOpen;
    zel::raise<zel::FileError>(where() + (header ? "a section header without its \"]\""
                                                  : "a line that is no key (\"key=value\")") +
                               ": " + quoted(text));
  }
  const auto control = [](const std::string& s) {
    return std::any_of(s.begin(), s.end(), [](unsigned char c) { return c < 0x20 && c != '\t'; });
  };
  if (control(line.section) || control(line.key) || control(line.value))
    zel::raise<zel::FileError>(where() + "a control character in " + quoted(text));
}

contents read_project(const std::string& path, bool features) {
  if (path.empty()) zel::raise<zel::FileError>("The project file's name is empty");
  const std::string file = absolute_in(path, currentFolder());
  std::error_code ec;
  const fs::file_status status = fs::status(file, ec);
  if (status.type() == fs::file_type::not_found)
    zel::raise<zel::FileError>(file + ": the project file is missing");
  if (status.type() != fs::file_type::regular)
    zel::raise<zel::FileError>(file + ": the project file is not a file");
  zel::zel_ini_file ini;
  try {
    ini.open(file, true);
  } catch (const zel::GenericError&) {
    zel::raise<zel::FileError>(file + ": the project file cannot be read");
  }
  // An editor's byte-order mark would hide the first section's header.
  const auto& lines = ini.lines();
  if (!lines.empty() && lines.front().text.rfind("\xEF\xBB\xBF", 0) == 0)
    zel::raise<zel::FileError>(file +
                               ":1: the file begins with a byte-order mark; save it as UTF-8 "
                               "without one");
  for (std::size_t i = 0; i < lines.size(); ++i) checkLine(file, static_cast<int>(i + 1), lines[i]);
  return reader(file, features).read(lines);
}

void write_project(const std::string& path, const zel::vurStr& record,
                   const zel::paintFeatures* paint, const zel::flowFeatures* flow) {
  if (path.empty()) zel::raise<zel::FileError>("The project file's name is empty");
  const std::string file = absolute_in(path, currentFolder());
  const std::string target = fs::path(file).parent_path().string();
  const std::string source = record.project_file.empty() ? target : project_folder(record);
  std::error_code ec;
  const fs::file_status status = fs::status(file, ec);
  const bool fresh = status.type() == fs::file_type::not_found;
  if (!fresh && status.type() != fs::file_type::regular)
    zel::raise<zel::FileError>(file + ": the project file is not a file");

  // A new file is made under a temporary name and renamed into place at the
  // end; an existing one is replaced atomically by the ini file's save.
  std::string work = file;
  if (fresh) {
    work = zel::temporary_name(file);
    const std::string text = newFileText(record, paint || flow);
    std::FILE* out = std::fopen(work.c_str(), "wb");
    bool written = out != nullptr;
    if (out) {
      written = std::fwrite(text.data(), 1, text.size(), out) == text.size();
      written = std::fclose(out) == 0 && written;
    }
    if (!written) {
      zel::discard_temporary(work);
      zel::raise<zel::FileError>(file + ": the project file cannot be written");
    }
  }
  try {
    zel::zel_ini_file ini;
    try {
      ini.open(work, false);
    } catch (const zel::GenericError&) {
      zel::raise<zel::FileError>(file + ": the project file cannot be read");
    }
    editor edit(ini, file, target, source);
    edit.record(record);
    if (paint) edit.paint(*paint);
    if (flow) edit.flow(*flow);
    try {
      ini.save();
    } catch (const zel::GenericError&) {
      zel::raise<zel::FileError>(file + ": the project file cannot be written");
    }
  } catch (...) {
    if (fresh) zel::discard_temporary(work);
    throw;
  }
  if (fresh) {
    const std::string why = zel::commit_temporary(work, file);
    if (!why.empty())
      zel::raise<zel::FileError>(file + ": the project file cannot be written (" + why + ")");
  }
}

}  // namespace tamble::vur

// ---- The library's file operations -----------------------------------------

void read_vur_strings(const std::string& path, zel::vurStr& record) {
  record = tamble::vur::read_project(path, false).record;
}

void write_vur_strings(const std::string& path, const zel::vurStr& record) {
  tamble::vur::write_project(path, record, nullptr, nullptr);
}

void write_vur_data(const std::string& path, const zel::vurStr& record,
                    const zel::paintFeatures& paint, const zel::flowFeatures& flow) {
  tamble::vur::write_project(path, record, &paint, &flow);
}

void alt_path(zel::vurStr& record) {
  const std::string folder = tamble::vur::project_folder(record);
  const bool toRelative = record.absolutePaths;
  auto flip = [&](std::string& path) {
    if (path.empty()) return;
    path = toRelative ? tamble::vur::relative_in(path, folder)
                      : tamble::vur::absolute_in(path, folder);
  };
  for (const tamble::vur::pathKey& key : tamble::vur::path_keys()) flip(record.*key.field);
  for (std::string& path : record.wind_on_sens_list) flip(path);
  for (std::string& path : record.wind_on_refe_list) flip(path);
  record.absolutePaths = !toRelative;
}
