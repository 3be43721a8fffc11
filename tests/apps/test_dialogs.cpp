// Parameters, answers, files and failures, through a stand-in plug-in whose
// commands ask for them, and `describe` on both plug-ins.
#include "tests/apps/cliHarness.h"

namespace {

using tamble::testing::cliResult;
using tamble::testing::cliTest;
using tamble::testing::lines;
using tamble::testing::namesSource;
using tamble::testing::readText;
using tamble::testing::writeText;

class CliDialogs : public cliTest {
 protected:
  void SetUp() override {
    cliTest::SetUp();
    useStub();
  }
};

// 2 * 3 = 6 with the given factor; the store keeps 3 for the next process,
// where 6 * 3 * 3 = 54 with two steps.
TEST_F(CliDialogs, KeyValuesFillTheDialogAndTheStoreKeepsThem) {
  cliResult r = script("new a 2 2 fill=2\nrun scale-values factor=3\nvalue a 0 0\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "field=6 bkgr=0 ROI=1\n");
  r = script("new a 2 2 fill=6\nrun \"Scale Values...\" m_steps=2\nvalue a 1 1\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "field=54 bkgr=0 ROI=1\n");
}

// Out of range, unknown key, not a number: refused before anything runs or is stored.
TEST_F(CliDialogs, OutOfRangeOrUnknownValuesStopBeforeAnythingRuns) {
  const std::pair<const char*, const char*> rows[] = {
      {"factor=9", "Factor: enter a number between 0.5 and 8"},
      {"size=2", "Unknown parameter 'size' for Scale Values; its keys are: m_factor, m_steps"},
      {"factor=two", "factor: 'two' is not a number"}};
  for (const auto& [given, said] : rows) {
    const cliResult r = script(std::string("new a 2 2\nrun scale-values ") + given + "\n");
    EXPECT_EQ(r.status, 1) << given;
    EXPECT_EQ(r.err, std::string("error: stdin:2: ") + said + "\n");
  }
  EXPECT_FALSE(std::filesystem::exists(dir / "store.ini"));
}

// A guard before the dialog stops the command; values given are then an error.
TEST_F(CliDialogs, GuardStopsTheCommandWithItsNotice) {
  const cliResult r = script("new a 1 1 fill=2\nrun scale-values factor=3\n");
  EXPECT_EQ(r.out, "notice: Image Too Small\n");
  // The values were never asked for: that is an error after the notice.
  EXPECT_EQ(r.err,
            "error: stdin:2: 'Scale Values...' ran without asking for factor=3 (it "
            "showed no parameter dialog)\n");
}

// Answers go to the questions in order; a missing one follows --unanswered,
// a spare one is an error, a word other than yes/no a usage error.
TEST_F(CliDialogs, AnswersGoToQuestionsInOrder) {
  cliResult r = tamble("run ask-twice --answer yes --answer no");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "question: Proceed?\n"
            "          The values will change.\n"
            "answer: yes\n"
            "question: Keep going?\n"
            "answer: no\n"
            "notice: answers: yes no\n");
  r = tamble("run ask-twice --answer no");
  EXPECT_EQ(r.err, "error: unanswered question: Keep going?\n");
  r = tamble("--unanswered yes run ask-twice --answer no");
  EXPECT_NE(r.out.find("answer: yes (--unanswered)\nnotice: answers: no yes\n"), std::string::npos);
  r = tamble("run ask-twice --answer yes --answer yes --answer no");
  EXPECT_EQ(r.err, "error: 'Ask Twice' ran without asking for --answer no\n");
  r = tamble("run ask-twice --answer maybe");
  EXPECT_EQ(r.status, 2);
}

// --file answers the file choices in order; a missing one and an input as
// output are refused.
TEST_F(CliDialogs, FilesAnswerFileChoicesAndInputsAreNeverTargets) {
  writeText(dir / "in.txt", "table");
  cliResult r = tamble("run pick-files --file in.txt --file out.txt");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "notice: read in.txt, write out.txt\n");
  r = tamble("run pick-files --file in.txt");
  EXPECT_EQ(r.err, "error: the command asks for a file (Save Table); give --file PATH\n");
  r = tamble("run pick-files --file in.txt --file in.txt");
  EXPECT_EQ(r.err, "error: 'in.txt' was read as input; input files are never written\n");
  EXPECT_EQ(readText(dir / "in.txt"), "table");
}

// A command's image-model error names its source file, and its script line.
TEST_F(CliDialogs, ImageModelErrorsNameTheirSource) {
  cliResult r = script("new a 2 2\nrun fail\nnew b 2 2\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("error: stdin:2: stub failure (at ", 0), 0u) << r.err;
  EXPECT_TRUE(namesSource(r.err, "tests/apps/stubPlugin.cpp")) << r.err;
}

class CliDescribe : public cliTest {};

// Opening a single paint without m_type says which stored answer it took;
// with m_type it says nothing more.
TEST_F(CliDescribe, AnUnansweredPaintQuestionSaysWhatItTook) {
  const cliResult r = script(
      "synth . paint=single size=64\nproject run.vur\nproject run.vur m_type=T\n"
      "project run.vur\n");
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string said = "note: a single paint, taken as ";
  const std::size_t first = r.out.find(said + "pressure paint (m_type=P, the stored answer)");
  ASSERT_NE(first, std::string::npos) << r.out;
  const std::size_t second = r.out.find(said, first + 1);
  ASSERT_NE(second, std::string::npos) << r.out;
  EXPECT_EQ(r.out.compare(second, said.size() + 11, said + "temperature"), 0) << r.out;
  EXPECT_EQ(r.out.find(said, second + 1), std::string::npos) << r.out;  // two notes, not three
}

// A project that brings no paint's images is closed, and the user is told
// which file, what it brought and what a paint needs; a malformed line is
// named with its line. Either way the step fails.
TEST_F(CliDescribe, AProjectOfNoPaintSaysWhyAndFails) {
  struct row {
    const char* file;
    const char* said;  // on standard output, or "" for none
    const char* error;
  };
  const row rows[] = {
      {"", "p.vur: not a project of a paint, found none of its images",
       "'p.vur' was not opened as a project"},
      {"[images]\nwind_off_sens_file=a.tif\n",
       "p.vur: not a project of a paint, found wind_off_sens;", "'p.vur' was not opened"},
      {"[x\n=\n", "", "p.vur:1: a section header without its \"]\": \"[x\""},
  };
  ASSERT_EQ(script("new a 4 4 fill=1\nsave a=a.tif\n").status, 0);
  for (const row& c : rows) {
    tamble::testing::writeText(dir / "p.vur", c.file);
    const cliResult r = tamble("project p.vur");
    EXPECT_EQ(r.status, 1) << c.file;
    if (*c.said) {
      EXPECT_NE(r.out.find(c.said), std::string::npos) << c.file << "\n" << r.out;
    }
    EXPECT_NE(r.err.find(c.error), std::string::npos) << r.err;
  }
}

// A field that only shows a value (the image's MIN beside "3D Filter...") is
// refused as an input, and nothing runs.
TEST_F(CliDescribe, ShownOnlyFieldsAreRefusedAsInputs) {
  const cliResult r = script("new a 4 4 fill=2\nrun 3d-filter m_min=5\nvalue a 0 0\n");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "error: stdin:2: 'm_min' (MIN) only shows a value the command computes; it cannot be "
            "set\n");
}

// The row, its tooltip and help, and the dialog with the stored values;
// a guard that would stop the command does not hide the dialog.
TEST_F(CliDescribe, ShowsTheRowAndTheDialogWithStoredValues) {
  useStub();
  writeText(dir / "store.ini", "[StubScale]\nm_factor=1,5\n");
  const std::string before = readText(dir / "store.ini");
  const cliResult r = script("new a 1 1\ndescribe scale-values\n");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "scale-values  \"Scale Values...\"\n"
            "  group:     Stub\n"
            "  tooltip:   A stub command\n"
            "  help:      stub.chm::/html/stub.htm\n"
            "  available: yes\n"
            "  dialog:    Scale Values\n"
            "               m_factor=1.5  (float, 0.5 - 8)  Factor\n"
            "               m_steps=1  (int, 1 - 4)  Steps\n");
  EXPECT_EQ(readText(dir / "store.ini"), before);  // Cancel saves nothing
}

// Describing "UnDo" leaves this session's snapshot and values alone.
TEST_F(CliDescribe, LeavesTheSessionAsItWas) {
  const cliResult r = script(
      "new a 2 2 fill=4\nrun x-to-m\nrun x-minus-m\ndescribe edit/undo\nvalue a 0 0\n"
      "run edit/undo\nvalue a 0 0\n");
  ASSERT_EQ(r.status, 0) << r.err;
  const auto out = lines(r.out);
  ASSERT_EQ(out.size(), 8u) << r.out;
  EXPECT_EQ(out[6], "field=0 bkgr=0 ROI=1");
  EXPECT_EQ(out[7], "field=4 bkgr=0 ROI=1");
}

}  // namespace
