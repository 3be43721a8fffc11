// The alignment commands through the built program: what stops them says so
// and changes nothing; the examples of docs/cli.md show them working.
#include "tests/apps/cliHarness.h"

namespace {

using tamble::testing::cliResult;
using tamble::testing::cliTest;

using CliAlign = cliTest;

TEST_F(CliAlign, StopsSayWhyAndChangeNothing) {
  const struct {
    const char* steps;
    const char* said;
    bool snapshot = false;  // stopped after the check point (which changed nothing)
  } cases[] = {
      {"select a\nrun image-alignment --image b\n",
       "notice: Markers on the First Image are Absent. Procedure is terminated"},
      {"mark a 5 5\nselect a\nrun image-alignment --image b\n",
       "notice: Markers on the Second Image are Absent. Procedure is terminated"},
      // The same four markers on both: the images count as aligned; no table is written.
      {"mark a 5 5\nmark a 20 9\nmark a 9 25\nmark a 27 27\nmark b 5 5\nmark b 20 9\n"
       "mark b 9 25\nmark b 27 27\nselect a\n"
       "run image-alignment --image b m_QPED=1 --file d.txt\n",
       "notice: The image was not aligned: no displacement table is written.", true},
      {"select a\nrun triangulation-draw\n", "notice: Markers are Absent.\n        No Markers to Triangulate!"},
      {"select a\nrun markers-statistics\n", "notice: Number of Markers Too Small.\n        No Statistics!"},
  };
  for (const auto& c : cases) {
    const cliResult r =
        script(std::string("new a 32 32 pattern=ramp\nnew b 32 32 pattern=ramp\n") + c.steps +
               "run edit/undo\n");
    EXPECT_NE(r.out.find(c.said), std::string::npos) << c.steps << r.out;
    EXPECT_EQ(r.err.find("not available") == std::string::npos, c.snapshot) << c.steps << r.err;
    EXPECT_FALSE(std::filesystem::exists(dir / "d.txt"));
  }
}

}  // namespace
