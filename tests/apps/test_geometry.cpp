// The geometric commands through tamble, on images read from TIFF and .imp.
#include "api/image.h"
#include "host/platform.h"
#include "tests/apps/cliHarness.h"

namespace {

using namespace tamble::testing;

// A 12 by 12 ramp (value x + 12 y) saved as TIFF and as .imp.
class CliGeometry : public cliTest {
 protected:
  void SetUp() override {
    cliTest::SetUp();
    const cliResult r = script("new r 12 12 pattern=ramp\nsave r=r.tif\nsave r=r.imp\n");
    ASSERT_EQ(r.status, 0) << r.err;
  }
  cliResult steps(const std::string& text) { return script("open r=r.tif\n" + text); }
};

// A shift moves the TIFF's values and fills from outside as background.
TEST_F(CliGeometry, ShiftMovesValues) {
  const cliResult r = steps(
      "run scale-rotate-shift m_scx=1 m_scy=1 m_shx=2 m_shy=0 interp=0\nvalue r 2 0\nvalue r 0 "
      "0\n");
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_EQ(lines(r.out).size(), 2u);
  EXPECT_EQ(lines(r.out)[0], "field=0 bkgr=0 ROI=1");  // came from (0, 0)
  EXPECT_EQ(lines(r.out)[1], "field=0 bkgr=1 ROI=1");  // shifted in from outside
}

// The relative transform, on the .imp image, moves the first point onto the second.
TEST_F(CliGeometry, RelativeTransformTakesTheOriginsValue) {
  const cliResult r = script(
      "open r=r.imp\nrun scale-rotate-relative m_scx=1 m_scy=1 m_x1=2 m_y1=1 m_x2=5 m_y2=4 "
      "interp=0\nvalue r 5 4\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "field=14 bkgr=0 ROI=1\n");
}

// A dialog's own check on OK refuses, and nothing runs.
TEST_F(CliGeometry, DialogChecksRefuseAndNothingRuns) {
  const cliResult r = steps("run image-resize m_cp=0 y_pixels=5\nimages\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("Y pixels < 10"), std::string::npos) << r.err;
  EXPECT_EQ(r.out, "");
}

// The peak search and the zoom work on the ROI; a zoom of a whole image does nothing.
TEST_F(CliGeometry, ZoomAndPeakUseTheRegionOfInterest) {
  zel::arrayStore<bool, 2> roi(12, 12);
  roi.fill(false);
  for (int y = 4; y < 8; ++y)
    for (int x = 4; x < 8; ++x) roi(x, y) = true;
  roi.name = "ROI";
  write_array((dir / "roi.imp").string(), roi);
  cliResult r = steps("load-mask r ROI roi.imp\nrun roi-maximum-subpixel-coordinates\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("Original      Xmax= 7    Ymax= 7"), std::string::npos) << r.out;
  r = steps("load-mask r ROI roi.imp\nrun zoom-roi\nvalue r 0 0\nrun zoom-roi\n");
  ASSERT_EQ(r.status, 0) << r.err;
  // The zoom makes the whole image the ROI, so a second zoom has nothing to do.
  EXPECT_NE(r.out.find("ROI=1"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("All Image is ROI."), std::string::npos) << r.out;
}

// A peak in the corner reports every sample off the image; tamble shows each
// run of the same notice as one line with its count.
TEST_F(CliGeometry, RepeatedNoticesShowAsOneLineWithTheirCount) {
  const cliResult r = steps("run roi-maximum-subpixel-coordinates\n");
  ASSERT_EQ(r.status, 0) << r.err;
  const std::vector<std::string> out = lines(r.out);
  ASSERT_GE(out.size(), 3u) << r.out;
  EXPECT_EQ(out[0], "notice: BiCubic40 : index jj out of range (1681 times)");
  EXPECT_EQ(out[1], "notice: BiCubic100 : index jj out of range (10201 times)");
  EXPECT_NE(r.out.find("Original      Xmax= 11    Ymax= 11"), std::string::npos) << r.out;
}

}  // namespace
