// "Correct Output Fields in situ...": one result of the run (the active
// field) is fitted to the project's pressure ports and corrected; the
// results that follow from it are computed again from the corrected one.
#include <array>
#include <cmath>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>

#include "api/camera.h"
#include "api/imagesList.h"
#include "convert/paintLaw.h"
#include "convert/pressurePorts.h"
#include "dialogs/conversionDialogs.h"
#include "dialogs/portsDialog.h"
#include "host/interaction.h"
#include "host/project.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/fieldCalculationCommand.h"
#include "plugin/frame.h"
#include "plugin/pressurePortsCommands.h"
#include "plugin/projectState.h"

namespace tamble {

namespace {

namespace fs = std::filesystem;

// The results in the order the stage visits them.
enum slot { ii, p, t, pp, cp, slotCount };

struct resultSlot {
  const char* name = nullptr;
  const char* fileSuffix = nullptr;  // of a new image, behind the project's folder and stem
  int conversionState::*card = nullptr;
  zel::image* img = nullptr;          // in the list, or the new one below
  std::unique_ptr<zel::image> fresh;  // a new image, not yet in the list
  bool written = false;
};

using resultSlots = std::array<resultSlot, slotCount>;

resultSlots findResults(const zel::imagesList& list) {
  struct named {
    const char* name;
    const char* fileSuffix;
    int conversionState::*card;
  };
  static constexpr named table[slotCount] = {
      {names::Irefe_Isens, "_Irefe_Isens.imp", &conversionState::card_ii},
      {names::Pressure, "_Pressure.imp", &conversionState::card_p},
      {names::T, "_T.imp", &conversionState::card_t},
      {names::P_Pstat, "_P_to_Pst.imp", &conversionState::card_pp},
      {names::Cp, "_Cp.imp", &conversionState::card_cp}};
  resultSlots s;
  for (int i = 0; i < slotCount; ++i) {
    s[i].name = table[i].name, s[i].fileSuffix = table[i].fileSuffix, s[i].card = table[i].card;
    s[i].img = list.find(s[i].name);
  }
  return s;
}

// The new images of the results the list lacks, of the active one's size.
void makeMissing(resultSlots& s, const zel::image& active) {
  for (resultSlot& r : s) {
    if (r.img) continue;
    r.fresh = std::make_unique<zel::image>(active.width(), active.height());
    r.fresh->setFieldName(r.name);
    r.img = r.fresh.get();
  }
}

// The result to correct: the first whose card is on and which the list
// holds, by preference.
int activeSlot(const resultSlots& s, const std::string& kind) {
  static constexpr int pressurePaint[] = {p, pp, cp, ii};
  static constexpr int temperaturePaint[] = {t, ii};
  std::span<const int> order;
  if (kind == "double" || kind == "single") order = pressurePaint;
  if (kind == "Tsingle") order = temperaturePaint;
  for (int i : order)
    if (state().*s[i].card && s[i].img) return i;
  return -1;
}

void loadCards() {
  ownedRecord<CCreateCards> cards;
  loadRecord(cards);
  const CCreateCards& c = cards.values();
  conversionState& st = state();
  st.card_ii = c.m_ii, st.card_p = c.m_p, st.card_pp = c.m_pp, st.card_cp = c.m_cp;
  st.card_t = c.m_t;
}

// The flow state in the paint's units (the law) and the static and dynamic
// pressures back in the flow's unit (the result images), as the field
// calculation has them.
struct stageFlow {
  flowState paint;
  float P_static = 0, P_dynamic = 0;
};

stageFlow readFlow() {
  stageFlow f;
  f.paint = flowInPaintUnits(get_paint(), get_flow());
  const unitChange back = pressureChange(f.paint.paintUnit, f.paint.flowPressureUnit);
  f.P_static = back.apply(f.paint.P_static);
  f.P_dynamic = back.apply(f.paint.P_dynamic);
  return f;
}

// A text shown unless a list conversion runs.
void notice(const char* text) {
  if (!state().batchMode) message(text, false);
}

void noticeFault(fieldFault fault) {
  if (fault != fieldFault::none) notice(fieldFaultText(fault));
}

const char* anchorText(anchorFault fault, bool temperature) {
  if (fault == anchorFault::badCoefficients) return "Error in Paint Calibration Coefficients";
  return temperature ? "Calibration coefficients for TSP are incorrect."
                     : "Calibration coefficients for PSP are incorrect.";
}

// The ratio that the law gives `value` for, by the root the anchoring takes;
// nothing when no real ratio does.
std::optional<double> ratioFor(const anchoredLaw& law, double value) {
  const double A = law.A1, B = law.B1, C = law.C1;
  double r = 0.0;
  if (std::fabs(C) > 1e-10) {
    const double D = B * B - 4.0 * C * (A - value);
    if (D < 0.0) return std::nullopt;
    r = (std::sqrt(D) - B) / (2.0 * C);
  } else if (std::fabs(B) > 1e-10) {
    r = (value - A) / B;
  } else {
    return std::nullopt;
  }
  if (law.r0 == 0.0f) return std::nullopt;
  return r / law.r0;
}

// Everything the fit and the recomputation need besides the images.
struct stageInputs {
  stageFlow flow;
  bool temperature = false;  // a temperature paint: the ports hold temperatures
  anchoredLaw law;           // for the ratio: the paint's law at the wind-on state
};

// The taps' values as values of the active result. The third value is the
// tap's pressure in the flow's unit (a temperature for the temperature
// paint): Pressure works in the paint's unit, P_Pstat and Cp take the
// pressure as they are formed from it, the ratio takes the ratio the law
// gives that value for (a tap with none is left out).
zel::markersArray tapsAs(int active, zel::markersArray ports, const stageInputs& in) {
  const flowState& f = in.flow.paint;
  for (marker& m : ports.items) {
    switch (active) {
      case p: m.z = zel::convert_pressure(m.z, f.flowPressureUnit, f.paintUnit); break;
      case pp: m.z = m.z / in.flow.P_static; break;
      case cp: m.z = (m.z - in.flow.P_static) / in.flow.P_dynamic; break;
      case ii: {
        const double v = in.temperature
                             ? zel::convert_temperature(m.z, f.flowTemperatureUnit, "c")
                             : zel::convert_pressure(m.z, f.flowPressureUnit, f.paintUnit);
        const auto q = ratioFor(in.law, v);
        m.active = m.active && q.has_value();
        m.z = q.value_or(0.0);
        break;
      }
      default: break;
    }
  }
  return ports;
}

// Why the active result cannot be fitted before anything is done, or null.
const char* cannotExpress(int active, stageInputs& in, const calibration& cal) {
  if (active == pp && std::fabs(static_cast<double>(in.flow.P_static)) < 1e-10)
    return "Static Pressure Value is Too Small!";
  if (active == cp && std::fabs(static_cast<double>(in.flow.P_dynamic)) < 1e-10)
    return "Dynamic Pressure Value is Too Small!";
  if (active != ii) return nullptr;
  const anchorFault fault = in.temperature ? temperatureLaw(cal, in.flow.paint, in.law)
                                           : pressureLaw(cal, in.flow.paint, in.law);
  return fault == anchorFault::none ? nullptr : anchorText(fault, in.temperature);
}

// The fit on the active result; Pressure is fitted in the paint's unit and
// put back in the flow's.
portsFault fitActive(zel::image& img, int active, const zel::markersArray& taps, const CPPStart& v,
                     const flowState& f, portsFit& fit) {
  const bool correct = v.m_correct != 0;
  if (active != p)
    return fitPorts(img.field(), img.bkgr(), img.ROI(), taps, fit, v.m_order, correct,
                    v.m_gageDiameter);
  zel::arrayStore<float, 2> work = img.field();
  const unitChange toPaint = pressureChange(f.flowPressureUnit, f.paintUnit);
  for (std::uint64_t i = 0; i < work.count; ++i) work[i] = toPaint.apply(work[i]);
  const portsFault fault =
      fitPorts(work, img.bkgr(), img.ROI(), taps, fit, v.m_order, correct, v.m_gageDiameter);
  if (fault != portsFault::none || !correct) return fault;
  const unitChange toFlow = pressureChange(f.paintUnit, f.flowPressureUnit);
  for (int y = 0; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x)
      if (!img.bkgr()(x, y) && img.ROI()(x, y)) img.field()(x, y) = toFlow.apply(work(x, y));
  return fault;
}

// Writes one result from another; true when it was written.
bool written(resultSlot& target, fieldFault fault) {
  noticeFault(fault);
  if (fault == fieldFault::none) target.written = true;
  return target.written;
}

void fromPressure(resultSlots& s, const stageFlow& f) {
  written(s[cp], pressureCoefficient(*s[p].img, f.P_static, f.P_dynamic, *s[cp].img));
  written(s[pp], staticPressureRatio(*s[p].img, f.P_static, *s[pp].img));
}

// The results that follow from the corrected one.
void recompute(resultSlots& s, int active, const stageInputs& in) {
  const stageFlow& f = in.flow;
  switch (active) {
    case p: fromPressure(s, f); break;
    case cp:
      if (written(s[p], pressureFromCp(*s[cp].img, f.P_static, f.P_dynamic, *s[p].img)))
        written(s[pp], staticPressureRatio(*s[p].img, f.P_static, *s[pp].img));
      break;
    case pp:
      if (written(s[p], pressureFromStaticRatio(*s[pp].img, f.P_static, *s[p].img)))
        written(s[cp], pressureCoefficient(*s[p].img, f.P_static, f.P_dynamic, *s[cp].img));
      break;
    case ii: {
      const int target = in.temperature ? t : p;
      if (!written(s[target], fieldFromRatio(*s[ii].img, in.law, *s[target].img))) break;
      if (in.temperature) {
        convertCalculated(*s[t].img, temperatureChange("c", f.paint.flowTemperatureUnit));
        break;
      }
      convertCalculated(*s[p].img, pressureChange(f.paint.paintUnit, f.paint.flowPressureUnit));
      fromPressure(s, f);
      break;
    }
    default: break;
  }
}

// The report beside the project; in a list project, beside the run's
// wind-on image. Empty while no project is held.
std::string reportName(const zel::imagesList& list) {
  const zel::image* on = list.find(names::wind_on_sens);
  if (!get_vur().wind_on_sens_list.empty() && on && !on->fileInfo.name.empty()) {
    const fs::path run(on->fileInfo.name);
    return (run.parent_path() / (run.stem().string() + "_CORR.txt")).string();
  }
  return get_vur().project_file.empty() ? std::string() : projectNamed("_CORR.txt");
}

// New results whose card is on and which were written join the list; the
// other new images are dropped.
void settle(zel::imagesList& list, resultSlots& s) {
  for (resultSlot& r : s) {
    if (r.written) r.img->resetLimits();
    if (!r.fresh || !r.written || !(state().*r.card)) continue;
    r.fresh->fileInfo.name = projectNamed(r.fileSuffix);
    list.addImage(r.fresh.release());
  }
}

}  // namespace

bool InSituCorrection(zel::imagesList& list, bool interactive) {
  const calibration cal = narrowed(get_paint());
  loadCards();
  CPPStart values;
  boundRecord<CPPStart> record(CPPStart::descriptor(), values);
  if (!interactive)
    loadRecord(record);
  else if (!showDialog(record))
    return false;
  if (interactive) list.snapshot();
  if (list.markers.count() == 0) {
    message(noPortsText, false);
    return true;
  }
  const std::string reportFile = reportName(list);
  stageInputs in;
  in.flow = readFlow();
  in.temperature = paintKind() == "Tsingle";
  resultSlots results = findResults(list);
  const int active = activeSlot(results, paintKind());
  if (active < 0) {
    message(noActiveFieldText, false);
    return true;
  }
  if (const char* why = cannotExpress(active, in, cal)) {
    message(why, false);
    return true;
  }
  makeMissing(results, *results[active].img);
  portsFit fit;
  const portsFault fault = fitActive(*results[active].img, active, tapsAs(active, list.markers, in),
                                     values, in.flow.paint, fit);
  if (fit.limited) message(portsLimitText, false);
  if (fault != portsFault::none) {
    message(portsFaultText(fault), false);
    return true;
  }
  if (values.m_correct) {
    results[active].written = true;
    recompute(results, active, in);
  }
  settle(list, results);
  markSourceFlags(list, true);
  refreshList(list);
  const std::vector<std::string> lines = portsReportLines(fit);
  if (interactive) PPortDataOut(lines);
  if (!reportFile.empty()) writePortsReport(reportFile, lines);
  return true;
}

bool InSituCorrectionCommand(zel::imagesList& list) {
  return runStage(list, InSituCorrection, afterStage::keepCurrent);
}

namespace {

std::unique_ptr<paramRecord> emptyReport() { return std::make_unique<CPPortData>(); }

const commandRegistration command({"correct-output-fields-in-situ",
                                   "B Convert",
                                   "Correct Output Fields in situ...",
                                   "1",
                                   "BConvert.chm::/html/BConvert_finalfilt.htm",
                                   available::list_markers_present,
                                   {freshRecord<CPPStart>, emptyReport},
                                   InSituCorrectionCommand,
                                   {{userChoice::kind::file, "Save Data"}}});

}  // namespace

}  // namespace tamble
