// The frame every command runs in: guards, dialog, store, snapshot, host
// step, timing; and the two-image and stage forms.
#include <gtest/gtest.h>

#include "api/imagesList.h"
#include "host/paramRecord.h"
#include "host/platform.h"
#include "plugin/frame.h"
#include "tests/support/commandTest.h"

namespace {

using namespace tamble;

// A record like those of the filter dialogs: a diameter and a level.
struct CTestFilter {
  int m_diameter = 5;
  float m_level = 0.5f;
  static const recordDescriptor<CTestFilter>& descriptor() {
    static const recordDescriptor<CTestFilter> d{
        "CTestFilter",
        "FrameTestFilter",
        "Test Filter",
        {{{"m_diameter", paramType::Int, std::pair{1.0, 99.0}, "Diameter"},
          &CTestFilter::m_diameter},
         {{"m_level", paramType::Float, std::pair{0.0, 1.0}, "Level"}, &CTestFilter::m_level}}};
    return d;
  }
};

class Frame : public tamble::testing::commandTest {
 protected:
  void SetUp() override {
    commandTest::SetUp();
    list.addImage(filled("a", 1.0f));
    list.recording = true;
  }
  static zel::image* filled(const char* name, float value) {
    auto* img = new zel::image(3, 3);
    img->setFieldName(name);
    img->fillField(value);
    return img;
  }

  // Runs the test command: adds the diameter to every pixel.
  bool run(std::function<const char*(const zel::image&)> after = {}) {
    CTestFilter dialog;
    boundRecord<CTestFilter> record(CTestFilter::descriptor(), dialog);
    operation op;
    op.dialog = &record;
    op.guardAfterDialog = std::move(after);
    op.remember = [&] { remembered = dialog.m_diameter; };
    op.routine = [&](zel::image& img) {
      if (failInside) {
        img.field()(0, 0) = -1.0f;
        zel::raise<zel::AlgoError>();
      }
      img += static_cast<float>(dialog.m_diameter | 1);  // an even value runs as the next odd
    };
    op.time = operation::timing::shown;
    return runStandard(list, op);
  }

  int remembered = 0;
  bool failInside = false;
};

// OK saves the values, snapshots, takes a host step, runs and reports its time.
TEST_F(Frame, OkSavesSnapshotsRunsAndReports) {
  user.ui.dialogValues = {{"m_diameter", "4"}, {"m_level", "0,25"}};
  run();
  EXPECT_EQ(list.current()->field()[0], 6.0f);  // 4 typed, 5 used
  EXPECT_EQ(remembered, 4);                     // the remembered value is as typed
  EXPECT_EQ(reg_get_string("FrameTestFilter", "m_level", ""), "0,25");
  EXPECT_TRUE(list.undoAvailable());
  EXPECT_EQ(list.actions().size(), 1u);
  ASSERT_EQ(user.ui.notices.size(), 1u);
  EXPECT_EQ(user.ui.notices[0].rfind("Operation: ", 0), 0u);  // its text: reportText below
  EXPECT_EQ(user.ui.waitDepth, 0);
  UnDo(list);
  EXPECT_EQ(list.current()->field()[0], 1.0f);
}

// A guard after the dialog stops the command once the values are saved.
TEST_F(Frame, GuardAfterTheDialogHasSavedButNotSnapshotted) {
  user.ui.dialogValues = {{"m_diameter", "7"}};
  run([](const zel::image&) { return "Min > Max"; });
  EXPECT_EQ(user.ui.notices, std::vector<std::string>{"Min > Max"});
  EXPECT_EQ(reg_get_string("FrameTestFilter", "m_diameter", ""), "7");
  EXPECT_FALSE(list.undoAvailable());
  EXPECT_EQ(list.current()->field()[0], 1.0f);
}

// A routine that throws leaves its snapshot, so "UnDo" is the way back.
TEST_F(Frame, AnExceptionLeavesUndoAvailable) {
  failInside = true;
  EXPECT_THROW(run(), zel::AlgoError);
  EXPECT_TRUE(list.undoAvailable());
  EXPECT_EQ(list.current()->field()(0, 0), -1.0f);  // as the routine left it
  UnDo(list);
  EXPECT_EQ(list.current()->field()(0, 0), 1.0f);
}

// The snapshot-only form takes no host step and shows no wait cursor.
TEST_F(Frame, SnapshotOnlyTakesNoHostStepAndNoCursor) {
  operation op;
  op.snapshotOnly = true;
  op.routine = [this](zel::image& img) { img.fillROI(user.ui.waitDepth != 0); };
  runStandard(list, op);
  EXPECT_TRUE(list.undoAvailable());
  EXPECT_TRUE(list.actions().empty());
  EXPECT_FALSE(list.current()->ROI()[0]);
}

// A guard before the dialog stops the command before the dialog opens.
TEST_F(Frame, GuardBeforeTheDialogStopsEverything) {
  operation op;
  CTestFilter dialog;
  boundRecord<CTestFilter> record(CTestFilter::descriptor(), dialog);
  op.dialog = &record;
  op.guard = [](const zel::image&) { return "No Markers"; };
  op.routine = [](zel::image&) { FAIL() << "must not run"; };
  user.ui.dialogOk = {true};
  runStandard(list, op);
  EXPECT_EQ(user.ui.dialogOk.size(), 1u);  // the dialog never opened
  EXPECT_EQ(user.ui.notices, std::vector<std::string>{"No Markers"});
  EXPECT_FALSE(list.undoAvailable());
}

// Two-image commands change the chosen image and give it the host step.
TEST_F(Frame, TwoImagesChangeTheChosenOne) {
  zel::image* second = filled("b", 10.0f);
  list.addImage(second, false);
  list.setCurrent(0);
  twoImageOperation op;
  op.routine = [](zel::image& first, zel::image& target) { target -= first; };
  user.ui.imageChoices = {1};
  runTwoImages(list, op);
  EXPECT_EQ(second->field()[0], 9.0f);
  EXPECT_EQ(list.find("a")->field()[0], 1.0f);
  ASSERT_EQ(list.actions().size(), 1u);
  list.undo();  // the host step belongs to the changed image
  EXPECT_EQ(list.find("b")->field()[0], 10.0f);
}

// Two-image commands report a failed guard on the chosen pair and run nothing.
TEST_F(Frame, TwoImagesGuard) {
  twoImageOperation op;
  op.guard = [](const zel::image&, const zel::image&) { return "No Markers"; };
  op.routine = [](zel::image&, zel::image&) { FAIL() << "must not run"; };
  user.ui.imageChoices = {0};
  runTwoImages(list, op);
  EXPECT_EQ(user.ui.notices, std::vector<std::string>{"No Markers"});
  EXPECT_FALSE(list.undoAvailable());
}

bool addsAnImage(zel::imagesList& list, bool interactive) {
  auto* img = new zel::image(1, 1);
  img->setFieldName(interactive ? "made" : "quiet");
  list.addImage(img);
  return false;
}

// Stages select the last image always, or only when they succeed.
TEST_F(Frame, StagesRunInteractivelyAndSelectTheLastImage) {
  runStage(list, addsAnImage, afterStage::selectLast);
  EXPECT_EQ(list.current()->fieldName(), "made");
  list.setCurrent(0);
  runStage(list, addsAnImage, afterStage::selectLastOnSuccess);  // the stage answered false
  EXPECT_EQ(list.currentIndex, 0);
  EXPECT_EQ(user.ui.waitDepth, 0);
}

// The time report uses the decimal comma of the store.
TEST(FrameText, ReportUsesTheStoresNumberFormat) {
  EXPECT_EQ(reportText(0.25), "Operation: 0,25 seconds\n");
  EXPECT_EQ(reportText(1.5, true), "Operation: 1,5 seconds FAST\n");
}

}  // namespace
