#include <gtest/gtest.h>

#include <string>

#include "api/imagesList.h"
#include "convert/darkFlat.h"
#include "plugin/darkFlatCommands.h"
#include "plugin/frame.h"
#include "plugin/projectState.h"
#include "tests/support/commandTest.h"

namespace {

using namespace tamble;

class DarkFlat : public tamble::testing::commandTest {
 protected:
  void SetUp() override {
    commandTest::SetUp();
    saved = state().paintKind;
    state().batchMode = false;
  }
  void TearDown() override {
    state().paintKind = saved;
    state().batchMode = false;
    commandTest::TearDown();
  }

  // An image of that name, filled with `value`.
  zel::image& add(const char* name, float value, int w = 8, int h = 4) {
    auto* img = new zel::image(w, h);
    img->setFieldName(name);
    img->fileInfo.name = std::string(name) + ".tif";
    for (std::uint64_t i = 0; i < img->field().count; ++i) img->field().data[i] = value;
    list.addImage(img);
    return *img;
  }

  std::string saved;
};

// The dark frame is subtracted under the masks too, below zero if need be.
TEST_F(DarkFlat, DarkIsSubtractedEverywhereAndMayTurnNegative) {
  zel::image& img = addRamp(5, 4);
  img.bkgr()(1, 1) = true;
  img.ROI()(2, 2) = false;
  zel::image& dark = add("dark", 0.0f, 5, 4);
  dark.field()(1, 1) = 4.0f;
  dark.field()(2, 2) = 30.0f;
  dark.field()(0, 0) = 3.0f;
  EXPECT_TRUE(subtractDark(img.field(), img.bkgr(), dark.field(), dark.bkgr()));
  EXPECT_EQ(img.field()(1, 1), 7.0f);   // under bkgr all the same
  EXPECT_EQ(img.field()(2, 2), -8.0f);  // outside the ROI, and below zero
  EXPECT_EQ(img.field()(0, 0), -3.0f);
  EXPECT_EQ(img.field()(4, 3), 34.0f);
  EXPECT_TRUE(img.bkgr()(1, 1));
  EXPECT_FALSE(img.ROI()(2, 2));
  EXPECT_TRUE(user.ui.notices.empty());
}

// A frame of another size is refused; the frame forms tell the user unless
// in batch mode.
TEST_F(DarkFlat, FramesOfAnotherSizeAreRefusedAndToldUnlessInBatchMode) {
  zel::image& img = addRamp(5, 4);
  zel::image& frame = add("frame", 1.0f, 4, 5);
  const zel::image before = img;
  // The routines refuse without a word; the commands' forms tell the user.
  EXPECT_FALSE(subtractDark(img.field(), img.bkgr(), frame.field(), frame.bkgr()));
  EXPECT_FALSE(correctFlat(img.field(), img.bkgr(), frame.field(), frame.bkgr()));
  EXPECT_TRUE(user.ui.notices.empty());
  EXPECT_FALSE(subtractDarkFrame(img.field(), img.bkgr(), frame.field(), frame.bkgr()));
  EXPECT_FALSE(correctFlatFrame(img.field(), img.bkgr(), frame.field(), frame.bkgr()));
  ASSERT_EQ(user.ui.notices.size(), 2u);
  EXPECT_EQ(user.ui.notices[0], "Images have different dimensions. Procedure is terminated");
  EXPECT_EQ(user.ui.notices[1], user.ui.notices[0]);
  state().batchMode = true;
  EXPECT_FALSE(correctFlatFrame(img.field(), img.bkgr(), frame.field(), frame.bkgr()));
  EXPECT_EQ(user.ui.notices.size(), 2u);
  for (std::uint64_t i = 0; i < img.field().count; ++i)
    ASSERT_EQ(img.field().data[i], before.field().data[i]);
}

// The normalised flat divides where it lies in [0.5, 1.5]; defects outside
// it are marked, divided above 0.25 and filled up unless under bkgr. A flat
// of 8 by 4 whose mean is exactly 2 puts the normalised values 0.5, 1.5,
// 0.25, 0.375 and 2.375 at chosen pixels, 1 elsewhere.
TEST_F(DarkFlat, FlatDividesKeptPixelsAndFillsDefects) {
  zel::image* target = &add("target", 12.0f);
  zel::image* flat = &add("flat", 2.0f);
  flat->field()(1, 1) = 1.0f;   // 0.5: kept and divided
  flat->field()(2, 1) = 3.0f;   // 1.5: kept and divided
  flat->field()(3, 1) = 0.5f;   // 0.25: marked, not divided
  flat->field()(4, 1) = 0.75f;  // 0.375: marked, divided
  flat->field()(5, 2) = 4.75f;  // 2.375: marked, divided, filled
  // The marked pixels under bkgr stay out of the fill-up, so what the
  // division did to them shows.
  target->bkgr()(3, 1) = true;
  target->bkgr()(4, 1) = true;
  target->ROI()(6, 3) = false;
  target->markers.add(marker{});
  EXPECT_TRUE(correctFlat(target->field(), target->bkgr(), flat->field(), flat->bkgr()));
  const auto& f = target->field();
  EXPECT_EQ(f(0, 0), 12.0f);
  EXPECT_EQ(f(1, 1), 24.0f);
  EXPECT_EQ(f(2, 1), 12.0f / 1.5f);
  EXPECT_EQ(f(3, 1), 12.0f);           // not divided, and bkgr keeps it from the fill
  EXPECT_EQ(f(4, 1), 12.0f / 0.375f);  // divided, then left by the fill
  // Filled from its eight directions: every end holds 12 but the one on
  // bkgr, which takes no part.
  EXPECT_NEAR(f(5, 2), 12.0f, 1e-5f);
  EXPECT_EQ(f(6, 3), 12.0f);  // ROI: not a defect, divided by 1
  EXPECT_TRUE(target->bkgr()(3, 1));
  EXPECT_TRUE(target->bkgr()(4, 1));
  EXPECT_FALSE(target->bkgr()(5, 2));
  EXPECT_FALSE(target->ROI()(6, 3));
  EXPECT_EQ(target->markers.count(), 1);
}

// Dead and hot pixels of the flat are filled from the plane around them.
TEST_F(DarkFlat, ADefectInAPlaneIsFilledFromThePlane) {
  zel::image& target = add("target", 0.0f, 9, 9);
  zel::image& flat = add("flat", 1.0f, 9, 9);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 9; ++x) target.field()(x, y) = 2.0f * x + 3.0f * y + 1.0f;
  flat.field()(4, 4) = 0.0f;   // a dead pixel of the flat
  flat.field()(4, 5) = 40.0f;  // and a hot one below it
  ASSERT_TRUE(correctFlat(target.field(), target.bkgr(), flat.field(), flat.bkgr()));
  // The mean is a little off 1, so every kept pixel is divided by the same
  // factor and the plane stays a plane; the two defects lie on it.
  const float mean = (79.0f + 40.0f) / 81.0f;
  const float k = 1.0f / mean;
  EXPECT_EQ(target.field()(0, 0), 1.0f / k);
  EXPECT_NEAR(target.field()(4, 4), (8.0f + 12.0f + 1.0f) * mean, 1e-3f);
  EXPECT_NEAR(target.field()(4, 5), (8.0f + 15.0f + 1.0f) * mean, 1e-3f);
}

// A flat of zeros has the mean 0: 0/0 fails every test, nothing changes.
TEST_F(DarkFlat, AZeroFlatMakesNonFiniteValuesThatPassUntouched) {
  zel::image& target = addRamp(4, 3);
  zel::image& flat = add("flat", 0.0f, 4, 3);
  ASSERT_TRUE(correctFlat(target.field(), target.bkgr(), flat.field(), flat.bkgr()));
  // 0/0 fails every comparison: nothing is divided or filled.
  EXPECT_EQ(target.field()(3, 2), 23.0f);
}

// The dark stage pairs each source with its own dark frame and skips one
// without; every run subtracts again, and "UnDo" goes back one run.
TEST_F(DarkFlat, TheDarkStageCorrectsEachSourceWithItsOwnFrame) {
  state().paintKind = "double";
  zel::image& offRefe = add(names::wind_off_refe, 10.0f);
  zel::image& onRefe = add(names::wind_on_refe, 20.0f);
  zel::image& offSens = add(names::wind_off_sens, 30.0f);
  zel::image& onSens = add(names::wind_on_sens, 40.0f);
  add(names::wind_off_dark_refe, 1.0f);
  add(names::wind_on_dark_refe, 2.0f);
  add(names::wind_off_dark_sens, 3.0f);  // wind_on_dark_sens is missing
  EXPECT_TRUE(DarkSubtraction(list, true));
  EXPECT_EQ(offRefe.field()(0, 0), 9.0f);
  EXPECT_EQ(onRefe.field()(0, 0), 18.0f);
  EXPECT_EQ(offSens.field()(0, 0), 27.0f);
  EXPECT_EQ(onSens.field()(0, 0), 40.0f);  // skipped without a word
  EXPECT_TRUE(user.ui.notices.empty());
  for (const zel::image* img : {&offRefe, &onRefe, &offSens, &onSens}) EXPECT_TRUE(img->converted);
  EXPECT_FALSE(list.find(names::wind_off_dark_refe)->converted);
  // Nothing records that it ran: a second run subtracts again. "UnDo" goes
  // back one run.
  DarkSubtraction(list, true);
  EXPECT_EQ(offRefe.field()(0, 0), 8.0f);
  list.restoreSnapshot();
  EXPECT_EQ(list.find(names::wind_off_refe)->field()(0, 0), 9.0f);
}

// A single paint corrects only its sensor pair; without a project nothing
// happens.
TEST_F(DarkFlat, ASinglePaintTouchesOnlyItsSensorPair) {
  state().paintKind = "Tsingle";
  zel::image& offRefe = add(names::wind_off_refe, 10.0f);
  zel::image& onSens = add(names::wind_on_sens, 40.0f);
  zel::image& offSens = add(names::wind_off_sens, 40.0f);
  add(names::flat_refe, 4.0f);
  zel::image& flat = add(names::flat_sens, 2.0f);
  flat.field()(0, 0) = 2.5f;
  flat.field()(1, 0) = 1.5f;  // the mean stays 2
  EXPECT_TRUE(FlatCorrection(list, false));
  EXPECT_EQ(offRefe.field()(0, 0), 10.0f);
  EXPECT_EQ(onSens.field()(2, 2), 40.0f);
  EXPECT_EQ(onSens.field()(0, 0), 32.0f);
  EXPECT_EQ(offSens.field()(0, 0), 32.0f);
  EXPECT_FALSE(list.undoAvailable());  // not interactive: no check point

  state().paintKind = "";  // no project: nothing happens
  FlatCorrection(list, false);
  EXPECT_EQ(onSens.field()(0, 0), 32.0f);
}

// The tools command subtracts the chosen frame from the current image.
TEST_F(DarkFlat, TheToolsCommandCorrectsTheCurrentImageWithTheChosenFrame) {
  zel::image& target = addRamp(4, 3, "target");
  add("dark", 5.0f, 4, 3);
  list.setCurrent(0);
  user.ui.imageChoices = {-1};
  DarkFieldSubtractionCommand(list);  // Cancel
  EXPECT_EQ(target.field()(1, 0), 1.0f);
  EXPECT_FALSE(list.undoAvailable());
  user.ui.imageChoices = {1};
  DarkFieldSubtractionCommand(list);
  EXPECT_EQ(target.field()(1, 0), -4.0f);
  EXPECT_EQ(list.current(), &target);
  UnDo(list);
  EXPECT_EQ(list.find("target")->field()(1, 0), 1.0f);
}

}  // namespace
