// What the plug-in knows of the open project between commands: the names by
// which a run's images are found in the list, the paint kind and the
// conversion state. The images list stays the only place of the images; the
// state below holds what the list cannot.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "api/arrayWorks.h"
#include "api/markers.h"

namespace zel {
class imagesList;
}

namespace tamble {

// The images of a run, found in the list by these names.
namespace names {
inline constexpr const char* wind_on_sens = "wind_on_sens";
inline constexpr const char* wind_off_sens = "wind_off_sens";  // the master image
inline constexpr const char* wind_on_refe = "wind_on_refe";
inline constexpr const char* wind_off_refe = "wind_off_refe";
inline constexpr const char* wind_on_dark_sens = "wind_on_dark_sens";
inline constexpr const char* wind_off_dark_sens = "wind_off_dark_sens";
inline constexpr const char* wind_on_dark_refe = "wind_on_dark_refe";
inline constexpr const char* wind_off_dark_refe = "wind_off_dark_refe";
inline constexpr const char* flat_sens = "flat_sens";
inline constexpr const char* flat_refe = "flat_refe";
inline constexpr const char* wind_on_T = "wind_on_T";
inline constexpr const char* wind_off_T = "wind_off_T";
inline constexpr const char* Irefe_Isens = "Irefe_Isens";
inline constexpr const char* Pressure = "Pressure";
inline constexpr const char* P_Pstat = "P_Pstat";
inline constexpr const char* Cp = "Cp";
inline constexpr const char* T = "T";
}  // namespace names

// The module-wide state of a conversion; exactly one, reset by opening a
// project.
struct conversionState {
  std::string paintKind;  // "double", "single", "Tsingle"; anything else: no project
  bool projectOpen = false;
  bool batchMode = false;  // a list conversion: warnings are dropped, not shown
  bool distortionDone = false;
  bool referenceFilePending = false;
  zel::arrayStore<bool, 2> referenceRegions;  // true marks a pixel of a region (the ROI drawn)
  bool referenceRegionsPresent = false;
  int key_unit_value = 0;  // 1: fixed reference values; 0: means over the regions
  float wind_on_refe_value = 0.0f, wind_off_refe_value = 0.0f;
  bool plane_approximation = false;
  int card_ii = 0, card_p = 0, card_pp = 0, card_cp = 0, card_t = 0;
  // The marker sets as found or stored, for wind_on_sens, wind_off_sens,
  // wind_on_refe, wind_off_refe in this order.
  std::array<zel::markersArray, 4> primaryMarkers;
  std::array<bool, 16> scenarioFlags{};
};

conversionState& state();

// The paint kind of the open project (a short way to state().paintKind).
std::string& paintKind();

// "double" when the four source images are in the list; "single" or
// "Tsingle" as the user answers when only the sensor pair is; else empty,
// and then a list holding images is emptied and the project forgotten.
std::string determinePaintKind(zel::imagesList& list);

// Closes the project: a list holding images is emptied and the project
// library forgets it; nothing is saved.
void forgetProject(zel::imagesList& list);

// Removes every result image (Irefe_Isens, Pressure, P_Pstat, Cp, T).
void removeResults(zel::imagesList& list);
// Sets the display flag `converted` of each source and result image present.
void markSourceFlags(zel::imagesList& list, bool converted);
// The source images of the paint in the order the stages work on them:
// "double" wind_on_refe, wind_off_refe, wind_on_sens, wind_off_sens; a single
// paint the last two; no name for any other kind. Names, present or not.
std::vector<const char*> paintSourceNames(const std::string& kind);
// The results of the paint: Irefe_Isens, Pressure, P_Pstat, Cp, T ("Tsingle":
// Irefe_Isens, T). Names, present or not.
std::vector<const char*> paintResultNames(const std::string& kind);
// The primaryMarkers set of a source image (wind_on_sens, wind_off_sens,
// wind_on_refe, wind_off_refe); null for any other name.
zel::markersArray* primaryMarkersOf(const std::string& name);
void clearPrimaryMarkers();
// Asks the host to redraw the list.
void refreshList(zel::imagesList& list);
// Makes the image of that name current; false when there is none.
bool setCurrentByName(zel::imagesList& list, const std::string& name);

}  // namespace tamble
