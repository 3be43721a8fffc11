// The naming of commands and the splitting of script lines, without a process.
#include <gtest/gtest.h>

#include "apps/tamble/commandNames.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/words.h"

namespace {

using tamble::cli::commandNames;
using tamble::cli::shortName;
using tamble::cli::splitWords;
using tamble::cli::stepError;

// Labels become lower-case words joined by '-': an operator between single
// letters or brackets becomes a word, any other symbol separates (every
// label of the real table: docs/command-reference.md, test_docs.cpp).
TEST(CliNames, LabelsBecomeShortNames) {
  const std::pair<const char*, const char*> cases[] = {
      {"  X -> M", "x-to-m"},
      {"  (X-M)^2", "x-minus-m-squared"},
      {"ROI Align & Copy...", "roi-align-and-copy"},
      {"USE \"Wind-Off-Sens\" Markers", "use-wind-off-sens-markers"},
      {"BackGround->ROI", "background-to-roi"}};
  for (const auto& [label, name] : cases) EXPECT_EQ(shortName(label), name) << label;
}

plg2dapiFormatInfo row(const char* group, const char* label) {
  plg2dapiFormatInfo r;
  r.group = group;
  r.label = label;
  r.handler = [](zel::imagesList&) { return true; };
  return r;
}

class CliNameTable : public ::testing::Test {
 protected:
  std::vector<plg2dapiFormatInfo> table{row("Edit", "UnDo"),         row("Edit", "Flip/Rotate..."),
                                        row("B Convert", "UnDo"),    row("Tools", "Fill Up..."),
                                        row("B Convert", "Fill Up"), row("MC", "  X -> M")};
  commandNames names{table};

  std::string errorOf(const std::string& typed) {
    try {
      names.resolve(typed);
    } catch (const stepError& e) {
      return e.what();
    }
    return "resolved";
  }
};

// Each way of naming a row, and the row it must find (group and label).
TEST_F(CliNameTable, LabelsShortNamesAndQualifiedFormsFindTheirRow) {
  const std::pair<const char*, const char*> cases[] = {
      {"  X -> M", "MC/  X -> M"},
      {"x-to-m", "MC/  X -> M"},
      {"Flip/Rotate...", "Edit/Flip/Rotate..."},  // a '/' of the label itself
      {"Edit/UnDo", "Edit/UnDo"},
      {"b-convert/undo", "B Convert/UnDo"},
      {"B Convert/fill-up", "B Convert/Fill Up"}};
  for (const auto& [typed, row] : cases) {
    const tamble::commandDescriptor& d = names.resolve(typed);
    EXPECT_EQ(std::string(d.group) + "/" + d.label, row) << typed;
  }
}

// A label or short name two rows share must be qualified.
TEST_F(CliNameTable, SharedLabelsOrShortNamesMustBeQualified) {
  EXPECT_EQ(errorOf("UnDo"),
            "'UnDo' names more than one command; say which: edit/undo, "
            "b-convert/undo");
  // Different labels, one short name.
  EXPECT_EQ(errorOf("fill-up"),
            "'fill-up' names more than one command; say which: "
            "tools/fill-up, b-convert/fill-up");
}

// Short names are matched as written; a qualifier must name the row's group.
TEST_F(CliNameTable, UnknownNamesAreErrors) {
  EXPECT_EQ(errorOf("X-TO-M"), "unknown command 'X-TO-M'; 'tamble commands' lists the commands");
  EXPECT_EQ(errorOf("MC/undo"), "unknown command 'MC/undo'; 'tamble commands' lists the commands");
}

// Quotes and backslashes join words; empty quotes are a word; a comment
// starts only where a word would.
TEST(CliWords, QuotesAndEscapesJoinWords) {
  using words = std::vector<std::string>;
  EXPECT_EQ(splitWords("  run \"  X -> M\"  key=1 "), (words{"run", "  X -> M", "key=1"}));
  EXPECT_EQ(splitWords("a'b c'\"d\\\"e\""), (words{"ab cd\"e"}));
  EXPECT_EQ(splitWords("x \"\" ''"), (words{"x", "", ""}));
  EXPECT_EQ(splitWords("# a comment"), words{});
  EXPECT_EQ(splitWords("save a=a#1.tif # the result"), (words{"save", "a=a#1.tif"}));
  EXPECT_EQ(splitWords("value '#' \\#"), (words{"value", "#", "#"}));
}

// An open quote or a trailing backslash is a usage error.
TEST(CliWords, UnfinishedLinesAreUsageErrors) {
  for (const char* line : {"run \"x", "run 'x", "run x\\"}) {
    try {
      splitWords(line);
      ADD_FAILURE() << line;
    } catch (const stepError& e) {
      EXPECT_EQ(e.exitStatus, 2) << line;
    }
  }
}

}  // namespace
