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

// While not zero, the notices of low-level routines are not shown. Opening a
// project and converting a list set it for the length of their work.
extern int quietMode;

// The parameter dialog: loads the record from the store, lets the user edit
// it (values out of range are refused and the dialog stays), and saves it on
// OK. False means Cancel, and then nothing was written.
bool showDialog(paramRecord& record);

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
};

// Runs `op` on the current image: guard, dialog, snapshot, host undo step,
// remembered values, wait cursor, routine, report. An exception from the
// routine passes out after the snapshot, so "UnDo" is the way back.
bool runStandard(zel::imagesList& list, const operation& op);

// "UnDo": puts back the whole list as the last snapshot kept it.
bool UnDo(zel::imagesList& list);

}  // namespace tamble
