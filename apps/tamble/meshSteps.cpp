// The steps on the model's mesh data set (docs/resection-data.md): `mesh`
// loads a resection data file or a bare PLOT3D grid into the session's data
// set and tells what it holds; `save-mesh` writes its functions.
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "api/camera.h"
#include "api/paths.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/session.h"
#include "apps/tamble/steps.h"
#include "host/fieldData.h"
#include "host/meshOutput.h"
#include "host/plot3d.h"
#include "host/resectData.h"

namespace tamble::cli {
namespace {

struct gridOptions {
  std::string unit = "mm";
  std::optional<plot3dForm> form;
};

gridOptions parseGridOptions(const std::vector<std::string>& words) {
  gridOptions o;
  for (const std::string& word : words) {
    const auto [key, value] = splitPair(word, "key=value");
    if (key == "unit") {
      if (!zel::is_length_unit(value))
        throw usageError("unit: '" + value + "' is none of " + zel::length_unit_names());
      o.unit = value;
    } else if (key == "form") {
      o.form = parseForm(value);
      if (!o.form) throw usageError("form: '" + value + "' is no PLOT3D form");
    } else {
      throw usageError("unknown option '" + key + "'; the options are unit, form");
    }
  }
  return o;
}

void printSummary(const std::string& file, const zel::field_data<double>& d) {
  std::printf("%s: %zu block%s, %zu nodes, unit %s\n", file.c_str(), d.blocks.size(),
              d.blocks.size() == 1 ? "" : "s", d.nodeCount(), d.lengthUnit.c_str());
  for (std::size_t b = 0; b < d.blocks.size(); ++b)
    std::printf("  block %zu: %dx%dx%d\n", b + 1, d.blocks[b].ni, d.blocks[b].nj, d.blocks[b].nk);
  std::printf("markers: %d on the model", d.meshMarkers.count());
  if (d.meshMarkers.count() > 0) std::printf(" (%s)", d.meshMarkers.lengthUnit.c_str());
  std::printf(", %d on the image\n", d.imageMarkers.count());
  std::string names;
  for (const auto& f : d.functions) names += (names.empty() ? "" : ", ") + f.name;
  std::printf("functions: %s\n", names.empty() ? "none" : names.c_str());
}

}  // namespace

void meshStep(session& s, const stepArgs& a) {
  std::error_code ec;
  if (!std::filesystem::is_regular_file(a.file, ec)) throw stepError(a.file + ": file not found");
  s.inputs.add(a.file);
  zel::field_data<double>& data = get_field_data();
  if (zel::lower(zel::extension(a.file)) == "dat") {
    if (!a.words.empty()) throw usageError("a resection data file names its own unit and form");
    readResectData(a.file, data);
    s.inputs.add(data.gridFile);
  } else {
    const gridOptions o = parseGridOptions(a.words);
    zel::field_data<double> fresh;
    fresh.blocks = readPlot3dGrid(a.file, o.form);
    fresh.name = zel::base_name(a.file);
    fresh.lengthUnit = o.unit;
    fresh.gridFile = std::filesystem::absolute(a.file).string();
    data = std::move(fresh);
  }
  printSummary(a.file, data);
}

void saveMeshStep(session& s, const stepArgs& a) {
  const zel::field_data<double>& data = get_field_data();
  if (data.meshEmpty()) throw stepError("no mesh is loaded (the step mesh loads one)");
  if (data.functions.empty()) throw stepError("the mesh holds no function to write");
  const std::string stem = a.file;
  std::vector<std::string> outputs{stem + ".f", stem + ".nam", stem + ".vtm"};
  for (std::size_t b = 0; b < data.blocks.size(); ++b)
    outputs.push_back(stem + "_" + std::to_string(b + 1) + ".vts");
  for (const std::string& out : outputs) s.inputs.checkWritable(out);
  const meshFunctionFiles files = writeMeshFunctions(data, stem);
  std::printf("%s, %s: %zu function%s\n", files.functions.c_str(), files.names.c_str(),
              data.functions.size(), data.functions.size() == 1 ? "" : "s");
  std::printf("%s: %zu VTK piece%s\n", files.index.c_str(), files.pieces.size(),
              files.pieces.size() == 1 ? "" : "s");
}

}  // namespace tamble::cli
