// How well an alignment does on a synthetic run, against its truth: the
// wind-on frame is aligned to the wind-off frame with the markers a search
// finds on both, and compared with the wind-on frame of the same run made
// without the model's motion. Shared by the accuracy table (bench/) and the
// tests that hold the alignment to it.
#pragma once

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "align/displacementTable.h"
#include "align/imageAlign.h"
#include "align/linkMarkers.h"
#include "align/triAlign.h"
#include "api/image.h"
#include "apps/synth/scene.h"
#include "convert/darkFlat.h"
#include "dialogs/markerDialogs.h"
#include "markers/autoMark.h"

namespace tamble::alignbench {

// The frame after dark and flat correction, as the conversion aligns it.
inline zel::image correctedFrame(const synth::syntheticRun& run, const std::string& name,
                                 const std::string& dark, const std::string& flat) {
  zel::image img(run.options.width, run.options.height);
  img.field() = run.find(name)->values;
  img.field().name = name;
  subtractDark(img.field(), img.bkgr(), run.find(dark)->values, img.bkgr());
  correctFlat(img.field(), img.bkgr(), run.find(flat)->values, img.bkgr());
  return img;
}

// The ring search of "Automatic Marking..." as it opens, with the run's
// marker diameter.
inline void findMarkers(zel::image& img, double diameter) {
  const CAutomarsc sc;
  AutoMarkRings(img.field(), img.bkgr(), img.ROI(), img.markers, static_cast<float>(diameter),
                sc.rel, sc.m_entropy, sc.m_relative, sc.pos_neg, 1, 0, 1000);
}

struct spotPair {
  double offX, offY, onX, onY;  // true centres on the wind-off and wind-on frames
};

struct scene {
  zel::image windOff, windOn, ideal;  // ideal: the wind-on frame without motion
  std::vector<spotPair> spots;
  std::vector<bool> judged;  // model pixels away from markers and from the model's edge
  double diameter = 7.0;
};

inline std::vector<std::string> wordsOf(const std::string& text) {
  std::vector<std::string> words;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(' ', at), text.size());
    if (end > at) words.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return words;
}

// Pixels wholly on the model, `edge` pixels inside it, and farther than 1.5
// diameters from every marker.
inline std::vector<bool> judgedPixels(const synth::syntheticRun& run, const scene& s, int edge) {
  const zel::image& truth = *run.truth.front().image;
  const int W = run.options.width, H = run.options.height;
  auto onModel = [&](int x, int y) {
    return x >= 0 && y >= 0 && x < W && y < H && truth.ROI()(x, y) && !truth.bkgr()(x, y);
  };
  std::vector<bool> judged(static_cast<std::size_t>(W) * H, false);
  const double reach = 1.5 * s.diameter;
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) {
      bool ok = onModel(x - edge, y) && onModel(x + edge, y) && onModel(x, y - edge) &&
                onModel(x, y + edge) && onModel(x, y);
      for (const spotPair& p : s.spots)
        if (ok && std::hypot(x - p.offX, y - p.offY) < reach) ok = false;
      judged[static_cast<std::size_t>(y) * W + x] = ok;
    }
  return judged;
}

// The scene of `tamble synth` words; made once per set of words.
inline const scene& sceneOf(const std::string& words) {
  static std::map<std::string, std::unique_ptr<scene>> made;
  if (auto it = made.find(words); it != made.end()) return *it->second;
  const auto run = synth::makeRun(synth::parseRunOptions(wordsOf(words)));
  const auto still = synth::makeRun(synth::parseRunOptions(wordsOf(words + " motion=0")));
  auto s = std::make_unique<scene>();
  s->diameter = run->options.diameter;
  s->windOff = correctedFrame(*run, "wind_off_sens", "wind_off_dark_sens", "flat_sens");
  s->windOn = correctedFrame(*run, "wind_on_sens", "wind_on_dark_sens", "flat_sens");
  s->ideal = correctedFrame(*still, "wind_on_sens", "wind_on_dark_sens", "flat_sens");
  findMarkers(s->windOff, s->diameter);
  findMarkers(s->windOn, s->diameter);
  for (const synth::markerSpot& m : run->markers)
    s->spots.push_back({m.windOff.x, m.windOff.y, m.windOn.x, m.windOn.y});
  s->judged = judgedPixels(*run, *s, 3);
  return *made.emplace(words, std::move(s)).first->second;
}

// The true spot within 3 pixels of (x, y) on the wind-on (or wind-off) frame; -1 if none.
inline int spotAt(const scene& s, double x, double y, bool windOn) {
  for (std::size_t i = 0; i < s.spots.size(); ++i) {
    const spotPair& p = s.spots[i];
    if (std::hypot(x - (windOn ? p.onX : p.offX), y - (windOn ? p.onY : p.offY)) < 3.0)
      return static_cast<int>(i);
  }
  return -1;
}

struct quality {
  double meanResidual = 0, worstResidual = 0;  // pixels, at the true marker centres
  double linkShare = 0;  // of the markers found on both frames, linked to their true partner
  double rms = 0;        // relative to the ideal, over the judged pixels
  int linked = 0, markers = 0;
  bool aligned = false;
};

// Of the markers found on both frames, the share that LinkMarkers pairs with
// their true partner, with the tracking window `box`.
inline void linkShare(const scene& s, int box, quality& q) {
  polynomialState work;
  const markerPoints on = pointsOf(s.windOn.markers), off = pointsOf(s.windOff.markers);
  const linkResult link = LinkMarkers(on, off, box, 0, work);
  std::vector<bool> offFound(s.spots.size(), false);
  for (const marker& m : s.windOff.markers.items)
    if (const int k = spotAt(s, m.x, m.y, false); k >= 0) offFound[k] = true;
  int both = 0, right = 0;
  for (int i = 0; i < on.size(); ++i) {
    const int k = spotAt(s, on.x[i], on.y[i], true);
    if (k < 0 || !offFound[k]) continue;
    ++both;
    if (link.ok && link.linked[i] && spotAt(s, link.linkX[i], link.linkY[i], false) == k) ++right;
  }
  q.markers = both;
  q.linked = right;
  q.linkShare = both ? static_cast<double>(right) / both : 0.0;
}

// Aligns the wind-on frame by `align` (which answers the map it warped with,
// empty if it did not) and measures the outcome.
inline quality measure(const scene& s, int box,
                       const std::function<displacementMap(zel::image&, const zel::image&)>& align) {
  quality q;
  linkShare(s, box, q);
  zel::image moved = s.windOn;
  const displacementMap source = align(moved, s.windOff);
  if (!source) return q;
  q.aligned = true;
  int n = 0;
  for (const spotPair& p : s.spots) {
    double u = 0, v = 0;
    if (!source(p.offX, p.offY, u, v)) continue;
    const double e = std::hypot(u - p.onX, v - p.onY);
    q.meanResidual += e;
    q.worstResidual = std::max(q.worstResidual, e);
    ++n;
  }
  q.meanResidual = n ? q.meanResidual / n : 0.0;
  double sum = 0;
  long count = 0;
  for (std::size_t i = 0; i < s.judged.size(); ++i) {
    if (!s.judged[i] || moved.bkgr().data[i] || !moved.ROI().data[i]) continue;
    const double ideal = s.ideal.field().data[i];
    if (!(ideal > 0)) continue;
    const double d = (moved.field().data[i] - ideal) / ideal;
    sum += d * d;
    ++count;
  }
  q.rms = count ? std::sqrt(sum / count) : 0.0;
  return q;
}

// The polynomial alignment of `order` terms (1, 3, 6, 10), linking with `box`.
inline std::function<displacementMap(zel::image&, const zel::image&)> polynomial(int order,
                                                                                 int box) {
  return [order, box](zel::image& first, const zel::image& second) -> displacementMap {
    polynomialState map;
    alignSettings settings;
    settings.order = order;
    settings.box = box;
    if (!ImageAlign(first, second, settings, map).warped) return {};
    return polynomialDisplacement(map);
  };
}

inline std::function<displacementMap(zel::image&, const zel::image&)> triangles(int box) {
  return [box](zel::image& first, const zel::image& second) -> displacementMap {
    polynomialState map;
    triSettings settings;
    settings.box = box;
    triOutcome done = TriAlign(first, second, settings, map);
    return done.warped ? done.source : displacementMap{};
  };
}

}  // namespace tamble::alignbench
