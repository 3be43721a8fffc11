// Marker linking on a model of about 100 markers, turned by 4 degrees,
// shifted and mildly bent, with 10 markers missing and 10 spots of their own
// on each image: the triangle search without and with one fixed marker, and
// the rigid scan.
#include <benchmark/benchmark.h>

#include "align/linkMarkers.h"
#include "bench/linkScene.h"

namespace {

namespace ls = tamble::linkScenes;

const ls::linkScene& scene() {
  static const ls::linkScene s = ls::makeLinkScene({0.0698, 10.0, -6.0, 2e-5}, 10, 10, 7);
  return s;
}

template <class Routine>
void link(benchmark::State& state, Routine routine) {
  const ls::linkScene& s = scene();
  tamble::polynomialState map;
  tamble::linkResult r;
  const int fixed = static_cast<int>(state.range(0));
  for (auto _ : state) {
    r = routine(s.first, s.second, 9, fixed, map);
    benchmark::DoNotOptimize(r.count);
  }
  state.counters["markers"] = s.first.size();
  state.counters["pairs"] = r.count;
}

void LinkMarkers(benchmark::State& state) { link(state, tamble::LinkMarkers); }
BENCHMARK(LinkMarkers)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void MoveRotateMarkers(benchmark::State& state) { link(state, tamble::MoveRotateMarkers); }
BENCHMARK(MoveRotateMarkers)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
