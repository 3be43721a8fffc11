#include "plugin/circleFilterCommands.h"

#include <cmath>

#include "api/imagesList.h"
#include "dialogs/circleFilterDialogs.h"
#include "filters/circleFilters.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

// The session remembers the values as typed, before any rounding to odd.
int odd(int diameter) { return diameter % 2 == 0 ? diameter + 1 : diameter; }

template <class Routine>
bool runMedian(zel::imagesList& list, Routine routine) {
  CMedian dialog = session().remembered<CMedian>();
  boundRecord<CMedian> record(CMedian::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { session().remembered<CMedian>() = dialog; };
  op.routine = [&dialog, routine](zel::image& img) {
    routine(img.field(), img.bkgr(), img.ROI(), dialog.m_iter, odd(dialog.m_diameter));
  };
  op.time = operation::timing::shown;
  return runStandard(list, op);
}

}  // namespace

bool MedianFilterCommand(zel::imagesList& list) { return runMedian(list, MedianCircle); }

bool MedianFastFilterCommand(zel::imagesList& list) {
  return runMedian(list, [](filterField& field, filterMask& bkgr, filterMask& ROI, int iterations,
                            int diameter) {
    MedianFast(field, bkgr, ROI, iterations, diameter, session().polynomial);
  });
}

bool GaussFilterFastCommand(zel::imagesList& list) {
  CGauss dialog = session().remembered<CGauss>();
  boundRecord<CGauss> record(CGauss::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { session().remembered<CGauss>() = dialog; };
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
  CD3Filter dialog = session().remembered<CD3Filter>();
  FieldMinMax(current->field(), current->bkgr(), current->ROI(), dialog.m_min, dialog.m_max);
  boundRecord<CD3Filter> record(CD3Filter::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { session().remembered<CD3Filter>() = dialog; };
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
  CFilterThreshold dialog = session().remembered<CFilterThreshold>();
  boundRecord<CFilterThreshold> record(CFilterThreshold::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { session().remembered<CFilterThreshold>() = dialog; };
  op.routine = [&dialog](zel::image& img) { FilterThreshold(img, dialog.params(), false); };
  op.time = operation::timing::timed;
  return runStandard(list, op);
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"3d-filter", "Edit", "3D Filter...",
                         "Performs MultiModal 3D Gauss Filtering in Circle Window",
                         "filters.chm::/html/filters_3D.htm", available::image_is_present,
                         {rememberedRecord<CD3Filter>}, Filter3DCommand}),
    commandRegistration({"gauss-filter-fast", "Edit", "Gauss Filter Fast...",
                         "Performs Fast Gauussian based Filtering in Circle Window",
                         "edit2d.chm::/html/edit_gaussfast.htm", available::image_is_present,
                         {rememberedRecord<CGauss>}, GaussFilterFastCommand}),
    commandRegistration({"median-filter", "Edit", "Median Filter...",
                         "Performs Median Filtering in Circle Window",
                         "edit2d.chm::/html/edit_median.htm", available::image_is_present,
                         {rememberedRecord<CMedian>}, MedianFilterCommand}),
    commandRegistration({"median-fast-filter", "Edit", "Median Fast Filter...",
                         "Performs Median Fast Filtering in Circle Window by QSORT Method",
                         "edit2d.chm::/html/edit_medianfast.htm", available::image_is_present,
                         {rememberedRecord<CMedian>}, MedianFastFilterCommand}),
    commandRegistration({"filter-threshold", "Edit", "Filter/Threshold...",
                         "Filter",
                         "vur2d.chm::/html/filter_image.htm", available::image_is_present,
                         {rememberedRecord<CFilterThreshold>}, FilterThresholdCommand}),
};
}  // namespace

}  // namespace tamble
