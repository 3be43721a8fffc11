// Files in and out through the built program: images and masks written and
// read back by the host's own readers, inputs left as they were, and how
// failures are reported.
#include "api/image.h"
#include "host/platform.h"
#include "tests/apps/cliHarness.h"

namespace {

using tamble::testing::cliResult;
using tamble::testing::cliTest;
using tamble::testing::lines;
using tamble::testing::readText;
using tamble::testing::sourceFile;

zel::arrayStore<bool, 2> oneHole(int width, int height, int x, int y) {
  zel::arrayStore<bool, 2> mask(width, height);
  mask.fill(false);
  mask(x, y) = true;
  mask.name = "bkgr";
  return mask;
}

using CliFiles = cliTest;

// The ramp is the pixel's index, x + 5 y.
TEST_F(CliFiles, SavedTiffReadsBackWithItsValues) {
  const cliResult r = script("new r 5 3 pattern=ramp\nsave r=r.tif\n");
  ASSERT_EQ(r.status, 0) << r.err;
  const auto img = read_image((dir / "r.tif").string());
  ASSERT_EQ(img->width(), 5);
  ASSERT_EQ(img->height(), 3);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x) EXPECT_EQ(img->field()(x, y), static_cast<float>(x + 5 * y));
}

TEST_F(CliFiles, ContainerKeepsMasksAndMasksRoundTrip) {
  write_array((dir / "hole.imp").string(), oneHole(3, 2, 2, 1));
  const cliResult r = script(
      "new a 3 2 fill=1.5\nload-mask a bkgr hole.imp\nsave a=a.imp\nsave-mask a bkgr copy.imp\n"
      "value a 2 1\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "field=1.5 bkgr=1 ROI=1\n");
  const auto img = read_image((dir / "a.imp").string());
  EXPECT_TRUE(img->bkgr()(2, 1));
  EXPECT_FALSE(img->bkgr()(0, 0));
  EXPECT_EQ(img->field()(0, 1), 1.5f);
  zel::arrayStore<bool, 2> copy;
  read_array((dir / "copy.imp").string(), copy);
  ASSERT_EQ(copy.count, 6u);
  for (std::size_t i = 0; i < copy.count; ++i) EXPECT_EQ(copy[i], i == 5) << i;
}

TEST_F(CliFiles, InputsStayByteForByte) {
  zel::image in(4, 3);
  in.setFieldName("in");
  in.fillField(2.0f);
  write_image((dir / "in.tif").string(), in);
  write_array((dir / "hole.imp").string(), oneHole(4, 3, 0, 0));
  const std::string script_ =
      "open in.tif\nload-mask in ROI hole.imp\nrun x-to-m\n"
      "run m-plus-x\nrun x-minus-m\nimages\nsave in=out.tif\n";
  const std::string image = readText(dir / "in.tif");
  const std::string mask = readText(dir / "hole.imp");
  cliResult r = script(script_);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "0 * in  4x3          in.tif  0 markers\n");
  EXPECT_EQ(read_image((dir / "out.tif").string())->field()(1, 1), -2.0f);
  // Writing over an input is refused; so is a mask over a mask read.
  r = script(script_ + "save in=in.tif\n");
  EXPECT_EQ(r.err, "error: stdin:8: 'in.tif' was read as input; input files are never written\n");
  r = script(script_ + "save-mask in ROI hole.imp\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(readText(dir / "in.tif"), image);
  EXPECT_EQ(readText(dir / "hole.imp"), mask);
}

TEST_F(CliFiles, NamedOpenAndRenderedPicture) {
  zel::image in(4, 3);
  in.setFieldName("in");
  write_image((dir / "in.tif").string(), in);
  cliResult r = script("open wind_off=in.tif other=in.tif\nimages\nrender other=p.png bar=off\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "0   wind_off  4x3          in.tif  0 markers\n"
            "1 * other     4x3          in.tif  0 markers\n");
  EXPECT_EQ(readText(dir / "p.png").substr(1, 3), "PNG");
  r = script("open in.tif in.tif\n");
  EXPECT_EQ(r.err, "error: stdin:1: an image named 'in' is open already\n");
  r = script("new a 2 2\nrender a=a.png colormap=nosuch\n");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err.rfind("error: stdin:2: colormap: 'nosuch' is none of ", 0), 0u) << r.err;
}

using CliErrors = cliTest;

TEST_F(CliErrors, ImageModelErrorsShowMessageAndSource) {
  const cliResult r = tamble("open missing.tif");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("error: missing.tif: ", 0), 0u) << r.err;
  EXPECT_EQ(sourceFile(r.err).rfind("host/", 0), 0u) << r.err;
  EXPECT_EQ(r.out, "");
}

TEST_F(CliErrors, LogHoldsTheStepsAndTheFailure) {
  const cliResult r = tamble("--log run.log new a 2 2");
  ASSERT_EQ(r.status, 0) << r.err;
  tamble("--log run.log open missing.tif");
  const auto log = lines(readText(dir / "run.log"));
  ASSERT_GE(log.size(), 3u);
  EXPECT_EQ(log[0], "I:tamble: --store store.ini --log run.log new a 2 2");
  EXPECT_EQ(log[1], "I:tamble: --store store.ini --log run.log open missing.tif");
  EXPECT_EQ(log.back().rfind("W:tamble: missing.tif: ", 0), 0u) << log.back();
}

TEST_F(CliErrors, UsageErrorsExitWithTwoAndNameTheLine) {
  cliResult r = tamble("new a wide 2");
  EXPECT_EQ(r.status, 2);
  r = tamble("frobnicate");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "error: unknown step 'frobnicate'; 'tamble --help' lists the steps\n");
  r = script("new a 2 2\n\n# a comment\nnew b 2 2 pattern=wave\n");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "error: stdin:4: pattern: 'wave' is none of ramp, gauss, checker\n");
  r = script("new a 2 2\nrun \"x-to-m\n");
  EXPECT_EQ(r.err, "error: stdin:2: a \" quote is not closed\n");
  r = script("new a 2 2\nvalue a 2 0\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "error: stdin:2: pixel (2, 0) lies outside 'a' (2x2)\n");
  r = script("new a 2 2\nload-mask b ROI x.imp\n");
  EXPECT_EQ(r.err, "error: stdin:2: no image named 'b'; the images are: a\n");
}

}  // namespace
