#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "api/imagesList.h"
#include "filters/circleFilters.h"
#include "host/paramRecord.h"
#include "host/store.h"
#include "plugin/circleFilterCommands.h"
#include "tests/filters/filterTestImages.h"
#include "tests/support/commandTest.h"
#include "tests/support/scriptedUi.h"

namespace {

using namespace tamble;

class MedianCommands : public tamble::testing::commandTest {
 protected:
  // A random image in the list and the same layers kept aside.
  tamble::testing::layers add() {
    tamble::testing::layers l = tamble::testing::randomLayers(30, 20, 0.1, 5u);
    auto* img = new zel::image(30, 20);
    img->setFieldName("random");
    img->field() = l.field;
    img->bkgr() = l.bkgr;
    img->ROI() = l.ROI;
    list.addImage(img);
    return l;
  }
};

bool isReport(const std::string& text) {
  return text.rfind("Operation: ", 0) == 0 && text.size() > 20 &&
         text.substr(text.size() - 9) == " seconds\n";
}

TEST_F(MedianCommands, MedianUsesTheOddDiameterAndStoresWhatWasTyped) {
  tamble::testing::layers expected = add();
  user.ui.dialogValues = {{"m_diameter", "4"}, {"m_iter", "2"}};
  MedianFilterCommand(list);
  MedianCircle(expected.field, expected.bkgr, expected.ROI, 2, 5);
  EXPECT_TRUE(tamble::testing::sameBits(list.current()->field(), expected.field));
  EXPECT_EQ(read_param("Median", "m_diameter", 0), 4);
  ASSERT_EQ(user.ui.notices.size(), 1u);
  EXPECT_TRUE(isReport(user.ui.notices[0])) << user.ui.notices[0];
  // A diameter below 3 is refused by the dialog, and nothing runs.
  user.ui.dialogValues = {{"m_diameter", "2"}};
  MedianFastFilterCommand(list);
  EXPECT_EQ(user.ui.notices.size(), 1u);
}

TEST_F(MedianCommands, GaussAndThreeDBuildTheirReportsWithoutShowingThem) {
  tamble::testing::layers expected = add();
  user.ui.dialogValues = {{"m_diameter", "2"}, {"m_iter", "1"}};
  GaussFilterFastCommand(list);
  GaussSeparable(expected.field, expected.bkgr, expected.ROI, 1, 3.001f);
  EXPECT_TRUE(tamble::testing::sameBits(list.current()->field(), expected.field));
  EXPECT_EQ(read_param("Gauss", "m_diameter", 0), 2);
  // m_rl 4: trunc(4.5) is even, so the diameter is 5.001.
  user.ui.dialogValues = {{"m_rl", "4"}, {"m_rlev", "20"}, {"m_iter", "1"}};
  Filter3DCommand(list);
  Filter3D(expected.field, expected.bkgr, expected.ROI, 1, 5.001f, 20.0f, true);
  EXPECT_TRUE(tamble::testing::sameBits(list.current()->field(), expected.field));
  EXPECT_FLOAT_EQ(read_param("D3Filter", "m_rl", 0.0f), 4.0f);
  EXPECT_TRUE(user.ui.notices.empty());
}

TEST_F(MedianCommands, FilterThresholdRunsWithItsOwnRecord) {
  add();
  user.ui.dialogValues = {{"m_kind", "None"}, {"m_low", "50"}, {"m_high", "60"}};
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

}  // namespace
