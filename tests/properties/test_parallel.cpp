// Every routine with row-parallel loops gives the same bits, notices and
// progress ends on one thread as on three.
#include <gtest/gtest.h>
#include <omp.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "align/undistort.h"
#include "convert/background.h"
#include "convert/darkFlat.h"
#include "convert/fieldRoutines.h"
#include "convert/foreground.h"
#include "filters/circleFilters.h"
#include "filters/deinterlace.h"
#include "filters/directional.h"
#include "filters/enhancement.h"
#include "filters/morphology.h"
#include "filters/pointOperations.h"
#include "filters/spectra.h"
#include "filters/summary.h"
#include "filters/wiener.h"
#include "geometry/polynomialMap.h"
#include "geometry/transforms.h"
#include "geometry/warp.h"
#include "host/render.h"
#include "markers/autoMark.h"
#include "markers/fillUp.h"
#include "markers/revise.h"
#include "plugin/session.h"
#include "resect/markerMatch.h"
#include "resect/meshSampling.h"
#include "tests/support/layers.h"
#include "tests/support/scriptedUi.h"

namespace {

using namespace tamble;
using tamble::testing::layers;

// 263 rows split unevenly over three threads, and enough pixels (69169) for
// the threads to start; random values, a tenth of the pixels blocked, 64
// dark spots of radius 3 and a marker a pixel off each, a few disabled.
layers spotted() {
  layers l = tamble::testing::randomLayers(263, 263, 0.1, 41u);
  for (int j = 0; j < 8; ++j)
    for (int i = 0; i < 8; ++i) {
      const int cx = 16 + 33 * i, cy = 16 + 33 * j;
      for (int y = cy - 3; y <= cy + 3; ++y)
        for (int x = cx - 3; x <= cx + 3; ++x)
          if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= 9) l.field(x, y) = -200.0f;
      l.markers.add({cx + 1.0, cy - 1.0, 0, 0, (i + j) % 5 != 0, 8 * j + i + 1});
    }
  return l;
}

// The input with its masks cleared: the routines' unblocked paths.
void unblock(layers& l) {
  l.bkgr.fill(false);
  l.ROI.fill(true);
}

// A square of 17161 pixels outside the ROI: enough region for the fill-up
// to sweep north and south at once.
void hole(layers& l) {
  for (int y = 60; y < 191; ++y)
    for (int x = 60; x < 191; ++x) l.ROI(x, y) = false;
}

// Output to source: a turn by 3 degrees and a scale about the centre.
polynomialState turn(double scale) {
  polynomialState map;
  const double a = 3 * 3.14159265358979 / 180, c = 131;
  const double k = std::cos(a) * scale, s = std::sin(a) * scale;
  setAffineMap(map, c - k * c + s * c + 0.37, k, -s, c - s * c - k * c - 0.21, s, k);
  return map;
}

// A routine's other input: random layers of the same size.
const layers& second() {
  static const layers l = tamble::testing::randomLayers(263, 263, 0.1, 43u);
  return l;
}

void warp(layers& l, int kind, double scale) {
  const polynomialState map = turn(scale);
  if (kind < 0)
    WarpBilinearMS(l.field, l.bkgr, l.ROI, l.markers, false, map);
  else
    WarpInterp(l.field, l.bkgr, l.ROI, l.markers, false, kind, map);
}

// The canvas the sizing routines write into.
void resize(layers& l, int w, int h, bool crop) {
  layers out(w, h);
  polynomialState map;
  if (crop)
    ImageCrop(l.field, l.bkgr, l.ROI, l.markers, out.field, out.bkgr, out.ROI, out.markers, 0, 1);
  else
    ImageResize(l.field, l.bkgr, l.ROI, l.markers, out.field, out.bkgr, out.ROI, out.markers, 1,
                map);
  l = out;
}

// A marker search into the layers' markers; it must find most spots. No
// ring marker stands near a blocked pixel: the ring search sees none.
void search(layers& l, bool rings) {
  if (rings) unblock(l);
  const layers in = l;
  l.markers.items.clear();
  polynomialState map;
  if (rings)
    AutoMarkRings(in.field, in.bkgr, in.ROI, l.markers, 7.0f, 1, 1.0f, 0.2f, -1, 1, 0, 1000);
  else
    AutoMarkQuick(in.field, in.bkgr, in.ROI, l.markers, -1, 12.0, 0.4f, map);
  EXPECT_GT(l.markers.count(), 20);
}

// What a routine gives beyond the layers: the quick-look PNG's bytes.
std::string other;

void render(layers& l) {
  zel::image img(l.W(), l.H());
  img.field() = l.field;
  img.bkgr() = l.bkgr;
  img.ROI() = l.ROI;
  img.markers = l.markers;
  const std::string path =
      ::testing::TempDir() + "tamble_parallel_" + std::to_string(::getpid()) + ".png";
  renderOptions o;
  o.colormap = "jet";
  renderPng(path, img, o);
  std::ifstream in(path, std::ios::binary);
  other.assign(std::istreambuf_iterator<char>(in), {});
  std::remove(path.c_str());
}

// A selection and a compensation with parameters that act on the spots.
void background(layers& l, int r1, int r2) {
  backgroundParams p;
  p.select = p.compensate = 1;
  p.r1 = r1, p.r2 = r2;
  p.threshold = 10.0f, p.scale = 0.8f, p.relative = 0.2f;
  p.side2 = 5, p.indent4 = 3, p.width4 = 7;
  EXPECT_EQ(selectAndCompensate(l.field, l.bkgr, l.ROI, p), backgroundFault::none);
}

// The summary's rows of every mode, and its sums to the last bit.
void summary(layers& l) {
  for (int mode : {summaryEasy, summaryAdvanced, summaryWithoutTrend}) {
    summaryRecord r;
    r.mode = mode;
    ImageSummary(l.field, l.bkgr, l.ROI, r);
    for (const std::string& row : summaryLines(r)) other += row + "\n";
    char bits[160];
    std::snprintf(bits, sizeof bits, "%a %a %a %a %a\n", r.active.sum, r.active.deviation,
                  r.activePlane.a0, r.activeFlat.deviation, r.whole.deviation);
    other += bits;
  }
}

// A wavy sheet over the frame, seen by a pinhole: the values of its nodes.
void resectSheet(layers& l) {
  zel::image img(l.W(), l.H());
  img.field() = l.field, img.bkgr() = l.bkgr, img.ROI() = l.ROI;
  zel::field_data<double> mesh;
  zel::meshBlock b;
  b.ni = b.nj = 181;
  b.nk = 1;
  for (int j = 0; j < b.nj; ++j)
    for (int i = 0; i < b.ni; ++i)
      b.nodes.push_back({i - 90.0, j - 90.0, 8.0 * std::sin(i * 0.15) * std::cos(j * 0.1)});
  mesh.blocks.push_back(b);
  cameraProjection p;
  p.coefficients.ax = {131.0 * 300.0, 400.0, 0, 131.0, 300.0, 0, 0, 1};
  p.coefficients.ay = {131.0 * 300.0, 0, 400.0, 131.0, 300.0, 0, 0.3, 1};
  std::vector<std::vector<double>> values;
  sampleMesh(mesh, p, img, values);
  other.assign(reinterpret_cast<const char*>(values[0].data()), values[0].size() * sizeof(double));
}

// The image's markers matched to a moved copy of them, and the image warped
// onto it through the masked resampling.
void alignToMarkers(layers& l) {
  zel::image img(l.W(), l.H());
  img.field() = l.field, img.bkgr() = l.bkgr, img.ROI() = l.ROI, img.markers = l.markers;
  zel::markersArray standard = l.markers;
  for (marker& m : standard.items) {
    m.x = 1.01 * m.x + 0.02 * m.y + 2.5;
    m.y = -0.02 * m.x + 0.99 * m.y - 1.25;
  }
  zel::markersArray pairs;
  linkStatistics statistics;
  EXPECT_TRUE(align_markers(img, standard, {1, 9, 0, 1}, false, pairs, statistics));
  l.field = img.field(), l.bkgr = img.bkgr(), l.ROI = img.ROI(), l.markers = img.markers;
}

// Deinterlacing needs an even frame: the input less its last row and column.
void deinterlace(layers& l, int field, int method) {
  layers even(l.W() - 1, l.H() - 1);
  for (int y = 0; y < even.H(); ++y)
    for (int x = 0; x < even.W(); ++x) even.field(x, y) = l.field(x, y);
  DeInterlace(even.field, 0, field, method);
  l = even;
}

// The ring search's pieces on the values as integers: the blocked pixels
// grown by 4 as the mask, a top-hat of 3, back as the field.
void ringPieces(layers& l) {
  ringImage img(l.W(), l.H());
  searchMask mask(l.W(), l.H());
  for (std::uint64_t i = 0; i < img.count; ++i) {
    img.data[i] = static_cast<std::int32_t>(l.field.data[i] * 1000.0f);
    mask.data[i] = l.bkgr.data[i] || !l.ROI.data[i];
  }
  GrowMask(mask, 4);
  RingTopHat(img, mask, 3);
  for (std::uint64_t i = 0; i < img.count; ++i) l.field.data[i] = static_cast<float>(img.data[i]);
}

struct parallelCase {
  const char* name;
  void (*run)(layers&);         // works on the layers in place
  bool risingProgress = false;  // the progress climbs from 0 to 100
};

const parallelCase cases[] = {
    {"MedianCircle3Unblocked",
     [](layers& l) {
       unblock(l);
       MedianCircle(l.field, l.bkgr, l.ROI, 2, 3);
     }},
    {"MedianCircle5", [](layers& l) { MedianCircle(l.field, l.bkgr, l.ROI, 2, 5); }},
    {"MedianCircle7Sorting", [](layers& l) { MedianCircle(l.field, l.bkgr, l.ROI, 1, 7); }},
    {"MedianSquare5", [](layers& l) { MedianSquare(l.field, l.bkgr, l.ROI, 2, 5); }},
    {"MedianSquare9Walking", [](layers& l) { MedianSquare(l.field, l.bkgr, l.ROI, 2, 9); }},
    {"RingTopHatGrowMask", [](layers& l) { ringPieces(l); }},
    {"MedianFast13",
     [](layers& l) {
       polynomialState map;
       MedianFast(l.field, l.bkgr, l.ROI, 1, 13, map);
     }},
    {"Gauss3Unblocked",
     [](layers& l) {
       unblock(l);
       GaussSeparable(l.field, l.bkgr, l.ROI, 2, 3.001f);
     }},
    {"Gauss3", [](layers& l) { GaussSeparable(l.field, l.bkgr, l.ROI, 2, 3.001f); }},
    {"Gauss9", [](layers& l) { GaussSeparable(l.field, l.bkgr, l.ROI, 2, 9.001f); }},
    {"Gauss150", [](layers& l) { GaussSeparable(l.field, l.bkgr, l.ROI, 1, 150.001f); }},
    {"Filter3DRational", [](layers& l) { Filter3D(l.field, l.bkgr, l.ROI, 2, 5.001f, 20, true); },
     true},
    {"Filter3DExponential",
     [](layers& l) { Filter3D(l.field, l.bkgr, l.ROI, 2, 5.001f, 20, false); }, true},
    {"Wiener3", [](layers& l) { WienerFilter(l.field, l.bkgr, l.ROI, 3.0f, 20.0f); }},
    {"Wiener9", [](layers& l) { WienerFilter(l.field, l.bkgr, l.ROI, 9.0f, 20.0f); }},
    {"Wiener14", [](layers& l) { WienerFilter(l.field, l.bkgr, l.ROI, 14.0f, 20.0f); }},
    {"S3X3ITERSobel", [](layers& l) { S3X3ITER(l.field, l.bkgr, l.ROI, 3, 4); }},
    {"Gradients3x3Kirsch", [](layers& l) { Gradients3x3(l.field, l.bkgr, l.ROI, 5); }},
    {"Gradients3x3Prewitt", [](layers& l) { Gradients3x3(l.field, l.bkgr, l.ROI, 8); }},
    {"MorphDilation15", [](layers& l) { MorphFilter(l.field, l.bkgr, l.ROI, 15.0f, 1); }},
    {"MorphErosion5Unblocked",
     [](layers& l) {
       unblock(l);
       MorphFilter(l.field, l.bkgr, l.ROI, 5.0f, 2);
     }},
    {"MorphOpenClose7", [](layers& l) { MorphFilter(l.field, l.bkgr, l.ROI, 7.0f, 15); }},
    {"MorphInvertedGradient", [](layers& l) { MorphFilter(l.field, l.bkgr, l.ROI, 5.0f, 8); }},
    {"SpeckleCell5", [](layers& l) { SpeckleCell(l.field, l.bkgr, l.ROI, 5.0f, 2); }, true},
    {"SpeckleCrimmins", [](layers& l) { SpeckleCrimmins(l.field, l.bkgr, l.ROI, 3); }},
    {"SpectrumImage", [](layers& l) { SpectrumImage(l.field, true, true, true); }},
    {"WhitenBothWays", [](layers& l) { Whiten(l.field, l.bkgr, l.ROI, 0.7f); }},
    {"ImageSummary", summary},
    {"ImageSummaryUnblocked",
     [](layers& l) {
       unblock(l);
       summary(l);
     }},
    {"DirectionalGauss", [](layers& l) { DirectionalGauss(l.field, l.bkgr, l.ROI, 2, 9, 3, 30); }},
    {"DirectionalMedianTapered",
     [](layers& l) {
       DirectionalMedian(l.field, l.bkgr, l.ROI, 1, 7, 1, 100, lengthTaper{0, 0, 262, 262});
     }},
    {"DeBlur1D", [](layers& l) { EXPECT_EQ(DeBlur1D(l.field, l.bkgr, l.ROI, 7, 20, 0.01f, 5), 5); }},
    {"DeInterlaceEdges", [](layers& l) { deinterlace(l, 1, 1); }},
    {"DeInterlaceMedian", [](layers& l) { deinterlace(l, 2, 4); }},
    {"UnSharpMask", [](layers& l) { UnSharpMask(l.field, l.bkgr, l.ROI, 5, 5, 4, false, 2, 1, 0.8f); }},
    {"DIP1Sobel", [](layers& l) { DIP1Enhancement(l.field, l.bkgr, l.ROI, 1, 9, 5, 100, 10); }},
    {"DIP1WaveLet", [](layers& l) { DIP1Enhancement(l.field, l.bkgr, l.ROI, 4, 9, 5, 100, 10); }},
    {"NonlinearContrast", [](layers& l) { NonlinearContrast(l.field, l.bkgr, l.ROI, 2.5f); }},
    {"WeightedHybridMapAdaptive",
     [](layers& l) { WeightedHybridMap(l.field, l.bkgr, l.ROI, 3, 0.7f); }},
    {"SteepThinning", [](layers& l) { SteepThinning(l.field, l.bkgr, l.ROI, 5, 0.1f, 3); }},
    {"PointOperations",
     [](layers& l) {
       ArithmeticConstant(l.field, l.bkgr, l.ROI, 4, 3.7f);
       CutOffIntensities(l.field, l.bkgr, l.ROI, true, 20, true, -5);
       ConservativeInvert(l.field, l.bkgr, l.ROI);
       FloodROI(l.field, l.bkgr, l.ROI, 1.5f, true);
     }},
    {"ImageArithmetic",
     [](layers& l) {
       layers out(l.W(), l.H());
       bool failed = true;
       const layers& b = second();
       ImageArithmeticBM(l.field, l.bkgr, l.ROI, b.field, b.bkgr, b.ROI, out.field, out.bkgr,
                         out.ROI, 4, failed);
       EXPECT_FALSE(failed);
       l = out;
     }},
    {"FlipRotateEveryRegime",
     [](layers& l) {
       for (int regime = 0; regime <= 6; ++regime)
         FlipRotate(l.field, l.bkgr, l.ROI, l.markers, regime);
     }},
    {"ImageResize", [](layers& l) { resize(l, 300, 241, false); }},
    {"ImageCrop", [](layers& l) { resize(l, 250, 280, true); }},
    {"WarpBilinearMS", [](layers& l) { warp(l, -1, 1.05); }},
    {"WarpNearest", [](layers& l) { warp(l, 0, 1.05); }},
    {"WarpBilinear", [](layers& l) { warp(l, 1, 1.05); }},
    {"WarpBicubicTabled", [](layers& l) { warp(l, 2, 1.05); }},
    {"WarpBicubicSolved", [](layers& l) { warp(l, 2, 3.3); }},
    // Pincushion about an off-centre point: the corners' sources lie off
    // the image.
    {"UndistortImage",
     [](layers& l) { UndistortImage(l.field, l.bkgr, l.ROI, l.markers, 121.3, 140.6, 2e-6, 3e-12); }},
    {"SubtractDark",
     [](layers& l) { EXPECT_TRUE(subtractDark(l.field, l.bkgr, second().field, second().bkgr)); }},
    // A flat of values from 0 to 100: defects on both sides to fill.
    {"CorrectFlat",
     [](layers& l) { EXPECT_TRUE(correctFlat(l.field, l.bkgr, second().field, second().bkgr)); }},
    {"AutoMarkQuick", [](layers& l) { search(l, false); }},
    {"AutoMarkRings", [](layers& l) { search(l, true); }},
    {"ReviseMarkers",
     [](layers& l) {
       polynomialState map;
       ReviseMarkers(l.field, l.bkgr, l.ROI, l.markers, -1, 7.0, map);
     }},
    {"ReviseMarkersCenters",
     [](layers& l) { ReviseMarkersCenters(l.field, l.bkgr, l.ROI, l.markers, -1, 7.0); }},
    {"FillUpBackground",
     [](layers& l) {
       hole(l);
       FillUp(l.field, l.bkgr, l.ROI, true, 3, 2.0f);
     }},
    {"FillUpROI",
     [](layers& l) {
       hole(l);
       FillUp(l.field, l.bkgr, l.ROI, false, 0, 1.0f);
     }},
    {"FillUpMarkers", [](layers& l) { FillUpMarkers(l.field, l.bkgr, l.ROI, l.markers, 9); }},
    {"RenderPng", render},
    {"BackgroundAverageThenBackgroundMean",
     [](layers& l) { background(l, selectAverage, compensateBkgrMean); }},
    {"BackgroundRelativeThenFourSide",
     [](layers& l) { background(l, selectRelative, compensateFourSide); }},
    {"BackgroundPlaneThenTwoSide", [](layers& l) { background(l, selectPlane, compensateTwoSide); }},
    {"BackgroundThresholdThenPlane",
     [](layers& l) { background(l, selectThreshold, compensateBkgrPlane); }},
    {"ForegroundExpansionRing",
     [](layers& l) { EXPECT_TRUE(ForegroundExpansion(l.field, l.bkgr, l.ROI, 3, 1, 9)); }},
    // The pressure of a double paint from the input and the second layers
    // as sensor and reference, their masks combined.
    {"MeshSampling", resectSheet},
    {"AlignMarkersWarp", alignToMarkers},
    {"PressureDouble",
     [](layers& l) {
       auto image = [](const layers& from) {
         zel::image img(from.W(), from.H());
         img.field() = from.field, img.bkgr() = from.bkgr, img.ROI() = from.ROI;
         return img;
       };
       const zel::image sens = image(l), refe = image(second());
       zel::image out(l.W(), l.H());
       calibration cal;
       cal.c[0] = -16400.0f, cal.c[3] = 100600.0f, cal.c[6] = 8500.0f;
       flowState flow;
       flow.P_wind_off = 100000.0f, flow.T_wind_off = flow.T_wind_on = 20.0f;
       EXPECT_EQ(pressureDouble(sens, refe, refe, sens, cal, flow, out), fieldFault::none);
       l.field = out.field(), l.bkgr = out.bkgr(), l.ROI = out.ROI();
     }},
};

// What a run leaves: the layers, any other output, the notices and progress.
struct outcome {
  layers l;
  std::string other;
  std::vector<std::string> notices;
  std::vector<int> percents;
};

struct recordingUi : tamble::testing::scriptedUi {
  std::vector<int> percents;
  void progress(const std::string&, int percent) override { percents.push_back(percent); }
};

outcome runOn(int threads, const parallelCase& c, const layers& input) {
  const int saved = omp_get_max_threads();
  omp_set_num_threads(threads);
  recordingUi ui;
  session().reset();
  setHostUi(&ui);
  outcome o{input, {}, {}, {}};
  other.clear();
  c.run(o.l);
  o.other = other;
  setHostUi(nullptr);
  omp_set_num_threads(saved);
  o.notices = ui.notices;
  o.percents = ui.percents;
  return o;
}

void expectRising(const std::vector<int>& percents) {
  ASSERT_GE(percents.size(), 3u);
  EXPECT_EQ(percents.front(), 0);
  EXPECT_EQ(percents.back(), 100);
  for (std::size_t i = 1; i < percents.size(); ++i) EXPECT_GT(percents[i], percents[i - 1]);
}

void PrintTo(const parallelCase& c, std::ostream* os) { *os << c.name; }

class Parallel : public ::testing::TestWithParam<parallelCase> {};

// One thread and three give the same bits, notices and progress ends, and
// the routine did change something.
TEST_P(Parallel, ThreeThreadsGiveTheBitsOfOne) {
  static const layers input = spotted();
  const outcome one = runOn(1, GetParam(), input), three = runOn(3, GetParam(), input);
  EXPECT_TRUE(tamble::testing::sameBits(one.l, three.l));
  EXPECT_EQ(one.other, three.other);
  EXPECT_EQ(one.notices, three.notices);
  EXPECT_TRUE(!tamble::testing::sameBits(one.l, input) || !one.other.empty()) << "no change";
  if (GetParam().risingProgress) {
    expectRising(one.percents);
    expectRising(three.percents);
  }
}

INSTANTIATE_TEST_SUITE_P(Routines, Parallel, ::testing::ValuesIn(cases),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
