#include "plugin/geometryCommands.h"

#include <algorithm>
#include <sstream>

#include "api/imagesList.h"
#include "dialogs/geometryDialogs.h"
#include "geometry/transforms.h"
#include "host/interaction.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

// The values the user chose last, for the next opening of the dialogs whose
// values are not (all) kept in the store.
struct geometryMemory {
  int regime = 0;
  int constrain = 1, resample = 1;
  int relative = 0, anchorX = -1, anchorY = 0;
};

geometryMemory& last() { return session().remembered<geometryMemory>(); }

FlipRot flipRotateOpening() { return FlipRot{last().regime}; }

// The size dialogs open on the image's size; the remembered choices are what
// is known before.
CIRes resizeOpening() {
  CIRes dialog;
  dialog.m_cp = last().constrain;
  dialog.m_int = last().resample;
  return dialog;
}

CICrop cropOpening() {
  CICrop dialog;
  dialog.relative = last().relative;
  dialog.anchor_x = last().anchorX;
  dialog.anchor_y = last().anchorY;
  return dialog;
}

bool isQuarterTurn(int regime) { return regime == 1 || regime == 2 || regime == 5 || regime == 6; }

bool roiSelects(const zel::image& img) {
  const auto& roi = img.ROI();
  return std::find(roi.data, roi.data + roi.count, false) != roi.data + roi.count;
}

// Gives the image new, fresh layers of another size; it stays the same image
// to the user (name and file data kept).
void reallocate(zel::image& img, int width, int height) {
  const std::string name = img.fieldName();
  const zel::file_info file = img.fileInfo;
  img.resize(width, height);
  img.setFieldName(name);
  img.fileInfo = file;
}

}  // namespace

bool FlipRotateCommand(zel::imagesList& list) {
  FlipRot dialog = flipRotateOpening();
  boundRecord<FlipRot> record(FlipRot::descriptor(), dialog);
  if (!showDialog(record)) return true;
  zel::image* img = list.current();
  last().regime = dialog.regime;
  // The refusal comes before the snapshot: nothing changed, so "UnDo" stays
  // as it was.
  if (isQuarterTurn(dialog.regime) && img->width() != img->height()) {
    message("This Operation is Valid Only For Square Images!", false);
    return true;
  }
  list.snapshot();
  list.saveCurrent(true, "");
  wait_cursor(true);
  FlipRotate(img->field(), img->bkgr(), img->ROI(), img->markers, dialog.regime);
  wait_cursor(false);
  return true;
}

bool ScaleRotateShiftCommand(zel::imagesList& list) {
  CSRS dialog;
  dialog.along_x = list.current()->width();
  dialog.along_y = list.current()->height();
  boundRecord<CSRS> record(CSRS::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.routine = [&dialog](zel::image& img) {
    ScaleRotateShift(img.field(), img.bkgr(), img.ROI(), img.markers, dialog.m_scx, dialog.m_scy,
                     dialog.m_alpha, dialog.m_shx, dialog.m_shy, dialog.interp,
                     session().polynomial);
  };
  return runStandard(list, op);
}

bool ScaleRotateRelativeCommand(zel::imagesList& list) {
  CSSR dialog;
  dialog.along_x = list.current()->width();
  dialog.along_y = list.current()->height();
  boundRecord<CSSR> record(CSSR::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  // The routine turns the other way round: the command hands it -alpha.
  op.routine = [&dialog](zel::image& img) {
    ScaleRotateRelative(img.field(), img.bkgr(), img.ROI(), img.markers, dialog.m_scx, dialog.m_scy,
                        dialog.m_x1, dialog.m_y1, dialog.m_x2, dialog.m_y2, -dialog.m_alpha,
                        dialog.interp, session().polynomial);
  };
  return runStandard(list, op);
}

bool ImageResizeCommand(zel::imagesList& list) {
  zel::image* img = list.current();
  CIRes dialog = resizeOpening();
  dialog.open(img->width(), img->height());
  boundRecord<CIRes> record(CIRes::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] {
    last().constrain = dialog.m_cp;
    last().resample = dialog.m_int;
  };
  op.routine = [&dialog](zel::image& target) {
    const zel::image source(target);
    reallocate(target, dialog.x_pixels, dialog.y_pixels);
    ImageResize(source.field(), source.bkgr(), source.ROI(), source.markers, target.field(),
                target.bkgr(), target.ROI(), target.markers, dialog.m_int, session().polynomial);
  };
  op.time = operation::timing::timed;
  return runStandard(list, op);
}

bool ImageCropCommand(zel::imagesList& list) {
  zel::image* img = list.current();
  CICrop dialog = cropOpening();
  dialog.open(img->width(), img->height());
  boundRecord<CICrop> record(CICrop::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] {
    last().relative = dialog.relative;
    last().anchorX = dialog.anchor_x;
    last().anchorY = dialog.anchor_y;
  };
  // The image takes its new size first; a size the routine refuses leaves it
  // blank, and "UnDo" is the way back.
  op.routine = [&dialog](zel::image& target) {
    const zel::image source(target);
    reallocate(target, dialog.newWidth(), dialog.newHeight());
    ImageCrop(source.field(), source.bkgr(), source.ROI(), source.markers, target.field(),
              target.bkgr(), target.ROI(), target.markers, dialog.anchor_x, dialog.anchor_y);
  };
  return runStandard(list, op);
}

bool ZoomROICommand(zel::imagesList& list) {
  operation op;
  op.guard = [](const zel::image& img) {
    return roiSelects(img) ? nullptr : "All Image is ROI.\nNo Zoom ROI Available!";
  };
  op.routine = [](zel::image& img) {
    const int w = img.width(), h = img.height();
    int xmin = w + 10, xmax = -10, ymin = h + 10, ymax = -10;
    for (int y = 0; y < h; ++y) {
      const bool* roi = img.ROI().row(y);
      for (int x = 0; x < w; ++x)
        if (roi[x]) {
          xmin = std::min(xmin, x);
          xmax = std::max(xmax, x);
          ymin = std::min(ymin, y);
          ymax = std::max(ymax, y);
        }
    }
    img.fillROI(true);
    const float z = std::min(static_cast<float>(w) / static_cast<float>(xmax - xmin + 1),
                             static_cast<float>(h) / static_cast<float>(ymax - ymin + 1));
    ScaleRotateRelative(img.field(), img.bkgr(), img.ROI(), img.markers, z, z, (xmax + xmin) * 0.5,
                        (ymax + ymin) * 0.5, w * 0.5, h * 0.5, 0.0, 2, session().polynomial);
  };
  return runStandard(list, op);
}

bool ROIMaximumCommand(zel::imagesList& list) {
  const zel::image& img = *list.current();
  int ix = 0, iy = 0;
  float best = -1e30f;
  for (int y = 0; y < img.height(); ++y) {
    const float* v = img.field().row(y);
    const bool* bk = img.bkgr().row(y);
    const bool* roi = img.ROI().row(y);
    for (int x = 0; x < img.width(); ++x)
      if (!bk[x] && roi[x] && v[x] > best) {
        best = v[x];
        ix = x;
        iy = y;
      }
  }
  double x40 = 0, y40 = 0, x100 = 0, y100 = 0;
  BiCubic40(img.field(), ix, iy, x40, y40);
  BiCubic100(img.field(), ix, iy, x100, y100);
  std::ostringstream text;
  text << "Original      Xmax= " << ix << "    Ymax= " << iy << "\n\n"
       << "Resulting   Xmax= " << x40 << "    Ymax= " << y40 << "\n\n"
       << "Resulting   Xmax= " << x100 << "    Ymax= " << y100;
  message(text.str(), false);
  return true;
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"flip-rotate", "Edit", "Flip/Rotate...",
                         "Flips, Rotates Image (+-90 degrees only for Square Images)",
                         "edit2d.chm::/html/edit_flip.htm", available::image_is_present,
                         {openedRecord<FlipRot, flipRotateOpening>}, FlipRotateCommand}),
    commandRegistration({"scale-rotate-shift", "Edit", "Scale,Rotate,Shift...",
                         "Scales, Rotates and Shifts Image Sequentially Using Specified Values",
                         "edit2d.chm::/html/edit_scrotsh.htm", available::image_is_present,
                         {freshRecord<CSRS>}, ScaleRotateShiftCommand}),
    commandRegistration({"scale-rotate-relative", "Edit", "Scale,Rotate Relative...",
                         "Scales, Shifts and Rotates Image Sequentially Using Origin and Target Points",
                         "edit2d.chm::/html/edit_scshrot.htm", available::image_is_present,
                         {freshRecord<CSSR>}, ScaleRotateRelativeCommand}),
    commandRegistration({"image-resize", "Edit", "Image Resize...",
                         "Resizes Image According to Defined Dimensions",
                         "edit2d.chm::/html/edit_resize.htm", available::image_is_present,
                         {openedRecord<CIRes, resizeOpening>}, ImageResizeCommand}),
    commandRegistration({"image-trim-lengthen", "Edit", "Image Trim/Lengthen...",
                         "Trims/Lengthens Image (Canvas) According to Defined Dimensions",
                         "edit2d.chm::/html/edit_crop.htm", available::image_is_present,
                         {openedRecord<CICrop, cropOpening>}, ImageCropCommand}),
    commandRegistration({"zoom-roi", "Edit", "Zoom ROI",
                         "Zoom ROI Using BiCubic Damped Interpolation",
                         "edit2d.chm::/html/edit_zoom_ROI.htm", available::image_is_present,
                         {}, ZoomROICommand}),
    commandRegistration({"roi-maximum-subpixel-coordinates", "Transform",
                         "ROI Maximum Subpixel coordinates",
                         "Performs Increasing Accuracy of Any ROI Group With Local Maximum Peak "
                         "Position Determination",
                         "transform.chm::/html/transform_interp_maxima.htm",
                         available::image_is_present, {}, ROIMaximumCommand}),
};
}  // namespace

}  // namespace tamble
