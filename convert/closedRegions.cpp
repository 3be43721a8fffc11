#include "convert/closedRegions.h"

#include <cstdint>
#include <vector>

namespace tamble {

namespace {

using floatLayer = zel::arrayStore<float, 2>;
using maskLayer = zel::arrayStore<bool, 2>;

struct regionGrowth {
  const floatLayer& field;
  std::vector<char> taking;  // 1: takes part and no region holds it yet
  int w, h;

  bool take(int x, int y) {
    char& t = taking[static_cast<std::size_t>(y) * w + x];
    if (!t) return false;
    t = 0;
    return true;
  }
  bool inner(int x, int y) const { return x > 0 && y > 0 && x < w - 1 && y < h - 1; }

  // Grows the region of the seed pass by pass into its statistics; false
  // when the pass limit was reached with the region still growing.
  bool grow(int sx, int sy, regionsFound& out, int k) {
    double sumX = 0.0, sumY = 0.0, sumI = 0.0;
    long long area = 0;
    std::vector<int> front, next;
    take(sx, sy);
    auto add = [&](int x, int y) {
      sumX += x, sumY += y, sumI += field(x, y), ++area;
      next.push_back(x), next.push_back(y);
    };
    add(sx, sy);
    front.swap(next);
    for (int pass = 1; !front.empty(); ++pass) {
      if (pass > regionPassLimit) return false;
      next.clear();
      for (std::size_t i = 0; i < front.size(); i += 2) {
        const int x = front[i], y = front[i + 1];
        if (!inner(x, y)) continue;
        const int nx[4] = {x - 1, x + 1, x, x}, ny[4] = {y, y, y - 1, y + 1};
        for (int n = 0; n < 4; ++n)
          if (take(nx[n], ny[n])) add(nx[n], ny[n]);
      }
      front.swap(next);
    }
    out.area[k] = static_cast<int>(area);
    out.meanX[k] = static_cast<float>(sumX / area);
    out.meanY[k] = static_cast<float>(sumY / area);
    out.meanI[k] = static_cast<float>(sumI / area);
    return true;
  }
};

}  // namespace

float regionMean(const floatLayer& field, const maskLayer& bkgr, const maskLayer& ROI) {
  double sum = 0.0;
  long long count = 0;
  for (int y = 0; y < field.height(); ++y) {
    const float* v = field.row(y);
    const bool* b = bkgr.row(y);
    const bool* r = ROI.row(y);
    float row = 0.0f;
    for (int x = 0; x < field.width(); ++x)
      if (!b[x] && r[x]) row += v[x], ++count;
    sum += row;
  }
  return count == 0 ? 0.0f : static_cast<float>(sum / static_cast<double>(count));
}

regionsFound closedRegions(const floatLayer& field, const maskLayer& bkgr, const maskLayer& ROI) {
  regionsFound out;
  const int w = field.width(), h = field.height();
  regionGrowth g{field, std::vector<char>(field.count), w, h};
  for (std::uint64_t i = 0; i < field.count; ++i) g.taking[i] = !bkgr.data[i] && ROI.data[i];
  for (int y = 0; y < h && out.count < regionsAnalysed; ++y)
    for (int x = 0; x < w && out.count < regionsAnalysed; ++x) {
      if (!g.taking[static_cast<std::size_t>(y) * w + x]) continue;
      if (!g.grow(x, y, out, out.count)) {
        out.overflow = 1;
        return out;
      }
      ++out.count;
    }
  return out;
}

}  // namespace tamble
