// The current image is the one that changes; the other comes from the image
// choice. Images of different sizes are refused before anything changes.
#include "plugin/correlationCommands.h"

#include <algorithm>
#include <sstream>

#include "align/correlation.h"
#include "api/imagesList.h"
#include "dialogs/spectraDialogs.h"
#include "host/interaction.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

const char* sameSize(const zel::image& first, const zel::image& second) {
  return first.field().sameExtent(second.field()) ? nullptr : differentDimensions;
}

// The frame of the three commands: image choice first, then the dialog.
bool alignTwo(zel::imagesList& list, paramRecord* dialog,
              std::function<void(zel::image&, zel::image&)> routine) {
  twoImageOperation op;
  op.dialog = dialog;
  op.chooseBeforeDialog = true;
  op.changes = twoImageOperation::target::first;
  op.guard = sameSize;
  op.guardBeforeDialog = true;
  op.routine = std::move(routine);
  return runTwoImages(list, op);
}

}  // namespace

bool CrossCorrelationCommand(zel::imagesList& list) {
  CCrossCorr dialog;
  boundRecord<CCrossCorr> record(CCrossCorr::descriptor(), dialog);
  int dx = 0, dy = 0;
  bool ran = false;
  alignTwo(list, &record, [&](zel::image& first, zel::image& second) {
    correlationField result(first.width(), first.height());
    result.fill(0.0f);
    CrossCorrelation(first.field(), second.field(), result, dialog.m_phase != 0,
                     dialog.m_nomean != 0, dialog.m_win != 0, dialog.m_smooth != 0, dx, dy);
    std::copy(result.data, result.data + result.count, first.field().data);
    first.bkgr().fill(false);
    first.ROI().fill(true);
    ran = true;
  });
  if (ran) {
    std::ostringstream text;
    text << "Do Not Forget to Set Options-Fashions-Limits\n\n"
         << "Possible Shift     X= " << dx << "     Y= " << dy;
    message(text.str(), false);
  }
  return true;
}

bool ShiftAlignmentCommand(zel::imagesList& list) {
  shiftFound found;
  bool ran = false;
  alignTwo(list, nullptr, [&](zel::image& first, zel::image& second) {
    found = ShiftOnlyAlign(first, second, session().polynomial);
    ran = true;
  });
  if (ran) message(shiftText(found), false);
  return true;
}

bool MellinAlignmentCommand(zel::imagesList& list) {
  const int firstIndex = list.currentIndex;
  mellinFound found;
  bool ran = false;
  alignTwo(list, nullptr, [&](zel::image& first, zel::image& second) {
    found = MellinAlign(first, second, session().polynomial);
    ran = true;
  });
  if (!ran) return true;
  list.setCurrent(firstIndex);
  message(mellinText(found), false);
  return true;
}

namespace {
const std::vector<userChoice> secondImage = {{userChoice::kind::image, "Image"}};
const commandRegistration commands[] = {
    commandRegistration({"cross-correlation-phase-only", "Transform",
                         "Cross Correlation (Phase Only)...",
                         "Performs Cross Correlation of Two Images (Phase Only Version Included)",
                         "transform.chm::/html/transform_cross_corr.htm",
                         available::image_is_present, {freshRecord<CCrossCorr>},
                         CrossCorrelationCommand, secondImage}),
    commandRegistration({"shift-only-image-alignment", "Transform",
                         "Shift Only Image Alignment...",
                         "Performs Alignment of Images Using Cross-Correlation Based Shift",
                         "transform.chm::/html/transform_image_shift.htm",
                         available::image_is_present, {}, ShiftAlignmentCommand, secondImage}),
    commandRegistration({"mellin-image-alignment", "Transform", "Mellin Image Alignment...",
                         "Performs Alignment of Images Using Fourier-Mellin Transform (FMT)",
                         "transform.chm::/html/transform_mellin.htm", available::image_is_present,
                         {}, MellinAlignmentCommand, secondImage}),
};
}  // namespace

}  // namespace tamble
