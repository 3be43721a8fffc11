#include "plugin/summaryCommand.h"

#include <memory>

#include "api/imagesList.h"
#include "api/paths.h"
#include "dialogs/summaryDialogs.h"
#include "filters/summary.h"
#include "host/atomicFile.h"
#include "host/hostUi.h"
#include "host/interaction.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"

namespace tamble {

void saveSummary(std::string path, const std::vector<std::string>& rows) {
  if (zel::extension(path).empty()) path += ".txt";
  std::string text;
  for (const std::string& row : rows) text += row + "\n";
  writeAtomically(path, [&](std::FILE* out) {
    return std::fwrite(text.data(), 1, text.size(), out) == text.size();
  });
}

// No snapshot and no undo step: the image does not change.
bool SummaryCommand(zel::imagesList& list) {
  zel::image* img = list.current();
  CStatStart mode = session().remembered<CStatStart>();
  boundRecord<CStatStart> record(CStatStart::descriptor(), mode);
  if (!showDialog(record)) return true;
  session().remembered<CStatStart>() = mode;
  if (!img) zel::raise<zel::AlgoError>();
  summaryRecord figures;
  figures.mode = mode.advanced;
  wait_cursor(true);
  ImageSummary(img->field(), img->bkgr(), img->ROI(), figures);
  wait_cursor(false);
  const std::vector<std::string> rows = summaryLines(figures);
  Stat shown(rows);
  if (!showDialog(shown)) return true;
  const std::string file =
      hostUi().chooseFile("Save Summary", summaryFileFilter, true, summaryFileName);
  if (!file.empty()) saveSummary(file, rows);
  return true;
}

namespace {

std::unique_ptr<paramRecord> emptySummary() { return std::make_unique<Stat>(); }

const commandRegistration command({"summary",
                                   "Tools",
                                   "Summary...",
                                   "Outputs Image Statistics Summary",
                                   "ZELTools.chm::/html/ZELTools_summary.htm",
                                   available::image_is_present,
                                   {rememberedRecord<CStatStart>, emptySummary},
                                   SummaryCommand,
                                   {{userChoice::kind::file, "Save Summary"}}});

}  // namespace

}  // namespace tamble
