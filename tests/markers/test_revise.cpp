#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "markers/revise.h"
#include "plugin/frame.h"
#include "tests/markers/markerTestImages.h"
#include "tests/support/scriptedUi.h"

namespace {

using namespace tamble;
namespace mt = tamble::testing;
using mt::compare;
using mt::markerImage;
using mt::markerScene;
using mt::spot;

using reviseFn = void (*)(const markerField&, const markerMask&, const markerMask&,
                          zel::markersArray&, int, double);

// A small model with a dozen 7-pixel spots, under light that changes as
// slowly per pixel as over the large one.
markerScene smallScene(int sign, unsigned seed) {
  markerScene s;
  s.W = s.H = 256;
  s.spacing = 48;
  s.lightSlope = 0.1;
  s.vignette = 0.15;
  s.sign = sign;
  s.seed = seed;
  s.blur = 1.0;
  return s;
}

marker at(double x, double y, int id = 0, bool active = true) {
  marker m;
  m.x = x;
  m.y = y;
  m.id = id;
  m.active = active;
  return m;
}

// Markers a pixel or two off each spot, as a user clicks them.
zel::markersArray offBy(const std::vector<spot>& spots, double dx, double dy) {
  zel::markersArray a;
  for (const spot& p : spots) a.add(at(std::round(p.x) + dx, std::round(p.y) + dy));
  return a;
}

bool samePlace(const marker& a, const marker& b) {
  return std::memcmp(&a.x, &b.x, sizeof(double)) == 0 &&
         std::memcmp(&a.y, &b.y, sizeof(double)) == 0;
}

bool sameBits(const zel::markersArray& a, const zel::markersArray& b) {
  if (a.count() != b.count()) return false;
  for (int i = 0; i < a.count(); ++i)
    if (!samePlace(a[i], b[i]) || a[i].id != b[i].id || a[i].active != b[i].active) return false;
  return true;
}

template <class T>
bool sameLayer(const zel::arrayStore<T, 2>& a, const zel::arrayStore<T, 2>& b) {
  return a.count == b.count && std::memcmp(a.data, b.data, a.count * sizeof(T)) == 0;
}

struct routineCase {
  const char* name;
  reviseFn routine;
  double D;
  double meanLimit, worstLimit;  // pixels, on spots of 7 pixels with blur 1
};

class Revision : public ::testing::TestWithParam<routineCase> {};

TEST_P(Revision, BringsBrightAndDarkSpotsToTheirSubPixelCentres) {
  const routineCase& c = GetParam();
  for (int sign : {1, -1}) {
    const markerImage img = mt::makeMarkerImage(smallScene(sign, 3));
    ASSERT_GE(img.spots.size(), 8u);
    for (const auto& [dx, dy] : {std::pair{1.0, -1.0}, std::pair{-2.0, 0.0}}) {
      zel::markersArray markers = offBy(img.spots, dx, dy);
      c.routine(img.field, img.bkgr, img.ROI, markers, sign, c.D);
      const mt::detection d = compare(img.spots, markers, 1.5);
      EXPECT_EQ(d.matched, d.placed) << c.name << " sign " << sign << " off " << dx << "," << dy;
      EXPECT_LT(d.meanError, c.meanLimit) << c.name << " sign " << sign;
      EXPECT_LT(d.worstError, c.worstLimit) << c.name << " sign " << sign;
    }
    // The wrong sign does not find the spots' centres.
    zel::markersArray wrong = offBy(img.spots, 1.0, -1.0);
    c.routine(img.field, img.bkgr, img.ROI, wrong, -sign, c.D);
    EXPECT_GT(compare(img.spots, wrong, 3.0).meanError, c.meanLimit) << c.name;
  }
}

TEST_P(Revision, KeepsNumbersCountAndDisabledOrOutsideMarkersAndTheLayers) {
  const routineCase& c = GetParam();
  markerImage img = mt::makeMarkerImage(smallScene(-1, 5));
  ASSERT_GE(img.spots.size(), 4u);
  const spot p0 = img.spots[0], p1 = img.spots[1], p2 = img.spots[2], p3 = img.spots[3];
  // A blocked pixel under one marker: it stays where it is.
  img.bkgr(static_cast<int>(std::round(p2.x)) + 1, static_cast<int>(std::round(p2.y))) = true;
  img.ROI(static_cast<int>(std::round(p3.x)) + 1, static_cast<int>(std::round(p3.y))) = false;
  zel::markersArray markers;
  markers.add(at(std::round(p0.x) + 1, std::round(p0.y), 7));
  markers.add(at(std::round(p1.x) + 1, std::round(p1.y), 3, false));
  markers.add(at(std::round(p2.x) + 1, std::round(p2.y), 12));
  markers.add(at(std::round(p3.x) + 1, std::round(p3.y), 4));
  markers.add(at(-5.0, 40.0, 9));
  markers.add(at(30.0, 1e9, 10));
  markers.add(at(std::numeric_limits<double>::quiet_NaN(), 40.0, 11));
  const zel::markersArray before = markers;
  const markerImage kept = img;
  c.routine(img.field, img.bkgr, img.ROI, markers, -1, c.D);
  ASSERT_EQ(markers.count(), before.count());
  for (int i = 0; i < markers.count(); ++i) {
    EXPECT_EQ(markers[i].id, before[i].id);
    EXPECT_EQ(markers[i].active, before[i].active);
    EXPECT_EQ(markers[i].z, before[i].z);
    EXPECT_EQ(markers[i].f, before[i].f);
  }
  EXPECT_LT(std::hypot(markers[0].x - p0.x, markers[0].y - p0.y), 0.5) << c.name;
  for (int i = 1; i < markers.count(); ++i)
    EXPECT_TRUE(samePlace(markers[i], before[i])) << c.name << " marker " << i << " moved";
  EXPECT_TRUE(sameLayer(img.field, kept.field));
  EXPECT_TRUE(sameLayer(img.bkgr, kept.bkgr));
  EXPECT_TRUE(sameLayer(img.ROI, kept.ROI));
}

TEST_P(Revision, GivesTheSameBitsOnAnyNumberOfThreads) {
  const routineCase& c = GetParam();
  markerScene s;
  s.dust = 30;
  const markerImage img = mt::makeMarkerImage(s);
  zel::markersArray one = offBy(img.spots, 1.0, 1.0), many = one;
  const int saved = omp_get_max_threads();
  omp_set_num_threads(1);
  c.routine(img.field, img.bkgr, img.ROI, one, -1, c.D);
  omp_set_num_threads(4);
  c.routine(img.field, img.bkgr, img.ROI, many, -1, c.D);
  omp_set_num_threads(saved);
  EXPECT_TRUE(sameBits(one, many)) << c.name;
  EXPECT_FALSE(sameBits(one, offBy(img.spots, 1.0, 1.0))) << c.name << " moved nothing";
}

TEST_P(Revision, AnEmptyArrayIsReportedUnlessQuiet) {
  const routineCase& c = GetParam();
  mt::installedUi user;
  const markerImage img = mt::makeMarkerImage(smallScene(-1, 1));
  zel::markersArray none;
  c.routine(img.field, img.bkgr, img.ROI, none, -1, c.D);
  quietMode = 1;
  c.routine(img.field, img.bkgr, img.ROI, none, -1, c.D);
  quietMode = 0;
  EXPECT_EQ(user.ui.notices,
            std::vector<std::string>{"No markers in active zone. Procedure is terminated"});
  EXPECT_EQ(none.count(), 0);
}

TEST_P(Revision, RefusesLayersOfDifferentSizes) {
  const routineCase& c = GetParam();
  const markerImage img = mt::makeMarkerImage(smallScene(-1, 1));
  markerMask small(10, 10);
  zel::markersArray markers = offBy(img.spots, 0, 0);
  EXPECT_THROW(c.routine(img.field, small, img.ROI, markers, -1, c.D), zel::DimError);
  EXPECT_THROW(c.routine(img.field, img.bkgr, small, markers, -1, c.D), zel::DimError);
}

INSTANTIATE_TEST_SUITE_P(
    Routines, Revision,
    ::testing::Values(routineCase{"ReviseMarkers", ReviseMarkers, 9.0, 0.35, 0.7},
                      routineCase{"ReviseMarkersCenters", ReviseMarkersCenters, 7.0, 0.2, 0.3}),
    [](const auto& info) { return std::string(info.param.name); });

// One spot of the given radius centred at (cx, cy) on a flat level, without
// noise.
markerImage oneSpot(int W, int H, double cx, double cy, int sign, double radius = 3.5,
                    double blur = 1.0) {
  markerImage img(W, H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) img.field(x, y) = 1000.0f;
  std::vector<double> paint(static_cast<std::size_t>(W) * H, 1.0);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x)
      paint[static_cast<std::size_t>(y) * W + x] +=
          sign * 0.6 * mt::scene::diskCover(cx, cy, radius, x, y);
  mt::scene::blur(paint, W, H, blur);
  for (std::size_t i = 0; i < paint.size(); ++i)
    img.field.data[i] = static_cast<float>(1000.0 * paint[i]);
  img.spots.push_back({cx, cy});
  return img;
}

TEST(ReviseMarkers, AMoveOfDOrMoreIsRefusedOnItsAxisAlone) {
  // The spot lies 3.4 pixels left of the marker: with D = 4 x moves, with
  // D = 3 only y does.
  const markerImage img = oneSpot(60, 60, 30.0, 30.0, -1, 1.0, 0.8);
  zel::markersArray markers;
  markers.add(at(33.4, 30.6));
  ReviseMarkers(img.field, img.bkgr, img.ROI, markers, -1, 4.0);
  EXPECT_NEAR(markers[0].x, 30.0, 0.3);
  EXPECT_NEAR(markers[0].y, 30.0, 0.3);
  markers[0] = at(33.4, 30.6, 1);
  ReviseMarkers(img.field, img.bkgr, img.ROI, markers, -1, 3.0);
  EXPECT_EQ(markers[0].x, 33.4);
  EXPECT_NEAR(markers[0].y, 30.0, 0.3);
}

TEST(ReviseMarkers, BelowDiameterTwoTheBackgroundIsTheImageAndNothingMoves) {
  // Diameter 1 takes the median of one pixel as the background, so no spot
  // stands above it; diameter 2 takes 3 by 3 and finds a one-pixel spot.
  markerImage img(40, 40);
  img.field.fill(100.0f);
  img.field(20, 25) = 10.0f;
  zel::markersArray markers;
  markers.add(at(20.6, 24.7));
  ReviseMarkers(img.field, img.bkgr, img.ROI, markers, -1, 1.0);
  EXPECT_EQ(markers[0].x, 20.6);
  EXPECT_EQ(markers[0].y, 24.7);
  ReviseMarkers(img.field, img.bkgr, img.ROI, markers, -1, 2.0);
  EXPECT_EQ(markers[0].x, 20.0);
  EXPECT_EQ(markers[0].y, 25.0);
}

TEST(ReviseMarkers, BlockedPixelsAreNeverTakenForTheSpot) {
  // Blocked pixels beside the spot hold values far beyond the spot's, of the
  // spot's own kind: read as samples they would pull the marker onto them.
  for (int sign : {-1, 1}) {
    for (bool byROI : {false, true}) {
      markerImage img = oneSpot(80, 80, 40.3, 39.6, sign);
      for (int y = 34; y <= 46; ++y)
        for (int x = 45; x <= 47; ++x) {
          img.field(x, y) = sign * 1e6f;
          (byROI ? img.ROI(x, y) : img.bkgr(x, y)) = byROI ? false : true;
        }
      zel::markersArray markers;
      markers.add(at(41.0, 39.0));
      markers.add(at(45.0, 40.0));  // on a blocked pixel: stays
      ReviseMarkers(img.field, img.bkgr, img.ROI, markers, sign, 7.0);
      EXPECT_NEAR(markers[0].x, 40.3, 0.35) << sign << byROI;
      EXPECT_NEAR(markers[0].y, 39.6, 0.35) << sign << byROI;
      EXPECT_EQ(markers[1].x, 45.0);
      EXPECT_EQ(markers[1].y, 40.0);
      // Values that are not numbers there leave every position a number.
      for (int y = 34; y <= 46; ++y)
        for (int x = 45; x <= 47; ++x) img.field(x, y) = std::numeric_limits<float>::quiet_NaN();
      markers[0] = at(41.0, 39.0, 1);
      ReviseMarkers(img.field, img.bkgr, img.ROI, markers, sign, 7.0);
      EXPECT_TRUE(std::isfinite(markers[0].x) && std::isfinite(markers[0].y));
    }
  }
}

TEST(ReviseMarkersCenters, LeavesMarkersTooNearTheEdgeAndFindsTheOthers) {
  // h = trunc(D + 0.5) = 5: a marker needs 6 pixels to the edge and 7 on
  // the far side.
  const markerImage img = oneSpot(60, 60, 30.4, 29.7, 1);
  zel::markersArray markers;
  markers.add(at(31.0, 29.0));
  markers.add(at(5.0, 30.0));
  markers.add(at(30.0, 54.0));
  markers.add(at(6.0, 53.0));
  ReviseMarkersCenters(img.field, img.bkgr, img.ROI, markers, 1, 5.0);
  EXPECT_NEAR(markers[0].x, 30.4, 0.1);
  EXPECT_NEAR(markers[0].y, 29.7, 0.1);
  EXPECT_EQ(markers[1].x, 5.0);
  EXPECT_EQ(markers[2].y, 54.0);
  // At (6, 53) the frame fits, but the flat level has no peak above a frame.
  EXPECT_NEAR(markers[3].x, 6.0, 1e-3);
  EXPECT_NEAR(markers[3].y, 53.0, 1e-3);
}

}  // namespace
