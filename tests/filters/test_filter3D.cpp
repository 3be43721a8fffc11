#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <limits>
#include <vector>

#include "filters/circleFilters.h"
#include "tests/filters/filterReferences.h"
#include "tests/filters/filterTestImages.h"
#include "tests/support/scriptedUi.h"

namespace {

using tamble::testing::layers;
using tamble::testing::randomLayers;
using tamble::testing::sameBits;

void filter3D(layers& l, int iterations, float diameter, float height) {
  tamble::Filter3D(l.field, l.bkgr, l.ROI, iterations, diameter, height, true);
}

// Records the progress as well.
struct progressUi : tamble::testing::scriptedUi {
  std::vector<int> percents;
  void progress(const std::string&, int percent) override { percents.push_back(percent); }
};

TEST(Filter3D, EqualsThePixelByPixelSumsBitForBit) {
  // Both weight forms, circles of reach 1 to 5, images with no, few and many
  // blocked pixels, over more than one block of rows, two passes.
  for (bool rational : {true, false})
    for (float diameter : {1.001f, 3.001f, 5.001f, 9.001f})
      for (double share : {0.0, 0.003, 0.2}) {
        layers fast = randomLayers(45, 80, share, 31u);
        layers plain = fast;
        tamble::Filter3D(fast.field, fast.bkgr, fast.ROI, 2, diameter, 20.0f, rational);
        tamble::testing::referenceFilter3D(plain, 2, diameter, 20.0f, rational);
        EXPECT_TRUE(sameBits(fast.field, plain.field))
            << "diameter " << diameter << ", share " << share << (rational ? ", rational" : "");
      }
  // An infinite sample spoils the sums of the pixels that reach it.
  layers fast = randomLayers(45, 40, 0.05, 37u);
  tamble::testing::sprinkle(fast, 6, std::numeric_limits<float>::infinity(), 4u);
  layers plain = fast;
  filter3D(fast, 1, 5.001f, 20.0f);
  tamble::testing::referenceFilter3D(plain, 1, 5.001f, 20.0f, true);
  EXPECT_TRUE(sameBits(fast.field, plain.field));
}

TEST(Filter3D, DiameterThreeUsesTheFiveByFiveCircle) {
  // With a height far above the values every intensity weight is 1 and only
  // the place counts: R = (3 + 1)/2 = 2 reaches (12, 10) from (10, 10),
  // while D = 1.001 gives R = 1.
  for (auto [diameter, reaches] : {std::pair{3.001f, true}, std::pair{1.001f, false}}) {
    layers l(21, 21);
    l.field(10, 10) = 1.0f;
    filter3D(l, 1, diameter, 1e6f);
    EXPECT_EQ(l.field(12, 10) > 0.0f, reaches) << diameter;
    EXPECT_EQ(l.field(12, 12), 0.0f);  // a corner of the 5 by 5 square
  }
}

TEST(Filter3D, KeepsAStepWellAboveTheHeight) {
  layers l(20, 10);
  for (int y = 0; y < 10; ++y)
    for (int x = 10; x < 20; ++x) l.field(x, y) = 100.0f;
  filter3D(l, 1, 5.001f, 1.0f);
  // Across the step the intensity weight is 1/(100^2 + 1).
  for (int y = 0; y < 10; ++y) {
    EXPECT_LT(l.field(9, y), 0.1f);
    EXPECT_GT(l.field(10, y), 99.9f);
  }
}

TEST(Filter3D, BlockedPixelsAreNeitherReadNorWritten) {
  layers a = randomLayers(40, 30, 0.3, 8u);
  layers b = a;
  for (int y = 0; y < a.H(); ++y)
    for (int x = 0; x < a.W(); ++x)
      if (a.blocked(x, y)) {
        a.field(x, y) = 1e30f;
        b.field(x, y) = -7.0f;
      }
  filter3D(a, 2, 3.001f, 10.0f);
  filter3D(b, 2, 3.001f, 10.0f);
  for (int y = 0; y < a.H(); ++y)
    for (int x = 0; x < a.W(); ++x) {
      if (a.blocked(x, y)) {
        EXPECT_EQ(a.field(x, y), 1e30f);
      } else {
        EXPECT_EQ(a.field(x, y), b.field(x, y));
      }
    }
}

TEST(Filter3D, FlatHeightOrAllBlockedLeavesTheImage) {
  layers l = randomLayers(30, 20, 0.0, 2u);
  const layers before = l;
  filter3D(l, 1, 3.001f, 1e-11f);
  EXPECT_TRUE(sameBits(l.field, before.field));
  l.bkgr.fill(true);
  filter3D(l, 1, 3.001f, 10.0f);
  EXPECT_TRUE(sameBits(l.field, before.field));
}

TEST(Filter3D, ReportsProgressUpToTheEnd) {
  progressUi ui;
  tamble::setHostUi(&ui);
  layers l = randomLayers(30, 200, 0.0, 2u);
  filter3D(l, 2, 3.001f, 10.0f);
  tamble::setHostUi(nullptr);
  ASSERT_GE(ui.percents.size(), 3u);
  EXPECT_EQ(ui.percents.front(), 0);
  EXPECT_EQ(ui.percents.back(), 100);
  for (std::size_t i = 1; i < ui.percents.size(); ++i)
    EXPECT_GT(ui.percents[i], ui.percents[i - 1]);
}

TEST(Filter3D, ParallelEqualsSerialAndReportsFromTheCallingThread) {
  const layers start = randomLayers(400, 300, 0.1, 97u);
  for (bool rational : {true, false}) {
    layers serial = start, parallel = start;
    omp_set_num_threads(1);
    tamble::Filter3D(serial.field, serial.bkgr, serial.ROI, 2, 5.001f, 20.0f, rational);
    omp_set_num_threads(4);
    progressUi ui;
    tamble::setHostUi(&ui);
    tamble::Filter3D(parallel.field, parallel.bkgr, parallel.ROI, 2, 5.001f, 20.0f, rational);
    tamble::setHostUi(nullptr);
    EXPECT_TRUE(sameBits(serial.field, parallel.field)) << rational;
    // The percents rise from 0 to 100 while the threads work.
    ASSERT_GE(ui.percents.size(), 3u);
    EXPECT_EQ(ui.percents.front(), 0);
    EXPECT_EQ(ui.percents.back(), 100);
    for (std::size_t i = 1; i < ui.percents.size(); ++i)
      EXPECT_GT(ui.percents[i], ui.percents[i - 1]);
  }
  omp_set_num_threads(omp_get_num_procs());
}

}  // namespace
