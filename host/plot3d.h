// PLOT3D structured grids and function files, the form in which test
// engineers keep a model's surface (docs/resection-data.md). Multi-block
// files (a block count first) and single-block files (no count); surface
// patches (nk = 1) and volumes; Fortran unformatted records, plain binary
// and ASCII; single and double precision; either byte order.
//
// The readers tell the form from the bytes when no hint is given, check
// every header against the file's length before anything of the claimed
// size is allocated, and refuse a damaged or lying file with zel::FileError
// naming the file and what is wrong.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/fieldData.h"

namespace tamble {

enum class plot3dEncoding { unformatted, binary, ascii };

struct plot3dForm {
  plot3dEncoding encoding = plot3dEncoding::unformatted;
  bool doublePrecision = true;  // 64-bit reals; ints are 32-bit in every form
  bool multiBlock = true;       // a block count before the dimensions
  bool bigEndian = false;       // binary forms only
  bool operator==(const plot3dForm&) const = default;
};

// "unformatted double multi little": the encoding, precision, block form
// and byte order as words.
std::string formText(const plot3dForm& form);
// Words in any order, separated by blanks or commas, each at most once:
// "unformatted", "binary" or "ascii"; "single" or "double"; "multi" or
// "single-block"; "little" or "big". A word left out keeps the default
// above. Nothing for an unknown or repeated word.
std::optional<plot3dForm> parseForm(const std::string& text);

// Reads a grid. With a hint the file is read in that form only; otherwise
// the form is detected (docs/resection-data.md tells how) and, when asked,
// stored in `found`. An iblank array after a block's coordinates is read
// and dropped.
std::vector<zel::meshBlock> readPlot3dGrid(const std::string& path,
                                           const std::optional<plot3dForm>& hint = {},
                                           plot3dForm* found = nullptr);
// Writes the blocks atomically. zel::FileError when the file cannot be
// written, a block's node count does not match its dimensions, or a
// coordinate is not finite. A single-block form takes exactly one block.
void writePlot3dGrid(const std::string& path, const std::vector<zel::meshBlock>& blocks,
                     const plot3dForm& form = {});

// One block of a function file: its dimensions and values[function][node].
struct plot3dFunctionBlock {
  int ni = 0;
  int nj = 0;
  int nk = 0;
  std::vector<std::vector<double>> values;
};

// A function file: per block "ni nj nk nvars" in the header, then each
// block's values one function after the other. NaN values are refused on
// reading; infinities are allowed nowhere.
std::vector<plot3dFunctionBlock> readPlot3dFunctions(const std::string& path,
                                                     const std::optional<plot3dForm>& hint = {},
                                                     plot3dForm* found = nullptr);
void writePlot3dFunctions(const std::string& path, const std::vector<plot3dFunctionBlock>& blocks,
                          const plot3dForm& form = {});

}  // namespace tamble
