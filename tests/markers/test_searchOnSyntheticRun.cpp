// How the marker searches and revisions do on the wind-off frames of
// synthetic runs: markers at known centres on a model with a body and a wing,
// under uneven light, with photon and read noise, lens distortion and the
// model's edges against the dark tunnel. The figures are printed for the
// record (docs/markers.md); the thresholds are what a user may rely on.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "dialogs/markerDialogs.h"
#include "markers/autoMark.h"
#include "markers/revise.h"
#include "tests/markers/markerScenes.h"

namespace {

using namespace tamble;
namespace mt = tamble::testing;

struct searchCase {
  const char* name;
  // Fills `found`; `placed` holds the true centres moved a pixel on both axes.
  void (*run)(const mt::layers&, const zel::markersArray& placed, zel::markersArray& found);
  double minRecall, maxRecall;  // of the true centres, within 3.5 pixels
  int mostFalse;
  double meanLimit, worstLimit;
};

void quick(const mt::layers& img, zel::markersArray& found, double D, float T) {
  polynomialState map;
  AutoMarkQuick(img.field, img.bkgr, img.ROI, found, -1, D, T, map);
}

void rings(const mt::layers& img, zel::markersArray& found, float D, int most) {
  const CAutomarsc sc;
  AutoMarkRings(img.field, img.bkgr, img.ROI, found, D, sc.rel, sc.m_entropy, sc.m_relative,
                sc.pos_neg, 1, 0, most);
}

// "Auto Mark..." and "Automatic Marking..." as they open, with the diameter
// typed or not, the limited search and both revisions.
const searchCase searches[] = {
    // The background median of D by D mostly sees the spot itself: few are
    // found, but what is reported must not be junk.
    {"Auto Mark D 7 (defaults)",
     [](const mt::layers& i, const zel::markersArray&, zel::markersArray& f) {
       quick(i, f, 7.0, CAutomarq{}.level());
     },
     0.0, 1.0, 3, 1.5, 2.0},
    {"Auto Mark D 11",
     [](const mt::layers& i, const zel::markersArray&, zel::markersArray& f) {
       quick(i, f, 11.0, CAutomarq{}.level());
     },
     0.95, 1.0, 3, 1.1, 1.6},
    {"Automatic Marking D 7",
     [](const mt::layers& i, const zel::markersArray&, zel::markersArray& f) {
       rings(i, f, 7.0f, 1000);
     },
     0.95, 1.0, 5, 0.15, 0.4},
    // Its own default diameter of 2 finds no 7-pixel spot.
    {"Automatic Marking D 2 (defaults)",
     [](const mt::layers& i, const zel::markersArray&, zel::markersArray& f) {
       rings(i, f, CAutomarsc{}.m_bmr, 1000);
     },
     0.0, 0.2, 1000, 3.5, 3.5},
    {"Limited search D 7, 100",
     [](const mt::layers& i, const zel::markersArray&, zel::markersArray& f) {
       rings(i, f, 7.0f, CAutomarl{}.m_limit);
     },
     0.95, 1.0, 30, 0.15, 0.4},
    {"Revise Markers D 11",
     [](const mt::layers& i, const zel::markersArray& placed, zel::markersArray& f) {
       f = placed;
       polynomialState map;
       ReviseMarkers(i.field, i.bkgr, i.ROI, f, -1, 11.0, map);
     },
     1.0, 1.0, 0, 1.1, 1.6},
    {"Revise Markers (Centers) D 7",
     [](const mt::layers& i, const zel::markersArray& placed, zel::markersArray& f) {
       f = placed;
       ReviseMarkersCenters(i.field, i.bkgr, i.ROI, f, -1, 7.0);
     },
     1.0, 1.0, 0, 0.4, 2.0},
};

// Dark 7-pixel markers at the default noise and at three times it.
TEST(SearchOnSyntheticRun, DarkSevenPixelMarkers) {
  for (const char* words : {"markers=60", "markers=60 noise=3 seed=2"}) {
    const mt::markerScene& img = mt::syntheticScene(words);
    ASSERT_GE(img.spots.size(), 50u);
    const zel::markersArray placed = mt::markersAt(img.spots, 1.0, -1.0);
    for (const searchCase& c : searches) {
      zel::markersArray found;
      c.run(img, placed, found);
      const mt::detection d = mt::compare(img.spots, found, 3.5);
      std::printf("%-24s %-32s placed %3d found %3d recall %5.3f false %3d mean %.3f worst %.3f\n",
                  words, c.name, d.placed, d.found, d.recall(), d.falseDetections(), d.meanError,
                  d.worstError);
      EXPECT_GE(d.recall(), c.minRecall) << words << " " << c.name;
      EXPECT_LE(d.recall(), c.maxRecall) << words << " " << c.name;
      EXPECT_LE(d.falseDetections(), c.mostFalse) << words << " " << c.name;
      EXPECT_LT(d.meanError, c.meanLimit) << words << " " << c.name;
      EXPECT_LT(d.worstError, c.worstLimit) << words << " " << c.name;
    }
  }
}

}  // namespace
