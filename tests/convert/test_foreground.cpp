// Thinning and expansion of the foreground on masks whose result is known by
// distance: thinning by d takes every pixel within d steps (of the eight)
// of the background or of the image's edge; expansion by d adds every
// background pixel within d steps of the foreground. Neither touches a
// pixel outside the ROI.
#include <gtest/gtest.h>

#include <algorithm>

#include "convert/foreground.h"
#include "filters/circleFilters.h"
#include "tests/support/layers.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::sameBits;

// A 20 by 16 image: value 7 on a foreground square of side 10 from (5, 3),
// -1 on the background around it.
layers square() {
  layers l(20, 16);
  for (int y = 0; y < 16; ++y)
    for (int x = 0; x < 20; ++x) {
      l.bkgr(x, y) = x < 5 || x >= 15 || y < 3 || y >= 13;
      l.field(x, y) = l.bkgr(x, y) ? -1.0f : 7.0f;
    }
  return l;
}

TEST(Thinning, TakesDepthRingsOffTheForegroundAndTheImageEdge) {
  for (int depth : {0, 1, 2, 5}) {
    layers l = square();
    ASSERT_TRUE(ForegroundThinning(l.field, l.bkgr, l.ROI, depth));
    for (int y = 0; y < 16; ++y)
      for (int x = 0; x < 20; ++x) {
        const int inside = std::max(0, std::min({x - 4, 15 - x, y - 2, 13 - y}));
        ASSERT_EQ(l.bkgr(x, y), inside <= depth) << depth << ": " << x << "," << y;
      }
  }
  // A foreground filling the image loses its border: the edge is background.
  layers full(9, 7);
  full.bkgr(4, 3) = true;
  ASSERT_TRUE(ForegroundThinning(full.field, full.bkgr, full.ROI, 1));
  EXPECT_EQ(std::count(full.bkgr.data, full.bkgr.data + 63, false), 7 * 5 - 9);
  EXPECT_TRUE(full.bkgr(0, 3) && full.bkgr(8, 6) && full.bkgr(5, 4) && !full.bkgr(2, 3));
}

// A column outside the ROI across the square keeps its pixels, and the
// background does not pass it: (10, 7) is 5 steps from the right side and
// the top, (8, 7) 4 from the left; (8, 5) is 3 from the top.
TEST(Thinning, NeverChangesAPixelOutsideTheROI) {
  layers l = square();
  for (int y = 0; y < 16; ++y) l.ROI(9, y) = false;
  ASSERT_TRUE(ForegroundThinning(l.field, l.bkgr, l.ROI, 3));
  for (int y = 0; y < 16; ++y) EXPECT_EQ(l.bkgr(9, y), y < 3 || y >= 13) << y;
  EXPECT_FALSE(l.bkgr(10, 7) || l.bkgr(8, 7));
  EXPECT_TRUE(l.bkgr(8, 5));
}

TEST(Foreground, NoBackgroundIsAnsweredAndChangesNothing) {
  layers l(6, 5);
  const layers before = l;
  EXPECT_FALSE(ForegroundThinning(l.field, l.bkgr, l.ROI, 3));
  EXPECT_FALSE(ForegroundExpansion(l.field, l.bkgr, l.ROI, 3, 0, 9));
  EXPECT_TRUE(sameBits(l, before));
}

// A ramp along the edge carries on along it; across the edge the last
// column's value repeats (the ring option mixes in the column before).
TEST(Expansion, ExtrapolatesARampSensibly) {
  struct row {
    int ring, smooth;
    float across;  // the filled value of a ramp 10 x: columns 4 and 5 hold 40 and 50
  };
  for (const row& r : {row{0, 0, 50.0f}, row{0, 9, 50.0f}, row{1, 0, 45.0f}}) {
    layers along(12, 30), across(12, 30);
    for (int y = 0; y < 30; ++y)
      for (int x = 0; x < 12; ++x) {
        along.field(x, y) = 2.0f * y + 1.0f;
        across.field(x, y) = 10.0f * x;
        along.bkgr(x, y) = across.bkgr(x, y) = x > 5;
      }
    ASSERT_TRUE(ForegroundExpansion(along.field, along.bkgr, along.ROI, 2, r.ring, r.smooth));
    ASSERT_TRUE(ForegroundExpansion(across.field, across.bkgr, across.ROI, 1, r.ring, r.smooth));
    // Away from the ends of the ring: each round's mean reaches a row and
    // the kernel four rows further in from the image's top and bottom.
    for (int y = 11; y < 19; ++y) {
      for (int x = 6; x <= 7; ++x) ASSERT_NEAR(along.field(x, y), 2.0f * y + 1.0f, 2e-4f) << y;
      ASSERT_NEAR(across.field(6, y), r.across, 2e-4f) << y;
    }
  }
}

// The expansion as plainly told, one round at a time over the whole image:
// each background ROI pixel with a foreground ROI pixel among its eight
// neighbours takes the mean of those (of the 5 by 5 window with `ring`), the
// Gauss runs over the whole work plane with the filled pixels valid.
void plainExpansion(layers& l, int depth, int ring, int smooth) {
  auto mean = [&l](int x, int y, int r, int& count) {
    float sum = 0.0f;
    count = 0;
    for (int j = std::max(0, y - r); j <= std::min(l.H() - 1, y + r); ++j)
      for (int i = std::max(0, x - r); i <= std::min(l.W() - 1, x + r); ++i)
        if (!l.blocked(i, j)) sum += l.field(i, j), ++count;
    return sum / static_cast<float>(count);
  };
  for (int round = 0; round < depth; ++round) {
    layers work(l.W(), l.H());
    work.bkgr.fill(true);  // not filled
    for (int y = 0; y < l.H(); ++y)
      for (int x = 0; x < l.W(); ++x) {
        int near = 0;
        mean(x, y, 1, near);
        if (!l.bkgr(x, y) || !l.ROI(x, y) || near == 0) continue;
        work.field(x, y) = mean(x, y, ring == 1 ? 2 : 1, near);
        work.bkgr(x, y) = false;
      }
    if (smooth > 0) GaussSeparable(work.field, work.bkgr, l.ROI, 1, smooth + 0.5f);
    for (std::uint64_t i = 0; i < work.field.count; ++i)
      if (!work.bkgr.data[i]) l.field.data[i] = work.field.data[i], l.bkgr.data[i] = false;
  }
}

// The routine works on the growing edge alone; it gives the plain form's
// bits, on scattered background and ROI and on a large region, for every
// option: the rings grow by the depth and never into or across a pixel
// outside the ROI.
TEST(Expansion, GivesTheBitsOfThePlainForm) {
  layers region = tamble::testing::randomLayers(70, 50, 0.05, 5u);
  for (int y = 10; y < 42; ++y)
    for (int x = 8; x < 60; ++x) region.bkgr(x, y) = (x - 34) * (x - 34) + (y - 26) * (y - 26) > 90;
  for (const layers& in : {tamble::testing::randomLayers(70, 50, 0.3, 3u), region})
    for (int ring : {0, 1})
      for (int smooth : {0, 9}) {
        layers mine = in, plain = in;
        ASSERT_TRUE(ForegroundExpansion(mine.field, mine.bkgr, mine.ROI, 6, ring, smooth));
        plainExpansion(plain, 6, ring, smooth);
        EXPECT_TRUE(sameBits(mine, plain)) << "ring " << ring << " smooth " << smooth;
        EXPECT_FALSE(sameBits(mine, in));
      }
}

}  // namespace
