#include "plugin/projectCommands.h"

#include <set>

#include "api/imagesList.h"
#include "dialogs/projectDialogs.h"
#include "host/interaction.h"
#include "host/project.h"
#include "host/projectDialogs.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/convertLists.h"
#include "plugin/projectParameters.h"
#include "plugin/projectState.h"
#include "plugin/resectCommands.h"

namespace tamble {

namespace {

// What the project library holds, kept so that a failed opening can put the
// previous project back.
struct heldProject {
  zel::vurStr record = get_vur();
  zel::paintFeatures paint = get_paint();
  zel::flowFeatures flow = get_flow();
  zel::cameraFeatures sensCamera = get_sens_cam();
  zel::cameraFeatures refeCamera = get_refe_cam();

  void restore() const {
    get_vur() = record;
    get_paint() = paint;
    get_flow() = flow;
    get_sens_cam() = sensCamera;
    get_refe_cam() = refeCamera;
  }
};

struct waitCursor {
  waitCursor() { wait_cursor(true); }
  ~waitCursor() { wait_cursor(false); }
};

// Images and parameters of the chosen project; on any failure the list and
// the held project stay as they were.
void loadProject(zel::imagesList& list, const heldProject& before) {
  std::set<const zel::image*> earlier;
  for (int i = 0; i < list.size(); ++i) earlier.insert(list[i]);
  try {
    checkProjectParameters(get_vur());
    read_vur_images(list, true);
  } catch (...) {
    before.restore();
    throw;
  }
  // The list holds the project's images and nothing else.
  for (int i = list.size() - 1; i >= 0; --i)
    if (earlier.count(list[i])) list.removeImage(i, false);
  parametersToProject();
  parametersFromProject();
}

void resetConversionState() {
  conversionState& s = state();
  s.referenceRegionsPresent = false;
  clearPrimaryMarkers();
  s.distortionDone = false;
  s.referenceFilePending = true;
  s.projectOpen = true;
  make_available_vur_project(false);
}

// The number of runs a list project lists: its reference list's, or the
// sensor list's when the two differ (which is told) or when a single paint
// has no reference list.
int listLength(const zel::vurStr& project) {
  const std::size_t refe = project.wind_on_refe_list.size();
  const std::size_t sens = project.wind_on_sens_list.size();
  if (refe == 0 && sens == 0) return 0;
  if (refe != 0 && sens != refe) message("LST SENS != REFE not really, though!", false);
  return static_cast<int>(sens);
}

}  // namespace

bool OpenProject(zel::imagesList& list) {
  const heldProject before;
  if (!api_open_vur_project(-1)) return true;
  const waitCursor cursor;
  loadProject(list, before);
  const int n = listLength(get_vur());
  if (n > 0) state().batchMode = true;
  paintKind() = determinePaintKind(list);
  if (paintKind().empty()) return true;
  if (n == 0) {
    // A project whose resection data cannot be read stays closed.
    state().referenceRegionsPresent = false;
    clearPrimaryMarkers();
    if (!readProjectResection()) return true;
    resetConversionState();
    return true;
  }
  ConvertProjectList(list, n);
  return true;
}

bool CloseProject(zel::imagesList& list) {
  forgetProject(list);
  return true;
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"open-project",
                         "B Convert",
                         "Open Project...",
                         "Open ZEL Project",
                         "BConvert.chm::/html/BConvert_open.htm",
                         available::always,
                         {freshRecord<CPTselect>},
                         OpenProject,
                         {{userChoice::kind::file, "Open Project"}}}),
    commandRegistration({"close-project",
                         "B Convert",
                         "Close Project",
                         "1",
                         "BConvert.chm::/html/BConvert_close.htm",
                         available::project_images_present,
                         {},
                         CloseProject}),
};
}  // namespace

}  // namespace tamble
