#include "plugin/foregroundCommands.h"

#include "api/imagesList.h"
#include "convert/background.h"
#include "dialogs/backgroundDialogs.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {

namespace {

const char* noBackground(const zel::image& img) {
  return holdsTrue(img.bkgr()) ? nullptr : noBackgroundText;
}

// The standard form with the depth record R; `run` calls the routine.
template <class R, class Run>
bool runForeground(zel::imagesList& list, Run run) {
  R dialog = session().remembered<R>();
  boundRecord<R> record(R::descriptor(), dialog);
  operation op;
  op.guard = noBackground;
  op.dialog = &record;
  op.remember = [&dialog] { session().remembered<R>() = dialog; };
  op.routine = [&dialog, run](zel::image& img) { run(img, dialog); };
  return runStandard(list, op);
}

}  // namespace

bool ForegroundThinningCommand(zel::imagesList& list) {
  return runForeground<CThinning>(list, [](zel::image& img, const CThinning& r) {
    ForegroundThinning(img.field(), img.bkgr(), img.ROI(), r.m_depth);
  });
}

// The command extrapolates from the eight neighbours and smooths each new
// ring by a Gauss of diameter 9.5.
bool ForegroundExpansionCommand(zel::imagesList& list) {
  return runForeground<CSpread>(list, [](zel::image& img, const CSpread& r) {
    ForegroundExpansion(img.field(), img.bkgr(), img.ROI(), r.m_spread, 0, 9);
  });
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"tools/foreground-thinning", "Tools", "ForeGround Thinning...",
                         "Shrinks Image Regions by the Specified Pixels Number",
                         "BackGround.chm::/html/BackGround_thinningbg.htm",
                         available::image_is_present, {rememberedRecord<CThinning>},
                         ForegroundThinningCommand}),
    commandRegistration({"foreground-expansion", "Tools", "ForeGround Expansion...",
                         "Expands Image Regions by the Specified Pixels Number",
                         "BackGround.chm::/html/BackGround_expandbg.htm",
                         available::image_is_present, {rememberedRecord<CSpread>},
                         ForegroundExpansionCommand}),
};
}  // namespace

}  // namespace tamble
