// The background and foreground commands as a user runs them: the dialog's
// keys reach the routine, the stage works on the paint's sources only, the
// background files go out and come back, and whatever is refused changes
// nothing.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "api/imagesList.h"
#include "host/paramRecord.h"
#include "plugin/backgroundCommands.h"
#include "plugin/foregroundCommands.h"
#include "plugin/projectState.h"
#include "tests/support/layers.h"
#include "tests/support/projectTest.h"

namespace {

using namespace tamble;
using tamble::testing::sameBits;
using keys = std::vector<std::pair<std::string, std::string>>;
using texts = std::vector<std::string>;

int count(const zel::arrayStore<bool, 2>& mask, bool value) {
  return static_cast<int>(std::count(mask.data, mask.data + mask.count, value));
}

class BackgroundCommands : public tamble::testing::projectTest {
 protected:
  void TearDown() override {
    state().paintKind.clear();
    projectTest::TearDown();
  }
};

// On the ramp x + 10 y of 6 by 4 (values 0 to 35, mean 17.5) each key
// changes what it should: the count of background pixels and the value at
// (5, 3), 35 before. A refusal comes before the check point.
TEST_F(BackgroundCommands, TheDialogsKeysReachTheRoutine) {
  struct row {
    keys typed;
    int background;
    float corner;
    const char* notice;
  };
  const keys select{{"m_check_select", "1"}, {"m_check_compensate", "0"}};
  const keys compensate{{"m_check_select", "0"},
                        {"m_check_compensate", "1"},
                        {"m_2_4side_indent", "1"},
                        {"m_2_4side_width", "1"}};
  auto with = [](keys k, keys more) {
    k.insert(k.end(), more.begin(), more.end());
    return k;
  };
  // A strip fault names the rule and the key that reached it.
  const row rows[] = {
      // clang-format off
      {with(select, {{"r1", "Using Threshold"}, {"m_1_threshold", "15"}}), 11, 35, nullptr},
      {with(select, {{"r1", "2"}, {"m_1_average", "0.5"}}), 6, 35, nullptr},
      {with(select, {{"r1", "4"}, {"m_1_relative", "0.5"}}), 12, 35, nullptr},
      {with(compensate, {{"r2", "1"}, {"m_2_value", "4"}}), 0, 31, nullptr},
      {with(compensate, {{"r2", "4"}, {"m_2_2side", "0"}}), 0, 35,
       "Two Side Strap Width Less Than 1 !"},
      {with(compensate, {{"r2", "5"}, {"m_2_4side_width", "0"}}), 0, 35,
       "Four Side Strap Width Less Than 1 !"},
      {with(compensate, {{"r2", "5"}, {"m_2_4side_indent", "-1"}}), 0, 35,
       "Four Side Indent Less Than 0 !"},
      // clang-format on
  };
  for (const row& r : rows) {
    SCOPED_TRACE(r.typed.back().first + "=" + r.typed.back().second);
    zel::imagesList images;
    auto* img = new zel::image(6, 4);
    for (int y = 0; y < 4; ++y)
      for (int x = 0; x < 6; ++x) img->field()(x, y) = static_cast<float>(x + 10 * y);
    images.addImage(img);
    user.ui.notices.clear();
    params(r.typed);
    EXPECT_TRUE(BackgroundCommand(images));
    EXPECT_EQ(count(img->bkgr(), true), r.background);
    EXPECT_NEAR(img->field()(5, 3), r.corner, 1e-4f);
    EXPECT_EQ(images.undoAvailable(), r.notice == nullptr);
    EXPECT_EQ(user.ui.notices, r.notice ? texts{r.notice} : texts{});
  }
  // The rules live in the session, a refused choice not remembered.
  EXPECT_EQ(session().remembered<CBG_Dlg>().r2, compensateValue);
}

// The stage works on the paint's sources, each with its own values, and on
// nothing else; it takes one check point.
TEST_F(BackgroundCommands, TheStageWorksOnThePaintsSourcesOnly) {
  for (const char* kind : {"double", "single"}) {
    SCOPED_TRACE(kind);
    session().reset();
    zel::imagesList images;
    state().paintKind = kind;
    const std::vector<const char*> all{names::wind_off_refe, names::wind_on_refe,
                                       names::wind_off_sens, names::wind_on_sens, "other"};
    for (std::size_t i = 0; i < all.size(); ++i) {
      auto* img = new zel::image(5, 3);
      img->setFieldName(all[i]);
      img->fillField(10.0f * static_cast<float>(i + 1));
      img->field()(0, 0) = 1.0f;
      images.addImage(img);
    }
    params({{"m_check_select", "1"},
            {"r1", "1"},
            {"m_1_threshold", "5"},
            {"m_check_compensate", "1"},
            {"r2", "1"},
            {"m_2_value", "15"}});
    EXPECT_TRUE(BackgroundWork(images, true));
    for (std::size_t i = 0; i < all.size(); ++i) {
      const zel::image& img = *images.find(all[i]);
      const bool source = i >= 2 ? i < 4 : std::string(kind) == "double";
      const float v = 10.0f * static_cast<float>(i + 1);
      EXPECT_EQ(img.field()(4, 2), source ? std::max(v - 15.0f, 0.0f) : v) << all[i];
      EXPECT_EQ(img.field()(0, 0), source ? 0.0f : 1.0f) << all[i];
      EXPECT_EQ(count(img.bkgr(), true), source ? 1 : 0) << all[i];
    }
    EXPECT_TRUE(images.undoAvailable());
    EXPECT_TRUE(user.ui.notices.empty());
  }
}

// Unattended, the stage takes the stored values; Cancel, or both modes off,
// change nothing; a strip fault is told once for all sources.
TEST_F(BackgroundCommands, TheStageTakesTheStoreAndRefusesAsAWhole) {
  state().paintKind = "single";
  zel::image& off = addRamp(6, 4, names::wind_off_sens);
  addRamp(6, 4, names::wind_on_sens);
  const zel::image before = off;
  user.ui.dialogOk = {false};
  EXPECT_FALSE(BackgroundWork(list, true));
  EXPECT_FALSE(list.undoAvailable());
  params({{"m_check_select", "0"}, {"m_check_compensate", "0"}});
  EXPECT_TRUE(BackgroundWork(list, true));
  EXPECT_TRUE(BackgroundWork(list, false));
  EXPECT_TRUE(sameBits(off.field(), before.field()) && sameBits(off.bkgr(), before.bkgr()));

  params({{"m_check_select", "1"}, {"r1", "1"}, {"m_1_threshold", "12"}});
  EXPECT_TRUE(BackgroundWork(list, true));
  EXPECT_EQ(count(off.bkgr(), true), 8);  // 0..5 and 10, 11
  write_param("BG_Dlg", "m_1_threshold", 21.0f);
  EXPECT_TRUE(BackgroundWork(list, false));
  EXPECT_EQ(count(off.bkgr(), true), 13);  // and 12..15, 20

  params({{"m_check_compensate", "1"}, {"r2", "5"}, {"m_2_4side_indent", "-2"}});
  EXPECT_TRUE(BackgroundWork(list, true));
  EXPECT_EQ(user.ui.notices, texts{"Four Side Indent Less Than 0 !"});
  EXPECT_EQ(list.find(names::wind_on_sens)->field()(5, 3), 35.0f);
}

// The background goes to an .imp file and comes back as one "UnDo" step;
// another kind of file brings the question: Yes asks again, No ends. A
// damaged file, one of another size or none at all is told by its error
// (which names the file) and leaves the image and "UnDo" as they were.
TEST_F(BackgroundCommands, ABackgroundGoesToAFileAndComesBack) {
  zel::image& img = addRamp(7, 5);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 7; ++x) img.bkgr()(x, y) = (x * y) % 3 == 1;
  const zel::arrayStore<bool, 2> pattern = img.bkgr();
  user.ui.fileChoices = {path("ramp_BG.imp")};
  EXPECT_TRUE(SaveBackgroundAs(list));
  EXPECT_NE(user.ui.fileFilters.at(0).find("*.imp"), std::string::npos);
  EXPECT_EQ(user.ui.proposedFiles.at(0), "ramp_BG.imp");  // the image's file, ramp.tif
  img.bkgr().fill(false);
  img.bkgr()(2, 2) = true;
  const zel::arrayStore<bool, 2> before = img.bkgr();
  zel::arrayStore<bool, 2> small(5, 3);
  small.fill(true);
  write_array(path("small_BG.imp"), small);
  std::ofstream(path("bad.imp")) << "not an image container";
  for (const char* file : {"bad.imp", "small_BG.imp", "missing.imp"}) {
    user.ui.notices.clear();
    user.ui.fileChoices = {path(file)};
    EXPECT_TRUE(OpenBackground(list));
    ASSERT_EQ(user.ui.notices.size(), 1u) << file;
    EXPECT_NE(user.ui.notices[0].find(file), std::string::npos) << user.ui.notices[0];
    EXPECT_TRUE(sameBits(img.bkgr(), before)) << file;
    EXPECT_FALSE(list.undoAvailable()) << file;
  }
  EXPECT_EQ(user.ui.waitDepth, 0);
  for (bool again : {false, true}) {
    user.ui.notices.clear();
    user.ui.fileChoices = {path("mask.tif"), path("ramp_BG.imp")};
    user.ui.answers = {again};
    EXPECT_TRUE(OpenBackground(list));
    EXPECT_EQ(user.ui.notices, texts{onlyImpQuestion});
    EXPECT_EQ(sameBits(img.bkgr(), pattern), again);
    EXPECT_EQ(list.undoAvailable(), again);
  }
  EXPECT_EQ(img.bkgr().name, "bkgr");
  list.restoreSnapshot();
  EXPECT_TRUE(sameBits(list.current()->bkgr(), before));
}

// The small commands on bkgr at x = 0, 1 and the ROI's region at x = 1, 2;
// without background those that need one say so, each in its words, and
// with it the depth typed reaches the foreground routines.
TEST_F(BackgroundCommands, TheSmallAndForegroundCommands) {
  struct row {
    bool (*command)(zel::imagesList&);
    std::vector<bool> bkgr, roi;  // of the pixels (0..3, 0)
  };
  const row rows[] = {
      {ResetBackground, {0, 0, 0, 0}, {1, 0, 0, 1}},
      {InvertBackground, {0, 0, 1, 1}, {1, 0, 0, 1}},
      {BackgroundToROI, {0, 0, 0, 0}, {0, 0, 1, 1}},
      {ROIToBackground, {0, 1, 1, 0}, {1, 1, 1, 1}},
  };
  for (const row& r : rows) {
    zel::imagesList images;
    auto* img = new zel::image(4, 1);
    img->bkgr()(0, 0) = img->bkgr()(1, 0) = true;
    img->ROI()(1, 0) = img->ROI()(2, 0) = false;
    images.addImage(img);
    r.command(images);
    EXPECT_EQ(std::vector<bool>(img->bkgr().data, img->bkgr().data + 4), r.bkgr);
    EXPECT_EQ(std::vector<bool>(img->ROI().data, img->ROI().data + 4), r.roi);
    EXPECT_TRUE(images.undoAvailable());
  }
  const std::pair<bool (*)(zel::imagesList&), const char*> refusals[] = {
      {ResetBackground, "No BackGround. Operation terminated"},
      {ForegroundThinningCommand, "No BackGround. Operation terminated!"},
      {ForegroundExpansionCommand, "No BackGround. Operation terminated!"},
  };
  zel::image& img = addRamp(9, 9);
  for (const auto& [command, text] : refusals) {
    user.ui.notices.clear();
    command(list);
    EXPECT_EQ(user.ui.notices, texts{text});
    EXPECT_FALSE(list.undoAvailable());
  }
  img.bkgr().fill(true);
  for (int y = 2; y < 7; ++y)
    for (int x = 2; x < 7; ++x) img.bkgr()(x, y) = false;  // 25 pixels
  params({{"m_depth", "1"}});
  ForegroundThinningCommand(list);
  EXPECT_EQ(count(img.bkgr(), false), 9);
  params({{"m_spread", "2"}});
  ForegroundExpansionCommand(list);
  EXPECT_EQ(count(img.bkgr(), false), 49);
}

}  // namespace
