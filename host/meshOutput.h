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

// The point array of VTK's ghost flags; the flag 2 hides a point.
inline constexpr const char* ghostArrayName = "vtkGhostType";

// Writes the functions of `data` beside `stem` (a folder and a file stem):
// the PLOT3D function file, its names file, and one VTK XML structured grid
// per block (raw appended data) with one Float64 array per function and a
// .vtm index that gathers them. A node that holds `missing` is NaN in that
// function's array; a node that every function misses is also a hidden
// point in vtkGhostType. zel::StateError when there is no function.
meshFunctionFiles writeMeshFunctions(const zel::field_data<double>& data, const std::string& stem);
// Its two halves: the PLOT3D function and names files, and the VTK files.
meshFunctionFiles writeMeshPlot3d(const zel::field_data<double>& data, const std::string& stem);
meshFunctionFiles writeMeshVtk(const zel::field_data<double>& data, const std::string& stem);

}  // namespace tamble
