#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "api/camera.h"
#include "tests/support/tempFolder.h"
#include "tests/support/textFile.h"

namespace fs = std::filesystem;

namespace {

using tamble::testing::readText;
using tamble::testing::writeText;

// The values of tests/api/data/camera.cam.
zel::cameraFeatures goldenCamera() {
  zel::cameraFeatures c;
  c.camera_ID = "C-17";
  c.camera_name = "PCO edge 5.5";
  c.default_length_unit = "mm";
  c.focus = 25.5;
  c.dx = c.dy = 0.0065;
  c.ncx = c.nfx = 2560;
  c.ncy = c.nfy = 2160;
  c.cx = 1280.25;
  c.cy = -1080.75;
  c.a2 = 1e-5;
  c.a4 = -2.5e-9;
  c.flat_file = "flats/cam1.tif";
  return c;
}

void expectSame(const zel::cameraFeatures& a, const zel::cameraFeatures& b) {
  for (const zel::cameraKey& key : zel::camera_keys())
    EXPECT_EQ(zel::camera_text(a, key), zel::camera_text(b, key)) << key.key;
}

class Camera : public tamble::testing::tempFolderTest {
 protected:
  void SetUp() override {
    tempFolderTest::SetUp();
    file = path("c.cam");
  }

  std::string file;
};

// The writer matches the golden file, which reads back to the same values.
TEST_F(Camera, WriterMatchesTheGoldenFileAndReadsBack) {
  ASSERT_TRUE(zel::write_camera(file, goldenCamera()));
  EXPECT_EQ(readText(file), readText(TAMBLE_TEST_DATA "/camera.cam"));
  zel::cameraFeatures back;
  zel::read_camera(file, back);
  expectSame(back, goldenCamera());
}

// The writer keeps the rest of a file; it refuses a missing folder and a
// text of two lines, writing nothing.
TEST_F(Camera, WriterKeepsTheRestOfAFile) {
  writeText(file, "; lab camera\n[camera]\nfocus=1\nserial=42\n[other]\nx=1\n");
  zel::cameraFeatures c;
  c.focus = 0.1;  // 16 digits: 0.1, not 0.1000000000000000055
  ASSERT_TRUE(zel::write_camera(file, c));
  const std::string text = readText(file);
  EXPECT_EQ(text.substr(0, 38), "; lab camera\n[camera]\nfocus=0.1\nserial");
  EXPECT_NE(text.find("\n[other]\nx=1\n[head]\nversion=Tamble 1\n"), std::string::npos);
  EXPECT_FALSE(zel::write_camera((dir / "no" / "c.cam").string(), c));
  c.camera_name = "two\nlines";
  EXPECT_FALSE(zel::write_camera((dir / "new.cam").string(), c));
  EXPECT_FALSE(fs::exists(dir / "new.cam"));
  EXPECT_EQ(readText(file), text);
}

// Keys that are missing or not numbers keep the caller's values.
TEST_F(Camera, MissingKeysKeepTheCallersValues) {
  writeText(file,
            "[camera]\nfocus=12,5\ncx=no keyhole\ncy=abc\nncx=2048.9\na2=-3e-4\n"
            "camera_name=\n[head]\na4=7\n");
  zel::cameraFeatures c = goldenCamera();
  zel::read_camera(file, c);
  EXPECT_EQ(c.focus, 12.5);   // decimal comma
  EXPECT_EQ(c.cx, 1280.25);   // "no key..." counts as absent
  EXPECT_EQ(c.cy, -1080.75);  // not a number
  EXPECT_EQ(c.ncx, 2048);     // the stream takes the whole part
  EXPECT_EQ(c.a4, -2.5e-9);        // in another section only
  EXPECT_EQ(c.camera_name, "");    // present, and empty
  EXPECT_EQ(c.camera_ID, "C-17");  // absent
  EXPECT_EQ(c.flat_file, "flats/cam1.tif");
}

// A missing file reads every key as empty text: the texts empty, the numbers stay.
TEST_F(Camera, MissingFileEmptiesTheTexts) {
  zel::cameraFeatures c = goldenCamera();
  zel::read_camera((dir / "none.cam").string(), c);
  EXPECT_EQ(c.camera_ID, "");
  EXPECT_EQ(c.flat_file, "");
  EXPECT_EQ(c.focus, 25.5);
  EXPECT_EQ(c.nfx, 2560);
  zel::cameraFeatures d = goldenCamera();
  zel::read_camera("", d);
  expectSame(d, goldenCamera());
  EXPECT_TRUE(zel::write_camera("", d));
}

// Units convert by their tables whatever their case; an unknown unit is
// reported and counts as one.
TEST(Units, TablesCaseAndUnknownUnits) {
  EXPECT_EQ(zel::convert_pressure(2.0, "PSI", "pa"), 13789.52);
  EXPECT_EQ(zel::convert_length(1.0, "MM", "m"), 0.001);
  EXPECT_EQ(zel::convert_temperature(273.16, "K", "C"), 0.0);
  EXPECT_DOUBLE_EQ(zel::convert_temperature(10.0, "r", "k"), 18.0);  // "r" is times 1.8
  ::testing::internal::CaptureStderr();
  EXPECT_DOUBLE_EQ(zel::convert_length(2.0, "furlong", "mm"), 2000.0);
  EXPECT_DOUBLE_EQ(zel::convert_pressure(3.0, "bar", "mbar"), 300000.0);
  EXPECT_DOUBLE_EQ(zel::convert_temperature(300.0, "x", "c"), 300.0 - 273.16);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "furlong: Incorrect length unit\n"
            "mbar: Incorrect new pressure unit\n"
            "x: Incorrect temperature unit\n");
}

}  // namespace
