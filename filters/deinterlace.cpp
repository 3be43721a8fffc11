// Deinterlacing. Everything is told in work rows: work row r is image row
// H-1-r. Each step reads only rows the step does not write, so rows run in
// parallel; the notices of method 1 and 2 are gathered per row and given in
// row order.
#include "filters/deinterlace.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "api/parallel.h"
#include "api/report.h"

namespace tamble {
namespace {

using plane = std::vector<float>;

// The middle of the six values sorted high to low by exchanging neighbours.
float middleOfSix(float (&s)[6]) {
  for (bool swapped = true; swapped;) {
    swapped = false;
    for (int i = 0; i < 5; ++i)
      if (s[i] < s[i + 1]) {
        std::swap(s[i], s[i + 1]);
        swapped = true;
      }
  }
  return (s[2] + s[3]) * 0.5f;
}

// What the direction tests of methods 1 and 2 found.
enum class edgeTest { held, quiet, failed };

// The tests at x of the target row between p and q; `out` takes the value
// of the test that held. A NaN in method 2's sums ends quietly, a NaN that
// makes every test fail is reported.
edgeTest edgeLine(const float* p, const float* q, int x, bool robust, float& out) {
  const double a = std::fabs(static_cast<double>(p[x - 1] - q[x + 1]));
  const double b = std::fabs(static_cast<double>(p[x] - q[x]));
  const double c = std::fabs(static_cast<double>(p[x + 1] - q[x - 1]));
  const float V = (p[x] + q[x]) * 0.5f;
  const float A = (p[x - 1] + q[x + 1]) * 0.5f;
  const float C = (p[x + 1] + q[x - 1]) * 0.5f;
  auto take = [&out](float v) {
    out = v;
    return edgeTest::held;
  };
  auto threeTests = [&] {
    if (std::min(c, a) >= b) return take(V);
    if (std::min(c, b) >= a) return take(A);
    if (std::min(a, b) >= c) return take(C);
    return edgeTest::failed;
  };
  if (!robust) return threeTests();
  const float s1 = std::fabs(p[x - 1] - q[x]) + std::fabs(p[x] - q[x + 1]);
  const float s2 = std::fabs(p[x] - q[x - 1]) + std::fabs(p[x + 1] - q[x]);
  if (s1 > s2) {
    if (a > b) return take(V);
    if (b >= a) return take(A);
    return edgeTest::failed;
  }
  if (s1 < s2) {
    if (c > b) return take(V);
    if (b >= c) return take(C);
    return edgeTest::failed;
  }
  if (s1 == s2) return threeTests();
  return edgeTest::quiet;
}

}  // namespace

void DeInterlace(filterField& field, int action, int fieldToRetain, int method) {
  if (static_cast<std::uint32_t>(method + 2) > 6u) {
    zel::report().notice("Wrong Regime");
    return;
  }
  const int W = field.width(), H = field.height();
  if (W % 2) {
    zel::report().notice("Horizontal Dimension Must Be EVEN");
    return;
  }
  if (H % 2) {
    zel::report().notice("Vertical Dimension Must Be EVEN");
    return;
  }
  if (method == -2) method = 0;
  const std::size_t w = static_cast<std::size_t>(W);
  plane work(field.count);
  auto row = [&](plane& pl, int r) { return pl.data() + r * w; };
  for (int r = 0; r < H; ++r) std::copy(field.row(H - 1 - r), field.row(H - 1 - r) + W, row(work, r));
  const bool first = fieldToRetain == 1;
  // The rows of the half-frame not retained: even work rows for field 1.
  const int blank = first ? 0 : 1;
  for (int r = blank; r < H; r += 2) std::fill(row(work, r), row(work, r) + W, 0.0f);
  if (action != 1) {
    // Targets: blanked rows with retained rows on both sides.
    std::vector<int> targets;
    for (int t = first ? 2 : 1; t <= (first ? H - 2 : H - 3); t += 2) targets.push_back(t);
    const int n = static_cast<int>(targets.size());
    zel::forEachRow(n, field.count, [&](int k) {
      const int t = targets[k];
      const float *p = row(work, t - 1), *q = row(work, t + 1);
      float* out = row(work, t);
      for (int x = 0; x < W; ++x) out[x] = method == lineDoubling ? p[x] : (p[x] + q[x]) * 0.5f;
    });
    if (method == weightedMean || method == morphologicalNeighbour) {
      const plane copy = work;
      zel::forEachRow(n, field.count, [&](int k) {
        const int t = targets[k];
        const float *p = copy.data() + (t - 1) * w, *q = copy.data() + (t + 1) * w;
        float* out = row(work, t);
        for (int x = 1; x < W - 1; ++x) {
          if (method == weightedMean) {
            out[x] = (2 * p[x] + p[x - 1] + p[x + 1] + q[x - 1] + 2 * q[x] + q[x + 1]) * 0.125f;
          } else {
            float s[6] = {p[x - 1], p[x], p[x + 1], q[x - 1], q[x], q[x + 1]};
            out[x] = middleOfSix(s);
          }
        }
      });
    }
    // The row without two neighbours copies its neighbour.
    if (first)
      std::copy(row(work, 1), row(work, 1) + W, row(work, 0));
    else
      std::copy(row(work, H - 2), row(work, H - 2) + W, row(work, H - 1));
    if (method == adaptiveEdgeLine || method == robustEdgeLine) {
      std::vector<std::vector<std::string>> notices(n);
      zel::forEachRow(n, field.count, [&](int k) {
        const int t = targets[k];
        const float *p = row(work, t - 1), *q = row(work, t + 1);
        float* out = row(work, t);
        for (int x = 1; x < W - 1; ++x) {
          float v = 0;
          const edgeTest found = edgeLine(p, q, x, method == robustEdgeLine, v);
          if (found == edgeTest::held) out[x] = v;
          if (found == edgeTest::failed)
            notices[k].push_back("Nu i nifiga sebe!  " + std::to_string(x + 1) + "  " +
                                 std::to_string(t + 1));
        }
      });
      for (const auto& rowNotices : notices)
        for (const std::string& text : rowNotices) zel::report().notice(text);
    }
  }
  for (int r = 0; r < H; ++r) std::copy(row(work, r), row(work, r) + W, field.row(H - 1 - r));
}

}  // namespace tamble
