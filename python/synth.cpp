// tamble.synth: a synthetic wind-tunnel run with known truth written as a
// project, as `tamble synth` writes it (docs/synthetic-run.md).
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <filesystem>

#include "apps/synth/projectWriter.h"
#include "apps/synth/scene.h"
#include "python/bindings.h"

namespace tamble::py {
namespace {

namespace fs = std::filesystem;

// "truth_Cp.imp" holds the true Cp.
constexpr const char* truthPrefix = "truth_";

pyb::dict writtenRun(const fs::path& folder, const synth::syntheticRun& run) {
  pyb::dict truth;
  pyb::list files;
  for (const std::string& name : synth::runFiles(run)) {
    files.append(folder / name);
    const fs::path file(name);
    if (name.rfind(truthPrefix, 0) == 0 && file.extension() == ".imp")
      truth[pyb::str(file.stem().string().substr(std::string(truthPrefix).size()))] = folder / name;
  }
  const synth::runOptions& o = run.options;
  pyb::dict out;
  out["project"] = folder / synth::projectFileName;
  out["paint"] = synth::paintName(o.paint);
  out["width"] = o.width;
  out["height"] = o.height;
  out["markers"] = run.markers.size();
  out["taps"] = run.taps.size();
  out["seed"] = o.seed;
  out["truth"] = truth;
  out["files"] = files;
  return out;
}

}  // namespace

void bindSynth(pyb::module_& m) {
  m.def(
      "synth",
      [](const fs::path& folder, const pyb::kwargs& options) {
        const synth::runOptions o = synth::parseRunOptions(wordsOf(options));
        std::unique_ptr<synth::syntheticRun> run;
        {
          pyb::gil_scoped_release released;
          run = synth::makeRun(o);
          synth::writeRun(*run, folder.string());
        }
        return writtenRun(folder, *run);
      },
      pyb::arg("folder"),
      "Writes a synthetic run into `folder` (made when missing): frames, darks, flats, "
      "cameras, markers and taps as a project, with the true maps. Options as keywords, "
      "those of `tamble synth` (paint='single', size=512 or size='640x480', noise=0, "
      "motion=0, depth='float', seed=3, ...). Answers a dict: project (the .vur), paint, "
      "width, height, markers, taps, seed, truth ({'Cp': path of truth_Cp.imp, ...}) and "
      "files (every file written).");
}

}  // namespace tamble::py
