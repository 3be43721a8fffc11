#include "plugin/circleFilterCommands.h"

#include <cmath>

#include "api/imagesList.h"
#include "dialogs/circleFilterDialogs.h"
#include "filters/circleFilters.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

// The values the user typed last, before any rounding to odd.
struct remembered {
  CMedian median;
  CGauss gauss;
  CD3Filter d3;
  CFilterThreshold threshold;
};

remembered& last() {
  static remembered values;
  return values;
}

int odd(int diameter) { return diameter % 2 == 0 ? diameter + 1 : diameter; }

template <class Routine>
bool runMedian(zel::imagesList& list, Routine routine) {
  CMedian dialog = last().median;
  boundRecord<CMedian> record(CMedian::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { last().median = dialog; };
  op.routine = [&dialog, routine](zel::image& img) {
    routine(img.field(), img.bkgr(), img.ROI(), dialog.m_iter, odd(dialog.m_diameter));
  };
  op.time = operation::timing::shown;
  return runStandard(list, op);
}

}  // namespace

bool MedianFilterCommand(zel::imagesList& list) { return runMedian(list, MedianCircle); }

bool MedianFastFilterCommand(zel::imagesList& list) { return runMedian(list, MedianFast); }

bool GaussFilterFastCommand(zel::imagesList& list) {
  CGauss dialog = last().gauss;
  boundRecord<CGauss> record(CGauss::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { last().gauss = dialog; };
  op.routine = [&dialog](zel::image& img) {
    GaussSeparable(img.field(), img.bkgr(), img.ROI(), dialog.m_iter,
                   static_cast<float>(odd(dialog.m_diameter)) + 0.001f);
  };
  op.time = operation::timing::timed;
  op.fastReport = true;
  return runStandard(list, op);
}

bool Filter3DCommand(zel::imagesList& list) {
  zel::image* current = list.current();
  if (!current) zel::raise<zel::AlgoError>();
  CD3Filter dialog = last().d3;
  FieldMinMax(current->field(), current->bkgr(), current->ROI(), dialog.m_min, dialog.m_max);
  boundRecord<CD3Filter> record(CD3Filter::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { last().d3 = dialog; };
  op.routine = [&dialog](zel::image& img) {
    float diameter = dialog.m_rl;
    if (static_cast<int>(dialog.m_rl + 0.5f) % 2 == 0) diameter += 1.0f;
    const float passed = static_cast<float>(static_cast<double>(diameter) + 0.001);
    Filter3D(img.field(), img.bkgr(), img.ROI(), dialog.m_iter, passed, dialog.m_rlev, true);
  };
  op.time = operation::timing::timed;
  return runStandard(list, op);
}

bool FilterThresholdCommand(zel::imagesList& list) {
  CFilterThreshold dialog = last().threshold;
  boundRecord<CFilterThreshold> record(CFilterThreshold::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { last().threshold = dialog; };
  op.routine = [&dialog](zel::image& img) { FilterThreshold(img, dialog.params(), false); };
  op.time = operation::timing::timed;
  return runStandard(list, op);
}

}  // namespace tamble
