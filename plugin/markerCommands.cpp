#include "plugin/markerCommands.h"

#include <algorithm>

#include "api/imagesList.h"
#include "dialogs/markerDialogs.h"
#include "markers/autoMark.h"
#include "markers/revise.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {
namespace {

using revision = void (*)(const markerField&, const markerMask&, const markerMask&,
                          zel::markersArray&, int, double);

bool runRevision(zel::imagesList& list, revision routine) {
  CRevMarkers dialog = revMarkersMemory();
  boundRecord<CRevMarkers> record(CRevMarkers::descriptor(), dialog);
  operation op;
  op.guard = [](const zel::image& img) -> const char* {
    return img.markers.count() == 0 ? noMarkersToRevise : nullptr;
  };
  op.dialog = &record;
  op.remember = [&dialog] { revMarkersMemory() = dialog; };
  op.routine = [&dialog, routine](zel::image& img) {
    const double D = std::max(dialog.m_BiggestRadius, 1.0);
    routine(img.field(), img.bkgr(), img.ROI(), img.markers, dialog.iposneg, D);
  };
  return runStandard(list, op);
}

CRevMarkers reviseOpening() { return revMarkersMemory(); }

}  // namespace

bool AutoMarkCommand(zel::imagesList& list) {
  CAutomarq dialog = automarqFromMemory();
  boundRecord<CAutomarq> record(CAutomarq::descriptor(), dialog);
  operation op;
  op.dialog = &record;
  op.remember = [&dialog] { rememberSearch(dialog); };
  op.routine = [&dialog](zel::image& img) {
    // Fixed markers: the markers there are stay, and nothing is searched.
    if (dialog.m_fixed) return;
    AutoMarkQuick(img.field(), img.bkgr(), img.ROI(), img.markers, dialog.pos_neg,
                  static_cast<double>(dialog.m_bmr), dialog.level(), session().polynomial);
  };
  return runStandard(list, op);
}

bool ReviseMarkersCommand(zel::imagesList& list) {
  return runRevision(list, [](const markerField& field, const markerMask& bkgr,
                              const markerMask& ROI, zel::markersArray& markers, int sign,
                              double D) {
    ReviseMarkers(field, bkgr, ROI, markers, sign, D, session().polynomial);
  });
}

bool ReviseMarkersCentersCommand(zel::imagesList& list) {
  return runRevision(list, ReviseMarkersCenters);
}

void SearchMarkers(const zel::image& img, const CAutomarsc& record, zel::markersArray& found) {
  AutoMarkRings(img.field(), img.bkgr(), img.ROI(), found, record.m_bmr, record.rel,
                record.m_entropy, record.m_relative, record.pos_neg, 1, 0, 1000);
}

void SearchMarkersLimited(const zel::image& img, const CAutomarl& record, int sign,
                          zel::markersArray& found) {
  const CAutomarsc defaults;
  AutoMarkRings(img.field(), img.bkgr(), img.ROI(), found, record.m_bmr, defaults.rel,
                defaults.m_entropy, defaults.m_relative, sign, 1, 0, record.m_limit);
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"auto-mark", "Markers", "Auto Mark...",
                         "Performs Markers Search Using Quick Algorithm",
                         "mark.chm::/html/markers_automark.htm", available::image_is_present,
                         {openedRecord<CAutomarq, automarqFromMemory>}, AutoMarkCommand}),
    commandRegistration({"revise-markers", "Markers", "Revise Markers...",
                         "Recalculates Markers Positions with more Accuracy",
                         "mark.chm::/html/markers_revise.htm", available::image_is_present,
                         {openedRecord<CRevMarkers, reviseOpening>}, ReviseMarkersCommand}),
    commandRegistration({"revise-markers-centers", "Markers", "Revise Markers (Centers)...",
                         "Recalculates Markers Positions with more Precision",
                         "mark.chm::/html/markers_revise.htm", available::image_is_present,
                         {openedRecord<CRevMarkers, reviseOpening>}, ReviseMarkersCentersCommand}),
};
}  // namespace

}  // namespace tamble
