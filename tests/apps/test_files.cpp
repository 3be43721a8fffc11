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
using tamble::testing::namesSource;
using tamble::testing::readText;

zel::arrayStore<bool, 2> oneHole(int width, int height, int x, int y) {
  zel::arrayStore<bool, 2> mask(width, height);
  mask.fill(false);
  mask(x, y) = true;
  mask.name = "bkgr";
  return mask;
}

using CliFiles = cliTest;

// A saved TIFF reads back with its values; the ramp is the pixel's index, x + 5 y.
TEST_F(CliFiles, SavedTiffReadsBackWithItsValues) {
  const cliResult r = script("new r 5 3 pattern=ramp\nsave r=r.tif\n");
  ASSERT_EQ(r.status, 0) << r.err;
  const auto img = read_image(path("r.tif"));
  ASSERT_EQ(img->width(), 5);
  ASSERT_EQ(img->height(), 3);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x) EXPECT_EQ(img->field()(x, y), static_cast<float>(x + 5 * y));
}

// The .imp container keeps the masks, and a mask saved alone reads back.
TEST_F(CliFiles, ContainerKeepsMasksAndMasksRoundTrip) {
  write_array(path("hole.imp"), oneHole(3, 2, 2, 1));
  const cliResult r = script(
      "new a 3 2 fill=1.5\nload-mask a bkgr hole.imp\nsave a=a.imp\nsave-mask a bkgr copy.imp\n"
      "value a 2 1\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "field=1.5 bkgr=1 ROI=1\n");
  const auto img = read_image(path("a.imp"));
  EXPECT_TRUE(img->bkgr()(2, 1));
  EXPECT_FALSE(img->bkgr()(0, 0));
  EXPECT_EQ(img->field()(0, 1), 1.5f);
  zel::arrayStore<bool, 2> copy;
  read_array(path("copy.imp"), copy);
  ASSERT_EQ(copy.count, 6u);
  for (std::size_t i = 0; i < copy.count; ++i) EXPECT_EQ(copy[i], i == 5) << i;
}

// Inputs stay byte for byte: writing over an image read is refused.
TEST_F(CliFiles, InputsStayByteForByte) {
  ASSERT_EQ(script("new in 4 3 fill=2\nsave in=in.tif\n").status, 0);
  write_array(path("hole.imp"), oneHole(4, 3, 0, 0));
  const std::string opened = "open in.tif\nload-mask in ROI hole.imp\nrun x-minus-m-squared\n";
  const std::string image = readText(dir / "in.tif");
  const std::string mask = readText(dir / "hole.imp");
  cliResult r = script(opened + "save in=in.tif\n");
  EXPECT_EQ(r.err, "error: stdin:4: 'in.tif' was read as input; input files are never written\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(readText(dir / "in.tif"), image);
  EXPECT_EQ(readText(dir / "hole.imp"), mask);
}

// open names images as asked and refuses a name taken; render writes a PNG.
TEST_F(CliFiles, NamedOpenAndRenderedPicture) {
  ASSERT_EQ(script("new in 4 3\nsave in=in.tif\n").status, 0);
  cliResult r = script("open wind_off=in.tif other=in.tif\nimages\nrender other=p.png bar=off\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "0   wind_off  4x3          in.tif  0 markers\n"
            "1 * other     4x3          in.tif  0 markers\n");
  EXPECT_EQ(readText(dir / "p.png").substr(1, 3), "PNG");
  r = script("open in.tif in.tif\n");
  EXPECT_EQ(r.err, "error: stdin:1: an image named 'in' is open already\n");
}

using CliErrors = cliTest;

// A host's image-model error shows its message and source; the log holds
// each process's arguments and the failure.
TEST_F(CliErrors, ErrorsShowTheirSourceAndTheLogHoldsThem) {
  ASSERT_EQ(tamble("--log run.log new a 2 2").status, 0);
  const cliResult r = tamble("--log run.log open missing.tif");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("error: missing.tif: ", 0), 0u) << r.err;
  EXPECT_TRUE(namesSource(r.err, "host/")) << r.err;
  const auto log = lines(readText(dir / "run.log"));
  ASSERT_GE(log.size(), 3u);
  EXPECT_EQ(log[1], "I:tamble: --store store.ini --log run.log open missing.tif");
  EXPECT_EQ(log.back().rfind("W:tamble: missing.tif: ", 0), 0u) << log.back();
}

// No step at all: what tamble is and the steps of a first run.
TEST_F(CliErrors, NoStepPrintsTheFirstSteps) {
  const cliResult r = tamble("");
  EXPECT_EQ(r.status, 2);
  for (const char* step : {"tamble synth", "project ", "commands", "run ", "render ", "docs/cli.md"})
    EXPECT_NE(r.out.find(step), std::string::npos) << step << " missing from\n" << r.out;
}

// tamble's threads spin briefly before they sleep, unless the user chose;
// OpenMP shows what it took when asked to.
TEST_F(CliErrors, ThreadsSpinBrieflyUnlessTheUserChose) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "GOMP_SPINCOUNT = '10000'"},
      {"GOMP_SPINCOUNT=777 ", "GOMP_SPINCOUNT = '777'"},
      {"OMP_WAIT_POLICY=active ", "OMP_WAIT_POLICY = 'ACTIVE'"},
  };
  for (const auto& [set, shown] : rows) {
    environment = std::string("OMP_DISPLAY_ENV=verbose ") + set;
    const cliResult r = tamble("new a 2 2");
    EXPECT_EQ(r.status, 0) << r.err;
    const std::size_t last = r.err.rfind("OPENMP DISPLAY ENVIRONMENT BEGIN");
    ASSERT_NE(last, std::string::npos) << r.err;
    EXPECT_NE(r.err.find(shown, last), std::string::npos) << set << "\n" << r.err.substr(last);
  }
}

// Usage errors exit with 2, failures with 1; both name the script line.
TEST_F(CliErrors, UsageErrorsExitWithTwoAndNameTheLine) {
  EXPECT_EQ(tamble("new a wide 2").status, 2);
  cliResult r = tamble("frobnicate");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "error: unknown step 'frobnicate'; 'tamble --help' lists the steps\n");
  r = script("new a 2 2\n\n# a comment\nnew b 2 2 pattern=wave\n");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "error: stdin:4: pattern: 'wave' is none of ramp, gauss, checker\n");
  r = script("new a 2 2\nvalue a 2 0\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "error: stdin:2: pixel (2, 0) lies outside 'a' (2x2)\n");
  r = script("new a 2 2\nload-mask b ROI x.imp\n");
  EXPECT_EQ(r.err, "error: stdin:2: no image named 'b'; the images are: a\n");
  r = script("new a 2 2\nrun open-background\n");  // the file choice's proposal is named
  EXPECT_EQ(r.err,
            "error: stdin:2: the command asks for a file (Extended Data, proposing a_BG.imp); "
            "give --file PATH\n");
}

}  // namespace
