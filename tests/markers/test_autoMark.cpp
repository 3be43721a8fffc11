#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "dialogs/markerDialogs.h"
#include "markers/autoMark.h"
#include "markers/revise.h"
#include "plugin/frame.h"
#include "tests/markers/markerTestImages.h"
#include "tests/support/scriptedUi.h"

namespace {

using namespace tamble;
namespace mt = tamble::testing;
using mt::compare;
using mt::detection;
using mt::markerImage;
using mt::markerScene;

markerScene smallScene(int sign, unsigned seed) {
  markerScene s;
  s.W = s.H = 256;
  s.spacing = 48;
  s.lightSlope = 0.1;
  s.vignette = 0.15;
  s.sign = sign;
  s.seed = seed;
  return s;
}

// The ring search as the conversion's defaults set it, with a diameter.
void rings(const markerImage& img, zel::markersArray& found, float D, int sign = -1, int law = 1,
           int highSpeed = 0, int most = 1000) {
  const CAutomarsc defaults;
  AutoMarkRings(img.field, img.bkgr, img.ROI, found, D, law, defaults.m_entropy,
                defaults.m_relative, sign, 1, highSpeed, most);
}

void quick(const markerImage& img, zel::markersArray& found, double D, int sign = -1,
           float T = 0.4f) {
  AutoMarkQuick(img.field, img.bkgr, img.ROI, found, sign, D, T);
}

bool sameBits(const zel::markersArray& a, const zel::markersArray& b) {
  if (a.count() != b.count()) return false;
  for (int i = 0; i < a.count(); ++i)
    if (std::memcmp(&a[i].x, &b[i].x, sizeof(double)) != 0 ||
        std::memcmp(&a[i].y, &b[i].y, sizeof(double)) != 0 || a[i].id != b[i].id)
      return false;
  return true;
}

// Numbered 1, 2, 3 in order, enabled, with x and y.
void expectFreshNumbers(const zel::markersArray& found) {
  for (int i = 0; i < found.count(); ++i) {
    EXPECT_EQ(found[i].id, i + 1);
    EXPECT_TRUE(found[i].active);
    EXPECT_EQ(found[i].z, 0.0);
  }
  EXPECT_TRUE(found.hasX && found.hasY);
}

// ---- The ring pieces, against their plain definitions ----

using ringImage = zel::arrayStore<std::int32_t, 2>;

ringImage randomRing(int W, int H, unsigned seed, double zeros) {
  ringImage img(W, H);
  std::mt19937 gen(seed);
  std::uniform_int_distribution<int> v(0, 1000000);
  std::uniform_real_distribution<double> u(0, 1);
  for (std::uint64_t i = 0; i < img.count; ++i) img.data[i] = u(gen) < zeros ? 0 : v(gen);
  return img;
}

std::int64_t plainRing(const ringImage& img, int x, int y, int h) {
  std::int64_t s = 0;
  for (int v = y - h; v <= y + h; ++v)
    for (int u = x - h; u <= x + h; ++u)
      if (std::abs(u - x) == h || std::abs(v - y) == h) s += img(u, v);
  return s;
}

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
      EXPECT_EQ(std::memcmp(mask.data, plain.data, mask.count), 0)
          << W << "x" << H << " " << passes;
    }
  }
}

TEST(RingPieces, TopHatTakesTheRingMeanAwayAndClearsMaskedPixels) {
  for (int h : {1, 2, 4}) {
    ringImage img = randomRing(30, 24, 9 + h, 0.3);
    searchMask mask(30, 24);
    mask.fill(true);
    for (int y = h; y < 24 - h; ++y)
      for (int x = h; x < 30 - h; ++x) mask(x, y) = (x + y) % 7 == 0;
    const ringImage before = img;
    RingTopHat(img, mask, h);
    for (int y = 0; y < 24; ++y)
      for (int x = 0; x < 30; ++x) {
        const std::int64_t want =
            mask(x, y)
                ? 0
                : std::max<std::int64_t>(before(x, y) - plainRing(before, x, y, h) / (8 * h), 0);
        ASSERT_EQ(img(x, y), want) << x << "," << y << " h " << h;
      }
  }
}

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

TEST(RingPieces, RingMinMaxKeepsTheLowestWallAndReadsOnIntoTheNextRow) {
  searchField img(9, 9);
  img.fill(0.0f);
  // A wall of 5 on the ring of 1 around (4, 4) and of 3 on the ring of 3.
  for (int d = -1; d <= 1; ++d) img(4 + d, 3) = 5.0f;
  img(1, 6) = 3.0f;
  EXPECT_EQ(RingMinMax(img, 4, 4, 1, 5), 3.0f);
  EXPECT_EQ(RingMinMax(img, 4, 4, 1, 3), 5.0f);
  EXPECT_EQ(RingMinMax(img, 4, 4, 3, 3), 1e30f);  // no ring
  // Around (7, 4) the ring of 3 has its left column in the image and its
  // right column at x = 10: index 10 of row t is pixel (1, t + 1).
  searchField wrap(9, 9);
  wrap.fill(0.0f);
  wrap(1, 5) = 8.0f;  // read as the right column of row 4
  EXPECT_EQ(RingMinMax(wrap, 7, 4, 3, 4), 8.0f);
  // Around (7, 8) row 7's right column is pixel (1, 8); row 8's would lie
  // past the image and is left out (the sanitizer build watches the reads).
  wrap(1, 5) = 0.0f;
  wrap(1, 8) = 8.0f;
  EXPECT_EQ(RingMinMax(wrap, 7, 8, 3, 4), 8.0f);
  wrap(1, 8) = 0.0f;
  EXPECT_EQ(RingMinMax(wrap, 8, 8, 1, 9), 0.0f);
}

TEST(RingPieces, EntropyThresholdsSplitTwoPopulations) {
  // Two broad bands: the entropies of the classes add up most when the split
  // lies in the gap, and the first bin of the gap wins.
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

// ---- The searches ----

TEST(AutoMarkQuick, FindsBrightAndDarkSpotsAndRevisesThem) {
  for (int sign : {-1, 1}) {
    const markerImage img = mt::makeMarkerImage(smallScene(sign, 11));
    zel::markersArray found;
    found.add(marker{});  // replaced
    quick(img, found, 11.0, sign);
    const detection d = compare(img.spots, found, 2.0);
    EXPECT_EQ(d.matched, d.placed) << sign;
    EXPECT_EQ(d.falseDetections(), 0) << sign;
    EXPECT_LT(d.meanError, 0.5) << sign;
    EXPECT_LT(d.worstError, 0.8) << sign;
    expectFreshNumbers(found);
    // The other sign looks for the wrong spots.
    quick(img, found, 11.0, -sign);
    EXPECT_LT(compare(img.spots, found, 2.0).matched, d.placed / 2) << sign;
  }
}

TEST(AutoMarkQuick, TheLevelTakesTheHighestPeaksAndAtMost500) {
  // Bright single pixels every 20 pixels, the middle one the highest.
  markerImage grid(600, 600);
  grid.field.fill(0.0f);
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

TEST(AutoMarkRings, FindsBrightAndDarkSpotsByEitherLaw) {
  // Past the ring test nearly every pixel is 0, so the entropy law puts its
  // level in the first bin and hands over to the relative law, saying so.
  mt::installedUi user;
  for (int sign : {-1, 1})
    for (int law : {0, 1}) {
      const markerImage img = mt::makeMarkerImage(smallScene(sign, 12));
      zel::markersArray found;
      user.ui.notices.clear();
      rings(img, found, 7.0f, sign, law);
      const detection d = compare(img.spots, found, 2.0);
      EXPECT_EQ(d.matched, d.placed) << sign << " law " << law;
      EXPECT_EQ(d.falseDetections(), 0) << sign << " law " << law;
      EXPECT_LT(d.meanError, 0.15) << sign << " law " << law;
      EXPECT_LT(d.worstError, 0.3) << sign << " law " << law;
      expectFreshNumbers(found);
      EXPECT_EQ(user.ui.notices.size(), law == 0 ? 1u : 0u);
    }
}

TEST(AutoMarkRings, TheLimitDropsTheThresholdAndKeepsTheStrongest) {
  const markerImage img = mt::makeMarkerImage(smallScene(-1, 12));
  zel::markersArray all, five;
  rings(img, all, 7.0f);
  rings(img, five, 7.0f, -1, 1, 0, 5);
  ASSERT_EQ(five.count(), 5);
  EXPECT_EQ(compare(img.spots, five, 2.0).matched, 5);
  // From 1 at the diameter on, the empty ring is found at the same places.
  zel::markersArray fast;
  rings(img, fast, 7.0f, -1, 1, 1);
  EXPECT_EQ(compare(img.spots, fast, 2.0).matched, static_cast<int>(img.spots.size()));
}

TEST(AutoMarkRings, AnUndefinedSpeedOrAFailingEntropyLawIsReportedUnlessQuiet) {
  mt::installedUi user;
  const markerImage img = mt::makeMarkerImage(smallScene(-1, 12));
  zel::markersArray found;
  found.add(marker{});
  rings(img, found, 7.0f, -1, 1, 2);
  EXPECT_EQ(found.count(), 0);
  ASSERT_EQ(user.ui.notices, std::vector<std::string>{"HIGH_SPEED is UnDefined."});
  // A flat image gives the entropy law nothing: the relative law takes over.
  markerImage flat(64, 64);
  flat.field.fill(7.0f);
  rings(flat, found, 7.0f, -1, 0);
  EXPECT_EQ(found.count(), 0);
  ASSERT_EQ(user.ui.notices.size(), 2u);
  EXPECT_EQ(user.ui.notices[1],
            "Method of automatic marking is changed. It may cause loss of information");
  quietMode = 1;
  rings(flat, found, 7.0f, -1, 0);
  rings(img, found, 7.0f, -1, 1, 2);
  quietMode = 0;
  EXPECT_EQ(user.ui.notices.size(), 2u);
}

TEST(AutoMarkSearches, EmptyFlatAndBlockedImagesGiveNoMarkersAndNoNotice) {
  mt::installedUi user;
  markerImage empty(0, 0), flat(80, 60), blocked = mt::makeMarkerImage(smallScene(-1, 3)),
                                         outside = blocked;
  flat.field.fill(250.0f);
  blocked.bkgr.fill(true);
  outside.ROI.fill(false);
  for (const markerImage* img : {&empty, &flat, &blocked, &outside}) {
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

TEST(AutoMarkSearches, LeaveTheLayersAsTheyWere) {
  // D = 23 shrinks the image by 3 inside: the working masks take the change.
  markerImage img = mt::makeMarkerImage(smallScene(-1, 4));
  for (int y = 0; y < img.H(); ++y)
    for (int x = 0; x < img.W(); ++x) {
      img.bkgr(x, y) = !img.model(x, y);
      img.ROI(x, y) = x < 250;
    }
  const markerImage kept = img;
  zel::markersArray found;
  quick(img, found, 23.0);
  rings(img, found, 7.0f);
  EXPECT_EQ(std::memcmp(img.field.data, kept.field.data, img.field.count * sizeof(float)), 0);
  EXPECT_EQ(std::memcmp(img.bkgr.data, kept.bkgr.data, img.bkgr.count), 0);
  EXPECT_EQ(std::memcmp(img.ROI.data, kept.ROI.data, img.ROI.count), 0);
}

TEST(AutoMarkSearches, BlockedSurroundingsAreNeverTakenForSpots) {
  // Off the model the pixels are blocked and hold values far beyond the
  // spots', of the spots' own kind: any read of them as samples would give
  // markers there, or wreck the levels of the search.
  for (int sign : {-1, 1}) {
    for (bool byROI : {true, false}) {
      markerImage img = mt::makeMarkerImage(smallScene(sign, 6));
      for (int y = 0; y < img.H(); ++y)
        for (int x = 0; x < img.W(); ++x)
          if (!img.model(x, y)) {
            img.field(x, y) = ((x / 5 + y / 5) % 2 ? 1e6f : 0.0f) * static_cast<float>(sign);
            (byROI ? img.ROI(x, y) : img.bkgr(x, y)) = !byROI;
          }
      zel::markersArray found;
      rings(img, found, 7.0f, sign);
      detection d = compare(img.spots, found, 1.0);
      EXPECT_EQ(d.matched, d.placed) << "rings " << sign << byROI;
      EXPECT_EQ(d.falseDetections(), 0) << "rings " << sign << byROI;
      // The quick search counts bkgr pixels in its mean; the ROI keeps them out.
      if (!byROI) continue;
      quick(img, found, 9.0, sign);
      d = compare(img.spots, found, 1.0);
      EXPECT_EQ(d.matched, d.placed) << "quick " << sign;
      EXPECT_EQ(d.falseDetections(), 0) << "quick " << sign;
    }
  }
}

TEST(AutoMarkSearches, GiveTheSameBitsOnAnyNumberOfThreads) {
  markerScene s;
  s.dust = 40;
  s.scratches = 6;
  const markerImage img = mt::makeMarkerImage(s);
  const int saved = omp_get_max_threads();
  zel::markersArray quickOne, quickMany, ringsOne, ringsMany;
  omp_set_num_threads(1);
  quick(img, quickOne, 12.0);
  rings(img, ringsOne, 7.0f);
  omp_set_num_threads(4);
  quick(img, quickMany, 12.0);
  rings(img, ringsMany, 7.0f);
  omp_set_num_threads(saved);
  EXPECT_GT(quickOne.count(), 40);
  EXPECT_GT(ringsOne.count(), 40);
  EXPECT_TRUE(sameBits(quickOne, quickMany));
  EXPECT_TRUE(sameBits(ringsOne, ringsMany));
}

// ---- How well the searches do on camera-like images ----

// 1024 by 1024, 7-pixel dark spots, photon and read noise, uneven light, the
// model's outline; then with dust, scratches and a seam across the model.
struct qualityCase {
  const char* name;
  bool dirty;
};

void report(const char* scene, const char* search, const detection& d) {
  std::printf("%-6s %-34s placed %3d found %3d recall %5.3f false %3d error mean %.3f worst %.3f\n",
              scene, search, d.placed, d.found, d.recall(), d.falseDetections(), d.meanError,
              d.worstError);
}

TEST(SearchQuality, OnCameraLikeImages) {
  for (const qualityCase& c : {qualityCase{"clean", false}, qualityCase{"dirty", true}}) {
    markerScene s;
    if (c.dirty) {
      s.dust = 60;
      s.scratches = 12;
      s.seam = true;
    }
    const markerImage img = mt::makeMarkerImage(s);
    ASSERT_GE(img.spots.size(), 50u);
    zel::markersArray found;
    const double near = 3.5;  // half the diameter

    // "Auto Mark..." as it opens, with the diameter typed.
    CAutomarq q;
    q.m_bmr = 7.0f;
    quick(img, found, q.m_bmr, q.pos_neg, q.level());
    detection d = compare(img.spots, found, near);
    report(c.name, "Auto Mark D 7 (defaults)", d);
    EXPECT_GE(d.matched, 5) << c.name;
    EXPECT_LE(d.falseDetections(), c.dirty ? 6 : 0) << c.name;
    EXPECT_LT(d.meanError, 1.0) << c.name;

    // With the diameter typed half as large again as the spots.
    quick(img, found, 11.0, q.pos_neg, q.level());
    d = compare(img.spots, found, near);
    report(c.name, "Auto Mark D 11", d);
    EXPECT_GE(d.recall(), c.dirty ? 0.95 : 1.0) << c.name;
    EXPECT_LE(d.falseDetections(), c.dirty ? 4 : 0) << c.name;
    EXPECT_LT(d.meanError, 0.45) << c.name;
    EXPECT_LT(d.worstError, 0.9) << c.name;

    // The conversion's search with its defaults and the diameter typed.
    const CAutomarsc sc;
    rings(img, found, 7.0f, sc.pos_neg, sc.rel);
    d = compare(img.spots, found, near);
    report(c.name, "Automatic Marking D 7", d);
    EXPECT_GE(d.recall(), c.dirty ? 0.9 : 1.0) << c.name;
    EXPECT_LE(d.falseDetections(), c.dirty ? 8 : 0) << c.name;
    EXPECT_LT(d.meanError, c.dirty ? 0.2 : 0.12) << c.name;
    EXPECT_LT(d.worstError, 0.5) << c.name;

    // Its defaults as they stand: a diameter of 2 finds no 7-pixel spot.
    rings(img, found, sc.m_bmr, sc.pos_neg, sc.rel);
    d = compare(img.spots, found, near);
    report(c.name, "Automatic Marking D 2 (defaults)", d);
    EXPECT_LT(d.recall(), 0.2) << c.name;

    // The limited search: no threshold, at most the 100 strongest of the
    // spots that stand alone in their rings.
    const CAutomarl l;
    rings(img, found, 7.0f, sc.pos_neg, sc.rel, 0, l.m_limit);
    d = compare(img.spots, found, near);
    report(c.name, "Limited search D 7, 100", d);
    EXPECT_GE(d.recall(), c.dirty ? 0.9 : 1.0) << c.name;
    EXPECT_LE(d.found, l.m_limit) << c.name;
    EXPECT_LE(d.falseDetections(), c.dirty ? 12 : 8) << c.name;

    // Revision of markers placed a pixel off on both axes.
    zel::markersArray placed;
    for (const mt::spot& p : img.spots) {
      marker m;
      m.x = std::round(p.x) + 1;
      m.y = std::round(p.y) - 1;
      m.active = true;
      placed.add(m);
    }
    for (double D : {7.0, 11.0}) {
      found = placed;
      ReviseMarkers(img.field, img.bkgr, img.ROI, found, -1, D);
      d = compare(img.spots, found, near);
      report(c.name, D == 7.0 ? "Revise Markers D 7" : "Revise Markers D 11", d);
      EXPECT_EQ(d.matched, d.placed) << c.name;
      EXPECT_LT(d.meanError, D == 7.0 ? 1.0 : 0.45) << c.name;
    }
    found = placed;
    ReviseMarkersCenters(img.field, img.bkgr, img.ROI, found, -1, 7.0);
    d = compare(img.spots, found, near);
    report(c.name, "Revise Markers (Centers) D 7", d);
    EXPECT_EQ(d.matched, d.placed) << c.name;
    EXPECT_LT(d.meanError, 0.2) << c.name;
    EXPECT_LT(d.worstError, 0.4) << c.name;
  }
}

}  // namespace
