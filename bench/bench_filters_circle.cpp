// The circle-window filters on 2048 by 2048 images, with OpenCV's medianBlur
// and GaussianBlur beside them when it is installed, and the ratios ours /
// OpenCV at the end of the run. The values are random: no window resembles
// its neighbour, the hardest case of the square median's walk.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "api/arrayWorks.h"
#include "bench/noisePlanes.h"
#include "filters/circleFilters.h"

#ifdef TAMBLE_BENCH_OPENCV
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tamble::bench::planes;
using tamble::bench::side;
using tamble::bench::source;

// The filters work in place; each call filters what the last one left.
void MedianCircle(benchmark::State& state) {
  planes p = source();
  for (auto _ : state) tamble::MedianCircle(p.field, p.bkgr, p.ROI, 1, int(state.range(0)));
}
BENCHMARK(MedianCircle)->Arg(3)->Arg(5)->Unit(benchmark::kMillisecond)->UseRealTime();

// From 7 on the square median walks from each window's middle to the next;
// each call filters the same random field.
void MedianSquare(benchmark::State& state) {
  planes p = source();
  for (auto _ : state) {
    state.PauseTiming();
    std::memcpy(p.field.data, source().field.data, p.field.count * sizeof(float));
    state.ResumeTiming();
    tamble::MedianSquare(p.field, p.bkgr, p.ROI, 1, int(state.range(0)));
  }
}
BENCHMARK(MedianSquare)->Arg(7)->Arg(9)->Unit(benchmark::kMillisecond)->UseRealTime();

// Diameter d is passed as d + 0.001, as "Gauss Filter Fast..." does: 7 taps
// for 3, 9 taps for 9, each with a weight sum for the samples present.
void GaussSeparable(benchmark::State& state) {
  planes p = source();
  const float d = static_cast<float>(state.range(0)) + 0.001f;
  for (auto _ : state) tamble::GaussSeparable(p.field, p.bkgr, p.ROI, 1, d);
}
BENCHMARK(GaussSeparable)->Arg(3)->Arg(9)->Unit(benchmark::kMillisecond)->UseRealTime();

// As "3D Filter..." runs it for a typed diameter of 5: a circle of 37 cells.
void Filter3D(benchmark::State& state) {
  planes p = source();
  for (auto _ : state) tamble::Filter3D(p.field, p.bkgr, p.ROI, 1, 5.001f, 100.0f, true);
  state.SetLabel("no OpenCV counterpart");
}
BENCHMARK(Filter3D)->Unit(benchmark::kMillisecond)->UseRealTime();

#ifdef TAMBLE_BENCH_OPENCV
using tamble::bench::sourceMat;

void CvMedianBlur(benchmark::State& state) {
  const cv::Mat in = sourceMat();
  cv::Mat out;
  for (auto _ : state) cv::medianBlur(in, out, int(state.range(0)));
}
BENCHMARK(CvMedianBlur)->Arg(3)->Arg(5)->Unit(benchmark::kMillisecond)->UseRealTime();

// medianBlur takes windows above 5 for bytes only: the field as bytes.
void CvMedianBlurBytes(benchmark::State& state) {
  cv::Mat in, out;
  sourceMat().convertTo(in, CV_8U, 255.0 / 1000.0);
  for (auto _ : state) cv::medianBlur(in, out, int(state.range(0)));
}
BENCHMARK(CvMedianBlurBytes)->Arg(7)->Arg(9)->Unit(benchmark::kMillisecond)->UseRealTime();

void CvGaussianBlur(benchmark::State& state) {
  const cv::Mat in = sourceMat();
  cv::Mat out;
  const int k = int(state.range(0));
  for (auto _ : state) cv::GaussianBlur(in, out, cv::Size(k, k), 0);
}
BENCHMARK(CvGaussianBlur)->Arg(3)->Arg(9)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

const std::vector<tamble::bench::ratioPair> ratios = {
    {"MedianCircle/3", "CvMedianBlur/3", "MedianCircle 3 / medianBlur 3"},
    {"MedianCircle/5", "CvMedianBlur/5", "MedianCircle 5 / medianBlur 5"},
    {"MedianSquare/7", "CvMedianBlurBytes/7", "MedianSquare 7 / medianBlur 7 bytes"},
    {"MedianSquare/9", "CvMedianBlurBytes/9", "MedianSquare 9 / medianBlur 9 bytes"},
    {"GaussSeparable/3", "CvGaussianBlur/3", "GaussSeparable 3 / GaussianBlur 3x3"},
    {"GaussSeparable/9", "CvGaussianBlur/9", "GaussSeparable 9 / GaussianBlur 9x9"}};

}  // namespace

int main(int argc, char** argv) { return tamble::bench::runAgainstOpenCv(argc, argv, ratios); }
