// Optical distortion correction of a 2048 by 2048 frame with the lens of the
// synthetic camera (`tamble synth`: the far corner moved by 2 pixels, and by
// 20 for a strong lens), on one thread and on all; and the Delaunay mesh of
// about 100 markers.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "align/triangulation.h"
#include "align/undistort.h"
#include "apps/synth/model.h"

namespace {

constexpr int side = 2048;

// The synthetic camera's lens for a move of the far corner by `shift`.
tamble::synth::lensDistortion synthLens(double shift) {
  const tamble::synth::pinholeCamera camera(side, side);
  double corner = 0.0;
  for (double x : {0.0, side - 1.0})
    for (double y : {0.0, side - 1.0})
      corner = std::max(corner, std::hypot(x - camera.centre.x, y - camera.centre.y));
  return tamble::synth::lensDistortion::forShift(camera.centre, corner, shift);
}

struct frame {
  zel::arrayStore<float, 2> field{side, side};
  zel::arrayStore<bool, 2> bkgr{side, side}, roi{side, side};
  zel::markersArray markers;

  frame() {
    std::mt19937 gen(1);
    std::uniform_real_distribution<float> v(0.0f, 4000.0f);
    for (std::uint64_t i = 0; i < field.count; ++i) field.data[i] = v(gen);
    bkgr.fill(false);
    roi.fill(true);
    for (int i = 0; i < 100; ++i)
      markers.add({100.0 + 200.0 * (i % 10), 100.0 + 200.0 * (i / 10), 0, 0, true, 0});
  }
};

const frame& source() {
  static const frame f;
  return f;
}

// Arguments: the corner's move in pixels, the threads (0: all).
void BM_UndistortImage(benchmark::State& state) {
  const auto lens = synthLens(static_cast<double>(state.range(0)));
  const int saved = omp_get_max_threads();
  if (state.range(1) > 0) omp_set_num_threads(static_cast<int>(state.range(1)));
  frame f = source();
  for (auto _ : state) {
    state.PauseTiming();
    f.field = source().field;
    f.bkgr = source().bkgr;
    f.roi = source().roi;
    state.ResumeTiming();
    tamble::UndistortImage(f.field, f.bkgr, f.roi, f.markers, lens.centre.x, lens.centre.y, lens.a2,
                           lens.a4);
  }
  omp_set_num_threads(saved);
  state.counters["threads"] = state.range(1) > 0 ? state.range(1) : saved;
}
BENCHMARK(BM_UndistortImage)
    ->Args({2, 1})
    ->Args({2, 0})
    ->Args({20, 1})
    ->Args({20, 0})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// About 100 markers on a jittered 10 by 10 grid; and the same on an exact
// grid, where every cell's corners share a circle.
void BM_TriAngleSearch(benchmark::State& state) {
  std::mt19937 gen(2);
  std::uniform_real_distribution<double> jitter(-40.0, 40.0);
  const double amount = state.range(0) ? 1.0 : 0.0;
  std::vector<xyVec<double>> points;
  for (int i = 0; i < 100; ++i)
    points.emplace_back(100.0 + 200.0 * (i % 10) + amount * jitter(gen),
                        100.0 + 200.0 * (i / 10) + amount * jitter(gen));
  std::vector<tamble::triangle> mesh;
  for (auto _ : state) {
    tamble::TriAngleSearch(points, 1e-3, mesh);
    benchmark::DoNotOptimize(mesh.data());
  }
  state.counters["triangles"] = static_cast<double>(mesh.size());
}
BENCHMARK(BM_TriAngleSearch)->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
