// How the marker searches do on the frames of a synthetic run: its markers
// stand at known centres on a model with a body and a wing, under uneven
// light, with photon and read noise, lens distortion and the model's edges
// against the dark tunnel. The figures are printed for the record; the
// thresholds are what a user may rely on.
#include <gtest/gtest.h>

#include <cstdio>

#include "apps/synth/scene.h"
#include "convert/darkFlat.h"
#include "dialogs/markerDialogs.h"
#include "markers/autoMark.h"
#include "markers/revise.h"
#include "tests/markers/markerTestImages.h"

namespace {

using namespace tamble;
using tamble::testing::compare;
using tamble::testing::detection;
using tamble::testing::spot;

// The wind-off sensor frame after dark and flat correction, as the marking
// stage sees it, and the true centres of its markers.
struct correctedFrame {
  zel::image image;
  std::vector<spot> centres;
};

correctedFrame windOffFrame(const synth::runOptions& options) {
  const auto run = synth::makeRun(options);
  const auto& frame = run->find("wind_off_sens")->values;
  correctedFrame out{zel::image(frame.width(), frame.height()), {}};
  out.image.field() = frame;
  subtractDark(out.image.field(), out.image.bkgr(), run->find("wind_off_dark_sens")->values,
               out.image.bkgr());
  correctFlat(out.image.field(), out.image.bkgr(), run->find("flat_sens")->values,
              out.image.bkgr());
  for (const synth::markerSpot& m : run->markers) out.centres.push_back({m.windOff.x, m.windOff.y});
  return out;
}

void report(const char* search, const detection& d) {
  std::printf(
      "synthetic run  %-30s placed %3d found %3d recall %5.3f false %3d "
      "error mean %.3f worst %.3f\n",
      search, d.placed, d.found, d.recall(), d.falseDetections(), d.meanError, d.worstError);
}

TEST(SearchOnSyntheticRun, DarkSevenPixelMarkersAtTheDefaultNoise) {
  synth::runOptions options;
  options.markers = 60;
  const correctedFrame f = windOffFrame(options);
  ASSERT_GE(f.centres.size(), 50u);
  const zel::image& img = f.image;
  const double near = 3.5;
  zel::markersArray found;

  // "Auto Mark..." as it opens, with the markers' diameter typed: its
  // background median of D by D mostly sees the spot itself, so it finds
  // few of them; what it does report must not be junk in numbers.
  CAutomarq q;
  q.m_bmr = 7.0f;
  AutoMarkQuick(img.field(), img.bkgr(), img.ROI(), found, q.pos_neg, q.m_bmr, q.level());
  detection d = compare(f.centres, found, near);
  report("Auto Mark D 7", d);
  EXPECT_LE(d.falseDetections(), 5);

  // The same with the diameter half as large again as the spots.
  AutoMarkQuick(img.field(), img.bkgr(), img.ROI(), found, q.pos_neg, 11.0, q.level());
  d = compare(f.centres, found, near);
  report("Auto Mark D 11", d);
  EXPECT_GE(d.recall(), 0.95);
  EXPECT_LE(d.falseDetections(), 3);
  EXPECT_LT(d.meanError, 1.2);
  EXPECT_LT(d.worstError, 2.0);

  // The conversion's ring search with its defaults and the diameter.
  const CAutomarsc sc;
  AutoMarkRings(img.field(), img.bkgr(), img.ROI(), found, 7.0f, sc.rel, sc.m_entropy,
                sc.m_relative, sc.pos_neg, 1, 0, 1000);
  d = compare(f.centres, found, near);
  report("Automatic Marking D 7", d);
  EXPECT_GE(d.recall(), 0.95);
  EXPECT_LT(d.meanError, 0.3);
  EXPECT_LT(d.worstError, 1.0);

  // Revision of the true centres moved a pixel on both axes.
  zel::markersArray placed;
  for (const spot& p : f.centres) {
    marker m;
    m.x = std::round(p.x) + 1;
    m.y = std::round(p.y) - 1;
    m.active = true;
    placed.add(m);
  }
  found = placed;
  ReviseMarkersCenters(img.field(), img.bkgr(), img.ROI(), found, -1, 7.0);
  d = compare(f.centres, found, near);
  report("Revise Markers (Centers) D 7", d);
  EXPECT_EQ(d.matched, d.placed);
  EXPECT_LT(d.meanError, 0.4);
  EXPECT_LT(d.worstError, 2.0);
  found = placed;
  ReviseMarkers(img.field(), img.bkgr(), img.ROI(), found, -1, 11.0);
  d = compare(f.centres, found, near);
  report("Revise Markers D 11", d);
  EXPECT_EQ(d.matched, d.placed);
  EXPECT_LT(d.meanError, 1.2);
}

}  // namespace
