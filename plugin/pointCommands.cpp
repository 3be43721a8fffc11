#include "plugin/pointCommands.h"

#include <algorithm>
#include <chrono>
#include <sstream>

#include "api/imagesList.h"
#include "dialogs/pointDialogs.h"
#include "filters/circleFilters.h"
#include "filters/rangedFilters.h"
#include "host/interaction.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

// "Flood ROI..." remembers only its value: the background choice starts
// from its default at each opening (the store, where it has the key, is read
// over it).
struct floodMemory {
  float value = 0;
};

CFlood floodOpening() {
  CFlood dialog;
  dialog.m_Value = session().remembered<floodMemory>().value;
  return dialog;
}

const char* minBelowMax = "Minimum Must Be Less Than Maximum!";

// The dialogs show the image's limits beside their parameters.
void showLimits(imageLimits& shown, const zel::image& img) {
  FieldMinMax(img.field(), img.bkgr(), img.ROI(), shown.image_min, shown.image_max);
}

bool roiSelects(const zel::image& img) {
  const auto& roi = img.ROI();
  return std::find(roi.data, roi.data + roi.count, false) != roi.data + roi.count;
}

// Copies the layers' pixels, keeping the target's layer names.
template <class T>
void copyPixels(const zel::arrayStore<T, 2>& from, zel::arrayStore<T, 2>& to) {
  std::copy(from.data, from.data + from.count, to.data);
}

}  // namespace

bool ArithmeticCommand(zel::imagesList& list) {
  CArithmetic dialog = session().remembered<CArithmetic>();
  showLimits(dialog, *list.current());
  boundRecord<CArithmetic> record(CArithmetic::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { session().remembered<CArithmetic>() = dialog; };
  op.routine = [&dialog](zel::image& img) {
    ArithmeticConstant(img.field(), img.bkgr(), img.ROI(), dialog.af, dialog.m_constant);
  };
  return runStandard(list, op);
}

bool ImageArithmeticCommand(zel::imagesList& list) {
  const int firstIndex = list.currentIndex;
  CImageArith dialog = session().remembered<CImageArith>();
  boundRecord<CImageArith> record(CImageArith::descriptor(), dialog);
  twoImageOperation op;
  op.dialog = &record;
  op.chooseBeforeDialog = true;
  op.changes = twoImageOperation::target::first;
  op.remember = [&dialog] { session().remembered<CImageArith>() = dialog; };
  op.routine = [&dialog](zel::image& first, zel::image& second) {
    zel::image out(first.width(), first.height());
    bool failed = false;
    ImageArithmeticBM(first.field(), first.bkgr(), first.ROI(), second.field(), second.bkgr(),
                      second.ROI(), out.field(), out.bkgr(), out.ROI(), dialog.oper, failed);
    if (failed) return;
    copyPixels(out.field(), first.field());
    copyPixels(out.bkgr(), first.bkgr());
    copyPixels(out.ROI(), first.ROI());
  };
  const bool done = runTwoImages(list, op);
  list.setCurrent(firstIndex);
  return done;
}

bool CutOffIntensitiesCommand(zel::imagesList& list) {
  CCut_Off dialog = session().remembered<CCut_Off>();
  showLimits(dialog, *list.current());
  boundRecord<CCut_Off> record(CCut_Off::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.guardAfterDialog = [&dialog](const zel::image&) -> const char* {
    const bool both = dialog.m_key_min && dialog.m_key_max;
    return both && dialog.m_Cut_Min_Value >= dialog.m_Cut_Max_Value ? minBelowMax : nullptr;
  };
  op.remember = [&dialog] { session().remembered<CCut_Off>() = dialog; };
  op.routine = [&dialog](zel::image& img) {
    CutOffIntensities(img.field(), img.bkgr(), img.ROI(), dialog.m_key_max != 0,
                      dialog.m_Cut_Max_Value, dialog.m_key_min != 0, dialog.m_Cut_Min_Value);
  };
  return runStandard(list, op);
}

bool ConservativeInvertCommand(zel::imagesList& list) {
  operation op;
  op.routine = [](zel::image& img) { ConservativeInvert(img.field(), img.bkgr(), img.ROI()); };
  return runStandard(list, op);
}

bool FloodROICommand(zel::imagesList& list) {
  zel::image& img = *list.current();
  if (!roiSelects(img)) {
    message("All Image is ROI.\nNo Flood Available!", false);
    return false;
  }
  CFlood dialog = floodOpening();
  // The limits of the whole image apart from its background.
  zel::arrayStore<bool, 2> everywhere(img.width(), img.height());
  everywhere.fill(true);
  FieldMinMax(img.field(), img.bkgr(), everywhere, dialog.image_min, dialog.image_max);
  boundRecord<CFlood> record(CFlood::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { session().remembered<floodMemory>().value = dialog.m_Value; };
  op.routine = [&dialog](zel::image& target) {
    FloodROI(target.field(), target.bkgr(), target.ROI(), dialog.m_Value, dialog.m_bg != 0);
  };
  return runStandard(list, op);
}

bool RangedFiltersCommand(zel::imagesList& list) {
  CRanged_Filters dialog = session().remembered<CRanged_Filters>();
  showLimits(dialog, *list.current());
  // The band starts as the image's range; the store's values are read over it.
  dialog.m_Ranged_Filters_min_value = dialog.image_min;
  dialog.m_Ranged_Filters_max_value = dialog.image_max;
  boundRecord<CRanged_Filters> record(CRanged_Filters::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.guardAfterDialog = [&dialog](const zel::image&) -> const char* {
    return dialog.m_Ranged_Filters_min_value >= dialog.m_Ranged_Filters_max_value ? minBelowMax
                                                                                  : nullptr;
  };
  op.remember = [&dialog] { session().remembered<CRanged_Filters>() = dialog; };
  std::string report;
  op.routine = [&dialog, &report](zel::image& img) {
    const auto start = std::chrono::steady_clock::now();
    const rangedResult r =
        RangedFilter(img.field(), img.bkgr(), img.ROI(), dialog.m_Ranged_Filters_kind,
                     dialog.m_Ranged_Filters_iter, dialog.m_Ranged_Filters_min_value,
                     dialog.m_Ranged_Filters_max_value, dialog.m_Ranged_Filters_diam,
                     dialog.m_Ranged_Filters_thr);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    std::ostringstream text;
    text << r.rangeMin << " " << r.rangeMax << " " << r.threshold << "\n";
    report = text.str() + reportText(elapsed.count());
  };
  const bool done = runStandard(list, op);
  if (!report.empty()) message(report, false);
  return done;
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"arithmetic", "Edit", "Arithmetic...",
                         "Image +,-,*,/ with user defined Constant.",
                         "edit2d.chm::/html/edit_arithmetic.htm", available::image_is_present,
                         {rememberedRecord<CArithmetic>}, ArithmeticCommand}),
    commandRegistration({"image-arithmetic", "Edit", "Image Arithmetic...",
                         "Image by Image +,-,*,/ with Apropriate BackGrounds and ROIs.",
                         "edit2d.chm::/html/edit_image_arithmetic.htm", available::image_is_present,
                         {rememberedRecord<CImageArith>}, ImageArithmeticCommand,
                         {{userChoice::kind::image, "Image"}}}),
    commandRegistration({"cut-off-intensities", "Edit", "Cut off Intensities...",
                         "Cropping Intensity Vlaues Region.",
                         "edit2d.chm::/html/edit_cutoff.htm", available::image_is_present,
                         {rememberedRecord<CCut_Off>}, CutOffIntensitiesCommand}),
    commandRegistration({"conservative-invert", "Edit", "Conservative Invert",
                         "Invert Image Firld Values w/o Changing Intensity Limits",
                         "edit2d.chm::/html/edit_invert.htm", available::image_is_present,
                         {}, ConservativeInvertCommand}),
    commandRegistration({"flood-roi", "Edit", "Flood ROI...",
                         "Flood ROI with User Defined Value",
                         "edit2d.chm::/html/edit_flood.htm", available::image_is_present,
                         {openedRecord<CFlood, floodOpening>}, FloodROICommand}),
    commandRegistration({"ranged-filters", "Edit", "Ranged Filters...",
                         "Performs Flat/Gaussian/Median Filtering in Circle Window with user defined Range",
                         "edit2d.chm::/html/edit_rangedfilters.htm", available::image_is_present,
                         {rememberedRecord<CRanged_Filters>}, RangedFiltersCommand}),
};
}  // namespace

}  // namespace tamble
