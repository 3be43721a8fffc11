// Two marker lists of one model for the tests and benchmarks of linking and
// numbering: a jittered 10 by 10 grid of markers seen on a first image and,
// moved by a known map (a turn, a shift and a mild bend), on a second; each
// image misses some markers the other has, and carries spots of its own that
// are no markers of the other. The truth is which entry of the second list
// each entry of the first is.
#pragma once

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "align/linkMarkers.h"
#include "align/polynomialFit.h"
#include "api/markers.h"

namespace tamble::linkScenes {

struct modelMap {
  double turn = 0.0;  // radians, about the grid's centre
  double dx = 0.0, dy = 0.0;
  double bend = 0.0;  // y grows by bend * (x - centre)^2
};

struct linkScene {
  markerPoints first, second;
  std::vector<int> partner;  // per entry of the first list: its entry in the second, or -1
  int lead = 0;              // the first `lead` entries of both lists are the same markers
};

inline constexpr double sceneCentre = 370.0;

inline void movePoint(const modelMap& m, double x, double y, double& u, double& v) {
  const double c = std::cos(m.turn), s = std::sin(m.turn);
  const double px = x - sceneCentre, py = y - sceneCentre;
  u = sceneCentre + c * px - s * py + m.dx;
  v = sceneCentre + s * px + c * py + m.dy + m.bend * px * px;
}

// `missing` markers of the grid are not seen on each image (different ones),
// and each image has `extra` spots of its own, 25 pixels at least from every
// other spot. The triangle search takes its reference from the heaviest
// half of the first list, which must be seen on both images: the first
// image's own spots lie just beyond the grid (where weights are low), and the
// second misses only markers of the first list's lighter half. The three
// markers nearest to three corners of the grid lead both lists, in the same
// order; the rest of each list is shuffled.
inline linkScene makeLinkScene(const modelMap& map, int missing, int extra, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> jitter(-15.0, 15.0), anywhere(80.0, 660.0),
      around(0.0, 6.283185307179586), out(1.05, 1.15);
  // Points: the grid markers, then the extra spots of each image.
  std::vector<double> px, py;
  for (int j = 0; j < 10; ++j)
    for (int i = 0; i < 10; ++i) {
      px.push_back(100.0 + 60.0 * i + jitter(gen));
      py.push_back(100.0 + 60.0 * j + jitter(gen));
    }
  const int n = static_cast<int>(px.size());
  double rim = 0.0;
  for (int k = 0; k < n; ++k)
    rim = std::max(rim, std::hypot(px[k] - sceneCentre, py[k] - sceneCentre));
  auto clear = [&](double x, double y) {
    for (std::size_t k = 0; k < px.size(); ++k)
      if (std::hypot(px[k] - x, py[k] - y) < 25.0) return false;
    return true;
  };
  for (int own = 0; own < 2; ++own)
    for (int e = 0; e < extra;) {
      const double a = around(gen), r = out(gen) * rim;
      const double x = own == 0 ? sceneCentre + r * std::cos(a) : anywhere(gen);
      const double y = own == 0 ? sceneCentre + r * std::sin(a) : anywhere(gen);
      if (!clear(x, y)) continue;
      px.push_back(x);
      py.push_back(y);
      ++e;
    }
  auto nearestTo = [&](double x, double y) {
    int best = 0;
    for (int k = 1; k < n; ++k)
      if (std::hypot(px[k] - x, py[k] - y) < std::hypot(px[best] - x, py[best] - y)) best = k;
    return best;
  };
  const std::vector<int> leads = {nearestTo(150, 150), nearestTo(620, 200), nearestTo(300, 620)};
  auto isLead = [&](int k) { return std::find(leads.begin(), leads.end(), k) != leads.end(); };
  // The first list: the grid less its missing markers, and its own spots.
  std::vector<int> rest;
  for (int k = 0; k < n; ++k)
    if (!isLead(k)) rest.push_back(k);
  std::shuffle(rest.begin(), rest.end(), gen);
  rest.erase(rest.begin(), rest.begin() + missing);
  for (int e = 0; e < extra; ++e) rest.push_back(n + e);
  std::shuffle(rest.begin(), rest.end(), gen);
  std::vector<int> one(leads);
  one.insert(one.end(), rest.begin(), rest.end());
  // The second misses markers of the first list's lighter half.
  std::vector<double> x1, y1;
  for (int k : one) {
    x1.push_back(px[k]);
    y1.push_back(py[k]);
  }
  const std::vector<double> w1 = markerWeights(x1, y1);
  std::vector<double> sorted(w1);
  std::sort(sorted.begin(), sorted.end());
  const double heavy = sorted[sorted.size() - sorted.size() / 2];  // the lightest of the head
  std::vector<int> light;
  for (std::size_t i = 0; i < one.size(); ++i)
    if (one[i] < n && !isLead(one[i]) && w1[i] < heavy) light.push_back(one[i]);
  std::shuffle(light.begin(), light.end(), gen);
  light.resize(static_cast<std::size_t>(missing));
  std::vector<int> two;
  for (int k = 0; k < n; ++k)
    if (!isLead(k) && std::find(light.begin(), light.end(), k) == light.end()) two.push_back(k);
  for (int e = 0; e < extra; ++e) two.push_back(n + extra + e);
  std::shuffle(two.begin(), two.end(), gen);
  two.insert(two.begin(), leads.begin(), leads.end());
  linkScene s;
  s.lead = 3;
  s.first.x = x1;
  s.first.y = y1;
  for (int k : two) {
    double u = 0.0, v = 0.0;
    movePoint(map, px[k], py[k], u, v);
    s.second.x.push_back(u);
    s.second.y.push_back(v);
  }
  for (int k : one) {
    const auto at = std::find(two.begin(), two.end(), k);
    s.partner.push_back(k < n && at != two.end() ? static_cast<int>(at - two.begin()) : -1);
  }
  s.first.w = w1;
  s.second.w = markerWeights(s.second.x, s.second.y);
  return s;
}

// A list as the markers of an image, numbered as given.
inline zel::markersArray markersOf(const markerPoints& p, const std::vector<int>& ids) {
  zel::markersArray a;
  for (int i = 0; i < p.size(); ++i) a.add(marker{p.x[i], p.y[i], 0, 0, true, ids[i]});
  return a;
}

}  // namespace tamble::linkScenes
