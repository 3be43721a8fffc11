#include "plugin/directionalCommands.h"

#include <optional>

#include "api/imagesList.h"
#include "dialogs/directionalDialogs.h"
#include "filters/directional.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

using filterRoutine = void (*)(filterField&, const filterMask&, const filterMask&, int, float,
                               float, float, const std::optional<lengthTaper>&);

// A directional filter: with the direction "By 2/4 Markers" the image must
// hold two markers (the direction from the first to the second) or four
// (the third and fourth set the taper), checked once the dialog has said
// where the direction comes from.
template <class T>
bool runDirectional(zel::imagesList& list, filterRoutine routine) {
  T dialog = session().remembered<T>();
  boundRecord<T> record(T::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.guardAfterDialog = [&dialog](const zel::image& img) -> const char* {
    const int n = img.markers.count();
    return dialog.m_source == 1 && n != 2 && n != 4 ? directionMarkersNeeded : nullptr;
  };
  op.remember = [&dialog] { session().remembered<T>() = dialog; };
  op.routine = [&dialog, routine](zel::image& img) {
    float angle = dialog.m_angle;
    std::optional<lengthTaper> taper;
    if (dialog.m_source == 1) {
      const auto& m = img.markers.items;
      angle = directionAngle(m[0].x, m[0].y, m[1].x, m[1].y);
      if (m.size() == 4) taper = lengthTaper{m[2].x, m[2].y, m[3].x, m[3].y};
    }
    routine(img.field(), img.bkgr(), img.ROI(), dialog.m_iter, dialog.m_length, dialog.m_width,
            angle, taper);
  };
  op.time = operation::timing::timed;
  return runStandard(list, op);
}

}  // namespace

bool DirectionalGaussCommand(zel::imagesList& list) {
  return runDirectional<CDirGauss>(list, DirectionalGauss);
}

bool DirectionalMedianCommand(zel::imagesList& list) {
  return runDirectional<CDirMedian>(list, DirectionalMedian);
}

// Two markers set the smear's direction, fewer leave the typed angle.
bool DeBlur1DCommand(zel::imagesList& list) {
  CDeBlur1D dialog = session().remembered<CDeBlur1D>();
  boundRecord<CDeBlur1D> record(CDeBlur1D::descriptor(), dialog);
  operation op;
  op.guard = [](const zel::image& img) -> const char* {
    return img.markers.count() > 2 ? tooManySmearMarkers : nullptr;
  };
  op.dialog = &record;
  op.remember = [&dialog] { session().remembered<CDeBlur1D>() = dialog; };
  op.routine = [&dialog](zel::image& img) {
    const auto& m = img.markers.items;
    const float angle =
        m.size() == 2 ? directionAngle(m[0].x, m[0].y, m[1].x, m[1].y) : dialog.m_angle;
    DeBlur1D(img.field(), img.bkgr(), img.ROI(), dialog.m_length, angle, dialog.m_noise,
             dialog.m_iter);
  };
  op.time = operation::timing::shown;
  return runStandard(list, op);
}

namespace {

const commandRegistration commands[] = {
    commandRegistration({"1d-deblur", "Edit", "1D DeBlur", "DeBlurring in 1 Dimension",
                         "edit2d.chm::/html/edit_circle_full_create.htm",
                         available::image_is_present, {rememberedRecord<CDeBlur1D>},
                         DeBlur1DCommand}),
    commandRegistration(
        {"directional-gauss-filter", "Edit", "Directional Gauss Filter...",
         "Performs Directional (by 2/4 markers) Gauss Filtering in Elliptic Window",
         "edit2d.chm::/html/edit_medianfast.htm", available::image_is_present,
         {rememberedRecord<CDirGauss>}, DirectionalGaussCommand}),
    commandRegistration(
        {"directional-median-filter", "Edit", "Directional Median Filter...",
         "Performs Directional (by 2/4 markers) Gauss Filtering in Elliptic Window",
         "edit2d.chm::/html/edit_medianfast.htm", available::image_is_present,
         {rememberedRecord<CDirMedian>}, DirectionalMedianCommand}),
};

}  // namespace

}  // namespace tamble
