#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "api/imagesList.h"
#include "host/store.h"
#include "plugin/pointCommands.h"
#include "tests/support/commandTest.h"
#include "tests/support/scriptedUi.h"

namespace {

using namespace tamble;

// A list of images whose value is x + 10 y, with a private store.
class PointCommands : public tamble::testing::commandTest {
 protected:
  zel::image& add(int w, int h, const char* name = "ramp") { return addRamp(w, h, name); }
};

TEST_F(PointCommands, ArithmeticRemembersTheOperation) {
  zel::image& img = add(4, 3);
  params({{"m_constant", "2"}, {"af", "3"}});
  ArithmeticCommand(list);
  EXPECT_EQ(img.field()(3, 2), 46.0f);
  params({});  // the constant from the store, the operation remembered
  ArithmeticCommand(list);
  EXPECT_EQ(img.field()(3, 2), 92.0f);
  EXPECT_TRUE(list.undoAvailable());
  EXPECT_TRUE(user.ui.notices.empty());
}

TEST_F(PointCommands, CutOffRefusesACrossedBandWithoutSnapshot) {
  zel::image& img = add(4, 3);
  params(
      {{"m_key_min", "1"}, {"m_key_max", "1"}, {"m_Cut_Min_Value", "5"}, {"m_Cut_Max_Value", "5"}});
  CutOffIntensitiesCommand(list);
  EXPECT_EQ(user.ui.notices.back(), "Minimum Must Be Less Than Maximum!");
  EXPECT_FALSE(list.undoAvailable());
  EXPECT_EQ(img.field()(3, 2), 23.0f);
  // With one key off the crossed values are no obstacle.
  params(
      {{"m_key_min", "0"}, {"m_key_max", "1"}, {"m_Cut_Min_Value", "5"}, {"m_Cut_Max_Value", "5"}});
  CutOffIntensitiesCommand(list);
  EXPECT_EQ(img.field()(3, 2), 5.0f);
  EXPECT_EQ(img.field()(0, 0), 0.0f);
  EXPECT_TRUE(list.undoAvailable());
}

TEST_F(PointCommands, ConservativeInvertTwiceReturnsTheImage) {
  zel::image& img = add(4, 3);
  ConservativeInvertCommand(list);
  EXPECT_EQ(img.field()(0, 0), 23.0f);
  EXPECT_EQ(img.field()(1, 1), 12.0f);
  ConservativeInvertCommand(list);
  EXPECT_EQ(img.field()(1, 1), 11.0f);
  EXPECT_EQ(img.field()(0, 0), 0.0f);
  EXPECT_TRUE(user.ui.notices.empty());
}

TEST_F(PointCommands, FloodNeedsAnROIAndFillsIt) {
  zel::image& img = add(4, 3);
  EXPECT_FALSE(FloodROICommand(list));
  EXPECT_EQ(user.ui.notices.back(), "All Image is ROI.\nNo Flood Available!");
  EXPECT_FALSE(list.undoAvailable());
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

TEST_F(PointCommands, ImageArithmeticChangesTheFirstAndComesBack) {
  zel::image& first = add(4, 3, "first");
  zel::image& second = add(4, 3, "second");
  second.field().fill(1.0f);
  second.bkgr()(0, 1) = true;
  list.setCurrent(0);
  user.ui.imageChoices = {1};
  params({{"oper", "2"}});
  ImageArithmeticCommand(list);
  EXPECT_EQ(list.currentIndex, 0);
  EXPECT_EQ(first.field()(3, 2), 22.0f);
  EXPECT_EQ(first.field()(0, 1), 0.0f);
  EXPECT_TRUE(first.bkgr()(0, 1));
  EXPECT_EQ(first.fieldName(), "first");
  EXPECT_EQ(second.field()(3, 2), 1.0f);
  // Another size: the message, and the first image stays.
  zel::image& small = add(2, 2, "small");
  small.field().fill(1.0f);
  list.setCurrent(0);
  user.ui.imageChoices = {2};
  ImageArithmeticCommand(list);
  EXPECT_EQ(user.ui.notices.back(),
            "ImageArithmeticBM: Images Have Different Dimensions. Operation is Canceled");
  EXPECT_EQ(first.field()(3, 2), 22.0f);
  EXPECT_EQ(list.currentIndex, 0);
}

TEST_F(PointCommands, RangedFiltersGuardAndReport) {
  zel::image& img = add(8, 8);  // 0 to 77
  params({{"m_Ranged_Filters_min_value", "30"}, {"m_Ranged_Filters_max_value", "30"}});
  RangedFiltersCommand(list);
  EXPECT_EQ(user.ui.notices.back(), "Minimum Must Be Less Than Maximum!");
  EXPECT_FALSE(list.undoAvailable());
  params({{"m_Ranged_Filters_kind", "3"},
          {"m_Ranged_Filters_min_value", "10"},
          {"m_Ranged_Filters_max_value", "50"},
          {"m_Ranged_Filters_diam", "3"}});
  RangedFiltersCommand(list);
  ASSERT_EQ(user.ui.notices.size(), 2u);
  EXPECT_EQ(user.ui.notices.back().rfind("10 50 4\nOperation: ", 0), 0u) << user.ui.notices.back();
  for (std::size_t i = 0; i < img.field().count; ++i) {
    EXPECT_GE(img.field().data[i], 10.0f);
    EXPECT_LE(img.field().data[i], 50.0f);
  }
  EXPECT_TRUE(list.undoAvailable());
}

}  // namespace
