#include "plugin/fillUpCommands.h"

#include <algorithm>

#include "api/imagesList.h"
#include "dialogs/fillUpDialogs.h"
#include "markers/fillUp.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

// The values the user chose last, for the next opening of the dialogs (the
// store is read over them).
struct remembered {
  CFillMark fillMark;
  ecfillup fill;
};

remembered& last() {
  static remembered values;
  return values;
}

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
  CFillMark dialog = last().fillMark;
  boundRecord<CFillMark> record(CFillMark::descriptor(), dialog);
  operation op;
  op.guard = noMarkers;
  op.dialog = &record;
  op.remember = [&dialog] { last().fillMark = dialog; };
  op.routine = [&dialog](zel::image& img) {
    FillUpMarkers(img.field(), img.bkgr(), img.ROI(), img.markers, dialog.m_diameter);
  };
  return runStandard(list, op);
}

bool FillUpCommand(zel::imagesList& list) {
  ecfillup dialog = last().fill;
  boundRecord<ecfillup> record(ecfillup::descriptor(), dialog);
  operation op;
  op.guard = allROI;
  op.dialog = &record;
  op.remember = [&dialog] { last().fill = dialog; };
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

}  // namespace tamble
