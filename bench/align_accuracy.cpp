// The accuracy table of the alignments on synthetic runs: for each run and
// method, the residual at the true marker centres, the share of markers
// linked to their true partner and the RMS difference from the wind-on frame
// made without motion. Run by hand: build/<dir>/bench/align_accuracy [words]
#include <cstdio>
#include <string>

#include "api/report.h"
#include "bench/alignScenes.h"
#include "bench/silentReport.h"

namespace {

}  // namespace

int main(int argc, char** argv) {
  using namespace tamble::alignbench;
  tamble::bench::silentReport sink;
  zel::setReport(&sink);
  std::vector<std::string> runs = {"size=1024 noise=0", "size=1024"};
  if (argc > 1) runs.assign(argv + 1, argv + argc);
  const int box = 9;
  std::printf("| run | method | markers on both | linked right | residual mean | residual worst | RMS |\n");
  std::printf("|---|---|---|---|---|---|---|\n");
  for (const std::string& words : runs) {
    const scene& s = sceneOf(words);
    struct method {
      const char* name;
      std::function<tamble::displacementMap(zel::image&, const zel::image&)> align;
    } methods[] = {{"none", [](zel::image&, const zel::image&) -> tamble::displacementMap {
                      return [](double x, double y, double& u, double& v) {
                        u = x;
                        v = y;
                        return true;
                      };
                    }},
                   {"order 1 (shift)", polynomial(1, box)},
                   {"order 3 (affine)", polynomial(3, box)},
                   {"order 6", polynomial(6, box)},
                   {"order 10", polynomial(10, box)},
                   {"triangles", triangles(box)}};
    for (const method& m : methods) {
      const quality q = measure(s, box, m.align);
      std::printf("| %s | %s | %d | %.1f %% | %.3f px | %.3f px | %s |\n", words.c_str(), m.name,
                  q.markers, 100.0 * q.linkShare, q.meanResidual, q.worstResidual,
                  q.aligned ? (std::to_string(q.rms * 100.0).substr(0, 5) + " %").c_str()
                            : "not aligned");
    }
  }
  return 0;
}
