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

TEST_F(CliMarkers, FailuresSayWhyAndLeaveFilesAlone) {
  writeText(dir / "unit.mrk",
            "<ObjectMarkers>\n    <LengthUnit>0/<LengthUnit>\n</ObjectMarkers>\n");
  writeText(dir / "old.mrk", "old");
  const struct {
    const char* step;
    int status;
    const char* said;
  } cases[] = {
      {"save-markers a old.MRK", 2,
       "old.MRK: not a marker file; the extensions are .mrk and .mpt (lower case)"},
      {"save-markers a old.apm", 2, "old.apm: markers are written as .mrk or .mpt, not .apm"},
      {"load-markers a old.txt", 2,
       "old.txt: not a marker file; the extensions are .mrk, .mpt, .inm and .apm (lower case)"},
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
  // An image without markers writes nothing: the old file stays.
  const cliResult empty = script("new e 8 8\nsave-markers e old.mrk\n");
  EXPECT_EQ(empty.status, 0) << empty.err;
  EXPECT_EQ(empty.out, "note: 'e' has no markers; old.mrk is not written\n");
  EXPECT_EQ(readText(dir / "old.mrk"), "old");
}

TEST_F(CliMarkers, MarkersReadAreInputsAndAreNotOverwritten) {
  writeText(dir / "in.mpt", "1 2 3\n");
  const cliResult r = script("new a 8 8\nload-markers a in.mpt\nsave-markers a in.mpt\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(readText(dir / "in.mpt"), "1 2 3\n");
}

TEST_F(CliMarkers, CameraFilesAreWrittenAndShown) {
  writeText(dir / "c.cam", "; bench camera\n[camera]\nfocus=12,5\nserial=7\n");
  cliResult r = tamble("camera-save c.cam camera_ID=C-17 ncx=2.56e3 a2=-1e-5");
  ASSERT_EQ(r.status, 0) << r.err;
  zel::cameraFeatures camera;
  zel::read_camera((dir / "c.cam").string(), camera);
  EXPECT_EQ(camera.camera_ID, "C-17");
  EXPECT_EQ(camera.focus, 12.5);  // kept from the file
  EXPECT_EQ(camera.ncx, 2560);
  EXPECT_EQ(camera.a2, -1e-5);
  const std::string text = readText(dir / "c.cam");
  EXPECT_EQ(text.substr(0, 37), "; bench camera\n[camera]\nfocus=12.5\nse");
  r = tamble("camera-show c.cam");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("\nfocus=12.5\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("\na2=-1e-05\n"), std::string::npos) << r.out;
  r = tamble("camera-save c.cam nfx=12.5");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "error: nfx: '12.5' is not a whole number\n");
  r = tamble("camera-save c.cam zoom=2");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(readText(dir / "c.cam"), text);
  r = tamble("camera-save no/such.cam focus=1");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "error: no/such.cam: the camera file cannot be written\n");
}

TEST_F(CliMarkers, ConvertSaysWhenAUnitIsUnknown) {
  cliResult r = tamble("convert pressure 2 psi pa");
  EXPECT_EQ(r.out, "13789.52\n");
  r = tamble("convert temperature 0 c k");
  EXPECT_EQ(r.out, "273.16\n");
  r = tamble("convert length 2000 MM parsec");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "2\n");
  EXPECT_EQ(r.err, "parsec: Incorrect new length unit\n");
  EXPECT_EQ(tamble("convert speed 1 m km").status, 2);
}

}  // namespace
