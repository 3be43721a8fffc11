// The accuracy table of the field calculation on synthetic runs with camera
// noise: Cp (or T) against the run's truth over the pixels wholly on the
// model, all of them and less the markers (whose few counts of light carry
// the noise of a dark spot). Run by hand:
//   build/<dir>/bench/field_accuracy [key=value...]
// The words go to every run (e.g. size=512 for a quick table).
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "api/report.h"
#include "bench/fieldRuns.h"
#include "bench/silentReport.h"
#include "plugin/fieldCalculationCommand.h"

namespace {

struct errors {
  long pixels = 0;
  double sumSquares = 0.0, worst = 0.0;
  void add(double e) {
    ++pixels;
    sumSquares += e * e;
    worst = std::max(worst, std::fabs(e));
  }
  double rms() const { return pixels ? std::sqrt(sumSquares / pixels) : 0.0; }
};

// Within a marker's disc and a pixel and a half around it.
bool nearMarker(const tamble::synth::syntheticRun& run, int x, int y) {
  const double reach = run.options.diameter / 2.0 + 1.5;
  for (const tamble::synth::markerSpot& m : run.markers) {
    const double dx = x - m.windOff.x, dy = y - m.windOff.y;
    if (dx * dx + dy * dy <= reach * reach) return true;
  }
  return false;
}

struct tableRow {
  const char* paint;
  const char* reference;
  std::vector<std::string> words;
  bool plane;
};

}  // namespace

int main(int argc, char** argv) {
  using namespace tamble;
  tamble::bench::silentReport sink;
  zel::setReport(&sink);
  const std::vector<std::string> extra(argv + 1, argv + argc);
  const tableRow rows[] = {
      {"double", "reference paint", {"paint=double"}, false},
      {"single", "equal values, lamp 1", {"paint=single"}, false},
      {"single", "4 plates, means", {"paint=single", "plates=4", "lamp=0.95"}, false},
      {"single", "4 plates, plane", {"paint=single", "plates=4", "light=plane", "lamp=0.95"}, true},
      {"temperature", "4 plates, means", {"paint=temperature", "plates=4", "lamp=0.95"}, false},
      {"temperature",
       "4 plates, plane",
       {"paint=temperature", "plates=4", "light=plane", "lamp=0.95"},
       true},
  };
  std::printf(
      "| paint | reference | result | pixels | RMS | worst | pixels less markers | RMS "
      "| worst |\n|---|---|---|---|---|---|---|---|---|\n");
  for (const tableRow& r : rows) {
    std::vector<std::string> words{"motion=0"};
    words.insert(words.end(), r.words.begin(), r.words.end());
    words.insert(words.end(), extra.begin(), extra.end());
    fieldbench::openedRun opened(words, r.plane);
    FieldCalculation(opened.list, false);
    const bool temperature = paintKind() == "Tsingle";
    const char* name = temperature ? names::T : names::Cp;
    const zel::image& result = *opened.list.find(name);
    const zel::image& truth = *opened.run->findTruth(name)->image;
    errors all, clear;
    for (int y = 0; y < truth.height(); ++y)
      for (int x = 0; x < truth.width(); ++x) {
        if (truth.bkgr()(x, y) || !truth.ROI()(x, y)) continue;
        const double e = double(result.field()(x, y)) - truth.field()(x, y);
        all.add(e);
        if (!nearMarker(*opened.run, x, y)) clear.add(e);
      }
    const char* unit = temperature ? " C" : "";
    std::printf("| %s | %s | %s | %ld | %.2e%s | %.2e%s | %ld | %.2e%s | %.2e%s |\n", r.paint,
                r.reference, name, all.pixels, all.rms(), unit, all.worst, unit, clear.pixels,
                clear.rms(), unit, clear.worst, unit);
  }
  return 0;
}
