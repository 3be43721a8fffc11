#include "plugin/wienerCommand.h"

#include "api/imagesList.h"
#include "dialogs/wienerDialog.h"
#include "filters/wiener.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

// The pair the user chose last, the starting values of the next opening.
CAuto_Wiener_filter& last() {
  static CAuto_Wiener_filter values;
  return values;
}

}  // namespace

bool WienerFilterCommand(zel::imagesList& list) {
  CAuto_Wiener_filter dialog = last();
  boundRecord<CAuto_Wiener_filter> record(CAuto_Wiener_filter::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { last() = dialog; };
  // The diameter goes to the routine as typed: an even one is not raised.
  op.routine = [&dialog](zel::image& img) {
    WienerFilter(img.field(), img.bkgr(), img.ROI(), dialog.m_rl, dialog.m_sc);
  };
  op.time = operation::timing::timed;
  return runStandard(list, op);
}

}  // namespace tamble
