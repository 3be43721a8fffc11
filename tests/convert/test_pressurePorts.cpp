// The ports' fit: known polynomials recovered, the circle's pixels, the
// faults and their texts, the deviations and the report.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "convert/pressurePorts.h"
#include "tests/support/layers.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::sameBits;

// a + bx x + by y
layers plane(int w, int h, float a, float bx, float by) {
  layers l(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) l.field(x, y) = a + bx * x + by * y;
  return l;
}

struct port {
  double x, y, tap;
  bool active = true;
};

zel::markersArray portSet(const std::vector<port>& ports) {
  zel::markersArray m;
  for (const port& p : ports) m.add(marker{p.x, p.y, p.tap, 0.0, p.active, 0});
  return m;
}

portsFault fit(layers& l, const std::vector<port>& ports, portsFit& out, int order, bool correct,
               float diameter) {
  return fitPorts(l.field, l.bkgr, l.ROI, portSet(ports), out, order, correct, diameter);
}

// Taps that are an exact quadratic of the paint's pressure, in pascals, give
// that quadratic back, and the correction puts it on every calculated pixel
// and on no other. (Orders 0 and 1 on a whole run:
// tests/synth/test_inSituSynth.cpp.)
TEST(PressurePorts, RecoversAQuadraticFromTapsOnAPlane) {
  const double A0 = 2000, A1 = 0.95, A2 = 2e-7;
  auto law = [&](double v) { return A0 + A1 * v + A2 * v * v; };
  layers l = plane(40, 30, 90000.0f, 300.0f, 150.0f);
  l.bkgr(1, 1) = true, l.ROI(38, 28) = false;
  const layers before = l;
  std::vector<port> ports;
  for (int x : {6, 20, 33})
    for (int y : {5, 24}) ports.push_back({x + 0.3, y - 0.2, law(l.field(x, y))});
  portsFit f;
  ASSERT_EQ(fit(l, ports, f, 2, true, 1), portsFault::none);
  ASSERT_EQ(f.ports.size(), 6u);
  const double scale = law(90000 + 40 * 300 + 30 * 150), p = 90000;
  EXPECT_NEAR(f.A0, A0, 1e-5 * scale);
  EXPECT_NEAR(f.A1 * p, A1 * p, 1e-5 * scale);
  EXPECT_NEAR(f.A2 * p * p, A2 * p * p, 1e-5 * scale);
  EXPECT_LT(f.finalDispersion, 1e-5 * scale);
  for (int y = 0; y < 30; ++y)
    for (int x = 0; x < 40; ++x) {
      const float old = before.field(x, y);
      const double want = l.blocked(x, y) ? old : law(old);
      EXPECT_NEAR(l.field(x, y), want, 1e-5 * scale) << x << "," << y;
    }
}

// Only the pixels inside the image count; the position rounds to the
// nearest pixel. The field is x + 100 y, the circle the 3 by 3 square.
TEST(PressurePorts, APortAtTheEdgeAveragesItsPixelsInTheImage) {
  const double corner = (0 + 1 + 100 + 101) / 4.0, edge = (108 + 109 + 208 + 209 + 308 + 309) / 6.0;
  const double cases[][3] = {
      {0, 0, corner}, {0.4, -0.4, corner}, {9, 2, edge}, {8.6, 2.2, edge}, {4, 3, 304}};
  for (const auto& [x, y, mean] : cases) {
    layers l = plane(10, 6, 0.0f, 1.0f, 100.0f);
    portsFit f;
    ASSERT_EQ(fit(l, {{x, y, 0}, {4, 1, 0}, {5, 4, 0}}, f, 0, false, 3), portsFault::none);
    EXPECT_DOUBLE_EQ(f.ports[0].Ppsp, mean) << x << "," << y;
  }
}

// Each fault answers its text and leaves the field as it was; a port hidden
// in the background or outside the image drops out of the table.
TEST(PressurePorts, FaultsAndPortsThatDropOut) {
  const std::vector<port> four = {{3, 5, 1}, {9, 5, 2}, {15, 5, 3}, {21, 5, 4}};
  const std::vector<port> three(four.begin(), four.begin() + 3);
  // clang-format off
  const struct {
    const char* what;
    int order;
    float slope;              // of the field along x; 0: a constant field
    std::vector<port> ports;  // on the row y = 5
    std::vector<int> hidden;  // columns whose 5 by 5 square is background
    portsFault fault;
    const char* text;
    std::vector<int> kept;    // the ports in the table, as far as the fit got
  } cases[] = {
      {"hidden port drops", 1, 1, four, {9}, portsFault::none, "", {1, 3, 4}},
      {"outside the image", 1, 1, {{3, 5, 1}, {-9, 5, 2}, {15, 5, 3}, {21, 5, 4}}, {},
       portsFault::none, "", {1, 3, 4}},
      {"hidden leaves two", 1, 1, three, {9}, portsFault::tooFewPorts,
       "Markers Number is less than 3 !", {1, 3}},
      {"all hidden", 0, 1, three, {3, 9, 15}, portsFault::noImagePoints,
       "Data Error. No Image Points Found.", {}},
      {"no markers", 0, 1, {}, {}, portsFault::noMarkers,
       "Data Error. Markers Number equals Zero.", {}},
      {"two active", 0, 1, {{3, 5, 1}, {9, 5, 2, false}, {15, 5, 3}}, {}, portsFault::tooFewActive,
       "Active markers number is less than 3 !", {}},
      {"flat field, order 1", 1, 0, four, {}, portsFault::precisionFailed1,
       "Data Error. Precision failed (1)", {1, 2, 3, 4}},
      {"flat field, order 2", 2, 0, four, {}, portsFault::precisionFailed2,
       "Data Error. Precision failed (2)", {1, 2, 3, 4}},
      {"two levels, order 2", 2, 1, {{3, 5, 1}, {3, 5, 1}, {9, 5, 2}, {9, 5, 3}}, {},
       portsFault::precisionFailed2, "Data Error. Precision failed (2)", {1, 2, 3, 4}},
  };
  // clang-format on
  for (const auto& c : cases) {
    layers l = plane(25, 11, 100.0f, c.slope, 0.0f);
    for (int x : c.hidden)
      for (int dy = -2; dy <= 2; ++dy)
        for (int dx = -2; dx <= 2; ++dx) l.bkgr(x + dx, 5 + dy) = true;
    const layers before = l;
    portsFit f;
    EXPECT_EQ(fit(l, c.ports, f, c.order, true, 5), c.fault) << c.what;
    EXPECT_EQ(std::string(portsFaultText(c.fault)), c.text);
    std::vector<int> kept;
    for (const portRow& p : f.ports) kept.push_back(p.n);
    EXPECT_EQ(kept, c.kept) << c.what;
    EXPECT_EQ(sameBits(l.field, before.field), c.fault != portsFault::none) << c.what;
  }
}

// Two levels but for a hair's breadth leave the curvature to rounding: order
// 2 refuses them as it refuses two levels; a line is fine.
TEST(PressurePorts, NearlyTwoLevelsAreSingularForOrderTwo) {
  layers l(8, 3);
  l.field(1, 1) = 100.0f, l.field(2, 1) = 100.0001f, l.field(5, 1) = l.field(6, 1) = 200.0f;
  const std::vector<port> ports = {{1, 1, 1}, {2, 1, 2}, {5, 1, 3}, {6, 1, 4}};
  portsFit f;
  EXPECT_EQ(fit(l, ports, f, 2, false, 1), portsFault::precisionFailed2);
  EXPECT_EQ(fit(l, ports, f, 1, false, 1), portsFault::none);
}

// Only the first 1000 markers are ports; the rest are not seen.
TEST(PressurePorts, AtMostAThousandPorts) {
  EXPECT_EQ(std::string(portsLimitText), "Markers Number is limited by 1000 !");
  for (int count : {1000, 1001}) {
    layers l = plane(100, 100, 500.0f, 1.0f, 0.5f);
    std::vector<port> ports;
    for (int i = 0; i < count; ++i) {  // the 1001st port would move the offset
      const int x = 1 + i % 98, y = 1 + (i / 98) * 9;
      ports.push_back({double(x), double(y), l.field(x, y) + (i < 1000 ? 7.0 : 5000.0)});
    }
    portsFit f;
    ASSERT_EQ(fit(l, ports, f, 0, false, 1), portsFault::none);
    EXPECT_EQ(f.limited, count > 1000);
    EXPECT_EQ(f.ports.size(), 1000u);
    EXPECT_NEAR(f.A0, 7.0, 1e-9);
  }
}

// The standard errors of the coefficients, by hand from the normal
// equations, (Ppsp, Ptaps): order 1 through (0, 0), (1, 1), (2, 3); order 2
// through (0, 1), (1, 2), (2, 6), (3, 10); three ports determine a parabola
// and leave no degree of freedom for the errors, which are then 0.
TEST(PressurePorts, DeviationsAreTheCoefficientsStandardErrors) {
  const struct {
    int order;
    std::vector<port> ports;  // the field is x, so Ppsp is the column
    double A[3], D[3];
  } cases[] = {
      {1,
       {{0, 1, 0}, {1, 1, 1}, {2, 1, 3}},
       {-1.0 / 6, 1.5, 0},
       {std::sqrt(5.0) / 6, std::sqrt(1.0 / 12), 0}},
      {2,
       {{0, 1, 1}, {1, 1, 2}, {2, 1, 6}, {3, 1, 10}},
       {0.85, 0.85, 0.75},
       {0.653834841531101, 1.05, 0.33541019662496846}},
      {2, {{0, 1, 1}, {1, 1, 2}, {2, 1, 6}}, {1, -0.5, 1.5}, {0, 0, 0}},
  };
  for (const auto& c : cases) {
    layers l = plane(5, 3, 0.0f, 1.0f, 0.0f);
    portsFit f;
    ASSERT_EQ(fit(l, c.ports, f, c.order, false, 1), portsFault::none);
    const double A[3] = {f.A0, f.A1, f.A2}, D[3] = {f.D0, f.D1, f.D2};
    for (int k = 0; k < 3; ++k) {
      EXPECT_NEAR(A[k], c.A[k], 2e-6) << c.order << "/" << c.ports.size() << " A" << k;
      EXPECT_NEAR(D[k], c.D[k], 2e-6) << c.order << "/" << c.ports.size() << " D" << k;
    }
  }
}

// Three ports, the first marker inactive, order 0, all numbers by hand:
// Delta 1, 2, 0; A0 = 1; residuals 0, 1, -1 give s = 1 and D0 = 1 / sqrt(3).
TEST(PressurePorts, ReportLinesOfASmallCase) {
  layers l = plane(10, 5, 0.0f, 1.0f / 3, 0.0f);
  l.field(2, 3) = 10, l.field(5, 3) = 20, l.field(8, 3) = 30;
  portsFit f;
  ASSERT_EQ(fit(l, {{1, 1, 0, false}, {2, 3, 11}, {5, 3, 22}, {8, 3, 30}}, f, 0, false, 1),
            portsFault::none);
  const std::string header =
      "  N     X      Y              Ptaps         Ppsp           Delta          Ppsp,corr      D";
  const std::vector<std::string> expected = {
      header,
      std::string(header.size(), '-'),
      "  2    2.00    3.00              11              10               1              11   "
      "            0",
      "  3    5.00    3.00              22              20               2              21   "
      "            1",
      "  4    8.00    3.00              30              30               0              31   "
      "           -1",
      std::string(header.size(), '-'),
      "Initial Dispersion=1.29099, Final Dispersion=0.816497",
      "Approximation   Ppsp,corr = Ppsp + A0(+-D0)  ",
      "Where A0=1.000000, D0=0.577350",
      "Maximum Deflection=1, at N=3 with Ppsp,corr=21, at X=5 & Y=3",
  };
  EXPECT_EQ(portsReportLines(f), expected);
}

}  // namespace
