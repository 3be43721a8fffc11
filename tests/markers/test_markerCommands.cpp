// The marker and fill-up commands as a user runs them: guards, the records
// they run with and remember, UnDo, and the searches without a dialog.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "api/imagesList.h"
#include "dialogs/markerDialogs.h"
#include "host/paramRecord.h"
#include "host/platform.h"
#include "host/store.h"
#include "markers/autoMark.h"
#include "markers/fillUp.h"
#include "markers/revise.h"
#include "plugin/fillUpCommands.h"
#include "plugin/frame.h"
#include "plugin/markerCommands.h"
#include "tests/markers/markerScenes.h"
#include "tests/support/commandTest.h"

namespace {

using namespace tamble;
namespace mt = tamble::testing;

const mt::markerScene& scene() { return mt::syntheticScene("size=512 markers=24"); }

bool samePlaces(const zel::markersArray& a, const zel::markersArray& b) {
  if (a.count() != b.count()) return false;
  for (int i = 0; i < a.count(); ++i)
    if (std::memcmp(&a[i].x, &b[i].x, sizeof(double)) != 0 ||
        std::memcmp(&a[i].y, &b[i].y, sizeof(double)) != 0 || a[i].id != b[i].id)
      return false;
  return true;
}

std::string stored(const char* section, const char* key) {
  return reg_get_string(section, key, "none");
}

class MarkerCommands : public mt::commandTest {
 protected:
  void SetUp() override {
    commandTest::SetUp();
    // Each test starts from the values a fresh process remembers.
    revMarkersMemory() = CRevMarkers{};
    rememberSearch(CAutomarq{});
  }
  // The scene as the list's image, with markers a pixel off each spot.
  zel::image& addScene(bool withMarkers = true) {
    auto* img = new zel::image(scene().W(), scene().H());
    img->setFieldName("wind_off");
    img->field() = scene().field;
    if (withMarkers) img->markers = mt::markersAt(scene().spots, 1.0, 0.0);
    list.addImage(img);
    return *img;
  }
  // A ramp of 30 by 20 with a bright and a dark patch, a marker on each.
  zel::image& addPatches() {
    zel::image& img = addRamp(30, 20);
    for (int y = 6; y < 12; ++y)
      for (int x = 4; x < 10; ++x) img.field()(x, y) += 300.0f;
    for (int y = 4; y < 9; ++y)
      for (int x = 18; x < 24; ++x) img.field()(x, y) -= 200.0f;
    img.markers.items = {{6.6, 8.6, 0, 0, true, 1}, {20.4, 6.0, 0, 0, true, 2}};
    return img;
  }
};

// On an image without markers, ROI holes or background, each command says
// why and stops before its dialog, its snapshot and its work.
TEST_F(MarkerCommands, GuardsStopBeforeTheDialog) {
  const std::pair<bool (*)(zel::imagesList&), const char*> guards[] = {
      {ReviseMarkersCommand, noMarkersToRevise},
      {ReviseMarkersCentersCommand, noMarkersToRevise},
      {FillUpMarkersCommand, "Markers are Absent.\nNo Markers to FillUp!"},
      {FillUpCommand, "All Image is ROI.\nNo FillUp Available!"},
      {FillUpBackGroundCommand, "No BackGround. Operation terminated!"},
  };
  const zel::image& img = addRamp(6, 5);
  const zel::image before = img;
  for (const auto& [command, notice] : guards) {
    user.ui.notices.clear();
    user.ui.dialogOk = {true};
    EXPECT_TRUE(command(list));
    EXPECT_EQ(user.ui.notices, std::vector<std::string>{notice});
    EXPECT_EQ(user.ui.dialogOk.size(), 1u) << notice;  // no dialog opened
    EXPECT_FALSE(list.undoAvailable()) << notice;
  }
  EXPECT_TRUE(mt::sameBits(img.field(), before.field()));
  EXPECT_EQ(user.ui.waitDepth, 0);
}

// Both revisions run with the diameter and sign typed, remember them, and
// UnDo brings the markers of before the last one back.
TEST_F(MarkerCommands, RevisionsRunWithTheDiameterAndSignTypedAndRememberThem) {
  zel::image& img = addScene();
  zel::markersArray expected = img.markers, centred = img.markers;
  params({{"m_BiggestRadius", "9"}, {"iposneg", "Pits"}});
  EXPECT_TRUE(ReviseMarkersCommand(list));
  polynomialState map;
  ReviseMarkers(scene().field, img.bkgr(), img.ROI(), expected, -1, 9.0, map);
  EXPECT_TRUE(samePlaces(img.markers, expected));
  EXPECT_EQ(read_param("RevMarkers", "m_BiggestRadius", 0.0), 9.0);
  EXPECT_EQ(revMarkersMemory().m_BiggestRadius, 9.0);
  EXPECT_TRUE(list.undoAvailable());
  // The centres' command opens with the same record, as it was left.
  params({});
  EXPECT_TRUE(ReviseMarkersCentersCommand(list));
  ReviseMarkersCenters(scene().field, img.bkgr(), img.ROI(), expected, -1, 9.0);
  EXPECT_TRUE(samePlaces(img.markers, expected));
  EXPECT_TRUE(user.ui.notices.empty());
  list.restoreSnapshot();
  ReviseMarkers(scene().field, scene().bkgr, scene().ROI, centred, -1, 9.0, map);
  EXPECT_TRUE(samePlaces(list.current()->markers, centred));
  // A diameter out of range is refused by the dialog, and nothing runs.
  params({{"m_BiggestRadius", "0.5"}});
  EXPECT_TRUE(ReviseMarkersCommand(list));
  EXPECT_FALSE(list.undoAvailable());
  EXPECT_EQ(user.ui.waitDepth, 0);
}

// "Auto Mark..." searches at the level of the law chosen and remembers the
// five values both searches share.
TEST_F(MarkerCommands, AutoMarkSearchesWithTheLevelOfTheChosenLaw) {
  zel::image& img = addScene(false);
  params({{"m_bmr", "11"}});  // the relative law at its scale 0.4
  EXPECT_TRUE(AutoMarkCommand(list));
  zel::markersArray expected;
  polynomialState map;
  AutoMarkQuick(scene().field, img.bkgr(), img.ROI(), expected, -1, 11.0, 0.4f, map);
  EXPECT_TRUE(samePlaces(img.markers, expected));
  EXPECT_EQ(mt::compare(scene().spots, img.markers, 2.0).matched,
            static_cast<int>(scene().spots.size()));
  EXPECT_TRUE(list.undoAvailable());
  // The entropy law is a plain level with its own scale: 1.0 leaves the
  // single highest peak.
  params({{"m_bmr", "11"}, {"th_rel", "Entropy based"}, {"m_tresh", "1"}});
  EXPECT_TRUE(AutoMarkCommand(list));
  AutoMarkQuick(scene().field, img.bkgr(), img.ROI(), expected, -1, 11.0, 1.0f, map);
  ASSERT_EQ(img.markers.count(), 1);
  EXPECT_TRUE(samePlaces(img.markers, expected));
  const CAutomarq now = automarqFromMemory();
  EXPECT_EQ(now.m_bmr, 11.0f);
  EXPECT_EQ(now.th_rel, 0);
  EXPECT_EQ(now.m_tresh, 1.0f);
  EXPECT_EQ(read_param("Automarq", "th_rel", -5), 0);
  EXPECT_EQ(user.ui.waitDepth, 0);
}

// With "Select only fixed markers" the markers stay, and the values typed
// are remembered all the same.
TEST_F(MarkerCommands, FixedMarkersStopAutoMarkAfterTheCheckPoint) {
  zel::image& img = addScene();
  const zel::markersArray before = img.markers;
  params({{"m_fixed", "1"}, {"m_bmr", "13"}, {"pos_neg", "Peaks"}});
  EXPECT_TRUE(AutoMarkCommand(list));
  EXPECT_TRUE(samePlaces(img.markers, before));
  EXPECT_TRUE(list.undoAvailable());
  EXPECT_EQ(automarqFromMemory().m_bmr, 13.0f);
  EXPECT_EQ(automarqFromMemory().pos_neg, 1);
}

// What the conversion's record keeps opens the quick search's dialog next,
// where the store has nothing of its own; the ring search reads none of it.
TEST_F(MarkerCommands, BothSearchesShareFiveValues) {
  CAutomarsc sc;
  sc.m_bmr = 8.5f;
  sc.rel = 0;
  sc.m_entropy = 2.5f;
  sc.m_relative = 0.3f;
  sc.pos_neg = 1;
  sc.m_box = 20;
  rememberSearch(sc);
  CAutomarq q = automarqFromMemory();
  EXPECT_EQ(q.m_bmr, 8.5f);
  EXPECT_EQ(q.th_rel, 0);
  EXPECT_EQ(q.m_tresh, 2.5f);
  EXPECT_EQ(q.m_rel, 0.3f);
  EXPECT_EQ(q.pos_neg, 1);
  EXPECT_EQ(q.m_fixed, 0);
  // The level is the scale of the law chosen, 0.5 for neither.
  for (const auto& [law, level] : {std::pair{0, 2.5f}, std::pair{1, 0.3f}, std::pair{7, 0.5f}}) {
    q.th_rel = law;
    EXPECT_EQ(q.level(), level) << law;
  }
  addScene(false);
  params({{"m_fixed", "1"}});
  EXPECT_TRUE(AutoMarkCommand(list));
  EXPECT_EQ(read_param("Automarq", "m_bmr", 0.0f), 8.5f);
  EXPECT_EQ(read_param("Automarq", "pos_neg", 0), 1);
}

// "Select only fixed markers" greys the search's controls, a law the other
// law's scale, and "Box" needs "ENumeration".
TEST(MarkerDialogs, ControlsGreyAsTheChoicesSay) {
  CAutomarq q;
  EXPECT_TRUE(controlEnabled(q, "m_rel"));
  EXPECT_FALSE(controlEnabled(q, "m_tresh"));
  q.th_rel = 0;
  EXPECT_TRUE(controlEnabled(q, "m_tresh"));
  EXPECT_FALSE(controlEnabled(q, "m_rel"));
  q.m_fixed = 1;
  for (const char* key : {"m_bmr", "m_tresh", "m_rel", "pos_neg", "th_rel"})
    EXPECT_FALSE(controlEnabled(q, key)) << key;
  EXPECT_TRUE(controlEnabled(q, "m_fixed"));

  CAutomarsc sc;
  EXPECT_FALSE(controlEnabled(sc, "m_box"));
  EXPECT_TRUE(controlEnabled(sc, "m_entropy"));  // no law greys a scale here
  sc.m_renumeration = 1;
  EXPECT_TRUE(controlEnabled(sc, "m_box"));
  sc.m_fixed = 1;
  for (const char* key : {"m_bmr", "m_entropy", "m_relative", "pos_neg", "rel", "m_box"})
    EXPECT_FALSE(controlEnabled(sc, key)) << key;
  EXPECT_TRUE(controlEnabled(sc, "m_renumeration"));
  EXPECT_TRUE(controlEnabled(sc, "m_errors"));
}

// The searches without a dialog run the ring search with the record's values.
TEST(MarkerSearchRecords, RunTheRingSearchWithTheirValues) {
  zel::image img(scene().W(), scene().H());
  img.field() = scene().field;
  CAutomarsc sc;
  sc.m_bmr = 7.0f;
  sc.m_relative = 0.1f;
  zel::markersArray found, expected;
  SearchMarkers(img, sc, found);
  AutoMarkRings(img.field(), img.bkgr(), img.ROI(), expected, 7.0f, 1, 1.0f, 0.1f, -1, 1, 0, 1000);
  EXPECT_TRUE(samePlaces(found, expected));
  EXPECT_EQ(mt::compare(scene().spots, found, 2.0).matched, static_cast<int>(scene().spots.size()));
  CAutomarl l;
  l.m_bmr = 7.0f;
  l.m_limit = 4;
  SearchMarkersLimited(img, l, -1, found);
  AutoMarkRings(img.field(), img.bkgr(), img.ROI(), expected, 7.0f, 1, 1.0f, 0.2f, -1, 1, 0, 4);
  EXPECT_EQ(found.count(), 4);
  EXPECT_TRUE(samePlaces(found, expected));
}

// "Fill Up Markers..." fills the spots with the diameter typed, remembers it
// when the store is gone, and UnDo brings the spots back.
TEST_F(MarkerCommands, FillUpMarkersRemembersTheDiameter) {
  zel::image& img = addPatches();
  zel::image expected = img;
  params({{"m_diameter", "5"}});
  EXPECT_TRUE(FillUpMarkersCommand(list));
  FillUpMarkers(expected.field(), expected.bkgr(), expected.ROI(), expected.markers, 5);
  EXPECT_TRUE(mt::sameBits(img.field(), expected.field()));
  EXPECT_EQ(stored("FillMark", "m_diameter"), "5");
  UnDo(list);
  zel::image& back = *list.current();
  EXPECT_EQ(back.field()(6, 9), 6.0f + 90.0f + 300.0f);
  std::remove(store.c_str());
  useStore(store);
  params({});
  zel::image again = back;
  FillUpMarkersCommand(list);
  FillUpMarkers(again.field(), again.bkgr(), again.ROI(), again.markers, 5);
  EXPECT_TRUE(mt::sameBits(list.current()->field(), again.field()));
  EXPECT_TRUE(user.ui.notices.empty());
}

// "Fill Up..." runs with its record, stores it, and refuses a scale out of
// range in the dialog.
TEST_F(MarkerCommands, FillUpRunsWithTheRecordAndStoresIt) {
  zel::image& img = addPatches();
  for (int y = 5; y < 13; ++y)
    for (int x = 3; x < 11; ++x) img.ROI()(x, y) = false;
  img.bkgr()(5, 7) = true;
  zel::image expected = img;
  params({{"m_scale", "0.5"}, {"bg_fill_flag", "1"}, {"direction", "SE [3]"}});
  FillUpCommand(list);
  FillUp(expected.field(), expected.bkgr(), expected.ROI(), true, 3, 0.5f);
  EXPECT_TRUE(mt::sameBits(img.field(), expected.field()));
  EXPECT_FALSE(img.bkgr()(5, 7));  // filled, with its background
  EXPECT_EQ(stored("ecfillup", "m_scale"), "0,5");
  EXPECT_EQ(stored("ecfillup", "direction"), "3");
  EXPECT_TRUE(list.undoAvailable());
  UnDo(list);
  const zel::image before = *list.current();
  params({{"m_scale", "0"}});
  FillUpCommand(list);
  EXPECT_TRUE(mt::sameBits(list.current()->field(), before.field()));
  EXPECT_FALSE(list.undoAvailable());
  EXPECT_TRUE(user.ui.notices.empty());
}

// "Fill Up BackGround" fills the blocked pixels from the valid ones (on a
// plane: the plane, off the image's border, where every walk has two ends)
// and leaves both masks as they were.
TEST_F(MarkerCommands, FillUpBackGroundFillsBlockedPixelsAndKeepsTheMasks) {
  zel::image& img = addRamp(30, 20);  // x + 10 y
  for (int y = 0; y < 20; ++y)
    for (int x = 0; x < 30; ++x) {
      img.bkgr()(x, y) = x >= 25 || (x == 12 && y == 3);
      img.ROI()(x, y) = !(y >= 16 && x < 8);
    }
  img.field()(12, 3) = 1e30f;
  const zel::image before = img;
  FillUpBackGroundCommand(list);
  EXPECT_TRUE(mt::sameBits(img.bkgr(), before.bkgr()));
  EXPECT_TRUE(mt::sameBits(img.ROI(), before.ROI()));
  for (int y = 1; y < 19; ++y)
    for (int x = 1; x < 29; ++x) EXPECT_NEAR(img.field()(x, y), x + 10.0f * y, 1e-3f) << x << "," << y;
  EXPECT_TRUE(list.undoAvailable());
}

}  // namespace
