// Numbering and statistics: the markers of a moved model take the numbers of
// the same markers on the pattern; the stops and notices of the numbering;
// the statistics of small hand-computed sets; the spots under markers; and
// "Markers Statistics" as a user runs it.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "align/linkMarkers.h"
#include "api/imagesList.h"
#include "bench/linkScene.h"
#include "dialogs/markerStatsDialog.h"
#include "markers/markerStats.h"
#include "markers/numerate.h"
#include "plugin/markerStatsCommand.h"
#include "tests/support/commandTest.h"
#include "tests/support/layers.h"
#include "tests/support/sessionUi.h"

namespace {

using namespace tamble;
namespace tt = tamble::testing;
namespace ls = tamble::linkScenes;

const ls::modelMap moved{0.0524, -8.0, 5.0, 1.5e-5};  // 3 degrees, a shift and a bend

std::vector<int> numbersFrom(int first, int step, int count) {
  std::vector<int> ids;
  for (int i = 0; i < count; ++i) ids.push_back(first + step * i);
  return ids;
}

// --- Numbering ---------------------------------------------------------------

// Each marker seen on both images keeps its own place and takes the number
// of the same marker on the pattern; one whose pattern number is 0 takes the
// largest number given before it plus 1; the others are gone.
TEST(NumerateMarkers, GivesTheSameNumbersToTheSameMarkers) {
  tt::sessionUi user;
  const ls::linkScene s = ls::makeLinkScene(moved, 10, 10, 3);
  std::vector<int> patternIds = numbersFrom(500, -3, s.first.size());
  zel::markersArray pattern = ls::markersOf(s.first, patternIds);
  const int unnumbered = 20;  // a pattern marker with no number
  ASSERT_GE(s.partner[unnumbered], 0);
  pattern[unnumbered].id = patternIds[unnumbered] = 0;
  zel::markersArray image = ls::markersOf(s.second, numbersFrom(1, 1, s.second.size()));
  image.functionName = "Pressure";
  for (marker& m : image.items) m.z = m.f = 2.5;
  polynomialState state;
  ASSERT_TRUE(NumerateMarkers(pattern, image, 9, false, state));
  EXPECT_TRUE(user.ui.notices.empty());
  EXPECT_EQ(image.count(), 80);  // the markers seen on both
  EXPECT_EQ(state.order, 10);
  EXPECT_TRUE(image.functionName.empty());
  int largest = 0;
  for (int i = 0; i < s.first.size(); ++i) {
    const int p = s.partner[i];
    if (p < 0) continue;
    const int id = patternIds[i] != 0 ? patternIds[i] : largest + 1;
    largest = std::max(largest, id);
    const int at = image.indexOf(id);
    ASSERT_GE(at, 0) << "pattern entry " << i;
    EXPECT_EQ(image[at], (marker{s.second.x[p], s.second.y[p], 0, 0, true, id}))
        << "pattern entry " << i;
  }
}

// Where the numbering stops: each case has its notice when verbose and none
// otherwise, and leaves the image's markers as they were.
TEST(NumerateMarkers, StopsWithItsNoticeAndChangesNothing) {
  const ls::linkScene s = ls::makeLinkScene(moved, 0, 0, 5);
  const zel::markersArray pattern = ls::markersOf(s.first, numbersFrom(1, 1, s.first.size()));
  const zel::markersArray image = ls::markersOf(s.second, numbersFrom(1, 1, s.second.size()));
  zel::markersArray line;
  for (int i = 0; i < 8; ++i) line.add(marker{10.0 * i, 40.0, 0, 0, true, 0});
  struct row {
    const char* what;
    zel::markersArray pattern, image;
    std::vector<std::string> notices;
  } rows[] = {{"empty pattern", {}, image, {noPatternMarkers}},
              {"empty image", pattern, {}, {noImageMarkers}},
              {"identical lists", image, image, {identicalImages}},
              {"pattern on a line", line, image, {collinearNotice, linkFailed}}};
  for (const row& r : rows)
    for (bool verbose : {true, false}) {
      tt::sessionUi user;
      zel::markersArray markers = r.image;
      polynomialState state;
      EXPECT_FALSE(NumerateMarkers(r.pattern, markers, 9, verbose, state)) << r.what;
      EXPECT_EQ(markers.items, r.image.items) << r.what;
      // The linking's own notice does not depend on the numbering's verbosity.
      std::vector<std::string> expected;
      for (const std::string& n : r.notices)
        if (verbose || n == collinearNotice) expected.push_back(n);
      EXPECT_EQ(user.ui.notices, expected) << r.what << (verbose ? " verbose" : "");
    }
}

// Fewer pairs lower the order, with a notice for every step down, and the
// fit's errors are put as a question; No keeps the image's markers.
TEST(NumerateMarkers, PowersDownWithFewPairsAndAsksBeforeRenumbering) {
  struct row {
    int markers;
    std::vector<std::string> notices;
    const char* order;
    bool answer;
  } rows[] = {{25, {}, "3", true},
              {15, {powerDownTo6}, "2", true},
              {11, {powerDownTo6, powerDownTo3}, "1", true},
              {11, {powerDownTo6, powerDownTo3}, "1", false}};
  const ls::linkScene s = ls::makeLinkScene(moved, 0, 0, 9);
  for (const row& r : rows) {
    tt::sessionUi user;
    // The first markers of the pattern, and the same markers on the image in
    // the image's order.
    ls::linkScene few;
    std::vector<bool> chosen(s.second.x.size(), false);
    for (int i = 0; i < r.markers; ++i) chosen[s.partner[i]] = true;
    for (int i = 0; i < r.markers; ++i) {
      few.first.x.push_back(s.first.x[i]);
      few.first.y.push_back(s.first.y[i]);
    }
    for (std::size_t j = 0; j < chosen.size(); ++j)
      if (chosen[j]) {
        few.second.x.push_back(s.second.x[j]);
        few.second.y.push_back(s.second.y[j]);
      }
    const zel::markersArray pattern = ls::markersOf(few.first, numbersFrom(1, 1, r.markers));
    const zel::markersArray before = ls::markersOf(few.second, numbersFrom(100, 1, r.markers));
    zel::markersArray image = before;
    std::vector<std::string> asked;
    auto ask = [&](const std::string& text) {
      asked.push_back(text);
      return r.answer;
    };
    polynomialState state;
    EXPECT_EQ(NumerateMarkers(pattern, image, 9, true, state, ask), r.answer) << r.markers;
    EXPECT_EQ(user.ui.notices, r.notices) << r.markers;
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_NE(asked[0].find("Number of pairs        =   " + std::to_string(r.markers) + "\n"),
              std::string::npos)
        << asked[0];
    EXPECT_NE(asked[0].find(std::string("Approximation Order =   ") + r.order + "\n"),
              std::string::npos)
        << asked[0];
    EXPECT_EQ(asked[0].rfind("Proceed With Enumeration ?"), asked[0].size() - 26);
    if (r.answer)
      EXPECT_EQ(image.count(), r.markers);
    else
      EXPECT_EQ(image.items, before.items);
  }
}

// --- Statistics ----------------------------------------------------------

zel::markersArray markersAt(const std::vector<std::pair<double, double>>& places) {
  zel::markersArray a;
  for (const auto& [x, y] : places) a.add(marker{x, y, 0, 0, true, 0});
  return a;
}

// Sets whose distances, radii and correlation are worked out by hand.
TEST(MarkerStats, OfSmallKnownSets) {
  const double r5 = std::sqrt(5.0), r2 = std::sqrt(2.0);
  struct row {
    const char* what;
    std::vector<std::pair<double, double>> places;
    markerStatistics expected;
  } rows[] = {
      {"a 4 by 3 rectangle",
       {{0, 0}, {4, 0}, {0, 3}, {4, 3}},
       {4, 3, 5, 4, 2, 1.5, 2.5, 2.5, 2.5, 2.5, 0, 4, 3}},
      {"three points on y = 2x + 1",
       {{0, 1}, {1, 3}, {3, 7}},
       {3, float(r5), float(3 * r5), float(2 * r5), float(4.0 / 3), float(11.0 / 3), float(r5 / 3),
        float(5 * r5 / 3), float(10 * r5 / 9), float(std::sqrt(70.0) / 3), 1, 3, 6}},
      {"three points on y = -x, one at the centre",
       {{0, 0}, {2, -2}, {4, -4}},
       {3, float(2 * r2), float(4 * r2), float(8 * r2 / 3), 2, -2, 0, float(2 * r2),
        float(4 * r2 / 3), float(4 / std::sqrt(3.0)), -1, 4, 4}}};
  for (const row& r : rows) {
    markerStatistics s;
    ASSERT_TRUE(MarkerStats(markersAt(r.places), s)) << r.what;
    const markerStatistics& e = r.expected;
    EXPECT_EQ(s.count, e.count) << r.what;
    const std::pair<float, float> values[] = {{s.minDistance, e.minDistance},
                                              {s.maxDistance, e.maxDistance},
                                              {s.meanDistance, e.meanDistance},
                                              {s.centreX, e.centreX},
                                              {s.centreY, e.centreY},
                                              {s.minRadius, e.minRadius},
                                              {s.maxRadius, e.maxRadius},
                                              {s.meanRadius, e.meanRadius},
                                              {s.rmsRadius, e.rmsRadius},
                                              {s.correlation, e.correlation},
                                              {s.spanX, e.spanX},
                                              {s.spanY, e.spanY}};
    for (std::size_t k = 0; k < std::size(values); ++k)
      EXPECT_NEAR(values[k].first, values[k].second, 2e-6f * (1.0f + std::fabs(values[k].second)))
          << r.what << ", value " << k;
  }
}

// 999 markers are taken; 1000 stop the statistics with their notice, shown
// even while the program is quiet, and the record stays as it was.
TEST(MarkerStats, StopsAtAThousandMarkers) {
  tt::sessionUi user;
  session().quietMode = 1;
  zel::markersArray markers;
  for (int i = 0; i < 999; ++i) markers.add(marker{i % 40 * 10.0, i / 40 * 10.0, 0, 0, true, 0});
  markerStatistics s;
  EXPECT_TRUE(MarkerStats(markers, s));
  EXPECT_EQ(s.count, 999);
  EXPECT_TRUE(user.ui.notices.empty());
  markers.add(marker{500.0, 500.0, 0, 0, true, 0});
  markerStatistics untouched;
  untouched.count = -7;
  EXPECT_FALSE(MarkerStats(markers, untouched));
  EXPECT_EQ(untouched.count, -7);
  EXPECT_EQ(user.ui.notices, std::vector<std::string>{tooManyMarkers});
}

// --- Spots ---------------------------------------------------------------

// A 700 by 700 image (so D = 7) on a level of 1000, with sharp discs of
// radius 2 brighter or darker by 600 and a bright stripe 3 pixels wide: the
// discs come out with their sign, a diameter near 4 and half the value
// range; the stripe does not close; a marker on the flat level finds no
// spot.
tt::layers spotsImage() {
  tt::layers l(700, 700);
  const struct {
    double x, y;
    int sign;
  } discs[] = {{200.3, 150.6, 1}, {400.2, 300.7, -1}, {520.8, 480.1, -1}};
  for (int y = 0; y < 700; ++y)
    for (int x = 0; x < 700; ++x) {
      double v = 1000.0;
      for (const auto& d : discs)
        v += d.sign * 600.0 * 0.5 *
             std::erfc((std::hypot(x - d.x, y - d.y) - 2.0) / (0.3 * M_SQRT2));
      if (y >= 599 && y <= 601 && x >= 300 && x <= 340) v += 400.0;
      l.field(x, y) = static_cast<float>(v);
    }
  l.markers = markersAt({{201, 151}, {399, 300}, {521, 481}, {320, 600}, {100, 600}});
  return l;
}

TEST(MarkerQuality, FindsTheSpotsUnderTheMarkers) {
  tt::sessionUi user;
  const tt::layers l = spotsImage();
  polynomialState map;
  const markerQuality q = MarkerQuality(l.field, l.bkgr, l.ROI, l.markers, map);
  ASSERT_EQ(q.spots.size(), 5u);
  const int signs[] = {1, -1, -1, 0, 0};
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(q.spots[i].sign, signs[i]) << i;
    if (signs[i] == 0) continue;
    EXPECT_NEAR(q.spots[i].diameter, 4.0f, 0.5f) << i;
    EXPECT_NEAR(q.spots[i].intensity, 0.5f, 0.02f) << i;
  }
  EXPECT_EQ(q.positive, 1);
  EXPECT_EQ(q.negative, 2);
  EXPECT_EQ(q.wrong, 2);
  EXPECT_LE(q.minDiameter, q.meanDiameter);
  EXPECT_LE(q.meanDiameter, q.maxDiameter);
  EXPECT_EQ(user.ui.notices, (std::vector<std::string>{spotNotClosed, wrongMarkers}));
}

// --- The command ---------------------------------------------------------

// Reads the report the command shows.
struct reportReader : tt::scriptedUi {
  std::string title;
  std::vector<std::string> lines;
  bool editRecord(paramRecord& record) override {
    title = record.title();
    for (const paramInfo& f : record.fields()) {
      EXPECT_TRUE(f.shownOnly) << f.key;
      lines.push_back(f.caption);
    }
    return true;
  }
};

using MarkersStatistics = tt::commandTest;

// Fewer than two markers, or more than 999: the command says why, shows no
// report and takes no snapshot.
TEST_F(MarkersStatistics, StopsWithoutEnoughMarkers) {
  zel::image& img = addRamp(20, 10);
  zel::markersArray many;
  for (int i = 0; i < 1000; ++i) many.add(marker{i % 20 * 1.0, i / 100 * 1.0, 0, 0, true, 0});
  const struct {
    zel::markersArray markers;
    const char* notice;
  } rows[] = {{{}, tooFewMarkersForStats},
              {markersAt({{3, 4}}), tooFewMarkersForStats},
              {many, tooManyMarkers}};
  for (const auto& r : rows) {
    img.markers = r.markers;
    user.ui.notices.clear();
    user.ui.dialogOk = {true};
    EXPECT_TRUE(MarkersStatisticsCommand(list));
    EXPECT_EQ(user.ui.notices, std::vector<std::string>{r.notice});
    EXPECT_EQ(user.ui.dialogOk.size(), 1u);  // no report shown
    EXPECT_FALSE(list.undoAvailable());
  }
}

// The report lists the set's statistics and a line per marker.
TEST_F(MarkersStatistics, ShowsTheReport) {
  reportReader reader;
  setHostUi(&reader);
  const tt::layers l = spotsImage();
  auto* img = new zel::image(700, 700);
  img->setFieldName("spots");
  img->field() = l.field;
  img->markers = l.markers;
  list.addImage(img);
  EXPECT_TRUE(MarkersStatisticsCommand(list));
  setHostUi(&user.ui);
  EXPECT_EQ(reader.title, "Markers Statistics");
  ASSERT_EQ(reader.lines.size(), 27u + 5u);
  EXPECT_EQ(reader.lines[0], " Number of All Markers                               5");
  EXPECT_EQ(reader.lines[1], " Number of Positive Markers                          1");
  EXPECT_EQ(reader.lines[2], " Number of Negative Markers                          2");
  EXPECT_EQ(reader.lines[3], "");
  EXPECT_EQ(reader.lines[27].substr(0, 23), " Marker #   1   Sign  1");
  EXPECT_EQ(reader.lines[30].substr(0, 23), " Marker #   4   Sign  0");
  EXPECT_FALSE(list.undoAvailable());
  EXPECT_TRUE(img->markers.items == l.markers.items);
}

}  // namespace
