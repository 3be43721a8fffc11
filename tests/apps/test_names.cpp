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

TEST(CliNames, OperatorLabelsBecomeWords) {
  EXPECT_EQ(shortName("  X -> M"), "x-to-m");
  EXPECT_EQ(shortName("  M -> X"), "m-to-x");
  EXPECT_EQ(shortName("  X <-> M"), "x-swap-m");
  EXPECT_EQ(shortName("  M + X"), "m-plus-x");
  EXPECT_EQ(shortName("  M - X"), "m-minus-x");
  EXPECT_EQ(shortName("  M * X"), "m-times-x");
  EXPECT_EQ(shortName("  M / X"), "m-by-x");
  EXPECT_EQ(shortName("  X / M"), "x-by-m");
  EXPECT_EQ(shortName("  (X-M)^2"), "x-minus-m-squared");
  EXPECT_EQ(shortName("Image -> M ..."), "image-to-m");
}

TEST(CliNames, SymbolsBetweenWordsSeparate) {
  EXPECT_EQ(shortName("Flip/Rotate..."), "flip-rotate");
  EXPECT_EQ(shortName("Closed Regions Wipe$ BG..."), "closed-regions-wipe-bg");
  EXPECT_EQ(shortName("ROI Align & Copy..."), "roi-align-and-copy");
  EXPECT_EQ(shortName("USE \"Wind-Off-Sens\" Markers"), "use-wind-off-sens-markers");
  EXPECT_EQ(shortName("BackGround->ROI"), "background-to-roi");
  EXPECT_EQ(shortName("Cross Correlation (Phase Only)..."), "cross-correlation-phase-only");
  EXPECT_EQ(shortName("B Convert"), "b-convert");
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

TEST_F(CliNameTable, LabelsShortNamesAndQualifiedFormsFindTheirRow) {
  EXPECT_EQ(&names.resolve("  X -> M"), &table[5]);
  EXPECT_EQ(&names.resolve("x-to-m"), &table[5]);
  EXPECT_EQ(&names.resolve("Flip/Rotate..."), &table[1]);  // a '/' of the label itself
  EXPECT_EQ(&names.resolve("Edit/Flip/Rotate..."), &table[1]);
  EXPECT_EQ(&names.resolve("Edit/UnDo"), &table[0]);
  EXPECT_EQ(&names.resolve("edit/undo"), &table[0]);
  EXPECT_EQ(&names.resolve("b-convert/undo"), &table[2]);
  EXPECT_EQ(&names.resolve("B Convert/fill-up"), &table[4]);
}

TEST_F(CliNameTable, SharedLabelsOrShortNamesMustBeQualified) {
  EXPECT_EQ(errorOf("undo"),
            "'undo' names more than one command; say which: edit/undo, "
            "b-convert/undo");
  EXPECT_EQ(errorOf("UnDo"),
            "'UnDo' names more than one command; say which: edit/undo, "
            "b-convert/undo");
  // Different labels, one short name.
  EXPECT_EQ(errorOf("fill-up"),
            "'fill-up' names more than one command; say which: "
            "tools/fill-up, b-convert/fill-up");
  EXPECT_EQ(names.typedName(table[0]), "edit/undo");
  EXPECT_EQ(names.typedName(table[3]), "tools/fill-up");
  EXPECT_EQ(names.typedName(table[1]), "flip-rotate");
}

TEST_F(CliNameTable, UnknownNamesAreErrors) {
  EXPECT_EQ(errorOf("x to m"), "unknown command 'x to m'; 'tamble commands' lists the commands");
  EXPECT_EQ(errorOf("X-TO-M"), "unknown command 'X-TO-M'; 'tamble commands' lists the commands");
  EXPECT_EQ(errorOf("MC/undo"), "unknown command 'MC/undo'; 'tamble commands' lists the commands");
}

TEST(CliWords, QuotesAndEscapesJoinWords) {
  using words = std::vector<std::string>;
  EXPECT_EQ(splitWords("  run \"  X -> M\"  key=1 "), (words{"run", "  X -> M", "key=1"}));
  EXPECT_EQ(splitWords("a'b c'\"d\\\"e\""), (words{"ab cd\"e"}));
  EXPECT_EQ(splitWords("'a\\b' \"a\\b\" a\\ b"), (words{"a\\b", "a\\b", "a b"}));
  EXPECT_EQ(splitWords("x \"\" ''"), (words{"x", "", ""}));
}

TEST(CliWords, CommentsStartOnlyAtAWord) {
  using words = std::vector<std::string>;
  EXPECT_EQ(splitWords("# a comment"), words{});
  EXPECT_EQ(splitWords("   "), words{});
  EXPECT_EQ(splitWords("save a=a#1.tif # the result"), (words{"save", "a=a#1.tif"}));
  EXPECT_EQ(splitWords("value '#' \\#"), (words{"value", "#", "#"}));
}

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
