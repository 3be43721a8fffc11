// "Summary...": the figures against values worked out by hand on tiny
// images, the rows of each mode, and the command with its saved file.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "api/imagesList.h"
#include "filters/summary.h"
#include "host/paramRecord.h"
#include "plugin/summaryCommand.h"
#include "tests/support/commandTest.h"
#include "tests/support/layers.h"

namespace {

using namespace tamble;
using tamble::testing::layers;

// 1 2 3 / 4 5 6 with (0, 0) outside the ROI and (2, 1) background: the
// active pixels 2, 3, 4, 5 lie on the plane 1 + x + 3y, as all six do.
layers sixPixels() {
  layers l(3, 2);
  for (int i = 0; i < 6; ++i) l.field.data[i] = static_cast<float>(i + 1);
  l.ROI(0, 0) = false;
  l.bkgr(2, 1) = true;
  return l;
}

summaryRecord summaryOf(const layers& l, int mode) {
  summaryRecord r;
  r.mode = mode;
  ImageSummary(l.field, l.bkgr, l.ROI, r);
  return r;
}

TEST(Summary, FiguresOfSixPixelsByHand) {
  const summaryRecord r = summaryOf(sixPixels(), summaryWithoutTrend);
  const struct {
    const char* name;
    double got, want;
  } rows[] = {
      {"integral", r.integral, 21},
      {"whole min", r.whole.min, 1},
      {"whole max", r.whole.max, 6},
      {"whole mean", r.whole.mean, 3.5},
      {"whole deviation", r.whole.deviation, std::sqrt(17.5 / 6)},
      {"active count", static_cast<double>(r.active.count), 4},
      {"active min", r.active.min, 2},
      {"active min x", static_cast<double>(r.active.minX), 1},
      {"active max", r.active.max, 5},
      {"active max y", static_cast<double>(r.active.maxY), 1},
      {"active mean", r.active.mean, 3.5},
      {"active deviation", r.active.deviation, std::sqrt(1.25)},
      {"active share", r.activeRatio, 400.0 / 6},
      {"full scale", r.fullScale, 255},
      {"saturated ratio", r.saturatedRatio, 2100.0 / (6 * 255)},
      {"whole gain", r.wholeGain, 255.0 / 5},
      {"active gain", r.activeGain, 255.0 / 3},
      {"whole plane Ao", r.wholePlane.a0, 1},
      {"whole plane Ax", r.wholePlane.ax, 1},
      {"whole plane Ay", r.wholePlane.ay, 3},
      {"active plane Ao", r.activePlane.a0, 1},
      {"active plane Ax", r.activePlane.ax, 1},
      {"active plane Ay", r.activePlane.ay, 3},
      {"active dispersion", r.activePlane.dispersion, 0},
      {"active flat deviation", r.activeFlat.deviation, 0},
      {"whole flat mean", r.wholeFlat.mean, 0},
  };
  for (const auto& row : rows) EXPECT_NEAR(row.got, row.want, 1e-9) << row.name;
  EXPECT_TRUE(r.activePlane.byPrecision);
}

// Rows of eight lanes and a tail, summed as vectors (no blocked pixel in
// the row) or one pixel at a time (some blocked): the extremes at their
// first positions, the mean and the deviation as a plain computation gives
// them, whether no row, one row or every row has blocked pixels.
TEST(Summary, LongRowsAgreeWithAPlainComputation) {
  for (int masked : {0, 1, 2}) {
    layers l = tamble::testing::randomLayers(37, 6, masked == 2 ? 0.2 : 0.0, 77u);
    if (masked == 1) l.bkgr(11, 3) = l.bkgr(20, 3) = true;
    l.field(30, 4) = l.field(2, 1) = -3.0f;  // the minimum twice: the first counts
    l.bkgr(30, 4) = l.bkgr(2, 1) = false, l.ROI(30, 4) = l.ROI(2, 1) = true;
    const summaryRecord r = summaryOf(l, summaryWithoutTrend);
    double n = 0, sum = 0;
    for (std::size_t i = 0; i < l.field.count; ++i)
      if (!l.bkgr.data[i] && l.ROI.data[i]) n += 1, sum += l.field.data[i];
    double dev = 0;
    for (std::size_t i = 0; i < l.field.count; ++i)
      if (!l.bkgr.data[i] && l.ROI.data[i])
        dev += (l.field.data[i] - sum / n) * (l.field.data[i] - sum / n);
    EXPECT_EQ(r.active.count, static_cast<long long>(n));
    EXPECT_NEAR(r.active.mean, sum / n, 1e-12 * sum);
    EXPECT_NEAR(r.active.deviation, std::sqrt(dev / n), 1e-9);
    EXPECT_EQ(r.active.min, -3.0);
    EXPECT_EQ(std::pair(r.active.minX, r.active.minY), std::pair(2, 1));
    EXPECT_NEAR(r.activeFlat.mean, 0.0, 1e-9);
    EXPECT_LE(r.activeFlat.min, 0.0);
    EXPECT_GE(r.activeFlat.max, 0.0);
  }
}

// Off the plane: 0 0 / 0 4 has the plane -1 + 2x + 2y, residuals 1 -1 -1 1.
TEST(Summary, PlaneAndResidualsOfASaddle) {
  layers l(2, 2);
  l.field(1, 1) = 4.0f;
  const summaryRecord r = summaryOf(l, summaryWithoutTrend);
  EXPECT_NEAR(r.wholePlane.a0, -1, 1e-12);
  EXPECT_NEAR(r.wholePlane.ax, 2, 1e-12);
  EXPECT_NEAR(r.wholePlane.ay, 2, 1e-12);
  EXPECT_NEAR(r.wholePlane.dispersion, 1, 1e-12);
  EXPECT_NEAR(r.wholeFlat.min, -1, 1e-12);
  EXPECT_EQ(r.wholeFlat.minX, 1);  // (1, 0) comes first in row order
  EXPECT_EQ(r.wholeFlat.minY, 0);
  EXPECT_NEAR(r.wholeFlat.max, 1, 1e-12);
  EXPECT_EQ(r.wholeFlat.maxX, 0);
  EXPECT_NEAR(r.wholeFlat.deviation, 1, 1e-12);
  // One row fixes no plane: the fit says so and keeps the mean level.
  layers line = layers::row({1, 2, 3});
  const summaryRecord s = summaryOf(line, summaryWithoutTrend);
  EXPECT_FALSE(s.wholePlane.byPrecision);
  EXPECT_NEAR(s.wholePlane.a0, 2, 1e-12);
}

// Advanced figures of 0 0 1 1 / 0 0 1 1: two equal levels.
TEST(Summary, AdvancedFiguresOfTwoLevels) {
  layers l(4, 2);
  for (int y = 0; y < 2; ++y) l.field(2, y) = l.field(3, y) = 1.0f;
  const summaryRecord r = summaryOf(l, summaryAdvanced);
  const struct {
    const char* name;
    double got, want, tolerance;
  } rows[] = {
      {"zero pixels", static_cast<double>(r.zeroCount), 4, 0},
      {"zero share", r.zeroPercent, 50, 1e-9},
      {"entropy", r.wholeEntropy, 1, 1e-12},
      {"energy", r.wholeEnergy, 0.5, 1e-12},
      {"active entropy", r.activeEntropy, 1, 1e-12},
      // The threshold lies above the lower level and not above the upper.
      {"entropy threshold", r.entropyThreshold, 0.5, 0.5},
      {"entropy of the two classes", r.entropyThresholdMax, 0, 1e-12},
      {"pdf mean", r.pdfMean, 0.5, 0.01},
      {"pdf rms", r.pdfRms, 0.5, 0.01},
      {"asymmetry", r.asymmetry, 0, 1e-9},
      {"excess", r.excess, -2, 1e-9},
      {"foreground share", r.squaresRatio, 50, 1e-9},
      {"background mean", r.backgroundMean, 0, 0.01},
      {"foreground mean", r.foregroundMean, 1, 0.01},
      // 3x3 squares: every one holds both levels but those of the edge
      // columns; the 5x5 and 7x7 squares all do.
      {"overfall 3 max", r.overfallMax[0][0], 1, 0},
      {"overfall 3 mean", r.overfallMean[0][0], 0.5, 1e-12},
      {"overfall 5 mean", r.overfallMean[0][1], 1, 1e-12},
      {"overfall 7 active mean", r.overfallMean[1][2], 1, 1e-12},
      {"row deviation min", r.rowDeviationMin, 0.5, 1e-12},
      {"row deviation max", r.rowDeviationMax, 0.5, 1e-12},
      {"column deviation max", r.columnDeviationMax, 0, 0},
      // Pairs: 6 across (2 of them 0-1) and 4 down, each counted both
      // ways: the largest entries, 0-0 and 1-1, hold 8 of 20.
      {"haralick", r.haralick, 40, 1e-9},
  };
  for (const auto& row : rows) EXPECT_NEAR(row.got, row.want, row.tolerance) << row.name;
}

// Each mode shows its blocks' rows; a mean at 0 leaves the relative rows
// without a figure.
TEST(Summary, RowsOfEachMode) {
  const struct {
    int mode;
    std::size_t rows;
    const char *first, *last;
  } cases[] = {
      {summaryEasy, 10, "Active Pixels Number                                     4",
       "Active Image Standard Deviation w/o Trend Relative in pc 0.000000"},
      {summaryAdvanced, 17 + 21 + 27, "Image Length in Horizontal Direction (X)                 3",
       "Exit By Precision"},
      {summaryWithoutTrend, 17 + 8, "Image Length in Horizontal Direction (X)                 3",
       "Active Image Standard Deviation w/o Trend                0.000000"},
  };
  for (const auto& c : cases) {
    const std::vector<std::string> rows = summaryLines(summaryOf(sixPixels(), c.mode));
    ASSERT_EQ(rows.size(), c.rows) << c.mode;
    EXPECT_EQ(rows.front(), c.first);
    EXPECT_EQ(rows.back(), c.last);
  }
  const std::vector<std::string> easy = summaryLines(summaryOf(sixPixels(), summaryEasy));
  EXPECT_EQ(easy[6], "Active Image Standard Deviation Relative in pc           31.943828");

  layers balanced = layers::row({-1, 1, -2, 2});
  const std::vector<std::string> zero = summaryLines(summaryOf(balanced, summaryEasy));
  EXPECT_EQ(zero[6], "Active Image Standard Deviation Relative in pc");
  EXPECT_EQ(zero[9], "Active Image Standard Deviation w/o Trend Relative in pc");
}

using SummaryCommandTest = tamble::testing::commandTest;

// The mode is stored, the image stays, no "UnDo"; OK on the rows saves
// them to the chosen file, a name without extension getting ".txt".
TEST_F(SummaryCommandTest, ShowsTheRowsAndSavesThem) {
  zel::image& img = addRamp(4, 3);
  list.recording = true;
  const std::string base = ::testing::TempDir() + "summary_" + std::to_string(::getpid());
  user.ui.fileChoices = {base};
  params({{"advanced", "Processing w/o Trend"}});
  EXPECT_TRUE(SummaryCommand(list));
  EXPECT_EQ(read_param("StatStart", "advanced", -1), 2);
  EXPECT_FALSE(list.undoAvailable());
  EXPECT_TRUE(list.actions().empty());
  EXPECT_EQ(img.field()(3, 2), 23.0f);
  ASSERT_EQ(user.ui.proposedFiles, std::vector<std::string>{"Statistics"});
  EXPECT_EQ(user.ui.fileFilters.back(), "Statistic files (*.txt)|*.txt||");
  std::ifstream in(base + ".txt");
  std::vector<std::string> saved;
  for (std::string line; std::getline(in, line);) saved.push_back(line);
  summaryRecord r;
  r.mode = summaryWithoutTrend;
  ImageSummary(img.field(), img.bkgr(), img.ROI(), r);
  EXPECT_EQ(saved, summaryLines(r));
  std::remove((base + ".txt").c_str());

  // Cancel in the mode dialog: nothing shown, nothing stored.
  user.ui.dialogOk = {false};
  params({{"advanced", "0"}});
  SummaryCommand(list);
  EXPECT_EQ(read_param("StatStart", "advanced", -1), 2);
  EXPECT_EQ(user.ui.proposedFiles.size(), 1u);
}

}  // namespace
