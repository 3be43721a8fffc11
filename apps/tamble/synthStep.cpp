// `tamble synth FOLDER [key=value...]`: a synthetic wind-tunnel run with
// known truth, written as a project (docs/synthetic-run.md).
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>

#include "apps/synth/projectWriter.h"
#include "apps/synth/scene.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/session.h"
#include "apps/tamble/steps.h"

namespace tamble::cli {

void defineSynth(CLI::App& app, stepArgs& a) {
  app.add_option("folder", a.file, "the folder to write the run into (made when missing)")
      ->required();
  app.add_option("options", a.words, "key=value:\n" + synth::optionsHelp());
}

void synthStep(session& s, const stepArgs& a) {
  synth::runOptions options;
  try {
    options = synth::parseRunOptions(a.words);
  } catch (const synth::optionError& e) {
    throw usageError(e.what());
  }
  std::unique_ptr<synth::syntheticRun> run;
  try {
    run = synth::makeRun(options);
  } catch (const synth::optionError& e) {
    throw usageError(e.what());
  }
  for (const std::string& name : synth::runFiles(*run))
    s.inputs.checkWritable((std::filesystem::path(a.file) / name).string());
  synth::writeRun(*run, a.file);
  const std::string project = (std::filesystem::path(a.file) / synth::projectFileName).string();
  std::printf("%s: %s paint, %dx%d, %zu markers, %zu taps, seed %llu\n", project.c_str(),
              synth::paintName(options.paint), options.width, options.height, run->markers.size(),
              run->taps.size(), static_cast<unsigned long long>(options.seed));
  if (static_cast<int>(run->markers.size()) < options.markers)
    std::printf("note: only %zu of the %d markers asked for fit on the model\n",
                run->markers.size(), options.markers);
}

}  // namespace tamble::cli
