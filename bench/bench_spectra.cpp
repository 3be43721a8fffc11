// The two-dimensional FFT on 2048 by 2048 complex floats beside FFTW's
// fftwf_plan_dft_2d (one thread, planned with FFTW_MEASURE before the
// timing), and the spectrum and correlation commands' routines on 2048 by
// 2048 images. Each call starts from the same data; the copy is timed on
// both sides of a pair alike.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>

#include "align/correlation.h"
#include "bench/ratioReporter.h"
#include "filters/fft.h"
#include "filters/spectra.h"

#ifdef TAMBLE_BENCH_FFTW
#include <fftw3.h>
#endif

namespace {

constexpr int side = 2048;

const tamble::ComplexPlane& complexSource() {
  static const tamble::ComplexPlane plane = [] {
    tamble::ComplexPlane p(2 * side * side);
    std::mt19937 gen(1);
    std::uniform_real_distribution<float> value(-100.0f, 100.0f);
    for (std::uint64_t i = 0; i < p.count; ++i) p.data[i] = value(gen);
    return p;
  }();
  return plane;
}

tamble::spectrumField imageSource(unsigned seed) {
  tamble::spectrumField f(side, side);
  std::mt19937 gen(seed);
  std::uniform_real_distribution<float> value(0.0f, 100.0f);
  for (std::uint64_t i = 0; i < f.count; ++i) f.data[i] = value(gen);
  return f;
}

void BM_FFT2D(benchmark::State& state) {
  const tamble::ComplexPlane& source = complexSource();
  tamble::ComplexPlane data(2 * side * side);
  const int dims[2] = {side, side};
  for (auto _ : state) {
    std::memcpy(data.data, source.data, source.count * sizeof(float));
    tamble::FFT2D(data, dims, 2, 1);
    benchmark::DoNotOptimize(data.data);
  }
}
BENCHMARK(BM_FFT2D)->Unit(benchmark::kMillisecond)->UseRealTime();

#ifdef TAMBLE_BENCH_FFTW
void BM_FFTW_dft_2d(benchmark::State& state) {
  const tamble::ComplexPlane& source = complexSource();
  auto* data = static_cast<fftwf_complex*>(fftwf_malloc(sizeof(fftwf_complex) * side * side));
  const fftwf_plan plan = fftwf_plan_dft_2d(side, side, data, data, FFTW_FORWARD, FFTW_MEASURE);
  for (auto _ : state) {
    std::memcpy(data, source.data, source.count * sizeof(float));
    fftwf_execute(plan);
    benchmark::DoNotOptimize(data);
  }
  fftwf_destroy_plan(plan);
  fftwf_free(data);
}
BENCHMARK(BM_FFTW_dft_2d)->Unit(benchmark::kMillisecond)->UseRealTime();
#endif

// "2D Spectrum..." with the mean removed, the window and dB output.
void BM_SpectrumImage(benchmark::State& state) {
  const tamble::spectrumField source = imageSource(2);
  tamble::spectrumField field(side, side);
  for (auto _ : state) {
    field = source;
    tamble::SpectrumImage(field, true, true, true);
    benchmark::DoNotOptimize(field.data);
  }
}
BENCHMARK(BM_SpectrumImage)->Unit(benchmark::kMillisecond)->UseRealTime();

// "2D Polar-Log Spectrum...": the spectrum and its polar-log map.
void BM_PolarLogSpectrum(benchmark::State& state) {
  const tamble::spectrumField source = imageSource(2);
  tamble::spectrumField field(side, side);
  tamble::spectrumMask bkgr(side, side);
  for (auto _ : state) {
    field = source;
    tamble::SpectrumImage(field, true, true, true);
    tamble::PolarLogMap(field, bkgr);
    benchmark::DoNotOptimize(field.data);
  }
}
BENCHMARK(BM_PolarLogSpectrum)->Unit(benchmark::kMillisecond)->UseRealTime();

// "Cross Correlation (Phase Only)..." with phase and smoothing: three
// transforms of 2048 by 2048.
void BM_CrossCorrelationPhase(benchmark::State& state) {
  const tamble::spectrumField first = imageSource(3), second = imageSource(4);
  tamble::spectrumField result(side, side);
  for (auto _ : state) {
    int dx = 0, dy = 0;
    tamble::CrossCorrelation(first, second, result, true, true, false, true, dx, dy);
    benchmark::DoNotOptimize(result.data);
  }
}
BENCHMARK(BM_CrossCorrelationPhase)->Unit(benchmark::kMillisecond)->UseRealTime();

// "Whiten/SoftFocus Transform...": two transforms and the frame around them.
void BM_Whiten(benchmark::State& state) {
  const tamble::spectrumField source = imageSource(5);
  tamble::spectrumField field(side, side);
  tamble::spectrumMask bkgr(side, side), roi(side, side);
  bkgr.fill(false);
  roi.fill(true);
  for (auto _ : state) {
    field = source;
    tamble::Whiten(field, bkgr, roi, 0.5f);
    benchmark::DoNotOptimize(field.data);
  }
}
BENCHMARK(BM_Whiten)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  // The commands' routines against one FFTW transform: how many transforms'
  // time each takes.
  return tamble::bench::runWithRatios(
      argc, argv,
      {{"BM_FFT2D", "BM_FFTW_dft_2d", "FFT2D / FFTW (2048^2 complex)"},
       {"BM_SpectrumImage", "BM_FFTW_dft_2d", "SpectrumImage / one FFTW transform"},
       {"BM_PolarLogSpectrum", "BM_FFTW_dft_2d", "spectrum + polar-log / one FFTW"},
       {"BM_CrossCorrelationPhase", "BM_FFTW_dft_2d", "CrossCorrelation / one FFTW"},
       {"BM_Whiten", "BM_FFTW_dft_2d", "Whiten / one FFTW transform"}});
}
