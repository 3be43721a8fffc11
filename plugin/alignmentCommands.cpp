// "Image Alignment..." and "ROI Align & Copy...": the current image is
// warped so that its markers come to lie on those of a second image.
#include <string>

#include "api/imagesList.h"
#include "dialogs/alignmentDialog.h"
#include "host/hostUi.h"
#include "host/interaction.h"
#include "plugin/alignByRecord.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"
#include "plugin/memoryCell.h"
#include "plugin/session.h"

namespace tamble {

namespace {

const char* const firstAbsent = "Markers on the First Image are Absent. Procedure is terminated";
const char* const secondAbsent = "Markers on the Second Image are Absent. Procedure is terminated";

// "QPED": the displacement of the grid of cells goes to a chosen file.
void writeDisplacementIfAsked(const CAlignment& r, const zel::image& first,
                              const displacementMap& source) {
  if (!r.m_QPED) return;
  const std::string file =
      hostUi().chooseFile("Displacement", "Displacement files (*.txt)|*.txt||", true);
  if (!file.empty()) writeDisplacement(file, first, r, source);
}

const char* markersGuard(const zel::image& first, const zel::image& second) {
  if (first.markers.count() == 0) return firstAbsent;
  if (second.markers.count() == 0) return secondAbsent;
  return nullptr;
}

bool ImageAlignment(zel::imagesList& list) {
  CAlignment dialog = alignmentOpening();
  boundRecord<CAlignment> record(CAlignment::descriptor(), dialog);
  twoImageOperation op;
  op.dialog = &record;
  op.chooseBeforeDialog = true;
  op.guardBeforeDialog = true;
  op.guard = markersGuard;
  op.changes = twoImageOperation::target::first;
  op.remember = [&dialog] { rememberAlignment(dialog); };
  op.routine = [&dialog](zel::image& first, zel::image& second) {
    displacementMap source;
    {
      infoScope info(dialog.m_info != 0);
      source = alignByRecord(first, second, dialog).source;
    }
    writeDisplacementIfAsked(dialog, first, source);
  };
  return runTwoImages(list, op);
}

// The buffers' ROI and markers, as an image to align; its field is empty.
zel::image bufferImage() {
  const memoryCellStores& memory = session().memory;
  zel::image img(memory.roiBuffer.width(), memory.roiBuffer.height());
  copy_ROI(memory.roiBuffer, img.ROI());
  img.markers = memory.markersBuffer;
  img.setFieldName("buffer");
  return img;
}

bool ROIAlignAndCopy(zel::imagesList& list) {
  zel::image* current = list.current();
  zel::image fromBuffer = bufferImage();
  if (const char* text = markersGuard(fromBuffer, *current)) {
    message(text, false);
    return true;
  }
  CAlignment dialog = alignmentOpening();
  boundRecord<CAlignment> record(CAlignment::descriptor(), dialog);
  if (!showDialog(record)) return true;
  rememberAlignment(dialog);
  list.snapshot();
  wait_cursor(true);
  bool warped = false;
  {
    infoScope info(dialog.m_info != 0);
    warped = alignByRecord(fromBuffer, *current, dialog).warped;
  }
  if (warped) copy_ROI(fromBuffer.ROI(), current->ROI());
  wait_cursor(false);
  return true;
}

const commandRegistration commands[] = {
    commandRegistration({"image-alignment",
                         "Tools",
                         "Image Alignment...",
                         "Performs Image Alignment According to Markers Being Determined",
                         "ZELTools.chm::/html/ZELTools_alignment.htm",
                         available::image_is_present,
                         {openedRecord<CAlignment, alignmentOpening>},
                         ImageAlignment,
                         {{userChoice::kind::image, "Image"}}}),
    commandRegistration({"roi-align-and-copy",
                         "B Convert",
                         "ROI Align & Copy...",
                         "Copy ROI from Buffer to Image OnScreen",
                         "BConvert.chm::/html/BConvert_setref.htm",
                         available::roi_is_set,
                         {openedRecord<CAlignment, alignmentOpening>},
                         ROIAlignAndCopy}),
};

}  // namespace
}  // namespace tamble
