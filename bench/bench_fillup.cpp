// Fill-up on 2048 by 2048 images: scattered single pixels (the defects of a
// flat frame), 100 marker holes of diameter 9, a large region (background
// filled by "Fill Up BackGround"), and the removal of 100 markers.
#include <benchmark/benchmark.h>

#include <random>

#include "api/arrayWorks.h"
#include "api/markers.h"
#include "bench/noisePlanes.h"
#include "markers/fillUp.h"

namespace {

using tamble::bench::side;

// The benchmarks' noise image with 100 markers on a 10 by 10 grid, jittered.
struct planes : tamble::bench::planes {
  zel::markersArray markers;

  planes() : tamble::bench::planes(tamble::bench::source()) {
    std::mt19937 gen(2);
    std::uniform_real_distribution<double> jitter(-40.0, 40.0);
    for (int i = 0; i < 100; ++i)
      markers.add({100.0 + 200.0 * (i % 10) + jitter(gen), 100.0 + 200.0 * (i / 10) + jitter(gen),
                   0, 0, true, 0});
  }
};

const planes& source() {
  static const planes p;
  return p;
}

// About 1% of the pixels, scattered.
void FillUpScattered(benchmark::State& state) {
  planes p = source();
  std::mt19937 gen(2);
  std::uniform_real_distribution<double> odds(0.0, 1.0);
  for (std::uint64_t i = 0; i < p.ROI.count; ++i) p.ROI.data[i] = odds(gen) >= 0.01;
  const auto field = p.field;
  for (auto _ : state) {
    state.PauseTiming();
    p.field = field;
    state.ResumeTiming();
    tamble::FillUp(p.field, p.bkgr, p.ROI, false, 0, 1.0f);
  }
}
BENCHMARK(FillUpScattered)->Unit(benchmark::kMillisecond)->UseRealTime();

// The disks of diameter 9 about the 100 markers.
void FillUpMarkerHoles(benchmark::State& state) {
  planes p = source();
  for (const marker& m : p.markers.items) {
    const int cx = static_cast<int>(m.x + 0.5), cy = static_cast<int>(m.y + 0.5);
    for (int y = cy - 4; y <= cy + 4; ++y)
      for (int x = cx - 4; x <= cx + 4; ++x)
        if ((x - cx) * (x - cx) + (y - cy) * (y - cy) <= 20) p.ROI(x, y) = false;
  }
  const auto field = p.field;
  for (auto _ : state) {
    state.PauseTiming();
    p.field = field;
    state.ResumeTiming();
    tamble::FillUp(p.field, p.bkgr, p.ROI, false, 0, 1.0f);
  }
}
BENCHMARK(FillUpMarkerHoles)->Unit(benchmark::kMillisecond)->UseRealTime();

// A region of a third of the image: a disk of radius 660 in the middle.
void FillUpLargeRegion(benchmark::State& state) {
  planes p = source();
  for (int y = 0; y < side; ++y)
    for (int x = 0; x < side; ++x) {
      const int dx = x - side / 2, dy = y - side / 2;
      p.ROI(x, y) = dx * dx + dy * dy > 660 * 660;
    }
  const auto field = p.field;
  for (auto _ : state) {
    state.PauseTiming();
    p.field = field;
    state.ResumeTiming();
    tamble::FillUp(p.field, p.bkgr, p.ROI, false, 0, 1.0f);
  }
}
BENCHMARK(FillUpLargeRegion)->Unit(benchmark::kMillisecond)->UseRealTime();

void FillUpMarkers(benchmark::State& state) {
  planes p = source();
  const auto field = p.field;
  for (auto _ : state) {
    state.PauseTiming();
    p.field = field;
    state.ResumeTiming();
    tamble::FillUpMarkers(p.field, p.bkgr, p.ROI, p.markers, 9);
  }
}
BENCHMARK(FillUpMarkers)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
