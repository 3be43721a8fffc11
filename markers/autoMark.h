// Automatic marker search on a field without any reference. Two searches,
// chosen by the command: the quick one of "Auto Mark..." and the ring search
// of the conversion's "Automatic Marking...". Both replace `markers` with the
// spots found, enabled and numbered 1, 2, 3 in the order of discovery, and
// leave the layers as they were. Finding nothing is no failure: the array is
// then empty. zel::DimError, before any change, if the layers differ in
// extent.
//
// A pixel is blocked when its bkgr is set or its ROI is clear. `sign` is 1
// for spots brighter than their surroundings ("Peaks") and -1 for darker ones
// ("Pits"); D is the marker diameter in pixels.
#pragma once

#include <cstdint>

#include "api/arrayWorks.h"
#include "api/markers.h"
#include "geometry/polynomialMap.h"

namespace tamble {

using searchField = zel::arrayStore<float, 2>;
using searchMask = zel::arrayStore<bool, 2>;
using ringImage = zel::arrayStore<std::int32_t, 2>;

// The quick search. The difference between the image and a wide median
// background is sharpened by a ring test, opened, smoothed, and its highest
// peaks are taken one after the other, at least 2D apart, while they reach
// the level lo + T*(hi - lo) of the sharpened image (T from 0 to 1) and stand
// above 0; at most 500. ReviseMarkers then brings them to sub-pixel centres.
// The fast median's resizing leaves its map in `map` (see MedianFast).
void AutoMarkQuick(const searchField& field, const searchMask& bkgr, const searchMask& ROI,
                   zel::markersArray& markers, int sign, double D, float T, polynomialState& map);

// The ring search. An integer copy of the image (0 to 1,000,000) has rings
// peeled away from half-width trunc(D + 0.5) down to 1; a pixel survives only
// inside an empty ring of that half-width; a threshold by entropy (`law` 0,
// scaled by `entropyScale`) or by the level `relative` of the range (`law`
// 1) follows, and weighted centroids give the markers, at most `maxMarkers`
// (below 1000 there is no threshold). A last centroid weighted by the fourth
// power of the difference from the local level places them. `highSpeed` 0
// starts the empty-ring search at 1, 1 at the diameter; any other value is
// refused with "HIGH_SPEED is UnDefined.". Pixels within trunc(D + 0.5) + 1 of
// the image's edge or of a blocked pixel hold no marker.
void AutoMarkRings(const searchField& field, const searchMask& bkgr, const searchMask& ROI,
                   zel::markersArray& markers, float D, std::int32_t law, float entropyScale,
                   float relative, int sign, int unusedFlag, std::int32_t highSpeed,
                   std::int32_t maxMarkers);

// The lowest of the maxima of the square rings of half-width firstHalf,
// firstHalf + 2, ... below stopHalf around (x, y); 1e30 when there is none.
// Rows outside the image are left out, and a ring's columns are taken only
// when its left column lies in the image: its right column may then read on
// into the next row, as one index walks on (never past the image's end).
float RingMinMax(const searchField& image, int x, int y, int firstHalf, int stopHalf);

// Into a fresh image, at the pixels where `mask` is clear: the value less the
// mean of its ring of half-width `half` (integer division), not below 0; the
// masked pixels become 0. No bounds checks: the mask must keep the rings
// inside the image.
void RingTopHat(ringImage& image, const searchMask& mask, int half);
// `half` if the ring of that half-width around (x, y) sums to 0, else 1000.
int RingIsEmpty(const ringImage& image, int x, int y, int half);
// The first half-width from min(R + 1, first) to R + 1 whose ring is empty,
// or 1000.
int SmallestEmptyRing(const ringImage& image, int x, int y, int R, int first);
// `passes` times: every clear pixel with a set one among its eight
// neighbours becomes set, all decided from the state before the pass.
void GrowMask(searchMask& mask, int passes);

// The histogram of the image in 256 bins of its maximum: the bin that gives
// the greatest sum of the two classes' entropies, and the one that makes
// them most alike, each as a level of the image.
void EntropyThresholds(const searchField& image, float& maxSum, float& balance);

}  // namespace tamble
