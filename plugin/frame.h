// The frame every command runs in: guards, the parameter dialog, the
// snapshot for "UnDo", the host's undo step, the routine and its report.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace zel {
class image;
class imagesList;
}  // namespace zel

namespace tamble {

class paramRecord;

// The parameter dialog: loads the record from the store, lets the user edit
// it (values out of range are refused and the dialog stays), and saves it on
// OK. False means Cancel, and then nothing was written.
bool showDialog(paramRecord& record);
// The same with the values the record holds now, not the store's.
bool showLoadedDialog(paramRecord& record);

// The image choice, titled "Image": one entry per image, "name  -  file.ext".
// On OK the chosen image becomes the current one. False means Cancel.
bool dlgViewImage(zel::imagesList& list);
std::vector<std::string> viewImageEntries(const zel::imagesList& list);

// "Operation: <seconds> seconds\n" ("... seconds FAST\n" for the fast Gauss).
std::string reportText(double seconds, bool fast = false);

// One command in the standard form. Every member but `routine` may be empty.
struct operation {
  // Checked before the dialog: a text means the command must not run.
  std::function<const char*(const zel::image&)> guard;
  paramRecord* dialog = nullptr;
  // Checked after OK (the values are saved already), before the snapshot.
  std::function<const char*(const zel::image&)> guardAfterDialog;
  // Copies the dialog's values into the remembered values.
  std::function<void()> remember;
  std::function<void(zel::image&)> routine;
  enum class timing { none, timed, shown } time = timing::none;
  bool fastReport = false;
  // The snapshot-only form: no host undo step and no wait cursor.
  bool snapshotOnly = false;
};

// Runs `op` on the current image: guard, dialog, snapshot, host undo step,
// remembered values, wait cursor, routine, report. An exception from the
// routine passes out after the snapshot, so "UnDo" is the way back.
bool runStandard(zel::imagesList& list, const operation& op);

// A command on two images. The current image is the first; the image choice
// comes before or after the dialog and gives the second. `changes` names
// which of the two the routine changes: that one gets the host undo step.
struct twoImageOperation {
  paramRecord* dialog = nullptr;
  bool chooseBeforeDialog = true;
  std::function<void()> remember;
  // Checked once both images are known: a text stops the command. With
  // guardBeforeDialog (and the choice before the dialog) the dialog is not
  // shown when the guard stops the command.
  std::function<const char*(const zel::image& first, const zel::image& second)> guard;
  bool guardBeforeDialog = false;
  std::function<void(zel::image& first, zel::image& second)> routine;
  enum class target { first, second } changes = target::second;
};
bool runTwoImages(zel::imagesList& list, const twoImageOperation& op);

// A stage of a project's conversion run from its menu row: the wait cursor
// wraps the whole, the stage shows its own dialogs, and afterwards the last
// image becomes current (always, only on success, or never).
enum class afterStage { selectLast, selectLastOnSuccess, keepCurrent };
bool runStage(zel::imagesList& list, bool (*stage)(zel::imagesList&, bool), afterStage after);

// The parameters of a stage. From the menu (`interactive`) the stage takes
// the "UnDo" check point and shows its dialog (false: Cancel); run by an
// automatic conversion it reads them from the store without a word.
bool stageParameters(zel::imagesList& list, paramRecord& record, bool interactive);

// "UnDo": puts back the whole list as the last snapshot kept it.
bool UnDo(zel::imagesList& list);

}  // namespace tamble
