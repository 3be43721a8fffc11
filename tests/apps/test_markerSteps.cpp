// Marker files, camera files and units through the built program; the
// examples of docs/cli.md show the steps working (tests/apps/test_docs.cpp).
#include "api/camera.h"
#include "tests/apps/cliHarness.h"

namespace {

using tamble::testing::cliResult;
using tamble::testing::cliTest;
using tamble::testing::readText;
using tamble::testing::writeText;

using CliMarkers = cliTest;

// Each way a marker step fails says why, and the files stay as they were
// (inputs are never written: test_files.cpp).
TEST_F(CliMarkers, FailuresSayWhyAndLeaveFilesAlone) {
  writeText(dir / "unit.mrk", "<ObjectMarkers>\n<LengthUnit>0/<LengthUnit>\n</ObjectMarkers>\n");
  writeText(dir / "old.mrk", "old");
  const struct {
    const char* step;
    int status;
    const char* said;
  } cases[] = {
      {"save-markers a old.MRK", 2,
       "old.MRK: not a marker file; the extensions are .mrk and .mpt (lower case)"},
      {"save-markers a old.apm", 2, "old.apm: markers are written as .mrk or .mpt, not .apm"},
      {"load-markers a x.mrk", 1, "x.mrk: file not found"},
      {"load-markers a unit.mrk", 1,
       "; a .mrk file with a length unit line is not well-formed XML and cannot be read"},
      {"load-markers a old.mrk", 1, "old.mrk: File error! (at api/markerFiles.cpp:"},
  };
  for (const auto& c : cases) {
    const cliResult r = script(std::string("new a 8 8\nmark a 1 2\n") + c.step + "\n");
    EXPECT_EQ(r.status, c.status) << c.step;
    EXPECT_NE(r.err.find(c.said), std::string::npos) << r.err;
  }
  EXPECT_EQ(readText(dir / "old.mrk"), "old");
}

// Loading replaces the markers wholly: what an earlier file set (no
// pressure, or a pressure) does not outlive the next load.
TEST_F(CliMarkers, LoadingReplacesTheMarkersWholly) {
  writeText(dir / "taps.mrk",
            "<ObjectMarkers>\n<NodesNumber>2</NodesNumber>\n"
            "<Function id=\"x\">1 2</Function>\n<Function id=\"y\">3 4</Function>\n"
            "<Function id=\"f\" name=\"Pressure\">100 200</Function>\n</ObjectMarkers>\n");
  const cliResult r = script(
      "new a 8 8\nmark a 1 2\nsave-markers a a.mpt\nnew b 8 8\nload-markers b a.mpt\n"
      "load-markers b taps.mrk\nsave-markers b out.mrk\nmarkers b\nload-markers b a.mpt\n"
      "markers b\n");
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string written = readText(dir / "out.mrk");
  EXPECT_NE(written.find("name=\"Pressure\""), std::string::npos) << written;
  EXPECT_EQ(written.find("id=\"z\""), std::string::npos) << written;  // the file had none
  const std::size_t second = r.out.find("1 marker\n");
  ASSERT_NE(second, std::string::npos) << r.out;
  EXPECT_NE(r.out.find("2 markers, f is Pressure"), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find("f is Pressure", second), std::string::npos) << r.out;
}

// camera-save keeps the file's comment, other keys and decimal-comma values;
// an unknown key and an unwritable path are refused.
TEST_F(CliMarkers, CameraFilesAreWrittenAndShown) {
  writeText(dir / "c.cam", "; bench camera\n[camera]\nfocus=12,5\nserial=7\n");
  cliResult r = tamble("camera-save c.cam ncx=2.56e3 a2=-1e-5");
  ASSERT_EQ(r.status, 0) << r.err;
  zel::cameraFeatures camera;
  zel::read_camera(path("c.cam"), camera);
  EXPECT_EQ(camera.focus, 12.5);  // kept from the file
  EXPECT_EQ(camera.ncx, 2560);
  EXPECT_EQ(camera.a2, -1e-5);
  const std::string text = readText(dir / "c.cam");
  EXPECT_EQ(text.substr(0, 37), "; bench camera\n[camera]\nfocus=12.5\nse");
  EXPECT_EQ(tamble("camera-save c.cam zoom=2").status, 2);
  EXPECT_EQ(readText(dir / "c.cam"), text);
  r = tamble("camera-save no/such.cam focus=1");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "error: no/such.cam: the camera file cannot be written\n");
}

// A quantity convert does not know is a usage error (the units: docs/cli.md).
TEST_F(CliMarkers, ConvertRefusesAnUnknownQuantity) {
  EXPECT_EQ(tamble("units speed 1 m km").status, 2);
}

}  // namespace
