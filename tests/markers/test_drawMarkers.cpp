// Synthetic spots at the markers, the triangle mesh between them, and the
// lines and marks they are drawn with.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "api/imagesList.h"
#include "dialogs/markerDialogs.h"
#include "markers/drawMarkers.h"
#include "markers/revise.h"
#include "plugin/markerDrawCommands.h"
#include "tests/support/commandTest.h"
#include "tests/support/layers.h"
#include "tests/support/sessionUi.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::sameBits;

// Two levels side by side (200 left of x = 80, 800 right of it) with an old
// dark spot of radius 3 under each marker; markers far from the step.
layers twoLevels() {
  layers l(160, 80);
  for (int y = 0; y < 80; ++y)
    for (int x = 0; x < 160; ++x) l.field(x, y) = x < 80 ? 200.0f : 800.0f;
  l.markers.items = {{40.3, 40.6, 0, 0, true, 1}, {120.7, 39.2, 0, 0, true, 2}};
  for (const marker& m : l.markers.items)
    for (int y = -3; y <= 3; ++y)
      for (int x = -3; x <= 3; ++x)
        if (x * x + y * y <= 9) l.field(int(m.x) + x, int(m.y) + y) *= 0.3f;
  return l;
}

struct spotCase {
  int sign;
  double D;
};

void PrintTo(const spotCase& c, std::ostream* os) { *os << "sign " << c.sign << ", D " << c.D; }

class DrawnSpots : public ::testing::TestWithParam<spotCase> {};

// The old spots vanish and each new one has the local level's depth:
// level * (1 + sign * exp(-r^2 / D^2)) within N of the marker, the level
// beyond.
TEST_P(DrawnSpots, HaveTheLocalLevelsHeight) {
  const auto [sign, D] = GetParam();
  layers l = twoLevels();
  DrawMarkers(l.field, l.bkgr, l.ROI, l.markers, sign, D);
  const int N = std::max(int(D * 5), 3);
  for (int y = 0; y < 80; ++y)
    for (int x = 0; x < 160; ++x) {
      const marker& m = l.markers.items[x < 80 ? 0 : 1];
      const double level = x < 80 ? 200 : 800;
      const bool near = std::abs(x - std::lround(m.x)) <= N && std::abs(y - std::lround(m.y)) <= N;
      const double r2 = (x - m.x) * (x - m.x) + (y - m.y) * (y - m.y);
      const double expected = near ? level * (1 + sign * std::exp(-r2 / (D * D))) : level;
      ASSERT_NEAR(l.field(x, y), expected, 1e-3 * level) << x << "," << y;
    }
}

INSTANTIATE_TEST_SUITE_P(SignsAndSizes, DrawnSpots,
                         ::testing::Values(spotCase{-1, 3.0}, spotCase{1, 3.0}, spotCase{-1, 5.5},
                                           spotCase{1, 2.0}));

// Blocked pixels keep their values, and a marker whose surroundings lie
// outside the ROI has no level: nothing is drawn around it.
TEST(DrawMarkers, DrawsOnlyAtValidPixels) {
  layers l = twoLevels();
  l.bkgr(41, 40) = true;
  for (int y = 37; y <= 42; ++y)
    for (int x = 118; x <= 123; ++x) l.ROI(x, y) = false;
  const layers before = l;
  DrawMarkers(l.field, l.bkgr, l.ROI, l.markers, -1, 3.0);
  EXPECT_EQ(l.field(41, 40), before.field(41, 40));
  EXPECT_LT(l.field(39, 41), 100.0f);  // the spot on the left is drawn
  for (int y = 0; y < 80; ++y)
    for (int x = 80; x < 160; ++x) ASSERT_EQ(l.field(x, y), before.field(x, y)) << x << "," << y;
}

// No markers: the notice, and nothing changes.
TEST(DrawMarkers, NoMarkersIsReported) {
  tamble::testing::sessionUi user;
  layers l = twoLevels();
  l.markers.items.clear();
  const layers before = l;
  DrawMarkers(l.field, l.bkgr, l.ROI, l.markers, -1, 3.0);
  EXPECT_TRUE(sameBits(l, before));
  EXPECT_EQ(user.ui.notices, std::vector<std::string>{noMarkersInZone});
}

// A 3 by 3 grid of markers 20 apart, from (20, 20), on a ramp up to 99.
layers gridOfMarkers(int extra = 0) {
  layers l(70, 70);
  for (int y = 0; y < 70; ++y)
    for (int x = 0; x < 70; ++x) l.field(x, y) = static_cast<float>(x + y) * 99.0f / 138.0f;
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 3; ++i) l.markers.add({20.0 + 20 * i, 20.0 + 20 * j, 0, 0, true, 0});
  if (extra) l.markers.add({-20.0, 40.0, 0, 0, true, 0});
  return l;
}

// Fewer than 9 markers stop the drawing; 9 draw the mesh at the largest
// value: corners, sides, and nothing inside the triangles.
TEST(TriangulationDraw, NeedsNineMarkersAndDrawsTheMesh) {
  tamble::testing::sessionUi user;
  layers eight = gridOfMarkers();
  eight.markers.items.pop_back();
  const layers before = eight;
  TriangulationDraw(eight.field, eight.markers);
  EXPECT_TRUE(sameBits(eight, before));
  EXPECT_EQ(user.ui.notices, std::vector<std::string>{"Markers Number < 9"});

  user.ui.notices.clear();
  layers nine = gridOfMarkers();
  TriangulationDraw(nine.field, nine.markers);
  // 9 points, 8 of them on the hull: 2*9 - 2 - 8 triangles.
  ASSERT_EQ(user.ui.notices.size(), 1u);
  EXPECT_EQ(
      user.ui.notices[0],
      "Number of Triangles is  8\nAlgorithm used is TriAngleSearch\n\n"
      "Number of     Points used  9  (Total is  9)\nNumber of Triangles used  8  (Total is  8)\n");
  const float top = 99.0f;
  for (const marker& m : nine.markers.items) {
    EXPECT_EQ(nine.field(int(m.x) + 2, int(m.y) + 2), top);  // the corner's mark
    EXPECT_EQ(nine.field(int(m.x), int(m.y)), top);
  }
  for (int x = 20; x <= 60; ++x)
    for (int y : {19, 20, 21, 40, 60}) EXPECT_EQ(nine.field(x, y), top) << x << "," << y;
  for (const auto& [x, y] :
       {std::pair{30, 24}, std::pair{24, 50}, std::pair{50, 56}, std::pair{10, 10}})
    EXPECT_EQ(nine.field(x, y), before.field(x, y)) << x << "," << y;
}

// A marker off the image makes its two triangles useless: they are named
// and not drawn, and the counts say so.
TEST(TriangulationDraw, TrianglesWithACornerOffTheImageAreLeftOut) {
  tamble::testing::sessionUi user;
  layers l = gridOfMarkers(1);
  TriangulationDraw(l.field, l.markers);
  ASSERT_EQ(user.ui.notices.size(), 1u);
  const std::string& text = user.ui.notices[0];
  EXPECT_EQ(text.rfind("Number of Triangles is  10\n", 0), 0u) << text;
  EXPECT_NE(
      text.find(
          "UnUseFul Triangle !!!\n\nHorizontal & Vertical Coordinates & Node Number\n\nTriangle  "),
      std::string::npos);
  EXPECT_NE(text.find("Number of     Points used  9  (Total is  10)\nNumber of Triangles used  8  "
                      "(Total is  10)\n"),
            std::string::npos)
      << text;
  EXPECT_NE(l.field(0, 40), 99.0f);  // no side towards the marker off the image
}

struct segmentCase {
  int x0, y0, x1, y1;
  int cx0, cy0, cx1, cy1;  // the ends held to the image
};

// The ends are held to the image first: the line runs between the held ends,
// one pixel per step of the longer axis, and nothing is written outside.
TEST(DrawSegment, EndsFarOutsideStayInTheImage) {
  const segmentCase cases[] = {
      {-1000000, 5, 1000000, 30, 0, 5, 39, 29}, {INT_MIN, INT_MIN, INT_MAX, INT_MAX, 0, 0, 39, 29},
      {7, -50, 7, 5000, 7, 0, 7, 29},           {-3, 12, 100, 12, 0, 12, 39, 12},
      {INT_MAX, 3, 2, INT_MAX, 39, 3, 2, 29},   {10, 10, 10, 10, 10, 10, 10, 10},
  };
  for (const segmentCase& c : cases) {
    std::vector<float> block(40 * 30 + 200, -1.0f);  // guards of 100 on both sides
    zel::arrayStore<float, 2> image(40, 30, block.data() + 100);
    image.fill(0.0f);
    DrawSegment(c.x0, c.y0, c.x1, c.y1, 5.0f, image);
    const auto guardsKept = [&] {
      return std::count(block.begin(), block.begin() + 100, -1.0f) == 100 &&
             std::count(block.end() - 100, block.end(), -1.0f) == 100;
    };
    EXPECT_TRUE(guardsKept()) << c.x0 << "," << c.y0;
    EXPECT_EQ(image(c.cx0, c.cy0), 5.0f);
    EXPECT_EQ(image(c.cx1, c.cy1), 5.0f);
    const int dx = std::abs(c.cx1 - c.cx0), dy = std::abs(c.cy1 - c.cy0);
    int drawn = 0;
    for (std::uint64_t i = 0; i < image.count; ++i) drawn += image.data[i] == 5.0f;
    EXPECT_EQ(drawn, std::max(dx, dy) + 1) << c.x0 << "," << c.y0;
    zel::arrayStore<float, 2> wide(40, 30, block.data() + 100);
    DrawSegment3(c.x0, c.y0, c.x1, c.y1, 7.0f, wide);
    EXPECT_TRUE(guardsKept()) << c.x0 << "," << c.y0;
  }
}

// The mark reaches 2 pixels along the row, the column and both diagonals;
// what falls off the image is left out.
TEST(DrawCross, IsAStarOfReachTwoClippedToTheImage) {
  const std::pair<std::pair<int, int>, int> cases[] = {{{10, 10}, 17},    {{0, 0}, 7},
                                                       {{0, 10}, 11},     {{-2, -2}, 1},
                                                       {{INT_MAX, 5}, 0}, {{INT_MIN, INT_MIN}, 0}};
  for (const auto& [at, count] : cases) {
    zel::arrayStore<float, 2> image(20, 20);
    image.fill(0.0f);
    DrawCross(at.first, at.second, 1.0f, image);
    int drawn = 0;
    for (std::uint64_t i = 0; i < image.count; ++i) drawn += image.data[i] == 1.0f;
    EXPECT_EQ(drawn, count) << at.first << "," << at.second;
  }
}

class DrawCommands : public tamble::testing::commandTest {
 protected:
  void SetUp() override {
    commandTest::SetUp();
    revMarkersMemory() = CRevMarkers{};
  }
};

// Without markers both commands say why and stop before dialog and snapshot.
TEST_F(DrawCommands, GuardsStopBeforeTheDialog) {
  addRamp(20, 20);
  using command = bool (*)(zel::imagesList&);
  const std::pair<command, const char*> guards[] = {
      {DrawArtificialMarkersCommand, noMarkersToReDraw},
      {TriangulationDrawCommand, noMarkersToTriangulate}};
  for (const auto& [run, notice] : guards) {
    user.ui.notices.clear();
    user.ui.dialogOk = {true};
    EXPECT_TRUE(run(list));
    EXPECT_EQ(user.ui.notices, std::vector<std::string>{notice});
    EXPECT_EQ(user.ui.dialogOk.size(), 1u);
    EXPECT_FALSE(list.undoAvailable());
  }
}

// "Draw Artificial Markers..." draws with the revisions' record as typed,
// remembers it for them, and "UnDo" takes the spots away.
TEST_F(DrawCommands, DrawArtificialMarkersUsesTheRevisionsRecord) {
  zel::image& img = addRamp(60, 40);
  img.markers.items = {{20.3, 19.6, 0, 0, true, 1}, {41.0, 22.5, 0, 0, true, 2}};
  zel::image expected = img;
  const zel::image before = img;
  params({{"m_BiggestRadius", "4.5"}, {"iposneg", "Peaks"}});
  EXPECT_TRUE(DrawArtificialMarkersCommand(list));
  DrawMarkers(expected.field(), expected.bkgr(), expected.ROI(), expected.markers, 1, 4.5);
  EXPECT_TRUE(sameBits(img.field(), expected.field()));
  EXPECT_FALSE(sameBits(img.field(), before.field()));
  EXPECT_EQ(revMarkersMemory().m_BiggestRadius, 4.5);
  EXPECT_EQ(revMarkersMemory().iposneg, 1);
  list.restoreSnapshot();
  EXPECT_TRUE(sameBits(list.current()->field(), before.field()));
  EXPECT_EQ(user.ui.waitDepth, 0);
}

}  // namespace
