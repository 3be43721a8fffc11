// The 2048 by 2048 image of the filter benchmarks: uniform noise from 0 to
// 1000 (seed 1), nothing blocked; made once per program. And the main of
// the programs that set the filters against OpenCV.
#pragma once

#include <omp.h>

#include <cstdint>
#include <cstdio>
#include <random>
#include <utility>
#include <vector>

#include "api/arrayWorks.h"
#include "bench/ratioReporter.h"

#ifdef TAMBLE_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace tamble::bench {

constexpr int side = 2048;

struct planes {
  zel::arrayStore<float, 2> field{side, side};
  zel::arrayStore<bool, 2> bkgr{side, side}, ROI{side, side};
  planes() {
    std::mt19937 gen(1);
    std::uniform_real_distribution<float> v(0.0f, 1000.0f);
    for (std::uint64_t i = 0; i < field.count; ++i) field.data[i] = v(gen);
    bkgr.fill(false);
    ROI.fill(true);
  }
};

inline const planes& source() {
  static const planes p;
  return p;
}

#ifdef TAMBLE_BENCH_OPENCV
// The same field as OpenCV's matrix, a copy of its own.
inline cv::Mat sourceMat() { return cv::Mat(side, side, CV_32F, source().field.data).clone(); }
#endif

// The main of a benchmark program set against OpenCV: OpenCV gets as many
// threads as the engines, and a build without it says so.
inline int runAgainstOpenCv(int argc, char** argv, std::vector<ratioPair> pairs) {
#ifdef TAMBLE_BENCH_OPENCV
  cv::setNumThreads(omp_get_max_threads());
#else
  std::printf("OpenCV was not found at build time: no comparison\n");
#endif
  return runWithRatios(argc, argv, std::move(pairs));
}

}  // namespace tamble::bench
