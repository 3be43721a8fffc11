// What "Markers Statistics" reports on an image's markers: the geometry of
// the set (MarkerStats), the spots themselves (MarkerQuality), and the lines
// of the report.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "api/arrayWorks.h"
#include "api/markers.h"
#include "geometry/polynomialMap.h"

namespace tamble {

// The most markers MarkerStats takes, and its notice beyond that.
inline constexpr int maxStatMarkers = 999;
inline constexpr const char* tooManyMarkers = "Sorry. Too Many Markers.";

// The geometry of a marker set, in 32-bit floats. Distances are over every
// ordered pair of different markers; radii are from the mass centre.
struct markerStatistics {
  std::int32_t count = 0;
  float minDistance = 0.0f;
  float maxDistance = 0.0f;
  float meanDistance = 0.0f;
  float centreX = 0.0f;
  float centreY = 0.0f;
  float minRadius = 0.0f;
  float maxRadius = 0.0f;
  float meanRadius = 0.0f;
  float rmsRadius = 0.0f;
  float correlation = 0.0f;  // of the x and the y list
  float spanX = 0.0f;
  float spanY = 0.0f;
};

// Fills `out` from all markers, enabled or not. More than 999 markers: the
// notice "Sorry. Too Many Markers.", `out` stays as it was, and the answer
// is false. With fewer than two markers the distances are 0, and with no
// spread on an axis the correlation is not a number.
bool MarkerStats(const zel::markersArray& markers, markerStatistics& out);
// The same as a value: all zero when there are too many markers.
markerStatistics MarkerStats(const zel::markersArray& markers);

// One marker's spot: the sign of its difference from the wide background (1
// brighter, -1 darker, 0 when no closed spot was found), its peak as a share
// of the image's value range, and the diameter of a disc of its area.
struct spotQuality {
  int sign = 0;
  float intensity = 0.0f;
  float diameter = 0.0f;
};

// The spots of all markers in array order, and their sums over the spots
// found (all 0 when none was found).
struct markerQuality {
  std::vector<spotQuality> spots;
  int positive = 0;
  int negative = 0;
  int wrong = 0;  // markers with no closed spot
  float maxDiameter = 0.0f;
  float minDiameter = 0.0f;
  float meanDiameter = 0.0f;
  float minIntensity = 0.0f;
  float meanIntensity = 0.0f;
};

inline constexpr const char* spotNotClosed = "NonFermee or Error Fill PelRegion";
inline constexpr const char* wrongMarkers = "Wrong Markers were Processed";

// The spots under the markers, on the background and smoothing that the
// revision uses, with D = max(W, H)*0.01 as the spot diameter. Each spot is
// the 4-connected region around the difference's peak near the marker where
// the difference is above half that peak (see docs/markers.md). The layers
// stay as they are; zel::DimError if they differ in extent. The filters
// inside leave their resizing map in `map`.
markerQuality MarkerQuality(const zel::arrayStore<float, 2>& field,
                            const zel::arrayStore<bool, 2>& bkgr,
                            const zel::arrayStore<bool, 2>& ROI, const zel::markersArray& markers,
                            polynomialState& map);

// The lines of the "Markers Statistics" list, blank lines between groups,
// then one line per marker.
std::vector<std::string> markerStatsLines(const zel::markersArray& markers,
                                          const markerStatistics& stats,
                                          const markerQuality& quality);

}  // namespace tamble
