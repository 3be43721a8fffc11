#include "plugin/wienerCommand.h"

#include "api/imagesList.h"
#include "dialogs/wienerDialog.h"
#include "filters/wiener.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {
bool WienerFilterCommand(zel::imagesList& list) {
  CAuto_Wiener_filter dialog = session().remembered<CAuto_Wiener_filter>();
  boundRecord<CAuto_Wiener_filter> record(CAuto_Wiener_filter::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { session().remembered<CAuto_Wiener_filter>() = dialog; };
  // The diameter goes to the routine as typed: an even one is not raised.
  op.routine = [&dialog](zel::image& img) {
    WienerFilter(img.field(), img.bkgr(), img.ROI(), dialog.m_rl, dialog.m_sc);
  };
  op.time = operation::timing::timed;
  return runStandard(list, op);
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"wiener-filter", "Edit", "Wiener Filter...",
                         "Performs Wiener Adaptive Filtering in Circle Window",
                         "filters.chm::/html/filters_wiener.htm", available::image_is_present,
                         {rememberedRecord<CAuto_Wiener_filter>}, WienerFilterCommand}),
};
}  // namespace

}  // namespace tamble
