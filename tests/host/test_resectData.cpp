// The resection data file: a data set written with its files reads back
// whole; a fault in any file it names leaves the data set as it was and
// says what is wrong; Open Project's reading clears or fills the host's set.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "api/errors.h"
#include "api/iniFile.h"
#include "host/plot3d.h"
#include "host/project.h"
#include "host/resectData.h"
#include "tests/support/meshBlocks.h"
#include "tests/support/tempFolder.h"
#include "tests/support/textFile.h"

namespace fs = std::filesystem;

namespace {

using tamble::testing::readText;
using tamble::testing::testFieldData;
using tamble::testing::writeText;

// Marker files keep six significant digits.
void expectSameMarkers(const zel::markersArray& read, const zel::markersArray& written) {
  ASSERT_EQ(read.count(), written.count());
  for (int i = 0; i < read.count(); ++i) {
    EXPECT_NEAR(read[i].x, written[i].x, 1e-5 * std::abs(written[i].x)) << i;
    EXPECT_NEAR(read[i].y, written[i].y, 1e-5 * std::abs(written[i].y)) << i;
    EXPECT_NEAR(read[i].z, written[i].z, 1e-5 * std::abs(written[i].z) + 1e-9) << i;
    EXPECT_EQ(read[i].id, written[i].id);
  }
}

void expectSameMesh(const zel::field_data<double>& read, const zel::field_data<double>& written) {
  ASSERT_EQ(read.blocks.size(), written.blocks.size());
  for (std::size_t b = 0; b < read.blocks.size(); ++b) {
    EXPECT_EQ(read.blocks[b].ni, written.blocks[b].ni);
    EXPECT_EQ(read.blocks[b].nodes, written.blocks[b].nodes) << "block " << b;
  }
  ASSERT_EQ(read.functions.size(), written.functions.size());
  for (std::size_t f = 0; f < read.functions.size(); ++f) {
    EXPECT_EQ(read.functions[f].name, written.functions[f].name);
    EXPECT_EQ(read.functions[f].values, written.functions[f].values) << written.functions[f].name;
  }
}

class ResectData : public tamble::testing::tempFolderTest {
 protected:
  std::string written() {
    const std::string dat = path("run/run_resect.dat");
    fs::create_directories(path("run"));
    tamble::writeResectData(dat, testFieldData());
    return dat;
  }
  static std::string key(const std::string& dat, const char* k) {
    return zel::ini_read(dat, tamble::resectionSection, k, "no key");
  }
  static void setKey(const std::string& dat, const char* k, const std::string& v) {
    ASSERT_TRUE(zel::ini_write(dat, tamble::resectionSection, k, v));
  }
};

TEST_F(ResectData, ADataSetReadsBackWhole) {
  const std::string dat = written();
  zel::field_data<double> read;
  tamble::readResectData(dat, read);
  const auto data = testFieldData();
  expectSameMesh(read, data);
  EXPECT_EQ(read.name, "wing");
  EXPECT_EQ(read.lengthUnit, "mm");
  EXPECT_EQ(read.meshMarkers.lengthUnit, "mm");
  EXPECT_EQ(read.imageMarkers.lengthUnit, "");
  expectSameMarkers(read.meshMarkers, data.meshMarkers);
  expectSameMarkers(read.imageMarkers, data.imageMarkers);
  EXPECT_TRUE(read.complete());
  EXPECT_EQ(fs::path(read.gridFile), fs::path(path("run/run_resect.x")));
}

// The grid the data set was read from is named, not copied: relative when
// it lies near the .dat.
TEST_F(ResectData, AnExistingGridIsNamedNotRewritten) {
  auto data = testFieldData();
  data.gridFile = path("model/wing.xyz");
  fs::create_directories(path("model"));
  tamble::writePlot3dGrid(data.gridFile, data.blocks,
                          {tamble::plot3dEncoding::ascii, false, true, false});
  const std::string before = readText(data.gridFile);
  const std::string dat = path("run/r.dat");
  fs::create_directories(path("run"));
  tamble::writeResectData(dat, data);
  EXPECT_EQ(key(dat, "grid_file"), "../model/wing.xyz");
  EXPECT_FALSE(fs::exists(path("run/r.x")));
  EXPECT_EQ(readText(data.gridFile), before);
  zel::field_data<double> read;
  tamble::readResectData(dat, read);
  ASSERT_EQ(read.nodeCount(), data.nodeCount());
  EXPECT_FLOAT_EQ(static_cast<float>(read.blocks[1].nodes[7].y),
                  static_cast<float>(data.blocks[1].nodes[7].y));
}

// The mesh markers' unit travels in the .dat, since a marker file with a
// unit does not read back; an explicit key wins over the mesh's unit.
TEST_F(ResectData, MeshMarkersKeepTheirUnit) {
  auto data = testFieldData();
  data.meshMarkers.lengthUnit = "m";
  const std::string dat = path("u.dat");
  tamble::writeResectData(dat, data);
  EXPECT_EQ(key(dat, "mesh_markers_unit"), "m");
  zel::field_data<double> read;
  tamble::readResectData(dat, read);
  EXPECT_EQ(read.meshMarkers.lengthUnit, "m");
  EXPECT_EQ(read.lengthUnit, "mm");
  setKey(dat, "mesh_markers_unit", "");
  tamble::readResectData(dat, read);
  EXPECT_EQ(read.meshMarkers.lengthUnit, "mm");
}

struct fault {
  const char* name;
  std::function<void(const std::string& dat)> apply;
  const char* message;  // a part of the message; the whole when `exact`
  bool exact = false;
};

std::vector<fault> faults() {
  auto in = [](const std::string& dat, const std::string& name) {
    return (fs::path(dat).parent_path() / name).string();
  };
  auto setKey = [](const std::string& dat, const char* k, const std::string& v) {
    zel::ini_write(dat, tamble::resectionSection, k, v);
  };
  return {
      {"mesh_markers_missing",
       [=](const std::string& d) { fs::remove(in(d, "run_resect_mesh_markers.mrk")); },
       tamble::geometryMarkersMissing, true},
      {"mesh_markers_not_named", [=](const std::string& d) { setKey(d, "mesh_markers_file", ""); },
       tamble::geometryMarkersMissing, true},
      {"mesh_markers_damaged",
       [=](const std::string& d) { writeText(in(d, "run_resect_mesh_markers.mrk"), "<Obj"); },
       tamble::geometryMarkersMissing, true},
      {"mesh_markers_empty",
       [=](const std::string& d) {
         writeText(in(d, "run_resect_mesh_markers.mrk"),
                   "<?xml version=\"1.0\"?>\n<ObjectMarkers>\n<NodesNumber>0</NodesNumber>\n"
                   "</ObjectMarkers>\n");
       },
       tamble::geometryMarkersMissing, true},
      {"image_markers_missing",
       [=](const std::string& d) { fs::remove(in(d, "run_resect_image_markers.mrk")); },
       "standard image markers"},
      {"grid_missing", [=](const std::string& d) { fs::remove(in(d, "run_resect.x")); },
       "run_resect.x"},
      {"grid_truncated",
       [=](const std::string& d) {
         const std::string g = readText(in(d, "run_resect.x"));
         writeText(in(d, "run_resect.x"), g.substr(0, g.size() - 3));
       },
       "run_resect.x"},
      {"grid_not_named", [=](const std::string& d) { setKey(d, "grid_file", ""); },
       "grid_file is not given"},
      {"wrong_grid_form", [=](const std::string& d) { setKey(d, "grid_format", "ascii"); },
       "run_resect.x"},
      {"unknown_grid_form", [=](const std::string& d) { setKey(d, "grid_format", "fortran"); },
       "grid_format \"fortran\""},
      {"unknown_length_unit", [=](const std::string& d) { setKey(d, "length_unit", "inch"); },
       "\"inch\""},
      {"no_length_unit", [=](const std::string& d) { setKey(d, "length_unit", ""); },
       "length_unit is not given"},
      {"unknown_marker_unit", [=](const std::string& d) { setKey(d, "mesh_markers_unit", "ft"); },
       "\"ft\""},
      {"fewer_function_names",
       [=](const std::string& d) { setKey(d, "function_names", "Cp"); }, "holds 2 functions"},
      {"empty_function_name",
       [=](const std::string& d) { setKey(d, "function_names", "Cp| "); }, "empty name"},
      {"functions_of_another_grid",
       [=](const std::string& d) {
         tamble::writePlot3dFunctions(in(d, "run_resect.f"), {{3, 3, 1, {std::vector<double>(9)}}});
       },
       "holds 1 blocks, the grid 2"},
      {"dat_missing", [=](const std::string& d) { fs::remove(d); }, "does not exist"},
  };
}

class ResectDataFaults : public ResectData, public ::testing::WithParamInterface<fault> {};

// The data set held before stays whole; the message says what is wrong
// and, but for the mesh markers' fixed text, names the file.
TEST_P(ResectDataFaults, LeaveTheDataSetAsItWas) {
  const std::string dat = written();
  GetParam().apply(dat);
  zel::field_data<double> held;
  held.name = "held";
  held.lengthUnit = "m";
  held.blocks = {tamble::testing::testBlock(2, 2, 1, 9.0)};
  held.addFunction("old");
  held.meshMarkers.add({1, 2, 3, 0, true, 0});
  try {
    tamble::readResectData(dat, held);
    FAIL() << "read";
  } catch (const zel::FileError& e) {
    const std::string m = e.message;
    if (GetParam().exact) {
      EXPECT_EQ(m, GetParam().message);
    } else {
      EXPECT_NE(m.find(GetParam().message), std::string::npos) << m;
      EXPECT_NE(m.find("run_resect"), std::string::npos) << m;
    }
  }
  EXPECT_EQ(held.name, "held");
  EXPECT_EQ(held.lengthUnit, "m");
  ASSERT_EQ(held.blocks.size(), 1u);
  EXPECT_EQ(held.nodeCount(), 4u);
  ASSERT_EQ(held.functions.size(), 1u);
  EXPECT_EQ(held.functions[0].name, "old");
  EXPECT_EQ(held.meshMarkers.count(), 1);
  EXPECT_EQ(held.imageMarkers.count(), 0);
}

INSTANTIATE_TEST_SUITE_P(EveryFile, ResectDataFaults, ::testing::ValuesIn(faults()),
                         [](const auto& info) { return std::string(info.param.name); });

// Data that resection cannot use are not written: no .dat appears.
TEST_F(ResectData, IncompleteDataAreNotWritten) {
  const std::function<void(zel::field_data<double>&)> removals[] = {
      [](auto& d) { d.blocks.clear(); },
      [](auto& d) { d.meshMarkers.items.clear(); },
      [](auto& d) { d.imageMarkers.items.clear(); },
  };
  for (const auto& remove : removals) {
    auto data = testFieldData();
    remove(data);
    EXPECT_THROW(tamble::writeResectData(path("i.dat"), data), zel::StateError);
    EXPECT_FALSE(fs::exists(path("i.dat")));
  }
  auto data = testFieldData();
  data.functions[0].name = "a|b";
  EXPECT_THROW(tamble::writeResectData(path("i.dat"), data), zel::FileError);
  EXPECT_FALSE(fs::exists(path("i.dat")));
}

// Open Project: a project naming the file (relative to its own folder)
// fills the host's set; one naming none empties it.
TEST_F(ResectData, OpenProjectFillsOrClearsTheHostsSet) {
  written();
  zel::vurStr record;
  record.project_file = path("run/run.vur");
  record.resect_data_file = "run_resect.dat";
  get_field_data().clear();
  tamble::readResectionForProject(record);
  EXPECT_TRUE(get_field_data().complete());
  EXPECT_EQ(get_field_data().functions.size(), 2u);
  record.resect_data_file.clear();
  tamble::readResectionForProject(record);
  EXPECT_TRUE(get_field_data().meshEmpty());
  EXPECT_EQ(get_field_data().meshMarkers.count(), 0);
  // A file that fails leaves the set empty, not the earlier project's.
  record.resect_data_file = "run_resect.dat";
  tamble::readResectionForProject(record);
  record.resect_data_file = "missing.dat";
  EXPECT_THROW(tamble::readResectionForProject(record), zel::FileError);
  EXPECT_TRUE(get_field_data().meshEmpty());
}

}  // namespace
