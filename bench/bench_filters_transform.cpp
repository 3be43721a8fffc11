// The transform filter sets and the summary on 2048 by 2048 images, with
// OpenCV's counterparts beside them when it is installed, and the ratios
// ours / OpenCV at the end of the run: disc morphology against erode and
// dilate with an elliptic element, the 3 by 3 filter set against filter2D,
// the unsharp mask against GaussianBlur plus addWeighted, and "Summary..."
// in its three modes against meanStdDev plus minMaxLoc (with a mask, as the
// summary takes its active pixels under one).
#include <benchmark/benchmark.h>

#include <vector>

#include "api/arrayWorks.h"
#include "bench/noisePlanes.h"
#include "filters/enhancement.h"
#include "filters/morphology.h"
#include "filters/summary.h"

#ifdef TAMBLE_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using tamble::bench::planes;
using tamble::bench::side;
using tamble::bench::source;

// Kind 1 dilation, 2 erosion; diameters 5 and 15. In place: each call
// works on what the last one left.
void Morphology(benchmark::State& state) {
  planes p = source();
  const int kind = int(state.range(0));
  const float diameter = float(state.range(1));
  for (auto _ : state) tamble::MorphFilter(p.field, p.bkgr, p.ROI, diameter, kind);
}
BENCHMARK(Morphology)
    ->Args({1, 5})
    ->Args({2, 5})
    ->Args({1, 15})
    ->Args({2, 15})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// "Smoothing", one iteration, in place: each call smooths what the last
// one left (its frame of zeros included).
void Filters3x3(benchmark::State& state) {
  planes p = source();
  for (auto _ : state) tamble::S3X3ITER(p.field, p.bkgr, p.ROI, 1, 1);
}
BENCHMARK(Filters3x3)->Unit(benchmark::kMillisecond)->UseRealTime();

void UnSharp(benchmark::State& state) {
  planes p = source();
  for (auto _ : state) tamble::UnSharpMask(p.field, p.bkgr, p.ROI, 5, 2.0f, 1.0f, false, 0, 0, 1);
}
BENCHMARK(UnSharp)->Unit(benchmark::kMillisecond)->UseRealTime();

void Summary(benchmark::State& state) {
  const planes& p = source();
  for (auto _ : state) {
    tamble::summaryRecord r;
    r.mode = int(state.range(0));
    tamble::ImageSummary(p.field, p.bkgr, p.ROI, r);
    benchmark::DoNotOptimize(r.active.mean);
  }
}
BENCHMARK(Summary)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

#ifdef TAMBLE_BENCH_OPENCV
using tamble::bench::sourceMat;

void CvMorphology(benchmark::State& state) {
  cv::Mat in = sourceMat(), out;
  const int k = int(state.range(1));
  const cv::Mat element = cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(k, k));
  for (auto _ : state) {
    if (state.range(0) == 1)
      cv::dilate(in, out, element);
    else
      cv::erode(in, out, element);
    cv::swap(in, out);
  }
}
BENCHMARK(CvMorphology)
    ->Args({1, 5})
    ->Args({2, 5})
    ->Args({1, 15})
    ->Args({2, 15})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void CvFilter2D(benchmark::State& state) {
  const cv::Mat in = sourceMat();
  cv::Mat out;
  const cv::Mat kernel = (cv::Mat_<float>(3, 3) << 1, 2, 1, 2, 4, 2, 1, 2, 1) / 16.0f;
  for (auto _ : state) cv::filter2D(in, out, -1, kernel);
}
BENCHMARK(CvFilter2D)->Unit(benchmark::kMillisecond)->UseRealTime();

void CvUnSharp(benchmark::State& state) {
  const cv::Mat in = sourceMat();
  cv::Mat blurred, out;
  for (auto _ : state) {
    cv::GaussianBlur(in, blurred, cv::Size(5, 5), 0);
    cv::addWeighted(in, 2.0, blurred, -1.0, 0, out);
  }
}
BENCHMARK(CvUnSharp)->Unit(benchmark::kMillisecond)->UseRealTime();

void CvStatistics(benchmark::State& state) {
  const cv::Mat in = sourceMat();
  const cv::Mat mask(side, side, CV_8U, cv::Scalar(255));
  for (auto _ : state) {
    cv::Scalar mean, deviation;
    double lo = 0, hi = 0;
    cv::Point at, to;
    cv::meanStdDev(in, mean, deviation, mask);
    cv::minMaxLoc(in, &lo, &hi, &at, &to, mask);
    benchmark::DoNotOptimize(mean);
  }
}
BENCHMARK(CvStatistics)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

const std::vector<tamble::bench::ratioPair> ratios = {
    {"Morphology/1/5", "CvMorphology/1/5", "dilation 5 / dilate ellipse 5"},
    {"Morphology/2/5", "CvMorphology/2/5", "erosion 5 / erode ellipse 5"},
    {"Morphology/1/15", "CvMorphology/1/15", "dilation 15 / dilate ellipse 15"},
    {"Morphology/2/15", "CvMorphology/2/15", "erosion 15 / erode ellipse 15"},
    {"Filters3x3", "CvFilter2D", "3x3 smoothing / filter2D 3x3"},
    {"UnSharp", "CvUnSharp", "unsharp 5 / GaussianBlur + addWeighted"},
    {"Summary/0", "CvStatistics", "summary easy / meanStdDev + minMaxLoc"},
    {"Summary/2", "CvStatistics", "summary w/o trend / meanStdDev + minMaxLoc"},
    {"Summary/1", "CvStatistics", "summary advanced / meanStdDev + minMaxLoc"}};

}  // namespace

int main(int argc, char** argv) { return tamble::bench::runAgainstOpenCv(argc, argv, ratios); }
