// Marker revision: both routines on single spots of known sub-pixel centres
// and on a synthetic run, and "Revise Markers" on tiny exact patterns.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "markers/revise.h"
#include "plugin/frame.h"
#include "tests/markers/markerScenes.h"
#include "tests/support/sessionUi.h"

namespace {

using namespace tamble;
namespace mt = tamble::testing;
using mt::compare;
using mt::markerScene;
using mt::markersAt;
using mt::oneSpot;

using reviseFn = void (*)(const markerField&, const markerMask&, const markerMask&,
                          zel::markersArray&, int, double);

// ReviseMarkers with a map of its own for the fast median's resizing.
void reviseMarkers(const markerField& field, const markerMask& bkgr, const markerMask& ROI,
                   zel::markersArray& markers, int sign, double D) {
  polynomialState map;
  ReviseMarkers(field, bkgr, ROI, markers, sign, D, map);
}

marker at(double x, double y, int id = 0, bool active = true) { return {x, y, 0, 0, active, id}; }

bool samePlace(const marker& a, const marker& b) {
  return std::memcmp(&a.x, &b.x, sizeof(double)) == 0 &&
         std::memcmp(&a.y, &b.y, sizeof(double)) == 0;
}

struct routineCase {
  const char* name;
  reviseFn routine;
  double D;                      // for 7-pixel spots
  double spotLimit;              // pixels, on a blurred spot
  double runMean;                // pixels, on a synthetic run's flat-bottomed spots
};

class Revision : public ::testing::TestWithParam<routineCase> {};

// Markers a pixel or two off a blurred spot of either sign come to its
// sub-pixel centre.
TEST_P(Revision, BringsSpotsToTheirSubPixelCentres) {
  const routineCase& c = GetParam();
  for (int sign : {1, -1})
    for (double fx : {0.0, 0.3, 0.5, 0.8})
      for (double fy : {0.1, 0.5, 0.9}) {
        const markerScene img = oneSpot(60, 60, 30 + fx, 30 + fy, sign);
        for (const auto& [dx, dy] : {std::pair{1.0, -1.0}, std::pair{-2.0, 0.0}}) {
          zel::markersArray markers = markersAt(img.spots, dx, dy);
          c.routine(img.field, img.bkgr, img.ROI, markers, sign, c.D);
          EXPECT_LT(std::hypot(markers[0].x - 30 - fx, markers[0].y - 30 - fy), c.spotLimit)
              << c.name << " sign " << sign << " at " << fx << "," << fy;
        }
      }
}

// On a synthetic run every marker comes nearer its spot; the wrong sign
// does not find the spots.
TEST_P(Revision, FindsTheSpotsOfASyntheticRunByTheirSign) {
  const routineCase& c = GetParam();
  for (int sign : {1, -1}) {
    const markerScene& img =
        mt::syntheticScene(sign < 0 ? "size=512 markers=24" : "size=512 markers=24 sign=bright");
    zel::markersArray markers = markersAt(img.spots, 1.0, -1.0), wrong = markers;
    c.routine(img.field, img.bkgr, img.ROI, markers, sign, c.D);
    const mt::detection d = compare(img.spots, markers, 2.0);
    EXPECT_EQ(d.matched, d.placed) << c.name << " sign " << sign;
    EXPECT_LT(d.meanError, c.runMean) << c.name << " sign " << sign;
    c.routine(img.field, img.bkgr, img.ROI, wrong, -sign, c.D);
    EXPECT_LT(compare(img.spots, wrong, 1.0).matched, d.placed / 2) << c.name << " " << sign;
  }
}

// Numbers, count, z and f stay; disabled markers, markers on blocked pixels
// and positions far outside or not numbers stay; the layers stay.
TEST_P(Revision, KeepsNumbersCountAndDisabledOrOutsideMarkersAndTheLayers) {
  const routineCase& c = GetParam();
  markerScene img = mt::syntheticScene("size=512 markers=24");
  zel::markersArray markers = markersAt({img.spots.begin(), img.spots.begin() + 4}, 1.0, 0.0);
  const auto pixel = [&](int i) {
    return std::pair{static_cast<int>(markers[i].x), static_cast<int>(markers[i].y)};
  };
  img.bkgr(pixel(2).first, pixel(2).second) = true;  // a marker on a blocked pixel
  img.ROI(pixel(3).first, pixel(3).second) = false;
  markers[1].active = false;
  for (const auto& [x, y] : {std::pair{-5.0, 40.0}, std::pair{30.0, 1e9},
                             std::pair{std::numeric_limits<double>::quiet_NaN(), 40.0}})
    markers.add(at(x, y));
  markers.items[0].id = 7;
  markers.items[0].z = 2.5;
  markers.items[0].f = -1.0;
  const zel::markersArray before = markers;
  const mt::layers kept = img;
  c.routine(img.field, img.bkgr, img.ROI, markers, -1, c.D);
  ASSERT_EQ(markers.count(), before.count());
  for (int i = 0; i < markers.count(); ++i) {
    EXPECT_EQ(markers[i].id, before[i].id);
    EXPECT_EQ(markers[i].active, before[i].active);
    EXPECT_EQ(markers[i].z, before[i].z);
    EXPECT_EQ(markers[i].f, before[i].f);
    EXPECT_EQ(samePlace(markers[i], before[i]), i > 0) << c.name << " marker " << i;
  }
  EXPECT_TRUE(mt::sameBits(img, kept));
}

// An empty array is reported unless quiet; layers of another size are refused.
TEST_P(Revision, AnEmptyArrayIsReportedAndOtherSizesRefused) {
  const routineCase& c = GetParam();
  mt::sessionUi user;
  const markerScene img = oneSpot(40, 40, 20, 20, -1);
  zel::markersArray none;
  c.routine(img.field, img.bkgr, img.ROI, none, -1, c.D);
  session().quietMode = 1;
  c.routine(img.field, img.bkgr, img.ROI, none, -1, c.D);
  session().quietMode = 0;
  EXPECT_EQ(user.ui.notices, std::vector<std::string>{noMarkersInZone});
  EXPECT_EQ(none.count(), 0);
  markerMask small(10, 10);
  zel::markersArray markers = markersAt(img.spots);
  EXPECT_THROW(c.routine(img.field, small, img.ROI, markers, -1, c.D), zel::DimError);
  EXPECT_THROW(c.routine(img.field, img.bkgr, small, markers, -1, c.D), zel::DimError);
}

INSTANTIATE_TEST_SUITE_P(
    Routines, Revision,
    ::testing::Values(routineCase{"ReviseMarkers", reviseMarkers, 11.0, 0.75, 1.2},
                      routineCase{"ReviseMarkersCenters", ReviseMarkersCenters, 7.0, 0.05, 0.6}),
    [](const auto& info) { return std::string(info.param.name); });

// ---- Tiny exact patterns ----

// A level of 100 with a dark pixel of 0 at (20, 20), one of 50 beside it at
// (21, 20), and, when asked, a bright speck three pixels off at (23, 20).
markerScene twoPixels(bool speck) {
  markerScene img(40, 40);
  img.field.fill(100.0f);
  img.field(20, 20) = 0.0f;
  img.field(21, 20) = 50.0f;
  if (speck) img.field(23, 20) = 1e5f;
  return img;
}

markerScene onePixel() {
  markerScene img(40, 40);
  img.field.fill(100.0f);
  img.field(20, 25) = 10.0f;
  return img;
}

struct patternCase {
  const char* what;
  reviseFn routine;
  markerScene (*pattern)();
  double D;
  int sign;
  marker start, expected;
  double tolerance;
};

// Where one marker on a tiny pattern ends.
TEST(ReviseOnPatterns, EachMarkerEndsWhereItsPatternSays) {
  const auto spot = [] { return oneSpot(60, 60, 30.0, 30.0, -1, 1.0, 0.8); };
  const auto bright = [] { return oneSpot(60, 60, 30.4, 29.7, 1); };
  const patternCase cases[] = {
      {"below D 2 the background is the image: nothing moves", reviseMarkers, onePixel, 1.0, -1,
       at(20.6, 24.7), at(20.6, 24.7), 0.0},
      {"D 2 takes a 3 by 3 background and finds a one-pixel spot", reviseMarkers, onePixel, 2.0,
       -1, at(20.6, 24.7), at(20.0, 25.0), 0.0},
      {"a move below D is taken", reviseMarkers, spot, 4.0, -1, at(33.4, 30.6), at(30, 30), 0.3},
      {"a move of D or more is refused on its axis alone", reviseMarkers, spot, 3.0, -1,
       at(33.4, 30.6), at(33.4, 30), 0.3},
      // The fine centre is weighted by the squared height above the lowest
      // level of the rough window: here the level of 100, so 0 and 50 weigh
      // 100^2 and 50^2.
      {"the fine centre weighs the height above the surroundings", reviseMarkers,
       [] { return twoPixels(false); }, 4.0, -1, at(20, 20), at(20.2, 20), 1e-4},
      // For D = 4 the rough window reaches round(4^(1/3) + 1.1) = 3 pixels:
      // the speck sets the level, and the weights of the fine disk even out.
      {"a bright speck in the rough window sets the level", reviseMarkers,
       [] { return twoPixels(true); }, 4.0, -1, at(20, 20), at(20, 20), 1e-3},
      // h = trunc(D + 0.5) = 5: a marker needs 6 pixels to the edge, 7 on
      // the far side.
      {"the centres' frame finds a spot", ReviseMarkersCenters, bright, 5.0, 1, at(31, 29),
       at(30.4, 29.7), 0.1},
      {"a marker too near the left edge stays", ReviseMarkersCenters, bright, 5.0, 1, at(5, 30),
       at(5, 30), 0.0},
      {"a marker too near the bottom edge stays", ReviseMarkersCenters, bright, 5.0, 1,
       at(30, 54), at(30, 54), 0.0},
      {"a flat level has no peak above its frame", ReviseMarkersCenters, bright, 5.0, 1,
       at(6, 53), at(6, 53), 1e-3},
  };
  for (const patternCase& c : cases) {
    const markerScene img = c.pattern();
    zel::markersArray markers;
    markers.items = {c.start};
    c.routine(img.field, img.bkgr, img.ROI, markers, c.sign, c.D);
    EXPECT_NEAR(markers[0].x, c.expected.x, c.tolerance) << c.what;
    EXPECT_NEAR(markers[0].y, c.expected.y, c.tolerance) << c.what;
  }
}

// Blocked pixels beside the spot, with values far beyond the spot's or not
// numbers at all, are never taken for it; a marker on one stays.
TEST(ReviseMarkers, BlockedPixelsAreNeverTakenForTheSpot) {
  for (int sign : {-1, 1}) {
    for (bool byROI : {false, true}) {
      markerScene img = oneSpot(80, 80, 40.3, 39.6, sign);
      for (float wild : {sign * 1e6f, std::numeric_limits<float>::quiet_NaN()}) {
        for (int y = 34; y <= 46; ++y)
          for (int x = 45; x <= 47; ++x) {
            img.field(x, y) = wild;
            (byROI ? img.ROI(x, y) : img.bkgr(x, y)) = !byROI;
          }
        zel::markersArray markers;
        markers.items = {at(41.0, 39.0), at(45.0, 40.0)};
        reviseMarkers(img.field, img.bkgr, img.ROI, markers, sign, 7.0);
        EXPECT_NEAR(markers[0].x, 40.3, 0.35) << sign << byROI << wild;
        EXPECT_NEAR(markers[0].y, 39.6, 0.35) << sign << byROI << wild;
        EXPECT_EQ(markers[1].x, 45.0);
        EXPECT_EQ(markers[1].y, 40.0);
      }
    }
  }
}

}  // namespace
