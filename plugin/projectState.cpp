#include "plugin/projectState.h"

#include "api/imagesList.h"
#include "dialogs/projectDialogs.h"
#include "host/hostUi.h"
#include "host/interaction.h"
#include "host/project.h"
#include "plugin/frame.h"
#include "plugin/session.h"

namespace tamble {

namespace {

bool present(const zel::imagesList& list, const char* name) { return list.find(name) != nullptr; }

// Pressure or temperature: the user's answer for a pair of images.
std::string askSinglePaintKind() {
  CPTselect answer;
  boundRecord<CPTselect> record(CPTselect::descriptor(), answer);
  if (showDialog(record)) {
    if (answer.m_type == 0) return "single";
    if (answer.m_type == 1) return "Tsingle";
  }
  message("Unknown Paint Type. Processing is Canceled", false);
  return {};
}

// Why a project is not one of a paint: its file, the source images it
// brought, and what each paint kind needs.
std::string notAPaintText(const zel::imagesList& list) {
  using namespace names;
  std::string found;
  for (const char* name : {wind_off_sens, wind_on_sens, wind_off_refe, wind_on_refe})
    if (present(list, name)) found += std::string(found.empty() ? "" : ", ") + name;
  return get_vur().project_file + ": not a project of a paint, found " +
         (found.empty() ? std::string("none of its images") : found) +
         "; a double paint needs wind_off_sens, wind_on_sens, wind_off_refe and wind_on_refe, "
         "a single paint wind_off_sens and wind_on_sens. The project is closed.";
}

}  // namespace

void forgetProject(zel::imagesList& list) {
  if (list.size() > 0) {
    clear_vur();
    list.clear();
    list.markers = {};  // the project's pressure ports go with it
  }
  state().projectOpen = false;
  make_available_vur_project(true);
}

conversionState& state() { return session().conversion; }

std::string& paintKind() { return state().paintKind; }

std::string determinePaintKind(zel::imagesList& list) {
  using namespace names;
  const bool sensors = present(list, wind_on_sens) && present(list, wind_off_sens);
  if (sensors && present(list, wind_on_refe) && present(list, wind_off_refe)) return "double";
  if (sensors) return askSinglePaintKind();
  message(notAPaintText(list), false);
  forgetProject(list);
  return {};
}

void removeResults(zel::imagesList& list) {
  using namespace names;
  for (const char* name : {Irefe_Isens, Pressure, P_Pstat, Cp, T}) {
    const int i = list.indexOf(name);
    if (i >= 0) list.removeImage(i);
  }
}

void markSourceFlags(zel::imagesList& list, bool converted) {
  using namespace names;
  for (const char* name : {wind_off_refe, wind_on_refe, wind_off_sens, wind_on_sens, Irefe_Isens,
                           Pressure, T, P_Pstat, Cp})
    if (zel::image* img = list.find(name)) img->converted = converted;
}

std::vector<const char*> paintSourceNames(const std::string& kind) {
  using namespace names;
  if (kind == "double") return {wind_on_refe, wind_off_refe, wind_on_sens, wind_off_sens};
  if (kind == "single" || kind == "Tsingle") return {wind_on_sens, wind_off_sens};
  return {};
}

std::vector<const char*> paintResultNames(const std::string& kind) {
  using namespace names;
  if (kind == "Tsingle") return {Irefe_Isens, T};
  return {Irefe_Isens, Pressure, P_Pstat, Cp, T};
}

zel::markersArray* primaryMarkersOf(const std::string& name) {
  using namespace names;
  const char* order[] = {wind_on_sens, wind_off_sens, wind_on_refe, wind_off_refe};
  for (std::size_t i = 0; i < 4; ++i)
    if (name == order[i]) return &state().primaryMarkers[i];
  return nullptr;
}

void clearPrimaryMarkers() {
  for (zel::markersArray& m : state().primaryMarkers) m = zel::markersArray();
}

void refreshList(zel::imagesList&) { hostUi().refreshList(); }

bool setCurrentByName(zel::imagesList& list, const std::string& name) {
  const int i = list.indexOf(name);
  if (i < 0) return false;
  list.setCurrent(i);
  return true;
}

}  // namespace tamble
