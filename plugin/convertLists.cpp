#include "plugin/convertLists.h"

#include <algorithm>
#include <filesystem>
#include <string>

#include "api/errors.h"
#include "api/imagesList.h"
#include "host/hostUi.h"
#include "host/interaction.h"
#include "host/project.h"
#include "host/projectDialogs.h"
#include "plugin/automaticConvert.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/projectParameters.h"
#include "plugin/projectState.h"
#include "plugin/resectCommands.h"
#include "plugin/saveResults.h"

namespace tamble {

namespace {

constexpr const char* listProgressTitle = "Automatic Convert";

void showProgress(int value) { hostUi().progress(listProgressTitle, value / 5); }

// The run's conversion state as a fresh round starts it.
void startRound() {
  conversionState& s = state();
  s.referenceRegionsPresent = false;
  clearPrimaryMarkers();
  readProjectResection();  // its failure is told, and the round goes on
  s.distortionDone = false;
  s.referenceFilePending = true;
}

// The round's outcome: true to go on with the list.
bool goOnAfter(bool converted) { return converted || message(continueListQuestion, true); }

// The routines' notices are dropped while a list runs; restored at its end.
class listQuiet {
 public:
  listQuiet() : saved(session().quietMode) { session().quietMode = 1; }
  ~listQuiet() {
    session().quietMode = saved;
    state().batchMode = false;
    hostUi().progress(listProgressTitle, 100);
    wait_cursor(false);
  }
  listQuiet(const listQuiet&) = delete;
  listQuiet& operator=(const listQuiet&) = delete;

 private:
  int saved;
};

void emptyList(zel::imagesList& list) {
  if (list.size() == 0) return;
  clear_vur();
  list.clear();
  list.markers = {};
}

// Opens one project file of the list; false when its paint kind is unknown
// (the first file that opens decides the kind of all).
bool openListed(zel::imagesList& list, const std::string& file) {
  emptyList(list);
  const std::filesystem::path path(file);
  std::filesystem::current_path(path.parent_path());
  read_vur_data(path.string(), false);
  read_vur_images(list, true);
  parametersToProject();
  parametersFromProject();
  if (paintKind().empty()) paintKind() = determinePaintKind(list);
  return !paintKind().empty();
}

// One project of the list: opened, converted, saved. False when the list
// must end here: the kind is unknown, or a round that failed (a refusal, or
// a file that could not be read or written, which is told) and the user
// chose not to go on.
bool convertListed(zel::imagesList& list, const std::string& file, bool first) {
  try {
    if (!openListed(list, file)) return false;
    startRound();
    const bool converted = AutomaticConvert(list, first);
    if (!goOnAfter(converted)) return false;
    SaveResultsMenu(list);
  } catch (const zel::GenericError& e) {
    const std::string text = e.message;
    message(text.find(file) == std::string::npos ? file + ": " + text : text, false);
    if (!goOnAfter(false)) return false;
  }
  emptyList(list);
  return true;
}

// Puts back the working folder that the list changes to each project's own.
class folderKept {
 public:
  folderKept() : home(std::filesystem::current_path()) {}
  ~folderKept() {
    std::error_code ec;
    std::filesystem::current_path(home, ec);
  }
  folderKept(const folderKept&) = delete;
  folderKept& operator=(const folderKept&) = delete;

 private:
  std::filesystem::path home;
};

}  // namespace

int projectListProgress(int i, int n) {
  const float part = static_cast<float>(i + 2) / static_cast<float>(n + 1);
  return std::min(static_cast<int>(part * 500 + 0.5f), 500);
}

int fileListProgress(int i, int n) {
  const float part = static_cast<float>(i + 1) / static_cast<float>(n);
  return std::min(static_cast<int>(part * 500 + 0.5f), 500);
}

void ConvertProjectList(zel::imagesList& list, int n) {
  const listQuiet quiet;
  zel::vurStr& project = get_vur();
  for (int i = -1; i < n; ++i) {
    if (i >= 0) {
      if (static_cast<std::size_t>(i) < project.wind_on_refe_list.size())
        project.wind_on_refe_file = project.wind_on_refe_list[static_cast<std::size_t>(i)];
      project.wind_on_sens_file = project.wind_on_sens_list[static_cast<std::size_t>(i)];
    }
    showProgress(projectListProgress(i, n));
    startRound();
    state().projectOpen = true;
    if (!goOnAfter(AutomaticConvert(list, i == -1))) break;
    SaveResultsList(list);
  }
}

bool AutomaticConvertList(zel::imagesList& list) {
  dlgFilesList dialog;
  dialog.add_ext("vur");
  dialog.add_ext("inf");
  showProgress(0);
  if (!dialog.DoModal()) return true;
  std::vector<std::string> files;  // absolute: the list changes the working folder
  for (const std::string& f : dialog.files())
    files.push_back(std::filesystem::absolute(f).string());
  const int n = static_cast<int>(files.size());
  bool finished = true;
  {
    const folderKept folder;
    const listQuiet quiet;
    state().batchMode = true;
    paintKind().clear();
    for (int i = 0; i < n && finished; ++i) {
      showProgress(fileListProgress(i, n));
      finished = convertListed(list, files[static_cast<std::size_t>(i)], i == 0);
    }
  }
  if (finished) message("List is Finished", false);
  emptyList(list);
  state().projectOpen = false;
  make_available_vur_project(true);
  return true;
}

namespace {

const commandRegistration commands[] = {
    commandRegistration({"automatic-convert-list",
                         "B Convert",
                         "Automatic Convert List...",
                         "Automatic Convertation of List of VUR Files",
                         "BConvert.chm::/html/BConvert_list.htm",
                         available::project_is_empty,
                         {},
                         AutomaticConvertList,
                         {{userChoice::kind::file, "Choose Files"}}}),
};

}  // namespace

}  // namespace tamble
