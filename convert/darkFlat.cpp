#include "convert/darkFlat.h"

#include <cstdint>

#include "api/parallel.h"
#include "markers/fillUp.h"

namespace tamble {

namespace {

std::uint64_t pixels(const floatLayer& f) { return f.count; }

// The normalised flat of one row, and the pixels it marks as defects
// (false in `keep`, the fill-up's region).
void normaliseRow(const float* flat, float mean, int width, float* f, bool* keep) {
  for (int x = 0; x < width; ++x) {
    f[x] = flat[x] / mean;
    keep[x] = !(f[x] < 0.5f || f[x] > 1.5f);
  }
}

void divideRow(float* field, const float* f, int width) {
  for (int x = 0; x < width; ++x)
    if (f[x] > 0.25f) field[x] = field[x] / f[x];
}

}  // namespace

bool subtractDark(floatLayer& field, maskLayer&, const floatLayer& darkField, const maskLayer&) {
  if (!field.sameExtent(darkField)) return false;
  const int w = field.width();
  zel::forEachRow(field.height(), pixels(field), [&](int y) {
    float* out = field.row(y);
    const float* dark = darkField.row(y);
    for (int x = 0; x < w; ++x) out[x] = out[x] - dark[x];
  });
  return true;
}

bool correctFlat(floatLayer& field, maskLayer& bkgr, const floatLayer& flatField,
                 const maskLayer&) {
  if (!field.sameExtent(flatField)) return false;
  const int w = field.width();
  const int h = field.height();
  // One running single-precision sum in row order: the mean must not depend
  // on the number of threads.
  float sum = 0.0f;
  for (std::uint64_t i = 0; i < flatField.count; ++i) sum += flatField.data[i];
  const float mean = sum / static_cast<float>(static_cast<std::int64_t>(w) * h);

  floatLayer f(w, h);
  maskLayer keep(w, h);
  zel::forEachRow(h, pixels(field), [&](int y) {
    normaliseRow(flatField.row(y), mean, w, f.row(y), keep.row(y));
    divideRow(field.row(y), f.row(y), w);
  });
  FillUp(field, bkgr, keep, false, 0, 1.0f);
  return true;
}

}  // namespace tamble
