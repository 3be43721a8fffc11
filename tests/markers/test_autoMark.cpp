// The automatic searches: the pieces of the ring search against their plain
// definitions, and both searches on synthetic runs with known centres.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "dialogs/markerDialogs.h"
#include "markers/autoMark.h"
#include "plugin/frame.h"
#include "apps/synth/markerImages.h"
#include "tests/markers/markerScenes.h"
#include "tests/markers/quickSearchReference.h"
#include "tests/markers/ringSearchReference.h"
#include "tests/support/sessionUi.h"

namespace {

using namespace tamble;
namespace mt = tamble::testing;
using mt::compare;
using mt::plainRing;
using mt::detection;
using mt::markerScene;
using mt::syntheticScene;

const char* const darkRun = "size=512 markers=24";
const char* const brightRun = "size=512 markers=24 sign=bright";

// The ring search with the conversion's defaults for what is not given.
void rings(const mt::layers& img, zel::markersArray& found, float D, int sign = -1, int law = 1,
           int highSpeed = 0, int most = 1000) {
  const CAutomarsc defaults;
  AutoMarkRings(img.field, img.bkgr, img.ROI, found, D, law, defaults.m_entropy,
                defaults.m_relative, sign, 1, highSpeed, most);
}

void quick(const mt::layers& img, zel::markersArray& found, double D, int sign = -1,
           float T = 0.4f) {
  polynomialState map;
  AutoMarkQuick(img.field, img.bkgr, img.ROI, found, sign, D, T, map);
}

// Numbered 1, 2, 3 in order, enabled, with x and y.
void expectFreshNumbers(const zel::markersArray& found) {
  for (int i = 0; i < found.count(); ++i) {
    EXPECT_EQ(found[i].id, i + 1);
    EXPECT_TRUE(found[i].active);
  }
  EXPECT_TRUE(found.hasX && found.hasY);
}

// ---- The ring pieces, against their plain definitions ----

// GrowMask is that many passes of the eight neighbours, at any size.
TEST(RingPieces, GrowMaskIsThatManyPassesOfTheEightNeighbours) {
  std::mt19937 gen(4);
  for (const auto& [W, H] : {std::pair{1, 1}, std::pair{7, 3}, std::pair{40, 33}}) {
    for (int passes : {0, 1, 2, 5, 50}) {
      searchMask mask(W, H), plain(W, H);
      std::bernoulli_distribution set(0.03);
      for (std::uint64_t i = 0; i < mask.count; ++i) plain.data[i] = mask.data[i] = set(gen);
      for (int p = 0; p < passes; ++p) {
        const searchMask before = plain;
        for (int y = 0; y < H; ++y)
          for (int x = 0; x < W; ++x)
            for (int dy = -1; dy <= 1; ++dy)
              for (int dx = -1; dx <= 1; ++dx)
                if (x + dx >= 0 && x + dx < W && y + dy >= 0 && y + dy < H &&
                    before(x + dx, y + dy))
                  plain(x, y) = true;
      }
      GrowMask(mask, passes);
      EXPECT_TRUE(mt::sameBits(mask, plain)) << W << "x" << H << " " << passes;
    }
  }
}

// The top-hat takes the ring's mean away and clears masked pixels, for any
// value the integers hold (such rings need sums beyond 32 bits), on images
// of several bands of rows.
TEST(RingPieces, TopHatTakesTheRingMeanAwayAndClearsMaskedPixels) {
  struct row {
    int W, H, h, lo, hi;
  };
  const row rows[] = {{30, 24, 1, 0, 1000000},     {30, 24, 2, 0, 1000000},
                      {71, 40, 4, 0, 1000000},     {64, 150, 7, 0, 1000000},
                      {40, 33, 3, -2000000000, 2000000000}, {19, 200, 5, 0, 2147483647}};
  std::mt19937 gen(9);
  for (const row& r : rows) {
    std::uniform_int_distribution<int> value(r.lo, r.hi);
    std::bernoulli_distribution zero(0.3);
    ringImage img(r.W, r.H);
    for (std::uint64_t i = 0; i < img.count; ++i) img.data[i] = zero(gen) ? 0 : value(gen);
    searchMask mask(r.W, r.H);
    mask.fill(true);
    for (int y = r.h; y < r.H - r.h; ++y)
      for (int x = r.h; x < r.W - r.h; ++x) mask(x, y) = (x + y) % 7 == 0;
    ringImage plain = img;
    RingTopHat(img, mask, r.h);
    mt::plainTopHat(plain, mask, r.h);
    EXPECT_TRUE(mt::sameBits(img, plain)) << r.W << "x" << r.H << " h " << r.h;
  }
}

// The smallest empty ring is sought from the first half-width up to R + 1.
TEST(RingPieces, EmptyRingsAreFoundFromTheFirstHalfWidth) {
  ringImage img(21, 21);
  img.fill(0);
  img(10, 10) = 5;
  img(11, 10) = 7;  // within the ring of 1 around (10, 10)
  img(10, 13) = 2;  // on the ring of 3
  EXPECT_EQ(RingIsEmpty(img, 10, 10, 1), 1000);
  EXPECT_EQ(RingIsEmpty(img, 10, 10, 2), 2);
  EXPECT_EQ(RingIsEmpty(img, 10, 10, 3), 1000);
  EXPECT_EQ(SmallestEmptyRing(img, 10, 10, 5, 1), 2);
  EXPECT_EQ(SmallestEmptyRing(img, 10, 10, 5, 3), 4);  // from 3 on
  EXPECT_EQ(SmallestEmptyRing(img, 10, 10, 1, 1), 2);  // up to R + 1
  img(10, 8) = 1;                                      // the ring of 2 too
  EXPECT_EQ(SmallestEmptyRing(img, 10, 10, 1, 1), 1000);
}

// RingMinMax keeps the lowest wall of the rings below stopHalf and reads a
// right column past the row's end on into the next row.
TEST(RingPieces, RingMinMaxKeepsTheLowestWallAndReadsOnIntoTheNextRow) {
  searchField img(9, 9);
  img.fill(0.0f);
  // A wall of 5 on the ring of 1 around (4, 4) and of 3 on the ring of 3.
  for (int d = -1; d <= 1; ++d) img(4 + d, 3) = 5.0f;
  img(1, 6) = 3.0f;
  EXPECT_EQ(RingMinMax(img, 4, 4, 1, 5), 3.0f);
  EXPECT_EQ(RingMinMax(img, 4, 4, 1, 3), 5.0f);
  EXPECT_EQ(RingMinMax(img, 4, 4, 3, 3), 1e30f);  // no ring
  // Around (7, 4) the ring of 3 has its right column at x = 10: index 10 of
  // row t is pixel (1, t + 1).
  searchField wrap(9, 9);
  wrap.fill(0.0f);
  wrap(1, 5) = 8.0f;  // read as the right column of row 4
  EXPECT_EQ(RingMinMax(wrap, 7, 4, 3, 4), 8.0f);
  // Around (7, 8) row 8's right column would lie past the image: left out.
  wrap(1, 5) = 0.0f;
  wrap(1, 8) = 8.0f;
  EXPECT_EQ(RingMinMax(wrap, 7, 8, 3, 4), 8.0f);
  wrap(1, 8) = 0.0f;
  EXPECT_EQ(RingMinMax(wrap, 8, 8, 1, 9), 0.0f);
}

// The entropy split of two broad bands lies in the gap between them.
TEST(RingPieces, EntropyThresholdsSplitTwoPopulations) {
  searchField img(200, 100);
  std::mt19937 gen(2);
  std::uniform_real_distribution<float> low(0.0f, 100.0f), high(150.0f, 250.0f);
  for (std::uint64_t i = 0; i < img.count; ++i) img.data[i] = i % 2 ? low(gen) : high(gen);
  float maxSum = 0, balance = 0;
  EntropyThresholds(img, maxSum, balance);
  EXPECT_GT(maxSum, 95.0f);
  EXPECT_LT(maxSum, 102.0f);
  EXPECT_GT(balance, 0.0f);
  EXPECT_LT(balance, 250.0f);
  img.fill(0.0f);
  EntropyThresholds(img, maxSum, balance);
  EXPECT_EQ(maxSum, 0.0f);
}

// ---- The searches on synthetic runs ----

struct searchCase {
  const char* name;
  void (*search)(const mt::layers&, zel::markersArray&, int sign);
  double meanLimit, worstLimit;  // pixels, on 7-pixel spots without blur
  bool fallsBack;                // the entropy law hands over to the relative one
  bool signBlind;                // the other sign finds most of the spots too
};

// Every spot of either sign is found, numbered afresh, with few others (the
// model's corners); the quick search's other sign finds hardly any of them.
TEST(AutoMarkSearches, FindTheSpotsOfEitherSign) {
  const searchCase cases[] = {
      {"quick D 9", [](const mt::layers& i, zel::markersArray& f, int s) { quick(i, f, 9.0, s); },
       1.3, 1.6, false, false},
      {"rings entropy", [](const mt::layers& i, zel::markersArray& f, int s) { rings(i, f, 7, s, 0); },
       0.2, 0.4, true, true},
      {"rings relative", [](const mt::layers& i, zel::markersArray& f, int s) { rings(i, f, 7, s); },
       0.2, 0.4, false, true},
  };
  mt::sessionUi user;
  for (const searchCase& c : cases)
    for (int sign : {-1, 1}) {
      const markerScene& img = syntheticScene(sign < 0 ? darkRun : brightRun);
      zel::markersArray found;
      found.add(marker{});  // replaced
      user.ui.notices.clear();
      c.search(img, found, sign);
      const detection d = compare(img.spots, found, 2.0);
      EXPECT_EQ(d.matched, d.placed) << c.name << " sign " << sign;
      EXPECT_LE(d.falseDetections(), 5) << c.name << " sign " << sign;
      EXPECT_LT(d.meanError, c.meanLimit) << c.name << " sign " << sign;
      EXPECT_LT(d.worstError, c.worstLimit) << c.name << " sign " << sign;
      expectFreshNumbers(found);
      EXPECT_EQ(user.ui.notices.size(), c.fallsBack ? 1u : 0u) << c.name;
      if (c.signBlind) continue;
      c.search(img, found, -sign);
      EXPECT_LT(compare(img.spots, found, 2.0).matched, d.placed / 4) << c.name << " " << sign;
    }
}

// The quick search takes the highest peaks that reach its level, 500 at most.
TEST(AutoMarkQuick, TheLevelTakesTheHighestPeaksAndAtMost500) {
  mt::layers grid(600, 600);  // bright single pixels every 20, the middle one highest
  for (int y = 10; y < 600; y += 20)
    for (int x = 10; x < 600; x += 20) grid.field(x, y) = 100.0f;
  grid.field(290, 290) = 150.0f;
  zel::markersArray found;
  quick(grid, found, 5.0, 1, 1.0f);
  ASSERT_EQ(found.count(), 1);
  EXPECT_EQ(found[0].x, 290.0);
  EXPECT_EQ(found[0].y, 290.0);
  quick(grid, found, 5.0, 1, 1.01f);
  EXPECT_EQ(found.count(), 0);
  quick(grid, found, 5.0, 1, 0.5f);
  EXPECT_EQ(found.count(), 500);  // of 900
  EXPECT_EQ(found[0].x, 290.0);
  expectFreshNumbers(found);
}

// A limit drops the threshold and keeps the strongest of the spots; from the
// diameter on, the empty rings are found at the same places.
TEST(AutoMarkRings, TheLimitKeepsTheStrongestAndHighSpeedTheSamePlaces) {
  const markerScene& img = syntheticScene(darkRun);
  zel::markersArray all, five, fast;
  rings(img, all, 7.0f);
  rings(img, five, 7.0f, -1, 1, 0, 5);
  ASSERT_EQ(five.count(), 5);
  std::vector<mt::spot> strongest;
  for (const marker& m : all.items) strongest.push_back({m.x, m.y});
  EXPECT_EQ(compare(strongest, five, 1.0).matched, 5);
  rings(img, fast, 7.0f, -1, 1, 1);
  EXPECT_EQ(compare(img.spots, fast, 2.0).matched, static_cast<int>(img.spots.size()));
}

// An undefined speed and a failing entropy law are reported, unless quiet.
TEST(AutoMarkRings, AnUndefinedSpeedOrAFailingEntropyLawIsReportedUnlessQuiet) {
  mt::sessionUi user;
  const markerScene& img = syntheticScene(darkRun);
  zel::markersArray found;
  found.add(marker{});
  rings(img, found, 7.0f, -1, 1, 2);
  EXPECT_EQ(found.count(), 0);
  mt::layers flat(64, 64);  // gives the entropy law nothing
  flat.field.fill(7.0f);
  rings(flat, found, 7.0f, -1, 0);
  EXPECT_EQ(found.count(), 0);
  EXPECT_EQ(user.ui.notices,
            (std::vector<std::string>{
                "HIGH_SPEED is UnDefined.",
                "Method of automatic marking is changed. It may cause loss of information"}));
  session().quietMode = 1;
  rings(flat, found, 7.0f, -1, 0);
  rings(img, found, 7.0f, -1, 1, 2);
  session().quietMode = 0;
  EXPECT_EQ(user.ui.notices.size(), 2u);
}

// A camera-like image of 7-pixel or D-pixel spots with dust and scratches;
// with `masks`, the ROI is the model and a few discs are background.
mt::layers spotImage(int W, int H, double D, int sign, bool masks) {
  namespace mi = tamble::synth::markerImages;
  mi::markerScene s;
  s.W = W;
  s.H = H;
  s.diameter = D;
  s.sign = sign;
  s.spacing = 8 * D + 20;
  s.dust = 20;
  s.scratches = 3;
  s.seed = static_cast<unsigned>(W + H);
  const mi::markerImage img = mi::makeMarkerImage(s);
  mt::layers l(W, H);
  l.field = img.field;
  if (!masks) return l;
  l.ROI = img.model;
  for (int k = 1; k <= 5; ++k) {
    const int cx = W * k / 6, cy = H * (6 - k) / 6, r = 4 * k;
    for (int y = std::max(cy - r, 0); y < std::min(cy + r, H); ++y)
      for (int x = std::max(cx - r, 0); x < std::min(cx + r, W); ++x)
        l.bkgr(x, y) = (x - cx) * (x - cx) + (y - cy) * (y - cy) < r * r;
  }
  return l;
}

// The ring search equals its plain definition bit for bit: the markers,
// their order and their positions, on either sign, with and without masks,
// under both laws (on such sparse images the entropy law gives way to the
// relative one), both speeds and a limit.
TEST(AutoMarkRings, EqualsItsPlainDefinitionBitForBit) {
  struct row {
    int W, H;
    float D;
    int sign, law, highSpeed, most;
    bool masks;
  };
  const row rows[] = {
      {256, 256, 3, -1, 1, 0, 1000, true},  {384, 256, 5, 1, 0, 0, 1000, false},
      {512, 512, 7, -1, 1, 1, 1000, true},  {512, 384, 7, 1, 1, 0, 30, true},
      {640, 512, 11, -1, 0, 0, 1000, true}, {1024, 1024, 7, -1, 1, 0, 1000, false},
  };
  mt::sessionUi user;  // takes the notices
  for (const row& r : rows) {
    const mt::layers img = spotImage(r.W, r.H, r.D, r.sign, r.masks);
    zel::markersArray found, plain;
    AutoMarkRings(img.field, img.bkgr, img.ROI, found, r.D, r.law, 1.0f, 0.2f, r.sign, 1,
                  r.highSpeed, r.most);
    mt::referenceRings(img, plain, r.D, r.law, 1.0f, 0.2f, r.sign, r.highSpeed, r.most);
    EXPECT_GT(plain.count(), 5) << r.W << " D " << r.D;
    EXPECT_EQ(found.items, plain.items) << r.W << " D " << r.D << " sign " << r.sign;
  }
  EXPECT_EQ(user.ui.notices.size(), 2u);
}

// The quick search equals its plain definition bit for bit: the markers,
// their order and their positions, on either sign, with and without masks,
// below and above the diameters that smooth first (8) and shrink (11).
TEST(AutoMarkQuick, EqualsItsPlainDefinitionBitForBit) {
  struct row {
    int W, H;
    double D;
    int sign;
    float T;
    bool masks;
  };
  const row rows[] = {
      {256, 256, 3, -1, 0.4f, true},  {384, 256, 5, 1, 0.2f, false},
      {512, 512, 7, -1, 0.4f, true},  {512, 384, 9.5, 1, 0.4f, true},
      {640, 512, 12, -1, 0.3f, true}, {1024, 1024, 7, -1, 0.4f, false},
  };
  for (const row& r : rows) {
    const mt::layers img = spotImage(r.W, r.H, r.D, r.sign, r.masks);
    zel::markersArray found, plain;
    quick(img, found, r.D, r.sign, r.T);
    mt::referenceQuick(img, plain, r.sign, r.D, r.T);
    EXPECT_GT(plain.count(), 5) << r.W << " D " << r.D;
    EXPECT_EQ(found.items, plain.items) << r.W << " D " << r.D << " sign " << r.sign;
  }
}

// Empty, flat and wholly blocked images give no markers and no notice.
TEST(AutoMarkSearches, EmptyFlatAndBlockedImagesGiveNoMarkersAndNoNotice) {
  mt::sessionUi user;
  mt::layers empty(0, 0), flat(80, 60), blocked = syntheticScene(darkRun), outside = blocked;
  flat.field.fill(250.0f);
  blocked.bkgr.fill(true);
  outside.ROI.fill(false);
  for (const mt::layers* img : {&empty, &flat, &blocked, &outside}) {
    for (int sign : {-1, 1}) {
      zel::markersArray found;
      found.add(marker{});
      quick(*img, found, 9.0, sign);
      EXPECT_EQ(found.count(), 0) << img->W() << " quick " << sign;
      found.add(marker{});
      rings(*img, found, 7.0f, sign);
      EXPECT_EQ(found.count(), 0) << img->W() << " rings " << sign;
    }
  }
  EXPECT_TRUE(user.ui.notices.empty());
}

// What blocked pixels hold never changes what the searches find, and the
// layers stay as they were. (The quick search counts bkgr pixels in its mean;
// the ROI keeps them out.)
TEST(AutoMarkSearches, BlockedPixelsAreNeverRead) {
  for (int sign : {-1, 1}) {
    for (bool byROI : {true, false}) {
      markerScene img = syntheticScene(sign < 0 ? darkRun : brightRun);
      for (int y = 0; y < img.H(); ++y)
        for (int x = 0; x < img.W(); ++x)
          if (!img.model(x, y)) (byROI ? img.ROI(x, y) : img.bkgr(x, y)) = !byROI;
      markerScene wild = img;  // values far beyond the spots', of their own kind
      for (int y = 0; y < img.H(); ++y)
        for (int x = 0; x < img.W(); ++x)
          if (!img.model(x, y))
            wild.field(x, y) = ((x / 5 + y / 5) % 2 ? 1e6f : 0.0f) * static_cast<float>(sign);
      const mt::layers kept = wild;
      zel::markersArray plain, found;
      rings(img, plain, 7.0f, sign);
      rings(wild, found, 7.0f, sign);
      EXPECT_EQ(found.items, plain.items) << "rings " << sign << byROI;
      for (const marker& m : found.items)
        EXPECT_TRUE(img.model(static_cast<int>(m.x + 0.5), static_cast<int>(m.y + 0.5)));
      if (byROI) {
        quick(img, plain, 9.0, sign);
        quick(wild, found, 9.0, sign);
        EXPECT_EQ(found.items, plain.items) << "quick " << sign;
        EXPECT_EQ(compare(img.spots, found, 1.5).matched, static_cast<int>(img.spots.size()));
        quick(wild, found, 23.0, sign);  // D 23 shrinks the image: the working masks take it
      }
      EXPECT_TRUE(mt::sameBits(wild, kept)) << sign << byROI;
    }
  }
}

}  // namespace
