// A console reporter that keeps each benchmark's real time per call (the
// median when repeated) and prints, after the run, the ratio of ours to the
// library's for each pair it was given.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tamble::bench {

struct ratioPair {
  const char* ours;  // benchmark name, without "/real_time"
  const char* theirs;
  const char* label;
};

class ratioReporter : public benchmark::ConsoleReporter {
 public:
  explicit ratioReporter(std::vector<ratioPair> p) : pairs(std::move(p)) {}

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs)
      if (run.run_type == Run::RT_Iteration || run.aggregate_name == "median")
        ms[run.run_name.str()] = run.GetAdjustedRealTime();
    ConsoleReporter::ReportRuns(runs);
  }

  // Pairs with a side that did not run (no OpenCV, a filter) are left out.
  void summary() const {
    for (const ratioPair& p : pairs) {
      const auto a = ms.find(std::string(p.ours) + "/real_time");
      const auto b = ms.find(std::string(p.theirs) + "/real_time");
      if (a != ms.end() && b != ms.end())
        std::printf("ratio %-36s %6.2f  (%.2f ms / %.2f ms)\n", p.label, a->second / b->second,
                    a->second, b->second);
    }
  }

 private:
  std::vector<ratioPair> pairs;
  std::map<std::string, double> ms;
};

// A benchmark program's main: the benchmarks the command line selects, each
// reported as it finishes, then the ratios of the pairs.
inline int runWithRatios(int argc, char** argv, std::vector<ratioPair> pairs) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  ratioReporter reporter(std::move(pairs));
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.summary();
  benchmark::Shutdown();
  return 0;
}

}  // namespace tamble::bench
