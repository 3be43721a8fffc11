#include "plugin/fieldCalculationCommand.h"

#include <filesystem>
#include <memory>

#include "api/imagesList.h"
#include "convert/closedRegions.h"
#include "convert/fieldRoutines.h"
#include "convert/planeFit.h"
#include "dialogs/cardsDialog.h"
#include "host/interaction.h"
#include "host/project.h"
#include "plugin/availability.h"
#include "plugin/catalogue.h"
#include "plugin/frame.h"
#include "plugin/projectState.h"
#include "plugin/referenceKeys.h"

namespace tamble {

std::string projectNamed(const std::string& suffix) {
  const std::filesystem::path project(get_vur().project_file);
  return (project.parent_path() / (project.stem().string() + suffix)).string();
}

namespace {

using maskLayer = zel::arrayStore<bool, 2>;

// What a routine answered, shown as the conversion's rule says: the
// calibration's missing quadratic term always, the others not in a list
// conversion.
fieldFault shown(fieldFault fault) {
  if (fault == fieldFault::none) return fault;
  if (fault == fieldFault::noQuadraticTerm || !state().batchMode)
    message(fieldFaultText(fault), false);
  return fault;
}

// The five results, in the order the stage looks them up.
struct result {
  const char* name;
  int conversionState::*card;
  const char* fileSuffix;  // the in-memory file name until the first save
};
constexpr result results[] = {
    {names::Irefe_Isens, &conversionState::card_ii, "_Irefe_Isens.imp"},
    {names::Pressure, &conversionState::card_p, "_Pressure.imp"},
    {names::T, &conversionState::card_t, "_T.imp"},
    {names::P_Pstat, &conversionState::card_pp, "_P_to_Pst.imp"},
    {names::Cp, &conversionState::card_cp, "_Cp.imp"},
};
enum resultIndex { ii, p, t, pp, cp };

bool on(const result& r) { return state().*(r.card) != 0; }

// The ratio always; a temperature paint its temperature, a pressure paint
// the pressure and what follows from it.
bool gives(resultIndex i, bool temperaturePaint) { return i == ii || (i == t) == temperaturePaint; }

// Every result the paint gives has a target: its image when its card is on
// and the image is there, else a temporary image of the run's size, so that
// the ratio and the pressure are computed even when only Cp is wanted.
class resultTargets {
 public:
  resultTargets(zel::imagesList& list, int w, int h, bool temperaturePaint) {
    for (resultIndex i : {ii, p, t, pp, cp}) {
      if (!gives(i, temperaturePaint)) continue;
      image[i] = on(results[i]) ? list.find(results[i].name) : nullptr;
      if (image[i]) continue;
      temporary[i] = std::make_unique<zel::image>(w, h);
      image[i] = temporary[i].get();
    }
  }
  zel::image& operator[](resultIndex i) { return *image[i]; }

  // Limits of all; the temporaries of chosen results join the list under
  // their names, the others are dropped.
  void finish(zel::imagesList& list) {
    for (zel::image* img : image)
      if (img) img->resetLimits();
    for (resultIndex i : {pp, t, p, ii, cp}) {
      if (!temporary[i] || !on(results[i])) continue;
      temporary[i]->setFieldName(results[i].name);
      temporary[i]->fileInfo.name = projectNamed(results[i].fileSuffix);
      list.addImage(temporary[i].release());
    }
  }

 private:
  zel::image* image[5] = {};
  std::unique_ptr<zel::image> temporary[5];
};

// The markers of the master image as plain positions.
void copyMarkers(const zel::image& from, zel::image& to) {
  to.markers.items.clear();
  for (const marker& m : from.markers.items) to.markers.add({m.x, m.y, 0.0, 0.0, true, 0});
}

// The reference regions sized as the master image; regions of another size
// (none drawn yet) count as the whole image.
const maskLayer& regionsFor(const zel::image& offSens) {
  maskLayer& regions = state().referenceRegions;
  if (!regions.sameExtent(offSens.field())) {
    regions = maskLayer(offSens.width(), offSens.height());
    regions.fill(true);
  }
  return regions;
}

float meanOver(const zel::image& img, const maskLayer& regions) {
  if (!regions.sameExtent(img.field())) return 0.0f;
  return regionMean(img.field(), img.bkgr(), regions);
}

// A reference image of a single paint: the plane through the regions.
zel::image planeReference(const zel::image& sens, const zel::image& offSens,
                          const maskLayer& regions) {
  zel::image ref(offSens.width(), offSens.height());
  if (regions.sameExtent(sens.field()))
    fillPlane(ref.field(), planeFit(sens.field(), sens.bkgr(), regions, 0));
  return ref;
}

struct sources {
  zel::image* offSens;
  zel::image* onSens;
  zel::image* offRefe;
  zel::image* onRefe;
};

struct paintData {
  calibration cal;
  flowState flow;
};

void convertLaw(zel::image& target, bool temperaturePaint, const flowState& flow) {
  if (temperaturePaint)
    convertCalculated(target, temperatureChange("c", flow.flowTemperatureUnit));
  else
    convertCalculated(target, pressureChange(flow.paintUnit, flow.flowPressureUnit));
}

// The law of the paint with reference images (a second paint, or planes).
void lawWithImages(const sources& s, const zel::image& offRefe, const zel::image& onRefe,
                   bool temperaturePaint, const paintData& d, resultTargets& out) {
  shown(ratioDouble(*s.offSens, offRefe, *s.onSens, onRefe, out[ii]));
  zel::image& target = temperaturePaint ? out[t] : out[p];
  const fieldFault f =
      temperaturePaint
          ? temperatureDouble(*s.offSens, offRefe, *s.onSens, onRefe, d.cal, d.flow, target)
          : pressureDouble(*s.offSens, offRefe, *s.onSens, onRefe, d.cal, d.flow, target);
  if (shown(f) == fieldFault::none) convertLaw(target, temperaturePaint, d.flow);
}

// A single paint: reference values from the store, or means over the
// reference regions (which this consumes), or planes through them.
void singlePaint(const sources& s, bool temperaturePaint, const paintData& d, resultTargets& out) {
  conversionState& st = state();
  loadForSingle(st);
  const maskLayer& regions = regionsFor(*s.offSens);
  if (st.plane_approximation) {
    const zel::image offPlane = planeReference(*s.offSens, *s.offSens, regions);
    const zel::image onPlane = planeReference(*s.onSens, *s.offSens, regions);
    lawWithImages(s, offPlane, onPlane, temperaturePaint, d, out);
    return;
  }
  if (st.key_unit_value == 0) {
    st.wind_off_refe_value = meanOver(*s.offSens, regions);
    st.wind_on_refe_value = meanOver(*s.onSens, regions);
    // A second run without new regions averages over the whole images.
    st.referenceRegions.fill(true);
    st.referenceRegionsPresent = false;
  }
  const float off = st.wind_off_refe_value, onValue = st.wind_on_refe_value;
  shown(ratioSingle(*s.offSens, *s.onSens, off, onValue, out[ii]));
  zel::image& target = temperaturePaint ? out[t] : out[p];
  const fieldFault f =
      temperaturePaint
          ? temperatureSingle(*s.offSens, *s.onSens, off, onValue, d.cal, d.flow, target)
          : pressureSingle(*s.offSens, *s.onSens, off, onValue, d.cal, d.flow, target);
  if (shown(f) == fieldFault::none) convertLaw(target, temperaturePaint, d.flow);
}

// P/Pstat and Cp in the flow's pressure unit, as the pressure now is.
void pressureResults(const flowState& flow, resultTargets& out) {
  const unitChange back = pressureChange(flow.paintUnit, flow.flowPressureUnit);
  const float P_static = back.apply(flow.P_static), P_dynamic = back.apply(flow.P_dynamic);
  shown(staticPressureRatio(out[p], P_static, out[pp]));
  shown(pressureCoefficient(out[p], P_static, P_dynamic, out[cp]));
}

// The images of the paint kind, or false when one is missing.
bool findSources(zel::imagesList& list, bool doublePaint, sources& s) {
  s = {list.find(names::wind_off_sens), list.find(names::wind_on_sens),
       list.find(names::wind_off_refe), list.find(names::wind_on_refe)};
  return s.offSens && s.onSens && (!doublePaint || (s.offRefe && s.onRefe));
}

}  // namespace

bool FieldCalculation(zel::imagesList& list, bool interactive) {
  const std::string kind = paintKind();
  const bool doublePaint = kind == "double", temperaturePaint = kind == "Tsingle";
  sources s{};
  if ((!doublePaint && kind != "single" && !temperaturePaint) || !findSources(list, doublePaint, s))
    return true;
  const zel::paintFeatures paint = get_paint();
  if (interactive) list.snapshot();
  const paintData d{narrowed(paint), flowInPaintUnits(paint, get_flow())};
  resultTargets out(list, s.onSens->width(), s.onSens->height(), temperaturePaint);

  if (doublePaint)
    lawWithImages(s, *s.offRefe, *s.onRefe, false, d, out);
  else
    singlePaint(s, temperaturePaint, d, out);

  if (!temperaturePaint) pressureResults(d.flow, out);
  for (resultIndex i : {ii, p, t, pp, cp})
    if (gives(i, temperaturePaint)) copyMarkers(*s.offSens, out[i]);
  out.finish(list);
  markSourceFlags(list, true);
  refreshList(list);
  return true;
}

namespace {

// The cards' images that are missing, as copies of the master image.
void prepareCardImages(zel::imagesList& list) {
  const bool temperaturePaint = paintKind() == "Tsingle";
  if (!temperaturePaint && paintKind() != "double" && paintKind() != "single") return;
  const zel::image* master = list.find(names::wind_off_sens);
  const resultIndex cards[] = {ii, p, pp, cp, t};
  for (resultIndex i : cards) {
    if (!gives(i, temperaturePaint) || !on(results[i]) || list.find(results[i].name) || !master)
      continue;
    auto* img = new zel::image(*master);
    img->setFieldName(results[i].name);
    list.addImage(img);
  }
}

// The last chosen result, in the order ratio, pressure, temperature,
// P/Pstat, Cp, becomes current.
void showLastCard(zel::imagesList& list) {
  for (const result& r : results)
    if (on(r)) setCurrentByName(list, r.name);
}

}  // namespace

bool FieldCalculationCommand(zel::imagesList& list) {
  CCreateCards cards;
  checkedCards record(cards, paintKind());
  if (!showDialog(record)) return true;
  conversionState& s = state();
  s.card_ii = cards.m_ii, s.card_p = cards.m_p, s.card_pp = cards.m_pp;
  s.card_cp = cards.m_cp, s.card_t = cards.m_t;
  wait_cursor(true);
  prepareCardImages(list);
  FieldCalculation(list, true);
  showLastCard(list);
  refreshList(list);
  wait_cursor(false);
  return true;
}

namespace {
const commandRegistration commands[] = {
    commandRegistration({"field-calculation",
                         "B Convert",
                         "Field Calculation...",
                         "1",
                         "BConvert.chm::/html/BConvert_convert.htm",
                         available::project_images_present,
                         {freshRecord<CCreateCards>},
                         FieldCalculationCommand}),
};
}  // namespace

}  // namespace tamble
