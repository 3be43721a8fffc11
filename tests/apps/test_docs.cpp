// The documentation's examples and the demonstration script, run as a user
// would run them, so that neither can drift from what the program does.
#include <cmath>
#include <cstdint>
#include <filesystem>

#include "api/image.h"
#include "host/platform.h"
#include "tests/apps/cliHarness.h"

namespace {

using tamble::testing::cliTest;
using tamble::testing::lines;
using tamble::testing::readText;
using tamble::testing::writeText;

// A command of a `tamble-example` block and what it prints.
struct example {
  int line = 0;  // in the document
  std::string command;
  std::vector<std::string> expected;
};

// "$ " starts a command, "> " continues it, any other line is output.
std::vector<std::vector<example>> exampleBlocks(const std::string& document) {
  std::vector<std::vector<example>> blocks;
  bool inside = false;
  int number = 0;
  for (const std::string& line : lines(document)) {
    ++number;
    if (!inside) {
      inside = line == "```tamble-example";
      if (inside) blocks.emplace_back();
    } else if (line == "```") {
      inside = false;
    } else if (line.rfind("$ ", 0) == 0) {
      blocks.back().push_back({number, line.substr(2), {}});
    } else if (line.rfind("> ", 0) == 0 && !blocks.back().empty()) {
      blocks.back().back().command += "\n" + line.substr(2);
    } else if (!blocks.back().empty()) {
      blocks.back().back().expected.push_back(line);
    }
  }
  return blocks;
}

// Runs of blanks count as one: the table's padding follows its widest row.
std::string squeezed(const std::string& line) {
  std::string out;
  for (char c : line)
    if (c != ' ' || (!out.empty() && out.back() != ' ')) out += c;
  while (!out.empty() && out.back() == ' ') out.pop_back();
  return out;
}

bool failureShown(const std::vector<std::string>& expected) {
  for (const std::string& line : expected)
    if (line.rfind("error: ", 0) == 0) return true;
  return false;
}

class CliDocs : public cliTest {
 protected:
  // The built program first on PATH; no store, log or plug-in of the user's.
  void runBlock(const std::string& page, const std::vector<example>& block) {
    const std::string folder = std::filesystem::path(TAMBLE_EXE).parent_path().string();
    for (const example& e : block) {
      writeText(dir / "example.sh", "PATH='" + folder + "':$PATH\nexport TAMBLE_STORE='" +
                                        (dir / "store.ini").string() +
                                        "'\nunset TAMBLE_PLUGIN TAMBLE_LOG\n" + e.command + "\n");
      const std::string command = "cd '" + dir.string() + "' && sh example.sh >output.txt 2>&1";
      const int status = std::system(command.c_str());
      std::vector<std::string> got, want;
      for (const std::string& line : lines(readText(dir / "output.txt")))
        got.push_back(squeezed(line));
      for (const std::string& line : e.expected) want.push_back(squeezed(line));
      EXPECT_EQ(got, want) << page << ":" << e.line << ": " << e.command;
      EXPECT_EQ(status != 0, failureShown(e.expected))
          << page << ":" << e.line << ": exit " << status << ": " << e.command;
    }
  }
};

// Every page of docs/ may hold examples; the command line guide holds most.
TEST_F(CliDocs, ExamplesOfTheGuidesPrintWhatTheyShow) {
  std::size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(TAMBLE_SOURCE_DIR "/docs")) {
    if (entry.path().extension() != ".md") continue;
    const std::string page = "docs/" + entry.path().filename().string();
    for (const auto& block : exampleBlocks(readText(entry.path()))) {
      ASSERT_FALSE(block.empty()) << page;
      runBlock(page, block);
      std::filesystem::remove_all(dir);  // every block starts in an empty folder
      std::filesystem::create_directory(dir);
      ++count;
    }
  }
  EXPECT_GE(count, 10u);
}

// The command reference is what the descriptors say now; regenerate it with
// `tamble reference > docs/command-reference.md` after changing a command.
TEST_F(CliDocs, CommandReferenceAgreesWithTheDescriptors) {
  const auto r = tamble("reference");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, readText(TAMBLE_SOURCE_DIR "/docs/command-reference.md"))
      << "docs/command-reference.md is out of date: run tamble reference";
}

// wind_on is 1500 less a bell of 1000 (sigma 32) centred on (127.5, 95.5):
// at the corner the bell is 1000 exp(-(127.5^2 + 95.5^2) / 2048), about
// 0.004; at (128, 96) it is 1000 exp(-0.5 / 2048). The ratio is 1000 / wind_on.
TEST_F(CliDocs, DemonstrationWritesTheRatioOfTheTwoFrames) {
  const auto r = tamble("script '" TAMBLE_SOURCE_DIR "/examples/demo.tamble'");
  ASSERT_EQ(r.status, 0) << r.err;
  const double corner = 1500 - 1000 * std::exp(-(127.5 * 127.5 + 95.5 * 95.5) / 2048);
  const double middle = 1500 - 1000 * std::exp(-0.5 / 2048);
  const auto ratio = read_image((dir / "ratio.imp").string());
  ASSERT_EQ(ratio->width(), 256);
  ASSERT_EQ(ratio->height(), 192);
  EXPECT_NEAR(ratio->field()(0, 0), 1000 / corner, 1e-6);
  EXPECT_NEAR(ratio->field()(128, 96), 1000 / middle, 1e-6);
  EXPECT_FALSE(ratio->bkgr()(128, 96));
  // "UnDo" took back the M -> X that overwrote wind_on.
  const auto windOn = read_image((dir / "wind_on.tif").string());
  EXPECT_NEAR(windOn->field()(0, 0), corner, 1e-3);
  EXPECT_EQ(readText(dir / "ratio.png").substr(1, 3), "PNG");
}

// The main job's script converts the synthetic run to a Cp that agrees with
// the truth over the model, to within the photon noise of single frames
// (docs/field-calculation.md measures 0.08 RMS on the paint, markers out).
TEST_F(CliDocs, TheSyntheticRunScriptFindsTheTrueCp) {
  const auto r = tamble("script '" TAMBLE_SOURCE_DIR "/examples/synthetic-run.tamble'");
  ASSERT_EQ(r.status, 0) << r.err;
  const auto found = read_image((dir / "wind_on_sens_Cp.imp").string());
  const auto truth = read_image((dir / "truth_Cp.imp").string());
  ASSERT_EQ(found->field().count, truth->field().count);
  double sum = 0;
  std::uint64_t n = 0;
  for (std::uint64_t i = 0; i < truth->field().count; ++i) {
    if (found->bkgr().data[i] || !found->ROI().data[i] || !truth->ROI().data[i]) continue;
    const double d = found->field().data[i] - truth->field().data[i];
    sum += d * d;
    ++n;
  }
  EXPECT_GT(n, truth->field().count / 8);  // the model is about a sixth of the frame
  EXPECT_LT(std::sqrt(sum / n), 0.1);
  EXPECT_EQ(readText(dir / "Cp.png").substr(1, 3), "PNG");
}

}  // namespace
