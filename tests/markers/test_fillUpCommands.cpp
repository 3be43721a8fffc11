#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "api/imagesList.h"
#include "host/paramRecord.h"
#include "host/platform.h"
#include "host/store.h"
#include "markers/fillUp.h"
#include "plugin/fillUpCommands.h"
#include "plugin/frame.h"
#include "tests/filters/filterTestImages.h"
#include "tests/support/commandTest.h"

namespace {

using namespace tamble;

bool sameField(const zel::image& a, const zel::image& b) {
  return tamble::testing::sameBits(a.field(), b.field());
}

template <class T>
bool sameLayer(const zel::arrayStore<T, 2>& a, const zel::arrayStore<T, 2>& b) {
  return a.count == b.count && std::equal(a.data, a.data + a.count, b.data);
}

std::string stored(const char* section, const char* key) {
  return reg_get_string(section, key, "none");
}

// A ramp of 30 by 20 with two marker spots and a region to fill.
class FillUpCommands : public tamble::testing::commandTest {
 protected:
  zel::image& add() {
    zel::image& img = addRamp(30, 20);
    for (int y = 6; y < 12; ++y)
      for (int x = 4; x < 10; ++x) img.field()(x, y) += 300.0f;
    for (int y = 4; y < 9; ++y)
      for (int x = 18; x < 24; ++x) img.field()(x, y) -= 200.0f;
    img.markers.add({6.6, 8.6, 0, 0, true, 0});
    img.markers.add({20.4, 6.0, 0, 0, true, 0});
    return img;
  }
};

TEST_F(FillUpCommands, GuardsStopBeforeTheDialogAndTheSnapshot) {
  zel::image& img = addRamp(6, 5);
  const zel::image before = img;
  EXPECT_TRUE(FillUpMarkersCommand(list));
  EXPECT_TRUE(FillUpCommand(list));
  EXPECT_TRUE(FillUpBackGroundCommand(list));
  ASSERT_EQ(user.ui.notices.size(), 3u);
  EXPECT_EQ(user.ui.notices[0], "Markers are Absent.\nNo Markers to FillUp!");
  EXPECT_EQ(user.ui.notices[1], "All Image is ROI.\nNo FillUp Available!");
  EXPECT_EQ(user.ui.notices[2], "No BackGround. Operation terminated!");
  EXPECT_FALSE(list.undoAvailable());
  EXPECT_EQ(stored("FillMark", "m_diameter"), "none");
  EXPECT_EQ(stored("ecfillup", "m_scale"), "none");
  EXPECT_TRUE(sameField(img, before));
  EXPECT_EQ(user.ui.waitDepth, 0);
}

TEST_F(FillUpCommands, FillUpMarkersRemembersTheDiameter) {
  zel::image& img = add();
  zel::image expected = img;
  params({{"m_diameter", "5"}});
  EXPECT_TRUE(FillUpMarkersCommand(list));
  FillUpMarkers(expected.field(), expected.bkgr(), expected.ROI(), expected.markers, 5);
  EXPECT_TRUE(sameField(img, expected));
  EXPECT_EQ(stored("FillMark", "m_diameter"), "5");
  EXPECT_TRUE(list.undoAvailable());
  // UnDo brings the spots back.
  UnDo(list);
  zel::image& back = *list.current();
  EXPECT_EQ(back.field()(6, 9), 6.0f + 90.0f + 300.0f);
  // Without the store the next opening starts from the remembered value, not
  // from 9.
  std::remove(store.c_str());
  useStore(store);
  params({});
  zel::image again = back;
  FillUpMarkersCommand(list);
  FillUpMarkers(again.field(), again.bkgr(), again.ROI(), again.markers, 5);
  EXPECT_TRUE(sameField(*list.current(), again));
  EXPECT_TRUE(user.ui.notices.empty());
}

TEST_F(FillUpCommands, FillUpRunsWithTheRecordAndStoresIt) {
  zel::image& img = add();
  for (int y = 5; y < 13; ++y)
    for (int x = 3; x < 11; ++x) img.ROI()(x, y) = false;
  img.bkgr()(5, 7) = true;
  zel::image expected = img;
  params({{"m_scale", "0.5"}, {"bg_fill_flag", "1"}, {"direction", "SE [3]"}});
  FillUpCommand(list);
  FillUp(expected.field(), expected.bkgr(), expected.ROI(), true, 3, 0.5f);
  EXPECT_TRUE(sameField(img, expected));
  EXPECT_FALSE(img.bkgr()(5, 7));  // filled, with its background
  EXPECT_EQ(stored("ecfillup", "m_scale"), "0,5");
  EXPECT_EQ(stored("ecfillup", "bg_fill_flag"), "1");
  EXPECT_EQ(stored("ecfillup", "direction"), "3");
  EXPECT_TRUE(list.undoAvailable());
  EXPECT_EQ(user.ui.waitDepth, 0);

  // A scale out of range is refused by the dialog; nothing runs.
  UnDo(list);
  zel::image& back = *list.current();
  const zel::image before = back;
  params({{"m_scale", "0"}});
  FillUpCommand(list);
  EXPECT_TRUE(sameField(back, before));
  EXPECT_FALSE(list.undoAvailable());

  // Without the store the values of the last OK hold.
  std::remove(store.c_str());
  useStore(store);
  params({});
  FillUpCommand(list);
  zel::image again = before;
  FillUp(again.field(), again.bkgr(), again.ROI(), true, 3, 0.5f);
  EXPECT_TRUE(sameField(back, again));
  EXPECT_TRUE(user.ui.notices.empty());
}

TEST_F(FillUpCommands, CancelLeavesImageAndStoreAlone) {
  zel::image& img = add();
  img.ROI()(5, 5) = false;
  img.bkgr()(6, 6) = true;
  const zel::image before = img;
  params({{"m_diameter", "7"}, {"m_scale", "3"}});
  user.ui.dialogOk = {false, false};
  FillUpMarkersCommand(list);
  FillUpCommand(list);
  EXPECT_TRUE(sameField(img, before));
  EXPECT_FALSE(list.undoAvailable());
  EXPECT_EQ(stored("FillMark", "m_diameter"), "none");
  EXPECT_EQ(stored("ecfillup", "m_scale"), "none");
  EXPECT_TRUE(user.ui.notices.empty());
}

TEST_F(FillUpCommands, FillUpBackGroundFillsBlockedPixelsAndKeepsTheMasks) {
  zel::image& img = add();
  for (int y = 0; y < 20; ++y)
    for (int x = 0; x < 30; ++x) {
      img.bkgr()(x, y) = x >= 25 || (x == 12 && y == 3);
      img.ROI()(x, y) = !(y >= 16 && x < 8);
    }
  img.field()(12, 3) = 1e30f;
  const zel::image before = img;
  FillUpBackGroundCommand(list);
  EXPECT_TRUE(sameLayer(img.bkgr(), before.bkgr()));
  EXPECT_TRUE(sameLayer(img.ROI(), before.ROI()));
  // The blocked pixels are the region; nothing is background meanwhile.
  zel::image expected = before;
  fillMask valid(30, 20), none(30, 20);
  none.fill(false);
  for (std::size_t i = 0; i < valid.count; ++i)
    valid.data[i] = !before.bkgr().data[i] && before.ROI().data[i];
  FillUp(expected.field(), none, valid, false, 0, 1.0f);
  EXPECT_TRUE(sameField(img, expected));
  for (int y = 0; y < 20; ++y)
    for (int x = 0; x < 30; ++x)
      if (valid(x, y)) {
        EXPECT_EQ(img.field()(x, y), before.field()(x, y));
      }
  EXPECT_LT(img.field()(12, 3), 1000.0f);  // from its neighbours
  EXPECT_LT(img.field()(28, 10), 1000.0f);
  EXPECT_TRUE(list.undoAvailable());
  EXPECT_TRUE(user.ui.notices.empty());
}

}  // namespace
