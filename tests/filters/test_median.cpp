#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "filters/circleFilters.h"
#include "tests/filters/filterReferences.h"
#include "tests/filters/filterTestImages.h"

namespace {

using tamble::testing::layers;
using tamble::testing::randomLayers;
using tamble::testing::referenceCircle;
using tamble::testing::referenceSquare;
using tamble::testing::sameBits;

void circle(layers& l, int iterations, int diameter) {
  tamble::MedianCircle(l.field, l.bkgr, l.ROI, iterations, diameter);
}

TEST(MedianCircle, EqualsAFullSortForEveryWindowSize) {
  // Diameters 1 to 5 have networks (1, 9 and 21 cells), 7 and 9 select by
  // sorting. No blocked pixel runs the networks on whole rows; a few make
  // rows mix networks and single pixels; many leave few whole windows. The
  // tall images run in several bands of rows, and infinities are samples
  // like any other.
  for (int diameter : {1, 2, 3, 4, 5, 7, 9})
    for (double share : {0.0, 0.003, 0.2})
      for (auto [w, h] : {std::pair{90, 37}, std::pair{41, 150}}) {
        layers fast = randomLayers(w, h, share, 7u + diameter);
        tamble::testing::sprinkle(fast, 20, std::numeric_limits<float>::infinity(), 1u);
        tamble::testing::sprinkle(fast, 20, -std::numeric_limits<float>::infinity(), 2u);
        layers plain = fast;
        circle(fast, 2, diameter);
        referenceCircle(plain, 2, diameter);
        EXPECT_TRUE(sameBits(fast.field, plain.field))
            << "diameter " << diameter << ", share " << share << ", " << w << "x" << h;
      }
}

TEST(MedianCircle, BlockedPixelsAreNeitherReadNorWritten) {
  layers a = randomLayers(40, 30, 0.3, 3u);
  layers b = a;
  for (int y = 0; y < a.H(); ++y)
    for (int x = 0; x < a.W(); ++x)
      if (a.blocked(x, y)) {
        a.field(x, y) = std::numeric_limits<float>::quiet_NaN();
        b.field(x, y) = 1e30f;
      }
  circle(a, 3, 5);
  circle(b, 3, 5);
  for (int y = 0; y < a.H(); ++y)
    for (int x = 0; x < a.W(); ++x) {
      if (a.blocked(x, y)) {
        EXPECT_TRUE(std::isnan(a.field(x, y)));
        EXPECT_EQ(b.field(x, y), 1e30f);
      } else {
        EXPECT_EQ(a.field(x, y), b.field(x, y));
      }
    }
}

TEST(MedianCircle, EvenCountGivesTheLowerMiddle) {
  layers l(3, 1);
  l.field(0, 0) = 20.0f;
  l.field(1, 0) = 10.0f;
  l.field(2, 0) = 99.0f;
  l.bkgr(2, 0) = true;
  circle(l, 1, 3);
  EXPECT_EQ(l.field(0, 0), 10.0f);  // samples 20 and 10
  EXPECT_EQ(l.field(1, 0), 10.0f);
  EXPECT_EQ(l.field(2, 0), 99.0f);
}

TEST(MedianCircle, RemovesAnImpulseAndKeepsAStep) {
  layers impulse(21, 21);
  impulse.field(10, 10) = 100.0f;
  circle(impulse, 1, 3);
  EXPECT_EQ(*std::max_element(impulse.field.data, impulse.field.data + impulse.field.count), 0.0f);

  // 8 of the 21 cells of the 5 circle lie across a straight edge.
  layers step(20, 12);
  for (int y = 0; y < 12; ++y)
    for (int x = 10; x < 20; ++x) step.field(x, y) = 10.0f;
  const layers before = step;
  circle(step, 3, 5);
  EXPECT_TRUE(sameBits(step.field, before.field));
}

TEST(MedianCircle, AllBlockedOrNoPassLeavesTheImage) {
  layers l = randomLayers(30, 20, 0.0, 5u);
  const layers before = l;
  circle(l, 0, 5);
  EXPECT_TRUE(sameBits(l.field, before.field));
  l.bkgr.fill(true);
  circle(l, 2, 5);
  EXPECT_TRUE(sameBits(l.field, before.field));
  l.bkgr.fill(false);
  l.ROI.fill(false);
  circle(l, 2, 3);
  EXPECT_TRUE(sameBits(l.field, before.field));
}

TEST(MedianSquare, EqualsAFullSortAndZeroesTheEdgeBand) {
  for (int diameter : {1, 3, 5, 7}) {
    // The masks are ignored: blocked pixels are read and written.
    layers fast = randomLayers(50, 101, 0.3, 11u + diameter);
    layers plain = fast;
    tamble::MedianSquare(fast.field, fast.bkgr, fast.ROI, 2, diameter);
    referenceSquare(plain, 2, diameter);
    EXPECT_TRUE(sameBits(fast.field, plain.field)) << "diameter " << diameter;
  }
  layers flat(10, 8);
  flat.field.fill(5.0f);
  flat.bkgr(4, 4) = true;
  tamble::MedianSquare(flat.field, flat.bkgr, flat.ROI, 1, 5);
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 10; ++x) {
      const bool band = x < 2 || y < 2 || x >= 8 || y >= 6;
      EXPECT_EQ(flat.field(x, y), band ? 0.0f : 5.0f) << x << "," << y;
    }
}

TEST(MedianFast, BelowElevenIsTheSquareMedianAndAboveKeepsFlatAreas) {
  layers fast = randomLayers(40, 30, 0.2, 21u);
  layers square = fast;
  tamble::MedianFast(fast.field, fast.bkgr, fast.ROI, 1, 9);
  tamble::MedianSquare(square.field, square.bkgr, square.ROI, 1, 9);
  EXPECT_TRUE(sameBits(fast.field, square.field));

  // Diameter 11 goes through the half-size copy; far from the zeroed edge a
  // flat field stays flat up to rounding.
  layers flat(96, 96);
  flat.field.fill(7.0f);
  tamble::MedianFast(flat.field, flat.bkgr, flat.ROI, 1, 11);
  EXPECT_EQ(flat.field.width(), 96);
  for (int y = 30; y < 66; ++y)
    for (int x = 30; x < 66; ++x) EXPECT_NEAR(flat.field(x, y), 7.0f, 1e-4f);
}

TEST(MedianCircle, ParallelEqualsSerial) {
  for (double share : {0.0, 0.1}) {
    const layers start = randomLayers(400, 300, share, 99u);
    auto run = [&](int threads, int diameter, bool square) {
      omp_set_num_threads(threads);
      layers l = start;
      if (square)
        tamble::MedianSquare(l.field, l.bkgr, l.ROI, 2, diameter);
      else
        circle(l, 2, diameter);
      return l.field;
    };
    for (int diameter : {3, 5})
      for (bool square : {false, true})
        EXPECT_TRUE(sameBits(run(1, diameter, square), run(4, diameter, square)))
            << "diameter " << diameter << (square ? " square" : " circle") << ", share " << share;
  }
  omp_set_num_threads(omp_get_num_procs());
}

}  // namespace
