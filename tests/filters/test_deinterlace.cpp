// Interlacing and deinterlacing against a plain reference of the steps, the
// refusals, and small frames worked out by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "filters/deinterlace.h"
#include "plugin/session.h"
#include "tests/support/layers.h"
#include "tests/support/sessionUi.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::noticesOf;
using tamble::testing::sameBits;

// The steps on work rows (row r of the work is image row H-1-r), one pixel
// at a time; notices of failed direction tests in `said`.
void referenceDeinterlace(layers& l, int action, int sel, int method,
                          std::vector<std::string>& said) {
  const int W = l.W(), H = l.H();
  std::vector<std::vector<float>> w(H, std::vector<float>(W));
  for (int r = 0; r < H; ++r)
    for (int x = 0; x < W; ++x) w[r][x] = l.field(x, H - 1 - r);
  for (int r = sel == 1 ? 0 : 1; r < H; r += 2) std::fill(w[r].begin(), w[r].end(), 0.0f);
  if (action == 0) {
    std::vector<int> targets;
    for (int t = sel == 1 ? 2 : 1; t <= (sel == 1 ? H - 2 : H - 3); t += 2) targets.push_back(t);
    for (int t : targets)
      for (int x = 0; x < W; ++x)
        w[t][x] = method == -1 ? w[t - 1][x] : (w[t - 1][x] + w[t + 1][x]) * 0.5f;
    for (int t : targets)
      for (int x = 1; x < W - 1 && (method == 3 || method == 4); ++x) {
        const float *p = w[t - 1].data(), *q = w[t + 1].data();
        if (method == 3) {
          w[t][x] = (2 * p[x] + p[x - 1] + p[x + 1] + q[x - 1] + 2 * q[x] + q[x + 1]) * 0.125f;
        } else {
          std::vector<float> s = {p[x - 1], p[x], p[x + 1], q[x - 1], q[x], q[x + 1]};
          std::sort(s.begin(), s.end(), std::greater<float>());
          w[t][x] = (s[2] + s[3]) * 0.5f;
        }
      }
    if (sel == 1)
      w[0] = w[1];
    else
      w[H - 1] = w[H - 2];
    for (int t : targets)
      for (int x = 1; x < W - 1 && (method == 1 || method == 2); ++x) {
        const float *p = w[t - 1].data(), *q = w[t + 1].data();
        const double a = std::fabs(double(p[x - 1] - q[x + 1])), b = std::fabs(double(p[x] - q[x])),
                     c = std::fabs(double(p[x + 1] - q[x - 1]));
        const float V = (p[x] + q[x]) * 0.5f, A = (p[x - 1] + q[x + 1]) * 0.5f,
                    C = (p[x + 1] + q[x - 1]) * 0.5f;
        const float s1 = std::fabs(p[x - 1] - q[x]) + std::fabs(p[x] - q[x + 1]);
        const float s2 = std::fabs(p[x] - q[x - 1]) + std::fabs(p[x + 1] - q[x]);
        int pick = 0;  // 1 V, 2 A, 3 C
        if (method == 2 && s1 > s2) pick = a > b ? 1 : b >= a ? 2 : 0;
        else if (method == 2 && s1 < s2) pick = c > b ? 1 : b >= c ? 3 : 0;
        else if (method == 1 || s1 == s2)
          pick = std::min(c, a) >= b ? 1 : std::min(c, b) >= a ? 2 : std::min(a, b) >= c ? 3 : 0;
        else
          continue;  // a NaN in the sums
        if (pick == 0) said.push_back("Nu i nifiga sebe!  " + std::to_string(x + 1) + "  " +
                                      std::to_string(t + 1));
        else w[t][x] = pick == 1 ? V : pick == 2 ? A : C;
      }
  }
  for (int r = 0; r < H; ++r)
    for (int x = 0; x < W; ++x) l.field(x, H - 1 - r) = w[r][x];
}

TEST(DeInterlace, EveryMethodEqualsTheSteps) {
  for (int action : {0, 1})
    for (int sel : {1, 2})
      for (int method = -2; method <= 4; ++method) {
        layers fast = tamble::testing::randomLayers(16, 12, 0.1, 31u), plain = fast;
        // Equal values make the direction tests tie.
        for (int x = 0; x < 16; x += 3) fast.field(x, 5) = fast.field(x + 1, 7) = 50.0f;
        plain.field = fast.field;
        std::vector<std::string> said;
        const auto notices =
            noticesOf([&] { DeInterlace(fast.field, action, sel, method); });
        referenceDeinterlace(plain, action, sel, method == -2 ? 0 : method, said);
        EXPECT_TRUE(sameBits(fast.field, plain.field))
            << "action " << action << " field " << sel << " method " << method;
        EXPECT_EQ(notices, said);
      }
}

TEST(DeInterlace, RefusesAndLeavesTheField) {
  const struct {
    int w, h, method;
    const char* notice;
  } cases[] = {{4, 4, 5, "Wrong Regime"},
               {4, 4, -3, "Wrong Regime"},
               {5, 3, 0, "Horizontal Dimension Must Be EVEN"},
               {4, 3, 0, "Vertical Dimension Must Be EVEN"}};
  for (const auto& c : cases)
    for (int action : {0, 1}) {
      layers l = tamble::testing::randomLayers(c.w, c.h, 0, 2u);
      const layers before = l;
      EXPECT_EQ(noticesOf([&] { DeInterlace(l.field, action, 1, c.method); }),
                std::vector<std::string>{c.notice});
      EXPECT_TRUE(sameBits(l.field, before.field)) << c.notice;
    }
}

// Frames small enough to follow by hand, rows top to bottom. Field 1 keeps
// the lines 1, 3, ... counted from the top; the line that has a retained
// line on one side only copies it.
TEST(DeInterlace, SmallFramesByHand) {
  const struct {
    const char* name;
    int action, sel, method;
    std::vector<std::vector<float>> in, out;
  } cases[] = {
      {"interlace field 1 blanks lines 2 and 4", 1, 1, 0,
       {{1, 1}, {2, 2}, {3, 3}, {4, 4}}, {{1, 1}, {0, 0}, {3, 3}, {0, 0}}},
      {"interlace field 2 blanks lines 1 and 3", 1, 2, 0,
       {{1, 1}, {2, 2}, {3, 3}, {4, 4}}, {{0, 0}, {2, 2}, {0, 0}, {4, 4}}},
      {"cross interpolation", 0, 1, 0,
       {{2, 4}, {9, 9}, {6, 8}, {9, 9}}, {{2, 4}, {4, 6}, {6, 8}, {6, 8}}},
      {"line doubling takes the line below", 0, 1, -1,
       {{2, 4}, {9, 9}, {6, 8}, {9, 9}}, {{2, 4}, {6, 8}, {6, 8}, {6, 8}}},
      {"height 2: both rows the retained one", 0, 2, 0, {{1, 2}, {3, 4}}, {{3, 4}, {3, 4}}},
      {"width 2: methods 1 to 4 keep the mean", 0, 1, 4,
       {{2, 4}, {9, 9}, {6, 8}, {9, 9}}, {{2, 4}, {4, 6}, {6, 8}, {6, 8}}},
      {"weighted mean", 0, 2, 3,
       {{9, 9, 9, 9}, {0, 8, 0, 0}, {9, 9, 9, 9}, {4, 0, 0, 4}},
       {{0, 8, 0, 0}, {0, 8, 0, 0}, {2, 2.5f, 1.5f, 2}, {4, 0, 0, 4}}},
      {"median of six", 0, 2, 4,
       {{9, 9, 9, 9}, {0, 8, 1, 0}, {9, 9, 9, 9}, {4, 0, 0, 4}},
       {{0, 8, 1, 0}, {0, 8, 1, 0}, {2, 0.5f, 0.5f, 2}, {4, 0, 0, 4}}},
      {"flat picture, edge-based: unchanged", 0, 1, 1,
       {{5, 5, 5, 5}, {5, 5, 5, 5}, {5, 5, 5, 5}, {5, 5, 5, 5}},
       {{5, 5, 5, 5}, {5, 5, 5, 5}, {5, 5, 5, 5}, {5, 5, 5, 5}}},
  };
  for (const auto& c : cases) {
    const int H = static_cast<int>(c.in.size()), W = static_cast<int>(c.in[0].size());
    layers l(W, H);
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x) l.field(x, y) = c.in[y][x];
    DeInterlace(l.field, c.action, c.sel, c.method);
    for (int y = 0; y < H; ++y)
      for (int x = 0; x < W; ++x)
        EXPECT_EQ(l.field(x, y), c.out[y][x]) << c.name << " " << x << "," << y;
  }
}

// A slanted edge: the adaptive edge-based line average follows it where the
// mean of the lines above and below blurs it.
TEST(DeInterlace, EdgeBasedMethodsFollowASlantedEdge) {
  const int W = 12, H = 8;
  layers truth(W, H);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) truth.field(x, y) = x + y >= 9 ? 100.0f : 0.0f;
  double error[2] = {};
  for (int method : {0, 1}) {
    layers l = truth;
    DeInterlace(l.field, 0, 1, method);
    for (int y = 1; y < H - 1; ++y)
      for (int x = 1; x < W - 1; ++x) error[method] += std::fabs(l.field(x, y) - truth.field(x, y));
  }
  EXPECT_GT(error[0], 0.0);
  EXPECT_EQ(error[1], 0.0);
}

}  // namespace
