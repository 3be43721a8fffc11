// "Image Alignment..." and "ROI Align & Copy...": the current image is
// warped so that its markers come to lie on those of a second image.
#include <string>

#include "align/displacementTable.h"
#include "align/imageAlign.h"
#include "align/triAlign.h"
#include "api/imagesList.h"
#include "dialogs/alignmentDialog.h"
#include "host/hostUi.h"
#include "host/interaction.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"
#include "plugin/memoryCell.h"
#include "plugin/session.h"

namespace tamble {
namespace {

const char* const firstAbsent = "Markers on the First Image are Absent. Procedure is terminated";
const char* const secondAbsent = "Markers on the Second Image are Absent. Procedure is terminated";

const char* markersGuard(const zel::image& first, const zel::image& second) {
  if (first.markers.count() == 0) return firstAbsent;
  if (second.markers.count() == 0) return secondAbsent;
  return nullptr;
}

// With "Show INFO" off the routines' notices are dropped for the run.
class infoScope {
 public:
  explicit infoScope(bool show) : saved(session().quietMode) {
    if (!show) session().quietMode = 1;
  }
  ~infoScope() { session().quietMode = saved; }
  infoScope(const infoScope&) = delete;
  infoScope& operator=(const infoScope&) = delete;

 private:
  int saved;
};

bool ask(const std::string& text) { return message(text, true); }

// Aligns `first` onto `second` by the record's rules: triangles with "Micro
// Alignment", else the polynomial. The map the warp used, for the table.
displacementMap alignByRecord(zel::image& first, const zel::image& second, const CAlignment& r) {
  polynomialState& map = session().polynomial;
  if (r.m_micro) {
    triSettings settings;
    settings.box = r.m_nsquare;
    settings.paired = r.m_fixed != 0;
    settings.drawMesh = r.m_immediate != 0;
    return TriAlign(first, second, settings, map).source;
  }
  alignSettings settings;
  settings.fixed = r.fixedCount();
  settings.rtype = r.rtype;
  settings.box = r.m_nsquare;
  settings.order = r.pnumber;
  settings.showErrors = r.m_immediate != 0;
  settings.skip = r.m_no_trans == 0;
  settings.macro = r.m_macro != 0;
  const alignOutcome done = ImageAlign(first, second, settings, map, ask);
  if (!done.warped) return {};
  return polynomialDisplacement(map);
}

// "QPED": the displacement of the grid of cells goes to a chosen file.
void writeDisplacementIfAsked(const CAlignment& r, const zel::image& first,
                              const displacementMap& source) {
  if (!r.m_QPED) return;
  const std::string file =
      hostUi().chooseFile("Displacement", "Displacement files (*.txt)|*.txt||", true);
  if (file.empty()) return;
  if (!source) {
    message("The image was not aligned: no displacement table is written.", false);
    return;
  }
  writeDisplacementTable(file, first.field().width(), first.field().height(), r.m_QPED_cellSize,
                         r.m_QPED_stepSize, source);
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
      source = alignByRecord(first, second, dialog);
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
    warped = static_cast<bool>(alignByRecord(fromBuffer, *current, dialog));
  }
  if (warped) copy_ROI(fromBuffer.ROI(), current->ROI());
  wait_cursor(false);
  return true;
}

const commandRegistration commands[] = {
    commandRegistration({"image-alignment", "Tools", "Image Alignment...",
                         "Performs Image Alignment According to Markers Being Determined",
                         "ZELTools.chm::/html/ZELTools_alignment.htm", available::image_is_present,
                         {openedRecord<CAlignment, alignmentOpening>}, ImageAlignment,
                         {{userChoice::kind::image, "Image"}}}),
    commandRegistration({"roi-align-and-copy", "B Convert", "ROI Align & Copy...",
                         "Copy ROI from Buffer to Image OnScreen",
                         "BConvert.chm::/html/BConvert_setref.htm", available::roi_is_set,
                         {openedRecord<CAlignment, alignmentOpening>}, ROIAlignAndCopy}),
};

}  // namespace
}  // namespace tamble
