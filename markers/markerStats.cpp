#include "markers/markerStats.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "api/report.h"
#include "filters/circleFilters.h"
#include "markers/markerWork.h"
#include "markers/revise.h"

namespace tamble {

// --- The geometry of the set ---------------------------------------------

namespace {

struct running {
  float lo = 1e30f, hi = -1e30f, sum = 0.0f, squares = 0.0f;
  void add(float v) {
    lo = std::min(lo, v);
    hi = std::max(hi, v);
    sum += v;
    squares += v * v;
  }
};

void distances(const std::vector<float>& x, const std::vector<float>& y, markerStatistics& s) {
  running d;
  long pairs = 0;
  for (std::size_t i = 0; i < x.size(); ++i)
    for (std::size_t j = 0; j < x.size(); ++j) {
      if (i == j) continue;
      const float dx = x[i] - x[j], dy = y[i] - y[j];
      d.add(std::sqrt(dx * dx + dy * dy));
      ++pairs;
    }
  if (pairs == 0) return;
  s.minDistance = d.lo;
  s.maxDistance = d.hi;
  s.meanDistance = d.sum / static_cast<float>(pairs);
}

}  // namespace

bool MarkerStats(const zel::markersArray& markers, markerStatistics& out) {
  const int n = markers.count();
  if (n > maxStatMarkers) {
    zel::report().notice(tooManyMarkers);
    return false;
  }
  markerStatistics s;
  s.count = n;
  if (n == 0) {
    out = s;
    return true;
  }
  std::vector<float> x, y;
  running ax, ay;
  for (const marker& m : markers.items) {
    x.push_back(static_cast<float>(m.x));
    y.push_back(static_cast<float>(m.y));
    ax.add(x.back());
    ay.add(y.back());
  }
  distances(x, y, s);
  const float count = static_cast<float>(n);
  s.centreX = ax.sum / count;
  s.centreY = ay.sum / count;
  running r;
  float sxy = 0.0f, sxx = 0.0f, syy = 0.0f;
  for (int i = 0; i < n; ++i) {
    const float dx = x[i] - s.centreX, dy = y[i] - s.centreY;
    r.add(std::sqrt(dx * dx + dy * dy));
    sxy += dx * dy;
    sxx += dx * dx;
    syy += dy * dy;
  }
  s.minRadius = r.lo;
  s.maxRadius = r.hi;
  s.meanRadius = r.sum / count;
  s.rmsRadius = std::sqrt(r.squares / count);
  s.correlation = sxy / std::sqrt(sxx * syy);
  s.spanX = ax.hi - ax.lo;
  s.spanY = ay.hi - ay.lo;
  out = s;
  return true;
}

markerStatistics MarkerStats(const zel::markersArray& markers) {
  markerStatistics s;
  MarkerStats(markers, s);
  return s;
}

// --- The spots -----------------------------------------------------------

namespace {

using markerWork::fieldStore;
using markerWork::maskStore;

// How a marker's spot came out: found, not closed, or not there.
enum class spotFill { found, open, none };

// The images a spot is read from: Q - R is the difference from the wide
// background, wanted where `near` is set.
struct spotSource {
  const fieldStore& Q;
  const fieldStore& R;
  const maskStore& near;
  const maskStore& bkgr;
  const maskStore& ROI;
  double D;
  float range;  // the image's value range

  bool usable(int x, int y) const { return near(x, y) && markerWork::valid(bkgr, ROI, x, y); }
  float difference(int x, int y, int sign) const {
    return sign == 1 ? Q(x, y) - R(x, y) : R(x, y) - Q(x, y);
  }
};

// The first largest difference of either sign within D of (x0, y0).
struct peak {
  int x = 0, y = 0, sign = 0;
  float value = 0.0f;
};

peak findPeak(const spotSource& s, int x0, int y0) {
  const int W = s.Q.width(), H = s.Q.height();
  const int h = std::max(static_cast<int>(std::trunc(s.D + 0.5)), 1);
  const float r2 = static_cast<float>(s.D * s.D);
  peak bright{0, 0, 1, 0.0f}, dark{0, 0, -1, 0.0f};
  for (int y = std::max(y0 - h, 0); y <= std::min(y0 + h, H - 1); ++y)
    for (int x = std::max(x0 - h, 0); x <= std::min(x0 + h, W - 1); ++x) {
      const int dx = x - x0, dy = y - y0;
      if (static_cast<float>(dx * dx + dy * dy) > r2 || !s.usable(x, y)) continue;
      for (peak* p : {&bright, &dark})
        if (s.difference(x, y, p->sign) > p->value) {
          p->value = s.difference(x, y, p->sign);
          p->x = x;
          p->y = y;
        }
    }
  return bright.value >= dark.value ? bright : dark;
}

// The 4-connected region around the peak above half its height. It does not
// close when it reaches the image's edge or would go farther than D from the
// peak. Answers the region's area.
spotFill fillSpot(const spotSource& s, const peak& p, int& area) {
  const int W = s.Q.width(), H = s.Q.height();
  const float level = p.value * 0.5f;
  const float r2 = static_cast<float>(s.D * s.D);
  const int L = static_cast<int>(std::trunc(s.D)) + 1, side = 2 * L + 1;
  std::vector<std::uint8_t> seen(static_cast<std::size_t>(side) * static_cast<std::size_t>(side),
                                 0);
  auto mark = [&](int x, int y) -> std::uint8_t& {
    return seen[static_cast<std::size_t>((y - p.y + L) * side + (x - p.x + L))];
  };
  std::vector<std::pair<int, int>> todo{{p.x, p.y}};
  mark(p.x, p.y) = 1;
  area = 0;
  while (!todo.empty()) {
    const auto [x, y] = todo.back();
    todo.pop_back();
    ++area;
    if (x == 0 || y == 0 || x == W - 1 || y == H - 1) return spotFill::open;
    for (const auto& [nx, ny] : {std::pair{x - 1, y}, {x + 1, y}, {x, y - 1}, {x, y + 1}}) {
      if (!s.usable(nx, ny) || !(s.difference(nx, ny, p.sign) > level)) continue;
      const int dx = nx - p.x, dy = ny - p.y;
      if (static_cast<float>(dx * dx + dy * dy) > r2) return spotFill::open;
      if (mark(nx, ny)) continue;
      mark(nx, ny) = 1;
      todo.push_back({nx, ny});
    }
  }
  return spotFill::found;
}

spotFill spotOf(const spotSource& s, const marker& m, spotQuality& q) {
  int x0 = 0, y0 = 0;
  if (!markerWork::roundedIn(m.x, s.Q.width(), x0) || !markerWork::roundedIn(m.y, s.Q.height(), y0))
    return spotFill::none;
  const peak p = findPeak(s, x0, y0);
  if (!(p.value > 0.0f)) return spotFill::none;
  int area = 0;
  const spotFill fill = fillSpot(s, p, area);
  if (fill != spotFill::found) return fill;
  q.sign = p.sign;
  q.intensity = s.range > 0.0f ? std::clamp(p.value / s.range, 0.0f, 1.0f) : 0.0f;
  q.diameter = 2.0f * std::sqrt(static_cast<float>(area) / 3.14159265358979f);
  return fill;
}

void sumUp(markerQuality& q) {
  float dSum = 0.0f, iSum = 0.0f;
  int found = 0;
  for (const spotQuality& s : q.spots) {
    if (s.sign == 0) {
      ++q.wrong;
      continue;
    }
    (s.sign > 0 ? q.positive : q.negative) += 1;
    q.maxDiameter = found ? std::max(q.maxDiameter, s.diameter) : s.diameter;
    q.minDiameter = found ? std::min(q.minDiameter, s.diameter) : s.diameter;
    q.minIntensity = found ? std::min(q.minIntensity, s.intensity) : s.intensity;
    dSum += s.diameter;
    iSum += s.intensity;
    ++found;
  }
  if (found == 0) return;
  q.meanDiameter = dSum / static_cast<float>(found);
  q.meanIntensity = iSum / static_cast<float>(found);
}

}  // namespace

markerQuality MarkerQuality(const zel::arrayStore<float, 2>& field,
                            const zel::arrayStore<bool, 2>& bkgr,
                            const zel::arrayStore<bool, 2>& ROI, const zel::markersArray& markers,
                            polynomialState& map) {
  markerWork::requireExtent(field, bkgr, ROI);
  markerQuality q;
  q.spots.resize(markers.items.size());
  if (markers.count() == 0) {
    zel::noticeUnlessQuiet(noMarkersInZone);
    return q;
  }
  const double D = std::max(field.width(), field.height()) * 0.01;
  spotImages front = spotFront(field, bkgr, ROI, markers, D, map);
  const int N = static_cast<int>(std::trunc(D));
  if (N / 11 + 1 > 1) {  // the smooth spot image; nothing to do on a small one
    maskStore bk = bkgr;
    CoarseSmooth(front.Q, bk, front.zone, N, map);
  }
  float lo = 0.0f, hi = 0.0f;
  FieldMinMax(field, bkgr, ROI, lo, hi);
  const spotSource source{front.Q, front.R, front.near, bkgr, ROI, D, hi - lo};
  bool open = false, none = false;
  for (std::size_t i = 0; i < markers.items.size(); ++i) {
    const spotFill fill = spotOf(source, markers.items[i], q.spots[i]);
    open = open || fill == spotFill::open;
    none = none || fill == spotFill::none;
  }
  sumUp(q);
  if (open) zel::noticeUnlessQuiet(spotNotClosed);
  if (none) zel::noticeUnlessQuiet(wrongMarkers);
  return q;
}

// --- The report ----------------------------------------------------------

namespace {

template <class... Values>
std::string formatted(const char* format, Values... values) {
  char text[160];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

std::string real(const char* caption, float v) {
  return formatted("%s%14.8f", caption, static_cast<double>(v));
}

}  // namespace

std::vector<std::string> markerStatsLines(const zel::markersArray& markers,
                                          const markerStatistics& s, const markerQuality& q) {
  std::vector<std::string> lines = {
      formatted(" Number of All Markers                             %3d", s.count),
      formatted(" Number of Positive Markers                        %3d", q.positive),
      formatted(" Number of Negative Markers                        %3d", q.negative),
      "",
      real(" Minimal Distance Between Markers                ", s.minDistance),
      real(" Maximal Distance Between Markers                ", s.maxDistance),
      real(" Average Distance Between Markers                ", s.meanDistance),
      "",
      real(" X Coordinate of Markers Mass Center             ", s.centreX),
      real(" Y Coordinate of Markers Mass Center             ", s.centreY),
      real(" Minimal Radii from Mass Center                  ", s.minRadius),
      real(" Maximal Radii from Mass Center                  ", s.maxRadius),
      real(" Average Radii from Mass Center                  ", s.meanRadius),
      real(" Mean Square Radii from Mass Center              ", s.rmsRadius),
      "",
      real(" Correlation Coefficient of Markers Coordinates  ", s.correlation),
      "",
      real(" Maximal X Span of Markers Coordinates           ", s.spanX),
      real(" Maximal Y Span of Markers Coordinates           ", s.spanY),
      "",
      real(" Maximal Equivalent Markers Diameter             ", q.maxDiameter),
      real(" Minimal Equivalent Markers Diameter             ", q.minDiameter),
      real(" Average Equivalent Markers Diameter             ", q.meanDiameter),
      "",
      real(" Minimal Relative [0;1] Markers Intensity        ", q.minIntensity),
      real(" Average Relative [0;1] Markers Intensity        ", q.meanIntensity),
      ""};
  for (std::size_t i = 0; i < markers.items.size(); ++i) {
    const spotQuality spot = i < q.spots.size() ? q.spots[i] : spotQuality{};
    lines.push_back(formatted(" Marker # %3d   Sign %2d   Intensity %5.3f   Diameter %6.2f",
                              markers.items[i].id, spot.sign, static_cast<double>(spot.intensity),
                              static_cast<double>(spot.diameter)));
  }
  return lines;
}

}  // namespace tamble
