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

TEST_F(CliGeometry, FlipAndShiftMoveValues) {
  cliResult r = steps("run flip-rotate regime=3\nvalue r 0 0\nvalue r 11 1\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(lines(r.out),
            (std::vector<std::string>{"field=11 bkgr=0 ROI=1", "field=12 bkgr=0 ROI=1"}));
  r = steps(
      "run scale-rotate-shift m_scx=1 m_scy=1 m_shx=2 m_shy=0 interp=0\nvalue r 2 0\nvalue r 0 "
      "0\n");
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_EQ(lines(r.out).size(), 2u);
  EXPECT_EQ(lines(r.out)[0], "field=0 bkgr=0 ROI=1");  // came from (0, 0)
  EXPECT_EQ(lines(r.out)[1], "field=0 bkgr=1 ROI=1");  // shifted in from outside
}

TEST_F(CliGeometry, RelativeTransformTakesTheOriginsValue) {
  const cliResult r = script(
      "open r=r.imp\nrun scale-rotate-relative m_scx=1 m_scy=1 m_x1=2 m_y1=1 m_x2=5 m_y2=4 "
      "interp=0\nvalue r 5 4\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "field=14 bkgr=0 ROI=1\n");
}

TEST_F(CliGeometry, ResizeAndTrimChangeTheSize) {
  cliResult r = steps("run image-resize m_cp=0 x_pixels=24 y_pixels=18 m_int=1\nimages\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("24x18"), std::string::npos) << r.out;
  r = steps(
      "run image-trim-lengthen x_pixels=10 y_pixels=11 anchor_x=-1 anchor_y=1\nimages\n"
      "value r 9 10\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("10x11"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("field=129 "), std::string::npos) << r.out;  // (9, 10) kept in place
}

TEST_F(CliGeometry, DialogChecksRefuseAndNothingRuns) {
  const cliResult r = steps("run image-resize m_cp=0 y_pixels=5\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("Y pixels < 10"), std::string::npos) << r.err;
  const cliResult scale = steps("run scale-rotate-shift m_scx=0 m_scy=1\n");
  EXPECT_EQ(scale.status, 1);
  EXPECT_NE(scale.err.find("Scale X"), std::string::npos) << scale.err;
}

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

}  // namespace
