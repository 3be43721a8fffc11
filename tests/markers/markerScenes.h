// Marker scenes for the tests of the marker routines: the wind-off frame of
// a synthetic run (apps/synth) after dark and flat correction, as the
// marking stage sees it, with its markers' true centres; a single spot of a
// known sub-pixel centre; and how well a search found the true centres.
#pragma once

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "api/markers.h"
#include "apps/synth/scene.h"
#include "convert/darkFlat.h"
#include "tests/support/layers.h"

namespace tamble::testing {

struct spot {
  double x, y;
};

// The layers of the frame (bkgr clear, ROI set), the true centres, and the
// pixels wholly on the model.
struct markerScene : layers {
  std::vector<spot> spots;
  zel::arrayStore<bool, 2> model;
  markerScene(int w, int h) : layers(w, h), model(w, h) { model.fill(true); }
};

// The scene of `tamble synth` words ("size=256", "sign=bright", ...); made
// once per set of words.
inline const markerScene& syntheticScene(const std::string& words) {
  static std::map<std::string, markerScene> made;
  if (auto it = made.find(words); it != made.end()) return it->second;
  std::vector<std::string> list;
  for (std::size_t at = 0; at < words.size();) {
    const std::size_t end = std::min(words.find(' ', at), words.size());
    if (end > at) list.push_back(words.substr(at, end - at));
    at = end + 1;
  }
  const auto run = synth::makeRun(synth::parseRunOptions(list));
  markerScene s(run->options.width, run->options.height);
  s.field = run->find("wind_off_sens")->values;
  subtractDark(s.field, s.bkgr, run->find("wind_off_dark_sens")->values, s.bkgr);
  correctFlat(s.field, s.bkgr, run->find("flat_sens")->values, s.bkgr);
  const zel::image& truth = *run->truth.front().image;
  for (std::size_t i = 0; i < s.model.count; ++i)
    s.model.data[i] = truth.ROI().data[i] && !truth.bkgr().data[i];
  for (const synth::markerSpot& m : run->markers) s.spots.push_back({m.windOff.x, m.windOff.y});
  return made.emplace(words, std::move(s)).first->second;
}

// One disc of radius r centred at (cx, cy) on a level of 1000, darker
// (sign -1) or brighter (1) by 60 percent, its edge blurred by a Gauss of
// `blur` pixels: radially symmetric about the centre.
inline markerScene oneSpot(int w, int h, double cx, double cy, int sign, double r = 3.5,
                           double blur = 1.0) {
  markerScene s(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const double inside = 0.5 * std::erfc((std::hypot(x - cx, y - cy) - r) / (blur * M_SQRT2));
      s.field(x, y) = static_cast<float>(1000.0 * (1.0 + sign * 0.6 * inside));
    }
  s.spots.push_back({cx, cy});
  return s;
}

// Found markers against the true centres: each centre takes the nearest
// found marker within `radius` that no other centre has taken.
struct detection {
  int placed = 0, found = 0, matched = 0;
  double meanError = 0.0, worstError = 0.0;
  int falseDetections() const { return found - matched; }
  double recall() const { return placed ? static_cast<double>(matched) / placed : 0.0; }
};

inline detection compare(const std::vector<spot>& spots, const zel::markersArray& markers,
                         double radius) {
  detection d;
  d.placed = static_cast<int>(spots.size());
  d.found = markers.count();
  std::vector<bool> taken(markers.items.size(), false);
  double sum = 0.0;
  for (const spot& p : spots) {
    int best = -1;
    double bestDistance = radius;
    for (std::size_t i = 0; i < markers.items.size(); ++i) {
      const double e = std::hypot(markers.items[i].x - p.x, markers.items[i].y - p.y);
      if (!taken[i] && e <= bestDistance) {
        bestDistance = e;
        best = static_cast<int>(i);
      }
    }
    if (best < 0) continue;
    taken[static_cast<std::size_t>(best)] = true;
    ++d.matched;
    sum += bestDistance;
    d.worstError = std::max(d.worstError, bestDistance);
  }
  d.meanError = d.matched ? sum / d.matched : 0.0;
  return d;
}

// Enabled markers at the rounded places moved by (dx, dy), as a user clicks
// them, numbered from 1.
inline zel::markersArray markersAt(const std::vector<spot>& places, double dx = 0, double dy = 0) {
  zel::markersArray a;
  for (const spot& p : places) a.add(marker{std::round(p.x) + dx, std::round(p.y) + dy, 0, 0, true, 0});
  return a;
}

}  // namespace tamble::testing
