#include "plugin/automaticConvert.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "api/imagesList.h"
#include "api/numbers.h"
#include "host/fieldData.h"
#include "plugin/resectCommands.h"
#include "host/interaction.h"
#include "host/project.h"
#include "plugin/availability.h"
#include "plugin/backgroundCommands.h"
#include "plugin/catalogue.h"
#include "plugin/darkFlatCommands.h"
#include "plugin/fieldCalculationCommand.h"
#include "plugin/frame.h"
#include "plugin/markingStages.h"
#include "plugin/pressurePortsCommands.h"
#include "plugin/projectState.h"
#include "plugin/referenceKeys.h"
#include "plugin/referencesCommand.h"
#include "plugin/sourceStages.h"

namespace tamble {

namespace {

using namespace names;

constexpr const char* labels[stageCount] = {"Dark subtraction: ", "Flat Field Correction: ",
                                            "Automark: ",         "Revise markers: ",
                                            "Fillup markers: ",   "Filter: ",
                                            "Background: ",       "Distortion: ",
                                            "Alignment: ",        "ResectImages: ",
                                            "Convert: ",          "FGThinning: ",
                                            "Final Filtering: ",  "Correction in situ: ",
                                            "Resection: "};

constexpr const char* noTemperatureCard = "< T > card is of no use\n\n Recheck...";

std::string& reportStore() {
  static std::string report;
  return report;
}

// The four sources as they entered the run, put back at its end.
class sourceBackup {
 public:
  explicit sourceBackup(const zel::imagesList& list) {
    for (const char* name : {wind_on_sens, wind_off_sens, wind_on_refe, wind_off_refe})
      if (const zel::image* img = list.find(name))
        copies.emplace_back(name, std::make_unique<zel::image>(*img));
  }
  void restore(zel::imagesList& list, bool primaryMarkers) const {
    for (const auto& [name, copy] : copies) {
      zel::image* img = list.find(name);
      if (!img) continue;
      *img = *copy;
      const zel::markersArray* primary = primaryMarkersOf(name);
      if (primaryMarkers && primary && primary->count() > 0) img->markers = *primary;
    }
  }

 private:
  std::vector<std::pair<std::string, std::unique_ptr<zel::image>>> copies;
};

// The result images the cards made, the last one current, as after "Field
// Calculation..."; the list is redrawn when there is none.
void showResults(zel::imagesList& list) {
  const conversionState& s = state();
  const std::pair<int, const char*> cards[] = {{s.card_ii, Irefe_Isens},
                                               {s.card_p, Pressure},
                                               {s.card_t, T},
                                               {s.card_pp, P_Pstat},
                                               {s.card_cp, Cp}};
  for (const auto& [on, name] : cards)
    if (on && !setCurrentByName(list, name)) refreshList(list);
}

// The cards as the store holds them; false (and the box) when a pressure
// paint is asked for a temperature.
bool cardsAllowed() {
  CCreateCards cards;
  boundRecord<CCreateCards> record(CCreateCards::descriptor(), cards);
  loadRecord(record);
  conversionState& s = state();
  s.card_ii = cards.m_ii, s.card_p = cards.m_p, s.card_pp = cards.m_pp, s.card_cp = cards.m_cp,
  s.card_t = cards.m_t;
  const bool pressurePaint = paintKind() == "double" || paintKind() == "single";
  if (pressurePaint && cards.m_t == 1) {
    message(noTemperatureCard, false);
    return false;
  }
  return true;
}

bool holdsFalse(const zel::arrayStore<bool, 2>& mask) {
  return std::find(mask.data, mask.data + mask.count, false) != mask.data + mask.count;
}

// A single paint: the reference regions drawn, or equal references.
bool referencesReady(zel::imagesList& list) {
  if (paintKind() != "single" && paintKind() != "Tsingle") return true;
  conversionState& s = state();
  const zel::image* off = list.find(wind_off_sens);
  if (!s.referenceRegionsPresent && !(off && holdsFalse(off->ROI()))) {
    s.key_unit_value = 1;
    s.wind_on_refe_value = s.wind_off_refe_value = 1.0f;
    s.plane_approximation = false;
    storeForSingle(s);
    return true;
  }
  return ConfirmReferences(list, false);
}

void resultsGoFirst(zel::imagesList& list) {
  if (output_fields_present(list)) removeResults(list);
}

// The scenario as the run uses it: frames and ports the project lacks clear
// their flags, which are saved so; from the menu the user then sees it.
bool scenarioOf(zel::imagesList& list, bool interactive, CConvertBin_01& scenario) {
  boundRecord<CConvertBin_01> record(CConvertBin_01::descriptor(), scenario);
  loadRecord(record);
  if (!dark_images_present(list)) scenario.m_CB01_Dark = 0;
  if (!flat_images_present(list)) scenario.m_CB01_Flat = 0;
  if (!list_markers_present(list)) scenario.m_CB01_Corr = 0;
  saveRecord(record);
  const std::array<bool, stageCount> offered = scenarioAvailability(list);
  std::copy(offered.begin(), offered.end(), scenario.offered.begin());
  if (!interactive) return true;
  // The dialog opens with what it greys unchecked.
  for (int i = 0; i < stageCount; ++i)
    if (!controlEnabled(scenario, record.fields()[static_cast<std::size_t>(i)].key))
      stageFlag(scenario, static_cast<stage>(i)) = 0;
  return showLoadedDialog(record);
  loadRecord(record);
  return true;
}

// Runs one stage; false only when the alignment failed.
bool runStageOf(zel::imagesList& list, stage s) {
  switch (s) {
    case stage::dark:
      DarkSubtraction(list, false);
      resultsGoFirst(list);
      state().distortionDone = false;
      return true;
    case stage::flat:
      resultsGoFirst(list);
      FlatCorrection(list, false);
      state().distortionDone = false;
      return true;
    case stage::marking:
      resultsGoFirst(list);
      AutomaticMarking(list, false);
      state().distortionDone = false;
      return true;
    case stage::positioning: MarkersPrecisePositioning(list, false); return true;
    case stage::fillUp: FillUpAllMarkers(list, false); return true;
    case stage::filtering: Filtering(list, false); return true;
    case stage::background: BackgroundWork(list, false); return true;
    case stage::distortion:
      if (!state().distortionDone) DistortionCorrection(list, false);
      state().distortionDone = true;
      return true;
    case stage::alignment: return AlignmentOfImages(list, false);
    case stage::fieldCalculation:
      FieldCalculation(list, false);
      markSourceFlags(list, true);
      showResults(list);
      return true;
    case stage::thinning: ForegroundThinningOfResults(list, false); return true;
    case stage::finalFilter: FilterOutputFields(list, false); return true;
    case stage::inSitu: InSituCorrection(list, false); return true;
    // A resection that fails has said why; the conversion's fields stand.
    case stage::resectImages: ResectImagesHandler(list, false); return true;
    case stage::resectResults: ResectOutputHandler(list, false); return true;
  }
  return true;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string secondsText(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", seconds);
  return text;
}

// The stages the flags choose, each timed; every stage has its line.
bool runScenario(zel::imagesList& list, CConvertBin_01& scenario) {
  std::string& report = reportStore();
  report.clear();
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < stageCount; ++i) {
    const stage s = static_cast<stage>(i);
    const auto stageStart = std::chrono::steady_clock::now();
    if (stageFlag(scenario, s)) {
      wait_cursor(true);
      const bool ok = runStageOf(list, s);
      wait_cursor(false);
      if (!ok) return false;
    }
    report += labels[i] + secondsText(secondsSince(stageStart)) +
              (s == stage::resectResults ? " seconds\n\n" : " seconds\n");
  }
  report += "Computational time: " + secondsText(secondsSince(start)) + " seconds";
  return true;
}

}  // namespace

int& stageFlag(CConvertBin_01& c, stage s) {
  int* flags[stageCount] = {&c.m_CB01_Dark,        &c.m_CB01_Flat,       &c.m_CB01_Automarq,
                            &c.m_CB01_Revise,      &c.m_CB01_FillUpMark, &c.m_CB01_Filter,
                            &c.m_CB01_BackGround,  &c.m_CB01_Distortion, &c.m_CB01_Alignment,
                            &c.m_CB01_Resim,       &c.m_CB01_Convert,    &c.m_CB01_FGThin,
                            &c.m_CB01_FinalFilter, &c.m_CB01_Corr,       &c.m_CB01_Resection};
  return *flags[static_cast<int>(s)];
}

const char* stageLabel(stage s) { return labels[static_cast<int>(s)]; }

std::array<bool, stageCount> scenarioAvailability(const zel::imagesList& list) {
  std::array<bool, stageCount> offered{};
  offered.fill(true);
  offered[static_cast<int>(stage::dark)] = dark_images_present(list);
  offered[static_cast<int>(stage::flat)] = flat_images_present(list);
  offered[static_cast<int>(stage::inSitu)] = list_markers_present(list);
  offered[static_cast<int>(stage::resectResults)] = get_field_data().complete();
  return offered;
}

bool AutomaticConvert(zel::imagesList& list, bool interactive) {
  const sourceBackup backup(list);
  if (interactive) list.snapshot();
  CConvertBin_01 scenario;
  bool ok = false;
  try {
    ok = scenarioOf(list, interactive, scenario) && cardsAllowed() && referencesReady(list) &&
         runScenario(list, scenario);
  } catch (...) {  // a file that cannot be read or written: the sources still go back
    backup.restore(list, scenario.m_CB01_ModMark != 0);
    throw;
  }
  if (ok) {
    if (!get_vur().no_report) message(reportStore(), false);
    markSourceFlags(list, true);
    showResults(list);
  }
  backup.restore(list, scenario.m_CB01_ModMark != 0);
  return ok;
}

const std::string& lastConvertReport() { return reportStore(); }

namespace {

bool AutomaticConvertCommand(zel::imagesList& list) {
  wait_cursor(true);
  AutomaticConvert(list, true);
  wait_cursor(false);
  return true;
}

const commandRegistration commands[] = {
    commandRegistration({"automatic-convert",
                         "B Convert",
                         "Automatic Convert...",
                         "1",
                         "BConvert.chm::/html/BConvert_auto.htm",
                         available::project_images_present,
                         {freshRecord<CConvertBin_01>},
                         AutomaticConvertCommand}),
};

}  // namespace

}  // namespace tamble
