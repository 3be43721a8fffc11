// The mesh's functions out as PLOT3D function files with a names file, and
// as VTK XML structured grids gathered by a multi-block index.
#include "host/meshOutput.h"

#include <fstream>

#include "api/errors.h"
#include "host/atomicFile.h"

namespace tamble {
namespace {

void writeText(const std::string& path, const std::string& text) {
  writeAtomically(path, [&](std::FILE* out) {
    return std::fwrite(text.data(), 1, text.size(), out) == text.size();
  });
}

}  // namespace

std::vector<plot3dFunctionBlock> functionBlocks(const zel::field_data<double>& data) {
  if (data.functions.empty()) zel::raise<zel::StateError>("the mesh data set has no function");
  std::vector<plot3dFunctionBlock> blocks;
  for (std::size_t b = 0; b < data.blocks.size(); ++b) {
    const zel::meshBlock& mesh = data.blocks[b];
    plot3dFunctionBlock block{mesh.ni, mesh.nj, mesh.nk, {}};
    for (const auto& f : data.functions) {
      if (f.values.size() != data.blocks.size() || f.values[b].size() != mesh.count())
        zel::raise<zel::StateError>("the function \"" + f.name +
                                    "\" does not match the mesh's blocks");
      block.values.push_back(f.values[b]);
    }
    blocks.push_back(std::move(block));
  }
  return blocks;
}

void writeFunctionNames(const std::string& path, const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& n : names) {
    if (n.empty() || n.find_first_of("\r\n") != std::string::npos)
      zel::raise<zel::FileError>(path + ": the function name \"" + n + "\" cannot be written");
    text += n + "\n";
  }
  writeText(path, text);
}

std::vector<std::string> readFunctionNames(const std::string& path) {
  std::ifstream in(path);
  if (!in) zel::raise<zel::FileError>(path + ": cannot be opened");
  std::vector<std::string> names;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!line.empty()) names.push_back(line);
  }
  return names;
}

meshFunctionFiles writeMeshFunctions(const zel::field_data<double>& data, const std::string& stem) {
  meshFunctionFiles files{stem + ".f", stem + ".nam", {}, {}};
  const std::vector<plot3dFunctionBlock> blocks = functionBlocks(data);
  std::vector<std::string> names;
  for (const auto& f : data.functions) names.push_back(f.name);
  writePlot3dFunctions(files.functions, blocks);
  writeFunctionNames(files.names, names);
  return files;
}

}  // namespace tamble
