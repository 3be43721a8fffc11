// The warp engines on a camera-sized image under a small turn, scale and
// shift; where OpenCV is at hand, its warpAffine on the same image and
// transform, and the ratios ours / OpenCV at the end.
#include <benchmark/benchmark.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>

#include "bench/ratioReporter.h"
#include "geometry/polynomialMap.h"
#include "geometry/warp.h"

#ifdef TAMBLE_BENCH_OPENCV
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int side = 2048;

// A painted model as the camera sees it: a lit ellipse of paint with a smooth
// pressure pattern and dark marker dots on a 64 pixel grid, a dim background
// (masked), sensor noise.
struct scene {
  zel::arrayStore<float, 2> field{side, side};
  zel::arrayStore<bool, 2> bkgr{side, side}, roi{side, side};
  zel::markersArray markers;

  scene() {
    std::mt19937 gen(1);
    std::normal_distribution<float> noise(0.0f, 15.0f);
    const double c = side / 2.0;
    for (int y = 0; y < side; ++y)
      for (int x = 0; x < side; ++x) {
        const double u = (x - c) / (0.45 * side), v = (y - c) / (0.3 * side);
        const bool paint = u * u + v * v < 1;
        const double mx = x - (std::round((x - 32) / 64.0) * 64 + 32);
        const double my = y - (std::round((y - 32) / 64.0) * 64 + 32);
        const double dot = 1 - 0.7 * std::exp(-(mx * mx + my * my) / 18.0);
        const double light = 1 - 0.25 * (u * u + v * v) + 0.1 * std::sin(6 * u) * std::cos(4 * v);
        field(x, y) = static_cast<float>(paint ? 3000 * light * dot : 200 + 0.05 * x) + noise(gen);
        bkgr(x, y) = !paint;
        roi(x, y) = true;
      }
    for (int y = 32; y < side; y += 64)
      for (int x = 32; x < side; x += 64) markers.add({x + 0.0, y + 0.0, 0.0, 0.0, true, 0});
  }
};

const scene& source() {
  static const scene s;
  return s;
}

// Output to source: a turn of 1.5 degrees and a scale of 1.02 about the
// centre, then a shift of (3.7, -2.3).
struct affine {
  double x0, x1, x2, y0, y1, y2;
};
affine transform() {
  const double a = 1.5 * 3.14159265358979 / 180, k = std::cos(a) * 1.02, s = std::sin(a) * 1.02;
  const double c = side / 2.0;
  return {c - k * c + s * c + 3.7, k, -s, c - s * c - k * c - 2.3, s, k};
}

// kind -1 is WarpBilinearMS. The image is restored between calls, untimed.
void BM_Warp(benchmark::State& state, int kind) {
  const scene& src = source();
  scene work = src;
  const affine m = transform();
  tamble::polynomialState map;
  for (auto _ : state) {
    state.PauseTiming();
    work.field = src.field;
    work.bkgr = src.bkgr;
    work.roi = src.roi;
    work.markers = src.markers;
    tamble::setAffineMap(map, m.x0, m.x1, m.x2, m.y0, m.y1, m.y2);
    state.ResumeTiming();
    if (kind < 0)
      tamble::WarpBilinearMS(work.field, work.bkgr, work.roi, work.markers, false, map);
    else
      tamble::WarpInterp(work.field, work.bkgr, work.roi, work.markers, false, kind, map);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * side * side);
}

#ifdef TAMBLE_BENCH_OPENCV
// warpAffine's matrix maps output to source under WARP_INVERSE_MAP, as ours.
void BM_OpenCV(benchmark::State& state, int interpolation) {
  const scene& src = source();
  const cv::Mat in(side, side, CV_32F, const_cast<float*>(src.field.data));
  cv::Mat out(side, side, CV_32F);
  const affine m = transform();
  const cv::Mat M = (cv::Mat_<double>(2, 3) << m.x1, m.x2, m.x0, m.y1, m.y2, m.y0);
  for (auto _ : state) {
    cv::warpAffine(in, out, M, out.size(), interpolation | cv::WARP_INVERSE_MAP,
                   cv::BORDER_CONSTANT, 0);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * side * side);
}

// Evidence that both sides compute the same transform: the largest difference
// between kind 1 and INTER_LINEAR away from the edges (OpenCV rounds the
// fractions to 1/32 pixel, so some difference remains at steep edges).
void agreement() {
  const scene& src = source();
  scene ours = src;
  const affine m = transform();
  tamble::polynomialState map;
  tamble::setAffineMap(map, m.x0, m.x1, m.x2, m.y0, m.y1, m.y2);
  tamble::WarpInterp(ours.field, ours.bkgr, ours.roi, ours.markers, false, 1, map);
  const cv::Mat in(side, side, CV_32F, const_cast<float*>(src.field.data));
  cv::Mat out(side, side, CV_32F);
  const cv::Mat M = (cv::Mat_<double>(2, 3) << m.x1, m.x2, m.x0, m.y1, m.y2, m.y0);
  cv::warpAffine(in, out, M, out.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP);
  double worst = 0, sum = 0;
  int n = 0;
  for (int y = 100; y < side - 100; ++y)
    for (int x = 100; x < side - 100; ++x, ++n) {
      const double d = std::abs(ours.field(x, y) - out.at<float>(y, x));
      worst = std::max(worst, d);
      sum += d;
    }
  std::printf("kind 1 against INTER_LINEAR: largest difference %.2f, mean %.4f (values to 3000)\n",
              worst, sum / n);
}
#endif

const std::vector<tamble::bench::ratioPair> ratios = {
    {"BM_Warp/nearest", "BM_OpenCV/nearest", "kind 0 / INTER_NEAREST"},
    {"BM_Warp/bilinear", "BM_OpenCV/bilinear", "kind 1 / INTER_LINEAR"},
    {"BM_Warp/bicubic", "BM_OpenCV/bicubic", "kind 2 / INTER_CUBIC"},
    {"BM_Warp/bilinearMS", "BM_OpenCV/bilinear", "MS / INTER_LINEAR"}};

}  // namespace

BENCHMARK_CAPTURE(BM_Warp, nearest, 0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Warp, bilinear, 1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Warp, bicubic, 2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(BM_Warp, bilinearMS, -1)->Unit(benchmark::kMillisecond)->UseRealTime();
#ifdef TAMBLE_BENCH_OPENCV
BENCHMARK_CAPTURE(BM_OpenCV, nearest, cv::INTER_NEAREST)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_OpenCV, bilinear, cv::INTER_LINEAR)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_OpenCV, bicubic, cv::INTER_CUBIC)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
#endif

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
#ifdef TAMBLE_BENCH_OPENCV
  cv::setNumThreads(omp_get_max_threads());  // both sides with as many threads
  std::printf("threads: %d for the engines and for OpenCV\n", cv::getNumThreads());
#endif
  tamble::bench::ratioReporter reporter(ratios);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.summary();
#ifdef TAMBLE_BENCH_OPENCV
  agreement();
#else
  std::printf("OpenCV was not found at build time: no comparison\n");
#endif
  benchmark::Shutdown();
  return 0;
}
