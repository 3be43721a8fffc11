// The steps on the model's mesh data set (docs/resection-data.md): `mesh`
// loads a resection data file or a bare PLOT3D grid into the session's data
// set and tells what it holds; `save-mesh` writes its functions.
#include <cmath>
#include <cstdio>
#include <algorithm>
#include <filesystem>
#include <vector>
#include <system_error>

#include "api/camera.h"
#include "api/numbers.h"
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

// How far a function of the mesh lies from a true one, over the nodes where
// both hold a value; and how many nodes the found one covers.
void meshCompareStep(session&, const stepArgs& a) {
  const zel::field_data<double>& data = get_field_data();
  const int found = data.findFunction(a.name), truth = data.findFunction(a.command);
  for (const auto& [index, name] : {std::pair{found, a.name}, std::pair{truth, a.command}})
    if (index < 0) throw stepError("the mesh has no function '" + name + "'");
  constexpr double missing = zel::field_data<double>::missing;
  double sum = 0, sumSquares = 0, worst = -1;
  std::size_t n = 0, nodes = 0, worstNode = 0;
  std::vector<double> sizes;
  for (std::size_t b = 0; b < data.blocks.size(); ++b)
    for (std::size_t k = 0; k < data.blocks[b].count(); ++k, ++nodes) {
      const double f = data.functions[found].values[b][k], t = data.functions[truth].values[b][k];
      if (f == missing || t == missing) continue;
      const double d = f - t;
      sum += d, sumSquares += d * d, ++n;
      sizes.push_back(std::fabs(d));
      if (std::fabs(d) > worst) worst = std::fabs(d), worstNode = nodes;
    }
  if (n == 0) throw stepError("no node holds a value in both '" + a.name + "' and '" + a.command + "'");
  // The error that half and 99 % of the nodes stay within.
  auto share = [&sizes](double q) {
    auto at = sizes.begin() + static_cast<std::ptrdiff_t>(q * static_cast<double>(sizes.size() - 1));
    std::nth_element(sizes.begin(), at, sizes.end());
    return *at;
  };
  auto text = [](double v) { return numberText(v, 4, zel::decimalMark::point); };
  const double median = share(0.5), p99 = share(0.99);
  std::printf("nodes=%zu of %zu rms=%s worst=%s at node %zu mean=%s median=%s p99=%s\n", n, nodes,
              text(std::sqrt(sumSquares / n)).c_str(), text(worst).c_str(), worstNode + 1,
              text(sum / n).c_str(), text(median).c_str(), text(p99).c_str());
}

}  // namespace tamble::cli
