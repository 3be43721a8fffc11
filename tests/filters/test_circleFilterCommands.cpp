#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "api/imagesList.h"
#include "filters/circleFilters.h"
#include "host/paramRecord.h"
#include "host/platform.h"
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

// A user who types into the dialog and may then press Cancel; every dialog
// shown is kept as key to value, as it opened.
struct typingUi : tamble::testing::scriptedUi {
  bool cancel = false;
  std::vector<std::map<std::string, double>> shown;
  bool editRecord(paramRecord& record) override {
    std::map<std::string, double> values;
    for (std::size_t i = 0; i < record.fields().size(); ++i)
      values[record.fields()[i].key] = record.value(i);
    shown.push_back(values);
    for (const auto& [key, text] : dialogValues) assignParam(record, key, text);
    return !cancel && !checkRecord(record);
  }
};

// Installs a typingUi for the rest of a test, then gives the fixture's back.
struct typingSession {
  typingUi ui;
  HostUi& back;
  explicit typingSession(HostUi& previous) : back(previous) { setHostUi(&ui); }
  ~typingSession() { setHostUi(&back); }
};

std::string fileText(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

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

TEST_F(MedianCommands, CancelLeavesTheImageTheStoreAndTheRememberedValues) {
  const tamble::testing::layers original = add();
  list.recording = true;
  typingSession session(user.ui);
  typingUi& ui = session.ui;
  // One OK first, so that the store and the remembered values hold something.
  ui.dialogValues = {{"m_diameter", "5"}, {"m_iter", "1"}};
  MedianFilterCommand(list);
  const zel::image& img = *list.current();
  const zel::arrayStore<float, 2> field = img.field();
  const zel::arrayStore<bool, 2> bkgr = img.bkgr();
  const std::string stored = fileText(store);
  const std::size_t actions = list.actions().size();
  // Values typed, then Cancel: nothing runs, nothing is kept.
  ui.cancel = true;
  ui.dialogValues = {{"m_diameter", "7"}, {"m_iter", "3"},      {"m_rl", "9"},
                     {"m_rlev", "1"},     {"m_kind", "Median"}, {"m_low", "40"}};
  const std::vector<bool (*)(zel::imagesList&)> commands = {
      MedianFilterCommand, MedianFastFilterCommand, GaussFilterFastCommand, Filter3DCommand,
      FilterThresholdCommand};
  for (auto* command : commands) EXPECT_TRUE(command(list));
  EXPECT_TRUE(tamble::testing::sameBits(list.current()->field(), field));
  EXPECT_EQ(std::memcmp(list.current()->bkgr().data, bkgr.data, bkgr.count), 0);
  EXPECT_EQ(fileText(store), stored);
  EXPECT_EQ(list.actions().size(), actions);
  EXPECT_EQ(ui.notices.size(), 1u);  // the report of the first median only
  // "UnDo" still goes back to before the median: no Cancel took a snapshot.
  ASSERT_TRUE(list.restoreSnapshot());
  EXPECT_TRUE(tamble::testing::sameBits(list.current()->field(), original.field));
  // The next openings start from the values kept before the Cancel.
  ui.cancel = false;
  ui.dialogValues.clear();
  const std::size_t before = ui.shown.size();
  MedianFilterCommand(list);
  Filter3DCommand(list);
  ASSERT_EQ(ui.shown.size(), before + 2);
  EXPECT_EQ(ui.shown[before].at("m_diameter"), 5.0);
  EXPECT_EQ(ui.shown[before].at("m_iter"), 1.0);
  EXPECT_NE(ui.shown[before + 1].at("m_rl"), 9.0);
}

TEST_F(MedianCommands, ThreeDShowsTheValidRangeAndNeverStoresIt) {
  add();
  zel::image& img = *list.current();
  // Blocked pixels hold values far outside the valid range.
  img.bkgr()(3, 4) = true;
  img.field()(3, 4) = -1e6f;
  img.ROI()(7, 2) = false;
  img.field()(7, 2) = 1e6f;
  float lo = 0, hi = 0;
  FieldMinMax(img.field(), img.bkgr(), img.ROI(), lo, hi);
  ASSERT_GT(lo, -1e6f);
  ASSERT_LT(hi, 1e6f);
  typingSession session(user.ui);
  typingUi& ui = session.ui;
  // What the user types into MIN and MAX is not read back.
  ui.dialogValues = {{"m_rl", "3"}, {"m_rlev", "50"}, {"m_min", "-7"}, {"m_max", "7"}};
  Filter3DCommand(list);
  ASSERT_EQ(ui.shown.size(), 1u);
  EXPECT_EQ(ui.shown[0].at("m_min"), lo);
  EXPECT_EQ(ui.shown[0].at("m_max"), hi);
  EXPECT_EQ(reg_get_string("D3Filter", "m_min", "absent"), "absent");
  EXPECT_EQ(reg_get_string("D3Filter", "m_max", "absent"), "absent");
  EXPECT_NE(reg_get_string("D3Filter", "m_rlev", "absent"), "absent");
  // The next opening shows the range of the image as the filter left it.
  FieldMinMax(img.field(), img.bkgr(), img.ROI(), lo, hi);
  ui.dialogValues.clear();
  ui.cancel = true;
  Filter3DCommand(list);
  ASSERT_EQ(ui.shown.size(), 2u);
  EXPECT_EQ(ui.shown[1].at("m_min"), lo);
  EXPECT_EQ(ui.shown[1].at("m_max"), hi);
  EXPECT_NE(ui.shown[0].at("m_min"), lo);  // the filter did change the range
}

}  // namespace
