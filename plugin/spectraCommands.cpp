// The spectra and the amplitude transforms of the "Transform" menu: "2D
// Spectrum...", "2D Polar-Log Spectrum...", "Phase Only Data Retrieve",
// "Whiten/SoftFocus Transform..." and "McClellan Transform...".
#include "plugin/spectraCommands.h"

#include "api/imagesList.h"
#include "dialogs/spectraDialogs.h"
#include "filters/spectra.h"
#include "host/interaction.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

// The spectrum fills the whole image: no background, all of it ROI.
bool spectrumCommand(zel::imagesList& list, bool polarLog) {
  Csptrans dialog;
  boundRecord<Csptrans> record(Csptrans::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  bool ran = false;
  op.routine = [&](zel::image& img) {
    SpectrumImage(img.field(), dialog.m_nomean != 0, dialog.m_win != 0, dialog.m_log != 0);
    img.bkgr().fill(false);
    img.ROI().fill(true);
    if (polarLog) PolarLogMap(img.field(), img.bkgr());
    ran = true;
  };
  runStandard(list, op);
  if (ran)
    message(dialog.m_log ? "Do Not Forget to Set Limits 0.0 ... -100.0 dB Power Spectrum"
                         : "Do Not Forget to Set Limits 0.0 ... 1.0 Relative Amplitude",
            false);
  return true;
}

}  // namespace

bool Spectrum2DCommand(zel::imagesList& list) { return spectrumCommand(list, false); }

bool PolarLogSpectrumCommand(zel::imagesList& list) { return spectrumCommand(list, true); }

bool PhaseOnlyRetrieveCommand(zel::imagesList& list) {
  operation op;
  bool ran = false;
  op.routine = [&ran](zel::image& img) {
    PhaseOnlyRetrieve(img.field(), img.bkgr(), img.ROI());
    ran = true;
  };
  runStandard(list, op);
  if (ran) message("Do Not Forget to Set Options-Fashions-Limits", false);
  return true;
}

bool WhitenCommand(zel::imagesList& list) {
  CWhiten dialog;
  boundRecord<CWhiten> record(CWhiten::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.routine = [&dialog](zel::image& img) {
    Whiten(img.field(), img.bkgr(), img.ROI(), dialog.power());
  };
  return runStandard(list, op);
}

bool McClellanCommand(zel::imagesList& list) {
  Cmcctrans dialog;
  boundRecord<Cmcctrans> record(Cmcctrans::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.routine = [&dialog](zel::image& img) {
    McClellanTransform(img.field(), img.bkgr(), img.ROI(), dialog.m_power);
  };
  return runStandard(list, op);
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"whiten-softfocus-transform", "Transform", "Whiten/SoftFocus Transform...",
                         "Performs Noise Whitening or Places Soft Focus Effect on Image",
                         "transform.chm::/html/transform_whiten.htm", available::image_is_present,
                         {freshRecord<CWhiten>}, WhitenCommand}),
    commandRegistration({"mcclellan-transform", "Transform", "McClellan Transform...",
                         "Performs McClellan Transform on Image",
                         "transform.chm::/html/transform_mcclellan.htm",
                         available::image_is_present, {freshRecord<Cmcctrans>}, McClellanCommand}),
    commandRegistration({"2d-spectrum", "Transform", "2D Spectrum...",
                         "Performs Calculation of Image Spectrum With Linear Output and "
                         "Logarithmic Also",
                         "transform.chm::/html/transform_spectrumFFT.htm",
                         available::image_is_present, {freshRecord<Csptrans>}, Spectrum2DCommand}),
    commandRegistration({"2d-polar-log-spectrum", "Transform", "2D Polar-Log Spectrum...",
                         "Performs Calculation of Image Spectrum in Polar-Log Coordinates",
                         "transform.chm::/html/transform_spectrumPL.htm",
                         available::image_is_present, {freshRecord<Csptrans>},
                         PolarLogSpectrumCommand}),
    commandRegistration({"phase-only-data-retrieve", "Transform", "Phase Only Data Retrieve",
                         "Retrieves Phase Only Data Information From Image",
                         "transform.chm::/html/transform_phase_retrieve.htm",
                         available::image_is_present, {}, PhaseOnlyRetrieveCommand}),
};
}  // namespace

}  // namespace tamble
