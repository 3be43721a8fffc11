#include "plugin/markerDrawCommands.h"

#include <algorithm>

#include "api/imagesList.h"
#include "dialogs/markerDialogs.h"
#include "markers/drawMarkers.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

// Both commands need markers on the current image.
auto needsMarkers(const char* text) {
  return [text](const zel::image& img) -> const char* {
    return img.markers.count() == 0 ? text : nullptr;
  };
}

// The revisions' record, as they left it: the spots are drawn at the
// diameter and sign the markers were revised with.
CRevMarkers drawOpening() { return revMarkersMemory(); }

}  // namespace

bool DrawArtificialMarkersCommand(zel::imagesList& list) {
  CRevMarkers dialog = revMarkersMemory();
  boundRecord<CRevMarkers> record(CRevMarkers::descriptor(), dialog);
  operation op;
  op.guard = needsMarkers(noMarkersToReDraw);
  op.dialog = &record;
  op.remember = [&dialog] { revMarkersMemory() = dialog; };
  op.routine = [&dialog](zel::image& img) {
    const double D = std::max(dialog.m_BiggestRadius, 1.0);
    DrawMarkers(img.field(), img.bkgr(), img.ROI(), img.markers, dialog.iposneg, D);
  };
  return runStandard(list, op);
}

bool TriangulationDrawCommand(zel::imagesList& list) {
  operation op;
  op.guard = needsMarkers(noMarkersToTriangulate);
  op.routine = [](zel::image& img) { TriangulationDraw(img.field(), img.markers); };
  return runStandard(list, op);
}

namespace {
const commandRegistration commands[] = {
    commandRegistration(
        {"draw-artificial-markers",
         "Markers",
         "Draw Artificial Markers...",
         "Draw Artificial GaussLike Markers Based on PreCalculated Markers Positions",
         "mark.chm::/html/markers_draw.htm",
         available::image_is_present,
         {openedRecord<CRevMarkers, drawOpening>},
         DrawArtificialMarkersCommand}),
    commandRegistration({"triangulation-draw",
                         "Markers",
                         "Triangulation Draw",
                         "Performs Image Triangulation Using Defined BeforeHand Markers",
                         "mark.chm::/html/markers_triangulationdraw.htm",
                         available::image_is_present,
                         {},
                         TriangulationDrawCommand}),
};
}  // namespace

}  // namespace tamble
