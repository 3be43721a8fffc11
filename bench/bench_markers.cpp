// The marker searches and the two revisions on a 2048 by 2048 model with
// about 100 dark markers of 7 pixels, noise and uneven light, the quick
// search's wide median on its own, and a plain copy of the field as the unit
// of the ratios printed at the end.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "apps/synth/markerImages.h"
#include "bench/ratioReporter.h"
#include "bench/silentReport.h"
#include "filters/circleFilters.h"
#include "markers/autoMark.h"
#include "markers/revise.h"

namespace {

namespace mt = tamble::synth::markerImages;

const mt::markerImage& model() {
  static const mt::markerImage img = [] {
    mt::markerScene s;
    s.W = s.H = 2048;
    s.spacing = 140;
    return mt::makeMarkerImage(s);
  }();
  return img;
}

// Markers a pixel off each spot, as a search or a user leaves them.
zel::markersArray offMarkers() {
  zel::markersArray a;
  for (const mt::spot& p : model().spots) {
    marker m;
    m.x = std::round(p.x) + 1;
    m.y = std::round(p.y) - 1;
    m.active = true;
    a.add(m);
  }
  return a;
}

void count(benchmark::State& state, const zel::markersArray& found) {
  state.counters["markers"] = found.count();
  state.counters["placed"] = static_cast<double>(model().spots.size());
}

void AutoMarkQuick(benchmark::State& state) {
  const mt::markerImage& img = model();
  zel::markersArray found;
  tamble::polynomialState map;
  for (auto _ : state)
    tamble::AutoMarkQuick(img.field, img.bkgr, img.ROI, found, -1,
                          static_cast<double>(state.range(0)), 0.4f, map);
  count(state, found);
}
BENCHMARK(AutoMarkQuick)->Arg(7)->Arg(11)->Unit(benchmark::kMillisecond)->UseRealTime();

void AutoMarkRings(benchmark::State& state) {
  const mt::markerImage& img = model();
  zel::markersArray found;
  for (auto _ : state)
    tamble::AutoMarkRings(img.field, img.bkgr, img.ROI, found, static_cast<float>(state.range(0)),
                          1, 1.0f, 0.2f, -1, 1, 0, 1000);
  count(state, found);
}
// As "Automatic Marking..." calls it: law 1, relative 0.2, pits, high speed
// 0, at most 1000; D 7 fits the model's markers, 2 is the record's initial.
BENCHMARK(AutoMarkRings)->Arg(7)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

// The wide median of the quick search below D 11: the square of D.
void MedianSquare(benchmark::State& state) {
  zel::arrayStore<float, 2> field = model().field;
  zel::arrayStore<bool, 2> bkgr = model().bkgr, ROI = model().ROI;
  for (auto _ : state) {
    state.PauseTiming();
    std::memcpy(field.data, model().field.data, field.count * sizeof(float));
    state.ResumeTiming();
    tamble::MedianSquare(field, bkgr, ROI, 1, static_cast<int>(state.range(0)));
  }
}
BENCHMARK(MedianSquare)->Arg(7)->Arg(9)->Unit(benchmark::kMillisecond)->UseRealTime();

// The unit: one copy of the field.
void CopyField(benchmark::State& state) {
  zel::arrayStore<float, 2> field = model().field;
  for (auto _ : state) {
    std::memcpy(field.data, model().field.data, field.count * sizeof(float));
    benchmark::DoNotOptimize(field.data);
  }
}
BENCHMARK(CopyField)->Unit(benchmark::kMillisecond)->UseRealTime();

void ReviseMarkers(benchmark::State& state) {
  const mt::markerImage& img = model();
  const zel::markersArray start = offMarkers();
  zel::markersArray markers;
  tamble::polynomialState map;
  for (auto _ : state) {
    markers = start;
    tamble::ReviseMarkers(img.field, img.bkgr, img.ROI, markers, -1,
                          static_cast<double>(state.range(0)), map);
  }
  count(state, markers);
}
BENCHMARK(ReviseMarkers)->Arg(7)->Arg(11)->Unit(benchmark::kMillisecond)->UseRealTime();

void ReviseMarkersCenters(benchmark::State& state) {
  const mt::markerImage& img = model();
  const zel::markersArray start = offMarkers();
  zel::markersArray markers;
  for (auto _ : state) {
    markers = start;
    tamble::ReviseMarkersCenters(img.field, img.bkgr, img.ROI, markers, -1,
                                 static_cast<double>(state.range(0)));
  }
  count(state, markers);
}
BENCHMARK(ReviseMarkersCenters)->Arg(7)->Unit(benchmark::kMillisecond)->UseRealTime();

const std::vector<tamble::bench::ratioPair> ratios = {
    {"AutoMarkQuick/7", "CopyField", "AutoMarkQuick 7 / copy"},
    {"AutoMarkRings/7", "CopyField", "AutoMarkRings 7 / copy"},
    {"MedianSquare/7", "CopyField", "MedianSquare 7 / copy"},
    {"MedianSquare/9", "CopyField", "MedianSquare 9 / copy"}};

}  // namespace

int main(int argc, char** argv) {
  tamble::bench::silentReport silent;  // the searches' notices and progress
  zel::setReport(&silent);
  return tamble::bench::runWithRatios(argc, argv, ratios);
}
