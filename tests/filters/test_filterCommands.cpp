// The filter and point commands as a user runs them.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "api/imagesList.h"
#include "filters/circleFilters.h"
#include "filters/wiener.h"
#include "host/paramRecord.h"
#include "host/platform.h"
#include "plugin/circleFilterCommands.h"
#include "plugin/pointCommands.h"
#include "plugin/wienerCommand.h"
#include "tests/support/commandTest.h"
#include "tests/support/layers.h"

namespace {

using namespace tamble;
using tamble::testing::layers;
using tamble::testing::sameBits;

using FilterCommands = tamble::testing::commandTest;
using tamble::testing::addRandomImage;

// The typed values reach the routine as the command's rules say (an even
// median diameter is made odd by the routine, the Gauss adds 1.001, the 3D
// filter's trunc(4.5) is even and becomes 5.001), are stored, and only the
// median shows its timing.
TEST_F(FilterCommands, TypedValuesReachTheRoutinesAndAreStored) {
  const struct {
    bool (*command)(zel::imagesList&);
    std::vector<std::pair<std::string, std::string>> values;
    std::string section;
    std::function<void(layers&)> routine;
    bool report;
  } cases[] = {
      {MedianFilterCommand,
       {{"m_diameter", "4"}, {"m_iter", "2"}},
       "Median",
       [](layers& l) { MedianCircle(l.field, l.bkgr, l.ROI, 2, 5); },
       true},
      {GaussFilterFastCommand,
       {{"m_diameter", "2"}, {"m_iter", "1"}},
       "Gauss",
       [](layers& l) { GaussSeparable(l.field, l.bkgr, l.ROI, 1, 3.001f); },
       false},
      {Filter3DCommand,
       {{"m_rl", "4"}, {"m_rlev", "20"}, {"m_iter", "1"}},
       "D3Filter",
       [](layers& l) { Filter3D(l.field, l.bkgr, l.ROI, 1, 5.001f, 20.0f, true); },
       false},
      {WienerFilterCommand,
       {{"m_rl", "4"}, {"m_sc", "1e6"}},
       "Auto_Wiener_filter",
       [](layers& l) { WienerFilter(l.field, l.bkgr, l.ROI, 4.0f, 1e6f); },
       false},
  };
  for (const auto& c : cases) {
    zel::imagesList images;
    layers expected = addRandomImage(images);
    images.recording = true;
    user.ui.notices.clear();
    params(c.values);
    EXPECT_TRUE(c.command(images));
    c.routine(expected);
    EXPECT_TRUE(sameBits(images.current()->field(), expected.field)) << c.section;
    EXPECT_EQ(reg_get_string(c.section, c.values[0].first, ""), c.values[0].second);
    EXPECT_TRUE(images.undoAvailable()) << c.section;
    EXPECT_EQ(images.actions().size(), 1u) << c.section;
    EXPECT_EQ(user.ui.waitDepth, 0);
    ASSERT_EQ(user.ui.notices.size(), c.report ? 1u : 0u) << c.section;
    EXPECT_TRUE(!c.report || user.ui.notices[0].rfind("Operation: ", 0) == 0) << c.section;
  }
}

// The threshold filter runs with its own record and keeps it.
TEST_F(FilterCommands, FilterThresholdRunsWithItsOwnRecord) {
  addRandomImage(list);
  params({{"m_kind", "None"}, {"m_low", "50"}, {"m_high", "60"}});
  FilterThresholdCommand(list);
  const zel::image& img = *list.current();
  for (int y = 0; y < img.height(); ++y)
    for (int x = 0; x < img.width(); ++x)
      if (!img.bkgr()(x, y) && img.ROI()(x, y)) {
        EXPECT_GE(img.field()(x, y), 50.0f);
        EXPECT_LE(img.field()(x, y), 60.0f);
      }
  EXPECT_EQ(read_param("FilterThreshold", "m_kind", -1), 0);
}

// A user who types into the dialog; every dialog is kept as it opened.
struct showingUi : tamble::testing::scriptedUi {
  std::vector<std::map<std::string, double>> shown;
  bool editRecord(paramRecord& record) override {
    std::map<std::string, double> values;
    for (std::size_t i = 0; i < record.fields().size(); ++i)
      values[record.fields()[i].key] = record.value(i);
    shown.push_back(values);
    return scriptedUi::editRecord(record);
  }
};

// The 3D filter's dialog shows the range of the valid pixels, which is
// never read back from what was typed nor stored.
TEST_F(FilterCommands, ThreeDShowsTheValidRangeAndNeverStoresIt) {
  addRandomImage(list);
  zel::image& img = *list.current();
  img.bkgr()(3, 4) = true;
  img.field()(3, 4) = -1e6f;
  img.ROI()(7, 2) = false;
  img.field()(7, 2) = 1e6f;
  showingUi ui;
  setHostUi(&ui);
  float lo = 0, hi = 0;
  FieldMinMax(img.field(), img.bkgr(), img.ROI(), lo, hi);
  ui.dialogValues = {{"m_rl", "3"}, {"m_rlev", "50"}, {"m_min", "-7"}, {"m_max", "7"}};
  Filter3DCommand(list);
  const float firstLo = lo;
  FieldMinMax(img.field(), img.bkgr(), img.ROI(), lo, hi);
  Filter3DCommand(list);  // shows the range the filter left
  setHostUi(&user.ui);
  ASSERT_EQ(ui.shown.size(), 2u);
  EXPECT_GT(ui.shown[0].at("m_min"), -1e6);
  EXPECT_EQ(ui.shown[0].at("m_min"), firstLo);
  EXPECT_EQ(ui.shown[1].at("m_min"), lo);
  EXPECT_EQ(ui.shown[1].at("m_max"), hi);
  EXPECT_NE(firstLo, lo);
  EXPECT_EQ(reg_get_string("D3Filter", "m_min", "absent"), "absent");
  EXPECT_EQ(reg_get_string("D3Filter", "m_max", "absent"), "absent");
  EXPECT_NE(reg_get_string("D3Filter", "m_rlev", "absent"), "absent");
}

// Crossed bands and a flood without a ROI are refused with a notice: the
// image stays and no "UnDo" point is taken.
TEST_F(FilterCommands, GuardsRefuseWithANotice) {
  const struct {
    bool (*command)(zel::imagesList&);
    std::vector<std::pair<std::string, std::string>> values;
    const char* notice;
  } cases[] = {
      {CutOffIntensitiesCommand,
       {{"m_key_min", "1"}, {"m_key_max", "1"}, {"m_Cut_Min_Value", "5"}, {"m_Cut_Max_Value", "5"}},
       "Minimum Must Be Less Than Maximum!"},
      {RangedFiltersCommand,
       {{"m_Ranged_Filters_min_value", "30"}, {"m_Ranged_Filters_max_value", "30"}},
       "Minimum Must Be Less Than Maximum!"},
      {FloodROICommand, {}, "All Image is ROI.\nNo Flood Available!"},
  };
  zel::image& img = addRamp(4, 3);
  for (const auto& c : cases) {
    params(c.values);
    c.command(list);
    EXPECT_EQ(user.ui.notices.back(), c.notice);
    EXPECT_FALSE(list.undoAvailable()) << c.notice;
    EXPECT_EQ(img.field()(3, 2), 23.0f) << c.notice;
  }
}

// The operation is remembered: the second run takes the stored constant
// and the same operation (multiply).
TEST_F(FilterCommands, ArithmeticRemembersTheOperation) {
  zel::image& img = addRamp(4, 3);
  params({{"m_constant", "2"}, {"af", "3"}});
  ArithmeticCommand(list);
  EXPECT_EQ(img.field()(3, 2), 46.0f);
  params({});
  ArithmeticCommand(list);
  EXPECT_EQ(img.field()(3, 2), 92.0f);
  EXPECT_TRUE(list.undoAvailable());
  EXPECT_TRUE(user.ui.notices.empty());
}

// With one key off a crossed band is no obstacle: only the top cut runs.
TEST_F(FilterCommands, CutOffWithOneKeyOff) {
  zel::image& img = addRamp(4, 3);
  params(
      {{"m_key_min", "0"}, {"m_key_max", "1"}, {"m_Cut_Min_Value", "5"}, {"m_Cut_Max_Value", "5"}});
  CutOffIntensitiesCommand(list);
  EXPECT_EQ(img.field()(3, 2), 5.0f);
  EXPECT_EQ(img.field()(0, 0), 0.0f);
  EXPECT_TRUE(list.undoAvailable());
}

// The inversion keeps the ramp's limits 0 and 23.
TEST_F(FilterCommands, ConservativeInvertKeepsTheLimits) {
  zel::image& img = addRamp(4, 3);
  ConservativeInvertCommand(list);
  EXPECT_EQ(img.field()(0, 0), 23.0f);
  EXPECT_EQ(img.field()(1, 1), 12.0f);
}

// The flood fills the ROI with the value, or makes it background.
TEST_F(FilterCommands, FloodFillsTheROI) {
  zel::image& img = addRamp(4, 3);
  img.ROI().fill(false);
  img.ROI()(1, 1) = img.ROI()(2, 1) = true;
  params({{"m_Value", "-4"}});
  EXPECT_TRUE(FloodROICommand(list));
  EXPECT_EQ(img.field()(1, 1), -4.0f);
  EXPECT_EQ(img.field()(2, 1), -4.0f);
  EXPECT_EQ(img.field()(3, 1), 13.0f);
  params({{"m_bg", "1"}});
  FloodROICommand(list);
  EXPECT_TRUE(img.bkgr()(1, 1));
  EXPECT_FALSE(img.bkgr()(3, 1));
  EXPECT_EQ(img.field()(1, 1), -4.0f);
}

// The first image takes the result and stays current; another size is
// refused and leaves it.
TEST_F(FilterCommands, ImageArithmeticChangesTheFirstAndComesBack) {
  zel::image& first = addRamp(4, 3, "first");
  zel::image& second = addRamp(4, 3, "second");
  second.field().fill(1.0f);
  second.bkgr()(0, 1) = true;
  addRamp(2, 2, "small");
  list.setCurrent(0);
  user.ui.imageChoices = {1, 2};
  params({{"oper", "2"}});
  ImageArithmeticCommand(list);
  EXPECT_EQ(list.currentIndex, 0);
  EXPECT_EQ(first.field()(3, 2), 22.0f);
  EXPECT_EQ(first.field()(0, 1), 0.0f);
  EXPECT_TRUE(first.bkgr()(0, 1));
  EXPECT_EQ(first.fieldName(), "first");
  EXPECT_EQ(second.field()(3, 2), 1.0f);
  ImageArithmeticCommand(list);
  EXPECT_EQ(user.ui.notices.size(), 1u);
  EXPECT_EQ(first.field()(3, 2), 22.0f);
  EXPECT_EQ(list.currentIndex, 0);
}

// The ranged filter clips to the band and reports the range and threshold.
TEST_F(FilterCommands, RangedFiltersReport) {
  zel::image& img = addRamp(8, 8);  // 0 to 77
  params({{"m_Ranged_Filters_kind", "3"},
          {"m_Ranged_Filters_min_value", "10"},
          {"m_Ranged_Filters_max_value", "50"},
          {"m_Ranged_Filters_diam", "3"}});
  RangedFiltersCommand(list);
  ASSERT_EQ(user.ui.notices.size(), 1u);
  EXPECT_EQ(user.ui.notices.back().rfind("10 50 4\nOperation: ", 0), 0u) << user.ui.notices.back();
  for (std::size_t i = 0; i < img.field().count; ++i) {
    EXPECT_GE(img.field().data[i], 10.0f);
    EXPECT_LE(img.field().data[i], 50.0f);
  }
  EXPECT_TRUE(list.undoAvailable());
}

}  // namespace
