// Marker linking on a model of about 100 markers, turned by 4 degrees,
// shifted and mildly bent, with 10 markers missing and 10 spots of their own
// on each image: the triangle search without and with one fixed marker, and
// the rigid scan. Then whole alignments of a synthetic run.
#include <benchmark/benchmark.h>

#include <string>

#include "align/linkMarkers.h"
#include "api/report.h"
#include "bench/alignScenes.h"
#include "bench/linkScene.h"
#include "bench/silentReport.h"

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

// Alignment of the wind-on frame of a 2048 by 2048 synthetic run with about
// 100 markers onto its wind-off frame: linking, fit and warp, for each
// polynomial order, the blended (macro) warp and triangles.

namespace {

const tamble::alignbench::scene& runScene() {
  return tamble::alignbench::sceneOf("size=2048 markers=110 noise=0");
}

void ImageAlign(benchmark::State& state) {
  tamble::bench::silentReport quiet;
  zel::setReport(&quiet);
  const tamble::alignbench::scene& s = runScene();
  tamble::alignSettings settings;
  settings.order = static_cast<int>(state.range(0));
  settings.macro = state.range(1) != 0;
  tamble::polynomialState map;
  for (auto _ : state) {
    state.PauseTiming();
    zel::image moving = s.windOn;
    state.ResumeTiming();
    benchmark::DoNotOptimize(tamble::ImageAlign(moving, s.windOff, settings, map).warped);
  }
  state.counters["markers"] = s.windOn.markers.count();
  zel::setReport(nullptr);
}
BENCHMARK(ImageAlign)
    ->ArgsProduct({{3, 6, 10}, {0}})
    ->Args({10, 1})
    ->ArgNames({"order", "macro"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void TriAlign(benchmark::State& state) {
  tamble::bench::silentReport quiet;
  zel::setReport(&quiet);
  const tamble::alignbench::scene& s = runScene();
  tamble::polynomialState map;
  for (auto _ : state) {
    state.PauseTiming();
    zel::image moving = s.windOn;
    state.ResumeTiming();
    benchmark::DoNotOptimize(tamble::TriAlign(moving, s.windOff, {}, map).warped);
  }
  state.counters["markers"] = s.windOn.markers.count();
  zel::setReport(nullptr);
}
BENCHMARK(TriAlign)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
