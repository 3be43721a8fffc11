// Polynomial and triangulated alignment: a known displacement is recovered
// and undone, the refusals leave the image as it was, and on a synthetic run
// the alignment lands the markers on their true partners.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "align/imageAlign.h"
#include "align/triAlign.h"
#include "bench/alignScenes.h"
#include "tests/support/sessionUi.h"

namespace {

using namespace tamble;
using tamble::testing::sessionUi;

// The smooth pattern the first image shows: a ramp and two waves.
float pattern(double u, double v) {
  return static_cast<float>(1000.0 + 3.0 * u + 2.0 * v + 40.0 * std::sin(u * 0.11) +
                            30.0 * std::cos(v * 0.07));
}

using pointMap = std::function<void(double x, double y, double& u, double& v)>;

// Markers on a jittered grid of the second image, and the first image whose
// content at p(x, y) is what the second shows at (x, y): its field is the
// pattern, its markers the grid carried by p.
struct pairScene {
  zel::image first, second;
};

pairScene makePair(int W, int H, const pointMap& p, int step = 20) {
  pairScene s{zel::image(W, H), zel::image(W, H)};
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) s.first.field()(x, y) = pattern(x, y);
  int id = 1;
  for (int gy = step / 2; gy < H - 4; gy += step)
    for (int gx = step / 2; gx < W - 4; gx += step, ++id) {
      const double x = gx + 0.37 * std::sin(id * 1.3), y = gy + 0.41 * std::cos(id * 0.7);
      double u = 0, v = 0;
      p(x, y, u, v);
      s.second.markers.add({x, y, 0, 0, true, id});
      s.first.markers.add({u, v, 0, 0, true, id});
    }
  s.first.setFieldName("wind_on_sens");
  s.second.setFieldName("wind_off_sens");
  return s;
}

// The largest difference, on a grid inside the image, between the aligned
// image and the pattern carried by p: what a perfect alignment would show.
double worstOnGrid(const zel::image& aligned, const pointMap& p) {
  double worst = 0;
  for (int y = 10; y < 130; y += 7)
    for (int x = 10; x < 150; x += 7) {
      double u = 0, v = 0;
      p(x, y, u, v);
      worst = std::max(worst, std::fabs(double{aligned.field()(x, y)} - pattern(u, v)));
    }
  return worst;
}

struct knownMap {
  const char* name;
  int order;  // terms the polynomial needs: 1, 3, 6 or 10
  pointMap p;
};

const knownMap maps[] = {
    {"shift", 1, [](double x, double y, double& u, double& v) { u = x + 2.6, v = y - 1.3; }},
    {"turn and shift", 3,
     [](double x, double y, double& u, double& v) {
       const double c = std::cos(0.02), s = std::sin(0.02);
       u = c * x - s * y + 1.7, v = s * x + c * y - 2.2;
     }},
    {"quadratic", 6,
     [](double x, double y, double& u, double& v) {
       u = x + 1.2 + 0.004 * x + 3e-5 * x * y, v = y - 0.8 + 2e-5 * x * x - 0.003 * y;
     }},
    {"cubic bend", 10,
     [](double x, double y, double& u, double& v) {
       u = x + 0.9 + 2e-7 * x * x * x, v = y + 1.1 + 3e-7 * x * x * y - 1e-5 * y * y;
     }},
};

// Each kind of displacement is fitted exactly by its order and undone: the
// aligned image shows at (x, y) what the first showed at p(x, y), and the
// markers come back to the second image's.
TEST(ImageAlign, RecoversAndUndoesAKnownDisplacement) {
  for (const knownMap& k : maps)
    for (const int rtype : {1, 2}) {
      if (rtype == 2 && k.order > 3) continue;  // the scan looks for a rigid move
      sessionUi ui;
      pairScene s = makePair(160, 140, k.p);
      alignSettings settings;
      settings.order = k.order == 1 ? 3 : k.order;
      settings.rtype = rtype;
      polynomialState map;
      const alignOutcome done = ImageAlign(s.first, s.second, settings, map);
      ASSERT_TRUE(done.warped) << k.name << " rtype " << rtype;
      EXPECT_EQ(done.pairs, s.second.markers.count()) << k.name;
      const double worstValue = worstOnGrid(s.first, k.p);
      double worstMarker = 0;
      for (int i = 0; i < s.first.markers.count(); ++i)
        worstMarker = std::max(worstMarker, std::hypot(s.first.markers.items[i].x - s.second.markers.items[i].x,
                                                       s.first.markers.items[i].y - s.second.markers.items[i].y));
      EXPECT_LT(worstValue, 0.3) << k.name << " rtype " << rtype;  // bilinear on the waves
      EXPECT_LT(worstMarker, 0.01) << k.name << " rtype " << rtype;
    }
}

// The blended macro alignment follows the same cubic displacement.
TEST(ImageAlign, MacroAlignmentFollowsTheDisplacementToo) {
  sessionUi ui;
  pairScene s = makePair(160, 140, maps[3].p);
  alignSettings settings;
  settings.macro = true;
  polynomialState map;
  ASSERT_TRUE(ImageAlign(s.first, s.second, settings, map).warped);
  EXPECT_LT(worstOnGrid(s.first, maps[3].p), 0.3);
}

// What ends an alignment says so, and the image stays as it was; what lowers
// the order says so and aligns.
TEST(ImageAlign, RefusalsAndFallbacksTellTheUser) {
  const char* simplified = "Alignment is made using simplified approximation\nPlease, check final image";
  struct row {
    const char* name;
    int keepFirst, keepSecond;  // markers kept (-1: all)
    int fixed, rtype, order;
    bool identical;
    const char* notice;  // expected among the notices ("" none)
    bool warped;
  } rows[] = {
      {"identical markers", -1, -1, 0, 1, 10, true, "", false},
      {"three markers, none fixed", 3, 3, 0, 1, 10, false,
       "When Number of Markers Less or Equals 3\nNumber of the Same First Markers (fixed)\n"
       "        Must be 1 and more !\n      Look for appropriate button",
       false},
      {"three fixed markers", 3, 3, 3, 1, 10, false, simplified, true},
      {"four markers by index fall back to order 3", 4, 4, 4, 1, 10, false, simplified, true},
      // Linking scores a trial only from 6 pairs on.
      {"four markers to link", 4, 4, 0, 1, 10, false,
       "Alignment is not made due to small number of markers", false},
      {"all fixed, counts differ", -1, 30, 4, 1, 10, false,
       "Number of markers on aligned images is different\nProcedure is terminated", false},
  };
  for (const row& r : rows) {
    sessionUi ui;
    pairScene s = makePair(160, 140, r.identical ? pointMap([](double x, double y, double& u,
                                                              double& v) { u = x, v = y; })
                                                 : maps[1].p);
    if (r.keepFirst >= 0) s.first.markers.items.resize(r.keepFirst);
    if (r.keepSecond >= 0) s.second.markers.items.resize(r.keepSecond);
    const zel::image before = s.first;
    alignSettings settings;
    settings.fixed = r.fixed;
    settings.rtype = r.rtype;
    settings.order = r.order;
    polynomialState map;
    const alignOutcome done = ImageAlign(s.first, s.second, settings, map);
    EXPECT_EQ(done.warped, r.warped) << r.name;
    const auto& seen = ui.ui.notices;
    if (*r.notice) {
      EXPECT_NE(std::find(seen.begin(), seen.end(), r.notice), seen.end()) << r.name;
    }
    if (!r.warped) {
      EXPECT_TRUE(std::equal(before.field().data, before.field().data + before.field().count,
                             s.first.field().data))
          << r.name;
      EXPECT_EQ(before.markers.items, s.first.markers.items) << r.name;
    }
  }
}

// "O ": the fit is reported, the markers stay, and the warp copies the values.
TEST(ImageAlign, OrderZeroReportsAndKeepsThePositions) {
  sessionUi ui;
  pairScene s = makePair(160, 140, maps[1].p);
  const zel::image before = s.first;
  alignSettings settings;
  settings.order = 0;
  polynomialState map;
  const alignOutcome done = ImageAlign(s.first, s.second, settings, map);
  EXPECT_EQ(map.order, 0);
  EXPECT_NE(done.report.find("Order of approximation =   0"), std::string::npos) << done.report;
  EXPECT_NE(done.report.find("Map1 -   wind_on_sens\nMap2 -   wind_off_sens"), std::string::npos);
  EXPECT_EQ(before.markers.items, s.first.markers.items);
  EXPECT_EQ(s.first.field()(50, 60), before.field()(50, 60));
}

// "Show errors": No, then Yes to ending the batch, warps nothing and stops.
TEST(ImageAlign, DecliningTheReportEndsWithoutAWarp) {
  sessionUi ui;
  pairScene s = makePair(160, 140, maps[1].p);
  const zel::image before = s.first;
  alignSettings settings;
  settings.order = 3;
  settings.showErrors = true;
  std::vector<std::string> asked;
  std::deque<bool> answers = {false, true};
  polynomialState map;
  const alignOutcome done = ImageAlign(s.first, s.second, settings, map, [&](const std::string& q) {
    asked.push_back(q);
    const bool a = answers.front();
    answers.pop_front();
    return a;
  });
  ASSERT_EQ(asked.size(), 2u);
  EXPECT_EQ(asked[0].rfind("Alignment Map1 to Map2\n    Order of approximation =   1", 0), 0u);
  EXPECT_TRUE(done.stop);
  EXPECT_FALSE(done.warped);
  EXPECT_EQ(before.markers.items, s.first.markers.items);
}

// Triangles: every marker lands on its partner, pixels outside the markers'
// hull keep their values, and too few markers or unequal counts refuse.
TEST(TriAlign, MarkersLandOnTheirPartnersAndTheHullBounds) {
  sessionUi ui;
  pairScene s = makePair(160, 140, maps[3].p);
  const zel::image before = s.first;
  triSettings settings;
  polynomialState map;
  const triOutcome done = TriAlign(s.first, s.second, settings, map);
  ASSERT_TRUE(done.warped) << done.report;
  EXPECT_GT(done.trianglesUsed, done.triangles * 9 / 10);  // slivers at the hull hold no pixel
  for (const marker& m : s.first.markers.items) {
    const auto& ref = s.second.markers.items;
    const auto partner = std::find_if(ref.begin(), ref.end(), [&](const marker& r) { return r.id == m.id; });
    ASSERT_NE(partner, ref.end());
    EXPECT_EQ(m.x, partner->x);
    EXPECT_EQ(m.y, partner->y);
  }
  EXPECT_EQ(s.first.field()(1, 1), before.field()(1, 1));  // outside the hull
  double worst = 0;
  for (int y = 20; y < 120; y += 5)
    for (int x = 20; x < 140; x += 5) {
      double u = 0, v = 0;
      maps[3].p(x, y, u, v);
      worst = std::max(worst, std::fabs(double{s.first.field()(x, y)} - pattern(u, v)));
      double su = 0, sv = 0;
      ASSERT_TRUE(done.source(x, y, su, sv)) << x << "," << y;  // inside the hull: covered
      EXPECT_NEAR(su, u, 0.05);
      EXPECT_NEAR(sv, v, 0.05);
    }
  EXPECT_LT(worst, 0.5);
}

TEST(TriAlign, RefusesTooFewOrUnequalMarkers) {
  struct row {
    int keepFirst, keepSecond;
    const char* notice;
  } rows[] = {{8, -1, "Aligned Image Markers Number < 9"},
              {-1, 8, "Reference Image Markers Number < 9"}};
  for (const row& r : rows) {
    sessionUi ui;
    pairScene s = makePair(160, 140, maps[1].p);
    if (r.keepFirst >= 0) s.first.markers.items.resize(r.keepFirst);
    if (r.keepSecond >= 0) s.second.markers.items.resize(r.keepSecond);
    const zel::image before = s.first;
    polynomialState map;
    EXPECT_FALSE(TriAlign(s.first, s.second, triSettings{}, map).warped) << r.notice;
    EXPECT_NE(std::find(ui.ui.notices.begin(), ui.ui.notices.end(), r.notice), ui.ui.notices.end());
    EXPECT_EQ(before.markers.items, s.first.markers.items);
  }
  sessionUi ui;  // markers paired by index, but one list longer
  pairScene s = makePair(160, 140, maps[1].p);
  s.first.markers.items.pop_back();
  triSettings paired;
  paired.paired = true;
  polynomialState map;
  const triOutcome done = TriAlign(s.first, s.second, paired, map);
  EXPECT_FALSE(done.warped);
  EXPECT_NE(done.report.find("NO ALIGNMENT !"), std::string::npos) << done.report;
}

// On a synthetic run with its default wind-on motion, the markers found on
// both frames are linked to their true partners, and the alignment puts the
// true marker centres within a fraction of a pixel of where they belong.
TEST(AlignOnSyntheticRun, LandsTheTrueCentres) {
  sessionUi ui;
  ui.ui.notices.reserve(64);
  session().quietMode = 1;
  const alignbench::scene& s = alignbench::sceneOf("size=512 noise=0");
  struct row {
    const char* name;
    std::function<displacementMap(zel::image&, const zel::image&)> align;
    double meanLimit, worstLimit;
  } rows[] = {{"order 3", alignbench::polynomial(3, 9), 0.5, 1.5},
              {"order 10", alignbench::polynomial(10, 9), 0.1, 0.2},
              {"triangles", alignbench::triangles(9), 0.2, 0.6}};
  for (const row& r : rows) {
    const alignbench::quality q = alignbench::measure(s, 9, r.align);
    ASSERT_TRUE(q.aligned) << r.name;
    EXPECT_GE(q.linkShare, 0.95) << r.name;
    EXPECT_LT(q.meanResidual, r.meanLimit) << r.name;
    EXPECT_LT(q.worstResidual, r.worstLimit) << r.name;
  }
}

}  // namespace
