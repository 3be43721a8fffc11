// The resection data file: reading it (with the grid, markers and functions
// it names) all or nothing, and writing it with its files.
#include "host/resectData.h"

#include <filesystem>

#include "api/camera.h"
#include "api/errors.h"
#include "api/iniFile.h"
#include "api/log.h"
#include "api/markerFiles.h"
#include "api/paths.h"
#include "host/atomicFile.h"
#include "host/meshOutput.h"
#include "host/plot3d.h"
#include "host/project.h"
#include "host/projectFile.h"

namespace tamble {
namespace {

namespace fs = std::filesystem;

constexpr const char* formatVersion = "Tamble 1";
// Function names in one value: "Pressure|Cp".
constexpr char nameSeparator = '|';

[[noreturn]] void fail(const std::string& path, const std::string& what) {
  zel::raise<zel::FileError>(path + ": " + what);
}

std::string folderOf(const std::string& path) {
  return fs::absolute(fs::path(path)).parent_path().string();
}

class datReader {
 public:
  explicit datReader(std::string p) : path(std::move(p)), folder(folderOf(path)) {
    std::error_code ec;
    if (!fs::is_regular_file(path, ec)) fail(path, "the resection data file does not exist");
    try {
      ini.open(path, true);
    } catch (const zel::GenericError& e) {
      fail(path, e.message);
    }
  }

  std::string value(const char* key) const {
    return ini.get(resectionSection, key).value_or("");
  }
  std::string required(const char* key) const {
    const std::string v = value(key);
    if (v.empty()) fail(path, std::string("[") + resectionSection + "] " + key + " is not given");
    return v;
  }
  std::string file(const char* key) const { return vur::absolute_in(required(key), folder); }

  const std::string path;
  const std::string folder;

 private:
  zel::zel_ini_file ini;
};

std::vector<std::string> splitNames(const std::string& text) {
  std::vector<std::string> names;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t end = text.find(nameSeparator, start);
    if (end == std::string::npos) end = text.size();
    std::string n = text.substr(start, end - start);
    const auto first = n.find_first_not_of(" \t"), last = n.find_last_not_of(" \t");
    names.push_back(first == std::string::npos ? std::string() : n.substr(first, last - first + 1));
    start = end + 1;
  }
  return names;
}

// A marker file of .mrk or .mpt form with at least one marker; nothing
// when it is missing, of another form, unreadable or empty.
std::optional<zel::markersArray> markerFile(const std::string& file) {
  const std::string ext = zel::extension(file);
  std::error_code ec;
  if ((ext != "mrk" && ext != "mpt" && ext != "apm") || !fs::is_regular_file(file, ec))
    return std::nullopt;
  zel::markersArray markers;
  try {
    zel::load_markers(file, markers, 0);
  } catch (const zel::GenericError&) {
    return std::nullopt;
  }
  if (markers.count() == 0) return std::nullopt;
  return markers;
}

zel::markersArray meshMarkers(const datReader& dat, const std::string& meshUnit) {
  const std::string given = dat.value("mesh_markers_file");
  const std::string file = given.empty() ? std::string() : vur::absolute_in(given, dat.folder);
  std::optional<zel::markersArray> m;
  if (!file.empty() && zel::extension(file) != "apm") m = markerFile(file);
  if (!m) {
    zel::get_log().level(2).write(dat.path + ": mesh markers \"" + file + "\": " +
                                  geometryMarkersMissing);
    zel::raise<zel::FileError>(geometryMarkersMissing);
  }
  const std::string unit = dat.value("mesh_markers_unit");
  if (!unit.empty()) m->lengthUnit = unit;
  if (m->lengthUnit.empty()) m->lengthUnit = meshUnit;
  if (!zel::is_length_unit(m->lengthUnit))
    fail(dat.path, "the mesh markers' length unit \"" + m->lengthUnit + "\" is none of " +
                       zel::length_unit_names());
  return *m;
}

zel::markersArray imageMarkers(const datReader& dat) {
  const std::string file = dat.file("image_markers_file");
  std::optional<zel::markersArray> m = markerFile(file);
  if (!m) fail(dat.path, "the standard image markers \"" + file + "\" are absent or wrong");
  m->lengthUnit.clear();  // pixels
  return *m;
}

// The functions file and its names, checked against the grid's blocks.
std::vector<zel::meshFunction<double>> functions(const datReader& dat,
                                                 const std::vector<zel::meshBlock>& blocks) {
  std::vector<zel::meshFunction<double>> out;
  if (dat.value("functions_file").empty()) return out;
  const std::string file = dat.file("functions_file");
  const std::vector<std::string> names = splitNames(dat.required("function_names"));
  for (const std::string& n : names)
    if (n.empty()) fail(dat.path, "function_names holds an empty name");
  const std::vector<plot3dFunctionBlock> read = readPlot3dFunctions(file);
  if (read.size() != blocks.size())
    fail(file, "holds " + std::to_string(read.size()) + " blocks, the grid " +
                   std::to_string(blocks.size()));
  for (std::size_t b = 0; b < read.size(); ++b) {
    const plot3dFunctionBlock& f = read[b];
    const zel::meshBlock& g = blocks[b];
    if (f.ni != g.ni || f.nj != g.nj || f.nk != g.nk)
      fail(file, "block " + std::to_string(b + 1) + " differs in size from the grid's");
    if (f.values.size() != names.size())
      fail(file, "block " + std::to_string(b + 1) + " holds " + std::to_string(f.values.size()) +
                     " functions where function_names gives " + std::to_string(names.size()));
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    zel::meshFunction<double> fn{names[i], {}};
    for (const plot3dFunctionBlock& f : read) fn.values.push_back(f.values[i]);
    out.push_back(std::move(fn));
  }
  return out;
}

std::string relativeTo(const std::string& file, const std::string& folder) {
  return vur::relative_in(fs::absolute(file).lexically_normal().string(), folder);
}

void writeText(const std::string& path, const std::string& text) {
  writeAtomically(path, [&](std::FILE* out) {
    return std::fwrite(text.data(), 1, text.size(), out) == text.size();
  });
}

}  // namespace

void readResectData(const std::string& path, zel::field_data<double>& data) {
  const datReader dat(path);
  zel::field_data<double> fresh;
  fresh.name = dat.value("name");
  if (fresh.name.empty()) fresh.name = zel::base_name(path);
  fresh.lengthUnit = dat.required("length_unit");
  if (!zel::is_length_unit(fresh.lengthUnit))
    fail(path, "the length unit \"" + fresh.lengthUnit + "\" is none of " +
                   zel::length_unit_names());
  const std::string form = dat.value("grid_format");
  std::optional<plot3dForm> hint;
  if (!form.empty() && !(hint = parseForm(form)))
    fail(path, "grid_format \"" + form + "\" is no PLOT3D form (docs/resection-data.md)");
  fresh.gridFile = dat.file("grid_file");
  fresh.blocks = readPlot3dGrid(fresh.gridFile, hint);
  fresh.meshMarkers = meshMarkers(dat, fresh.lengthUnit);
  fresh.imageMarkers = imageMarkers(dat);
  fresh.functions = functions(dat, fresh.blocks);
  fresh.current = data.current;
  data = std::move(fresh);
}

void writeResectData(const std::string& path, const zel::field_data<double>& data) {
  if (!data.complete())
    zel::raise<zel::StateError>(path +
                                ": the resection data are not complete (a mesh, mesh markers and "
                                "standard image markers are needed)");
  for (const auto& f : data.functions)
    if (f.name.find(nameSeparator) != std::string::npos)
      fail(path, "the function name \"" + f.name + "\" holds a \"|\"");
  const std::string folder = folderOf(path);
  const std::string stem = (fs::path(folder) / fs::path(path).stem()).string();
  std::string text = std::string("; Tamble resection data, described in docs/resection-data.md\n[") +
                     resectionSection + "]\n";
  auto line = [&text](const char* key, const std::string& value) {
    text += std::string(key) + "=" + value + "\n";
  };
  line("version", formatVersion);
  line("name", data.name);
  line("length_unit", data.lengthUnit);
  std::error_code ec;
  if (!data.gridFile.empty() && fs::is_regular_file(data.gridFile, ec)) {
    line("grid_file", relativeTo(data.gridFile, folder));
  } else {
    const plot3dForm form;
    writePlot3dGrid(stem + ".x", data.blocks, form);
    line("grid_file", fs::path(stem + ".x").filename().string());
    line("grid_format", formText(form));
  }
  // A .mrk with a length unit does not read back (docs/file-formats.md): the
  // unit goes into the .dat.
  zel::markersArray mesh = data.meshMarkers;
  const std::string meshUnit = mesh.lengthUnit.empty() ? data.lengthUnit : mesh.lengthUnit;
  mesh.lengthUnit.clear();
  zel::markersArray image = data.imageMarkers;
  image.lengthUnit.clear();
  zel::write_mrk(stem + "_mesh_markers.mrk", mesh);
  zel::write_mrk(stem + "_image_markers.mrk", image);
  line("mesh_markers_file", fs::path(stem).filename().string() + "_mesh_markers.mrk");
  line("mesh_markers_unit", meshUnit);
  line("image_markers_file", fs::path(stem).filename().string() + "_image_markers.mrk");
  if (!data.functions.empty()) {
    const meshFunctionFiles files = writeMeshPlot3d(data, stem);
    std::string names;
    for (const auto& f : data.functions) names += (names.empty() ? "" : "|") + f.name;
    line("functions_file", fs::path(files.functions).filename().string());
    line("function_names", names);
  }
  writeText(path, text);
}

void readResectionForProject(const zel::vurStr& record) {
  zel::field_data<double>& data = get_field_data();
  data.clear();
  if (record.resect_data_file.empty()) return;
  readResectData(vur::absolute_in(record.resect_data_file, vur::project_folder(record)), data);
}

}  // namespace tamble

void read_field(const std::string& path, zel::field_data<double>& data) {
  tamble::readResectData(path, data);
}

void write_field(const std::string& path, const zel::field_data<double>& data) {
  tamble::writeResectData(path, data);
}
