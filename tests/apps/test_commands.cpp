// The real plug-in's table through the built program: listing, refusals,
// the memory cell, both undos, the transfer buffers and the image choice.
#include "api/image.h"
#include "host/platform.h"
#include "tests/apps/cliHarness.h"

namespace {

using tamble::testing::cliResult;
using tamble::testing::cliTest;
using tamble::testing::lines;

// The listing's row of a short name as "name \"label\" availability": the
// padding between the columns dropped, the label's own blanks kept.
std::string rowLine(const std::string& listing, const std::string& name) {
  for (const std::string& line : lines(listing)) {
    std::istringstream words(line);
    std::string first;
    words >> first;
    if (first != name) continue;
    const std::size_t open = line.find('"');
    const std::size_t close = line.rfind('"');
    return name + " " + line.substr(open, close - open + 1) + " " +
           line.substr(line.find_last_of(' ') + 1);
  }
  return "(missing " + name + ")";
}

using CliTable = cliTest;

TEST_F(CliTable, ListsRowsWithNamesLabelsAndAvailability) {
  const cliResult r = tamble("commands");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(rowLine(r.out, "x-to-m"), "x-to-m \"  X -> M\" no");
  EXPECT_EQ(rowLine(r.out, "x-minus-m-squared"), "x-minus-m-squared \"  (X-M)^2\" no");
  EXPECT_EQ(rowLine(r.out, "image-to-m"), "image-to-m \"Image -> M ...\" no");
  EXPECT_EQ(rowLine(r.out, "edit/undo"), "edit/undo \"UnDo\" no");
  EXPECT_EQ(rowLine(r.out, "b-convert/undo"), "b-convert/undo \"UnDo\" no");
  EXPECT_EQ(rowLine(r.out, "markers-paste"), "markers-paste \"Markers Paste\" no");
  // Groups head their rows, in the table's order; rows not offered are absent.
  const auto all = lines(r.out);
  EXPECT_EQ(all.front(), "MC");
  EXPECT_NE(std::find(all.begin(), all.end(), "B Convert"), all.end());
  EXPECT_EQ(r.out.find("auto-mark-by-reference"), std::string::npos);
  EXPECT_NE(r.out.find("  ----"), std::string::npos);
  EXPECT_EQ(tamble("commands").out, r.out);
}

TEST_F(CliTable, AvailabilityFollowsTheSession) {
  const cliResult r = script("new a 3 2\ncommands\nrun x-to-m\ncommands\n");
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string second = r.out.substr(r.out.rfind("MC\n"));
  const std::string first = r.out.substr(0, r.out.rfind("MC\n"));
  EXPECT_EQ(rowLine(first, "x-to-m"), "x-to-m \"  X -> M\" yes");
  EXPECT_EQ(rowLine(first, "edit/undo"), "edit/undo \"UnDo\" no");
  EXPECT_EQ(rowLine(first, "roi-copy"), "roi-copy \"ROI Copy\" no");
  EXPECT_EQ(rowLine(second, "edit/undo"), "edit/undo \"UnDo\" yes");
}

TEST_F(CliTable, UnavailableUnknownAndAmbiguousCommandsAreRefused) {
  cliResult r = tamble("run x-to-m");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "error: '  X -> M' is not available: image_is_present\n");
  // A test the plug-in keeps to itself is named too.
  r = script("new a 2 2\nrun \"ROI Copy\"\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "error: stdin:2: 'ROI Copy' is not available: roi_is_set\n");
  r = tamble("run no-such-command");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "error: unknown command 'no-such-command'; 'tamble commands' lists the "
            "commands\n");
  r = tamble("run undo");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "error: 'undo' names more than one command; say which: edit/undo, "
            "b-convert/undo\n");
  r = tamble("describe UnDo");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("say which: edit/undo, b-convert/undo"), std::string::npos);
  r = tamble("run Edit/UnDo");  // qualified: found, then refused for its own reason
  EXPECT_EQ(r.err, "error: 'UnDo' is not available: undo_available\n");
}

using CliMemoryCell = cliTest;

// a holds 4 and the cell 4; then M+X 8, M*X 32, M-X 28, M/X 7; (X-M)^2 gives
// a 9, X-M 2, X<->M a 7 and M 2, X/M 3.5, M->X 2.
TEST_F(CliMemoryCell, EveryCommandFromOneScript) {
  const cliResult r = script(R"(new a 4 2 fill=4
run m-plus-x
run m-to-x
run x-to-m
run m-plus-x
run m-times-x
run "  M - X"
run m-by-x
new small 2 2
run x-minus-m
select a
run x-minus-m-squared
value a 3 1
run x-minus-m
value a 0 0
run x-swap-m
value a 0 0
run x-by-m
value a 0 0
run m-to-x
value a 1 1
new empty 0 0
run x-to-m
run m-plus-x
run x-swap-m
)");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(lines(r.out),
            (std::vector<std::string>{
                "notice: Memory Cell is Free", "notice: Memory Cell is Free",
                "notice: Different Dimensions", "field=9 bkgr=0 ROI=1", "field=2 bkgr=0 ROI=1",
                "field=7 bkgr=0 ROI=1", "field=3.5 bkgr=0 ROI=1", "field=2 bkgr=0 ROI=1",
                "notice: No Current Image Available", "notice: No Current Image Available",
                "notice: No Current Image Available"}));
}

TEST_F(CliMemoryCell, ImageChoiceTakesTheNamedImage) {
  cliResult r = script(
      "new a 2 2 fill=1\nnew b 2 2 fill=5\nselect a\nrun image-to-m --image b\nimages\n"
      "select a\nrun m-to-x\nvalue a 0 0\n");
  ASSERT_EQ(r.status, 0) << r.err;
  const auto out = lines(r.out);
  ASSERT_EQ(out.size(), 3u) << r.out;
  EXPECT_EQ(out[0].substr(0, 4), "0   ");  // the chosen image became the current one
  EXPECT_EQ(out[1].substr(0, 4), "1 * ");
  EXPECT_EQ(out[2], "field=5 bkgr=0 ROI=1");

  r = script("new a 2 2\nrun image-to-m\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "error: stdin:2: the command asks to choose an image (Image); give --image "
            "NAME\n");
  r = script("new a 2 2\nnew b 2 2\nrun image-to-m --image c\n");
  EXPECT_EQ(r.err, "error: stdin:3: no image named 'c' to choose (Image); the choices are a, b\n");
}

using CliUndo = cliTest;

// a 4, cell 4, cell 8, a -4: both undos go back to 4, each in its own way.
TEST_F(CliUndo, PluginUndoRestoresOnceAndHostUndoStepsBack) {
  cliResult r = script(
      "new a 2 2 fill=4\nrun x-to-m\nrun m-plus-x\nrun x-minus-m\nvalue a 1 0\n"
      "run b-convert/undo\nvalue a 1 0\nrun b-convert/undo\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(lines(r.out),
            (std::vector<std::string>{"field=-4 bkgr=0 ROI=1", "field=4 bkgr=0 ROI=1"}));
  EXPECT_EQ(r.err, "error: stdin:8: 'UnDo' is not available: undo_available\n");

  r = script("undo\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "error: stdin:1: nothing to undo\n");
  // The arithmetic that wrote the image is one step, the new image b another.
  r = script(
      "new a 2 2 fill=4\nrun x-to-m\nrun m-plus-x\nrun x-minus-m\nnew b 2 2\nundo\nimages\n"
      "undo\nvalue a 1 0\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(lines(r.out), (std::vector<std::string>{"0 * a  2x2          a.tif  0 markers",
                                                    "field=4 bkgr=0 ROI=1"}));
}

using CliBuffers = cliTest;

TEST_F(CliBuffers, RoiCopyAndPasteCarryTheSelection) {
  zel::arrayStore<bool, 2> roi(3, 2);
  roi.fill(true);
  roi(1, 0) = false;
  roi.name = "ROI";
  write_array((dir / "roi.imp").string(), roi);
  const cliResult r = script("new a 3 2\nnew b 3 2\nnew c 2 2\nrun roi-paste\n");
  EXPECT_EQ(r.err, "error: stdin:4: 'ROI Paste' is not available: roi_buffer_is_set\n");
  const cliResult ok = script(
      "new a 3 2\nnew b 3 2\nnew c 2 2\nload-mask a ROI roi.imp\nselect a\nrun roi-copy\n"
      "select b\nrun roi-paste\nvalue b 1 0\nvalue b 0 0\nselect c\nrun roi-paste\n"
      "value c 1 0\n");
  ASSERT_EQ(ok.status, 0) << ok.err;
  // c is of another size: the paste leaves it whole.
  EXPECT_EQ(lines(ok.out), (std::vector<std::string>{"field=0 bkgr=0 ROI=0", "field=0 bkgr=0 ROI=1",
                                                     "field=0 bkgr=0 ROI=1"}));
}

TEST_F(CliBuffers, MarkersCopyAndPasteCarryTheMarkers) {
  cliResult r = script("new a 8 8\nrun markers-copy\n");
  EXPECT_EQ(r.err, "error: stdin:2: 'Markers Copy' is not available: markers_present\n");
  r = script(
      "new a 8 8\nmark a 1.5 2\nmark a 6 6\nrun markers-copy\nnew b 4 4\nrun markers-paste\n"
      "images\n");
  ASSERT_EQ(r.status, 0) << r.err;
  const auto out = lines(r.out);
  ASSERT_EQ(out.size(), 2u) << r.out;
  EXPECT_EQ(out[0].substr(out[0].size() - 9), "2 markers");
  EXPECT_EQ(out[1].substr(out[1].size() - 9), "2 markers");
}

}  // namespace
