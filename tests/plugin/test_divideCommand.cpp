// "Divide Image by Image...": the current image divided by a chosen one,
// pixel by pixel, with the masks of both.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "api/imagesList.h"
#include "plugin/divideCommand.h"
#include "plugin/frame.h"
#include "tests/support/commandTest.h"

namespace {

using namespace tamble;

// One pixel of the dividend and the divisor, and what the dividend becomes.
struct pixel {
  float a;
  bool aBkgr, aRoi;
  float b;
  bool bBkgr, bRoi;
  float value;
  bool bkgr, roi;
};

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr bool F = false, T = true;

const pixel pixels[] = {
    {6.0f, F, T, 2.0f, F, T, 3.0f, F, T},
    {-7.5f, F, T, -2.5f, F, T, 3.0f, F, T},
    {1.0f, F, T, 3.0f, F, T, 0.333333343f, F, T},  // the float nearest to 1/3
    {0.0f, F, T, 4.0f, F, T, 0.0f, F, T},
    {5.0f, F, T, 0.0f, F, T, 0.0f, T, T},    // zero divisor
    {5.0f, F, T, 1e-11f, F, T, 0.0f, T, T},  // zero as far as a ratio goes
    {5.0f, F, T, nan, F, T, 0.0f, T, T},
    {nan, F, T, 2.0f, F, T, 0.0f, T, T},
    {3e38f, F, T, 1e-3f, F, T, 0.0f, T, T},  // beyond the floats
    {5.0f, F, T, 2.0f, T, T, 0.0f, T, T},    // background of either
    {5.0f, T, T, 2.0f, F, T, 0.0f, T, T},
    {6.0f, F, F, 2.0f, F, T, 3.0f, F, F},  // the ROIs combine
    {6.0f, F, T, 2.0f, F, F, 3.0f, F, F},
};
constexpr int count = static_cast<int>(std::size(pixels));

class DivideImage : public tamble::testing::commandTest {
 protected:
  // The dividend "a" (current) and the divisor "b", one table row a pixel.
  void SetUp() override {
    commandTest::SetUp();
    addImage("a", &pixel::a, &pixel::aBkgr, &pixel::aRoi).markers.add({1, 0, 0, 0, true, 1});
    addImage("b", &pixel::b, &pixel::bBkgr, &pixel::bRoi);
    list.setCurrent(0);
  }

  zel::image& addImage(const char* name, float pixel::*v, bool pixel::*bk, bool pixel::*roi) {
    auto* img = new zel::image(count, 1);
    img->setFieldName(name);
    for (int x = 0; x < count; ++x) {
      img->field()(x, 0) = pixels[x].*v;
      img->bkgr()(x, 0) = pixels[x].*bk;
      img->ROI()(x, 0) = pixels[x].*roi;
    }
    list.addImage(img);
    return *img;
  }

  static void expectUnchanged(const zel::image& img, const zel::image& before) {
    for (int x = 0; x < img.width(); ++x) {
      const float v = img.field()(x, 0), w = before.field()(x, 0);
      EXPECT_TRUE(v == w || (std::isnan(v) && std::isnan(w))) << x;
      EXPECT_EQ(img.bkgr()(x, 0), before.bkgr()(x, 0)) << x;
      EXPECT_EQ(img.ROI()(x, 0), before.ROI()(x, 0)) << x;
    }
  }
};

// The divisor stays, the quotient is shown with the dividend's markers;
// "UnDo" puts the dividend back.
TEST_F(DivideImage, EachPixelBecomesTheQuotientOrBackground) {
  const zel::image dividend = *list.find("a"), divisor = *list.find("b");
  user.ui.imageChoices = {1};
  DivideImageByImageCommand(list);
  const zel::image& a = *list.find("a");
  for (int x = 0; x < count; ++x) {
    EXPECT_EQ(a.field()(x, 0), pixels[x].value) << "row " << x;
    EXPECT_EQ(a.bkgr()(x, 0), pixels[x].bkgr) << "row " << x;
    EXPECT_EQ(a.ROI()(x, 0), pixels[x].roi) << "row " << x;
  }
  EXPECT_EQ(a.markers.count(), 1);
  expectUnchanged(*list.find("b"), divisor);
  EXPECT_EQ(list.current(), &a);
  EXPECT_TRUE(user.ui.notices.empty());
  UnDo(list);
  expectUnchanged(*list.find("a"), dividend);
}

TEST_F(DivideImage, ImagesOfDifferentSizesAreRefusedAndNothingChanges) {
  addRamp(count - 1, 1, "short");
  const zel::image before = *list.find("a");
  user.ui.imageChoices = {2};
  DivideImageByImageCommand(list);
  EXPECT_EQ(user.ui.notices,
            std::vector<std::string>{"Images have different dimensions (13x1 and 12x1). "
                                     "Division is canceled"});
  expectUnchanged(*list.find("a"), before);
  EXPECT_FALSE(list.undoAvailable());
  EXPECT_EQ(list.current(), list.find("a"));
}

}  // namespace
