// The accuracy tables of the correlation commands on `tamble synth` runs of
// 1024 by 1024 (a plain program, run by hand: build/<dir>/bench/spectra_accuracy):
// - "Shift Only Image Alignment...": the wind-off frame moved by the
//   project's damped bicubic warp by known shifts of up to 40 pixels, with
//   and without independent noise on the two frames;
// - "Mellin Image Alignment...": the frame turned and scaled about its
//   centre by the same warp;
// - "Auto Mark by Reference...": the true wind-off markers carried to the
//   wind-on frame of the same run, against the true wind-on centres;
// - the spectrum of pure cosines of integer frequency.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "align/correlation.h"
#include "api/report.h"
#include "apps/synth/scene.h"
#include "bench/alignScenes.h"
#include "bench/silentReport.h"
#include "filters/spectra.h"
#include "geometry/transforms.h"
#include "markers/referenceSearch.h"
#include "markers/revise.h"

namespace {

using namespace tamble;

zel::image frameOf(const synth::syntheticRun& run, const char* name) {
  zel::image img(run.options.width, run.options.height);
  img.field() = run.find(name)->values;
  return img;
}

zel::image moved(const zel::image& src, double scale, double alpha, double sx, double sy) {
  zel::image img = src;
  polynomialState map;
  ScaleRotateShift(img.field(), img.bkgr(), img.ROI(), img.markers, scale, scale, alpha, sx, sy, 2,
                   map);
  return img;
}

// Independent Gaussian noise of `sigma` on every pixel.
void addNoise(zel::image& img, float sigma, unsigned seed) {
  std::mt19937 gen(seed);
  std::normal_distribution<float> n(0.0f, sigma);
  for (std::uint64_t i = 0; i < img.field().count; ++i) img.field().data[i] += n(gen);
}

float meanOf(const zel::image& img) {
  double s = 0;
  for (std::uint64_t i = 0; i < img.field().count; ++i) s += img.field().data[i];
  return static_cast<float>(s / img.field().count);
}

void shiftTable(const zel::image& off) {
  std::mt19937 gen(17);
  std::uniform_real_distribution<double> u(-40.0, 40.0);
  std::vector<std::pair<double, double>> shifts;
  for (int i = 0; i < 20; ++i) shifts.push_back({u(gen), u(gen)});
  std::printf("\n### Shift Only Image Alignment (20 shifts within 40 px, 1024x1024)\n\n");
  std::printf("| noise on each frame | mean error | worst error | mean |dx| | mean |dy| |\n");
  std::printf("|---|---|---|---|---|\n");
  const float level = meanOf(off);
  for (const float share : {0.0f, 0.01f, 0.05f}) {
    double sum = 0, worst = 0, sumX = 0, sumY = 0;
    for (std::size_t i = 0; i < shifts.size(); ++i) {
      zel::image first = moved(off, 1.0, 0.0, shifts[i].first, shifts[i].second);
      zel::image second = off;
      if (share > 0) {
        addNoise(first, share * level, 100 + static_cast<unsigned>(i));
        addNoise(second, share * level, 200 + static_cast<unsigned>(i));
      }
      polynomialState map;
      const shiftFound f = ShiftOnlyAlign(first, second, map);
      const double ex = f.sx + shifts[i].first, ey = f.sy + shifts[i].second;
      const double e = std::hypot(ex, ey);
      sum += e;
      sumX += std::fabs(ex);
      sumY += std::fabs(ey);
      worst = std::max(worst, e);
    }
    const double n = static_cast<double>(shifts.size());
    std::printf("| %s | %.3f px | %.3f px | %.3f px | %.3f px |\n",
                share > 0 ? (std::to_string(static_cast<int>(share * 100)) + " % of the mean").c_str()
                          : "none",
                sum / n, worst, sumX / n, sumY / n);
  }
}

void mellinTable(const zel::image& off) {
  struct turn {
    double alpha, scale;
  };
  const turn turns[] = {{0, 1},     {2, 1},      {-5, 1},     {10, 1},     {-10, 1},
                        {0, 0.9},   {0, 1.1},    {4, 0.95},   {-8, 1.05},  {7, 1.08},
                        {-3, 0.92}, {9.5, 1.03}, {-6.5, 0.97}};
  std::printf("\n### Mellin Image Alignment (1024x1024)\n\n");
  std::printf("| true turn | found turn | error | true scale | found scale | error |\n");
  std::printf("|---|---|---|---|---|---|\n");
  for (const turn& t : turns) {
    zel::image first = moved(off, t.scale, t.alpha, 0, 0);
    polynomialState map;
    const mellinFound f = MellinAlign(first, off, map);
    // The alignment applies the inverse move.
    const double alpha = -f.alpha, scale = 1.0 / f.scale;
    std::printf("| %.2f deg | %.3f deg | %.3f deg | %.3f | %.4f | %.4f |\n", t.alpha, alpha,
                alpha - t.alpha, t.scale, scale, scale - t.scale);
  }
}

void referenceTable() {
  std::printf("\n### Auto Mark by Reference (wind-off markers to wind-on, 1024x1024)\n\n");
  std::printf("| run | m_bmr | markers | within 0.5 px | mean error | worst | failed |\n");
  std::printf("|---|---|---|---|---|---|---|\n");
  const char* runs[] = {"size=1024 noise=0", "size=1024", "size=1024 noise=3",
                        "size=1024 motion=10", "size=1024 diameter=12 markers=80"};
  for (const char* words : runs) {
    const auto run = synth::makeRun(synth::parseRunOptions(alignbench::wordsOf(words)));
    const zel::image off = frameOf(*run, "wind_off_sens");
    for (const float bmr : {2.0f * run->options.diameter + 1.0f, 4.0f * run->options.diameter}) {
      zel::image pattern = off;
      for (const synth::markerSpot& m : run->markers) pattern.markers.add({m.windOff.x, m.windOff.y, 0, 0, true, 0});
      zel::image active = frameOf(*run, "wind_on_sens");
      active.markers = pattern.markers;
      polynomialState map;
      const int sign = run->options.sign == synth::markerSign::dark ? -1 : 1;
      ReviseMarkers(active.field(), active.bkgr(), active.ROI(), active.markers, sign, bmr, map);
      const int failed = MARKERSHIFTCC(active.field(), active.bkgr(), active.ROI(), active.markers,
                                       pattern.field(), pattern.bkgr(), pattern.ROI(),
                                       pattern.markers, sign, static_cast<int>(bmr));
      int close = 0;
      double sum = 0, worst = 0;
      for (std::size_t i = 0; i < run->markers.size(); ++i) {
        const auto& truth = run->markers[i].windOn;
        const marker& m = active.markers[static_cast<int>(i)];
        const double e = std::hypot(m.x - truth.x, m.y - truth.y);
        close += e <= 0.5;
        sum += e;
        worst = std::max(worst, e);
      }
      const int n = static_cast<int>(run->markers.size());
      std::printf("| %s | %.0f | %d | %.1f %% | %.3f px | %.3f px | %d |\n", words, bmr, n,
                  100.0 * close / n, sum / n, worst, failed);
    }
  }
}

void cosineTable() {
  const int N = 256;
  std::printf("\n### Spectrum of a pure cosine (%dx%d, \"2D Spectrum...\" linear)\n\n", N, N);
  std::printf("| frequency (kx, ky) | expected peaks | two largest found | their values | next largest |\n");
  std::printf("|---|---|---|---|---|\n");
  const int freqs[][2] = {{1, 0}, {0, 7}, {13, 5}, {-20, 31}, {64, 64}, {100, -3}};
  for (const auto& k : freqs) {
    spectrumField f(N, N);
    for (int y = 0; y < N; ++y)
      for (int x = 0; x < N; ++x)
        f(x, y) = 50.0f + 10.0f * static_cast<float>(std::cos(2 * M_PI * (k[0] * x + k[1] * y) / N));
    SpectrumImage(f, true, false, false);
    std::vector<std::pair<float, int>> v;
    for (int i = 0; i < N * N; ++i) v.push_back({f.data[i], i});
    std::partial_sort(v.begin(), v.begin() + 3, v.end(), [](auto a, auto b) { return a.first > b.first; });
    const int ax = v[0].second % N, ay = v[0].second / N, bx = v[1].second % N, by = v[1].second / N;
    std::printf("| (%d, %d) | (%d, %d) (%d, %d) | (%d, %d) (%d, %d) | %.6f %.6f | %.2e |\n", k[0],
                k[1], N / 2 + k[0], N / 2 + k[1], N / 2 - k[0], N / 2 - k[1], ax, ay, bx, by,
                v[0].first, v[1].first, v[2].first);
  }
}

}  // namespace

int main() {
  tamble::bench::silentReport sink;
  zel::setReport(&sink);
  cosineTable();
  const auto still = synth::makeRun(synth::parseRunOptions({"size=1024", "noise=0"}));
  const zel::image off = frameOf(*still, "wind_off_sens");
  shiftTable(off);
  mellinTable(off);
  referenceTable();
  return 0;
}
