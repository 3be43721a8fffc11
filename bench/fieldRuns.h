// A synthetic run opened as a project for the field calculation: written
// into a temporary folder, read back by the project library, dark and flat
// corrected, a single paint's reference regions (the run's plates) taken,
// and every result card the paint can give chosen. Shared by the accuracy
// table and the benchmark; no question is asked.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "api/imagesList.h"
#include "apps/synth/projectWriter.h"
#include "apps/synth/scene.h"
#include "host/platform.h"
#include "host/project.h"
#include "host/projectDialogs.h"
#include "host/store.h"
#include "plugin/darkFlatCommands.h"
#include "plugin/projectState.h"
#include "plugin/referenceKeys.h"
#include "plugin/referencesCommand.h"
#include "plugin/session.h"

namespace tamble::fieldbench {

class openedRun {
 public:
  // `plane`: a single paint's reference is the plane through its plates.
  openedRun(const std::vector<std::string>& words, bool plane) {
    static int made = 0;
    folder = std::filesystem::temp_directory_path() /
             ("tamble-field-" + std::to_string(::getpid()) + "-" + std::to_string(++made));
    run = synth::makeRun(synth::parseRunOptions(words));
    synth::writeRun(*run, folder.string());
    useStore((folder / "store.ini").string());
    session().reset();
    read_vur_data((folder / synth::projectFileName).string(), false);
    read_vur_images(list, true);
    const synth::paintKind kind = run->options.paint;
    paintKind() = kind == synth::paintKind::doublePaint   ? "double"
                  : kind == synth::paintKind::singlePaint ? "single"
                                                          : "Tsingle";
    DarkSubtraction(list, false);
    FlatCorrection(list, false);
    takeReferences(plane);
    conversionState& s = state();
    const bool temperature = paintKind() == "Tsingle";
    s.card_ii = 1;
    s.card_p = s.card_pp = s.card_cp = temperature ? 0 : 1;
    s.card_t = temperature ? 1 : 0;
  }
  ~openedRun() {
    list.clear();
    clear_vur();
    std::error_code ec;
    std::filesystem::remove_all(folder, ec);
  }

  zel::imagesList list;
  std::unique_ptr<synth::syntheticRun> run;
  std::filesystem::path folder;

 private:
  // The plates' regions drawn on the master image and confirmed; without
  // plates, equal reference values.
  void takeReferences(bool plane) {
    if (paintKind() == "double") return;
    if (run->plates.empty()) {
      state().key_unit_value = 1;
      state().wind_off_refe_value = state().wind_on_refe_value = 1.0f;
      storeForSingle(state());
      return;
    }
    read_array((folder / get_vur().reference_file).string(),
               list.find(names::wind_off_sens)->ROI());
    ConfirmReferences(list, plane);
  }
};

}  // namespace tamble::fieldbench
