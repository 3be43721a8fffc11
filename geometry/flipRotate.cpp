// Flips, half and quarter turns, transposes. Every regime is defined in a
// frame flipped top to bottom (the first row shown at the bottom); the pixels
// take the net rule directly, the markers go through the steps in f32.
#include <cstddef>

#include "api/parallel.h"
#include "api/report.h"
#include "geometry/transforms.h"

namespace tamble {
namespace {

bool needsSquare(int regime) { return regime == 1 || regime == 2 || regime == 5 || regime == 6; }

// Linear index of the source of output pixel (0, y) and its change per x.
struct rowWalk {
  std::ptrdiff_t start, step;
};

// The net pixel rules; w == h for the square regimes.
rowWalk walkOf(int regime, int w, int h, int y) {
  const std::ptrdiff_t W = w, Y = y, H = h;
  switch (regime) {
    case 1: return {(W - 1) * W + Y, -W};           // src(y, N-1-x)
    case 2: return {W - 1 - Y, W};                  // src(N-1-y, x)
    case 3: return {Y * W + W - 1, -1};             // src(W-1-x, y)
    case 4: return {(H - 1 - Y) * W, 1};            // src(x, H-1-y)
    case 5: return {(W - 1) * W + W - 1 - Y, -W};   // src(N-1-y, N-1-x)
    default: return {(H - 1 - Y) * W + W - 1, -1};  // 0 and 6: src(W-1-x, H-1-y)
  }
}

template <class T>
void permute(zel::arrayStore<T, 2>& layer, int regime) {
  if (layer.empty()) return;
  const zel::arrayStore<T, 2> src(layer);
  const int w = layer.width(), h = layer.height();
  zel::forEachRow(h, layer.count, [&](int y) {
    const rowWalk walk = walkOf(regime, w, h, y);
    T* out = layer.row(y);
    const T* in = src.data + walk.start;
    for (std::ptrdiff_t x = 0; x < w; ++x) out[x] = in[x * walk.step];
  });
}

struct point {
  float x, y;
};

// The regime's own step inside the flipped frame; w1, h1 are W-1, H-1.
// Regime 6 transposes into a buffer and copies it back transposed, which
// restores the pixels but leaves the markers transposed, then turns by 180.
point regimeStep(int regime, point p, float w1, float h1) {
  switch (regime) {
    case 0: return {w1 - p.x, h1 - p.y};
    case 1: return {p.y, w1 - p.x};
    case 2: return {w1 - p.y, p.x};
    case 3: return {w1 - p.x, p.y};
    case 4: return {p.x, h1 - p.y};
    case 5: return {p.y, p.x};
    default: return {w1 - p.y, h1 - p.x};
  }
}

void moveMarkers(zel::markersArray& markers, int regime, int w, int h) {
  const float w1 = static_cast<float>(w - 1), h1 = static_cast<float>(h - 1);
  for (marker& m : markers.items) {
    point p{static_cast<float>(m.x), static_cast<float>(m.y)};
    p.y = h1 - p.y;
    p = regimeStep(regime, p, w1, h1);
    p.y = h1 - p.y;
    m.x = p.x;
    m.y = p.y;
  }
}

}  // namespace

void FlipRotate(fieldStore& field, maskStore& bkgr, maskStore& ROI, zel::markersArray& markers,
                int regime) {
  if (regime < 0 || regime > 6) return;
  if (!field.sameExtent(bkgr) || !field.sameExtent(ROI)) zel::raise<zel::DimError>();
  const int w = field.width(), h = field.height();
  if (needsSquare(regime) && w != h) {
    zel::report().notice("Image Must Be Square!");
    return;
  }
  permute(field, regime);
  permute(bkgr, regime);
  permute(ROI, regime);
  moveMarkers(markers, regime, w, h);
}

}  // namespace tamble
