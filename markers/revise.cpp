// Marker revision. Both routines work on whole-size copies of the field, and
// the masks `zone` keep the filters to the neighbourhood of the markers.
// Each marker's own search reads the shared images and writes only its own
// position, so the markers are revised in parallel with the same result.
#include "markers/revise.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "api/parallel.h"
#include "api/report.h"
#include "filters/circleFilters.h"
#include "markers/markerWork.h"

namespace tamble {
namespace {

using markerWork::centroid;
using markerWork::fieldStore;
using markerWork::maskStore;
using markerWork::valid;

bool emptyArray(const zel::markersArray& markers) {
  if (markers.count() != 0) return false;
  zel::noticeUnlessQuiet(noMarkersInZone);
  return true;
}

template <class Body>
void forEachMarker(zel::markersArray& markers, Body&& body) {
  const int n = markers.count();
#pragma omp parallel for schedule(dynamic, 4) if (n > 8)
  for (int i = 0; i < n; ++i) body(markers[i]);
}

// The part of the image a marker's revision reads: its square of half-width
// `reach` around the rounded position, clipped to the image.
struct part {
  int x0, y0, x1, y1;  // inclusive
};

std::vector<part> markerParts(const zel::markersArray& markers, const maskStore& bkgr,
                              const maskStore& ROI, int reach) {
  const int W = bkgr.width(), H = bkgr.height();
  std::vector<part> parts;
  for (const marker& m : markers.items) {
    int x = 0, y = 0;
    if (!m.active || !markerWork::roundedIn(m.x, W, x) || !markerWork::roundedInFloat(m.y, H, y))
      continue;
    if (!valid(bkgr, ROI, x, y)) continue;
    parts.push_back({std::max(x - reach, 0), std::max(y - reach, 0), std::min(x + reach, W - 1),
                     std::min(y + reach, H - 1)});
  }
  return parts;
}

// MedianFast for a diameter below 11 is MedianSquare, which reads every pixel
// of its window. Only the pixels of `near` are needed, so each marker's part
// is worked on a tile that holds every window it needs: N/2 more on each
// side, clipped to the image. The band that MedianSquare leaves at 0 then
// lies on the image's own edges, which the tiles share, so the values are
// those of the whole image.
void squareMedianNear(fieldStore& R, const std::vector<part>& parts, const maskStore& near, int N) {
  const int W = R.width(), H = R.height(), margin = N / 2;
  std::vector<fieldStore> tiles(parts.size());
  std::vector<part> where(parts.size());
  const int count = static_cast<int>(parts.size());
#pragma omp parallel for schedule(dynamic, 2) if (count > 4)
  for (int i = 0; i < count; ++i) {
    const part& p = parts[static_cast<std::size_t>(i)];
    const part t{std::max(p.x0 - margin, 0), std::max(p.y0 - margin, 0),
                 std::min(p.x1 + margin, W - 1), std::min(p.y1 + margin, H - 1)};
    const int tw = t.x1 - t.x0 + 1, th = t.y1 - t.y0 + 1;
    fieldStore tile(tw, th);
    for (int y = 0; y < th; ++y)
      std::copy(R.row(t.y0 + y) + t.x0, R.row(t.y0 + y) + t.x0 + tw, tile.row(y));
    maskStore unused(tw, th);
    unused.fill(false);
    MedianSquare(tile, unused, unused, 1, N);
    tiles[static_cast<std::size_t>(i)] = std::move(tile);
    where[static_cast<std::size_t>(i)] = t;
  }
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const part& p = parts[i];
    const part& t = where[i];
    for (int y = p.y0; y <= p.y1; ++y)
      for (int x = p.x0; x <= p.x1; ++x)
        if (near(x, y)) R(x, y) = tiles[i](x - t.x0, y - t.y0);
  }
}

// The windows of the per-marker search, in f32 unless told.
struct searchWindows {
  int h;         // peak search: half-width, and the disk of radius D
  float peakR2;  // D*D
  int k1;        // rough centre and spot top
  float q1;
  int k3;  // fine centre
  float q3;

  explicit searchWindows(double D) {
    const float Df = static_cast<float>(D);
    h = std::max(static_cast<int>(std::trunc(Df + 0.5f)), 1);
    peakR2 = Df * Df;
    const float d1 = std::max(static_cast<float>(std::pow(D, 0.33333) + 1.1), 2.01f);
    k1 = static_cast<int>(std::trunc(d1 + 0.5f));
    const float d3 = std::max(static_cast<float>(std::trunc(D * 0.0625) + 0.1), 2.01f);
    k3 = static_cast<int>(std::trunc(d3 + 0.5f));
    q1 = static_cast<float>(1.44 * d1 * d1);
    q3 = static_cast<float>(1.44 * d3 * d3);
  }
};

// Calls visit(x, y, dx, dy) for the valid pixels of the square of half-width
// k around (cx, cy) that lie in the image and within r2 of the centre.
template <class Visit>
void validDisk(const maskStore& bkgr, const maskStore& ROI, int cx, int cy, int k, float r2,
               Visit&& visit) {
  const int W = bkgr.width(), H = bkgr.height();
  for (int dy = -k; dy <= k; ++dy) {
    const int y = cy + dy;
    if (y < 0 || y >= H) continue;
    for (int dx = -k; dx <= k; ++dx) {
      const int x = cx + dx;
      if (x < 0 || x >= W) continue;
      if (static_cast<float>(dx * dx + dy * dy) > r2 || !valid(bkgr, ROI, x, y)) continue;
      visit(x, y);
    }
  }
}

void reviseOne(marker& m, const fieldStore& Q, const fieldStore& S, const maskStore& bkgr,
               const maskStore& ROI, const searchWindows& w, double D) {
  const int W = Q.width(), H = Q.height();
  int x0 = 0, y0 = 0;
  if (!m.active || !markerWork::roundedInFloat(m.x, W, x0) || !markerWork::roundedIn(m.y, H, y0))
    return;
  if (!valid(bkgr, ROI, x0, y0)) return;
  // The peak of the difference.
  float best = -1e30f;
  int px = 0, py = 0;
  validDisk(bkgr, ROI, x0, y0, w.h, w.peakR2, [&](int x, int y) {
    if (S(x, y) > best) {
      best = S(x, y);
      px = x;
      py = y;
    }
  });
  // The rough centre, weighted by the squared difference.
  centroid rough;
  validDisk(bkgr, ROI, px, py, w.k1, w.q1, [&](int x, int y) {
    const float v = S(x, y);
    rough.add(v * v, x, y);
  });
  float rx = 0.0f, ry = 0.0f;
  if (!(rough.s >= 1e-6) || !rough.centre(rx, ry)) return;
  const int cx = static_cast<int>(std::trunc(rx + 0.5f));
  const int cy = static_cast<int>(std::trunc(ry + 0.5f));
  // The spot's top and the lowest level around it.
  float top = -1e30f, qmin = 1e30f;
  int mx = 0, my = 0;
  validDisk(bkgr, ROI, cx, cy, w.k1, w.q1, [&](int x, int y) {
    const float v = Q(x, y);
    if (v > top) {
      top = v;
      mx = x;
      my = y;
    }
    if (v < qmin) qmin = v;
  });
  // The fine centre, weighted by the squared height above that level.
  centroid fine;
  validDisk(bkgr, ROI, mx, my, w.k3, w.q3, [&](int x, int y) {
    const float e = Q(x, y) - qmin;
    fine.add(e * e, x, y);
  });
  float fx = 0.0f, fy = 0.0f;
  if (!(fine.s >= 1e-6) || !fine.centre(fx, fy)) return;
  markerWork::acceptMove(m, fx, fy, D);
}

}  // namespace

spotImages spotFront(const markerField& field, const markerMask& bkgr, const markerMask& ROI,
                     const zel::markersArray& markers, double D, polynomialState& map) {
  const int W = field.width(), H = field.height();
  const int N = static_cast<int>(std::trunc(D));
  const bool smooth = std::trunc(D + 0.01) > 7;
  const bool shrink = N / 11 + 1 > 1;
  spotImages f{field, field, maskStore(W, H), maskStore()};
  maskStore bk = bkgr;  // the filters take changeable masks; the image's stay
  maskStore zone(W, H);
  zone.fill(false);
  if (smooth || shrink)
    markerWork::markZones(markers, bkgr, ROI, static_cast<float>(2.0 * D),
                          static_cast<int>(std::trunc(2.0 * D)), true, zone);
  if (smooth) {
    MedianCircle(f.Q, bk, zone, 1, 3);
    MedianCircle(f.R, bk, zone, 1, 3);
    GaussSeparable(f.Q, bk, zone, 1, static_cast<float>(D / 10));
    GaussSeparable(f.R, bk, zone, 1, static_cast<float>(D / 10));
  }
  // The wide background, wanted only within 1.5 D of the markers.
  const int reach = static_cast<int>(std::trunc(1.5 * D));
  f.near.fill(false);
  markerWork::markZones(markers, bkgr, ROI, static_cast<float>(1.5 * D), reach, true, f.near);
  if (shrink) {
    f.zone = zone;  // the median below may reshape its masks
    MedianFast(f.R, bk, zone, 1, N, map);
  } else {
    squareMedianNear(f.R, markerParts(markers, bkgr, ROI, reach), f.near, N);
  }
  return f;
}

void ReviseMarkers(const markerField& field, const markerMask& bkgr, const markerMask& ROI,
                   zel::markersArray& markers, int sign, double D, polynomialState& map) {
  markerWork::requireExtent(field, bkgr, ROI);
  if (emptyArray(markers) || !(std::fabs(D) < 1e6)) return;
  const int W = field.width(), H = field.height();
  spotImages front = spotFront(field, bkgr, ROI, markers, D, map);
  fieldStore& Q = front.Q;
  const fieldStore& R = front.R;
  const maskStore& near = front.near;
  // The spot stands above the background in S, and is a peak in Q.
  fieldStore S(W, H);
  const bool peaks = sign == 1;
  zel::forEachRow(H, field.count, [&](int y) {
    float* s = S.row(y);
    float* q = Q.row(y);
    const float* r = R.row(y);
    const bool* z = near.row(y);
    for (int x = 0; x < W; ++x) {
      const float d = peaks ? q[x] - r[x] : r[x] - q[x];
      s[x] = z[x] && d > 0.0f ? d : 0.0f;
      if (!peaks) q[x] = -q[x];
    }
  });
  const searchWindows windows(D);
  forEachMarker(markers, [&](marker& m) { reviseOne(m, Q, S, bkgr, ROI, windows, D); });
}

namespace {

// Far enough from the edge for the frame of half-width h + 1.
bool insideFrameBounds(int x, int y, int W, int H, int h) {
  return x >= h + 1 && x <= W - h - 2 && y >= h + 1 && y <= H - h - 2;
}

// The centroid weighted by S over the disk of the first pass.
void firstCentre(marker& m, const fieldStore& S, int h, float q, double D) {
  const int W = S.width();
  int x0 = 0, y0 = 0;
  markerWork::roundedIn(m.x, W, x0);
  markerWork::roundedIn(m.y, S.height(), y0);
  centroid c;
  for (int dy = -h; dy <= h; ++dy)
    for (int dx = -h; dx <= h; ++dx)
      if (static_cast<float>(dx * dx + dy * dy) <= q) c.add(S(x0 + dx, y0 + dy), x0 + dx, y0 + dy);
  float cx = 0.0f, cy = 0.0f;
  if (c.s > 1e-6 && c.centre(cx, cy)) markerWork::acceptMove(m, cx, cy, D);
}

// The centroid of the cubed height above the frame around the peak.
void secondCentre(marker& m, const fieldStore& S, int h, double D) {
  const int W = S.width(), H = S.height();
  int x0 = 0, y0 = 0;
  markerWork::roundedIn(m.x, W, x0);
  markerWork::roundedIn(m.y, H, y0);
  float top = -1e30f;
  int mx = x0, my = y0;
  for (int y = y0 - h; y <= y0 + h; ++y)
    for (int x = x0 - h; x <= x0 + h; ++x)
      if (S(x, y) > top) {
        top = S(x, y);
        mx = x;
        my = y;
      }
  if (!insideFrameBounds(mx, my, W, H, h)) return;
  const int f = h + 1;
  float sum = 0.0f, t = -1e30f;
  auto frame = [&](float v) {
    sum += v;
    if (v > t) t = v;
  };
  for (int y = my - f; y <= my + f; ++y) {
    frame(S(mx - f, y));
    frame(S(mx + f, y));
  }
  for (int x = mx - h; x <= mx + h; ++x) {
    frame(S(x, my - f));
    frame(S(x, my + f));
  }
  if (!(t < top)) return;  // no closed frame lower than the top
  const float b = sum / static_cast<float>(8 * f);
  centroid c;
  for (int y = my - h; y <= my + h; ++y)
    for (int x = mx - h; x <= mx + h; ++x) {
      const float e = std::max(S(x, y) - b, 0.0f);
      c.add(e * e * e, x, y);
    }
  float cx = 0.0f, cy = 0.0f;
  if (c.s > 1e-6 && c.centre(cx, cy)) markerWork::acceptMove(m, cx, cy, D);
}

}  // namespace

void ReviseMarkersCenters(const markerField& field, const markerMask& bkgr, const markerMask& ROI,
                          zel::markersArray& markers, int sign, double D) {
  markerWork::requireExtent(field, bkgr, ROI);
  if (emptyArray(markers) || !(std::fabs(D) < 1e6)) return;
  const int W = field.width(), H = field.height();
  float lo = 0.0f, hi = 0.0f;
  markerWork::minMax(field, lo, hi);
  maskStore zone(W, H);
  zone.fill(false);
  markerWork::markZones(markers, bkgr, ROI, static_cast<float>(4.0 * D),
                        static_cast<int>(std::trunc(4.0 * D)), false, zone);
  fieldStore S(W, H);
  const float mirror = hi + lo;
  const bool peaks = sign == 1;
  zel::forEachRow(H, field.count, [&](int y) {
    const float* f = field.row(y);
    float* s = S.row(y);
    for (int x = 0; x < W; ++x) s[x] = peaks ? f[x] : mirror - f[x];
  });
  maskStore bk = bkgr;
  const float width = static_cast<float>(2.0 * D);
  GaussSeparable(S, bk, zone, 1, width);
  const int h = std::max(static_cast<int>(std::trunc(width * 0.5f + 0.5f)), 1);
  const float q = width * width;
  // Enabled, on a valid pixel, and far enough from the edge for the frame.
  auto qualifies = [&](const marker& m) {
    int x0 = 0, y0 = 0;
    return m.active && markerWork::roundedIn(m.x, W, x0) && markerWork::roundedIn(m.y, H, y0) &&
           valid(bkgr, ROI, x0, y0) && insideFrameBounds(x0, y0, W, H, h);
  };
  forEachMarker(markers, [&](marker& m) {
    if (qualifies(m)) firstCentre(m, S, h, q, D);
  });
  forEachMarker(markers, [&](marker& m) {
    if (qualifies(m)) secondCentre(m, S, h, D);
  });
}

}  // namespace tamble
