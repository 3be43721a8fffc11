#include <gtest/gtest.h>

#include "api/imagesList.h"

namespace {

using zel::image;
using zel::imagesList;

image* named(const char* name, float value = 0.0f, int w = 3, int h = 2) {
  auto* img = new image(w, h);
  img->setFieldName(name);
  img->fillField(value);
  return img;
}

std::vector<std::string> names(const imagesList& list) {
  std::vector<std::string> out;
  for (int i = 0; i < list.size(); ++i) out.push_back(list[i]->fieldName());
  return out;
}

TEST(ImagesList, SelectionClampsAndWraps) {
  imagesList list;
  EXPECT_EQ(list.setCurrent(3), -1);
  EXPECT_EQ(list.selectNext(), -1);
  EXPECT_EQ(list.current(), nullptr);
  list.addImage(named("a"));
  EXPECT_EQ(list.currentIndex, 0);
  list.addImage(named("b"));
  list.addImage(named("c"));
  EXPECT_EQ(list.setCurrent(-5), 0);
  EXPECT_EQ(list.setCurrent(7), 2);
  EXPECT_EQ(list.selectNext(), 0);
  EXPECT_EQ(list.selectLast(), 2);
  EXPECT_EQ(list.select("b"), 1);
  EXPECT_EQ(list.select("nope"), 1);
  EXPECT_EQ(list.current()->fieldName(), "b");
}

TEST(ImagesList, LookUpByFieldNameFindsTheFirst) {
  imagesList list;
  list.addImage(named("x", 1.0f));
  list.addImage(named("x", 2.0f));
  EXPECT_EQ(list.indexOf("x"), 0);
  EXPECT_EQ(list.find("x")->field()[0], 1.0f);
  EXPECT_EQ(list.find("y"), nullptr);
  auto* layerless = new image();
  list.addImage(layerless, 0.0, 1.0);
  EXPECT_THROW(list.indexOf("y"), zel::AlgoError);
}

TEST(ImagesList, AddSetsLimits) {
  imagesList list;
  list.addImage(named("a", 4.0f));
  EXPECT_EQ(list[0]->limits(), std::make_pair(4.0, 4.0));
  list.addImage(named("b", 4.0f), -1.0, 9.0);
  EXPECT_EQ(list[1]->limits(), std::make_pair(-1.0, 9.0));
}

TEST(ImagesList, ReplaceTakesTheSlotOfTheSameName) {
  imagesList list;
  list.addImage(named("a", 1.0f));
  list.addImage(named("b", 1.0f));
  list.replaceImage(named("a", 5.0f));
  EXPECT_EQ(names(list), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(list[0]->field()[0], 5.0f);
  list.replaceImage(named("c"));
  EXPECT_EQ(list.size(), 3);
  image* same = list[1];
  same->fillField(8.0f);
  list.replaceImage(same);  // changed in place: kept, limits refreshed
  EXPECT_EQ(list[1], same);
  EXPECT_EQ(same->limits(), std::make_pair(8.0, 8.0));
}

TEST(ImagesList, RemoveMovesTheCurrentIndex) {
  imagesList list;
  for (const char* n : {"a", "b", "c"}) list.addImage(named(n));
  list.removeImage(5);
  EXPECT_EQ(list.size(), 3);
  list.removeImage(2);
  EXPECT_EQ(list.currentIndex, 1);
  list.removeImage(0);
  list.removeImage(0);
  EXPECT_EQ(list.size(), 0);
  EXPECT_EQ(list.currentIndex, 0);  // left as it was
}

TEST(ImagesList, NothingIsRecordedUnlessRecording) {
  imagesList list;
  list.addImage(named("a"));
  list.saveCurrent(true, "x");
  list.checkPoint("y");
  EXPECT_TRUE(list.actions().empty());
  EXPECT_EQ(list.nextUndoText(), "");
}

TEST(ImagesList, UndoOfAlteredRestoresTheImage) {
  imagesList list;
  list.recording = true;
  list.addImage(named("a", 1.0f), false);
  list.saveCurrent(true, "Median");
  list.current()->fillField(7.0f);
  EXPECT_EQ(list.nextUndoText(), "Median");
  list.undo();
  EXPECT_EQ(list.size(), 1);
  EXPECT_EQ(list[0]->field()[0], 1.0f);
  EXPECT_TRUE(list.actions().empty());
}

TEST(ImagesList, UndoOfCreatedRemovesThatImage) {
  imagesList list;
  list.recording = true;
  list.addImage(named("a"), false);
  list.addImage(named("b"));
  ASSERT_EQ(list.actions().size(), 1u);
  list.undo();
  EXPECT_EQ(names(list), std::vector<std::string>{"a"});
}

TEST(ImagesList, UndoRunsBackToTheFirstStoppingRecord) {
  imagesList list;
  list.recording = true;
  list.addImage(named("a", 1.0f), false);
  list.checkPoint("older step");
  list.saveCurrent(true, "filter");  // altered, stop true
  list.current()->fillField(2.0f);
  list.addImage(named("b"));  // created, does not stop
  list.undo();
  EXPECT_EQ(names(list), std::vector<std::string>{"a"});
  EXPECT_EQ(list[0]->field()[0], 1.0f);
  ASSERT_EQ(list.actions().size(), 1u);  // the check point is still there
  EXPECT_EQ(list.nextUndoText(), "older step");
}

TEST(ImagesList, ReplaceAndRemoveAreUndoable) {
  imagesList list;
  list.recording = true;
  list.addImage(named("a", 1.0f), false);
  list.addImage(named("b", 2.0f), false);
  list.checkPoint("replace");
  list.replaceImage(named("a", 9.0f));
  list.checkPoint("remove");
  list.removeImage(1);
  EXPECT_EQ(names(list), std::vector<std::string>{"a"});
  list.undo();  // the removal, back to its check point
  EXPECT_EQ(list.size(), 2);
  EXPECT_EQ(list.find("b")->field()[0], 2.0f);
  EXPECT_EQ(list.find("a")->field()[0], 9.0f);
  list.undo();  // the replacement
  EXPECT_EQ(list.find("a")->field()[0], 1.0f);
  EXPECT_TRUE(list.actions().empty());
}

TEST(ImagesList, SaveImageIgnoresStrangers) {
  imagesList list;
  list.recording = true;
  list.addImage(named("a"), false);
  image stranger(1, 1);
  list.saveImage(&stranger, true, "x");
  EXPECT_TRUE(list.actions().empty());
  list.saveImage(list[0], true, "x");
  EXPECT_EQ(list.actions().size(), 1u);
}

TEST(ImagesList, SnapshotRestoresTheWholeListOnce) {
  imagesList list;
  for (const char* n : {"a", "b", "c"}) list.addImage(named(n, 1.0f));
  list.setCurrent(1);
  image* kept = list.current();
  list.snapshot();
  EXPECT_EQ(list.current(), kept);  // pointers taken before stay valid
  EXPECT_EQ(list.currentIndex, 1);
  EXPECT_TRUE(list.undoAvailable());
  kept->fillField(5.0f);
  list.removeImage(0);
  list.addImage(named("d"));
  list.setCurrent(2);
  ASSERT_TRUE(list.restoreSnapshot());
  EXPECT_EQ(names(list), (std::vector<std::string>{"a", "b", "c"}));
  EXPECT_EQ(list.currentIndex, 1);
  EXPECT_EQ(list[1]->field()[0], 1.0f);
  EXPECT_FALSE(list.undoAvailable());
  EXPECT_FALSE(list.restoreSnapshot());
  EXPECT_EQ(list.size(), 3);  // a second restore leaves the list alone
}

TEST(ImagesList, ASecondSnapshotReplacesTheFirstWhole) {
  imagesList list;
  list.addImage(named("a", 1.0f));
  list.addImage(named("b", 1.0f));
  list.addImage(named("c", 1.0f));
  list.snapshot();
  list.removeImage(2);
  list[0]->fillField(2.0f);
  list[0]->markers.add(marker{1, 1, 0, 0, true, 0});
  list[1]->resize(5, 4);
  list[1]->setFieldName("b");
  list[1]->fillBkgr(true);
  list.snapshot();
  list.clear();
  ASSERT_TRUE(list.restoreSnapshot());
  ASSERT_EQ(names(list), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(list[0]->field()[0], 2.0f);
  EXPECT_EQ(list[0]->markers.count(), 1);
  EXPECT_EQ(list[1]->width(), 5);
  EXPECT_TRUE(list[1]->bkgr()(4, 3));
}

TEST(ImagesList, RestoreDropsTheHostRecords) {
  imagesList list;
  list.addImage(named("a"));
  list.snapshot();
  list.recording = true;
  list.checkPoint("step");
  list.restoreSnapshot();
  ASSERT_EQ(list.actions().size(), 1u);  // only the re-added image
  EXPECT_EQ(list.nextUndoText(), "");
}

TEST(ImagesList, ClearEmptiesImagesAndRecords) {
  imagesList list;
  list.recording = true;
  list.addImage(named("a"));
  list.clear();
  EXPECT_EQ(list.size(), 0);
  EXPECT_EQ(list.currentIndex, -1);
  EXPECT_TRUE(list.actions().empty());
}

}  // namespace
