#include "plugin/markerStatsCommand.h"

#include <memory>

#include "api/imagesList.h"
#include "dialogs/markerStatsDialog.h"
#include "host/interaction.h"
#include "markers/markerStats.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"
#include "plugin/session.h"

namespace tamble {

// Nothing on the image changes, so there is no snapshot and no undo step.
bool MarkersStatisticsCommand(zel::imagesList& list) {
  zel::image* img = list.current();
  if (!img) zel::raise<zel::AlgoError>();
  if (img->markers.count() < 2) {
    message(tooFewMarkersForStats, false);
    return true;
  }
  markerStatistics stats;
  if (!MarkerStats(img->markers, stats)) return true;  // its notice is shown
  wait_cursor(true);
  const markerQuality quality =
      MarkerQuality(img->field(), img->bkgr(), img->ROI(), img->markers, session().polynomial);
  wait_cursor(false);
  CMarkOut report(markerStatsLines(img->markers, stats, quality));
  showDialog(report);
  return true;
}

namespace {

std::unique_ptr<paramRecord> emptyReport() { return std::make_unique<CMarkOut>(); }

const commandRegistration command({"markers-statistics",
                                   "Markers",
                                   "Markers Statistics",
                                   "Calculates Markers Statistics for Choosen Image",
                                   "mark.chm::/html/markers_stat.htm",
                                   available::image_is_present,
                                   {emptyReport},
                                   MarkersStatisticsCommand});

}  // namespace

}  // namespace tamble
