// The marker search by reference on pictures of spots drawn at known
// places: the markers must follow the spots' move, to a fraction of a pixel.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "dialogs/markerDialogs.h"
#include "markers/referenceSearch.h"
#include "plugin/markerReferenceCommand.h"
#include "tests/support/commandTest.h"
#include "tests/support/layers.h"
#include "tests/support/sessionUi.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::noticesOf;

TEST(PeakFit3, FindsTheTopOfAQuadratic) {
  struct topCase {
    double x0, y0;
    bool found;
  };
  // Tops near (5, 4) of f = 10 - (x - x0)^2 - 2 (y - y0)^2 + 0.5 (x - x0)(y - y0).
  const topCase cases[] = {{5.0, 4.0, true},  {5.3, 3.6, true}, {4.1, 4.9, true},
                           {6.5, 4.0, false}, {5.0, 2.7, false}};
  for (const topCase& c : cases) {
    referenceField s(10, 8);
    for (int y = 0; y < 8; ++y)
      for (int x = 0; x < 10; ++x) {
        const double u = x - c.x0, v = y - c.y0;
        s(x, y) = static_cast<float>(10 - u * u - 2 * v * v + 0.5 * u * v);
      }
    double x = 0, y = 0;
    EXPECT_EQ(PeakFit3(s, 5, 4, x, y), c.found) << c.x0 << "," << c.y0;
    if (c.found) {
      EXPECT_NEAR(x, c.x0, 1e-5);
      EXPECT_NEAR(y, c.y0, 1e-5);
    }
  }
}

TEST(PeakFit3, FailsAtTheEdgeAndOnAPit) {
  referenceField s(6, 6);
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 6; ++x) s(x, y) = static_cast<float>((x - 3) * (x - 3) + (y - 3) * (y - 3));
  double x = 0, y = 0;
  EXPECT_FALSE(PeakFit3(s, 3, 3, x, y));  // a pit
  for (const auto& at : {std::pair{0, 3}, {3, 5}, {5, 0}}) {
    EXPECT_FALSE(PeakFit3(s, at.first, at.second, x, y));
    EXPECT_EQ(x, at.first);
  }
}

// Dark round spots on an even bright ground (a ground that stays while the
// spots move would pull the correlation towards no move).
struct spotScene {
  std::vector<std::pair<double, double>> centres;
  layers draw(double dx, double dy) const {
    layers l(96, 80);
    for (int y = 0; y < l.H(); ++y)
      for (int x = 0; x < l.W(); ++x) {
        float v = 100.0f;
        for (const auto& c : centres) {
          const double r2 = std::pow(x - c.first - dx, 2) + std::pow(y - c.second - dy, 2);
          v -= static_cast<float>(60.0 * std::exp(-r2 / (2 * 2.0 * 2.0)));
        }
        l.field(x, y) = v;
      }
    for (std::size_t i = 0; i < centres.size(); ++i)
      l.markers.add({centres[i].first, centres[i].second, 0, 0, true, static_cast<int>(i) + 1});
    return l;
  }
};

const spotScene scene{{{20.0, 18.0}, {55.3, 22.6}, {30.7, 55.2}, {70.0, 60.4}}};

TEST(MARKERSHIFTCC, MovesMarkersByTheSpotsShift) {
  const double shifts[][2] = {{0.0, 0.0}, {1.3, -0.7}, {-2.6, 3.2}, {0.4, 0.45}, {5.2, -4.9}};
  for (const auto& s : shifts) {
    const layers pattern = scene.draw(0, 0);
    layers active = scene.draw(s[0], s[1]);
    active.markers = pattern.markers;  // as copied from the pattern
    active.markers[2].active = false;
    const int failed = MARKERSHIFTCC(active.field, active.bkgr, active.ROI, active.markers,
                                     pattern.field, pattern.bkgr, pattern.ROI, pattern.markers,
                                     -1, 24);
    EXPECT_EQ(failed, 0) << s[0] << "," << s[1];
    for (int i = 0; i < active.markers.count(); ++i) {
      const bool moves = i != 2;
      EXPECT_NEAR(active.markers[i].x, pattern.markers[i].x + (moves ? s[0] : 0), 0.1) << i;
      EXPECT_NEAR(active.markers[i].y, pattern.markers[i].y + (moves ? s[1] : 0), 0.1) << i;
    }
  }
}

// A patch of 2 pixels allows half a pixel: a move of 1.3 fails, the
// markers stay and the user is told to enlarge the diameter.
TEST(MARKERSHIFTCC, KeepsMarkersItCannotPlace) {
  const layers pattern = scene.draw(0, 0);
  layers active = scene.draw(1.3, 0.0);
  active.markers = pattern.markers;
  int failed = 0;
  const auto notices = noticesOf([&] {
    failed = MARKERSHIFTCC(active.field, active.bkgr, active.ROI, active.markers, pattern.field,
                           pattern.bkgr, pattern.ROI, pattern.markers, -1, 2);
  });
  EXPECT_EQ(failed, 4);
  EXPECT_TRUE(active.markers.items == pattern.markers.items);
  ASSERT_EQ(notices.size(), 1u);
  EXPECT_NE(notices[0].find("NOT all markers were placed correctly - try to enlarge Diameter"),
            std::string::npos);
}

TEST(MARKERSHIFTCC, RefusesMismatchedInputs) {
  struct refusalCase {
    int activeMarkers, patternMarkers, patternW, patternH;
    const char* text;
  };
  const refusalCase cases[] = {
      {0, 4, 96, 80, "MARKERSHIFTCC: No Markers on Active image"},
      {4, 0, 96, 80, "MARKERSHIFTCC: No Markers on Pattern image"},
      {4, 3, 96, 80, "MARKERSHIFTCC: Differenr Markers Number on Active & Pattern images"},
      {4, 4, 90, 80, "MARKERSHIFTCC: X1 & X2 wrong dimensions"},
      {4, 4, 96, 70, "MARKERSHIFTCC: Y1 & Y2 wrong dimensions"},
  };
  for (const refusalCase& c : cases) {
    layers active = scene.draw(1, 1);
    active.markers.items.resize(static_cast<std::size_t>(c.activeMarkers));
    const zel::markersArray before = active.markers;
    layers pattern(c.patternW, c.patternH);
    pattern.markers = scene.draw(0, 0).markers;
    pattern.markers.items.resize(static_cast<std::size_t>(c.patternMarkers));
    const auto notices = noticesOf([&] {
      MARKERSHIFTCC(active.field, active.bkgr, active.ROI, active.markers, pattern.field,
                    pattern.bkgr, pattern.ROI, pattern.markers, 1, 16);
    });
    EXPECT_EQ(notices, std::vector<std::string>{c.text});
    EXPECT_TRUE(active.markers.items == before.items) << c.text;
  }
}

using AutoMarkByReference = tamble::testing::commandTest;

zel::image* imageFrom(const layers& l, const char* name) {
  auto* img = new zel::image(l.W(), l.H());
  img->setFieldName(name);
  img->fileInfo.name = std::string(name) + ".tif";
  img->field() = l.field;
  img->markers = l.markers;
  return img;
}

// The current image takes the pattern's markers, moved onto its own spots,
// and stays current; a pattern without markers is refused before the dialog.
TEST_F(AutoMarkByReference, CarriesThePatternsMarkersOver) {
  const layers pattern = scene.draw(0, 0);
  layers moved = scene.draw(2.4, -1.6);
  moved.markers.items.clear();
  list.addImage(imageFrom(pattern, "pattern"));
  list.addImage(imageFrom(moved, "active"));
  list.setCurrent(1);
  user.ui.imageChoices = {0};
  params({{"m_bmr", "16"}, {"pos_neg", "Pits"}});
  ASSERT_TRUE(AutoMarkByReferenceCommand(list));
  EXPECT_EQ(list.currentIndex, 1);
  const zel::markersArray& found = list[1]->markers;
  ASSERT_EQ(found.count(), 4);
  for (int i = 0; i < 4; ++i) {
    EXPECT_NEAR(found[i].x, pattern.markers[i].x + 2.4, 0.15) << i;
    EXPECT_NEAR(found[i].y, pattern.markers[i].y - 1.6, 0.15) << i;
  }
  EXPECT_EQ(session().remembered<CAutomarp>().m_bmr, 16.0f);

  list[0]->markers.items.clear();
  user.ui.imageChoices = {0};
  user.ui.notices.clear();
  ASSERT_TRUE(AutoMarkByReferenceCommand(list));
  EXPECT_EQ(user.ui.notices,
            std::vector<std::string>{
                "Markers on the Reference Image are Absent. Procedure is terminated"});
  EXPECT_EQ(list[1]->markers.count(), 4);
}

}  // namespace
