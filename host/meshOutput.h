// The functions of the mesh data set as files: a PLOT3D function file with a
// names file beside it (PLOT3D function files carry no names), and VTK
// structured grids that ParaView opens (docs/resection-data.md).
#pragma once

#include <string>
#include <vector>

#include "host/fieldData.h"
#include "host/plot3d.h"

namespace tamble {

// The functions block by block, in the data set's order of functions.
// zel::StateError when the data set has no function, or a function's
// values do not match the blocks.
std::vector<plot3dFunctionBlock> functionBlocks(const zel::field_data<double>& data);

// The names file: one function name per line, in the file's order.
void writeFunctionNames(const std::string& path, const std::vector<std::string>& names);
std::vector<std::string> readFunctionNames(const std::string& path);

// What writeMeshFunctions wrote.
struct meshFunctionFiles {
  std::string functions;  // <stem>.f, unformatted double multi-block
  std::string names;      // <stem>.nam
  std::string index;      // <stem>.vtm, the multi-block index of the VTK pieces
  std::vector<std::string> pieces;  // <stem>_<block>.vts, one per block
};

// Writes the functions of `data` beside `stem` (a folder and a file stem):
// the PLOT3D function file, its names file, and one VTK structured grid per
// block with one scalar array per function and a .vtm that gathers them.
// Nodes that hold `missing` are NaN in the VTK arrays, and 1 (ghost type
// bit 0, "duplicate"? no: see the docs) marks them as hidden points.
meshFunctionFiles writeMeshFunctions(const zel::field_data<double>& data, const std::string& stem);

}  // namespace tamble
