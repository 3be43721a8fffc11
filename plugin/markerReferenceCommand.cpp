// "Auto Mark by Reference..." of "Markers": the markers of a marked image of
// the same scene (the pattern, chosen by the user) are copied onto the
// current image, settled by the marker revision and then carried, each by
// its own correlated shift, to where the current image shows them.
#include "plugin/markerReferenceCommand.h"

#include <cmath>

#include "api/imagesList.h"
#include "dialogs/markerDialogs.h"
#include "markers/referenceSearch.h"
#include "markers/revise.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {

bool AutoMarkByReferenceCommand(zel::imagesList& list) {
  const int activeIndex = list.currentIndex;
  CAutomarp dialog = session().remembered<CAutomarp>();
  boundRecord<CAutomarp> record(CAutomarp::descriptor(), dialog);
  twoImageOperation op;
  op.dialog = &record;
  op.chooseBeforeDialog = true;
  op.changes = twoImageOperation::target::first;
  op.guard = [](const zel::image&, const zel::image& pattern) -> const char* {
    return pattern.markers.count() == 0
               ? "Markers on the Reference Image are Absent. Procedure is terminated"
               : nullptr;
  };
  op.guardBeforeDialog = true;
  op.remember = [&dialog] { session().remembered<CAutomarp>() = dialog; };
  op.routine = [&dialog](zel::image& active, zel::image& pattern) {
    active.markers = pattern.markers;
    ReviseMarkers(active.field(), active.bkgr(), active.ROI(), active.markers, dialog.pos_neg,
                  dialog.m_bmr, session().polynomial);
    MARKERSHIFTCC(active.field(), active.bkgr(), active.ROI(), active.markers, pattern.field(),
                  pattern.bkgr(), pattern.ROI(), pattern.markers, dialog.pos_neg,
                  static_cast<int>(std::trunc(dialog.m_bmr)));
  };
  const bool done = runTwoImages(list, op);
  list.setCurrent(activeIndex);
  return done;
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"auto-mark-by-reference", "Markers", "Auto Mark by Reference...",
                         "Performs Markers Search Using Reference Marked Image",
                         "mark.chm::/html/markers_automark.htm", available::image_is_present,
                         {rememberedRecord<CAutomarp>}, AutoMarkByReferenceCommand,
                         {{userChoice::kind::image, "Image"}}}),
};
}  // namespace

}  // namespace tamble
