// Test images for the circle-window filters.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>

#include "api/arrayWorks.h"

namespace tamble::testing {

// Field, bkgr and ROI of one size; fresh: field 0, bkgr clear, ROI set.
struct layers {
  zel::arrayStore<float, 2> field;
  zel::arrayStore<bool, 2> bkgr, ROI;
  layers(int w, int h) : field(w, h), bkgr(w, h), ROI(w, h) {
    field.fill(0.0f);
    bkgr.fill(false);
    ROI.fill(true);
  }
  int W() const { return field.width(); }
  int H() const { return field.height(); }
  bool blocked(int x, int y) const { return bkgr(x, y) || !ROI(x, y); }
};

// Random values in [0, 100) and, with the given odds, blocked pixels: half
// of them by bkgr, half by a clear ROI.
inline layers randomLayers(int w, int h, double blockedShare, unsigned seed) {
  layers l(w, h);
  std::mt19937 gen(seed);
  std::uniform_real_distribution<float> value(0.0f, 100.0f);
  std::uniform_real_distribution<double> odds(0.0, 1.0);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      l.field(x, y) = value(gen);
      const double o = odds(gen);
      if (o < blockedShare / 2)
        l.bkgr(x, y) = true;
      else if (o < blockedShare)
        l.ROI(x, y) = false;
    }
  return l;
}

// Sets `count` pixels picked at random to `value`.
inline void sprinkle(layers& l, int count, float value, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_int_distribution<std::uint64_t> at(0, l.field.count - 1);
  for (int i = 0; i < count; ++i) l.field.data[at(gen)] = value;
}

inline bool sameBits(const zel::arrayStore<float, 2>& a, const zel::arrayStore<float, 2>& b) {
  return a.count == b.count && std::memcmp(a.data, b.data, a.count * sizeof(float)) == 0;
}

}  // namespace tamble::testing
