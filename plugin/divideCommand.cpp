#include "plugin/divideCommand.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "api/errors.h"
#include "api/imagesList.h"
#include "filters/pointOperations.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {

namespace {

constexpr int division = 4;  // the operation code of ImageArithmeticBM

bool sameSize(const zel::image& a, const zel::image& b) {
  return a.width() == b.width() && a.height() == b.height();
}

std::string sizeText(const zel::image& img) {
  return std::to_string(img.width()) + "x" + std::to_string(img.height());
}

}  // namespace

std::string divideSizeText(const zel::image& dividend, const zel::image& divisor) {
  return "Images have different dimensions (" + sizeText(dividend) + " and " + sizeText(divisor) +
         "). Division is canceled";
}

bool divideImages(zel::image& dividend, const zel::image& divisor) {
  if (!sameSize(dividend, divisor)) return false;
  zel::image quotient(dividend.width(), dividend.height());
  // The image arithmetic forms the quotient only inside the ROIs; here every
  // pixel apart from background gets it, and the ROIs combine afterwards.
  maskStore everywhere(dividend.width(), dividend.height());
  everywhere.fill(true);
  bool failed = false;
  ImageArithmeticBM(dividend.field(), dividend.bkgr(), everywhere, divisor.field(), divisor.bkgr(),
                    everywhere, quotient.field(), quotient.bkgr(), quotient.ROI(), division,
                    failed);
  if (failed) return false;
  float* value = quotient.field().data;
  bool* background = quotient.bkgr().data;
  bool* roi = dividend.ROI().data;
  const bool* divisorRoi = divisor.ROI().data;
  for (std::uint64_t i = 0; i < quotient.field().count; ++i) {
    if (!std::isfinite(value[i])) {  // a NaN dividend or a quotient beyond the floats
      value[i] = 0.0f;
      background[i] = true;
    }
    roi[i] = roi[i] && divisorRoi[i];
  }
  std::copy(value, value + quotient.field().count, dividend.field().data);
  std::copy(background, background + quotient.bkgr().count, dividend.bkgr().data);
  return true;
}

bool DivideImageByImageCommand(zel::imagesList& list) {
  const int dividendIndex = list.currentIndex;
  twoImageOperation op;
  op.chooseBeforeDialog = true;
  op.changes = twoImageOperation::target::first;
  op.guard = [](const zel::image& dividend, const zel::image& divisor) -> const char* {
    return sameSize(dividend, divisor) ? nullptr : zel::lasting(divideSizeText(dividend, divisor));
  };
  op.routine = [](zel::image& dividend, zel::image& divisor) { divideImages(dividend, divisor); };
  const bool done = runTwoImages(list, op);
  list.setCurrent(dividendIndex);
  return done;
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"divide-image-by-image",
                         "Tools",
                         "Divide Image by Image...",
                         "Performs Division of First Image by Second One",
                         "ZELTools.chm::/html/ZELTools_imagediv.htm",
                         available::image_is_present,
                         {},
                         DivideImageByImageCommand,
                         {{userChoice::kind::image, "Image"}}}),
};
}  // namespace

}  // namespace tamble
