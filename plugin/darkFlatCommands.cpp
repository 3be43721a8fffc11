#include "plugin/darkFlatCommands.h"

#include <span>

#include "api/imagesList.h"
#include "host/interaction.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"
#include "plugin/projectState.h"

namespace tamble {

namespace {

using routineFn = bool (*)(floatLayer&, maskLayer&, const floatLayer&, const maskLayer&);

// The routine, and the size notice where it refused the frame.
template <routineFn routine>
bool reported(floatLayer& field, maskLayer& bkgr, const floatLayer& frame,
              const maskLayer& frameBkgr) {
  if (routine(field, bkgr, frame, frameBkgr)) return true;
  if (!state().batchMode) message(frameSizeText, false);
  return false;
}

// The sources of the paint with the frame of each.
struct pairing {
  const char* source;
  const char* dark;
  const char* flat;
};

constexpr pairing pairs[] = {
    {names::wind_off_refe, names::wind_off_dark_refe, names::flat_refe},
    {names::wind_on_refe, names::wind_on_dark_refe, names::flat_refe},
    {names::wind_off_sens, names::wind_off_dark_sens, names::flat_sens},
    {names::wind_on_sens, names::wind_on_dark_sens, names::flat_sens},
};

void runOnSources(zel::imagesList& list, bool interactive, const char* pairing::*frame,
                  routineFn routine) {
  if (interactive) list.snapshot();
  const std::string& kind = paintKind();
  std::span<const pairing> sources;  // a single paint has no reference images
  if (kind == "double") sources = pairs;
  if (kind == "single" || kind == "Tsingle") sources = std::span(pairs).subspan(2);
  for (const pairing& p : sources) {
    zel::image* target = list.find(p.source);
    const zel::image* frameImage = list.find(p.*frame);
    if (!target || !frameImage) continue;
    routine(target->field(), target->bkgr(), frameImage->field(), frameImage->bkgr());
  }
  markSourceFlags(list, true);
  refreshList(list);
}

// The "Tools" form: the current image is corrected with the chosen one.
bool correctCurrent(zel::imagesList& list, routineFn routine) {
  zel::image* target = list.current();
  if (!target || !dlgViewImage(list)) return true;
  const zel::image* frame = list.current();
  list.snapshot();
  list.saveImage(target, true, "");
  routine(target->field(), target->bkgr(), frame->field(), frame->bkgr());
  for (int i = 0; i < list.size(); ++i)
    if (list[i] == target) list.setCurrent(i);
  refreshList(list);
  return true;
}

}  // namespace

bool subtractDarkFrame(floatLayer& field, maskLayer& bkgr, const floatLayer& darkField,
                       const maskLayer& darkBkgr) {
  return reported<subtractDark>(field, bkgr, darkField, darkBkgr);
}

bool correctFlatFrame(floatLayer& field, maskLayer& bkgr, const floatLayer& flatField,
                      const maskLayer& flatBkgr) {
  return reported<correctFlat>(field, bkgr, flatField, flatBkgr);
}

bool DarkSubtraction(zel::imagesList& list, bool interactive) {
  runOnSources(list, interactive, &pairing::dark, subtractDarkFrame);
  return true;
}

bool FlatCorrection(zel::imagesList& list, bool interactive) {
  runOnSources(list, interactive, &pairing::flat, correctFlatFrame);
  return true;
}

bool DarkFrameStageCommand(zel::imagesList& list) {
  return runStage(list, DarkSubtraction, afterStage::selectLast);
}

bool FlatFieldStageCommand(zel::imagesList& list) {
  return runStage(list, FlatCorrection, afterStage::selectLast);
}

bool DarkFieldSubtractionCommand(zel::imagesList& list) {
  return correctCurrent(list, subtractDarkFrame);
}

bool FlatFieldCorrectionCommand(zel::imagesList& list) {
  return correctCurrent(list, correctFlatFrame);
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"dark-field-subtraction", "Tools", "Dark Field Subtraction...",
                         "Performs Dark Field Subtraction",
                         "ZELTools.chm::/html/ZELTools_darkfield.htm", available::image_is_present,
                         {}, DarkFieldSubtractionCommand, {{userChoice::kind::image, "Image"}}}),
    commandRegistration({"tools/flat-field-correction", "Tools", "Flat Field Correction...",
                         "Performs Flat Field Correction",
                         "ZELTools.chm::/html/ZELTools_flatfield.htm", available::image_is_present,
                         {}, FlatFieldCorrectionCommand, {{userChoice::kind::image, "Image"}}}),
    commandRegistration({"dark-frame-subtraction", "B Convert", "Dark Frame Subtraction",
                         "Dark Frame Subtraction", "BConvert.chm::/html/BConvert_dark.htm",
                         available::dark_images_present, {}, DarkFrameStageCommand}),
    commandRegistration({"b-convert/flat-field-correction", "B Convert", "Flat Field Correction",
                         "1", "BConvert.chm::/html/BConvert_flat.htm",
                         available::flat_images_present, {}, FlatFieldStageCommand}),
};
}  // namespace

}  // namespace tamble
