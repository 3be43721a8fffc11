#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "api/imagesList.h"
#include "dialogs/markerDialogs.h"
#include "host/paramRecord.h"
#include "host/store.h"
#include "markers/autoMark.h"
#include "markers/revise.h"
#include "plugin/markerCommands.h"
#include "tests/markers/markerTestImages.h"
#include "tests/support/commandTest.h"

namespace {

using namespace tamble;
namespace mt = tamble::testing;

const mt::markerImage& scene() {
  static const mt::markerImage img = [] {
    mt::markerScene s;
    s.W = s.H = 256;
    s.spacing = 48;
    s.lightSlope = 0.1;
    s.vignette = 0.15;
    return mt::makeMarkerImage(s);
  }();
  return img;
}

bool samePlaces(const zel::markersArray& a, const zel::markersArray& b) {
  if (a.count() != b.count()) return false;
  for (int i = 0; i < a.count(); ++i)
    if (std::memcmp(&a[i].x, &b[i].x, sizeof(double)) != 0 ||
        std::memcmp(&a[i].y, &b[i].y, sizeof(double)) != 0 || a[i].id != b[i].id)
      return false;
  return true;
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
    if (withMarkers)
      for (const mt::spot& p : scene().spots) {
        marker m;
        m.x = std::round(p.x) + 1;
        m.y = std::round(p.y);
        m.active = true;
        img->markers.add(m);
      }
    list.addImage(img);
    return *img;
  }
};

TEST_F(MarkerCommands, RevisionsRunWithTheDiameterAndSignTypedAndRememberThem) {
  zel::image& img = addScene();
  zel::markersArray expected = img.markers, centred = img.markers;
  params({{"m_BiggestRadius", "9"}, {"iposneg", "Pits"}});
  EXPECT_TRUE(ReviseMarkersCommand(list));
  ReviseMarkers(scene().field, img.bkgr(), img.ROI(), expected, -1, 9.0);
  EXPECT_TRUE(samePlaces(img.markers, expected));
  EXPECT_EQ(read_param("RevMarkers", "m_BiggestRadius", 0.0), 9.0);
  EXPECT_EQ(revMarkersMemory().m_BiggestRadius, 9.0);
  EXPECT_TRUE(list.undoAvailable());
  EXPECT_EQ(user.ui.waitDepth, 0);
  // The centres' command opens with the same record, as it was left.
  params({});
  EXPECT_TRUE(ReviseMarkersCentersCommand(list));
  ReviseMarkersCenters(scene().field, img.bkgr(), img.ROI(), expected, -1, 9.0);
  EXPECT_TRUE(samePlaces(img.markers, expected));
  EXPECT_TRUE(user.ui.notices.empty());
  // "UnDo" brings the markers of before the last command.
  list.restoreSnapshot();
  ReviseMarkers(scene().field, scene().bkgr, scene().ROI, centred, -1, 9.0);
  EXPECT_TRUE(samePlaces(list.current()->markers, centred));
}

TEST_F(MarkerCommands, RevisionsNeedMarkersAndCancelChangesNothing) {
  zel::image& img = addScene(false);
  for (auto command : {ReviseMarkersCommand, ReviseMarkersCentersCommand}) {
    user.ui.dialogOk = {true};
    EXPECT_TRUE(command(list));
    EXPECT_EQ(user.ui.dialogOk.size(), 1u);  // no dialog opened
  }
  EXPECT_EQ(user.ui.notices,
            (std::vector<std::string>{"Markers are Absent.\nNo Markers to Revise!",
                                      "Markers are Absent.\nNo Markers to Revise!"}));
  EXPECT_FALSE(list.undoAvailable());
  // With markers, Cancel: nothing moves, nothing is stored or remembered.
  marker m;
  m.x = 40.0;
  m.y = 40.0;
  m.active = true;
  img.markers.add(m);
  user.ui.dialogOk = {false};
  params({{"m_BiggestRadius", "12"}});
  EXPECT_TRUE(ReviseMarkersCommand(list));
  EXPECT_EQ(img.markers[0].x, 40.0);
  EXPECT_FALSE(list.undoAvailable());
  EXPECT_EQ(read_param("RevMarkers", "m_BiggestRadius", -1.0), -1.0);
  EXPECT_EQ(revMarkersMemory().m_BiggestRadius, 5.0);
  // A diameter out of range is refused by the dialog, and nothing runs.
  params({{"m_BiggestRadius", "0.5"}});
  EXPECT_TRUE(ReviseMarkersCommand(list));
  EXPECT_FALSE(list.undoAvailable());
}

TEST_F(MarkerCommands, AutoMarkSearchesWithTheLevelOfTheChosenLaw) {
  zel::image& img = addScene(false);
  // The relative law at its scale 0.4, the diameter typed.
  params({{"m_bmr", "11"}});
  EXPECT_TRUE(AutoMarkCommand(list));
  zel::markersArray expected;
  AutoMarkQuick(scene().field, img.bkgr(), img.ROI(), expected, -1, 11.0, 0.4f);
  EXPECT_TRUE(samePlaces(img.markers, expected));
  EXPECT_EQ(img.markers.count(), static_cast<int>(scene().spots.size()));
  EXPECT_TRUE(list.undoAvailable());
  // The entropy law is a plain level with its own scale: 1.0 leaves the
  // single highest peak.
  params({{"m_bmr", "11"}, {"th_rel", "Entropy based"}, {"m_tresh", "1"}});
  EXPECT_TRUE(AutoMarkCommand(list));
  AutoMarkQuick(scene().field, img.bkgr(), img.ROI(), expected, -1, 11.0, 1.0f);
  ASSERT_EQ(img.markers.count(), 1);
  EXPECT_TRUE(samePlaces(img.markers, expected));
  // The five shared values are remembered, the store keeps the record.
  const CAutomarq now = automarqFromMemory();
  EXPECT_EQ(now.m_bmr, 11.0f);
  EXPECT_EQ(now.th_rel, 0);
  EXPECT_EQ(now.m_tresh, 1.0f);
  EXPECT_EQ(read_param("Automarq", "m_bmr", 0.0f), 11.0f);
  EXPECT_EQ(read_param("Automarq", "th_rel", -5), 0);
  EXPECT_EQ(user.ui.waitDepth, 0);
}

TEST_F(MarkerCommands, FixedMarkersStopAutoMarkAfterTheCheckPoint) {
  zel::image& img = addScene();
  const zel::markersArray before = img.markers;
  params({{"m_fixed", "1"}, {"m_bmr", "13"}, {"pos_neg", "Peaks"}});
  EXPECT_TRUE(AutoMarkCommand(list));
  EXPECT_TRUE(samePlaces(img.markers, before));
  EXPECT_TRUE(list.undoAvailable());
  EXPECT_EQ(automarqFromMemory().m_bmr, 13.0f);
  EXPECT_EQ(automarqFromMemory().pos_neg, 1);
  // Cancel: nothing at all.
  list.restoreSnapshot();
  user.ui.dialogOk = {false};
  EXPECT_TRUE(AutoMarkCommand(list));
  EXPECT_FALSE(list.undoAvailable());
}

TEST_F(MarkerCommands, BothSearchesShareFiveValuesAndTheRingSearchReadsNone) {
  // What the conversion's record keeps goes to the quick search's next
  // opening, where the store has nothing of its own.
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
  EXPECT_EQ(q.level(), 2.5f);
  q.th_rel = 1;
  EXPECT_EQ(q.level(), 0.3f);
  q.th_rel = 7;
  EXPECT_EQ(q.level(), 0.5f);
  // The dialog opens with them: the record reaches the command as shown.
  addScene(false);
  params({{"m_fixed", "1"}});
  EXPECT_TRUE(AutoMarkCommand(list));
  EXPECT_EQ(read_param("Automarq", "m_bmr", 0.0f), 8.5f);
  EXPECT_EQ(read_param("Automarq", "pos_neg", 0), 1);
}

TEST_F(MarkerCommands, RecordsHoldTheirSectionsKeysAndRanges) {
  CAutomarq q;
  boundRecord<CAutomarq> qr(CAutomarq::descriptor(), q);
  EXPECT_EQ(qr.section(), "Automarq");
  EXPECT_EQ(qr.title(), "Auto Marker Search");
  std::vector<std::string> keys;
  for (const paramInfo& f : qr.fields()) keys.push_back(f.key);
  EXPECT_EQ(keys, (std::vector<std::string>{"m_bmr", "m_tresh", "m_rel", "m_fixed", "pos_neg",
                                            "regime", "th_rel", "high_speed"}));
  // The scale's caption says more than the range lets through.
  q.m_rel = 0.995f;
  ASSERT_TRUE(checkRecord(qr).has_value());
  EXPECT_NE(checkRecord(qr)->find("Scale (0.001 - 0.999)"), std::string::npos);
  q.m_rel = 0.4f;
  q.m_bmr = 1.5f;
  EXPECT_TRUE(checkRecord(qr).has_value());
  q.m_bmr = 995.0f;
  EXPECT_FALSE(checkRecord(qr).has_value());

  CAutomarsc sc;
  boundRecord<CAutomarsc> sr(CAutomarsc::descriptor(), sc);
  EXPECT_EQ(sr.section(), "Automarsc");
  EXPECT_EQ(sr.title(), "Auto Marker Search With Enumeration");
  EXPECT_EQ(sr.fields()[0].caption, "Radius (~2...995)");
  sc.m_box = 2;
  EXPECT_TRUE(checkRecord(sr).has_value());

  CRevMarkers rv;
  boundRecord<CRevMarkers> rr(CRevMarkers::descriptor(), rv);
  EXPECT_EQ(rr.section(), "RevMarkers");
  EXPECT_EQ(rr.title(), "Revise/Draw Markers");
  EXPECT_EQ(rr.fields()[0].caption, "Diameter (2...995)");
  EXPECT_EQ(rr.fields()[0].type, paramType::Double);

  CAutomarl l;
  boundRecord<CAutomarl> lr(CAutomarl::descriptor(), l);
  EXPECT_EQ(lr.section(), "Automarl");
  EXPECT_EQ(lr.title(), "Markers Search by Limited Marker's Number");
  l.m_limit = 1001;
  EXPECT_TRUE(checkRecord(lr).has_value());
}

TEST(MarkerDialogs, ControlsGreyAsTheChoicesSay) {
  CAutomarq q;
  EXPECT_TRUE(controlEnabled(q, "m_rel"));  // the relative law
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

TEST(MarkerSearchRecords, RunTheRingSearchWithTheirValues) {
  zel::image img(scene().W(), scene().H());
  img.field() = scene().field;
  CAutomarsc sc;
  sc.m_bmr = 7.0f;
  zel::markersArray found, expected;
  SearchMarkers(img, sc, found);
  AutoMarkRings(img.field(), img.bkgr(), img.ROI(), expected, 7.0f, 1, 1.0f, 0.2f, -1, 1, 0, 1000);
  EXPECT_TRUE(samePlaces(found, expected));
  EXPECT_EQ(found.count(), static_cast<int>(scene().spots.size()));
  CAutomarl l;
  l.m_bmr = 7.0f;
  l.m_limit = 4;
  SearchMarkersLimited(img, l, -1, found);
  AutoMarkRings(img.field(), img.bkgr(), img.ROI(), expected, 7.0f, 1, 1.0f, 0.2f, -1, 1, 0, 4);
  EXPECT_EQ(found.count(), 4);
  EXPECT_TRUE(samePlaces(found, expected));
}

}  // namespace
