// Polynomial alignment. The pairing, the fit and the report come first and
// may each end the alignment with a notice; the warp is the last step, so a
// refusal anywhere leaves the image as it was.
#include "align/imageAlign.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

#include "align/linkMarkers.h"
#include "align/polynomialFit.h"
#include "api/report.h"
#include "geometry/warp.h"
#include "markers/markerStats.h"
#include "markers/numerate.h"

namespace tamble {
namespace {

const char* const simplified = "Alignment is made using simplified approximation\nPlease, check final image";

// The identity in both directions, order 0.
void resetMap(polynomialState& map) {
  map = polynomialState{};
  map.forwardX[1] = map.inverseX[1] = 1.0;
  map.forwardY[2] = map.inverseY[2] = 1.0;
}

// One marker: a shift from the second image to the first.
void shiftMap(const marker& a, const marker& b, polynomialState& map) {
  map.order = 1;
  map.forwardX[0] = a.x - b.x;
  map.forwardY[0] = a.y - b.y;
  map.inverseX[0] = b.x - a.x;
  map.inverseY[0] = b.y - a.y;
}

// The turn by `angle` about `from` that lands on `to`, as order-3 terms.
void turnAbout(double angle, double fromX, double fromY, double toX, double toY, double (&cx)[10],
               double (&cy)[10]) {
  const double c = std::cos(angle), s = std::sin(angle);
  cx[1] = c;
  cx[2] = -s;
  cy[1] = s;
  cy[2] = c;
  cx[0] = toX - (c * fromX - s * fromY);
  cy[0] = toY - (s * fromX + c * fromY);
}

// Two markers: the turn of the line between them about their mid points.
void turnMap(const zel::markersArray& m1, const zel::markersArray& m2, polynomialState& map) {
  const marker &a1 = m1.items[0], &b1 = m1.items[1], &a2 = m2.items[0], &b2 = m2.items[1];
  const double mx1 = (a1.x + b1.x) * 0.5, my1 = (a1.y + b1.y) * 0.5;
  const double mx2 = (a2.x + b2.x) * 0.5, my2 = (a2.y + b2.y) * 0.5;
  float t = static_cast<float>(std::atan2(a2.y - my2, a2.x - mx2)) -
            static_cast<float>(std::atan2(a1.y - my1, a1.x - mx1));
  if (t > 1.5707964f) t = 3.1415927f - t;
  if (t < -1.5707964f) t = -3.1415927f - t;
  map.order = 3;
  turnAbout(-static_cast<double>(t), mx2, my2, mx1, my1, map.forwardX, map.forwardY);
  turnAbout(static_cast<double>(t), mx1, my1, mx2, my2, map.inverseX, map.inverseY);
}

double squaredDifference(const zel::markersArray& m1, const zel::markersArray& m2, int n) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) {
    const double dx = m1.items[i].x - m2.items[i].x, dy = m1.items[i].y - m2.items[i].y;
    sum += dx * dx + dy * dy;
  }
  return sum;
}

// The pairs a fit runs on: points of the first image and their partners.
struct pairList {
  std::vector<double> x1, y1, x2, y2;
  int size() const { return static_cast<int>(x1.size()); }
  void add(double ax, double ay, double bx, double by) {
    x1.push_back(ax);
    y1.push_back(ay);
    x2.push_back(bx);
    y2.push_back(by);
  }
};

// Pairs the markers by the settings' rule; false (with its notice) when the
// rule finds none it can trust.
bool pairMarkers(const zel::markersArray& m1, const zel::markersArray& m2, const alignSettings& s,
                 polynomialState& map, pairList& pairs) {
  if (s.fixed == 4) {
    if (m1.count() != m2.count()) {
      zel::noticeUnlessQuiet(
          "Number of markers on aligned images is different\nProcedure is terminated");
      return false;
    }
    for (int i = 0; i < m1.count(); ++i)
      pairs.add(m1.items[i].x, m1.items[i].y, m2.items[i].x, m2.items[i].y);
    return true;
  }
  const markerPoints p1 = pointsOf(m1), p2 = pointsOf(m2);
  const linkResult link = s.rtype == 2 ? MoveRotateMarkers(p1, p2, s.box, s.fixed, map)
                                       : LinkMarkers(p1, p2, s.box, s.fixed, map);
  if (!link.ok) {
    zel::noticeUnlessQuiet(s.rtype == 2 ? "Move-Rotate Alignment Failed. Try Another Parameters."
                                        : linkFailed);
    return false;
  }
  for (int i = 0; i < p1.size(); ++i)
    if (link.linked[i]) pairs.add(p1.x[i], p1.y[i], link.linkX[i], link.linkY[i]);
  return true;
}

// The order the pairs can carry: 10, 6, 3 or 1, or 0 when there is no pair.
int orderFor(int m, int p) {
  if (m == 10 && p < 10) m = 6;
  if (m == 6 && p < 6) m = 3;
  if (m == 3 && p < 3) m = 1;
  return p < 1 ? 0 : m;
}

// The number of the marker of `markers` at (x, y), within 0.001; 0 if none.
int numberAt(const zel::markersArray& markers, double x, double y) {
  for (const marker& m : markers.items)
    if (std::fabs(m.x - x) < 0.001 && std::fabs(m.y - y) < 0.001) return m.id;
  return 0;
}

std::string fixed2(double v) {
  char text[64];
  std::snprintf(text, sizeof text, "%.2f", v);
  return text;
}

// The fit's errors as the report shows them.
std::string fitReport(const pairList& pairs, int m, const polynomialState& map,
                      const zel::markersArray& m1, const zel::markersArray& m2,
                      const std::string& name1, const std::string& name2) {
  const int p = pairs.size();
  const fitErrors e = FitErrors(pairs.x2, pairs.y2, pairs.x1, pairs.y1, m, map.forwardX, map.forwardY);
  double maxX = 0, maxY = 0, sumX = 0, sumY = 0;
  int worstX = -1, worstY = -1;
  if (p >= m && p > 1) {
    for (int i = 0; i < p; ++i) {
      const mappedPoint q = mapPoint(map.forwardX, map.forwardY, m, pairs.x2[i], pairs.y2[i]);
      const double dx = std::fabs(q.x - pairs.x1[i]), dy = std::fabs(q.y - pairs.y1[i]);
      sumX += dx * dx;
      sumY += dy * dy;
      if (dx > maxX || worstX < 0) maxX = dx, worstX = i;
      if (dy > maxY || worstY < 0) maxY = dy, worstY = i;
    }
    sumX = std::sqrt(sumX / (p - 1));
    sumY = std::sqrt(sumY / (p - 1));
  }
  auto numbers = [&](int i, const zel::markersArray& list, bool firstList) {
    if (i < 0) return std::string("0");
    return std::to_string(firstList ? numberAt(list, pairs.x1[i], pairs.y1[i])
                                    : numberAt(list, pairs.x2[i], pairs.y2[i]));
  };
  const int order = m == 10 ? 3 : m == 6 ? 2 : m == 3 ? 1 : 0;
  return "Alignment Map1 to Map2\n    Order of approximation =   " + std::to_string(order) +
         "\n    Mean square error  (R) =   " + fixed2(e.rms) +
         "\n    Absolute Max error (R) =   " + fixed2(e.max) +
         "\n    Number of pairs        =   " + std::to_string(p) +
         "\n    Mean square error  (X) =   " + fixed2(sumX) +
         "\n    Absolute Max error (X) =   " + fixed2(maxX) +
         "\n    Map 1 marker number(X) =   " + numbers(worstX, m1, true) +
         "\n    Map 2 marker number(X) =   " + numbers(worstX, m2, false) +
         "\n    Mean square error  (Y) =   " + fixed2(sumY) +
         "\n    Absolute Max error (Y) =   " + fixed2(maxY) +
         "\n    Map 1 marker number(Y) =   " + numbers(worstY, m1, true) +
         "\n    Map 2 marker number(Y) =   " + numbers(worstY, m2, false) + "\nMap1 -   " +
         alignedName(name1) + "\nMap2 -   " + alignedName(name2);
}

// The three fits macro alignment blends, from the second image to the first.
bool blendFits(const pairList& pairs, blendMaps& blend) {
  return ZlMatrix(pairs.x2, pairs.y2, pairs.x1, pairs.y1, 10, blend.cubicX, blend.cubicY) &&
         ZlMatrix(pairs.x2, pairs.y2, pairs.x1, pairs.y1, 6, blend.quadraticX, blend.quadraticY) &&
         ZlMatrix(pairs.x2, pairs.y2, pairs.x1, pairs.y1, 3, blend.linearX, blend.linearY);
}

// Where an output pixel at distance d from the nearest marker takes its
// value: cubic near the markers, linear far from them, blended between.
mappedPoint blendedSource(const blendMaps& b, double lo, double hi, double d, double x, double y) {
  auto at = [x, y](const double(&cx)[10], const double(&cy)[10], int m) {
    return mapPoint(cx, cy, m, x, y);
  };
  if (!(hi > lo) || d < lo) return at(b.cubicX, b.cubicY, 10);
  if (d > hi) return at(b.linearX, b.linearY, 3);
  const double mid = (lo + hi) * 0.5;
  auto weight = [](double w) { return std::clamp(w, 0.0, 1.0); };
  if (d >= mid) {
    const double wl = weight((d - mid) / (hi - mid)), wq = weight((d - hi) / (mid - hi));
    const mappedPoint q = at(b.quadraticX, b.quadraticY, 6), l = at(b.linearX, b.linearY, 3);
    return {wq * q.x + wl * l.x, wq * q.y + wl * l.y};
  }
  const double wq = weight((d - lo) / (mid - lo)), wc = weight((d - mid) / (lo - mid));
  const mappedPoint c = at(b.cubicX, b.cubicY, 10), q = at(b.quadraticX, b.quadraticY, 6);
  return {wc * c.x + wq * q.x, wc * c.y + wq * q.y};
}

void moveMarkers(zel::markersArray& markers, const polynomialState& map) {
  for (marker& m : markers.items) {
    const mappedPoint p = mapPoint(map.inverseX, map.inverseY, map.order, m.x, m.y);
    m.x = p.x;
    m.y = p.y;
  }
}

void warpBlended(zel::image& img, const polynomialState& map, const blendMaps& blend) {
  moveMarkers(img.markers, map);
  const std::vector<marker> spots = img.markers.items;
  const markerStatistics stats = MarkerStats(img.markers);
  const double lo = stats.minDistance, hi = stats.meanDistance;
  WarpBilinearMSBy(img.field(), img.bkgr(), img.ROI(),
                   [&](int y, int x0, int n, double* xs, double* ys) {
                     for (int i = 0; i < n; ++i) {
                       const double x = x0 + i;
                       double d2 = std::numeric_limits<double>::infinity();
                       for (const marker& m : spots)
                         d2 = std::min(d2, (m.x - x) * (m.x - x) + (m.y - y) * (m.y - y));
                       const mappedPoint p = blendedSource(blend, lo, hi, std::sqrt(d2), x, y);
                       xs[i] = p.x;
                       ys[i] = p.y;
                     }
                   });
}

}  // namespace

std::string alignedName(const std::string& name) { return name.substr(0, name.find("_al")); }

void WarpImage(zel::image& img, const polynomialState& map, const blendMaps* blend) {
  if (blend && map.order == 10 && img.markers.count() > 1) {
    warpBlended(img, map, *blend);
    return;
  }
  WarpBilinearMS(img.field(), img.bkgr(), img.ROI(), img.markers, false, map);
}

alignOutcome ImageAlign(zel::image& first, const zel::image& second, const alignSettings& s,
                        polynomialState& map, const alignQuestion& ask) {
  alignOutcome out;
  if (s.skip) return out;
  const zel::markersArray &m1 = first.markers, &m2 = second.markers;
  const int n = std::min(m1.count(), m2.count());
  resetMap(map);
  out.failed = true;  // until the warp
  if (n == 0) return out;
  if (n <= 2) {
    if (n == 1) shiftMap(m1.items[0], m2.items[0], map);
    else turnMap(m1, m2, map);
    WarpImage(first, map);
    out.warped = true;
    out.failed = false;
    out.pairs = n;
    return out;
  }
  int m = s.order;
  if (n <= 3 && s.fixed < 1) {
    zel::noticeUnlessQuiet(
        "When Number of Markers Less or Equals 3\nNumber of the Same First Markers (fixed)\n"
        "        Must be 1 and more !\n      Look for appropriate button");
    return out;
  }
  if (n <= 3 && s.fixed == 3) {
    zel::noticeUnlessQuiet(simplified);
    m = 3;
  }
  if (squaredDifference(m1, m2, n) < 0.001) {  // aligned already
    out.failed = false;
    return out;
  }
  const bool keep = m == 0;  // "O ": the fit is reported, the image stays
  if (keep) m = 10;
  pairList pairs;
  if (!pairMarkers(m1, m2, s, map, pairs)) return out;
  const int p = pairs.size();
  const int fitted = orderFor(m, p);
  if (fitted == 0) {
    zel::noticeUnlessQuiet("Alignment is not made due to small number of markers");
    return out;
  }
  if (fitted != m) zel::noticeUnlessQuiet(simplified);
  m = keep ? 0 : fitted;
  resetMap(map);
  map.order = m;
  blendMaps blend;
  const bool macro = s.macro && m == 10;
  if (!ZlMatrix(pairs.x2, pairs.y2, pairs.x1, pairs.y1, m, map.forwardX, map.forwardY) ||
      (macro && !blendFits(pairs, blend))) {
    zel::noticeUnlessQuiet(fitFailed);
    return out;
  }
  out.pairs = p;
  out.report = fitReport(pairs, m, map, m1, m2, first.fieldName(), second.fieldName());
  if (s.showErrors && !zel::report().quiet() && ask && !ask(out.report)) {
    out.stop = ask("You are going to terminate alignment of the current image.\nAre you sure?");
    out.failed = false;  // the user's choice, told by `stop`
    return out;
  }
  if (!ZlMatrix(pairs.x1, pairs.y1, pairs.x2, pairs.y2, m, map.inverseX, map.inverseY)) {
    zel::noticeUnlessQuiet(fitFailed);
    return out;
  }
  WarpImage(first, map, macro ? &blend : nullptr);
  out.warped = true;
  out.failed = false;
  return out;
}

}  // namespace tamble
