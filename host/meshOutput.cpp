// The mesh's functions out as PLOT3D function files with a names file, and
// as VTK XML structured grids gathered by a multi-block index.
#include "host/meshOutput.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>

#include "api/errors.h"
#include "host/atomicFile.h"

namespace tamble {
namespace {

void writeText(const std::string& path, const std::string& text) {
  writeAtomically(path, [&](std::FILE* out) {
    return std::fwrite(text.data(), 1, text.size(), out) == text.size();
  });
}

// ---- VTK XML -------------------------------------------------------------

// Text for an XML attribute.
std::string escaped(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

const char* byteOrder() {
  return std::endian::native == std::endian::little ? "LittleEndian" : "BigEndian";
}

// The data of a piece's arrays go raw, one after the other, into the
// appended section; each is a 64-bit byte count and the bytes.
class appendedData {
 public:
  // Appends the block and answers its offset.
  template <class T>
  std::size_t add(const std::vector<T>& values) {
    const std::size_t offset = bytes.size();
    const std::uint64_t size = values.size() * sizeof(T);
    put(&size, sizeof size);
    put(values.data(), static_cast<std::size_t>(size));
    return offset;
  }
  std::string bytes;

 private:
  void put(const void* data, std::size_t n) {
    bytes.append(static_cast<const char*>(data), n);
  }
};

std::string dataArray(const char* type, const std::string& name, int components,
                      std::size_t offset) {
  std::string a = std::string("        <DataArray type=\"") + type + "\"";
  if (!name.empty()) a += " Name=\"" + escaped(name) + "\"";
  if (components > 1) a += " NumberOfComponents=\"" + std::to_string(components) + "\"";
  return a + " format=\"appended\" offset=\"" + std::to_string(offset) + "\"/>\n";
}

// One block as a structured grid: its points, a Float64 array per function
// with NaN where the node is missing, and vtkGhostType marking the nodes
// that every function misses as hidden points.
std::string structuredGrid(const zel::field_data<double>& data, std::size_t b) {
  const zel::meshBlock& block = data.blocks[b];
  const std::size_t n = block.count();
  const double missing = zel::field_data<double>::missing;
  appendedData appended;
  std::string arrays;
  std::vector<std::uint8_t> ghost(n, n > 0 && !data.functions.empty() ? 2 : 0);
  for (const auto& f : data.functions) {
    std::vector<double> values(n);
    for (std::size_t i = 0; i < n; ++i) {
      const double v = f.values[b][i];
      values[i] = v == missing ? std::numeric_limits<double>::quiet_NaN() : v;
      if (v != missing) ghost[i] = 0;
    }
    arrays += dataArray("Float64", f.name, 1, appended.add(values));
  }
  arrays += dataArray("UInt8", ghostArrayName, 1, appended.add(ghost));
  std::vector<double> points;
  points.reserve(3 * n);
  for (const auto& p : block.nodes) points.insert(points.end(), {p.x, p.y, p.z});
  const std::string pointArray = dataArray("Float64", "Points", 3, appended.add(points));
  const std::string extent = "0 " + std::to_string(block.ni - 1) + " 0 " +
                             std::to_string(block.nj - 1) + " 0 " + std::to_string(block.nk - 1);
  std::string xml = std::string("<?xml version=\"1.0\"?>\n") +
                    "<VTKFile type=\"StructuredGrid\" version=\"1.0\" byte_order=\"" +
                    byteOrder() + "\" header_type=\"UInt64\">\n" +
                    "  <StructuredGrid WholeExtent=\"" + extent + "\">\n" +
                    "    <Piece Extent=\"" + extent + "\">\n";
  xml += data.functions.empty()
             ? std::string("      <PointData>\n")
             : "      <PointData Scalars=\"" + escaped(data.functions.front().name) + "\">\n";
  xml += arrays + "      </PointData>\n      <Points>\n" + pointArray +
         "      </Points>\n    </Piece>\n  </StructuredGrid>\n" +
         "  <AppendedData encoding=\"raw\">\n   _" + appended.bytes + "\n  </AppendedData>\n" +
         "</VTKFile>\n";
  return xml;
}

std::string multiBlockIndex(const std::vector<std::string>& pieces) {
  std::string xml = std::string("<?xml version=\"1.0\"?>\n") +
                    "<VTKFile type=\"vtkMultiBlockDataSet\" version=\"1.0\" byte_order=\"" +
                    byteOrder() + "\" header_type=\"UInt64\">\n  <vtkMultiBlockDataSet>\n";
  for (std::size_t b = 0; b < pieces.size(); ++b)
    xml += "    <DataSet index=\"" + std::to_string(b) + "\" name=\"block " +
           std::to_string(b + 1) + "\" file=\"" +
           escaped(std::filesystem::path(pieces[b]).filename().string()) + "\"/>\n";
  return xml + "  </vtkMultiBlockDataSet>\n</VTKFile>\n";
}

// The folder of `stem`, made when missing.
void makeFolderFor(const std::string& stem) {
  const std::filesystem::path folder = std::filesystem::path(stem).parent_path();
  std::error_code ec;
  if (!folder.empty()) std::filesystem::create_directories(folder, ec);
  if (!folder.empty() && !std::filesystem::is_directory(folder))
    zel::raise<zel::FileError>(folder.string() + ": the folder cannot be made");
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

meshFunctionFiles writeMeshPlot3d(const zel::field_data<double>& data, const std::string& stem) {
  meshFunctionFiles files{stem + ".f", stem + ".nam", {}, {}};
  const std::vector<plot3dFunctionBlock> blocks = functionBlocks(data);
  makeFolderFor(stem);
  std::vector<std::string> names;
  for (const auto& f : data.functions) names.push_back(f.name);
  writePlot3dFunctions(files.functions, blocks);
  writeFunctionNames(files.names, names);
  return files;
}

meshFunctionFiles writeMeshVtk(const zel::field_data<double>& data, const std::string& stem) {
  functionBlocks(data);  // the same checks as the PLOT3D file
  makeFolderFor(stem);
  meshFunctionFiles files;
  for (std::size_t b = 0; b < data.blocks.size(); ++b) {
    files.pieces.push_back(stem + "_" + std::to_string(b + 1) + ".vts");
    writeText(files.pieces.back(), structuredGrid(data, b));
  }
  files.index = stem + ".vtm";
  writeText(files.index, multiBlockIndex(files.pieces));
  return files;
}

meshFunctionFiles writeMeshFunctions(const zel::field_data<double>& data, const std::string& stem) {
  meshFunctionFiles files = writeMeshPlot3d(data, stem);
  const meshFunctionFiles vtk = writeMeshVtk(data, stem);
  files.index = vtk.index;
  files.pieces = vtk.pieces;
  return files;
}

}  // namespace tamble
