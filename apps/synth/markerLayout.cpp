#include "apps/synth/markerLayout.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "apps/synth/portableMath.h"

namespace tamble::synth {
namespace {

double distance2(vec2 a, vec2 b) { return (a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y); }

}  // namespace

std::vector<vec2> spreadCentres(int count, vec2 low, vec2 high, double spacing,
                                const std::vector<vec2>& avoid,
                                const std::function<bool(vec2)>& allowed, randomStream& random) {
  constexpr int candidates = 24;   // allowed candidates weighed per centre
  constexpr int attempts = 4000;   // draws before giving up on one centre
  std::vector<vec2> placed;
  const double spacing2 = spacing * spacing;
  for (int n = 0; n < count; ++n) {
    vec2 best;
    double bestDistance = -1.0;
    int found = 0;
    for (int draw = 0; draw < attempts && found < candidates; ++draw) {
      const vec2 c{low.x + (high.x - low.x) * random.uniform(),
                   low.y + (high.y - low.y) * random.uniform()};
      double nearest = std::numeric_limits<double>::infinity();
      for (const vec2& p : placed) nearest = std::min(nearest, distance2(c, p));
      bool clear = nearest >= spacing2;
      for (const vec2& p : avoid) clear = clear && distance2(c, p) >= spacing2;
      if (!clear || !allowed(c)) continue;
      ++found;
      if (nearest > bestDistance) {
        bestDistance = nearest;
        best = c;
      }
    }
    if (found == 0) break;
    placed.push_back(best);
  }
  return placed;
}

markerCoverage::markerCoverage(const std::vector<markerSpot>& s, double diameter, markerSign sign)
    : spots(s),
      radius(diameter / 2.0),
      inside(sign == markerSign::dark ? darkFactor : brightFactor),
      cell(std::max(8.0, 2.0 * diameter)) {
  if (spots.empty()) return;
  vec2 low = spots.front().ideal, high = low;
  for (const markerSpot& m : spots) {
    low = {std::min(low.x, m.ideal.x), std::min(low.y, m.ideal.y)};
    high = {std::max(high.x, m.ideal.x), std::max(high.y, m.ideal.y)};
  }
  origin = low;
  columns = static_cast<int>((high.x - low.x) / cell) + 1;
  rows = static_cast<int>((high.y - low.y) / cell) + 1;
  buckets.resize(static_cast<std::size_t>(columns) * rows);
  for (int i = 0; i < static_cast<int>(spots.size()); ++i) {
    const int cx = static_cast<int>((spots[i].ideal.x - origin.x) / cell);
    const int cy = static_cast<int>((spots[i].ideal.y - origin.y) / cell);
    buckets[static_cast<std::size_t>(cy) * columns + cx].push_back(i);
  }
}

template <class Visit>
bool markerCoverage::anyAround(vec2 p, double reach, Visit visit) const {
  if (spots.empty()) return false;
  const int x0 = static_cast<int>(std::floor((p.x - reach - origin.x) / cell));
  const int x1 = static_cast<int>(std::floor((p.x + reach - origin.x) / cell));
  const int y0 = static_cast<int>(std::floor((p.y - reach - origin.y) / cell));
  const int y1 = static_cast<int>(std::floor((p.y + reach - origin.y) / cell));
  for (int y = std::max(y0, 0); y <= std::min(y1, rows - 1); ++y)
    for (int x = std::max(x0, 0); x <= std::min(x1, columns - 1); ++x)
      for (int i : buckets[static_cast<std::size_t>(y) * columns + x])
        if (visit(spots[static_cast<std::size_t>(i)])) return true;
  return false;
}

bool markerCoverage::near(vec2 p, double margin) const {
  const double reach = radius + margin;
  return anyAround(p, reach, [&](const markerSpot& m) { return distance2(p, m.ideal) <= reach * reach; });
}

double markerCoverage::factor(vec2 p) const {
  const bool on = anyAround(p, radius, [&](const markerSpot& m) {
    return distance2(p, m.ideal) <= radius * radius;
  });
  return on ? inside : 1.0;
}

std::vector<tapStation> tapStations() {
  std::vector<tapStation> stations;
  for (double span : {0.35, 0.7})
    for (double chord : {0.12, 0.22, 0.32, 0.44, 0.64, 0.85}) stations.push_back({chord, span});
  return stations;
}

zel::markersArray modelPositions(const std::vector<markerSpot>& spots) {
  zel::markersArray out;
  out.hasF = false;
  for (const markerSpot& s : spots) {
    marker m;
    m.x = s.model.x;
    m.y = s.model.y;
    m.z = s.model.z;
    m.active = true;
    out.add(m);
  }
  return out;
}

zel::markersArray frameCentres(const std::vector<markerSpot>& spots, bool windOn) {
  zel::markersArray out;
  out.hasZ = false;
  out.hasF = false;
  for (const markerSpot& s : spots) {
    marker m;
    m.x = windOn ? s.windOn.x : s.windOff.x;
    m.y = windOn ? s.windOn.y : s.windOff.y;
    m.active = true;
    out.add(m);
  }
  return out;
}

zel::markersArray tapMarkers(const std::vector<pressureTap>& taps) {
  zel::markersArray out;
  out.hasZ = false;
  out.functionName = "Pressure";
  for (const pressureTap& t : taps) {
    marker m;
    m.x = t.windOff.x;
    m.y = t.windOff.y;
    m.f = t.pressure;
    m.active = true;
    out.add(m);
  }
  return out;
}

}  // namespace tamble::synth
