// The circle-window filters on 2048 by 2048 images, with OpenCV's medianBlur
// and GaussianBlur beside them when it is installed.
#include <benchmark/benchmark.h>

#include <random>

#include "api/arrayWorks.h"
#include "filters/circleFilters.h"

#ifdef TAMBLE_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

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

const planes& source() {
  static const planes p;
  return p;
}

void MedianCircle(benchmark::State& state) {
  planes p = source();
  for (auto _ : state) tamble::MedianCircle(p.field, p.bkgr, p.ROI, 1, int(state.range(0)));
}
BENCHMARK(MedianCircle)->Arg(3)->Arg(5)->Unit(benchmark::kMillisecond)->UseRealTime();

void GaussSeparable(benchmark::State& state) {
  planes p = source();
  const float d = static_cast<float>(state.range(0)) + 0.001f;
  for (auto _ : state) tamble::GaussSeparable(p.field, p.bkgr, p.ROI, 1, d);
}
BENCHMARK(GaussSeparable)->Arg(3)->Arg(9)->Unit(benchmark::kMillisecond)->UseRealTime();

void Filter3D(benchmark::State& state) {
  planes p = source();
  for (auto _ : state) tamble::Filter3D(p.field, p.bkgr, p.ROI, 1, 5.001f, 100.0f, true);
}
BENCHMARK(Filter3D)->Unit(benchmark::kMillisecond)->UseRealTime();

#ifdef TAMBLE_BENCH_OPENCV
cv::Mat sourceMat() { return cv::Mat(side, side, CV_32F, source().field.data).clone(); }

void CvMedianBlur(benchmark::State& state) {
  const cv::Mat in = sourceMat();
  cv::Mat out;
  for (auto _ : state) cv::medianBlur(in, out, int(state.range(0)));
}
BENCHMARK(CvMedianBlur)->Arg(3)->Arg(5)->Unit(benchmark::kMillisecond)->UseRealTime();

void CvGaussianBlur(benchmark::State& state) {
  const cv::Mat in = sourceMat();
  cv::Mat out;
  const int k = int(state.range(0));
  for (auto _ : state) cv::GaussianBlur(in, out, cv::Size(k, k), 0);
}
BENCHMARK(CvGaussianBlur)->Arg(3)->Arg(9)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

}  // namespace

BENCHMARK_MAIN();
