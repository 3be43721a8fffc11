#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "geometry/transforms.h"
#include "tests/support/sessionUi.h"

namespace {

using search = void (*)(const tamble::fieldStore&, int, int, double&, double&);

// A round bump of height 1 and width 2 pixels centred at (cx, cy).
tamble::fieldStore bump(int w, int h, double cx, double cy) {
  tamble::fieldStore f(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const double r2 = (x - cx) * (x - cx) + (y - cy) * (y - cy);
      f(x, y) = static_cast<float>(std::exp(-r2 / 8.0));
    }
  return f;
}

long count(const std::vector<std::string>& notices, const std::string& text) {
  return std::count(notices.begin(), notices.end(), text);
}

// Both grid searches find the centre of a bump within their grid step.
TEST(Subpixel, FindsTheCentreOfASmoothBump) {
  const tamble::fieldStore f = bump(24, 24, 10.3, 12.7);
  // Grid steps 0.05 and 0.02; the rest of the tolerance is the spline's.
  const std::pair<search, double> searches[] = {{tamble::BiCubic40, 0.03},
                                                {tamble::BiCubic100, 0.02}};
  for (const auto& [find, tolerance] : searches) {
    tamble::testing::sessionUi ui;
    double x = 0, y = 0;
    find(f, 10, 13, x, y);
    EXPECT_NEAR(x, 10.3, tolerance);
    EXPECT_NEAR(y, 12.7, tolerance);
    EXPECT_TRUE(ui.ui.notices.empty());
  }
}

// A flat surface ties everywhere; only a strictly higher mean moves the result.
TEST(Subpixel, FlatFieldKeepsTheFirstPosition) {
  tamble::fieldStore f(12, 12);
  f.fill(3.0f);
  for (search find : {tamble::BiCubic40, tamble::BiCubic100}) {
    double x = 0, y = 0;
    find(f, 6, 5, x, y);
    EXPECT_EQ(x, 5.0);
    EXPECT_EQ(y, 4.0);
  }
}

// Each sample whose block reaches off the image is reported once, by its
// rows before its columns. In the corner (0, 15) of 16 by 16 every block
// reaches off at the bottom; at (0, 8) only on the left.
TEST(Subpixel, EachSampleOffTheImageIsReportedOnce) {
  const struct {
    search find;
    std::string stem;
    long n;
    int iy;
    const char* which;
  } cases[] = {{tamble::BiCubic40, "BiCubic40 : ", 41, 15, "jj"},
               {tamble::BiCubic100, "BiCubic100 : ", 101, 15, "jj"},
               {tamble::BiCubic40, "BiCubic40 : ", 41, 8, "ii"},
               {tamble::BiCubic100, "BiCubic100 : ", 101, 8, "ii"}};
  for (const auto& c : cases) {
    const tamble::fieldStore f = bump(16, 16, 0.2, c.iy - 0.2);
    tamble::testing::sessionUi ui;
    double x = 99, y = 99;
    c.find(f, 0, c.iy, x, y);
    const std::string text = c.stem + "index " + c.which + " out of range";
    EXPECT_EQ(count(ui.ui.notices, text), c.n * c.n) << text;
    EXPECT_EQ(ui.ui.notices.size(), static_cast<std::size_t>(c.n * c.n)) << text;
    EXPECT_TRUE(x >= -1 && x <= 1 && y >= c.iy - 1 && y <= c.iy + 1) << x << "," << y;
  }
}

}  // namespace
