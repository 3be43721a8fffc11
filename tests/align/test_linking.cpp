// The polynomial fit and the marker linking: known polynomials recovered,
// the true partners found on a moved model with markers missing and extra
// on both images, the pairing rules and the notices of degenerate lists.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "align/linkMarkers.h"
#include "align/polynomialFit.h"
#include "bench/linkScene.h"
#include "tests/support/sessionUi.h"

namespace {

using namespace tamble;
namespace tt = tamble::testing;
namespace ls = tamble::linkScenes;

// --- The fit -----------------------------------------------------------------

struct knownPolynomial {
  int order;
  double cx[10], cy[10];
};

// A shift; an affine map; and quadratic and cubic bends of a few pixels over
// a 1000 pixel image.
const knownPolynomial polynomials[] = {
    {1, {7.5}, {-3.25}},
    {3, {12.0, 0.98, 0.05}, {-4.0, -0.04, 1.01}},
    {6, {3.0, 1.01, -0.02, 2e-6, -3e-6, 1e-6}, {-2.0, 0.03, 0.99, -1e-6, 4e-6, 2e-6}},
    {10,
     {1.0, 1.0, 0.01, 1e-6, 2e-6, -1e-6, 3e-9, -2e-9, 1e-9, 4e-9},
     {-1.0, -0.01, 1.0, 2e-6, -1e-6, 3e-6, -1e-9, 2e-9, -3e-9, 1e-9}}};

class RecoveredPolynomial : public ::testing::TestWithParam<knownPolynomial> {};

// Exact points of a known polynomial give back its coefficients, in the
// layout mapPoint reads, and nothing beyond its order.
TEST_P(RecoveredPolynomial, FromExactPoints) {
  const knownPolynomial& p = GetParam();
  std::vector<double> sx, sy, dx, dy;
  for (int j = 0; j < 7; ++j)
    for (int i = 0; i < 7; ++i) {
      const double x = 20.0 + 160.0 * i + 7.0 * j, y = 35.0 + 150.0 * j - 3.0 * i;
      const mappedPoint q = mapPoint(p.cx, p.cy, p.order, x, y);
      sx.push_back(x);
      sy.push_back(y);
      dx.push_back(q.x);
      dy.push_back(q.y);
    }
  double ox[10], oy[10];
  ASSERT_TRUE(ZlMatrix(sx, sy, dx, dy, p.order, ox, oy));
  for (int k = 0; k < 10; ++k) {
    EXPECT_NEAR(ox[k], p.cx[k], 1e-7 * std::max(1.0, std::fabs(p.cx[k]))) << "x term " << k;
    EXPECT_NEAR(oy[k], p.cy[k], 1e-7 * std::max(1.0, std::fabs(p.cy[k]))) << "y term " << k;
    if (k >= p.order) {
      EXPECT_TRUE(ox[k] == 0.0 && oy[k] == 0.0) << "term " << k << " is used";
    }
  }
  // Off the fitted points too.
  const mappedPoint a = mapPoint(ox, oy, p.order, 512.5, 333.25);
  const mappedPoint b = mapPoint(p.cx, p.cy, p.order, 512.5, 333.25);
  EXPECT_NEAR(a.x, b.x, 1e-6);
  EXPECT_NEAR(a.y, b.y, 1e-6);
  const fitErrors e = FitErrors(sx, sy, dx, dy, p.order, ox, oy);
  EXPECT_FALSE(e.tooFew);
  EXPECT_LT(e.max, 1e-6);
}

INSTANTIATE_TEST_SUITE_P(Orders, RecoveredPolynomial, ::testing::ValuesIn(polynomials),
                         [](const auto& info) {
                           return "Order" + std::to_string(info.param.order);
                         });

// Points a fit cannot take: none of them changes the outputs into a map,
// and a matrix that is not positive says so even while the program is quiet.
TEST(ZlMatrix, RefusesWhatItCannotFit) {
  tt::sessionUi user;
  session().quietMode = 1;
  const std::vector<double> line{0, 10, 20, 30}, flat{5, 5, 5, 5};
  std::vector<double> many(1001);
  for (std::size_t i = 0; i < many.size(); ++i) many[i] = static_cast<double>(i % 37) * (i % 11);
  struct row {
    const char* what;
    std::vector<double> x, y;
    int m;
    bool notice;
  } rows[] = {
      {"points on a line, order 3", line, flat, 3, true},
      {"fewer points than terms", line, line, 6, false},
      {"more than 1000 points", many, std::vector<double>(many.rbegin(), many.rend()), 3, false}};
  for (const row& r : rows) {
    user.ui.notices.clear();
    double ox[10], oy[10];
    std::fill(std::begin(ox), std::end(ox), 9.0);
    EXPECT_FALSE(ZlMatrix(r.x, r.y, r.x, r.y, r.m, ox, oy)) << r.what;
    EXPECT_EQ(user.ui.notices,
              r.notice ? std::vector<std::string>{notPositiveNotice} : std::vector<std::string>{})
        << r.what;
    EXPECT_EQ(ox[0], 0.0) << r.what;  // cleared
  }
  // Order 0 is the identity, whatever the points.
  double ox[10], oy[10];
  ASSERT_TRUE(ZlMatrix(line, flat, flat, line, 0, ox, oy));
  const mappedPoint p = mapPoint(ox, oy, 3, 17.0, -4.0);
  EXPECT_EQ(p.x, 17.0);
  EXPECT_EQ(p.y, -4.0);
  EXPECT_THROW(ZlMatrix(line, flat, flat, line, 4, ox, oy), zel::AlgoError);
}

// Residuals of a shift fitted to points that scatter by one pixel about it:
// every distance is 1, so mean and largest are 1 and the rms over n - 1 is
// sqrt(4/3).
TEST(FitErrors, MeasuresTheDistancesLeft) {
  const std::vector<double> sx{0, 100, 0, 100}, sy{0, 0, 100, 100};
  const std::vector<double> dx{3, 101, 3, 101}, dy{0, 0, 100, 100};
  double ox[10], oy[10];
  ASSERT_TRUE(ZlMatrix(sx, sy, dx, dy, 1, ox, oy));
  EXPECT_DOUBLE_EQ(ox[0], 2.0);
  const fitErrors e = FitErrors(sx, sy, dx, dy, 1, ox, oy);
  EXPECT_DOUBLE_EQ(e.mean, 1.0);
  EXPECT_DOUBLE_EQ(e.max, 1.0);
  EXPECT_DOUBLE_EQ(e.rms, std::sqrt(4.0 / 3.0));
  EXPECT_TRUE(FitErrors(sx, sy, dx, dy, 6, ox, oy).tooFew);
}

// Markers half way out weigh most; the centre and the rim weigh exp(-1).
TEST(MarkerWeights, PeakHalfWayOut) {
  const std::vector<double> x{0, 2, -2, 0, 0}, y{0, 0, 0, 1, -1};
  const std::vector<double> w = markerWeights(x, y);
  const std::vector<double> expected{std::exp(-1.0), std::exp(-1.0), std::exp(-1.0), 1.0, 1.0};
  for (std::size_t i = 0; i < w.size(); ++i) EXPECT_DOUBLE_EQ(w[i], expected[i]) << i;
  EXPECT_EQ(markerWeights(std::vector<double>{4, 4}, std::vector<double>{1, 1}),
            (std::vector<double>{1, 1}));
}

// --- Pairing -----------------------------------------------------------------

// Two close points of B, and a point of A half way between them: the tie
// goes to the lower index. A second point of A whose nearest point that is,
// is left without a pair, though the other close point is free and in reach.
// Six far pairs make the run count.
TEST(MatchPairs, TieToTheLowerIndexAndNoSecondChoice) {
  struct row {
    double b0, b1, a1;  // x of B's close points (y 0) and of A's second claimant
  } rows[] = {{0.0, 4.0, 0.5}, {4.0, 0.0, 3.5}};
  for (const row& r : rows) {
    markerPoints A, B;
    B.x = {r.b0, r.b1};
    B.y = {0.0, 0.0};
    A.x = {2.0, r.a1};
    A.y = {0.0, 0.0};
    for (int k = 2; k < 8; ++k) {
      B.x.push_back(100.0 * k);
      B.y.push_back(50.0 + k);
      A.x.push_back(100.0 * k);
      A.y.push_back(50.0 + k);
    }
    polynomialState state;  // order 1 with no shift: the points stay
    bestPairs best;
    EXPECT_GE(MatchPairs(1, 81.0, A, B, best, state), 0.0);
    EXPECT_EQ(best.a, (std::vector<int>{0, 2, 3, 4, 5, 6, 7})) << r.b0;
    EXPECT_EQ(best.b, (std::vector<int>{0, 2, 3, 4, 5, 6, 7})) << r.b0;
    EXPECT_GT(best.score, 0.0);
    // A run that does not score higher leaves the best as it is.
    bestPairs kept;
    kept.score = 1e300;
    MatchPairs(1, 81.0, A, B, kept, state);
    EXPECT_EQ(kept.count(), 0);
  }
  // Five pairs are not scored.
  markerPoints A, B;
  A.x = B.x = {0, 100, 200, 300, 400};
  A.y = B.y = {0, 10, 0, 10, 0};
  polynomialState state;
  bestPairs best;
  EXPECT_EQ(MatchPairs(1, 81.0, A, B, best, state), -1.0);
  EXPECT_EQ(best.count(), 0);
}

// --- Linking -----------------------------------------------------------------

using linker = linkResult (*)(const markerPoints&, const markerPoints&, int, int, polynomialState&);

struct linkCase {
  const char* name;
  linker routine;
  int fixed;
};

// How a linking agrees with the truth.
struct agreement {
  int right = 0, wrong = 0, missed = 0;
};

agreement judge(const ls::linkScene& s, const linkResult& r) {
  agreement a;
  for (int i = 0; i < s.first.size(); ++i) {
    const int p = s.partner[i];
    if (!r.linked[i]) {
      a.missed += p >= 0;
      continue;
    }
    const bool right = p >= 0 && r.linkX[i] == s.second.x[p] && r.linkY[i] == s.second.y[p] &&
                       r.linkW[i] == s.second.w[p];
    (right ? a.right : a.wrong) += 1;
  }
  return a;
}

class LinkingOnAMovedModel : public ::testing::TestWithParam<linkCase> {};

// About 100 markers, turned by 4 degrees, shifted by (10, -6) and bent by
// up to 1.5 pixels, 10 missing and 10 extra on either image: every true pair
// is found and nothing else.
TEST_P(LinkingOnAMovedModel, FindsTheTruePartners) {
  tt::sessionUi user;
  const ls::linkScene s = ls::makeLinkScene({0.0698, 10.0, -6.0, 2e-5}, 10, 10, 7);
  polynomialState state;
  const linkResult r = GetParam().routine(s.first, s.second, 9, GetParam().fixed, state);
  ASSERT_TRUE(r.ok);
  const agreement a = judge(s, r);
  EXPECT_EQ(a.wrong, 0);
  EXPECT_EQ(a.missed, 0);
  EXPECT_EQ(a.right, 80);  // 100 markers less 10 missing on each side
  EXPECT_EQ(r.count, a.right);
  EXPECT_TRUE(user.ui.notices.empty());
}

INSTANTIATE_TEST_SUITE_P(Searches, LinkingOnAMovedModel,
                         ::testing::Values(linkCase{"Link", LinkMarkers, 0},
                                           linkCase{"LinkOneFixed", LinkMarkers, 1},
                                           linkCase{"LinkTwoFixed", LinkMarkers, 2},
                                           linkCase{"LinkThreeFixed", LinkMarkers, 3},
                                           linkCase{"MoveRotate", MoveRotateMarkers, 0},
                                           linkCase{"MoveRotateOneFixed", MoveRotateMarkers, 1},
                                           linkCase{"MoveRotateTwoFixed", MoveRotateMarkers, 2},
                                           linkCase{"MoveRotateThreeFixed", MoveRotateMarkers, 3}),
                         [](const auto& info) { return std::string(info.param.name); });

// An entry that repeats the one after it is linked as that one is.
TEST(LinkMarkers, ARepeatedEntryTakesThePartnerOfTheOneItRepeats) {
  ls::linkScene s = ls::makeLinkScene({0.0, 5.0, 3.0, 0.0}, 0, 0, 11);
  const int twin = 40;
  s.first.x.insert(s.first.x.begin() + twin, s.first.x[twin] + 0.004);
  s.first.y.insert(s.first.y.begin() + twin, s.first.y[twin] - 0.004);
  s.first.w = markerWeights(s.first.x, s.first.y);
  polynomialState state;
  for (const linkCase& c :
       {linkCase{"Link", LinkMarkers, 3}, {"MoveRotate", MoveRotateMarkers, 0}}) {
    const linkResult r = c.routine(s.first, s.second, 9, c.fixed, state);
    ASSERT_TRUE(r.ok) << c.name;
    EXPECT_TRUE(r.linked[twin] && r.linked[twin + 1]) << c.name;
    EXPECT_EQ(r.linkX[twin], r.linkX[twin + 1]);
    EXPECT_EQ(r.linkY[twin], r.linkY[twin + 1]);
    EXPECT_EQ(r.count, 100);
  }
}

// Lists whose reference triangle cannot be built: the search ends with a
// notice (none while quiet) and links nothing.
TEST(LinkMarkers, DegenerateListsEndWithTheirNotice) {
  struct row {
    const char* what;
    std::vector<double> x, y;
    const char* notice;
  } rows[] = {{"all on one horizontal line",
               {0, 10, 20, 30, 40, 50, 60},
               {50, 50, 50, 50, 50, 50, 50},
               collinearNotice},
              {"all on a slanted line", {1, 2, 3, 4, 5}, {2, 4, 6, 8, 10}, collinearNotice},
              {"one point four times", {5, 5, 5, 5}, {7, 7, 7, 7}, sameExtremesNotice},
              {"one point", {5}, {7}, sameExtremesNotice}};
  for (const row& r : rows)
    for (int quiet : {0, 1}) {
      tt::sessionUi user;
      session().quietMode = quiet;
      markerPoints one{r.x, r.y, markerWeights(r.x, r.y)};
      polynomialState state;
      const linkResult link = LinkMarkers(one, one, 9, 0, state);
      EXPECT_FALSE(link.ok) << r.what;
      EXPECT_EQ(link.linked, std::vector<std::uint8_t>(r.x.size(), 0)) << r.what;
      EXPECT_EQ(user.ui.notices,
                quiet ? std::vector<std::string>{} : std::vector<std::string>{r.notice})
          << r.what;
    }
}

// With fewer than 6 markers no run is ever scored: the search succeeds with
// no pairs. An empty list links nothing either.
TEST(LinkMarkers, FewerThanSixPairsGiveNoPairs) {
  const std::vector<double> x{0, 40, 90, 20, 70}, y{0, 10, 5, 60, 80};
  std::vector<double> x2, y2;
  for (std::size_t i = 0; i < x.size(); ++i) {
    x2.push_back(x[i] + 1.0);
    y2.push_back(y[i] - 1.0);
  }
  const markerPoints one{x, y, markerWeights(x, y)}, two{x2, y2, markerWeights(x2, y2)}, none;
  polynomialState state;
  for (linker routine : {linker{LinkMarkers}, linker{MoveRotateMarkers}}) {
    const linkResult r = routine(one, two, 9, 0, state);
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.count, 0);
    EXPECT_EQ(r.linked, std::vector<std::uint8_t>(x.size(), 0));
    const linkResult empty = routine(one, none, 9, 0, state);
    EXPECT_TRUE(empty.ok);
    EXPECT_EQ(empty.count, 0);
  }
}

}  // namespace
