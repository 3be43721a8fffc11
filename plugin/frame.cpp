#include "plugin/frame.h"

#include <algorithm>

#include "api/imagesList.h"
#include "api/numbers.h"
#include "api/paths.h"
#include "host/hostUi.h"
#include "host/interaction.h"
#include "host/paramRecord.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"

namespace tamble {

bool showDialog(paramRecord& record) {
  loadRecord(record);
  return showLoadedDialog(record);
}

bool showLoadedDialog(paramRecord& record) {
  if (!hostUi().editRecord(record)) return false;
  // The dialog only closes with values it accepts; a host that let a bad one
  // through is treated as a cancel rather than run with it.
  if (auto complaint = checkRecord(record)) {
    message_error(*complaint);
    return false;
  }
  saveRecord(record);
  return true;
}

std::vector<std::string> viewImageEntries(const zel::imagesList& list) {
  std::vector<std::string> entries;
  for (int i = 0; i < list.size(); ++i) {
    const zel::image& img = *list[i];
    const std::string& file = img.fileInfo.name;
    entries.push_back(img.fieldName() + "  -  " + zel::base_name(file) + "." +
                      zel::extension(file));
  }
  return entries;
}

bool dlgViewImage(zel::imagesList& list) {
  static std::vector<std::string> entries;  // rebuilt at every opening
  entries = viewImageEntries(list);
  const int chosen = hostUi().chooseImage("Image", entries, list.currentIndex);
  if (chosen < 0 || chosen >= static_cast<int>(entries.size())) return false;
  // The choice is matched by its text, as the list shows it.
  const auto it = std::find(entries.begin(), entries.end(), entries[chosen]);
  list.setCurrent(static_cast<int>(it - entries.begin()));
  return true;
}

std::string reportText(double seconds, bool fast) {
  return "Operation: " + zel::numberText(seconds, 16, zel::decimalMark::comma) +
         (fast ? " seconds FAST\n" : " seconds\n");
}

namespace {

// A guard that fails shows its text and ends the command, which still
// answers true.
bool stopWith(const char* text) {
  message(text, false);
  return true;
}

const char* guardText(const std::function<const char*(const zel::image&)>& guard,
                      const zel::image* img) {
  return guard && img ? guard(*img) : nullptr;
}

}  // namespace

bool runStandard(zel::imagesList& list, const operation& op) {
  zel::image* img = list.current();
  if (const char* text = guardText(op.guard, img)) return stopWith(text);
  if (op.dialog && !showDialog(*op.dialog)) return true;
  if (const char* text = guardText(op.guardAfterDialog, img)) return stopWith(text);
  list.snapshot();
  if (!op.snapshotOnly) list.saveCurrent(true, "");
  if (op.remember) op.remember();
  // Not ended when an exception passes: the host resets the cursor.
  if (!op.snapshotOnly) wait_cursor(true);
  const auto start = std::chrono::steady_clock::now();
  if (!img) zel::raise<zel::AlgoError>();
  op.routine(*img);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  if (!op.snapshotOnly) wait_cursor(false);
  if (op.time == operation::timing::shown)
    message(reportText(elapsed.count(), op.fastReport), false);
  return true;
}

bool runTwoImages(zel::imagesList& list, const twoImageOperation& op) {
  zel::image* first = list.current();
  if (op.chooseBeforeDialog && !dlgViewImage(list)) return true;
  const bool guardFirst = op.guardBeforeDialog && op.chooseBeforeDialog;
  if (guardFirst && op.guard && first)
    if (const char* text = op.guard(*first, *list.current())) return stopWith(text);
  if (op.dialog && !showDialog(*op.dialog)) return true;
  if (!op.chooseBeforeDialog && !dlgViewImage(list)) return true;
  zel::image* second = list.current();
  if (!first || !second) zel::raise<zel::AlgoError>();
  if (!guardFirst && op.guard)
    if (const char* text = op.guard(*first, *second)) return stopWith(text);
  list.snapshot();
  list.saveImage(op.changes == twoImageOperation::target::first ? first : second, true, "");
  if (op.remember) op.remember();
  wait_cursor(true);
  op.routine(*first, *second);
  wait_cursor(false);
  return true;
}

bool runStage(zel::imagesList& list, bool (*stage)(zel::imagesList&, bool), afterStage after) {
  wait_cursor(true);
  const bool ok = stage(list, true);
  if (after == afterStage::selectLast || (after == afterStage::selectLastOnSuccess && ok))
    list.selectLast();
  wait_cursor(false);
  return true;
}

bool stageParameters(zel::imagesList& list, paramRecord& record, bool interactive) {
  if (!interactive) {
    loadRecord(record);
    return true;
  }
  list.snapshot();
  return showDialog(record);
}

bool UnDo(zel::imagesList& list) {
  list.restoreSnapshot();
  return true;
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"edit/undo",
                         "Edit",
                         "UnDo",
                         "One step UnDo",
                         "edit2d.chm::/html/edit_arithmetic.htm",
                         available::undo_available,
                         {},
                         UnDo}),
    commandRegistration({"b-convert/undo",
                         "B Convert",
                         "UnDo",
                         "Single step UnDo",
                         "BConvert.chm::/html/BConvert_save.htm",
                         available::undo_available,
                         {},
                         UnDo}),
};
}  // namespace

}  // namespace tamble
