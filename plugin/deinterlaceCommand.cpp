#include "plugin/deinterlaceCommand.h"

#include "api/imagesList.h"
#include "dialogs/deinterlaceDialog.h"
#include "filters/deinterlace.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {

// The dialog opens on its defaults every time; the routine's refusals are
// notices after the check point, so "UnDo" exists even then.
bool DeInterlaceCommand(zel::imagesList& list) {
  CDeInterlace dialog;
  boundRecord<CDeInterlace> record(CDeInterlace::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.routine = [&dialog](zel::image& img) {
    DeInterlace(img.field(), dialog.action, dialog.field, dialog.method);
  };
  return runStandard(list, op);
}

namespace {
const commandRegistration command({"deinterlace", "Transform", "DeInterlace...",
                                   "Performs DeInterlace of Image Lines Using Various Algorithms",
                                   "transform.chm::/html/transform_deint.htm",
                                   available::image_is_present, {freshRecord<CDeInterlace>},
                                   DeInterlaceCommand});
}  // namespace

}  // namespace tamble
