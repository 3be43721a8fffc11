#include "plugin/pointCommands.h"

#include <algorithm>
#include <chrono>
#include <sstream>

#include "api/imagesList.h"
#include "dialogs/pointDialogs.h"
#include "filters/circleFilters.h"
#include "filters/rangedFilters.h"
#include "host/platform.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

// The values the user chose last, for the next opening of the dialogs (the
// store, where a record has keys, is read over them).
struct remembered {
  CArithmetic arithmetic;
  CImageArith imageArith;
  CCut_Off cutOff;
  float floodValue = 0;
  CRanged_Filters ranged;
};

remembered& last() {
  static remembered values;
  return values;
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
  CArithmetic dialog = last().arithmetic;
  showLimits(dialog, *list.current());
  boundRecord<CArithmetic> record(CArithmetic::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { last().arithmetic = dialog; };
  op.routine = [&dialog](zel::image& img) {
    ArithmeticConstant(img.field(), img.bkgr(), img.ROI(), dialog.af, dialog.m_constant);
  };
  return runStandard(list, op);
}

bool ImageArithmeticCommand(zel::imagesList& list) {
  const int firstIndex = list.currentIndex;
  CImageArith dialog = last().imageArith;
  boundRecord<CImageArith> record(CImageArith::descriptor(), dialog);
  twoImageOperation op;
  op.dialog = &record;
  op.chooseBeforeDialog = true;
  op.changes = twoImageOperation::target::first;
  op.remember = [&dialog] { last().imageArith = dialog; };
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
  CCut_Off dialog = last().cutOff;
  showLimits(dialog, *list.current());
  boundRecord<CCut_Off> record(CCut_Off::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.guardAfterDialog = [&dialog](const zel::image&) -> const char* {
    const bool both = dialog.m_key_min && dialog.m_key_max;
    return both && dialog.m_Cut_Min_Value >= dialog.m_Cut_Max_Value ? minBelowMax : nullptr;
  };
  op.remember = [&dialog] { last().cutOff = dialog; };
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
  CFlood dialog;
  dialog.m_Value = last().floodValue;
  // The limits of the whole image apart from its background.
  zel::arrayStore<bool, 2> everywhere(img.width(), img.height());
  everywhere.fill(true);
  FieldMinMax(img.field(), img.bkgr(), everywhere, dialog.image_min, dialog.image_max);
  boundRecord<CFlood> record(CFlood::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { last().floodValue = dialog.m_Value; };
  op.routine = [&dialog](zel::image& target) {
    FloodROI(target.field(), target.bkgr(), target.ROI(), dialog.m_Value, dialog.m_bg != 0);
  };
  return runStandard(list, op);
}

bool RangedFiltersCommand(zel::imagesList& list) {
  CRanged_Filters dialog = last().ranged;
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
  op.remember = [&dialog] { last().ranged = dialog; };
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

}  // namespace tamble
