// The layers of one image for tests of routines, random test images, and
// bit-for-bit comparison.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <random>
#include <vector>

#include "api/arrayWorks.h"
#include "api/image.h"
#include "api/imagesList.h"
#include "api/markers.h"

namespace tamble::testing {

// Field, bkgr, ROI and markers of one size; fresh: field 0, bkgr clear, ROI set.
struct layers {
  zel::arrayStore<float, 2> field;
  zel::arrayStore<bool, 2> bkgr, ROI;
  zel::markersArray markers;

  layers(int w, int h) : field(w, h), bkgr(w, h), ROI(w, h) {
    field.fill(0.0f);
    bkgr.fill(false);
    ROI.fill(true);
  }
  // One row holding `values` (a named maker, so that layers{w, h} stays a size).
  static layers row(std::initializer_list<float> values) {
    layers l(static_cast<int>(values.size()), 1);
    std::copy(values.begin(), values.end(), l.field.data);
    return l;
  }
  int W() const { return field.width(); }
  int H() const { return field.height(); }
  bool blocked(int x, int y) const { return bkgr(x, y) || !ROI(x, y); }
  std::vector<float> values() const { return {field.data, field.data + field.count}; }
};

template <class T>
bool sameBits(const zel::arrayStore<T, 2>& a, const zel::arrayStore<T, 2>& b) {
  return a.width() == b.width() && a.height() == b.height() &&
         (a.count == 0 || std::memcmp(a.data, b.data, a.count * sizeof(T)) == 0);
}

inline bool sameBits(const layers& a, const layers& b) {
  return sameBits(a.field, b.field) && sameBits(a.bkgr, b.bkgr) && sameBits(a.ROI, b.ROI) &&
         a.markers.items == b.markers.items;
}

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

// A 30 by 20 random image with a tenth of its pixels blocked, added to the
// list as its current image "random"; answers its layers as they were.
inline layers addRandomImage(zel::imagesList& to) {
  layers l = randomLayers(30, 20, 0.1, 5u);
  auto* img = new zel::image(30, 20);
  img->setFieldName("random");
  img->field() = l.field;
  img->bkgr() = l.bkgr;
  img->ROI() = l.ROI;
  to.addImage(img);
  return l;
}

// Sets `count` pixels picked at random to `value`.
inline void sprinkle(layers& l, int count, float value, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_int_distribution<std::uint64_t> at(0, l.field.count - 1);
  for (int i = 0; i < count; ++i) l.field.data[at(gen)] = value;
}

}  // namespace tamble::testing
