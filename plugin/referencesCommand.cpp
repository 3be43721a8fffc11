#include "plugin/referencesCommand.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <sstream>

#include "api/errors.h"
#include "api/imagesList.h"
#include "api/paths.h"
#include "convert/closedRegions.h"
#include "host/interaction.h"
#include "host/platform.h"
#include "host/project.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/fieldCalculationCommand.h"
#include "plugin/projectState.h"
#include "plugin/referenceKeys.h"

namespace tamble {

namespace {

using maskLayer = zel::arrayStore<bool, 2>;

const char* const drawRegionsQuestion =
    "Set reference regions\non WIND_OFF_SENS bitmap\nusing ROI Tool\nand then Confirm the "
    "operation with the current tool\nNegative answer NO means equal Reference Factors";
const char* const regionsQuestion =
    "Set reference regions\non WIND_OFF_SENS bitmap\nusing ROI Tool\n(negative answer NO means "
    "equal Reference Factors)";
const char* const planeQuestion = "Do You Want to use Plane Approximation of Reference Regions?";
const char* const equalValuesNotice =
    "Reference Coefficients Values are equal to each other! (=1.0)";

// A ROI true everywhere selects nothing: no regions are drawn.
bool anyFalse(const maskLayer& m) {
  return std::find(m.data, m.data + m.count, false) != m.data + m.count;
}

void setValues(conversionState& s, int keyUnitValue, float value) {
  s.key_unit_value = keyUnitValue;
  s.wind_on_refe_value = s.wind_off_refe_value = value;
}

std::string sizeText(int w, int h) { return std::to_string(w) + "x" + std::to_string(h); }

// The project's region file while it is still to be read; read before
// anything changes, so that a bad file changes nothing.
std::optional<maskLayer> pendingRegionFile(const zel::image& master) {
  const std::string& file = get_vur().reference_file;
  if (!state().referenceFilePending || file.empty()) return std::nullopt;
  const std::string folder = std::filesystem::path(get_vur().project_file).parent_path().string();
  const std::string path = zel::resolve_path(file, folder);
  maskLayer regions;
  read_array(path, regions);
  if (!regions.sameExtent(master.field()))
    zel::raise<zel::FileError>(path + ": the reference regions are " +
                               sizeText(regions.width(), regions.height()) + ", wind_off_sens is " +
                               sizeText(master.width(), master.height()));
  return regions;
}

// The regions move from the master image's ROI into the state; the
// reference values are the means over them. Answers the number of closed
// regions on the wind-off image.
int takeRegions(zel::image& off, zel::image& on) {
  conversionState& s = state();
  s.referenceRegions = off.ROI();
  s.referenceRegionsPresent = anyFalse(s.referenceRegions);
  off.ROI().fill(true);
  s.wind_off_refe_value = regionMean(off.field(), off.bkgr(), s.referenceRegions);
  const int n = closedRegions(off.field(), off.bkgr(), s.referenceRegions).count;
  s.wind_on_refe_value = s.referenceRegions.sameExtent(on.field())
                             ? regionMean(on.field(), on.bkgr(), s.referenceRegions)
                             : 0.0f;
  on.ROI().fill(true);
  return n;
}

// What the regions gave; from three regions on, a plane through them may
// stand for the reference. With fewer no earlier choice of a plane stays.
void askPlane(int n, conversionState& s) {
  std::ostringstream text;
  text << " Supposed Number of Closed Reference Regions:\n Wind Off Reference Regions Number = "
       << n << "\n Initial Average Intensity Values Over Closed Regions:\n"
       << " Wind Off Reference Average Initial Value = " << s.wind_off_refe_value;
  if (n >= 3) {
    s.plane_approximation = message(text.str() + "\n" + planeQuestion, true);
    return;
  }
  message(text.str(), false);
  s.plane_approximation = false;
}

void finish(zel::imagesList& list) {
  storeForSingle(state());
  get_vur().reference_file = projectNamed("_reference.imp");
  markSourceFlags(list, true);
  setCurrentByName(list, names::wind_off_sens);
}

}  // namespace

bool SetReferences(zel::imagesList& list, bool interactive) {
  zel::image* off = list.find(names::wind_off_sens);
  zel::image* on = list.find(names::wind_on_sens);
  if (!off || !on) return false;
  const std::optional<maskLayer> file = pendingRegionFile(*off);
  if (interactive) list.snapshot();
  conversionState& s = state();
  setValues(s, 0, 0.0f);
  if (s.referenceFilePending) {
    if (file && anyFalse(*file)) off->ROI() = *file;
    s.referenceFilePending = false;
  }
  if (interactive && !anyFalse(off->ROI())) {
    s.plane_approximation = false;
    if (message(drawRegionsQuestion, true)) {
      setValues(s, 0, 0.01f);
      storeForSingle(s);
      return false;
    }
    setValues(s, 1, 0.1f);
  }
  const int n = takeRegions(*off, *on);
  if (interactive && !s.referenceRegionsPresent && s.key_unit_value == 0) {
    s.plane_approximation = false;
    if (message(regionsQuestion, true))
      setValues(s, 0, 0.0f);
    else
      setValues(s, 1, 1.0f);
  }
  if (interactive && s.key_unit_value == 0) {
    askPlane(n, s);
  } else {
    s.wind_on_refe_value = s.wind_off_refe_value = 1.0f;
    message(equalValuesNotice, false);
    s.plane_approximation = false;
  }
  finish(list);
  return true;
}

bool ConfirmReferences(zel::imagesList& list, bool planeApproximation) {
  zel::image* off = list.find(names::wind_off_sens);
  zel::image* on = list.find(names::wind_on_sens);
  if (!off || !on) return false;
  conversionState& s = state();
  setValues(s, 0, 0.0f);
  takeRegions(*off, *on);
  s.plane_approximation = planeApproximation;
  finish(list);
  return true;
}

bool SetConfirmReferencesCommand(zel::imagesList& list) {
  state().wind_on_refe_value = state().wind_off_refe_value = 0.0f;
  SetReferences(list, true);
  setCurrentByName(list, names::wind_off_sens);
  refreshList(list);
  return true;
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"set-confirm-references-single-paint",
                         "B Convert",
                         "Set/Confirm References (Single Paint)",
                         "Confirm Reference Regions ROIs for Single Paint",
                         "BConvert.chm::/html/BConvert_setref.htm",
                         available::single_paint_images_present,
                         {},
                         SetConfirmReferencesCommand,
                         {{userChoice::kind::question, drawRegionsQuestion},
                          {userChoice::kind::question, planeQuestion}}}),
};
}  // namespace

}  // namespace tamble
