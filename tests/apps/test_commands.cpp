// The real plug-in's table through the built program: listing, refusals,
// the image choice and both undos; the examples of docs/cli.md show the
// memory cell and the listing at work (tests/apps/test_docs.cpp), the
// plug-in's own tests the cell and the buffers.
#include "tests/apps/cliHarness.h"

namespace {

using tamble::testing::cliResult;
using tamble::testing::cliTest;
using tamble::testing::lines;

// The availability column of a short name's row in a listing.
std::string available(const std::string& listing, const std::string& name) {
  for (const std::string& line : lines(listing))
    if (line.rfind("  " + name + " ", 0) == 0) return line.substr(line.find_last_of(' ') + 1);
  return "(missing " + name + ")";
}

using CliTable = cliTest;

// Groups head their rows in the table's order; every row of the table is
// offered.
TEST_F(CliTable, ListsRowsUnderTheirGroups) {
  const cliResult r = tamble("commands");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(available(r.out, "b-convert/undo"), "no");
  const auto all = lines(r.out);
  EXPECT_EQ(all.front(), "MC");
  EXPECT_NE(std::find(all.begin(), all.end(), "B Convert"), all.end());
  const auto rows = std::count_if(all.begin(), all.end(), [](const std::string& line) {
    return line.rfind("  ", 0) == 0 && line.rfind("  -", 0) != 0;
  });
  EXPECT_EQ(rows, 113);
}

// "UnDo" becomes available once a command has taken its snapshot.
TEST_F(CliTable, AvailabilityFollowsTheSession) {
  const cliResult r = script("new a 3 2\ncommands\nrun x-to-m\ncommands\n");
  ASSERT_EQ(r.status, 0) << r.err;
  const std::size_t second = r.out.rfind("MC\n");
  EXPECT_EQ(available(r.out.substr(0, second), "edit/undo"), "no");
  EXPECT_EQ(available(r.out.substr(second), "edit/undo"), "yes");
}

// A test the plug-in keeps to itself is named in the refusal; a qualified
// name is found, then refused for its own reason; an ambiguous one exits 1
// or unknown one exits 1 (their wording: test_names.cpp).
TEST_F(CliTable, UnavailableAndAmbiguousCommandsAreRefused) {
  cliResult r = script("new a 2 2\nrun \"ROI Copy\"\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "error: stdin:2: 'ROI Copy' is not available: roi_is_set\n");
  EXPECT_EQ(tamble("run undo").status, 1);
  EXPECT_EQ(tamble("run no-such-command").status, 1);
  r = tamble("run Edit/UnDo");
  EXPECT_EQ(r.err, "error: 'UnDo' is not available: undo_available\n");
}

// A cell of another size, or no image to work on, is a notice, not an error.
TEST_F(CliTable, MemoryCellNoticesOtherSizesAndEmptyImages) {
  const cliResult r =
      script("new a 4 2\nrun x-to-m\nnew small 2 2\nrun x-minus-m\nnew e 0 0\nrun x-to-m\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "notice: Different Dimensions\nnotice: No Current Image Available\n");
}

using CliImageChoice = cliTest;

// --image picks the image and makes it the current one; a missing choice or
// an unknown name is refused.
TEST_F(CliImageChoice, TakesTheNamedImage) {
  cliResult r =
      script("new a 2 2 fill=1\nnew b 2 2 fill=5\nselect a\nrun image-to-m --image b\nimages\n");
  ASSERT_EQ(r.status, 0) << r.err;
  ASSERT_EQ(lines(r.out).size(), 2u) << r.out;
  EXPECT_EQ(lines(r.out)[1].substr(0, 4), "1 * ");
  r = script("new a 2 2\nrun image-to-m\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "error: stdin:2: the command asks to choose an image (Image); give --image "
            "NAME\n");
  r = script("new a 2 2\nnew b 2 2\nrun image-to-m --image c\n");
  EXPECT_EQ(r.err, "error: stdin:3: no image named 'c' to choose (Image); the choices are a, b\n");
}

using CliUndo = cliTest;

// a 4, cell 4, cell 8, a -4: the plug-in's "UnDo" restores once and is then
// refused; the host's undo with nothing recorded is an error (stepping back:
// docs/cli.md).
TEST_F(CliUndo, PluginUndoRestoresOnceAndAnEmptyUndoIsRefused) {
  cliResult r = script(
      "new a 2 2 fill=4\nrun x-to-m\nrun m-plus-x\nrun x-minus-m\nvalue a 1 0\n"
      "run b-convert/undo\nvalue a 1 0\nrun b-convert/undo\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(lines(r.out),
            (std::vector<std::string>{"field=-4 bkgr=0 ROI=1", "field=4 bkgr=0 ROI=1"}));
  EXPECT_EQ(r.err, "error: stdin:8: 'UnDo' is not available: undo_available\n");
  r = script("undo\n");
  EXPECT_EQ(r.err, "error: stdin:1: nothing to undo\n");
}

}  // namespace
