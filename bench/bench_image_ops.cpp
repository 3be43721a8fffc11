// Per-pixel operators of the image model on camera-sized images.
#include <benchmark/benchmark.h>

#include <random>

#include "api/imagesList.h"

namespace {

constexpr int side = 2048;

zel::image noisy(unsigned seed) {
  zel::image img(side, side);
  std::mt19937 gen(seed);
  std::uniform_real_distribution<float> value(100.0f, 4000.0f);
  std::bernoulli_distribution rare(0.02);
  for (std::uint64_t i = 0; i < img.field().count; ++i) {
    img.field()[i] = value(gen);
    img.bkgr()[i] = rare(gen);
  }
  return img;
}

void setPixels(benchmark::State& state) {
  state.SetItemsProcessed(state.iterations() * side * side);
}

template <class Op>
void binary(benchmark::State& state, Op op) {
  zel::image l = noisy(1), r = noisy(2);
  const zel::image original(l);
  for (auto _ : state) {
    op(l, r);
    benchmark::ClobberMemory();
    state.PauseTiming();
    l.field() = original.field();
    l.bkgr() = original.bkgr();
    state.ResumeTiming();
  }
  setPixels(state);
}

void BM_ImageAdd(benchmark::State& s) {
  binary(s, [](auto& l, auto& r) { l += r; });
}
void BM_ImageDivide(benchmark::State& s) {
  binary(s, [](auto& l, auto& r) { l /= r; });
}
void BM_ImageAddScalar(benchmark::State& s) {
  binary(s, [](auto& l, auto&) { l += 3.0f; });
}
void BM_ImageMarkBelow(benchmark::State& s) {
  binary(s, [](auto& l, auto&) { l.markBelow(500.0f); });
}

void BM_ResetLimits(benchmark::State& state) {
  zel::image img = noisy(3);
  for (auto _ : state) {
    img.resetLimits();
    benchmark::DoNotOptimize(img.limits());
  }
  setPixels(state);
}

// The price of the one-step undo: a deep copy of a list of four images.
void BM_SnapshotOfFour(benchmark::State& state) {
  zel::imagesList list;
  for (unsigned i = 0; i < 4; ++i) list.addImage(new zel::image(noisy(i)));
  for (auto _ : state) {
    list.snapshot();
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * 4 * side * side);
}

}  // namespace

BENCHMARK(BM_ImageAdd)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ImageDivide)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ImageAddScalar)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ImageMarkBelow)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ResetLimits)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_SnapshotOfFour)->Unit(benchmark::kMillisecond)->UseRealTime();
