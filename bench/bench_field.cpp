// "Field Calculation..." of a double paint on 2048 by 2048 frames (the
// stage as an automatic conversion runs it, every pressure card on, the
// results already in the list), beside a plain copy of its four source
// images: the stage reads and writes several times what the copy does.
#include <benchmark/benchmark.h>

#include <memory>

#include "api/report.h"
#include "bench/fieldRuns.h"
#include "bench/ratioReporter.h"
#include "plugin/fieldCalculationCommand.h"

namespace {

using namespace tamble;

const char* const sources[] = {names::wind_off_sens, names::wind_on_sens, names::wind_off_refe,
                               names::wind_on_refe};

fieldbench::openedRun& opened() {
  static fieldbench::openedRun run({"paint=double", "size=2048", "motion=0"}, false);
  return run;
}

void BM_FieldCalculation(benchmark::State& state) {
  zel::imagesList& list = opened().list;
  FieldCalculation(list, false);  // the results join the list once
  for (auto _ : state) {
    FieldCalculation(list, false);
    benchmark::DoNotOptimize(list.find(names::Cp)->field().data);
  }
}
BENCHMARK(BM_FieldCalculation)->Unit(benchmark::kMillisecond)->UseRealTime();

// What the stage spends on the display limits of its four results (the
// image model's resetLimits): a large part of the whole.
void BM_ResultLimits(benchmark::State& state) {
  zel::imagesList& list = opened().list;
  FieldCalculation(list, false);
  for (auto _ : state)
    for (const char* name : {names::Irefe_Isens, names::Pressure, names::P_Pstat, names::Cp})
      list.find(name)->resetLimits();
}
BENCHMARK(BM_ResultLimits)->Unit(benchmark::kMillisecond)->UseRealTime();

// The four sources copied whole (value plane and both masks) into images
// of their size.
void BM_CopyFourSources(benchmark::State& state) {
  zel::imagesList& list = opened().list;
  std::unique_ptr<zel::image> copies[4];
  for (int i = 0; i < 4; ++i) copies[i] = std::make_unique<zel::image>(*list.find(sources[i]));
  for (auto _ : state) {
    for (int i = 0; i < 4; ++i) *copies[i] = *list.find(sources[i]);
    benchmark::DoNotOptimize(copies[3]->field().data);
  }
}
BENCHMARK(BM_CopyFourSources)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  tamble::bench::ratioReporter reporter(
      {{"BM_FieldCalculation", "BM_CopyFourSources", "field calculation / copy of the four"},
       {"BM_ResultLimits", "BM_CopyFourSources", "display limits / copy of the four"}});
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.summary();
  opened().list.clear();
  return 0;
}
