// "Field Calculation..." on small runs made in the list: which results
// join the list and under which names, the refusals and when they are
// shown, the cards' dialog, and a single paint's reference values.
#include "api/imagesList.h"
#include "dialogs/cardsDialog.h"
#include "host/project.h"
#include "plugin/fieldCalculationCommand.h"
#include "plugin/projectState.h"
#include "plugin/referenceKeys.h"
#include "tests/support/commandTest.h"

namespace {

using namespace tamble;

class FieldStage : public tamble::testing::commandTest {
 protected:
  void TearDown() override {
    clear_vur();
    commandTest::TearDown();
  }

  zel::image& add(const char* name, float value, int w = 4, int h = 3) {
    auto* img = new zel::image(w, h);
    img->fillField(value);
    img->setFieldName(name);
    list.addImage(img);
    return *img;
  }

  // Sensor light 1200 wind-off, 1000 wind-on; a double paint's reference
  // 600 and 500: a ratio of 1, which gives back the wind-off pressure when
  // both states have one temperature. P = -16400 + 100600 r + 8500 r^2 Pa.
  void run(const std::string& kind) {
    paintKind() = kind;
    add(names::wind_off_sens, 1200.0f);
    add(names::wind_on_sens, 1000.0f);
    if (kind == "double") {
      add(names::wind_off_refe, 600.0f);
      add(names::wind_on_refe, 500.0f);
    }
    zel::paintFeatures& paint = get_paint();
    paint.c[0] = -16400.0, paint.c[3] = 100600.0, paint.c[6] = 8500.0;
    zel::flowFeatures& flow = get_flow();
    flow.P_wind_off = 100000.0, flow.P_static = 70000.0, flow.P_dynamic = 20000.0;
    flow.T_wind_off = flow.T_wind_on = 20.0;
    get_vur().project_file = "/data/run7.vur";
  }

  void cards(int ii, int p, int pp, int cp, int t) {
    conversionState& s = state();
    s.card_ii = ii, s.card_p = p, s.card_pp = pp, s.card_cp = cp, s.card_t = t;
  }

  std::vector<std::string> listed() const {
    std::vector<std::string> out;
    for (int i = 0; i < list.size(); ++i) out.push_back(list[i]->fieldName());
    return out;
  }
};

// Every refusal: its text, shown outside a list conversion (the missing
// quadratic term also inside), and the refusing routine's target as it was.
TEST_F(FieldStage, RefusalsAreShownAsTheRuleSaysAndLeaveTheirTarget) {
  const std::string sizes = "Working Bitmaps Have Different Dimensions!";
  const struct {
    void (*spoil)(zel::imagesList&);
    const char* target;
    std::vector<std::string> texts;
    bool inBatch;
  } rows[] = {
      // clang-format off
      {[](zel::imagesList& l) { zel::image* refe = l.find(names::wind_on_refe);
                                refe->resize(4, 2); refe->setFieldName(names::wind_on_refe); },
       names::Pressure, {sizes, sizes}, false},
      {[](zel::imagesList&) { get_paint().c[6] = 0.0; }, names::Pressure,
       {"Calibration coefficients for PSP acquisition are incorrect. Pressure field will be wrong"},
       true},
      {[](zel::imagesList&) { get_flow().P_wind_off = -1e9; }, names::Pressure,
       {"Error in Paint Calibration Coefficients"}, false},
      {[](zel::imagesList&) { get_flow().P_static = 0.0; }, names::P_Pstat,
       {"Static Pressure Value is Too Small!"}, false},
      {[](zel::imagesList&) { get_flow().P_dynamic = 1e-12; }, names::Cp,
       {"Dynamic Pressure Value is Too Small!"}, false},
      // clang-format on
  };
  for (const auto& r : rows)
    for (bool batch : {false, true}) {
      SCOPED_TRACE(r.texts[0] + (batch ? " in a list" : ""));
      list.clear();
      session().reset();
      user.ui.notices.clear();
      run("double");
      for (const char* name : {names::Irefe_Isens, names::Pressure, names::P_Pstat, names::Cp})
        add(name, 42.0f);
      r.spoil(list);
      cards(1, 1, 1, 1, 0);
      state().batchMode = batch;
      FieldCalculation(list, false);
      EXPECT_EQ(user.ui.notices, batch && !r.inBatch ? std::vector<std::string>{} : r.texts);
      EXPECT_EQ(list.find(r.target)->field()(1, 1), 42.0f);
      EXPECT_EQ(list.find(names::Irefe_Isens)->field()(1, 1) == 1.0f, r.texts[0] != sizes);
    }
}

// A ratio of 1 gives back the wind-off state: the pressure, P / Pstat and
// Cp of P_wind_off, in the flow's unit whatever the paint's.
TEST_F(FieldStage, ResultsComeInTheFlowsUnit) {
  const std::pair<const char*, double> units[] = {
      {"pa", 1.0}, {"bar", 1e-5}, {"psi", 1.0 / 6894.76}, {"mm_hg", 1.0 / 133.322}};
  for (const auto& [unit, perPa] : units) {
    list.clear();
    run("double");
    get_paint().paintUnit = unit;
    for (int i = 0; i < 9; i += 3) get_paint().c[i] *= perPa;  // the same law in that unit
    get_flow().flowPressureUnit = "psi";
    get_flow().P_wind_off = 14.5, get_flow().P_static = 10.0, get_flow().P_dynamic = 3.0;
    cards(1, 1, 1, 1, 0);
    FieldCalculation(list, false);
    EXPECT_NEAR(list.find(names::Pressure)->field()(2, 1), 14.5, 14.5 * 2e-6) << unit;
    EXPECT_NEAR(list.find(names::P_Pstat)->field()(2, 1), 1.45, 1e-5) << unit;
    EXPECT_NEAR(list.find(names::Cp)->field()(2, 1), 1.5, 1e-5) << unit;
  }
}

// With only Cp chosen the ratio, pressure and P / Pstat are computed and
// dropped; results made by the stage get the project's in-memory names and
// the master's markers as plain active positions.
TEST_F(FieldStage, OnlyChosenResultsJoinTheListUnderTheirNames) {
  run("double");
  list.find(names::wind_off_sens)->markers.add({1.5, 2.25, 7.0, 9.0, false, 4});
  params({{"m_ii", "0"}, {"m_p", "0"}, {"m_pp", "0"}, {"m_cp", "1"}, {"m_t", "0"}});
  FieldCalculationCommand(list);
  std::vector<std::string> want{names::wind_off_sens, names::wind_on_sens, names::wind_off_refe,
                                names::wind_on_refe, names::Cp};
  EXPECT_EQ(listed(), want);
  EXPECT_NEAR(list.find(names::Cp)->field()(0, 0), 1.5, 1e-5);
  EXPECT_EQ(list.current(), list.find(names::Cp));
  ASSERT_EQ(list.find(names::Cp)->markers.count(), 1);
  EXPECT_EQ(list.find(names::Cp)->markers[0], (marker{1.5, 2.25, 0.0, 0.0, true, 1}));

  // Without the dialog (an automatic conversion) the new results join in
  // this order, named after the project.
  list.removeImage(list.indexOf(names::Cp));
  cards(1, 1, 1, 1, 0);
  FieldCalculation(list, false);
  want = {names::wind_off_sens, names::wind_on_sens, names::wind_off_refe, names::wind_on_refe,
          names::P_Pstat,       names::Pressure,     names::Irefe_Isens,   names::Cp};
  EXPECT_EQ(listed(), want);
  EXPECT_EQ(list.find(names::P_Pstat)->fileInfo.name, "/data/run7_P_to_Pst.imp");
  EXPECT_EQ(list.find(names::Cp)->fileInfo.name, "/data/run7_Cp.imp");
  EXPECT_NEAR(list.find(names::P_Pstat)->limits().first, 100000.0 / 70000.0, 1e-5);
}

// Cards the paint cannot give are refused with a warning (a host keeps the
// dialog open), and the command runs nothing; one or two pressure cards on
// a temperature paint pass, and give nothing.
TEST_F(FieldStage, CardsThePaintCannotGiveAreRefused) {
  const struct {
    const char* kind;
    CCreateCards cards;  // ii, p, pp, cp, t
    const char* complaint;
  } rows[] = {
      {"double", {1, 0, 0, 0, 1}, "< T > card is of no use\n\n Recheck..."},
      {"single", {0, 0, 0, 0, 1}, "< T > card is of no use\n\n Recheck..."},
      {"Tsingle", {0, 1, 1, 1, 0}, "< P >< P/Pstat >< Cp > cards are of no use\n\n Recheck..."},
      {"Tsingle", {0, 1, 1, 0, 0}, ""},
  };
  for (const auto& r : rows) EXPECT_EQ(cardsComplaint(r.cards, r.kind).value_or(""), r.complaint);

  run("double");
  params({{"m_ii", "1"}, {"m_t", "1"}});
  FieldCalculationCommand(list);
  EXPECT_EQ(list.size(), 4);
  list.clear();
  run("Tsingle");
  state().key_unit_value = 1, state().wind_on_refe_value = state().wind_off_refe_value = 1.0f;
  params({{"m_ii", "0"}, {"m_p", "1"}, {"m_pp", "1"}, {"m_cp", "0"}, {"m_t", "0"}});
  FieldCalculationCommand(list);
  EXPECT_EQ(listed(), (std::vector<std::string>{names::wind_off_sens, names::wind_on_sens}));
}

// The means over the reference regions (checked on synthetic runs) consume
// them: a second run averages over the whole images; fixed values from the
// store are taken as they are.
TEST_F(FieldStage, ASinglePaintsRegionsAreConsumed) {
  run("single");
  state().referenceRegions = zel::arrayStore<bool, 2>(4, 3);
  state().referenceRegions.fill(false);
  state().referenceRegions(0, 0) = state().referenceRegionsPresent = true;
  list.find(names::wind_off_sens)->field()(0, 0) = 100.0f;
  cards(1, 0, 0, 0, 0);
  FieldCalculation(list, false);
  EXPECT_EQ(state().wind_off_refe_value, 100.0f);
  EXPECT_FALSE(state().referenceRegionsPresent);
  FieldCalculation(list, false);
  EXPECT_FLOAT_EQ(state().wind_off_refe_value, (100.0f + 11 * 1200.0f) / 12.0f);

  state().key_unit_value = 1, state().wind_off_refe_value = 2.0f, state().wind_on_refe_value = 1.0f;
  storeForSingle(state());
  state() = conversionState();
  paintKind() = "single";
  cards(1, 0, 0, 0, 0);
  FieldCalculation(list, false);
  EXPECT_FLOAT_EQ(list.find(names::Irefe_Isens)->field()(3, 1), (1200.0f / 2.0f) / 1000.0f);
}

}  // namespace
