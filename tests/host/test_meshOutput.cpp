// The mesh's functions as files: the PLOT3D function file and its names read
// back; the VTK pieces hold the grid's points and every function, with NaN
// and a hidden-point flag where the nodes are missing.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "api/errors.h"
#include "host/meshOutput.h"
#include "tests/support/meshBlocks.h"
#include "tests/support/tempFolder.h"
#include "tests/support/vtkReader.h"

namespace fs = std::filesystem;

namespace {

using tamble::testing::testBlock;
using tamble::testing::testFieldData;
constexpr double missing = zel::field_data<double>::missing;

struct outputCase {
  const char* name;
  std::function<zel::field_data<double>()> make;
};

std::vector<outputCase> outputCases() {
  return {
      {"surfaces_two_functions", [] { return testFieldData(); }},
      {"every_function_missing_somewhere",
       [] {
         auto d = testFieldData();
         // Cp misses where the pressure does, and more: those nodes are hidden.
         for (std::size_t b = 0; b < d.blocks.size(); ++b)
           for (std::size_t n = 0; n < d.blocks[b].count(); ++n)
             if (d.functions[1].values[b][n] == missing || n % 5 == 0)
               d.functions[0].values[b][n] = missing;
         return d;
       }},
      {"volume_and_odd_name",
       [] {
         zel::field_data<double> d;
         d.blocks = {testBlock(3, 2, 4, 0.5)};
         auto& f = d.addFunction("Cp <a&b> \"x\"");
         for (std::size_t n = 0; n < 24; ++n) f.values[0][n] = n % 3 ? 0.25 * n : missing;
         return d;
       }},
  };
}

class MeshOutput : public tamble::testing::tempFolderTest,
                   public ::testing::WithParamInterface<outputCase> {};

TEST_P(MeshOutput, PlotThreeDFunctionsReadBack) {
  const auto d = GetParam().make();
  const auto files = tamble::writeMeshFunctions(d, path("out/run"));
  EXPECT_EQ(files.functions, path("out/run.f"));
  const auto names = tamble::readFunctionNames(files.names);
  const auto blocks = tamble::readPlot3dFunctions(files.functions);
  ASSERT_EQ(names.size(), d.functions.size());
  ASSERT_EQ(blocks.size(), d.blocks.size());
  for (std::size_t f = 0; f < names.size(); ++f) {
    EXPECT_EQ(names[f], d.functions[f].name);
    for (std::size_t b = 0; b < blocks.size(); ++b)
      EXPECT_EQ(blocks[b].values[f], d.functions[f].values[b]) << names[f] << " block " << b;
  }
}

TEST_P(MeshOutput, VtkPiecesHoldPointsFunctionsAndHiddenNodes) {
  const auto d = GetParam().make();
  const auto files = tamble::writeMeshFunctions(d, path("out/run"));
  const auto pieces = tamble::testing::readVtm(files.index);
  ASSERT_EQ(pieces.size(), d.blocks.size());
  for (std::size_t b = 0; b < pieces.size(); ++b) {
    const auto piece = tamble::testing::readVts(pieces[b]);
    const zel::meshBlock& block = d.blocks[b];
    EXPECT_EQ(piece.wholeExtent, "0 " + std::to_string(block.ni - 1) + " 0 " +
                                     std::to_string(block.nj - 1) + " 0 " +
                                     std::to_string(block.nk - 1));
    EXPECT_EQ(piece.scalars, d.functions[0].name);
    ASSERT_EQ(piece.points.size(), 3 * block.count());
    ASSERT_EQ(piece.ghost.size(), block.count());
    for (std::size_t n = 0; n < block.count(); ++n) {
      ASSERT_EQ(piece.points[3 * n], block.nodes[n].x);
      ASSERT_EQ(piece.points[3 * n + 1], block.nodes[n].y);
      ASSERT_EQ(piece.points[3 * n + 2], block.nodes[n].z);
      bool seen = false;
      for (const auto& f : d.functions) {
        const auto& values = piece.arrays.at(f.name);
        const double v = f.values[b][n];
        if (v == missing) {
          ASSERT_TRUE(std::isnan(values[n])) << f.name << " node " << n;
        } else {
          ASSERT_EQ(values[n], v) << f.name << " node " << n;
          seen = true;
        }
      }
      ASSERT_EQ(piece.ghost[n], seen ? 0 : 2) << "node " << n;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(DataSets, MeshOutput, ::testing::ValuesIn(outputCases()),
                         [](const auto& info) { return std::string(info.param.name); });

class MeshOutputFiles : public tamble::testing::tempFolderTest {};

// Nothing to write, or functions that do not fit the blocks: refused
// before any file is made.
TEST_F(MeshOutputFiles, RefusesFunctionsThatDoNotFit) {
  auto none = testFieldData();
  none.functions.clear();
  auto shortOne = testFieldData();
  shortOne.functions[1].values[1].pop_back();
  for (const auto* d : {&none, &shortOne})
    EXPECT_THROW(tamble::writeMeshFunctions(*d, path("run")), zel::StateError);
  EXPECT_TRUE(fs::is_empty(dir));
}

}  // namespace
