// The background routine on a 2048 by 2048 frame (a lit disc of paint on a
// tilted, dimmer background with noise) for representative rule pairs,
// beside a plain copy of the same three layers: the work is per pixel, so
// the copy is the floor it is measured against. The foreground routines at
// depth 10 are timed for reference.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "bench/ratioReporter.h"
#include "convert/background.h"
#include "convert/foreground.h"

namespace {

using namespace tamble;

constexpr int side = 2048;

struct planes {
  bgField field{side, side};
  bgMask bkgr{side, side}, ROI{side, side};

  planes() {
    std::mt19937 gen(1);
    std::normal_distribution<float> noise(0.0f, 5.0f);
    for (int y = 0; y < side; ++y)
      for (int x = 0; x < side; ++x) {
        const float dx = static_cast<float>(x - side / 2), dy = static_cast<float>(y - side / 2);
        const bool paint = dx * dx + dy * dy < 700.0f * 700.0f;
        field(x, y) = 200.0f + 0.05f * x + 0.03f * y + (paint ? 3000.0f : 0.0f) + noise(gen);
        bkgr(x, y) = !paint;
      }
    ROI.fill(true);
  }
};

const planes& source() {
  static const planes p;
  return p;
}

// The 32 MB of last-level cache would keep the 24 MB of layers put back
// before a run: they are pushed out, so that every run starts from memory as
// the copy does.
void evictCaches() {
  static std::vector<char> other(std::size_t{96} << 20, 1);
  char sum = 0;
  for (std::size_t i = 0; i < other.size(); i += 64) sum = static_cast<char>(sum + other[i]);
  other[0] = sum;  // reads that allocate in the cache (large stores may bypass it)
  benchmark::DoNotOptimize(other.data());
}

// The layers are put back before each run, outside the timing.
void runRules(benchmark::State& state, int r1, int r2) {
  planes p = source();
  backgroundParams params;
  params.select = params.compensate = 1;
  params.r1 = r1, params.r2 = r2;
  params.threshold = 1000.0f, params.scale = 0.5f, params.relative = 0.2f;
  params.side2 = 16, params.indent4 = 8, params.width4 = 16;
  for (auto _ : state) {
    state.PauseTiming();
    p = source();
    evictCaches();
    state.ResumeTiming();
    selectAndCompensate(p.field, p.bkgr, p.ROI, params);
  }
}

void ThresholdValue(benchmark::State& s) { runRules(s, selectThreshold, compensateValue); }
void AverageBackgroundMean(benchmark::State& s) { runRules(s, selectAverage, compensateBkgrMean); }
void RelativeTwoSide(benchmark::State& s) { runRules(s, selectRelative, compensateTwoSide); }
void ThresholdFourSide(benchmark::State& s) { runRules(s, selectThreshold, compensateFourSide); }
void PlaneValue(benchmark::State& s) { runRules(s, selectPlane, compensateValue); }
void ThresholdBackgroundPlane(benchmark::State& s) {
  runRules(s, selectThreshold, compensateBkgrPlane);
}

// The floor: the three layers copied once.
void CopyLayers(benchmark::State& state) {
  const planes& in = source();
  planes out;
  for (auto _ : state) {
    state.PauseTiming();
    evictCaches();
    state.ResumeTiming();
    std::memcpy(out.field.data, in.field.data, in.field.count * sizeof(float));
    std::memcpy(out.bkgr.data, in.bkgr.data, in.bkgr.count);
    std::memcpy(out.ROI.data, in.ROI.data, in.ROI.count);
    benchmark::DoNotOptimize(out.field.data);
  }
}

void Thinning10(benchmark::State& state) {
  planes p = source();
  for (auto _ : state) {
    state.PauseTiming();
    p.bkgr = source().bkgr;
    state.ResumeTiming();
    ForegroundThinning(p.field, p.bkgr, p.ROI, 10);
  }
}

void Expansion10(benchmark::State& state) {
  planes p = source();
  for (auto _ : state) {
    state.PauseTiming();
    p = source();
    state.ResumeTiming();
    ForegroundExpansion(p.field, p.bkgr, p.ROI, 10, 0, 9);
  }
}

#define TIMED(f) BENCHMARK(f)->Unit(benchmark::kMillisecond)->UseRealTime()
TIMED(CopyLayers);
TIMED(ThresholdValue);
TIMED(AverageBackgroundMean);
TIMED(RelativeTwoSide);
TIMED(ThresholdFourSide);
TIMED(PlaneValue);
TIMED(ThresholdBackgroundPlane);
TIMED(Thinning10);
TIMED(Expansion10);

const std::vector<tamble::bench::ratioPair> ratios = {
    {"ThresholdValue", "CopyLayers", "threshold + value / copy"},
    {"AverageBackgroundMean", "CopyLayers", "average + bkgr mean / copy"},
    {"RelativeTwoSide", "CopyLayers", "relative + two-side / copy"},
    {"ThresholdFourSide", "CopyLayers", "threshold + four-side / copy"},
    {"PlaneValue", "CopyLayers", "plane + value / copy"},
    {"ThresholdBackgroundPlane", "CopyLayers", "threshold + bkgr plane / copy"},
};

}  // namespace

int main(int argc, char** argv) { return tamble::bench::runWithRatios(argc, argv, ratios); }
