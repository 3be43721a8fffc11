// The markers painted on the model and its pressure taps: where they lie,
// how a marker darkens (or brightens) the paint, and their marker files.
#pragma once

#include <functional>
#include <vector>

#include "api/markers.h"
#include "apps/synth/model.h"
#include "apps/synth/options.h"

namespace tamble::synth {

class randomStream;

// A marker: a disc of the run's diameter in the ideal (undistorted) wind-off
// picture, fixed to the model, so that it moves with it.
struct markerSpot {
  vec2 ideal;     // centre in the ideal wind-off picture
  vec3 model;     // the model point under the centre, mm
  vec2 windOff;   // centre on the wind-off frames (lens distortion applied)
  vec2 windOn;    // centre on the wind-on frames
};

struct pressureTap {
  vec3 model;
  vec2 windOff;      // position on the wind-off frames
  double pressure;   // true wind-on pressure, Pa
};

// Places up to `count` centres, each the best of several random candidates
// (the one farthest from those placed before, Mitchell's rule), so that
// they spread evenly; `allowed` says whether a candidate may carry a marker,
// `avoid` are points (taps) to keep clear of. Candidates are drawn in
// [low, high). Fewer come back when no allowed place is left.
std::vector<vec2> spreadCentres(int count, vec2 low, vec2 high, double spacing,
                                const std::vector<vec2>& avoid,
                                const std::function<bool(vec2)>& allowed, randomStream& random);

// The markers around positions of the ideal wind-off picture, found through
// a grid of buckets.
class markerCoverage {
 public:
  markerCoverage(const std::vector<markerSpot>& spots, double diameter, markerSign sign);
  // Whether a disc's edge may pass within `margin` pixels of p.
  bool near(vec2 p, double margin) const;
  // What the paint's light is multiplied by at p: 1 off the markers.
  double factor(vec2 p) const;

  // The light left in a dark marker, and that of a bright one.
  static constexpr double darkFactor = 0.06;
  static constexpr double brightFactor = 1.7;

 private:
  const std::vector<markerSpot>& spots;
  double radius;
  double inside;
  double cell;
  int columns = 0, rows = 0;
  vec2 origin;
  std::vector<std::vector<int>> buckets;
  template <class Visit>
  bool anyAround(vec2 p, double reach, Visit visit) const;
};

// The wing's pressure taps: two chordwise rows of six on the right wing.
struct tapStation {
  double chord;
  double span;
};
std::vector<tapStation> tapStations();

// Marker files: the model positions (x, y, z in mm), the true centres on a
// frame (x, y in pixels), and the taps (x, y on the wind-off frames, f the
// pressure in Pa, named "Pressure").
zel::markersArray modelPositions(const std::vector<markerSpot>& spots);
zel::markersArray frameCentres(const std::vector<markerSpot>& spots, bool windOn);
zel::markersArray tapMarkers(const std::vector<pressureTap>& taps);

}  // namespace tamble::synth
