#include "plugin/fillUpCommands.h"

#include <algorithm>

#include "api/imagesList.h"
#include "dialogs/fillUpDialogs.h"
#include "markers/fillUp.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

const char* noMarkers(const zel::image& img) {
  return img.markers.count() == 0 ? "Markers are Absent.\nNo Markers to FillUp!" : nullptr;
}

const char* allROI(const zel::image& img) {
  const fillMask& roi = img.ROI();
  return std::find(roi.data, roi.data + roi.count, false) == roi.data + roi.count
             ? "All Image is ROI.\nNo FillUp Available!"
             : nullptr;
}

const char* noBackground(const zel::image& img) {
  const fillMask& bkgr = img.bkgr();
  return std::find(bkgr.data, bkgr.data + bkgr.count, true) == bkgr.data + bkgr.count
             ? "No BackGround. Operation terminated!"
             : nullptr;
}

}  // namespace

bool FillUpMarkersCommand(zel::imagesList& list) {
  CFillMark dialog = session().remembered<CFillMark>();
  boundRecord<CFillMark> record(CFillMark::descriptor(), dialog);
  operation op;
  op.guard = noMarkers;
  op.dialog = &record;
  op.remember = [&dialog] { session().remembered<CFillMark>() = dialog; };
  op.routine = [&dialog](zel::image& img) {
    FillUpMarkers(img.field(), img.bkgr(), img.ROI(), img.markers, dialog.m_diameter);
  };
  return runStandard(list, op);
}

bool FillUpCommand(zel::imagesList& list) {
  ecfillup dialog = session().remembered<ecfillup>();
  boundRecord<ecfillup> record(ecfillup::descriptor(), dialog);
  operation op;
  op.guard = allROI;
  op.dialog = &record;
  op.remember = [&dialog] { session().remembered<ecfillup>() = dialog; };
  op.routine = [&dialog](zel::image& img) {
    FillUp(img.field(), img.bkgr(), img.ROI(), dialog.bg_fill_flag != 0, dialog.direction,
           dialog.m_scale);
  };
  return runStandard(list, op);
}

bool FillUpBackGroundCommand(zel::imagesList& list) {
  operation op;
  op.guard = noBackground;
  // The blocked pixels (bkgr set or ROI clear) become the region, with no
  // background anywhere; the image's own masks are not touched.
  op.routine = [](zel::image& img) {
    fillField& field = img.field();
    const fillMask& bkgr = img.bkgr();
    const fillMask& roi = img.ROI();
    if (!field.sameExtent(bkgr) || !field.sameExtent(roi)) zel::raise<zel::DimError>();
    fillMask none(field.width(), field.height());
    none.fill(false);
    fillMask valid(field.width(), field.height());
    for (std::size_t i = 0; i < valid.count; ++i) valid.data[i] = !bkgr.data[i] && roi.data[i];
    FillUp(field, none, valid, false, 0, 1.0f);
  };
  return runStandard(list, op);
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"fill-up", "Edit", "Fill Up...",
                         "Fills Specified Regions by Border Dependent Values",
                         "edit2d.chm::/html/edit_fillup.htm", available::image_is_present,
                         {rememberedRecord<ecfillup>}, FillUpCommand}),
    commandRegistration({"fill-up-background", "Edit", "Fill Up BackGround",
                         "Fills BackGround Regions by Border Dependent Values",
                         "edit2d.chm::/html/edit_fillup_bg.htm", available::image_is_present,
                         {}, FillUpBackGroundCommand}),
    commandRegistration({"fill-up-markers", "Markers", "Fill Up Markers...",
                         "Fills Marker Regions with Closely Spaced Values",
                         "mark.chm::/html/markers_fillup.htm", available::image_is_present,
                         {rememberedRecord<CFillMark>}, FillUpMarkersCommand}),
};
}  // namespace

}  // namespace tamble
