// Resection onto a mesh: the marker matching on about 100 markers, and the
// projection, visibility and sampling of a 2048 by 2048 image at about
// 100 000 nodes of a curved surface seen by a pinhole camera. The whole
// resection of a synthetic run is timed by bench/resect_mesh_accuracy.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "api/image.h"
#include "resect/markerMatch.h"
#include "resect/meshSampling.h"

namespace {

using namespace tamble;

// Markers on a jittered grid, and the same turned by 3 degrees, shifted,
// with every seventh missing and reversed.
struct markerPair {
  zel::markersArray standard, image;
};

const markerPair& markers() {
  static const markerPair m = [] {
    markerPair p;
    unsigned s = 7u;
    auto jitter = [&s] {
      s = s * 1103515245u + 12345u;
      return static_cast<double>((s >> 8) % 1000) / 1000.0 * 60.0 - 30.0;
    };
    for (int j = 0; j < 10; ++j)
      for (int i = 0; i < 10; ++i)
        p.standard.add({150.0 + 180.0 * i + jitter(), 150.0 + 180.0 * j + jitter(), 0, 0, true, 0});
    const double a = 3.0 * 3.14159265358979 / 180.0;
    for (int k = p.standard.count() - 1; k >= 0; --k) {
      if (k % 7 == 3) continue;
      const double x = p.standard[k].x - 1024.0, y = p.standard[k].y - 1024.0;
      p.image.add({1024.0 + std::cos(a) * x - std::sin(a) * y + 14.0,
                   1024.0 + std::sin(a) * x + std::cos(a) * y - 9.0, 0, 0, true, 0});
    }
    return p;
  }();
  return m;
}

void MarkerMatching(benchmark::State& state) {
  zel::markersArray result;
  linkStatistics stats;
  for (auto _ : state) {
    findMarkersLink(markers().image, markers().standard, {1, 19, 0, 1}, result, stats);
    benchmark::DoNotOptimize(stats.pairs);
  }
  state.counters["pairs"] = stats.pairs;
}
BENCHMARK(MarkerMatching)->Unit(benchmark::kMillisecond)->UseRealTime();

void MeshSampling(benchmark::State& state) {
  const int W = 2048, H = 2048;
  zel::image img(W, H);
  img.bkgr().fill(false);
  img.ROI().fill(true);
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x) img.field()(x, y) = static_cast<float>(std::sin(x * 0.01) + y);
  zel::field_data<double> mesh;
  zel::meshBlock b;
  b.ni = b.nj = 317;  // 100 489 nodes
  b.nk = 1;
  for (int j = 0; j < b.nj; ++j)
    for (int i = 0; i < b.ni; ++i) {
      const double X = (i - 158) * 2.0, Y = (j - 158) * 2.0;
      b.nodes.push_back({X, Y, 60.0 * std::exp(-(X * X + Y * Y) / (120.0 * 120.0))});
    }
  mesh.blocks.push_back(b);
  cameraProjection p;  // a pinhole 1500 mm above, 3000 pixels of focal length
  p.coefficients.ax = {1024.0 * 1500.0, 3000.0, 0, -1024.0, 1500.0, 0, 0, -1};
  p.coefficients.ay = {1024.0 * 1500.0, 0, 3000.0, -1024.0, 1500.0, 0, 0, -1};
  std::vector<std::vector<double>> values;
  samplingCounts counts;
  for (auto _ : state) {
    counts = sampleMesh(mesh, p, img, values);
    benchmark::DoNotOptimize(values.data());
  }
  state.counters["nodes"] = static_cast<double>(counts.nodes);
  state.counters["seen"] = static_cast<double>(counts.seen);
}
BENCHMARK(MeshSampling)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
